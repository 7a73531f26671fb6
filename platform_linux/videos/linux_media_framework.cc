#include "platform_linux/videos/linux_media_framework.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <optional>
#include <string>
#include <utility>

#include "platform_linux/videos/linux_composition.h"
#include "platform_linux/videos/linux_export_session.h"
#include "posix/file_descriptor.h"

namespace quorvin {

namespace {

std::optional<VideoPreset> presetOfName(std::string_view name) {
  if (name == AVAssetExportPresetPassthrough) return VideoPreset::passthrough;
  if (name == AVAssetExportPresetHighestQuality) return VideoPreset::highestQuality;
  if (name == AVAssetExportPresetMediumQuality) return VideoPreset::mediumQuality;
  return std::nullopt;
}

/// Opens a regular file, without waiting for what is none.
FileDescriptor openVideo(const std::string& path) {
  FileDescriptor file(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  struct stat status = {};
  if (!file || ::fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode)) return {};
  return file;
}

}  // namespace

std::shared_ptr<AVAssetExportSession> LinuxMediaFramework::exportSessionWithAsset(
    std::shared_ptr<const AVAsset> asset, std::string_view presetName) {
  const std::optional<VideoPreset> preset = presetOfName(presetName);
  if (!preset) return nullptr;
  ExportSource source;
  source.preset = *preset;
  if (const auto* file = dynamic_cast<const AVURLAsset*>(asset.get())) {
    source.file = openVideo(file->URL);
  } else if (const auto* composition = dynamic_cast<const LinuxComposition*>(asset.get())) {
    source.file = openVideo(composition->sourcePath);
    source.timeMap = composition->timeMap;
  }
  if (!source.file) return nullptr;
  auto containers = exporter_.exportContainers(source.file, *preset);
  if (!containers || containers->empty()) return nullptr;
  source.containers = *std::move(containers);
  return std::make_shared<LinuxExportSession>(
      ExportPlace{exporter_, temporary_, threads_, stop_.get_token()}, std::move(source));
}

void LinuxMediaFramework::shutDown() {
  beginShutDown();
  threads_.shutDown();
}

}  // namespace quorvin
