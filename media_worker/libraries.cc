#include "media_worker/libraries.h"

#include <libheif/heif.h>
#include <malloc.h>
#include <vips/vips.h>

#include <cstdlib>

extern "C" {
#include <libavutil/log.h>
}

#include "core/platform/foundation.h"
#include "media_worker/metadata/metadata_file.h"
#include "media_worker/reading/hevc_decoder.h"

namespace quorvin {

namespace {

constexpr int kKeptMemory = 32 << 20;  ///< bytes that a worker keeps from one request to the next

}  // namespace

void startLibraries() {
  // Threads share few heaps, for a worker lives long; and buffers of pixels come from those heaps,
  // for fresh pages from the system cost more than the work on them.
  mallopt(M_ARENA_MAX, 2);
  mallopt(M_MMAP_THRESHOLD, kKeptMemory);
  mallopt(M_TRIM_THRESHOLD, kKeptMemory);
  // Away from its prefix libvips finds no plug-in modules: loading them all takes longer than
  // everything else here, and none is needed.
  ::setenv("VIPSHOME", "/nonexistent", 1);
  g_log_set_default_handler([](const char*, GLogLevelFlags, const char*, void*) {}, nullptr);
  if (vips_init("quorvin-media") != 0) fatalError("libvips did not start");
  vips_block_untrusted_set(TRUE);
  vips_concurrency_set(1);
  vips_cache_set_max(0);
  av_log_set_level(AV_LOG_QUIET);
  initializeMetadata();
  // From 1.16 on libheif's decoders may be plug-ins in a folder of its own, loaded by this alone.
  // Ours comes after them, and goes before them.
  heif_init(nullptr);
  registerHevcDecoder();
}

void tidyLibraries() {
  vips_error_clear();
  if (mallinfo2().fordblks > kKeptMemory) malloc_trim(0);
}

}  // namespace quorvin
