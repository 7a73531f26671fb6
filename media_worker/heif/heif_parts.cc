#include "media_worker/heif/heif_parts.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <map>
#include <span>
#include <vector>

#include "media_worker/reading/boxes.h"

namespace quorvin {

namespace {

/// Tiles of 512 pixels a side come to a gigapixel.
constexpr std::int64_t kMostTiles = 4'096;
/// Each is looked for among all others.
constexpr std::int64_t kMostItems = 10'000;
/// A grid of pictures that are turned, and some more.
constexpr int kDeepest = 8;
/// Items share some bytes here and there.
constexpr std::int64_t kMostCopies = 4;
constexpr std::int64_t kSharedItemBytes = 1 << 20;

/// Numbers one behind the other, highest byte first; behind the end there are zeros.
class Numbers {
 public:
  Numbers(const InputFile& file, const Box& box) : file_(file), at_(box.begin), end_(box.end) {}

  std::int64_t next(std::int64_t size) {
    std::array<std::uint8_t, 8> bytes{};
    const auto wanted = std::span(bytes).first(static_cast<std::size_t>(size));
    if (end_ - at_ < size || file_.readAt(at_, wanted) < wanted.size()) at_ = end_;
    std::uint64_t value = 0;
    for (const std::uint8_t byte : wanted) value = value << 8 | byte;
    at_ = std::min(at_ + size, end_);
    return static_cast<std::int64_t>(value & INT64_MAX);
  }
  bool areOver() const { return at_ >= end_; }

 private:
  const InputFile& file_;
  std::int64_t at_;
  const std::int64_t end_;
};

/// The pictures that a picture is made of, by items.
class Derivations {
 public:
  /// False when there are too many.
  bool read(const InputFile& file, const Box& references) {
    Numbers head(file, references);
    const std::int64_t idSize = head.next(1) == 0 ? 2 : 4;
    std::int64_t begin = references.begin + 4;
    std::int64_t count = 0;
    while (const auto box = boxAt(file, begin, references.end)) {
      if (++count > kMostItems) return false;
      if (box->type == "dimg" && !readMaking(file, *box, idSize)) return false;
      begin = box->end;
    }
    return true;
  }

  std::size_t partsOf(std::int64_t item) const {
    const auto found = parts_.find(item);
    return found == parts_.end() ? 0 : found->second.size();
  }

  /// Whether any picture comes to too many tiles, or is made of itself.
  bool areTooMany() {
    for (const auto& [item, parts] : parts_) {
      if (tilesOf(item, 0) > kMostTiles) return true;
    }
    return false;
  }

 private:
  bool readMaking(const InputFile& file, const Box& box, std::int64_t idSize) {
    Numbers numbers(file, box);
    auto& parts = parts_[numbers.next(idSize)];
    const std::int64_t count = numbers.next(2);
    named_ += count;
    for (std::int64_t i = 0; i < count && !numbers.areOver(); ++i) {
      parts.push_back(numbers.next(idSize));
    }
    return named_ <= kMostItems;
  }

  std::int64_t tilesOf(std::int64_t item, int depth) {
    const auto found = parts_.find(item);
    if (found == parts_.end()) return 1;
    if (depth > kDeepest) return kMostTiles + 1;
    if (const auto known = tiles_.find(item); known != tiles_.end()) return known->second;
    std::int64_t tiles = 0;
    for (const std::int64_t part : found->second) {
      tiles += tilesOf(part, depth + 1);
      if (tiles > kMostTiles) break;
    }
    return tiles_[item] = tiles;
  }

  std::map<std::int64_t, std::vector<std::int64_t>> parts_;
  std::map<std::int64_t, std::int64_t> tiles_;
  std::int64_t named_ = 0;
};

bool hasTooManyTiles(const InputFile& file, const Box& meta) {
  const auto references = findBox(file, "iref", meta.begin + 4, meta.end);
  if (!references) return false;
  Derivations derivations;
  return !derivations.read(file, *references) || derivations.areTooMany();
}

bool hasTooManyItems(const InputFile& file, const Box& meta) {
  const auto items = findBox(file, "iinf", meta.begin + 4, meta.end);
  if (!items) return false;
  Numbers numbers(file, *items);
  const bool isShort = numbers.next(4) >> 24 == 0;
  return numbers.next(isShort ? 2 : 4) > kMostItems;
}

/// Whether the places of all items come to more bytes than there are.
bool hasTooManyBytes(const InputFile& file, const Box& meta) {
  const auto places = findBox(file, "iloc", meta.begin + 4, meta.end);
  if (!places) return false;
  Numbers numbers(file, *places);
  const std::int64_t version = numbers.next(4) >> 24;
  const std::int64_t sizes = numbers.next(2);
  const auto sizeOf = [sizes](int place) { return std::min<std::int64_t>(sizes >> place & 15, 8); };
  std::int64_t left = kMostCopies * file.size() + kSharedItemBytes;
  for (std::int64_t items = numbers.next(version < 2 ? 2 : 4); items > 0 && !numbers.areOver();
       --items) {
    numbers.next(version < 2 ? 2 : 4);
    if (version > 0) numbers.next(2);
    numbers.next(2);
    numbers.next(sizeOf(4));
    for (std::int64_t extents = numbers.next(2); extents > 0 && !numbers.areOver(); --extents) {
      if (version > 0) numbers.next(sizeOf(0));
      numbers.next(sizeOf(12));
      const std::int64_t length = numbers.next(sizeOf(8));
      // What is said to be longer than the file is read as nothing.
      if (length <= file.size()) left -= length == 0 ? file.size() : length;
      if (left < 0) return true;
    }
  }
  return false;
}

}  // namespace

int partsOfPrimary(const InputFile& file) {
  const auto meta = findBox(file, "meta", 0, file.size());
  const auto references = meta ? findBox(file, "iref", meta->begin + 4, meta->end) : std::nullopt;
  const auto item = meta ? primaryItem(file, *meta) : std::nullopt;
  Derivations derivations;
  if (!references || !item || !derivations.read(file, *references)) return 0;
  return static_cast<int>(derivations.partsOf(static_cast<std::int64_t>(*item)));
}

bool hasTooManyParts(const InputFile& file) {
  const auto meta = findBox(file, "meta", 0, file.size());
  return meta && (hasTooManyItems(file, *meta) || hasTooManyTiles(file, *meta) ||
                  hasTooManyBytes(file, *meta));
}

}  // namespace quorvin
