#include "core/queries/media_type.h"

#include <gtest/gtest.h>

#include <limits>

namespace quorvin {
namespace {

TEST(MediaType, ComesFromTheIntegersZeroToThree) {
  EXPECT_EQ(mediaTypeFromRawValue(0), MediaType::All);
  EXPECT_EQ(mediaTypeFromRawValue(1), MediaType::Image);
  EXPECT_EQ(mediaTypeFromRawValue(2), MediaType::Video);
  EXPECT_EQ(mediaTypeFromRawValue(3), MediaType::Audio);
}

TEST(MediaType, ComesFromNoOtherInteger) {
  for (const std::int64_t other :
       {std::int64_t{-1}, std::int64_t{4}, std::int64_t{1} << 32, (std::int64_t{1} << 32) + 1,
        std::numeric_limits<std::int64_t>::min(), std::numeric_limits<std::int64_t>::max()}) {
    EXPECT_EQ(mediaTypeFromRawValue(other), std::nullopt) << other;
  }
}

TEST(MediaType, SharesTheLibrarysIntegersForSingleTypes) {
  EXPECT_EQ(static_cast<std::int64_t>(MediaType::Image),
            static_cast<std::int64_t>(PHAssetMediaType::image));
  EXPECT_EQ(static_cast<std::int64_t>(MediaType::Video),
            static_cast<std::int64_t>(PHAssetMediaType::video));
  EXPECT_EQ(static_cast<std::int64_t>(MediaType::Audio),
            static_cast<std::int64_t>(PHAssetMediaType::audio));
}

}  // namespace
}  // namespace quorvin
