#include "core/platform/images.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

namespace quorvin {
namespace {

TEST(ImageInfo, IsTrueForNothingButTheBooleanTrue) {
  PHImageInfo info;
  EXPECT_FALSE(info.isTrue("key"));
  for (const PHImageInfo::Entry& entry :
       {PHImageInfo::Entry(false), PHImageInfo::Entry(std::int64_t{1}), PHImageInfo::Entry(1.0),
        PHImageInfo::Entry(std::string("true")), PHImageInfo::Entry(NSError{})}) {
    info.set("key", entry);
    EXPECT_FALSE(info.isTrue("key"));
  }
  info.set("key", true);
  EXPECT_TRUE(info.isTrue("key"));
  EXPECT_FALSE(info.isTrue("other"));
}

TEST(ImageInfo, KeepsItsKeysApart) {
  const std::string_view keys[] = {PHImageCancelledKey, PHImageErrorKey, PHImageResultIsDegradedKey,
                                   PHImageResultIsInCloudKey, PHImageResultRequestIDKey};
  for (const std::string_view set : keys) {
    PHImageInfo info;
    info.set(set, true);
    for (const std::string_view asked : keys) EXPECT_EQ(info.isTrue(asked), asked == set) << asked;
  }
}

TEST(ImageInfo, GivesErrorsOnly) {
  PHImageInfo info;
  EXPECT_EQ(info.error("key"), nullptr);
  info.set("key", std::string("failed"));
  EXPECT_EQ(info.error("key"), nullptr);
  info.set("key", NSError{"Domain", 1, "It failed."});
  ASSERT_NE(info.error("key"), nullptr);
  EXPECT_EQ(info.error("key")->code, 1);
}

}  // namespace
}  // namespace quorvin
