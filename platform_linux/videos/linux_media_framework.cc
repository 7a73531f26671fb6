#include "platform_linux/videos/linux_media_framework.h"

#include <optional>
#include <string>
#include <utility>

#include "platform_linux/videos/linux_composition.h"
#include "platform_linux/videos/linux_export_session.h"

namespace quorvin {

namespace {

std::optional<VideoPreset> presetOfName(std::string_view name) {
  if (name == AVAssetExportPresetPassthrough) return VideoPreset::passthrough;
  if (name == AVAssetExportPresetHighestQuality) return VideoPreset::highestQuality;
  if (name == AVAssetExportPresetMediumQuality) return VideoPreset::mediumQuality;
  return std::nullopt;
}

}  // namespace

std::shared_ptr<AVAssetExportSession> LinuxMediaFramework::exportSessionWithAsset(
    std::shared_ptr<const AVAsset> asset, std::string_view presetName) {
  const std::optional<VideoPreset> preset = presetOfName(presetName);
  if (!preset) return nullptr;
  ExportSource source;
  source.preset = *preset;
  if (const auto* video = dynamic_cast<const LinuxVideo*>(asset.get())) {
    source.file = video->file.open();
  } else if (const auto* composition = dynamic_cast<const LinuxComposition*>(asset.get())) {
    source.file = composition->source.open();
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
