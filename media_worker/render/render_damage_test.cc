// Damaged, hostile and foreign files.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "media_worker/render/render.h"
#include "testing/media/coded_films.h"
#include "testing/media/heif_pictures.h"
#include "testing/media/renderings.h"

namespace quorvin {
namespace {

Picture detailed() {
  return gradient(320, 240);
}

struct DamagedSource {
  const char* name;
  MediaKind kind;
  Bytes (*make)();
};

const DamagedSource kDamagedSources[] = {
    {"jpeg", MediaKind::image, [] { return saved(detailed(), ".jpg"); }},
    {"progressive", MediaKind::image, [] { return saved(detailed(), ".jpg[interlace]"); }},
    {"png", MediaKind::image, [] { return saved(detailed(), ".png"); }},
    {"interlaced", MediaKind::image, [] { return saved(detailed(), ".png[interlace]"); }},
    {"tiff", MediaKind::image, [] { return saved(detailed(), ".tif[compression=lzw]"); }},
    {"webp", MediaKind::image, [] { return saved(detailed(), ".webp"); }},
    {"gif", MediaKind::image, [] { return saved(detailed(), ".gif"); }},
    {"heic", MediaKind::image, [] { return heif(detailed()); }},
    {"avif", MediaKind::image, [] { return heif(detailed(), {.avif = true}); }},
    {"mov", MediaKind::video,
     [] {
       return video({detailed(), detailed()});
     }},
    {"mkv", MediaKind::video, [] { return video({detailed()}, {.container = "matroska"}); }},
};

class RenderDamaged : public testing::TestWithParam<DamagedSource> {
 protected:
  /// A picture of the right size or a reason, whatever the bytes.
  void expectAnAnswer(const Bytes& file) {
    for (const double size : {16.0, 10000.0}) {
      RenderRequest request = fitInto(size, size);
      request.kind = GetParam().kind;
      std::string reason;
      const Picture picture = rendered(file, request, &reason);
      EXPECT_NE(picture.width == 0, reason.empty());
    }
  }
};

TEST_P(RenderDamaged, DecodesWhole) {
  RenderRequest request = fitInto(10000, 10000);
  request.kind = GetParam().kind;
  request.failOnDamage = true;
  const Picture picture = rendered(GetParam().make(), request);
  EXPECT_EQ(picture.width, 320);
  EXPECT_EQ(picture.height, 240);
}

TEST_P(RenderDamaged, AnswersWhenCutShort) {
  const Bytes whole = GetParam().make();
  for (const double part : {0.02, 0.2, 0.5, 0.8, 0.99}) {
    const auto size = static_cast<std::ptrdiff_t>(static_cast<double>(whole.size()) * part);
    expectAnAnswer(Bytes(whole.begin(), whole.begin() + size));
  }
}

TEST_P(RenderDamaged, AnswersWhenBytesAreWrong) {
  const Bytes whole = GetParam().make();
  std::uint32_t random = 1;
  for (int trial = 0; trial < 20; ++trial) {
    Bytes damaged = whole;
    for (int i = 0; i < 8; ++i) {
      random = random * 1664525 + 1013904223;
      damaged[(random >> 4) % damaged.size()] = static_cast<std::uint8_t>(random >> 24);
    }
    expectAnAnswer(damaged);
  }
}

TEST_P(RenderDamaged, AnswersWhenOnlyTheBeginningIsRight) {
  const Bytes whole = GetParam().make();
  for (const std::size_t kept : {4U, 12U, 40U, 200U}) {
    Bytes damaged(2000, 0x5a);
    std::copy_n(whole.begin(), std::min(kept, whole.size()), damaged.begin());
    expectAnAnswer(damaged);
  }
}

INSTANTIATE_TEST_SUITE_P(Formats, RenderDamaged, testing::ValuesIn(kDamagedSources),
                         [](const auto& info) { return std::string(info.param.name); });

std::string reasonFor(const Bytes& file, const RenderRequest& request) {
  std::string reason;
  EXPECT_EQ(rendered(file, request, &reason).width, 0);
  return reason;
}

TEST(RenderDamagedJpeg, ShowsWhatThereIsUnlessToldToFail) {
  Bytes file = saved(detailed(), ".jpg");
  file.resize(file.size() / 2);
  const Picture picture = rendered(file, original());
  ASSERT_EQ(picture.width, 320);
  EXPECT_TRUE(isNear(picture.at(160, 10), detailed().at(160, 10), 40));
  RenderRequest strict = original();
  strict.failOnDamage = true;
  EXPECT_EQ(reasonFor(file, strict), "The picture cannot be decoded.");
}

TEST(RenderNothing, SaysThatTheFileIsEmpty) {
  EXPECT_EQ(reasonFor({}, original()), "The file is empty.");
  RenderRequest film = original();
  film.kind = MediaKind::video;
  EXPECT_EQ(reasonFor({}, film), "The file is empty.");
}

TEST(RenderNothing, SaysThatGarbageIsNoPhoto) {
  EXPECT_EQ(reasonFor(Bytes(5000, 0x5a), original()), "The file is not a photo.");
}

TEST(RenderNothing, RefusesAFolder) {
  const FileDescriptor folder(::open("/", O_RDONLY | O_CLOEXEC));
  EXPECT_EQ(renderFile(folder.get(), original()).error().sentence(), "It is not an ordinary file.");
}

TEST(RenderForeign, RefusesDrawingsAndDocuments) {
  const std::string drawing =
      "<svg xmlns='http://www.w3.org/2000/svg' width='9' height='9'><rect width='9'/></svg>";
  EXPECT_EQ(reasonFor(Bytes(drawing.begin(), drawing.end()), original()),
            "The file is not a photo.");
  const std::string document = "%PDF-1.4\n1 0 obj\n<<>>\nendobj\n";
  EXPECT_EQ(reasonFor(Bytes(document.begin(), document.end()), original()),
            "The file is not a photo.");
}

TEST(RenderForeign, RefusesScriptsThatNameOtherFiles) {
  RenderRequest film = original();
  film.kind = MediaKind::video;
  for (const std::string script : {"ffconcat version 1.0\nfile '/etc/passwd'\n",
                                   "#EXTM3U\n#EXTINF:1,\nhttp://localhost/a.ts\n"}) {
    EXPECT_EQ(reasonFor(Bytes(script.begin(), script.end()), film),
              "The file is not a photo, video or audio file that can be read.");
  }
}

TEST(RenderLarge, ShrinksAPictureOfNearlyAGigapixel) {
  ImagePtr black;
  VipsImage* made = nullptr;
  ASSERT_EQ(vips_black(&made, 30000, 30000, nullptr), 0);
  black.reset(made);
  const Bytes file = saved(black.get(), ".png[bitdepth=1]");
  const Picture picture = rendered(file, fitInto(256, 256));
  EXPECT_EQ(picture.width, 256);
  EXPECT_EQ(picture.height, 256);
}

TEST(RenderLarge, RefusesMoreThanAGigapixelByTheHeader) {
  Bytes file = saved(filled(16, 16, kRed), ".png");
  // The header's width and height, and its checksum, of 60000 by 60000 pixels, 8-bit RGB.
  const Bytes header{0, 0, 0xea, 0x60, 0, 0, 0xea, 0x60, 8, 2, 0, 0, 0};
  std::copy(header.begin(), header.end(), file.begin() + 16);
  uLong sum = crc32(0, file.data() + 12, 17);
  for (int i = 3; i >= 0; --i, sum >>= 8) file[29 + static_cast<std::size_t>(i)] = sum & 0xff;
  EXPECT_EQ(reasonFor(file, fitInto(256, 256)), "The picture has more pixels than can be decoded.");
}

TEST(RenderLarge, RefusesByTheHeaderWhatWouldHaveToBeKeptWhole) {
  Bytes file = saved(filled(16, 16, kRed), ".png[interlace]");
  // As above, of 20000 by 20000 pixels in seven passes.
  const Bytes header{0, 0, 0x4e, 0x20, 0, 0, 0x4e, 0x20, 8, 2, 0, 0, 1};
  std::copy(header.begin(), header.end(), file.begin() + 16);
  uLong sum = crc32(0, file.data() + 12, 17);
  for (int i = 3; i >= 0; --i, sum >>= 8) file[29 + static_cast<std::size_t>(i)] = sum & 0xff;
  EXPECT_EQ(reasonFor(file, fitInto(256, 256)), "The picture has more pixels than can be decoded.");

  Bytes heic = heif(filled(64, 64, kRed));
  const std::string name = "ispe";
  const auto at = std::search(heic.begin(), heic.end(), name.begin(), name.end());
  ASSERT_GT(heic.end() - at, 16);
  const Bytes size{0, 0, 0x4e, 0x20, 0, 0, 0x4e, 0x20};
  std::copy(size.begin(), size.end(), at + 8);
  EXPECT_EQ(reasonFor(heic, fitInto(256, 256)), "The picture has more pixels than can be decoded.");
}

TEST(RenderRealFiles, AnswersForEveryFile) {
  const char* folder = std::getenv("QUORVIN_TEST_MEDIA");
  if (folder == nullptr) GTEST_SKIP() << "QUORVIN_TEST_MEDIA names no folder";
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    if (!entry.is_regular_file()) continue;
    std::ifstream in(entry.path(), std::ios::binary);
    const Bytes bytes(std::istreambuf_iterator<char>(in), {});
    for (const RenderRequest& request : {fitInto(256, 256), original()}) {
      std::string reason;
      const Picture picture = rendered(bytes, request, &reason);
      EXPECT_NE(picture.width == 0, reason.empty()) << entry.path();
    }
  }
}

// A progressive file whose last pass comes again and again.
Bytes jpegOfPasses(int extra) {
  Bytes file = saved(detailed(), ".jpg[interlace]");
  const Bytes startOfScan{0xFF, 0xDA};
  const auto last = std::find_end(file.begin(), file.end(), startOfScan.begin(), startOfScan.end());
  const Bytes pass(last, file.end() - 2);
  const Bytes end(file.end() - 2, file.end());
  file.resize(file.size() - 2);
  for (int i = 0; i < extra; ++i) file.insert(file.end(), pass.begin(), pass.end());
  file.insert(file.end(), end.begin(), end.end());
  return file;
}

TEST(RenderHostile, RefusesAJpegOfHundredsOfPasses) {
  EXPECT_EQ(rendered(jpegOfPasses(100), fitInto(64, 64)).width, 64);
  std::string reason;
  EXPECT_EQ(rendered(jpegOfPasses(300), fitInto(64, 64), &reason).width, 0);
  EXPECT_EQ(reason, "The picture cannot be decoded.");
}

// Each segment is looked for among all those before it.
TEST(RenderHostile, RefusesAJpegOfThousandsOfSegments) {
  const Bytes file = saved(detailed(), ".jpg");
  const auto withSegments = [&file](std::size_t count) {
    Bytes many = firstBytes(file, 2);
    for (std::size_t i = 0; i < count; ++i) many.insert(many.end(), {0xFF, 0xE1, 0, 2});
    many.insert(many.end(), file.begin() + 2, file.end());
    return many;
  };
  EXPECT_EQ(rendered(withSegments(5'000), fitInto(64, 64)).width, 64);
  EXPECT_EQ(reasonFor(withSegments(20'000), fitInto(64, 64)), "The picture cannot be decoded.");
}

/// A PNG with a text chunk of so many bytes.
Bytes pngWithText(const std::string& type, const std::string& begin, std::size_t size) {
  Bytes chunk = bytesOf(type + begin);
  chunk.resize(chunk.size() + size);
  const uLong sum = crc32(0, chunk.data(), static_cast<uInt>(chunk.size()));
  Bytes framed;
  const auto put = [&framed](std::size_t number) {
    for (int i = 3; i >= 0; --i) framed.push_back(static_cast<std::uint8_t>(number >> (8 * i)));
  };
  put(chunk.size() - type.size());
  framed.insert(framed.end(), chunk.begin(), chunk.end());
  put(sum);
  Bytes file = saved(detailed(), ".png");
  constexpr std::ptrdiff_t kBehindHeader = 33;
  file.insert(file.begin() + kBehindHeader, framed.begin(), framed.end());
  return file;
}

// Each byte of them may be a thousand to be unpacked.
TEST(RenderHostile, RefusesAPngOfLongPackedTexts) {
  const std::string plain("name\0\0\0\0\0", 9);
  const std::string packed("name\0\1\0\0\0", 9);
  const std::string old("name\0\0", 6);
  EXPECT_EQ(rendered(pngWithText("iTXt", plain, 3'000'000), fitInto(64, 64)).width, 64);
  EXPECT_EQ(rendered(pngWithText("zTXt", old, 1'000'000), fitInto(64, 64)).width, 64);
  for (const Bytes& file :
       {pngWithText("iTXt", packed, 3'000'000), pngWithText("zTXt", old, 3'000'000)}) {
    EXPECT_EQ(reasonFor(file, fitInto(64, 64)), "The picture cannot be decoded.");
  }
}

TEST(RenderHostile, RefusesAnimationsThatAreTooLargeToBeKept) {
  for (const char* suffix : {".gif", ".webp"}) {
    const FileDescriptor file = fileOf(saved(filled(16, 16, kRed), suffix));
    ASSERT_EQ(::ftruncate(file.get(), off_t{100} << 20), 0);
    EXPECT_TRUE(renderFile(file.get(), fitInto(16, 16))) << suffix;
    ASSERT_EQ(::ftruncate(file.get(), off_t{600} << 20), 0);
    EXPECT_FALSE(renderFile(file.get(), fitInto(16, 16))) << suffix;
  }
}

TEST(RenderHostile, RefusesAGifOfMorePixelsThanCanBeKept) {
  Bytes file = saved(detailed(), ".gif");
  // The screen's size and the frame's, each 320 by 240, become 20000 by 20000 pixels.
  const Bytes stored{0x40, 1, 0xf0, 0};
  const Bytes size{0x20, 0x4e, 0x20, 0x4e};
  int found = 0;
  for (auto at = file.begin(); found < 2; ++found) {
    at = std::search(at, file.end(), stored.begin(), stored.end());
    ASSERT_NE(at, file.end());
    std::copy(size.begin(), size.end(), at);
  }
  EXPECT_EQ(reasonFor(file, fitInto(64, 64)), "The picture has more pixels than can be decoded.");
}

}  // namespace
}  // namespace quorvin
