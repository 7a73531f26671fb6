#include "testing/media/renderings.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include "media_protocol/sealed_memory.h"
#include "media_worker/render/encode.h"
#include "media_worker/render/render.h"

namespace quorvin {

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
    if (reason != nullptr) *reason = result.error().sentence();
    return {};
  }
  EXPECT_EQ(sealedMemorySize(result->memory.get()), result->layout.byteCount());
  Picture picture(static_cast<int>(result->layout.width), static_cast<int>(result->layout.height),
                  result->layout.channels);
  EXPECT_EQ(::pread(result->memory.get(), picture.pixels.data(), picture.pixels.size(), 0),
            static_cast<ssize_t>(picture.pixels.size()));
  return picture;
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
  if (reason != nullptr) *reason = encoded.error().sentence();
  return {};
}

}  // namespace quorvin
