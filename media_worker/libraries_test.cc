// What of the libraries can be reached by a file.
#include "media_worker/libraries.h"

#include <gtest/gtest.h>
#include <vips/vips.h>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

#include <set>
#include <string>

#include "media_worker/export/export.h"
#include "media_worker/reading/ffmpeg_objects.h"
#include "media_worker/reading/movie_input.h"
#include "media_worker/reading/wanted_decoders.h"
#include "media_worker/reading/wanted_loaders.h"
#include "testing/media/probes.h"
#include "testing/media/renderings.h"

namespace quorvin {
namespace {

/// Nicknames of the readers of files that are not blocked, of a class and those below it.
void collectOpen(GType type, std::set<std::string>& names) {
  if (!G_TYPE_IS_ABSTRACT(type)) {
    auto* operation = static_cast<VipsOperationClass*>(g_type_class_ref(type));
    if ((operation->flags & VIPS_OPERATION_BLOCKED) == 0) {
      names.insert(VIPS_OBJECT_CLASS(operation)->nickname);
    }
    g_type_class_unref(operation);
  }
  guint count = 0;
  GType* children = g_type_children(type, &count);
  for (guint i = 0; i < count; ++i) collectOpen(children[i], names);
  g_free(children);
}

TEST(PictureLoaders, AreFive) {
  std::set<std::string> names;
  collectOpen(g_type_from_name("VipsForeignLoad"), names);
  EXPECT_EQ(names, (std::set<std::string>{"gifload_source", "jpegload_source", "pngload_source",
                                          "tiffload_source", "webpload_source"}));
}

TEST(PictureLoaders, OpenNothingByName) {
  const std::string name = testing::TempDir() + "picture.jpg";
  ASSERT_EQ(vips_image_write_to_file(vipsImage(quadrants(16, 16)).get(), name.c_str(), nullptr), 0);
  EXPECT_EQ(vips_image_new_from_file(name.c_str(), nullptr), nullptr);
  vips_error_clear();
}

TEST(PictureLoaders, ReadTheFormatThatTheyAreFor) {
  const FileDescriptor file = fileOf(savedPicture(".png"));
  const auto input = InputFile::open(file.get());
  ASSERT_TRUE(input);
  const SourcePtr source = sourceOf(*input);
  EXPECT_NE(openPicture(source.get(), PictureFormat::png, VIPS_FAIL_ON_NONE), nullptr);
  EXPECT_EQ(openPicture(source.get(), PictureFormat::jpeg, VIPS_FAIL_ON_NONE), nullptr);
  EXPECT_EQ(openPicture(source.get(), PictureFormat::heif, VIPS_FAIL_ON_NONE), nullptr);
  vips_error_clear();
}

std::set<std::string> decoderNames() {
  const std::string list = wantedDecoders();
  std::set<std::string> names;
  for (std::size_t begin = 0; begin < list.size();) {
    const std::size_t end = std::min(list.find(',', begin), list.size());
    names.insert(list.substr(begin, end - begin));
    begin = end + 1;
  }
  return names;
}

TEST(Decoders, AreThoseOfCamerasAndOfNoGames) {
  const auto names = decoderNames();
  for (const char* wanted : {"h264", "hevc", "vp9", "mjpeg", "prores", "aac", "mp3float", "alac",
                             "opus", "pcm_s16le", "bmp", "jpeg2000"}) {
    EXPECT_TRUE(names.contains(wanted)) << wanted;
  }
  for (const char* other : {"zmbv", "roqvideo", "smackvid", "idcin", "fraps", "exr", "ansi"}) {
    EXPECT_FALSE(names.contains(other)) << other;
  }
  EXPECT_LT(names.size(), 120U);
}

// FFmpeg encodes it, so that there is such a file.
Bytes capturedGame() {
  return smallMovie("-c:v zmbv -an", "avi");
}

TEST(Decoders, OfOtherKindsAreNotOpened) {
  AVCodecParameters parameters{};
  parameters.codec_type = AVMEDIA_TYPE_VIDEO;
  parameters.format = -1;
  parameters.width = parameters.height = 64;
  parameters.codec_id = AV_CODEC_ID_ZMBV;
  EXPECT_EQ(openDecoder(parameters), nullptr);
  parameters.codec_id = AV_CODEC_ID_H264;
  EXPECT_NE(openDecoder(parameters), nullptr);
}

TEST(Decoders, OfOtherKindsAreNotTriedToTellWhatAStreamIs) {
  const auto pixelFormat = [](const Bytes& movie) {
    const FileDescriptor file = fileOf(movie);
    const auto input = InputFile::open(file.get());
    const auto opened = MovieInput::open(*input);
    if (!opened || !(*opened)->findStreams()) return -2;
    return (*opened)->videoStream()->codecpar->format;
  };
  // It is known from a decoder alone.
  EXPECT_EQ(pixelFormat(capturedGame()), AV_PIX_FMT_NONE);
  EXPECT_EQ(pixelFormat(smallMovie("-c:v mpeg4 -an", "avi")), AV_PIX_FMT_YUV420P);
}

TEST(Decoders, OfOtherKindsMakeNoPosterAndNoExport) {
  const Bytes movie = capturedGame();
  RenderRequest request = fitInto(64, 64);
  request.kind = MediaKind::video;
  std::string reason;
  rendered(movie, request, &reason);
  EXPECT_EQ(reason, "The video has no frame that can be decoded.");
  const FileDescriptor file = fileOf(movie);
  const auto containers = exportContainers(file.get(), VideoPreset::highestQuality);
  ASSERT_TRUE(containers);
  EXPECT_TRUE(containers->empty());
}

}  // namespace
}  // namespace quorvin
