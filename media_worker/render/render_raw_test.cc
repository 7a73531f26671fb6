#include <gtest/gtest.h>

#include <array>

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

TEST(RenderRaw, SaysThatThereIsNoPreview) {
  std::string reason;
  EXPECT_EQ(rendered(negative({}, 1), original(), &reason).width, 0);
  EXPECT_EQ(reason, "The raw photo holds no preview that can be shown.");
}

}  // namespace
}  // namespace quorvin
