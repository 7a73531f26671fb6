// Reads any bytes as a maker note, by itself and as a photo's Exif holds it. Both say the same, and
// no more than the bytes can hold.
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "core/platform/photo_library.h"
#include "fuzz/require.h"
#include "media_worker/metadata/metadata.h"
#include "media_worker/metadata/metadata_maker_note.h"

namespace quorvin {
namespace {

using Bytes = std::vector<std::uint8_t>;

void put(Bytes& bytes, std::uint32_t value, int size) {
  for (int i = 0; i < size; ++i) bytes.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
}

/// Exif, the lowest byte first, of a directory whose only entry leads to that of the photo, whose
/// only entry is the note.
Bytes exifWith(std::span<const std::uint8_t> note) {
  Bytes exif = {'I', 'I', 42, 0, 8, 0, 0, 0};
  const auto directory = [&exif](std::uint32_t tag, std::uint32_t type, std::uint32_t count,
                                 std::uint32_t value) {
    put(exif, 1, 2);
    put(exif, tag, 2);
    put(exif, type, 2);
    put(exif, count, 4);
    put(exif, value, 4);
    put(exif, 0, 4);
  };
  constexpr std::uint32_t kLong = 4;
  constexpr std::uint32_t kUndefined = 7;
  directory(0x8769, kLong, 1, 26);
  directory(0x927c, kUndefined, static_cast<std::uint32_t>(note.size()), 44);
  exif.insert(exif.end(), note.begin(), note.end());
  return exif;
}

void check(std::span<const std::uint8_t> bytes) {
  const MakerNote note = parseMakerNote(bytes);
  for (const std::string& text : {note.contentIdentifier, note.burstIdentifier}) {
    require(text.size() <= bytes.size() && text.find('\0') == std::string::npos,
            "a text is part of the note");
  }
  constexpr std::size_t kInEntry = 4;
  if (bytes.size() <= kInEntry) return;
  FileMetadata metadata;
  addExif(exifWith(bytes), metadata);
  const PhotoMetadata photo = photoMetadata(metadata);
  require(photo.contentIdentifier == note.contentIdentifier &&
              photo.burstIdentifier == note.burstIdentifier &&
              photo.frontCamera == note.frontCamera &&
              ((photo.subtypes & PHAssetMediaSubtype::photoHDR) != 0) == (note.hdrKind == 3),
          "a photo says what its note says");
}

}  // namespace
}  // namespace quorvin

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  quorvin::check({data, size});
  return 0;
}
