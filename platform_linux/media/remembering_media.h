// Media work that is not tried again where it failed for good.
#pragma once

#include <functional>
#include <memory>
#include <stop_token>
#include <vector>

#include "platform_linux/media/failure_memory.h"
#include "platform_linux/media/media_service.h"
#include "platform_linux/media/video_exporter.h"

namespace quorvin {

/// Stands before a media service and an exporter, which outlive it, and so does the memory. What
/// they failed at through a file's doing is remembered; a file of that content is answered with
/// that failure from then on. Any thread, several at once.
class RememberingMedia final : public MediaService, public VideoExporter {
 public:
  RememberingMedia(MediaService& media, VideoExporter& exporter, FailureMemory& memory)
      : media_(media), exporter_(exporter), memory_(memory) {}

  Result<MediaProbe> probe(const FileDescriptor& file, const std::string& name) override;
  Result<std::shared_ptr<const RenderedImage>> render(const FileDescriptor& file,
                                                      const RenderRequest& request,
                                                      std::stop_token stop = {}) override;
  /// Of pixels, which are no file: not remembered.
  Result<ByteBuffer> encode(const RenderedImage& image, ImageFormat format,
                            double quality) override;
  /// Not remembered.
  Result<ByteBuffer> writeXmp(const FileDescriptor& existing,
                              const WriteXmpRequest& request) override {
    return media_.writeXmp(existing, request);
  }

  Result<std::vector<VideoContainer>> exportContainers(const FileDescriptor& source,
                                                       VideoPreset preset) override;
  Done exportVideo(const FileDescriptor& source, const FileDescriptor& output,
                   const VideoExportRequest& request, std::stop_token stop) override;

 private:
  template <class T>
  Result<T> tried(const FileDescriptor& file, MediaWork work,
                  const std::function<Result<T>()>& attempt);

  MediaService& media_;
  VideoExporter& exporter_;
  FailureMemory& memory_;
};

}  // namespace quorvin
