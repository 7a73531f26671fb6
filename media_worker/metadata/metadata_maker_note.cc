// A maker note is whatever a maker writes into Exif. That of one maker's phones is known by its
// first bytes; behind them stands a directory like TIFF's, with the highest byte first and offsets
// counted from the note's beginning. Four of its entries tell what nothing else does: how the
// picture was merged, its burst, what pairs it with its video, and which camera took it.
#include "media_worker/metadata/metadata_maker_note.h"

#include <algorithm>
#include <array>
#include <optional>

namespace quorvin {
namespace {

constexpr std::array<std::uint8_t, 14> kHeader = {0x41, 0x70, 0x70, 0x6c, 0x65, 0x20, 0x69,
                                                  0x4f, 0x53, 0x00, 0x00, 0x01, 'M',  'M'};
constexpr std::size_t kEntrySize = 12;

enum Tag : std::uint32_t {
  kHdrKind = 0x000a,
  kBurstIdentifier = 0x000b,
  kContentIdentifier = 0x0011,
  kFrontCamera = 0x0045,
};

enum Type : std::uint32_t { kText = 2, kShort = 3, kLong = 4, kSignedShort = 8, kSignedLong = 9 };

using Bytes = std::span<const std::uint8_t>;

/// Big-endian, `count` bytes; none outside of the note.
std::optional<std::uint32_t> number(Bytes note, std::size_t position, std::size_t count) {
  if (position > note.size() || note.size() - position < count) return std::nullopt;
  std::uint32_t value = 0;
  for (const std::uint8_t byte : note.subspan(position, count)) value = value << 8 | byte;
  return value;
}

struct Entry {
  std::uint32_t tag = 0;
  std::uint32_t type = 0;
  std::uint32_t count = 0;
  std::uint32_t value = 0;     ///< where the value is, or its four bytes
  std::size_t valueField = 0;  ///< position of the four bytes
};

/// Up to four bytes stand in the entry itself; longer values lie elsewhere, counted from the
/// note's beginning.
std::string textOf(Bytes note, const Entry& entry) {
  if (entry.type != kText) return {};
  const std::size_t begin = entry.count <= 4 ? entry.valueField : entry.value;
  if (begin > note.size() || note.size() - begin < entry.count) return {};
  const Bytes bytes = note.subspan(begin, entry.count);
  return {bytes.begin(), std::find(bytes.begin(), bytes.end(), 0)};
}

std::int64_t integerIn(const Entry& entry) {
  if (entry.count != 1) return 0;
  switch (entry.type) {
    case kShort:
    case kSignedShort:
      return entry.value >> 16;
    case kLong:
    case kSignedLong:
      return entry.value;
    default:
      return 0;
  }
}

std::optional<Entry> entryAt(Bytes note, std::size_t position) {
  const auto tag = number(note, position, 2);
  const auto type = number(note, position + 2, 2);
  const auto count = number(note, position + 4, 4);
  const auto value = number(note, position + 8, 4);
  if (!tag || !type || !count || !value) return std::nullopt;
  return Entry{*tag, *type, *count, *value, position + 8};
}

}  // namespace

MakerNote parseMakerNote(Bytes note) {
  MakerNote result;
  if (note.size() < kHeader.size() || !std::equal(kHeader.begin(), kHeader.end(), note.begin())) {
    return result;
  }
  const std::size_t entries = number(note, kHeader.size(), 2).value_or(0);
  for (std::size_t index = 0; index < entries; ++index) {
    const auto entry = entryAt(note, kHeader.size() + 2 + index * kEntrySize);
    if (!entry) break;
    switch (entry->tag) {
      case kHdrKind:
        result.hdrKind = integerIn(*entry);
        break;
      case kBurstIdentifier:
        result.burstIdentifier = textOf(note, *entry);
        break;
      case kContentIdentifier:
        result.contentIdentifier = textOf(note, *entry);
        break;
      case kFrontCamera:
        result.frontCamera = integerIn(*entry) != 0;
        break;
      default:
        break;
    }
  }
  return result;
}

}  // namespace quorvin
