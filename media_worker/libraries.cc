#include "media_worker/libraries.h"

#include <iconv.h>
#include <libdeflate.h>
#include <libheif/heif.h>
#include <malloc.h>
#include <sys/mman.h>
#include <unistd.h>
#include <vips/vips.h>
// It needs the one above.
#include <vips/vector.h>

#include <array>
#include <cstdint>
#include <cstdlib>
#include <ctime>

extern "C" {
#include <libavutil/avutil.h>
#include <libavutil/log.h>
}

#include "core/platform/foundation.h"
#include "media_worker/export/filter_library.h"
#include "media_worker/heif/hevc_decoder.h"
#include "media_worker/metadata/metadata_file.h"
#include "media_worker/reading/processors.h"
#include "media_worker/reading/wanted_loaders.h"
#include "media_worker/render/jpeg_encoder.h"

namespace quorvin {

namespace {

constexpr int kKeptMemory = 32 << 20;  ///< bytes that a worker keeps from one request to the next

constexpr std::size_t kMostLeft = 128 << 20;  ///< bytes that libraries may hold after a request

/// Those in which broadcasts write their titles.
constexpr const char* kCharsets[] = {"ISO6937",     "ISO-8859-1",  "ISO-8859-5",  "ISO-8859-6",
                                     "ISO-8859-7",  "ISO-8859-8",  "ISO-8859-9",  "ISO-8859-10",
                                     "ISO-8859-11", "ISO-8859-13", "ISO-8859-14", "ISO-8859-15",
                                     "KSC_5601",    "GB2312",      "BIG5",        "UCS-2BE"};

// On arm64 libjpeg and libdeflate read files about the processor when they are first used.
void learnTheProcessor() {
  const std::array<std::uint8_t, 3> pixel{};
  const int memory = ::memfd_create("pixel", MFD_CLOEXEC);
  PixelLayout layout;
  layout.width = layout.height = 1;
  layout.channels = 3;
  encodeJpeg(pixel, layout, 75, {}, memory);
  ::close(memory);
  ::libdeflate_crc32(0, pixel.data(), pixel.size());
}

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
  // What libvips needs whole it keeps in memory, whatever its size: no file can be made for it.
  ::setenv("VIPS_DISC_THRESHOLD", "1000000g", 1);
  g_log_set_default_handler([](const char*, GLogLevelFlags, const char*, void*) {}, nullptr);
  if (vips_init("quorvin-media") != 0) fatalError("libvips did not start");
  allowWantedLoaders();
  vips_concurrency_set(1);
  vips_cache_set_max(0);
  // Its compiler of that age needs memory that can be run; later versions bring their code along.
  if (vips_version(0) == 8 && vips_version(1) < 15) vips_vector_set_enabled(FALSE);
  av_log_set_level(AV_LOG_QUIET);
  initializeMetadata();
  // From 1.16 on libheif's decoders may be plug-ins in a folder of its own, loaded by this alone.
  // Ours comes after them, and goes before them.
  heif_init(nullptr);
  registerHevcDecoder();
}

void loadForLater(bool forExports) {
  // Without a name for the zone, its file would be looked up again for each date.
  ::setenv("TZ", ":/etc/localtime", 0);
  ::tzset();
  processorCount();
  learnTheProcessor();
  for (const char* charset : kCharsets) {
    // Kept for good, and with it the converter's code.
    ::iconv_open("UTF-8", charset);
  }
  if (forExports) filterLibrary();
}

std::vector<NamedText> libraryVersions() {
  return {{"libvips", vips_version_string()},
          {"libheif", heif_get_version()},
          {"FFmpeg", av_version_info()},
          {"Exiv2", metadataLibraryVersion()}};
}

bool tidyLibraries() {
  vips_error_clear();
  if (mallinfo2().fordblks > kKeptMemory) malloc_trim(0);
  const struct mallinfo2 memory = mallinfo2();
  return memory.uordblks + memory.hblkhd < kMostLeft;
}

}  // namespace quorvin
