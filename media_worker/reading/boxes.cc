// HEIF pictures and movies are boxes in boxes: a size, four letters and a content. Three things are
// read here by hand, for libheif does not tell them: whether the file was cut short, the turns of
// the primary picture in their order, and whether colours are named by code points. Everything is
// bounded, for sizes and counts are what the file claims.
#include "media_worker/reading/boxes.h"

#include <algorithm>
#include <vector>

namespace quorvin {
namespace {

/// More boxes than this in a row are no picture of a camera.
constexpr int kMostBoxes = 10'000;
constexpr std::int64_t kLargestTable = 1 << 20;

/// Big-endian numbers out of a table of bytes; reading beyond its end gives zeros and `failed`.
class TableReader {
 public:
  TableReader(const InputFile& file, std::int64_t begin, std::int64_t end)
      : bytes_(static_cast<std::size_t>(std::clamp<std::int64_t>(end - begin, 0, kLargestTable))) {
    bytes_.resize(file.readAt(begin, bytes_));
  }

  std::uint64_t number(std::size_t size) {
    if (bytes_.size() - position_ < size) {
      position_ = bytes_.size();
      failed_ = true;
      return 0;
    }
    std::uint64_t value = 0;
    for (; size > 0; --size) value = value << 8 | bytes_[position_++];
    return value;
  }

  bool failed() const { return failed_; }

 private:
  std::vector<std::uint8_t> bytes_;
  std::size_t position_ = 0;
  bool failed_ = false;
};

/// Calls `visit(box)` for the boxes in [begin, end) until it returns false.
template <class Visit>
void forEachBox(const InputFile& file, std::int64_t begin, std::int64_t end, Visit&& visit) {
  for (int count = 0; count < kMostBoxes && begin < end; ++count) {
    const auto box = boxAt(file, begin, end);
    if (!box || !visit(*box)) return;
    begin = box->end;
  }
}

/// The properties of one item, as numbers from 1 on, in the order in which they apply.
std::vector<std::uint64_t> propertiesOf(const InputFile& file, const Box& ipma,
                                        std::uint64_t item) {
  TableReader table(file, ipma.begin, ipma.end);
  const std::uint64_t head = table.number(4);
  const std::size_t idSize = head >> 24 == 0 ? 2 : 4;
  const std::size_t indexSize = (head & 1) == 0 ? 1 : 2;
  const std::uint64_t essential = std::uint64_t{1} << (indexSize * 8 - 1);
  for (std::uint64_t entries = table.number(4); entries > 0 && !table.failed(); --entries) {
    const std::uint64_t id = table.number(idSize);
    std::vector<std::uint64_t> indices(table.number(1));
    for (std::uint64_t& index : indices) index = table.number(indexSize) & ~essential;
    if (id == item && !table.failed()) return indices;
  }
  return {};
}

/// What the property does to the picture: nothing, unless it is a turn or a mirroring.
Turn turnOf(const InputFile& file, const Box& property) {
  TableReader table(file, property.begin, property.end);
  if (property.type == "irot") return quarterTurns(table.number(1));
  if (property.type == "imir") return mirroring((table.number(1) & 1) != 0);
  return {};
}

}  // namespace

std::optional<Box> boxAt(const InputFile& file, std::int64_t position, std::int64_t limit) {
  std::uint8_t head[16];
  const std::size_t count = file.readAt(position, head);
  const auto number = [&head](std::size_t begin, std::size_t end) {
    std::uint64_t value = 0;
    for (; begin < end; ++begin) value = value << 8 | head[begin];
    return value;
  };
  if (count < 8 || limit - position < 8) return std::nullopt;
  std::uint64_t size = number(0, 4);
  std::int64_t headSize = 8;
  if (size == 1) {
    if (count < 16) return std::nullopt;
    size = number(8, 16);
    headSize = 16;
  } else if (size == 0) {
    size = static_cast<std::uint64_t>(limit - position);
  }
  if (size < static_cast<std::uint64_t>(headSize) || size > INT64_MAX / 2) return std::nullopt;
  return Box{std::string(head + 4, head + 8), position + headSize,
             position + static_cast<std::int64_t>(size)};
}

std::optional<Box> findBox(const InputFile& file, std::string_view type, std::int64_t begin,
                           std::int64_t end) {
  std::optional<Box> found;
  forEachBox(file, begin, end, [&found, type](const Box& box) {
    if (box.type == type) found = box;
    return !found;
  });
  return found;
}

bool isCutShort(const InputFile& file) {
  bool cut = false;
  forEachBox(file, 0, file.size(), [&cut, &file](const Box& box) {
    cut = box.end > file.size();
    return !cut;
  });
  return cut;
}

std::optional<std::uint64_t> primaryItem(const InputFile& file, const Box& meta) {
  const auto pitm = findBox(file, "pitm", meta.begin + 4, meta.end);
  if (!pitm) return std::nullopt;
  TableReader table(file, pitm->begin, pitm->end);
  const std::uint64_t version = table.number(4) >> 24;
  const std::uint64_t item = table.number(version == 0 ? 2 : 4);
  return table.failed() ? std::nullopt : std::optional(item);
}

bool namesColours(const InputFile& file) {
  const auto meta = findBox(file, "meta", 0, file.size());
  const auto iprp = meta ? findBox(file, "iprp", meta->begin + 4, meta->end) : std::optional<Box>();
  const auto ipco = iprp ? findBox(file, "ipco", iprp->begin, iprp->end) : std::optional<Box>();
  bool named = false;
  if (!ipco) return named;
  forEachBox(file, ipco->begin, ipco->end, [&named, &file](const Box& property) {
    std::uint8_t kind[4];
    named = property.type == "colr" && file.readAt(property.begin, kind) == 4 &&
            std::string_view(reinterpret_cast<const char*>(kind), 4) == "nclx";
    return !named;
  });
  return named;
}

Turn primaryTurn(const InputFile& file) {
  Turn turn;
  const auto meta = findBox(file, "meta", 0, file.size());
  if (!meta) return turn;
  const auto item = primaryItem(file, *meta);
  const auto iprp = findBox(file, "iprp", meta->begin + 4, meta->end);
  if (!item || !iprp) return turn;
  const auto ipco = findBox(file, "ipco", iprp->begin, iprp->end);
  const auto ipma = findBox(file, "ipma", iprp->begin, iprp->end);
  if (!ipco || !ipma) return turn;
  std::vector<Turn> turns;
  forEachBox(file, ipco->begin, ipco->end, [&turns, &file](const Box& property) {
    turns.push_back(turnOf(file, property));
    return true;
  });
  for (const std::uint64_t index : propertiesOf(file, *ipma, *item)) {
    if (index >= 1 && index <= turns.size()) turn = combined(turn, turns[index - 1]);
  }
  return turn;
}

}  // namespace quorvin
