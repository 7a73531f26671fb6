#include "media_worker/probe/probe.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "media_protocol/failure.h"
#include "posix/file_descriptor.h"
#include "testing/media/probes.h"

namespace quorvin {
namespace {

constexpr const char* kNoMedia = "The file is not a photo, video or audio file.";

TEST(ProbeFile, NeitherReliesOnTheDescriptorsOffsetNorMovesIt) {
  for (const Bytes& bytes : {savedPicture(".jpg"), savedPicture(".tif"), smallHeic(),
                             smallMovie("", "mov"), ffmpegOutput("-f lavfi -i sine=d=1", "mp3")}) {
    const FileDescriptor file(::memfd_create("media", MFD_CLOEXEC));
    ASSERT_EQ(::write(file.get(), bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    constexpr off_t kSomewhere = 7;
    ASSERT_EQ(::lseek(file.get(), kSomewhere, SEEK_SET), kSomewhere);
    EXPECT_TRUE(probeFile(file.get(), "media"));
    EXPECT_EQ(::lseek(file.get(), 0, SEEK_CUR), kSomewhere);
  }
}

TEST(ProbeFile, RefusesWhatIsNoMedia) {
  const std::string texts[] = {
      "hello",
      std::string(100'000, 'a'),
      std::string(100'000, '\0'),
      "<?xml version=\"1.0\"?><svg xmlns=\"http://www.w3.org/2000/svg\" width=\"9\" height=\"9\"/>",
      "%PDF-1.4\n1 0 obj\n<<>>\nendobj\ntrailer\n<<>>\n%%EOF\n",
      "%!PS-Adobe-3.0 EPSF-3.0\n%%BoundingBox: 0 0 10 10\n",
      "P6\n1 1\n255\nabc",
      "SIMPLE  =                    T",
      "#EXTM3U\n#EXT-X-TARGETDURATION:1\n#EXTINF:1,\n/etc/passwd\n#EXT-X-ENDLIST\n",
      "ffconcat version 1.0\nfile /etc/passwd\n",
      "[playlist]\nFile1=http://localhost/\n",
      "v=0\no=- 0 0 IN IP4 127.0.0.1\nm=video 5004 RTP/AVP 96\n",
  };
  for (const std::string& text : texts) {
    for (const char* name : {"file.jpg", "file.mov", "file"}) {
      EXPECT_EQ(refusal(bytesOf(text), name), kNoMedia) << text.substr(0, 20);
    }
  }
}

TEST(ProbeFile, RefusesAnEmptyFile) {
  EXPECT_EQ(refusal({}, "empty.jpg"), "The file is empty.");
}

TEST(ProbeFile, RefusesWhatIsNoOrdinaryFile) {
  int ends[2];
  ASSERT_EQ(::pipe2(ends, O_CLOEXEC), 0);
  const FileDescriptor reading(ends[0]);
  const FileDescriptor writing(ends[1]);
  EXPECT_FALSE(probeFile(reading.get(), "pipe.jpg"));
  const FileDescriptor folder(::open("/tmp", O_RDONLY | O_CLOEXEC));
  EXPECT_FALSE(probeFile(folder.get(), "folder.jpg"));
  EXPECT_FALSE(probeFile(-1, "none.jpg"));
}

TEST(ProbeFile, SaysInOnePlainSentenceWhyAFileIsRefused) {
  const Bytes jpeg = savedPicture(".jpg");
  const Bytes mp4 = smallMovie("", "mp4");
  struct Damaged {
    Bytes bytes;
    const char* reason;
  };
  const Damaged files[] = {
      {firstBytes(jpeg, 20), "The photo is damaged: its header cannot be read."},
      {firstBytes(savedPicture(".png"), 30), "The photo is damaged: its header cannot be read."},
      {firstBytes(mp4, mp4.size() / 2), "The video or audio file is damaged."},
      {firstBytes(smallHeic(), 40), "The photo is damaged: the file is cut short."},
  };
  for (const Damaged& file : files) {
    const auto probe = probeBytes(file.bytes, "damaged");
    ASSERT_FALSE(probe) << file.reason;
    EXPECT_EQ(probe.error().sentence(), file.reason);
    EXPECT_EQ(probe.error().code, static_cast<std::int64_t>(LibraryErrorCode::invalidResource));
  }
}

/// The end of a JPEG's header, where its compressed pixels begin.
std::size_t scanBegin(const Bytes& jpeg) {
  for (std::size_t at = 0; at + 4 < jpeg.size(); ++at) {
    if (jpeg[at] == 0xff && jpeg[at + 1] == 0xda) {
      return at + 2 + static_cast<std::size_t>(jpeg[at + 2] << 8 | jpeg[at + 3]);
    }
  }
  return jpeg.size();
}

TEST(ProbeFile, RefusesAHeaderWithoutPixels) {
  const Bytes jpeg = savedPicture(".jpg", 640, 480);
  EXPECT_EQ(refusal(firstBytes(jpeg, scanBegin(jpeg))),
            "The photo is damaged: its first rows cannot be decoded.");
}

TEST(ProbeFile, AcceptsAPictureWhoseEndIsMissing) {
  const Bytes jpeg = savedPicture(".jpg", 640, 480);
  const MediaProbe probe = probed(firstBytes(jpeg, scanBegin(jpeg) + (jpeg.size() / 2)));
  EXPECT_EQ(probe.pixelWidth, 640);
  EXPECT_EQ(probe.pixelHeight, 480);
}

TEST(ProbeFile, AcceptsAVideoWhoseEndIsMissingIfItsIndexComesFirst) {
  const Bytes whole = ffmpegOutput(
      "-f lavfi -i testsrc=s=320x240:r=10:d=2 -pix_fmt yuv420p -g 1 -movflags +faststart", "mp4");
  EXPECT_EQ(probed(firstBytes(whole, whole.size() * 3 / 4)).pixelWidth, 320);
}

TEST(ProbeFile, RefusesAVideoWithAnIndexAndNoPictures) {
  const Bytes whole = smallMovie("-movflags +faststart", "mp4");
  const std::string text(whole.begin(), whole.end());
  const std::size_t pictures = text.find("mdat");
  ASSERT_NE(pictures, std::string::npos);
  EXPECT_EQ(refusal(firstBytes(whole, pictures + 4)), "The video or audio file is damaged.");
}

/// Writes a big-endian number of four bytes.
void put(Bytes& bytes, std::size_t at, std::uint32_t number) {
  for (int shift = 24; shift >= 0; shift -= 8) {
    bytes[at++] = static_cast<std::uint8_t>(number >> shift);
  }
}

/// The checksum of a PNG's chunk.
std::uint32_t checksum(const std::uint8_t* bytes, std::size_t size) {
  std::uint32_t sum = 0xffffffff;
  for (std::size_t at = 0; at < size; ++at) {
    sum ^= bytes[at];
    for (int bit = 0; bit < 8; ++bit) sum = sum >> 1 ^ (sum & 1 ? 0xedb88320 : 0);
  }
  return ~sum;
}

/// The picture with a header that claims another size.
Bytes resizedPng(Bytes picture, std::uint32_t width, std::uint32_t height) {
  put(picture, 16, width);
  put(picture, 20, height);
  put(picture, 29, checksum(picture.data() + 12, 17));
  return picture;
}

TEST(ProbeFile, AllocatesNothingForAnEnormousPicture) {
  for (const char* format : {".png[bitdepth=1]", ".png[bitdepth=1,interlace]"}) {
    const Bytes picture = resizedPng(savedPicture(format, 30'000, 64), 30'000, 30'000);
    EXPECT_LT(picture.size(), 100'000U);
    rusage before{};
    ::getrusage(RUSAGE_SELF, &before);
    const MediaProbe probe = probed(picture);
    rusage after{};
    ::getrusage(RUSAGE_SELF, &after);
    EXPECT_EQ(probe.pixelWidth, 30'000);
    EXPECT_EQ(probe.pixelHeight, 30'000);
    constexpr long kMostKilobytes = 32 * 1024;
    EXPECT_LT(after.ru_maxrss - before.ru_maxrss, kMostKilobytes);
  }
}

TEST(ProbeFile, RefusesAPictureOfMorePixelsThanAreEverDecoded) {
  EXPECT_EQ(refusal(resizedPng(savedPicture(".png"), 100'000, 100'000)),
            "The photo is too large: 100000 × 100000 pixels.");
}

TEST(ProbeFile, ReadsEveryRealFileOrSaysWhyNot) {
  const char* folder = std::getenv("QUORVIN_TEST_MEDIA");
  if (folder == nullptr) GTEST_SKIP() << "QUORVIN_TEST_MEDIA names no folder";
  int files = 0;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    if (!entry.is_regular_file()) continue;
    ++files;
    const std::string name = entry.path().filename();
    const FileDescriptor file(::open(entry.path().c_str(), O_RDONLY | O_CLOEXEC));
    const auto probe = probeFile(file.get(), name);
    if (!probe) {
      const std::string reason = probe.error().sentence();
      EXPECT_TRUE(reason.ends_with('.') && reason.find('\n') == std::string::npos) << reason;
      continue;
    }
    EXPECT_FALSE(probe->uniformTypeIdentifier.empty()) << name;
    EXPECT_FALSE(probe->extension.empty()) << name;
    if (probe->kind != MediaKind::audio) {
      EXPECT_GT(probe->pixelWidth, 0) << name;
      EXPECT_GT(probe->pixelHeight, 0) << name;
    }
    const bool portrait = name.starts_with("portrait_");
    if (portrait || name.starts_with("landscape_")) {
      EXPECT_EQ(probe->orientation, name[name.find('_') + 1] - '0') << name;
      EXPECT_EQ(probe->pixelWidth < probe->pixelHeight, portrait) << name;
    }
  }
  EXPECT_GT(files, 0);
}

}  // namespace
}  // namespace quorvin
