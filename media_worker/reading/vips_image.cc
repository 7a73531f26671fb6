#include "media_worker/reading/vips_image.h"

#include <algorithm>
#include <vector>

namespace quorvin {

namespace {

struct Reading {
  InputFile file;
  std::int64_t position = 0;
};

std::int64_t readSource(VipsSourceCustom*, void* into, std::int64_t size, Reading* reading) {
  const std::size_t got = reading->file.readAt(
      reading->position, {static_cast<std::uint8_t*>(into), static_cast<std::size_t>(size)});
  reading->position += static_cast<std::int64_t>(got);
  return static_cast<std::int64_t>(got);
}

std::int64_t seekSource(VipsSourceCustom*, std::int64_t offset, int whence, Reading* reading) {
  if (whence == SEEK_CUR) offset += reading->position;
  if (whence == SEEK_END) offset += reading->file.size();
  if (offset < 0) return -1;
  return reading->position = offset;
}

void freeReading(void* reading, GClosure*) {
  delete static_cast<Reading*>(reading);
}

}  // namespace

int integerField(VipsImage* image, const char* name, int absent) {
  int value = absent;
  return vips_image_get_typeof(image, name) == G_TYPE_INT &&
                 vips_image_get_int(image, name, &value) == 0
             ? value
             : absent;
}

std::string exifField(VipsImage* image, const char* name) {
  const char* text = nullptr;
  if (vips_image_get_typeof(image, name) != VIPS_TYPE_REF_STRING ||
      vips_image_get_string(image, name, &text) != 0) {
    return "";
  }
  const std::string whole = text;
  return whole.substr(0, whole.find(" ("));
}

SourcePtr sourceOf(const InputFile& file) {
  VipsSourceCustom* source = vips_source_custom_new();
  auto* reading = new Reading{file};
  g_signal_connect_data(source, "read", G_CALLBACK(readSource), reading, freeReading,
                        GConnectFlags{});
  g_signal_connect(source, "seek", G_CALLBACK(seekSource), reading);
  return SourcePtr(VIPS_SOURCE(source));
}

ImagePtr imageOfRows(std::shared_ptr<const void> owner, const std::uint8_t* rows,
                     std::int64_t width, std::int64_t height, int channels, std::size_t stride,
                     int channelBytes) {
  const auto pixelBytes = static_cast<std::size_t>(channels * channelBytes);
  const auto rowBytes = static_cast<std::size_t>(width) * pixelBytes;
  const bool deep = channelBytes > 1;
  if (stride % pixelBytes != 0) {
    auto packed =
        std::make_shared<std::vector<std::uint8_t>>(rowBytes * static_cast<std::size_t>(height));
    for (std::size_t y = 0; y < static_cast<std::size_t>(height); ++y) {
      std::copy_n(rows + y * stride, rowBytes, packed->data() + y * rowBytes);
    }
    rows = packed->data();
    owner = std::move(packed);
    stride = rowBytes;
  }
  // Libvips knows no padding: it counts as pixels that are cut off.
  ImagePtr image(vips_image_new_from_memory(
      rows, stride * static_cast<std::size_t>(height), static_cast<int>(stride / pixelBytes),
      static_cast<int>(height), channels, deep ? VIPS_FORMAT_USHORT : VIPS_FORMAT_UCHAR));
  if (!image) return nullptr;
  g_object_set_data_full(
      G_OBJECT(image.get()), "quorvin-owner", new std::shared_ptr<const void>(std::move(owner)),
      [](void* held) { delete static_cast<std::shared_ptr<const void>*>(held); });
  image->Type = deep ? VIPS_INTERPRETATION_RGB16 : VIPS_INTERPRETATION_sRGB;
  if (stride == rowBytes) return image;
  const bool done = apply(image, [&](VipsImage* in, VipsImage** out) {
    return vips_extract_area(in, out, 0, 0, static_cast<int>(width), static_cast<int>(height),
                             nullptr);
  });
  return done ? std::move(image) : nullptr;
}

}  // namespace quorvin
