#include "media_worker/libraries.h"

#include <malloc.h>
#include <vips/vips.h>

#include <cstdlib>

extern "C" {
#include <libavutil/log.h>
}

#include "core/platform/foundation.h"

namespace quorvin {

void startLibraries() {
  // Freed memory goes back early, and threads share few heaps: a worker lives long.
  mallopt(M_ARENA_MAX, 2);
  mallopt(M_TRIM_THRESHOLD, 16 << 20);
  // Away from its prefix libvips finds no plug-in modules: loading them all takes longer than
  // everything else here, and none is needed.
  ::setenv("VIPSHOME", "/nonexistent", 1);
  g_log_set_default_handler([](const char*, GLogLevelFlags, const char*, void*) {}, nullptr);
  if (vips_init("quorvin-media") != 0) fatalError("libvips did not start");
  vips_block_untrusted_set(TRUE);
  vips_concurrency_set(1);
  vips_cache_set_max(0);
  av_log_set_level(AV_LOG_QUIET);
}

void tidyLibraries() {
  vips_error_clear();
  malloc_trim(16 << 20);
}

}  // namespace quorvin
