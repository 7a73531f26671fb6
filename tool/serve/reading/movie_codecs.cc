#include "tool/serve/reading/movie_codecs.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>

namespace quorvin {
namespace {

using Bytes = std::span<const std::uint8_t>;

constexpr std::size_t kBoxHeader = 8;
constexpr std::size_t kLongBoxHeader = 16;
/// Of a movie of hours the tables are as large.
constexpr std::uint64_t kLargestTables = std::uint64_t{64} << 20;
constexpr int kMostBoxesAround = 64;
/// What stands in front of the boxes of a sample entry, behind its own header.
constexpr std::size_t kPictureFields = 78;
constexpr std::size_t kSoundFields = 28;
/// H.264's profiles with 8 bits and one colour sample for four: baseline, main, extended, high.
constexpr std::array<int, 4> kCommonProfiles{66, 77, 88, 100};
constexpr std::uint8_t kAac = 0x40;

std::uint64_t numberIn(Bytes bytes) {
  std::uint64_t number = 0;
  for (const std::uint8_t byte : bytes) number = number << 8 | byte;
  return number;
}

struct Box {
  std::string_view type;
  Bytes content;
};

/// Takes the next box off the front; none when there is no whole one.
std::optional<Box> takeBox(Bytes& bytes) {
  if (bytes.size() < kBoxHeader) return std::nullopt;
  const std::uint64_t size = numberIn(bytes.first(4));
  if (size < kBoxHeader || size > bytes.size()) return std::nullopt;
  const Box box{{reinterpret_cast<const char*>(bytes.data()) + 4, 4},
                bytes.subspan(kBoxHeader, size - kBoxHeader)};
  bytes = bytes.subspan(size);
  return box;
}

/// The content of the first box of this type among those within.
std::optional<Bytes> within(Bytes bytes, std::string_view type) {
  while (const auto box = takeBox(bytes)) {
    if (box->type == type) return box->content;
  }
  return std::nullopt;
}

std::optional<Bytes> behind(Bytes bytes, std::size_t size) {
  if (bytes.size() < size) return std::nullopt;
  return bytes.subspan(size);
}

bool isCommonPicture(const Box& entry) {
  const auto boxes = behind(entry.content, kPictureFields);
  if (entry.type != "avc1" || !boxes) return false;
  const auto configuration = within(*boxes, "avcC");
  return configuration && configuration->size() > 1 &&
         std::ranges::find(kCommonProfiles, (*configuration)[1]) != kCommonProfiles.end();
}

/// Takes the head of a descriptor off the front; false when it is not of this tag.
bool enterDescriptor(Bytes& bytes, std::uint8_t tag) {
  if (bytes.empty() || bytes.front() != tag) return false;
  bytes = bytes.subspan(1);
  // Its size has at most four bytes, each but the last with the highest bit set.
  for (int i = 0; i < 4 && !bytes.empty(); ++i) {
    const bool isLast = (bytes.front() & 0x80) == 0;
    bytes = bytes.subspan(1);
    if (isLast) return true;
  }
  return false;
}

bool isCommonSound(const Box& entry) {
  const auto boxes = behind(entry.content, kSoundFields);
  if (entry.type != "mp4a" || !boxes) return false;
  auto descriptor = within(*boxes, "esds");
  // Version and flags come first; the stream's number and flags stand in the outer descriptor.
  if (descriptor) descriptor = behind(*descriptor, 4);
  if (!descriptor || !enterDescriptor(*descriptor, 3)) return false;
  descriptor = behind(*descriptor, 3);
  if (!descriptor || !enterDescriptor(*descriptor, 4)) return false;
  return !descriptor->empty() && descriptor->front() == kAac;
}

enum class Track { other, pictures, sound, unknown };

/// Of a description of a track's samples, where each entry has to be one that is known.
Track kindOf(Bytes media) {
  const auto handler = within(media, "hdlr");
  if (!handler || handler->size() < 12) return Track::unknown;
  const std::string_view kind(reinterpret_cast<const char*>(handler->data()) + 8, 4);
  if (kind != "vide" && kind != "soun") return Track::other;
  std::optional<Bytes> part = within(media, "minf");
  if (part) part = within(*part, "stbl");
  if (part) part = within(*part, "stsd");
  if (part) part = behind(*part, 8);
  if (!part) return Track::unknown;
  Bytes entries = *part;
  bool isKnown = false;
  while (const auto entry = takeBox(entries)) {
    isKnown = kind == "vide" ? isCommonPicture(*entry) : isCommonSound(*entry);
    if (!isKnown) return Track::unknown;
  }
  if (!isKnown || !entries.empty()) return Track::unknown;
  return kind == "vide" ? Track::pictures : Track::sound;
}

bool playsByTables(Bytes movie) {
  bool hasPictures = false;
  while (const auto box = takeBox(movie)) {
    if (box->type != "trak") continue;
    const auto media = within(box->content, "mdia");
    const Track kind = media ? kindOf(*media) : Track::unknown;
    if (kind == Track::unknown) return false;
    hasPictures = hasPictures || kind == Track::pictures;
  }
  return hasPictures;
}

}  // namespace

bool playsInEveryBrowser(const FileReader& read, std::uint64_t fileSize) {
  std::uint64_t position = 0;
  for (int i = 0; i < kMostBoxesAround && position < fileSize; ++i) {
    const std::uint64_t left = fileSize - position;
    const auto head = read(position, std::min<std::uint64_t>(left, kLongBoxHeader));
    if (!head || head->size() < kBoxHeader) return false;
    std::uint64_t size = numberIn(Bytes(*head).first(4));
    std::size_t headSize = kBoxHeader;
    if (size == 1 && head->size() == kLongBoxHeader) {
      size = numberIn(Bytes(*head).subspan(kBoxHeader));
      headSize = kLongBoxHeader;
    }
    if (size < headSize || size > left) return false;
    if (std::string_view(reinterpret_cast<const char*>(head->data()) + 4, 4) == "moov") {
      if (size > kLargestTables) return false;
      const auto tables = read(position + headSize, size - headSize);
      return tables && playsByTables(*tables);
    }
    position += size;
  }
  return false;
}

}  // namespace quorvin
