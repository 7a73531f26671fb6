// Requests for images that previews serve.
#pragma once

#include <memory>
#include <stop_token>

#include "core/platform/image_codec.h"
#include "core/platform/value.h"
#include "media_protocol/rendering_size.h"
#include "platform_linux/media/media_service.h"
#include "platform_linux/previews/preview_keeper.h"

namespace quorvin {

/// A preview as it is: whoever wants it as JPEG needs nobody to decode or encode it.
class PreviewImage final : public UIImage {
 public:
  PreviewImage(ByteBuffer jpeg, PixelSize size, double quality)
      : jpeg_(std::move(jpeg)), size_(size), quality_(quality) {}

  std::int64_t width() const override { return size_.width; }
  std::int64_t height() const override { return size_.height; }
  const ByteBuffer& jpeg() const { return jpeg_; }
  double quality() const { return quality_; }  ///< 0 to 1

 private:
  ByteBuffer jpeg_;
  PixelSize size_;
  double quality_;
};

/// Finds and feeds previews. It lives as long as one request; both others outlive it.
class PreviewImages {
 public:
  PreviewImages(PreviewKeeper& keeper, MediaService& media) : keeper_(keeper), media_(media) {}

  /// The image that the request asks for, made of a preview or being one; null where none serves.
  /// `file` is the job's, open. What is kept, as exact renderings are, is not made of previews.
  std::shared_ptr<const UIImage> find(const PreviewJob& job, const FileDescriptor& file,
                                      const RenderRequest& request,
                                      const std::stop_token& stop) const;

  /// That the original had to be rendered: the image may become a preview, and where one would have
  /// served, it is made soon.
  void note(PreviewJob job, const RenderRequest& request,
            std::shared_ptr<const RenderedImage> image) const;

 private:
  PreviewKeeper& keeper_;
  MediaService& media_;
};

}  // namespace quorvin
