// Exports of recordings: streams of packets of which no index tells how many there are.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "media_protocol/failure.h"
#include "testing/media/exported_movies.h"

namespace quorvin {
namespace {

constexpr std::size_t kTransportPacket = 188;
constexpr const char* kEndsEarly = "The video ends early: the file is not whole.";
constexpr const char* kIsDamaged = "The video is damaged.";

/// Pictures that need others across the borders of their groups, as broadcasts have them.
const std::string kOpenH264 = "-c:v libx264 -x264-params open-gop=1:keyint=15:bframes=3 ";
const std::string kOpenHevc =
    "-c:v libx265 -x265-params log-level=none:open-gop=1:keyint=15:bframes=3 ";
const std::string kOpenMpeg2 = "-c:v mpeg2video -bf 2 -g 15 -q:v 3 ";

FileDescriptor recording(const std::string& pictures) {
  return movie(film() + pictures + "-c:a mp2", "ts");
}

FileDescriptor firstOf(const FileDescriptor& file, std::size_t size) {
  return fileOf(firstBytes(contents(file), size));
}

void expectRefused(const FileDescriptor& source, VideoPreset preset, const std::string& reason) {
  const Exported result = exported(source, preset);
  ASSERT_TRUE(result.error) << static_cast<int>(preset);
  EXPECT_EQ(result.error->code, static_cast<std::int64_t>(LibraryErrorCode::invalidResource));
  EXPECT_EQ(result.reason(), reason) << static_cast<int>(preset);
}

TEST(ExportRecordings, AreRefusedWhenTheyEndWithinAPacketOfTheContainer) {
  constexpr std::size_t kPacketWithTime = 192;
  for (const auto& [pictures, packet] :
       {std::pair(kOpenH264, kTransportPacket), std::pair(kOpenHevc, kTransportPacket),
        std::pair(kOpenMpeg2, kTransportPacket),
        std::pair(kOpenH264 + "-mpegts_m2ts_mode 1 ", kPacketWithTime)}) {
    SCOPED_TRACE(pictures);
    const FileDescriptor whole = recording(pictures);
    const std::size_t packets = contents(whole).size() / packet;
    const FileDescriptor source = firstOf(whole, packets / 2 * packet + 77);
    for (const VideoPreset preset : kPresets) {
      EXPECT_EQ(exported(whole, preset).reason(), "");
      expectRefused(source, preset, kEndsEarly);
    }
  }
}

TEST(ExportRecordings, AreRefusedWhenTheirLastPictureIsTorn) {
  const FileDescriptor whole = recording("-c:v libx264 -g 15 -bf 0 ");
  const TestMovie found = contentsOf(whole);
  const FileDescriptor source =
      firstOf(whole, found.picture().packets[45].position + 4 * kTransportPacket);
  for (const VideoPreset preset : {kHighest, kMedium}) expectRefused(source, preset, kEndsEarly);
}

TEST(ExportRecordings, AreRefusedWhenTheirLastSoundIsTorn) {
  const FileDescriptor whole = recording("-c:v libx264 -g 15 -bf 0 ");
  const auto sounds = contentsOf(whole).sounds();
  // Two sounds share a packet of the recording, whose place the first of them tells.
  const std::size_t size = contents(whole).size();
  const auto sound = std::ranges::find_if(sounds.at(0).packets, [size](const TestPacket& each) {
    return each.time > 2.5 && each.position < size;
  });
  ASSERT_NE(sound, sounds.at(0).packets.end());
  const FileDescriptor source = firstOf(whole, sound->position + 9 * kTransportPacket);
  for (const VideoPreset preset : kPresets) expectRefused(source, preset, kEndsEarly);
}

TEST(ExportRecordings, MayBeginAnywhere) {
  for (const std::string& pictures : {kOpenH264, kOpenHevc, kOpenMpeg2}) {
    const Bytes whole = contents(recording(pictures));
    for (const std::size_t packets : {60U, 133U}) {
      SCOPED_TRACE(pictures + std::to_string(packets));
      const FileDescriptor source = fileOf(Bytes(
          whole.begin() + static_cast<std::ptrdiff_t>(packets * kTransportPacket), whole.end()));
      const auto wanted = shown(movie("-i " + nameOf(source) +
                                          " -an -fps_mode passthrough -c:v libx264 -preset "
                                          "ultrafast -qp 0 2>/dev/null",
                                      "mkv"));
      for (const VideoPreset preset : {kHighest, kMedium}) {
        const Exported result = exported(source, preset);
        ASSERT_EQ(result.reason(), "");
        const auto frames = shown(result.file);
        ASSERT_EQ(frames.size(), wanted.size());
        EXPECT_GT(psnr(frames, wanted), 29);
      }
      EXPECT_EQ(exported(source, kPassthrough).reason(), "");
    }
  }
}

TEST(ExportRecordings, AreRefusedWhenManyPacketsAreMissing) {
  const Bytes whole = contents(recording("-c:v libx264 -g 15 -bf 0 "));
  const auto without = [&whole](std::size_t every) {
    Bytes bytes;
    for (std::size_t i = 0; i + kTransportPacket <= whole.size(); i += kTransportPacket) {
      if ((i / kTransportPacket) % every == every / 2) continue;
      const auto packet = whole.begin() + static_cast<std::ptrdiff_t>(i);
      bytes.insert(bytes.end(), packet, packet + kTransportPacket);
    }
    return fileOf(bytes);
  };
  const FileDescriptor few = without(whole.size() / kTransportPacket);
  const FileDescriptor many = without(20);
  for (const VideoPreset preset : kPresets) {
    EXPECT_EQ(exported(few, preset).reason(), "");
    expectRefused(many, preset, kIsDamaged);
  }
}

/// A file of which every so many-th packet of pictures, to that one, ends in zeros.
FileDescriptor halvedPictures(const FileDescriptor& good, std::size_t every,
                              std::size_t end = 1000) {
  Bytes bytes = contents(good);
  const TestMovie found = contentsOf(good);
  const auto& packets = found.picture().packets;
  for (std::size_t i = every / 2; i < std::min(end, packets.size()); i += every) {
    const std::size_t half = packets[i].bytes.size() / 2;
    std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(packets[i].position + half),
                packets[i].bytes.size() - half, std::uint8_t{0});
  }
  return fileOf(bytes);
}

TEST(ExportDamagedPictures, AreToldByTheDecoder) {
  for (const std::string codec :
       {"-c:v libx264 -g 15 ", "-c:v libx265 -x265-params log-level=none:keyint=15 "}) {
    SCOPED_TRACE(codec);
    const FileDescriptor good = movie(film() + codec + "-c:a aac");
    const FileDescriptor few = halvedPictures(good, 60);
    const FileDescriptor many = halvedPictures(good, 4);
    const FileDescriptor all = halvedPictures(good, 1);
    const FileDescriptor firstThird = halvedPictures(good, 1, 30);
    for (const VideoPreset preset : {kHighest, kMedium}) {
      EXPECT_EQ(exported(good, preset).reason(), "");
      EXPECT_EQ(exported(few, preset).reason(), "");
      expectRefused(many, preset, kIsDamaged);
      EXPECT_NE(exported(all, preset).reason(), "");
      expectRefused(firstThird, preset, kIsDamaged);
    }
  }
}

TEST(ExportDamagedPictures, AreNotThoseWithRemarksThatNobodyKnows) {
  const Bytes plain =
      contents(movie(film() + "-an -c:v libx265 -x265-params log-level=none", "hevc"));
  // Before the first slice of each picture, one of the kind of mastering displays that is too long.
  const Bytes remark{0, 0, 0, 1, 0x4e, 1, 0x89, 0x40, 1, 0x80};
  Bytes bytes;
  for (std::size_t i = 0; i < plain.size(); ++i) {
    const bool begins =
        i + 7 <= plain.size() && plain[i] == 0 && plain[i + 1] == 0 && plain[i + 2] == 1;
    const bool firstSlice = begins && (plain[i + 3] >> 1) < 32 && (plain[i + 5] & 0x80) != 0;
    if (firstSlice) bytes.insert(bytes.end(), remark.begin(), remark.end());
    bytes.push_back(plain[i]);
  }
  ASSERT_GT(bytes.size(), plain.size() + 80 * remark.size());
  const FileDescriptor source = fileOf(bytes);
  const Exported result = exported(source, kHighest);
  ASSERT_EQ(result.reason(), "");
  EXPECT_GT(psnr(shown(result.file), shown(fileOf(plain))), 33);
}

}  // namespace
}  // namespace quorvin
