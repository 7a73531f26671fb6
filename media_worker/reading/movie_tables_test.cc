#include "media_worker/reading/movie_tables.h"

#include <gtest/gtest.h>

#include "testing/media/probes.h"
#include "testing/media/renderings.h"

namespace quorvin {
namespace {

Bytes bigEndian(std::uint64_t value, int size) {
  Bytes bytes;
  for (int i = size - 1; i >= 0; --i) bytes.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
  return bytes;
}

Bytes movieBox(const std::string& type, const Bytes& content) {
  return concatenated({bigEndian(content.size() + 8, 4), bytesOf(type), content});
}

Bytes table(const std::string& type, std::initializer_list<std::uint64_t> numbers) {
  Bytes content = bigEndian(0, 4);
  for (const std::uint64_t each : numbers) content = concatenated({content, bigEndian(each, 4)});
  return movieBox(type, content);
}

Bytes trackOf(const std::string& kind, const Bytes& tables, const Bytes& edits = {}) {
  const Bytes handler = movieBox("hdlr", concatenated({Bytes(8), bytesOf(kind), Bytes(13)}));
  const Bytes media =
      movieBox("mdia", concatenated({handler, movieBox("minf", movieBox("stbl", tables))}));
  return movieBox("trak", concatenated({edits.empty() ? Bytes() : movieBox("edts", edits), media}));
}

Bytes movieWith(const Bytes& tracks, const Bytes& fragments = {}) {
  return concatenated({movieBox("ftyp", bytesOf("isom....isom")), movieBox("moov", tracks),
                       fragments, movieBox("mdat", Bytes(100))});
}

bool refuses(const Bytes& bytes) {
  const FileDescriptor file = fileOf(bytes);
  return claimsTooMuch(*InputFile::open(file.get()));
}

Bytes samples(std::uint64_t count) {
  return table("stsz", {100, count});
}

Bytes editsOf(std::uint64_t count) {
  return table("elst", {count, 1'000, 0, 0x10000});
}

TEST(MovieTables, OfADayOfVideoAreRead) {
  EXPECT_FALSE(refuses(movieWith(trackOf("vide", samples(5'000'000)))));
  EXPECT_FALSE(refuses(smallMovie("-c:v mpeg4", "mov")));
}

TEST(MovieTables, ClaimNoBillionsOfSamples) {
  EXPECT_TRUE(refuses(movieWith(trackOf("vide", samples(100'000'000)))));
  const Bytes half = trackOf("vide", samples(6'000'000));
  EXPECT_TRUE(refuses(movieWith(concatenated({half, half}))));
}

TEST(MovieTables, CountPlainSoundByItsChunks) {
  const Bytes plain = table("stts", {1, 500'000'000, 1});
  const Bytes honest = concatenated(
      {plain, samples(500'000'000), table("stsc", {1, 1, 48'000, 1}), table("stco", {10'000})});
  EXPECT_FALSE(refuses(movieWith(trackOf("soun", honest))));
  EXPECT_TRUE(refuses(movieWith(trackOf("vide", honest))));
  const Bytes lying = concatenated(
      {plain, samples(500'000'000), table("stsc", {1, 1, 0x7fffffff, 1}), table("stco", {10'000})});
  EXPECT_TRUE(refuses(movieWith(trackOf("soun", lying))));
}

TEST(MovieTables, MayCutAMovieInPiecesButNotThousandsOfTimes) {
  EXPECT_FALSE(refuses(movieWith(trackOf("vide", samples(200'000), editsOf(100)))));
  EXPECT_TRUE(refuses(movieWith(trackOf("vide", samples(200'000), editsOf(1'000)))));
  // An empty edit in front, and one of all.
  EXPECT_FALSE(refuses(movieWith(trackOf("vide", samples(9'000'000), editsOf(2)))));
}

TEST(MovieTables, ClaimNoBillionsOfSamplesInFragments) {
  const auto fragment = [](std::uint64_t count) {
    return movieBox("moof", movieBox("traf", table("trun", {count})));
  };
  EXPECT_FALSE(refuses(movieWith({}, fragment(1'000))));
  EXPECT_TRUE(refuses(movieWith({}, concatenated({fragment(1'000), fragment(50'000'000)}))));
}

TEST(MovieTables, HaveNoThousandTracks) {
  Bytes tracks;
  const Bytes track = trackOf("vide", samples(1));
  for (int i = 0; i < 1'000; ++i) tracks.insert(tracks.end(), track.begin(), track.end());
  EXPECT_TRUE(refuses(movieWith(tracks)));
  EXPECT_EQ(refusal(movieWith(tracks)), "The video or audio file is damaged.");
}

// Of the movie, with what makes it one stream more each time.
Bytes matroskaOf(int tracks) {
  std::string arguments = "-f lavfi -i color=s=16x16:r=5:d=0.2";
  for (int i = 0; i < tracks; ++i) arguments += " -map 0";
  return ffmpegOutput(arguments + " -c:v mjpeg", "mkv");
}

TEST(MovieTables, LimitTracksOfEveryContainer) {
  EXPECT_EQ(refusal(matroskaOf(90)), "");
  EXPECT_NE(refusal(matroskaOf(110)), "");
}

TEST(MovieFrames, AreNoGigapixels) {
  // Frames of a codec that says its size itself, to whom a kilobyte is enough.
  const Bytes movie =
      ffmpegOutput("-f lavfi -i color=s=16000x10000:r=1:d=1 -frames:v 1 -c:v mjpeg -q:v 31", "mov");
  RenderRequest request = fitInto(64, 64);
  request.kind = MediaKind::video;
  std::string reason;
  rendered(movie, request, &reason);
  EXPECT_EQ(reason, "The video has no frame that can be decoded.");
}

}  // namespace
}  // namespace quorvin
