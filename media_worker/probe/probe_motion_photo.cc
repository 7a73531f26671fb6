#include "media_worker/probe/probe_motion_photo.h"

#include <cstring>
#include <span>
#include <string_view>
#include <vector>

#include "media_worker/probe/probe_movie.h"
#include "media_worker/reading/boxes.h"

namespace quorvin {
namespace {

std::optional<EmbeddedMovie> fromXmp(const InputFile& file, const AnnouncedMovie& announced) {
  if (announced.fromEnd > file.size() || announced.length > announced.fromEnd) return std::nullopt;
  return EmbeddedMovie{file.size() - announced.fromEnd, announced.length};
}

std::optional<EmbeddedMovie> fromBox(const InputFile& file) {
  const auto box = findBox(file, "mpvd", 0, file.size());
  if (!box || box->end > file.size()) return std::nullopt;
  return EmbeddedMovie{box->begin, box->end - box->begin};
}

std::int64_t littleEndian(std::span<const std::uint8_t> bytes, std::size_t position) {
  std::uint32_t value = 0;
  for (std::size_t index = 4; index > 0; --index) value = value << 8 | bytes[position + index - 1];
  return value;
}

/// A block of the trailer: two zeros, a type, the length of its name, the name, the content.
std::optional<EmbeddedMovie> fromBlock(const InputFile& file, std::int64_t begin,
                                       std::int64_t size) {
  constexpr std::string_view kName = "MotionPhoto_Data";
  constexpr std::int64_t kHead = 8;
  const std::vector<std::uint8_t> head = file.part(begin, size).head(kHead + kName.size());
  if (head.size() < kHead + kName.size() ||
      littleEndian(head, 4) != static_cast<std::int64_t>(kName.size()) ||
      std::memcmp(head.data() + kHead, kName.data(), kName.size()) != 0) {
    return std::nullopt;
  }
  const auto skipped = static_cast<std::int64_t>(head.size());
  return EmbeddedMovie{begin + skipped, size - skipped};
}

/// The trailer ends in a directory of blocks, its length and the letters SEFT.
std::optional<EmbeddedMovie> fromTrailer(const InputFile& file) {
  constexpr std::int64_t kTail = 8;
  constexpr std::int64_t kDirectoryHead = 12;
  constexpr std::int64_t kEntry = 12;
  constexpr std::int64_t kLargestDirectory = 1 << 16;
  const std::vector<std::uint8_t> tail = file.part(file.size() - kTail, kTail).head(kTail);
  if (tail.size() < kTail || std::memcmp(tail.data() + 4, "SEFT", 4) != 0) return std::nullopt;
  const std::int64_t length = littleEndian(tail, 0);
  const std::int64_t begin = file.size() - kTail - length;
  if (length < kDirectoryHead || length > kLargestDirectory || begin < 0) return std::nullopt;
  const std::vector<std::uint8_t> directory =
      file.part(begin, length).head(static_cast<std::size_t>(length));
  if (static_cast<std::int64_t>(directory.size()) < length) return std::nullopt;
  for (std::int64_t entry = kDirectoryHead; entry + kEntry <= length; entry += kEntry) {
    const auto at = static_cast<std::size_t>(entry);
    const std::int64_t back = littleEndian(directory, at + 4);
    const std::int64_t size = littleEndian(directory, at + 8);
    if (back > begin || size > back) continue;
    if (auto movie = fromBlock(file, begin - back, size)) return movie;
  }
  return std::nullopt;
}

bool opens(const InputFile& file, const EmbeddedMovie& movie) {
  const InputFile part = file.part(movie.offset, movie.length);
  const std::vector<std::uint8_t> head = part.head(8);
  return head.size() == 8 && std::memcmp(head.data() + 4, "ftyp", 4) == 0 && isMovie(part);
}

}  // namespace

std::optional<EmbeddedMovie> findEmbeddedMovie(const InputFile& file,
                                               const std::optional<AnnouncedMovie>& announced) {
  for (const std::optional<EmbeddedMovie>& movie :
       {announced ? fromXmp(file, *announced) : std::nullopt, fromBox(file), fromTrailer(file)}) {
    if (movie && opens(file, *movie)) return movie;
  }
  return std::nullopt;
}

}  // namespace quorvin
