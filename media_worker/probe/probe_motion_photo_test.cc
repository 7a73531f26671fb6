#include "media_worker/probe/probe_motion_photo.h"

#include <gtest/gtest.h>

#include "testing/media/probes.h"

namespace quorvin {
namespace {

constexpr const char* kNamespaces =
    "xmlns:GCamera=\"http://ns.google.com/photos/1.0/camera/\" "
    "xmlns:Container=\"http://ns.google.com/photos/1.0/container/\" "
    "xmlns:Item=\"http://ns.google.com/photos/1.0/container/item/\" ";

const Bytes& clip() {
  static const Bytes bytes = smallMovie("", "mp4");
  return bytes;
}

std::string item(const std::string& attributes) {
  return "<rdf:li rdf:parseType=\"Resource\"><Container:Item " + attributes + "/></rdf:li>";
}

/// The description of a motion photo whose items are a picture and these.
std::string motionPhoto(const std::string& items) {
  return std::string(kNamespaces) + "GCamera:MotionPhoto=\"1\"><Container:Directory><rdf:Seq>" +
         item("Item:Mime=\"image/jpeg\" Item:Semantic=\"Primary\" Item:Length=\"0\"") + items +
         "</rdf:Seq></Container:Directory>";
}

std::string movieItem(std::size_t length, std::size_t padding = 0) {
  return item("Item:Mime=\"video/mp4\" Item:Semantic=\"MotionPhoto\" Item:Length=\"" +
              std::to_string(length) + "\" Item:Padding=\"" + std::to_string(padding) + "\"");
}

void expectMovie(const MediaProbe& probe, std::size_t offset) {
  EXPECT_EQ(probe.kind, MediaKind::image);
  EXPECT_EQ(probe.embeddedMovieOffset, static_cast<std::int64_t>(offset));
  EXPECT_EQ(probe.embeddedMovieLength, static_cast<std::int64_t>(clip().size()));
}

void expectNoMovie(const MediaProbe& probe) {
  EXPECT_EQ(probe.kind, MediaKind::image);
  EXPECT_EQ(probe.embeddedMovieOffset, 0);
  EXPECT_EQ(probe.embeddedMovieLength, 0);
}

Bytes jpeg(const std::string& description) {
  return withXmpPacket(savedPicture(".jpg"), description);
}

TEST(MotionPhoto, IsFoundByItsContainerDirectory) {
  const Bytes still = jpeg(motionPhoto(movieItem(clip().size())));
  expectMovie(probed(concatenated({still, clip()})), still.size());
}

TEST(MotionPhoto, CountsPaddingsAndItemsBehindTheMovie) {
  const Bytes still = jpeg(
      motionPhoto(movieItem(clip().size(), 3) +
                  item("Item:Mime=\"image/jpeg\" Item:Semantic=\"GainMap\" Item:Length=\"5\"")));
  expectMovie(probed(concatenated({still, clip(), bytesOf("pad"), bytesOf("12345")})),
              still.size());
}

TEST(MotionPhoto, IsFoundByTheOlderOffset) {
  const Bytes still =
      jpeg(std::string(kNamespaces) + "GCamera:MicroVideo=\"1\" GCamera:MicroVideoOffset=\"" +
           std::to_string(clip().size()) + "\">");
  expectMovie(probed(concatenated({still, clip()})), still.size());
}

TEST(MotionPhoto, IsFoundInTheBoxOfAHeic) {
  const Bytes still = smallHeic();
  const std::size_t size = clip().size() + 8;
  const Bytes head = {static_cast<std::uint8_t>(size >> 24),
                      static_cast<std::uint8_t>(size >> 16),
                      static_cast<std::uint8_t>(size >> 8),
                      static_cast<std::uint8_t>(size),
                      'm',
                      'p',
                      'v',
                      'd'};
  expectMovie(probed(concatenated({still, head, clip()})), still.size() + head.size());
}

Bytes littleEndian(std::size_t number) {
  return {static_cast<std::uint8_t>(number), static_cast<std::uint8_t>(number >> 8),
          static_cast<std::uint8_t>(number >> 16), static_cast<std::uint8_t>(number >> 24)};
}

/// The trailer of one maker: a block with the movie, its directory, and the directory's length.
Bytes trailer(const std::string& name) {
  const Bytes kind = {0x00, 0x00, 0x30, 0x0a};
  const Bytes block = concatenated({kind, littleEndian(name.size()), bytesOf(name), clip()});
  const Bytes directory = concatenated({bytesOf("SEFH"), littleEndian(107), littleEndian(1), kind,
                                        littleEndian(block.size()), littleEndian(block.size())});
  return concatenated({block, directory, littleEndian(directory.size()), bytesOf("SEFT")});
}

TEST(MotionPhoto, IsFoundInTheTrailer) {
  const Bytes still = savedPicture(".jpg");
  const std::string name = "MotionPhoto_Data";
  expectMovie(probed(concatenated({still, trailer(name)})), still.size() + 8 + name.size());
  expectNoMovie(probed(concatenated({still, trailer("Image_UTC_Data01")})));
}

TEST(MotionPhoto, StandsADamagedTrailer) {
  const Bytes still = savedPicture(".jpg");
  const Bytes whole = trailer("MotionPhoto_Data");
  const std::size_t directory = whole.size() - 8 - 24;
  for (std::size_t at = directory; at < whole.size() - 4; ++at) {
    for (const int value : {0x00, 0x7f, 0xff}) {
      Bytes damaged = whole;
      damaged[at] = static_cast<std::uint8_t>(value);
      EXPECT_EQ(probed(concatenated({still, damaged})).kind, MediaKind::image);
    }
  }
}

TEST(MotionPhoto, IsNoneWhereTheAnnouncedMovieIsNoMovie) {
  const Bytes noise(clip().size(), 0x55);
  const Bytes still = jpeg(motionPhoto(movieItem(noise.size())));
  expectNoMovie(probed(concatenated({still, noise})));
  expectNoMovie(probed(still));
  // Begins like a movie, and is none.
  Bytes broken = noise;
  std::copy_n(clip().begin(), 16, broken.begin());
  expectNoMovie(probed(concatenated({still, broken})));
}

TEST(MotionPhoto, IsNoneWhereTheNumbersAreNonsense) {
  for (const char* length :
       {"0", "-5", "999999999", "9223372036854775807", "18446744073709551616", "many", ""}) {
    const Bytes still =
        jpeg(motionPhoto(item("Item:Mime=\"video/mp4\" Item:Semantic=\"MotionPhoto\" "
                              "Item:Length=\"" +
                              std::string(length) + "\" Item:Padding=\"9223372036854775807\"")));
    expectNoMovie(probed(concatenated({still, clip()})));
  }
}

TEST(MotionPhoto, IsNoneWithoutTheAnnouncement) {
  expectNoMovie(probed(concatenated({savedPicture(".jpg"), clip()})));
}

TEST(MotionPhoto, HoldsNoSoundAlone) {
  const Bytes sound = ffmpegOutput("-f lavfi -i sine=d=1", "mp4");
  const Bytes still = jpeg(motionPhoto(movieItem(sound.size())));
  expectNoMovie(probed(concatenated({still, sound})));
}

}  // namespace
}  // namespace quorvin
