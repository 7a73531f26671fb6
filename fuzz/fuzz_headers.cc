// Looks at any file as everything does that comes before a decoder: signatures, boxes, segments and
// passes. It is our own reading, of bytes that nobody has checked before.
#include <cstddef>
#include <cstdint>
#include <span>

#include "fuzz/memory_file.h"
#include "fuzz/require.h"
#include "media_worker/headers/blocks_beside_pixels.h"
#include "media_worker/headers/jpeg_passes.h"
#include "media_worker/headers/tiff_directories.h"
#include "media_worker/reading/boxes.h"
#include "media_worker/reading/movie_tables.h"
#include "media_worker/reading/signature.h"

namespace quorvin {
namespace {

void checkBoxes(const InputFile& file) {
  constexpr std::int64_t kSmallestHeader = 8;
  std::int64_t position = 0;
  for (int i = 0; i < 100; ++i) {
    const auto box = boxAt(file, position, file.size());
    if (!box) break;
    require(box->type.size() == 4, "a type has four characters");
    require(box->begin >= position + kSmallestHeader && box->end >= box->begin,
            "a box lies behind its header");
    position = box->end;
  }
  isCutShort(file);
  namesColours(file);
  primaryTurn(file);
}

void check(std::span<const std::uint8_t> bytes) {
  const PictureSignature signature =
      pictureSignature(bytes.first(std::min(bytes.size(), kSignatureLength)));
  require((signature.format == PictureFormat::none) == signature.type.identifier.empty(),
          "a picture has a type");
  isMovieSignature(bytes);
  majorBrand(bytes);
  const FileDescriptor descriptor = memoryFile(bytes);
  const auto file = InputFile::open(descriptor.get());
  if (!file) return;
  checkBoxes(*file);
  for (const PictureFormat each : {PictureFormat::jpeg, PictureFormat::png, signature.format}) {
    hasTooMuchBesidePixels(*file, each);
  }
  hasTooManyJpegPasses(*file, 64, 64);
  claimsTooMuch(*file);
  hasTooManyTags(*file);
  hasTooManyTags(bytes);
}

}  // namespace
}  // namespace quorvin

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  quorvin::check({data, size});
  return 0;
}
