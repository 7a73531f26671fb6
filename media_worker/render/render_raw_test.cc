#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <vector>

#include "testing/media/renderings.h"

namespace quorvin {
namespace {

void append(Bytes& bytes, std::uint32_t value, int size) {
  for (int i = 0; i < size; ++i) bytes.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
}

/// A digital negative without a sensor's data: tags, and a preview where there is one.
Bytes negative(const Bytes& preview, int orientation) {
  constexpr std::uint32_t kShort = 3, kLong = 4, kByte = 1;
  struct Tag {
    std::uint32_t tag, type, count, value;
  };
  constexpr std::uint32_t kTagCount = 6;
  constexpr std::uint32_t kPreviewOffset = 8 + 2 + kTagCount * 12 + 4;
  const std::array<Tag, kTagCount> tags{
      {{0x0100, kLong, 1, 4000},
       {0x0101, kLong, 1, 3000},
       {0x0112, kShort, 1, static_cast<std::uint32_t>(orientation)},
       {0x0201, kLong, 1, kPreviewOffset},
       {0x0202, kLong, 1, static_cast<std::uint32_t>(preview.size())},
       {0xc612, kByte, 4, 0x00000401}}};
  Bytes bytes{'I', 'I', 42, 0, 8, 0, 0, 0};
  append(bytes, kTagCount, 2);
  for (const Tag& tag : tags) {
    append(bytes, tag.tag, 2);
    append(bytes, tag.type, 2);
    append(bytes, tag.count, 4);
    append(bytes, tag.value, 4);
  }
  append(bytes, 0, 4);
  bytes.insert(bytes.end(), preview.begin(), preview.end());
  return bytes;
}

struct TagValue {
  std::uint32_t tag, type;
  std::vector<std::uint32_t> values;  ///< a rational is two of them
};

/// A directory of tags at `offset`, with what does not fit into it behind it.
Bytes directory(const std::vector<TagValue>& tags, std::size_t offset) {
  constexpr std::array<int, 13> kSizes{0, 1, 1, 2, 4, 4, 1, 1, 2, 4, 4, 4, 8};
  Bytes bytes;
  Bytes behind;
  const std::size_t begin = offset + 2 + tags.size() * 12 + 4;
  append(bytes, static_cast<std::uint32_t>(tags.size()), 2);
  for (const TagValue& tag : tags) {
    const bool isRational = tag.type == 5 || tag.type == 10;
    const auto count = static_cast<std::uint32_t>(tag.values.size() / (isRational ? 2 : 1));
    append(bytes, tag.tag, 2);
    append(bytes, tag.type, 2);
    append(bytes, count, 4);
    Bytes value;
    for (const std::uint32_t each : tag.values) {
      append(value, each, isRational ? 4 : kSizes.at(tag.type));
    }
    if (value.size() > 4) {
      append(bytes, static_cast<std::uint32_t>(begin + behind.size()), 4);
      value.resize((value.size() + 1) / 2 * 2);
      behind.insert(behind.end(), value.begin(), value.end());
    } else {
      value.resize(4);
      bytes.insert(bytes.end(), value.begin(), value.end());
    }
  }
  append(bytes, 0, 4);
  bytes.insert(bytes.end(), behind.begin(), behind.end());
  return bytes;
}

constexpr std::uint32_t kByteType = 1, kShortType = 3, kLongType = 4, kRationalType = 5,
                        kSignedRationalType = 10;

/// A second directory, to which the first one then leads, with a JPEG behind it.
void appendPreview(Bytes& bytes, const Bytes& preview) {
  const std::size_t begin = bytes.size();
  const auto tagsWith = [&preview](std::size_t offset) {
    return std::vector<TagValue>{
        {0x0103, kShortType, {6}},
        {0x0201, kLongType, {static_cast<std::uint32_t>(offset)}},
        {0x0202, kLongType, {static_cast<std::uint32_t>(preview.size())}},
    };
  };
  const Bytes tags = directory(tagsWith(begin + directory(tagsWith(0), begin).size()), begin);
  bytes.insert(bytes.end(), tags.begin(), tags.end());
  bytes.insert(bytes.end(), preview.begin(), preview.end());
  Bytes link;
  append(link, static_cast<std::uint32_t>(begin), 4);
  constexpr std::size_t kFirst = 8;
  const std::size_t count = bytes[kFirst] + std::size_t{bytes[kFirst + 1]} * 256;
  std::copy(link.begin(), link.end(),
            bytes.begin() + static_cast<std::ptrdiff_t>(kFirst + 2 + count * 12));
}

/// A digital negative with the sensor's data, and a small preview where there is one. The filters
/// are those of sRGB.
Bytes sensorNegative(const Picture& picture, int orientation, const Bytes& preview = {}) {
  constexpr std::size_t kBegin = 8;
  constexpr std::uint32_t kWhite = 16'000;
  const auto width = static_cast<std::uint32_t>(picture.width);
  const auto height = static_cast<std::uint32_t>(picture.height);
  // From XYZ, in tenths of thousands: that of sRGB.
  const std::array<int, 9> matrix{32405, -15371, -4985, -9693, 18760, 416, 556, -2040, 10572};
  TagValue toSensor{0xc621, kSignedRationalType, {}};
  for (const int each : matrix) {
    toSensor.values.push_back(static_cast<std::uint32_t>(each));
    toSensor.values.push_back(10'000);
  }
  const auto tagsWith = [&](std::uint32_t dataOffset) {
    return std::vector<TagValue>{
        {0x00fe, kLongType, {0}},
        {0x0100, kLongType, {width}},
        {0x0101, kLongType, {height}},
        {0x0102, kShortType, {16}},
        {0x0103, kShortType, {1}},
        {0x0106, kShortType, {32803}},
        {0x010f, 2, {'M', 'a', 'k', 'e', 'r', 0}},
        {0x0110, 2, {'M', 'o', 'd', 'e', 'l', 0}},
        {0x0111, kLongType, {dataOffset}},
        {0x0112, kShortType, {static_cast<std::uint32_t>(orientation)}},
        {0x0115, kShortType, {1}},
        {0x0116, kLongType, {height}},
        {0x0117, kLongType, {width * height * 2}},
        {0x828d, kShortType, {2, 2}},
        {0x828e, kByteType, {0, 1, 1, 2}},
        {0xc612, kByteType, {1, 4, 0, 0}},
        {0xc613, kByteType, {1, 1, 0, 0}},
        {0xc614, 2, {'M', 'a', 'k', 'e', 'r', ' ', 'M', 'o', 'd', 'e', 'l', 0}},
        {0xc61d, kLongType, {kWhite}},
        toSensor,
        {0xc628, kRationalType, {1, 1, 1, 1, 1, 1}},
        {0xc65a, kShortType, {21}},
    };
  };
  const auto dataOffset =
      static_cast<std::uint32_t>(kBegin + directory(tagsWith(0), kBegin).size());
  Bytes bytes{'I', 'I', 42, 0, 8, 0, 0, 0};
  const Bytes tags = directory(tagsWith(dataOffset), kBegin);
  bytes.insert(bytes.end(), tags.begin(), tags.end());
  for (int y = 0; y < picture.height; ++y) {
    for (int x = 0; x < picture.width; ++x) {
      const auto filter = static_cast<std::size_t>(x % 2 + y % 2);
      append(bytes, picture.at(x, y).at(filter) > 0 ? kWhite * 9 / 10 : kWhite / 100, 2);
    }
  }
  if (!preview.empty()) appendPreview(bytes, preview);
  return bytes;
}

/// A digital negative without a sensor's data, whose first directory holds plain pixels.
Bytes plainPreviewNegative(const Picture& preview) {
  constexpr std::size_t kBegin = 8;
  const auto width = static_cast<std::uint32_t>(preview.width);
  const auto height = static_cast<std::uint32_t>(preview.height);
  const auto tagsWith = [&](std::uint32_t offset) {
    return std::vector<TagValue>{
        {0x00fe, kLongType, {1}},
        {0x0100, kLongType, {width}},
        {0x0101, kLongType, {height}},
        {0x0102, kShortType, {8, 8, 8}},
        {0x0103, kShortType, {1}},
        {0x0106, kShortType, {2}},
        {0x0111, kLongType, {offset}},
        {0x0112, kShortType, {1}},
        {0x0115, kShortType, {3}},
        {0x0116, kLongType, {height}},
        {0x0117, kLongType, {width * height * 3}},
        {0xc612, kByteType, {1, 4, 0, 0}},
    };
  };
  const auto offset = static_cast<std::uint32_t>(kBegin + directory(tagsWith(0), kBegin).size());
  Bytes bytes{'I', 'I', 42, 0, 8, 0, 0, 0};
  const Bytes tags = directory(tagsWith(offset), kBegin);
  bytes.insert(bytes.end(), tags.begin(), tags.end());
  bytes.insert(bytes.end(), preview.pixels.begin(), preview.pixels.end());
  return bytes;
}

TEST(RenderRaw, ShowsThePreviewUprightByTheRawPhotosOrientation) {
  for (int orientation = 1; orientation <= 8; ++orientation) {
    const Bytes preview = saved(stored(quadrants(96, 64), orientation), ".jpg[Q=95]");
    const Picture picture = rendered(negative(preview, orientation), original());
    ASSERT_EQ(picture.width, 96) << orientation;
    ASSERT_EQ(picture.height, 64) << orientation;
    expectQuadrants(picture, 12);
  }
}

TEST(RenderRaw, ScalesThePreview) {
  const Picture picture =
      rendered(negative(saved(quadrants(960, 640), ".jpg"), 1), fitInto(48, 48));
  EXPECT_EQ(picture.width, 48);
  EXPECT_EQ(picture.height, 32);
}

TEST(RenderRaw, SaysThatNothingCanBeShown) {
  std::string reason;
  EXPECT_EQ(rendered(negative({}, 1), original(), &reason).width, 0);
  EXPECT_EQ(reason, "The raw photo holds no preview that can be shown, and cannot be developed.");
}

TEST(RenderRaw, ShowsAPreviewWithoutCompression) {
  // The first directory is the preview's own, of plain pixels; the photo lies in one below it.
  const Picture picture = rendered(plainPreviewNegative(quadrants(120, 80)), original());
  ASSERT_EQ(picture.width, 120);
  ASSERT_EQ(picture.height, 80);
  expectQuadrants(picture, 2);
}

TEST(RenderRaw, IsDevelopedOnlyForMoreThanItsPreviewShows) {
  const Bytes file =
      sensorNegative(filled(480, 320, kWhite), 1, saved(filled(120, 80, kRed), ".jpg"));
  const Picture small = rendered(file, fitInto(100, 100));
  ASSERT_EQ(small.width, 100);
  EXPECT_TRUE(isNear(small.at(50, 30), kRed, 8));
  const Picture large = rendered(file, fitInto(300, 300));
  ASSERT_EQ(large.width, 300);
  EXPECT_GT(large.at(150, 100)[1], 200);
}

TEST(RenderRaw, IsDevelopedWhereThereIsNoPreview) {
  for (int orientation = 1; orientation <= 8; ++orientation) {
    const Bytes file = sensorNegative(stored(quadrants(192, 128), orientation), orientation);
    for (const RenderRequest& request : {original(), fitInto(60, 60)}) {
      const Picture picture = rendered(file, request);
      ASSERT_NEAR(picture.width * 2, picture.height * 3, 6) << orientation;
      const auto at = [&picture](double x, double y) {
        return picture.at(static_cast<int>(x * picture.width),
                          static_cast<int>(y * picture.height));
      };
      const Colour red = at(0.25, 0.25);
      const Colour green = at(0.75, 0.25);
      const Colour blue = at(0.25, 0.75);
      const Colour white = at(0.75, 0.75);
      EXPECT_GT(red[0], red[1] + 100) << orientation;
      EXPECT_GT(red[0], red[2] + 100) << orientation;
      EXPECT_GT(green[1], green[0] + 60) << orientation;
      EXPECT_GT(green[1], green[2] + 60) << orientation;
      EXPECT_GT(blue[2], blue[0] + 60) << orientation;
      EXPECT_GT(blue[2], blue[1] + 60) << orientation;
      EXPECT_TRUE(isNear(white, {white[1], white[1], white[1], 255}, 12)) << orientation;
      EXPECT_GT(white[1], 200) << orientation;
    }
  }
}

}  // namespace
}  // namespace quorvin
