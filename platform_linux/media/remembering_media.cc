#include "platform_linux/media/remembering_media.h"

#include <utility>

#include "platform_linux/media/worker_lane.h"

namespace quorvin {

template <class T>
Result<T> RememberingMedia::tried(const FileDescriptor& file, MediaWork work,
                                  const std::function<Result<T>()>& attempt) {
  if (auto failure = memory_.recall(file.get(), work)) return *std::move(failure);
  Result<T> result = attempt();
  if (!result && result.error().isOfFile) memory_.remember(file.get(), work, result.error());
  return result;
}

Result<MediaProbe> RememberingMedia::probe(const FileDescriptor& file, const std::string& name) {
  return tried<MediaProbe>(file, MediaWork::probe, [&] { return media_.probe(file, name); });
}

Result<std::shared_ptr<const RenderedImage>> RememberingMedia::render(const FileDescriptor& file,
                                                                      const RenderRequest& request,
                                                                      std::stop_token stop) {
  const MediaWork work =
      laneOf(request) == WorkerLane::looks ? MediaWork::preview : MediaWork::picture;
  return tried<std::shared_ptr<const RenderedImage>>(
      file, work, [&] { return media_.render(file, request, std::move(stop)); });
}

Result<ByteBuffer> RememberingMedia::encode(const RenderedImage& image, ImageFormat format,
                                            double quality) {
  return media_.encode(image, format, quality);
}

Result<std::vector<VideoContainer>> RememberingMedia::exportContainers(const FileDescriptor& source,
                                                                       VideoPreset preset) {
  return tried<std::vector<VideoContainer>>(
      source, MediaWork::containers, [&] { return exporter_.exportContainers(source, preset); });
}

Done RememberingMedia::exportVideo(const FileDescriptor& source, const FileDescriptor& output,
                                   const VideoExportRequest& request, std::stop_token stop) {
  return tried<Null>(source, MediaWork::video, [&] {
    return exporter_.exportVideo(source, output, request, std::move(stop));
  });
}

}  // namespace quorvin
