#include "tool/serve/reading/movie_codecs.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

namespace quorvin {
namespace {

using namespace std::string_literals;

std::string box(std::string_view type, std::string_view content) {
  const std::size_t size = content.size() + 8;
  std::string bytes{static_cast<char>(size >> 24), static_cast<char>(size >> 16),
                    static_cast<char>(size >> 8), static_cast<char>(size)};
  return bytes.append(type).append(content);
}

std::string zeros(std::size_t count) {
  return std::string(count, '\0');
}

std::string track(std::string_view kind, const std::string& entries) {
  const std::string handler = box("hdlr", zeros(8) + std::string(kind) + zeros(12));
  const std::string samples = box("stbl", box("stsd", zeros(8) + entries));
  return box("trak", box("tkhd", zeros(84)) + box("mdia", handler + box("minf", samples)));
}

std::string pictures(char profile, std::string_view type = "avc1") {
  const std::string configuration = box("avcC", "\1"s + profile + "\0\x1E\xFF"s);
  return track("vide", box(type, zeros(78) + box("colr", "nclx") + configuration));
}

std::string sound(char coding) {
  const std::string descriptor = "\0\0\0\0\3\x80\x80\x80\x22\0\1\0\4\x80\x80\x80\x14"s + coding;
  return track("soun", box("mp4a", zeros(28) + box("esds", descriptor + zeros(12))));
}

std::string movie(const std::string& tracks) {
  return box("ftyp", "isom") + box("moov", box("mvhd", zeros(100)) + tracks) + box("mdat", "data");
}

bool plays(const std::string& file) {
  const FileReader read = [&file](std::uint64_t position, std::size_t size) {
    EXPECT_LE(position + size, file.size());
    const auto begin = file.begin() + static_cast<std::ptrdiff_t>(position);
    return std::optional(
        std::vector<std::uint8_t>(begin, begin + static_cast<std::ptrdiff_t>(size)));
  };
  return playsInEveryBrowser(read, file.size());
}

constexpr char kBaseline = 66;
constexpr char kHigh = 100;
constexpr char kHighTenBits = 110;
constexpr char kAac = 0x40;
constexpr char kMp3 = 0x6B;

TEST(MovieCodecs, H264AndAacPlay) {
  for (const char profile : {kBaseline, kHigh}) {
    EXPECT_TRUE(plays(movie(pictures(profile) + sound(kAac))));
    EXPECT_TRUE(plays(movie(sound(kAac) + pictures(profile))));
    EXPECT_TRUE(plays(movie(pictures(profile))));
  }
}

TEST(MovieCodecs, TracksOfOtherKindsDoNoHarm) {
  EXPECT_TRUE(plays(movie(pictures(kHigh) + track("tmcd", box("tmcd", zeros(20))))));
}

TEST(MovieCodecs, OthersDoNotPlay) {
  EXPECT_FALSE(plays(movie(pictures(kHighTenBits))));
  EXPECT_FALSE(plays(movie(pictures(kHigh, "hvc1"))));
  EXPECT_FALSE(plays(movie(pictures(kHigh) + sound(kMp3))));
  EXPECT_FALSE(plays(movie(pictures(kHigh) + track("soun", box("ac-3", zeros(40))))));
  EXPECT_FALSE(plays(movie(sound(kAac))));
  EXPECT_FALSE(plays(movie("")));
}

TEST(MovieCodecs, EachDescriptionCounts) {
  const std::string known = box("avc1", zeros(78) + box("avcC", "\1d"));
  EXPECT_TRUE(plays(movie(track("vide", known + known))));
  EXPECT_FALSE(plays(movie(track("vide", known + box("hvc1", zeros(90))))));
  EXPECT_FALSE(plays(movie(track("vide", box("hvc1", zeros(90)) + known))));
  EXPECT_FALSE(plays(movie(track("vide", known + "x"))));
  EXPECT_FALSE(plays(movie(track("vide", ""))));
}

TEST(MovieCodecs, TablesMayStandAnywhere) {
  const std::string tables = box("moov", pictures(kHigh));
  EXPECT_TRUE(plays(box("mdat", zeros(1000)) + tables));
  const std::string large = "\0\0\0\1mdat\0\0\0\0\0\0\0\x18"s + zeros(8);
  EXPECT_TRUE(plays(large + tables));
}

TEST(MovieCodecs, WhatIsCutShortDoesNotPlay) {
  const std::string whole = box("ftyp", "isom") + box("moov", pictures(kHigh) + sound(kAac));
  ASSERT_TRUE(plays(whole));
  for (std::size_t size = 0; size < whole.size(); ++size) {
    EXPECT_FALSE(plays(whole.substr(0, size))) << size;
  }
}

TEST(MovieCodecs, SizesThatLieDoNoHarm) {
  const std::string whole = movie(pictures(kHigh) + sound(kAac));
  for (std::size_t i = 0; i < whole.size(); ++i) {
    for (const char byte : {'\0', '\1', '\x7F', '\xFF'}) {
      std::string other = whole;
      other[i] = byte;
      plays(other);
    }
  }
}

}  // namespace
}  // namespace quorvin
