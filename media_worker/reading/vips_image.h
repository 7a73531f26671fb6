// libvips images as owned values.
#pragma once

#include <vips/vips.h>

#include <cstdint>
#include <memory>
#include <string>
#include <utility>

#include "media_worker/reading/input_file.h"

namespace quorvin {

/// Most pixels of a GIF: its frames are kept whole, twice, with four bytes a pixel.
inline constexpr std::int64_t kMaximumGifPixelCount = 100'000'000;

/// Most pixels of a picture that is decoded only whole: a third more than the largest sensors have.
/// Decoders and what is made of it take some eight bytes for each.
inline constexpr std::int64_t kMaximumWholePixelCount = 300'000'000;

struct GObjectUnref {
  void operator()(void* object) const { g_object_unref(object); }
};
template <class T>
using GObjectPtr = std::unique_ptr<T, GObjectUnref>;

using ImagePtr = GObjectPtr<VipsImage>;
using SourcePtr = GObjectPtr<VipsSource>;

/// Puts the operation's result in the image's place. `operation(in, &out)` gives 0 on success;
/// on failure the image stays as it is.
template <class Operation>
bool apply(ImagePtr& image, Operation&& operation) {
  VipsImage* out = nullptr;
  if (operation(image.get(), &out) != 0) return false;
  image.reset(out);
  return true;
}

/// What libvips noted of a picture's header: a number, or `absent`.
int integerField(VipsImage* image, const char* name, int absent);
/// The value of an Exif tag, without what libvips says behind it of its kind; empty when there is
/// none.
std::string exifField(VipsImage* image, const char* name);

/// A source that reads the file at its own offsets. `file` outlives it.
SourcePtr sourceOf(const InputFile& file);

/// Rows of pixels in memory, `stride` bytes apart, without a copy of them if `stride` is a whole
/// number of pixels; of 1 byte a channel, or of 2 in the machine's order. `owner` is kept for as
/// long as the image lives. Null when it fails.
ImagePtr imageOfRows(std::shared_ptr<const void> owner, const std::uint8_t* rows,
                     std::int64_t width, std::int64_t height, int channels, std::size_t stride,
                     int channelBytes = 1);

}  // namespace quorvin
