#include "platform_linux/library/originals/original_path.h"

#include <gtest/gtest.h>

#include "platform_linux/library/values/identifiers.h"

namespace quorvin {
namespace {

using namespace std::string_view_literals;

constexpr std::string_view kUuid = "0A1B2C3D-4E5F-4061-8273-94A5B6C7D8E9";

TEST(OriginalPath, NamesFilesByTheirAsset) {
  EXPECT_EQ(originalPath(kUuid, false, "JPG"), "0A/0A1B2C3D-4E5F-4061-8273-94A5B6C7D8E9.JPG");
  EXPECT_EQ(originalPath(kUuid, true, "mov"), "0A/0A1B2C3D-4E5F-4061-8273-94A5B6C7D8E9-9.mov");
  EXPECT_EQ(originalPath(kUuid, false, ""), "0A/0A1B2C3D-4E5F-4061-8273-94A5B6C7D8E9");
}

TEST(OriginalPath, LeavesOutExtensionsThatAreNotPlain) {
  for (const std::string_view extension :
       {"a/b"sv, "../x"sv, "j pg"sv, "elevenchars"sv, "jp\0g"sv, "jpé"sv, "."sv}) {
    EXPECT_FALSE(isPlainExtension(extension)) << extension;
    EXPECT_EQ(originalPath(kUuid, false, extension), originalPath(kUuid, false, "")) << extension;
  }
}

TEST(OriginalPath, IsKnownAgain) {
  for (const std::string_view extension : {""sv, "JPG"sv, "mp4"sv, "0123456789"sv}) {
    for (const bool isPaired : {false, true}) {
      EXPECT_TRUE(resourcePathIsOurs(originalPath(newUuid(), isPaired, extension))) << extension;
    }
  }
  const std::string plain = originalPath(kUuid, false, "");
  EXPECT_TRUE(resourcePathIsOurs(plain + "-5.HEIC"));
  EXPECT_TRUE(resourcePathIsOurs(plain + "-10.MOV"));
}

TEST(OriginalPath, IsNothingElse) {
  for (const std::string_view path : {""sv,
                                      "/"sv,
                                      "../../victim/secret.txt"sv,
                                      "/etc/passwd"sv,
                                      "photo.jpg"sv,
                                      "AB/photo.jpg"sv,
                                      "0B/0A1B2C3D-4E5F-4061-8273-94A5B6C7D8E9"sv,
                                      "0a/0A1B2C3D-4E5F-4061-8273-94A5B6C7D8E9"sv,
                                      "..//0A1B2C3D-4E5F-4061-8273-94A5B6C7D8E9"sv,
                                      "0A\\0A1B2C3D-4E5F-4061-8273-94A5B6C7D8E9"sv,
                                      "0A//A1B2C3D-4E5F-4061-8273-94A5B6C7D8E9"sv,
                                      "0A/0A1B2C3D-4E5F-4061-8273-94A5B6C7D8E"sv,
                                      "0A/0A1B2C3D-4E5F-4061-8273-94A5B6C7D8EG"sv,
                                      "0A/0A1B2C3D-4E5F-4061-8273-94A5B6C7D8Ee"sv,
                                      "0A/0A1B2C3D-4E5F-4061-8273-94A5B6C7D8E/"sv,
                                      "0A/0A1B2C3D04E5F-4061-8273-94A5B6C7D8E9"sv,
                                      "0A/0A1B2C3D-4E5F-4061-8273-../../secret"sv,
                                      "../../../../../../../../../../../../victim"sv,
                                      "../../0A1B2C3D-4E5F-4061-8273-94A5B6C7D8E9"sv,
                                      "../..A1B2C3D-4E5F-4061-8273-94A5B6C7D8E9"sv,
                                      "0A1B2C3D-4E5F-4061-8273-94A5B6C7D8E9"sv}) {
    EXPECT_FALSE(resourcePathIsOurs(path)) << path;
  }
}

TEST(OriginalPath, BeginsAndEndsWithNothingElse) {
  const std::string plain = originalPath(kUuid, false, "");
  for (const std::string_view end :
       {"/"sv,    "/x"sv,      "/../../x"sv, "."sv,   ".."sv,   "../x"sv,   ".jpg/x"sv,
        ".j/g"sv, ".jpg "sv,   " .jpg"sv,    "x"sv,   "-"sv,    "-.jpg"sv,  ".jpg.jpg"sv,
        "-0"sv,   "-09.jpg"sv, "-100.jpg"sv, "--9"sv, "-x"sv,   "-9/x"sv,   "-9-9.jpg"sv,
        "\0"sv,   ".jpg\0"sv,  "\0.jpg"sv,   "\n"sv,  ".jpé"sv, ".jpg\n"sv, ".elevenchars"sv}) {
    EXPECT_FALSE(resourcePathIsOurs(plain + std::string(end))) << end;
  }
  for (const std::string_view start : {"/"sv, "./"sv, "../"sv, "0A/"sv, "\0"sv, " "sv}) {
    EXPECT_FALSE(resourcePathIsOurs(std::string(start) + plain)) << start;
  }
}

}  // namespace
}  // namespace quorvin
