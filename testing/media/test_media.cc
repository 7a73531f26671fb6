#include "testing/media/test_media.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <ostream>

#include "media_protocol/sealed_memory.h"
#include "media_worker/libraries.h"
#include "media_worker/render/encode.h"
#include "media_worker/render/render.h"

// The encoder that makes the tests' HEIC files keeps some of its memory for good.
extern "C" __attribute__((visibility("default"))) const char*
__lsan_default_suppressions();  // NOLINT(bugprone-reserved-identifier): the sanitizer's name
extern "C" const char* __lsan_default_suppressions() {
  return "leak:libx265";
}  // NOLINT

namespace quorvin {

namespace {

struct Libraries : testing::Environment {
  void SetUp() override { startLibraries(); }
};
[[maybe_unused]] const auto* const kLibraries = testing::AddGlobalTestEnvironment(new Libraries);

}  // namespace

Picture::Picture(int width, int height, int channels)
    : width(width),
      height(height),
      channels(channels),
      pixels(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) *
             static_cast<std::size_t>(channels)) {}

Colour Picture::at(int x, int y) const {
  const std::uint8_t* pixel = &pixels.at(static_cast<std::size_t>((y * width + x) * channels));
  if (channels < 3) return {pixel[0], pixel[0], pixel[0], channels == 2 ? pixel[1] : 255};
  return {pixel[0], pixel[1], pixel[2], channels == 4 ? pixel[3] : 255};
}

void Picture::set(int x, int y, Colour colour) {
  for (int c = 0; c < channels; ++c) {
    pixels.at(static_cast<std::size_t>((y * width + x) * channels + c)) =
        static_cast<std::uint8_t>(colour.at(static_cast<std::size_t>(c)));
  }
}

Picture filled(int width, int height, Colour colour, int channels) {
  Picture picture(width, height, channels);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) picture.set(x, y, colour);
  }
  return picture;
}

Picture quadrants(int width, int height, int channels) {
  Picture picture(width, height, channels);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      const bool right = x >= width / 2;
      picture.set(x, y, y < height / 2 ? (right ? kGreen : kRed) : (right ? kWhite : kBlue));
    }
  }
  return picture;
}

Picture stored(const Picture& upright, int orientation) {
  const bool turned = orientation >= 5;
  const int right = upright.width - 1;
  const int bottom = upright.height - 1;
  Picture picture(turned ? upright.height : upright.width, turned ? upright.width : upright.height,
                  upright.channels);
  for (int y = 0; y < picture.height; ++y) {
    for (int x = 0; x < picture.width; ++x) {
      // Where the standard says that the stored first row and column belong.
      const std::array<std::pair<int, int>, 8> places{{{x, y},
                                                       {right - x, y},
                                                       {right - x, bottom - y},
                                                       {x, bottom - y},
                                                       {y, x},
                                                       {right - y, x},
                                                       {right - y, bottom - x},
                                                       {y, bottom - x}}};
      const auto [fromX, fromY] = places.at(static_cast<std::size_t>(orientation - 1));
      picture.set(x, y, upright.at(fromX, fromY));
    }
  }
  return picture;
}

ImagePtr vipsImage(const Picture& picture) {
  ImagePtr image(vips_image_new_from_memory_copy(picture.pixels.data(), picture.pixels.size(),
                                                 picture.width, picture.height, picture.channels,
                                                 VIPS_FORMAT_UCHAR));
  image->Type = picture.channels < 3 ? VIPS_INTERPRETATION_B_W : VIPS_INTERPRETATION_sRGB;
  return image;
}

Bytes saved(VipsImage* image, const char* suffix) {
  void* data = nullptr;
  std::size_t size = 0;
  if (vips_image_write_to_buffer(image, suffix, &data, &size, nullptr) != 0) {
    ADD_FAILURE() << "cannot save as " << suffix << ": " << vips_error_buffer();
    return {};
  }
  const auto* begin = static_cast<const std::uint8_t*>(data);
  Bytes bytes(begin, begin + size);
  g_free(data);
  return bytes;
}

Bytes saved(const Picture& picture, const char* suffix, int orientation) {
  const ImagePtr image = vipsImage(picture);
  if (orientation != 1) vips_image_set_int(image.get(), VIPS_META_ORIENTATION, orientation);
  return saved(image.get(), suffix);
}

FileDescriptor fileOf(std::span<const std::uint8_t> bytes) {
  FileDescriptor file = makeMemoryFile(0);
  std::size_t written = 0;
  while (written < bytes.size()) {
    const ssize_t n = ::write(file.get(), bytes.data() + written, bytes.size() - written);
    if (n <= 0) {
      ADD_FAILURE() << "cannot write a memory file";
      break;
    }
    written += static_cast<std::size_t>(n);
  }
  return file;
}

Bytes contents(const FileDescriptor& file) {
  Bytes bytes(static_cast<std::size_t>(std::max<off_t>(0, ::lseek(file.get(), 0, SEEK_END))));
  EXPECT_EQ(::pread(file.get(), bytes.data(), bytes.size(), 0), static_cast<ssize_t>(bytes.size()));
  return bytes;
}

RenderRequest original() {
  RenderRequest request;
  request.fit = RenderRequest::Fit::original;
  return request;
}

RenderRequest fitInto(double width, double height) {
  RenderRequest request;
  request.targetWidth = width;
  request.targetHeight = height;
  return request;
}

Picture rendered(const Bytes& file, const RenderRequest& request, std::string* reason) {
  const FileDescriptor input = fileOf(file);
  const auto result = renderFile(input.get(), request);
  if (!result) {
    if (reason != nullptr) *reason = result.error().localizedDescription;
    return {};
  }
  EXPECT_EQ(sealedMemorySize(result->memory.get()), result->layout.byteCount());
  Picture picture(static_cast<int>(result->layout.width), static_cast<int>(result->layout.height),
                  result->layout.channels);
  EXPECT_EQ(::pread(result->memory.get(), picture.pixels.data(), picture.pixels.size(), 0),
            static_cast<ssize_t>(picture.pixels.size()));
  return picture;
}

Bytes withProfile(const Picture& picture, const Bytes& profile, const char* suffix) {
  const ImagePtr image = vipsImage(picture);
  vips_image_set_blob_copy(image.get(), VIPS_META_ICC_NAME, profile.data(), profile.size());
  return saved(image.get(), suffix);
}

Bytes conversion(const Bytes& file, ImageFormat format, std::string* reason) {
  RenderRequest request = original();
  request.failOnDamage = true;
  request.keepProfile = true;
  const FileDescriptor input = fileOf(file);
  const auto pixels = renderFile(input.get(), request);
  const auto encoded =
      pixels ? encodePixels(pixels->memory.get(), {format, 1, pixels->layout}) : pixels.error();
  if (encoded) return contents(*encoded);
  if (reason != nullptr) *reason = encoded.error().localizedDescription;
  return {};
}

bool isNear(Colour a, Colour b, int tolerance) {
  return std::equal(a.begin(), a.end(), b.begin(),
                    [=](int x, int y) { return std::abs(x - y) <= tolerance; });
}

}  // namespace quorvin
