// HEIC files put together box by box: libheif's encoder makes no tiles and nothing auxiliary.
#include <gtest/gtest.h>

#include <algorithm>
#include <string_view>

#include "testing/media/heif_pictures.h"

namespace quorvin {

namespace {

/// Bytes of boxes, numbers with the highest byte first.
class BoxWriter {
 public:
  BoxWriter& number(std::size_t value, int size) {
    for (int i = size - 1; i >= 0; --i) {
      bytes_.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
    }
    return *this;
  }
  BoxWriter& text(std::string_view characters) {
    bytes_.insert(bytes_.end(), characters.begin(), characters.end());
    return *this;
  }
  BoxWriter& append(const Bytes& bytes) {
    bytes_.insert(bytes_.end(), bytes.begin(), bytes.end());
    return *this;
  }
  BoxWriter& box(std::string_view type, const BoxWriter& content) {
    return number(content.bytes_.size() + 8, 4).text(type).append(content.bytes_);
  }
  const Bytes& bytes() const { return bytes_; }

 private:
  Bytes bytes_;
};

/// The content of the first box of the type, wherever in the file it lies.
Bytes contentOf(const Bytes& file, std::string_view type) {
  const auto at = std::search(file.begin(), file.end(), type.begin(), type.end());
  if (file.end() - at < 4 || at - file.begin() < 4) {
    ADD_FAILURE() << "the file has no " << type;
    return {};
  }
  std::size_t size = 0;
  for (int i = -4; i < 0; ++i) size = size << 8 | *(at + i);
  return {at + 4, at - 4 + static_cast<std::ptrdiff_t>(size)};
}

Picture tileOf(const Picture& picture, int left, int top, int side) {
  Picture tile(side, side, 3);
  for (int y = 0; y < side; ++y) {
    for (int x = 0; x < side; ++x) {
      tile.set(
          x, y,
          picture.at(std::min(left + x, picture.width - 1), std::min(top + y, picture.height - 1)));
    }
  }
  return tile;
}

constexpr std::size_t kPrimary = 1;  ///< the item that is shown; the others are counted from it
constexpr std::size_t kEssential = 0x80;

BoxWriter itemInfo(std::size_t id, std::string_view type) {
  const BoxWriter content =
      BoxWriter().number(2, 1).number(0, 3).number(id, 2).number(0, 2).text(type).number(0, 1);
  return BoxWriter().box("infe", content);
}

BoxWriter sizeProperty(int width, int height) {
  return BoxWriter()
      .number(0, 4)
      .number(static_cast<std::size_t>(width), 4)
      .number(static_cast<std::size_t>(height), 4);
}

/// Sizes, the stream's setup and the turn of the whole, and which item has which of them.
BoxWriter properties(int width, int height, int side, const Bytes& setup, int quarterTurns,
                     std::size_t tileCount) {
  BoxWriter list;
  list.box("ispe", sizeProperty(width, height))
      .box("ispe", sizeProperty(side, side))
      .box("hvcC", BoxWriter().append(setup))
      .box("irot", BoxWriter().number(static_cast<std::size_t>(quarterTurns), 1));
  BoxWriter uses;
  uses.number(0, 4).number(tileCount + 1, 4);
  uses.number(kPrimary, 2).number(2, 1).number(1, 1).number(kEssential | 4, 1);
  for (std::size_t i = 0; i < tileCount; ++i) {
    uses.number(kPrimary + 1 + i, 2).number(2, 1).number(2, 1).number(kEssential | 3, 1);
  }
  return BoxWriter().box("ipco", list).box("ipma", uses);
}

/// The item that shows tiles in rows and columns.
BoxWriter gridItem(int columns, int rows, int width, int height) {
  return BoxWriter()
      .number(0, 2)
      .number(static_cast<std::size_t>(rows - 1), 1)
      .number(static_cast<std::size_t>(columns - 1), 1)
      .number(static_cast<std::size_t>(width), 2)
      .number(static_cast<std::size_t>(height), 2);
}

/// Where each item's data lies, of which the first begins at `offset`.
BoxWriter locations(const std::vector<Bytes>& items, std::size_t offset) {
  BoxWriter content;
  content.number(0, 4).number(0x4400, 2).number(items.size(), 2);
  for (std::size_t i = 0; i < items.size(); ++i) {
    content.number(kPrimary + i, 2)
        .number(0, 2)
        .number(1, 2)
        .number(offset, 4)
        .number(items[i].size(), 4);
    offset += items[i].size();
  }
  return content;
}

/// A file of these items, of which the first is the primary one. `infos`, `references` and
/// `properties` are the contents of the boxes that describe them.
Bytes fileOfItems(const std::vector<Bytes>& items, const BoxWriter& infos,
                  const BoxWriter& references, const BoxWriter& properties) {
  const BoxWriter handler = BoxWriter().number(0, 8).text("pict").number(0, 8).number(0, 5);
  const auto meta = [&](std::size_t offset) {
    BoxWriter content;
    content.number(0, 4)
        .box("hdlr", handler)
        .box("pitm", BoxWriter().number(0, 4).number(kPrimary, 2))
        .box("iloc", locations(items, offset))
        .box("iinf", BoxWriter().number(0, 4).number(items.size(), 2).append(infos.bytes()))
        .box("iref", BoxWriter().number(0, 4).append(references.bytes()))
        .box("iprp", properties);
    return content;
  };
  BoxWriter file;
  file.box("ftyp", BoxWriter().text("heic").number(0, 4).text("mif1heic"));
  const std::size_t data = file.bytes().size() + 8 + meta(0).bytes().size() + 8;
  BoxWriter content;
  for (const Bytes& item : items) content.append(item);
  return file.box("meta", meta(data)).box("mdat", content).bytes();
}

}  // namespace

Bytes tiledHeic(const Picture& picture, int side, int quarterTurns) {
  const int columns = (picture.width + side - 1) / side;
  const int rows = (picture.height + side - 1) / side;
  std::vector<Bytes> items{gridItem(columns, rows, picture.width, picture.height).bytes()};
  Bytes setup;
  for (int row = 0; row < rows; ++row) {
    for (int column = 0; column < columns; ++column) {
      const Bytes tile = heif(tileOf(picture, column * side, row * side, side));
      setup = contentOf(tile, "hvcC");
      items.push_back(contentOf(tile, "mdat"));
    }
  }
  const std::size_t tileCount = items.size() - 1;
  BoxWriter infos = itemInfo(kPrimary, "grid");
  BoxWriter parts;
  parts.number(kPrimary, 2).number(tileCount, 2);
  for (std::size_t id = kPrimary + 1; id <= kPrimary + tileCount; ++id) {
    infos.append(itemInfo(id, "hvc1").bytes());
    parts.number(id, 2);
  }
  return fileOfItems(
      items, infos, BoxWriter().box("dimg", parts),
      properties(picture.width, picture.height, side, setup, quarterTurns, tileCount));
}

Bytes repeatedTileHeic(const Picture& tile, int columns, int rows) {
  const int width = tile.width * columns;
  const int height = tile.height * rows;
  const Bytes coded = heif(tile);
  const auto count = static_cast<std::size_t>(columns * rows);
  BoxWriter parts;
  parts.number(kPrimary, 2).number(count, 2);
  for (std::size_t i = 0; i < count; ++i) parts.number(kPrimary + 1, 2);
  BoxWriter infos = itemInfo(kPrimary, "grid");
  infos.append(itemInfo(kPrimary + 1, "hvc1").bytes());
  return fileOfItems({gridItem(columns, rows, width, height).bytes(), contentOf(coded, "mdat")},
                     infos, BoxWriter().box("dimg", parts),
                     properties(width, height, tile.width, contentOf(coded, "hvcC"), 0, 1));
}

Bytes heicWithAuxiliary(const Picture& picture, const std::string& type) {
  const Bytes coded = heif(picture);
  const Bytes data = contentOf(coded, "mdat");
  constexpr std::size_t kAuxiliary = kPrimary + 1;
  BoxWriter infos = itemInfo(kPrimary, "hvc1");
  infos.append(itemInfo(kAuxiliary, "hvc1").bytes());
  BoxWriter list;
  list.box("ispe", sizeProperty(picture.width, picture.height))
      .box("hvcC", BoxWriter().append(contentOf(coded, "hvcC")))
      .box("auxC", BoxWriter().number(0, 4).text(type).number(0, 1));
  BoxWriter uses;
  uses.number(0, 4).number(2, 4);
  uses.number(kPrimary, 2).number(2, 1).number(1, 1).number(kEssential | 2, 1);
  uses.number(kAuxiliary, 2).number(3, 1).number(1, 1).number(kEssential | 2, 1);
  uses.number(kEssential | 3, 1);
  const BoxWriter belongs = BoxWriter().number(kAuxiliary, 2).number(1, 2).number(kPrimary, 2);
  return fileOfItems({data, data}, infos, BoxWriter().box("auxl", belongs),
                     BoxWriter().box("ipco", list).box("ipma", uses));
}

}  // namespace quorvin
