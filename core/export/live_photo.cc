// getLivePhotoUrl: the motion part of a live photo as a file.
#include <algorithm>
#include <cstdio>
#include <optional>
#include <utility>

#include "core/export/file_names.h"
#include "core/export/image_requests.h"
#include "core/export/temporary_files.h"
#include "core/manager/arguments.h"
#include "core/manager/errors.h"
#include "core/manager/image_manager.h"
#include "core/platform/file_manager.h"
#include "core/platform/media.h"

namespace quorvin {
namespace {

struct LivePhotoArguments {
  std::string assetId;
  bool mediumQuality = false;

  bool read(const Arguments& from) {
    return from.string("assetId", assetId) && from.boolean("mediumQuality", mediumQuality);
  }
};

PHLivePhotoRequestOptions livePhotoOptions() {
  PHLivePhotoRequestOptions options;
  options.version = PHImageRequestOptionsVersion::current;
  options.deliveryMode = PHImageRequestOptionsDeliveryMode::highQualityFormat;
  options.isNetworkAccessAllowed = true;
  return options;
}

std::shared_ptr<const PHAssetResource> pairedVideo(const PHLivePhoto& livePhoto) {
  const auto found = std::ranges::find(livePhoto.resources, PHAssetResourceType::pairedVideo,
                                       [](const auto& resource) { return resource->type; });
  return found == livePhoto.resources.end() ? nullptr : *found;
}

std::string movieName(const std::optional<std::string>& resourceName, const std::string& assetId) {
  const std::string fallback = "livephoto-" + assetId;
  const std::string base = resourceName ? deletingPathExtension(*resourceName) : fallback;
  // Never the folder itself, which would be removed with all that is in it.
  return appendingPathExtension(base, "mov").value_or(fallback + ".mov");
}

}  // namespace

/// A motion part on its way to its file.
struct ImageManager::LivePhotoExport {
  std::shared_ptr<ImageManager> manager;
  ResultHolder result;
  std::string assetId;
  Asset asset;

  void fail(std::string_view text, Value details = {}) const {
    manager->fail(result, text, std::move(details));
  }

  void deliver(const PHLivePhoto* livePhoto, const PHImageInfo* info) const {
    if (info != nullptr) {
      if (info->isTrue(PHImageResultIsDegradedKey)) return;
      if (info->isTrue(PHImageCancelledKey)) return fail(errors::kLivePhotoRequestCancelled);
      if (const NSError* error = info->error(PHImageErrorKey)) {
        return fail(errors::kFailedToLoadLivePhoto, error->localizedDescription);
      }
    }
    if (livePhoto == nullptr) return fail(errors::withId(errors::kNoLivePhoto, assetId));
    auto video = pairedVideo(*livePhoto);
    if (video == nullptr) return fail(errors::withId(errors::kNoPairedVideo, assetId));
    manager->readingLibrary(result, [this, &video] { write(std::move(video)); });
  }

  void write(std::shared_ptr<const PHAssetResource> video) const {
    NSFileManager& files = manager->platform.fileManager;
    const std::string folder = temporaryFolder(files, "livephoto");
    if (const auto error = files.createDirectory(folder)) {
      return fail(errors::kFailedToCreateTempDirectory, error->localizedDescription);
    }
    const std::string path = pathIn(folder, movieName(manager->getResourceName(*asset), assetId));
    if (files.fileExists(path)) {
      if (const auto error = files.removeItem(path)) {
        return fail(errors::withId(errors::kFailedToOverwrite, path), error->localizedDescription);
      }
    }
    manager->platform.assetResourceManager.writeDataForAssetResource(
        std::move(video), path, nullptr, [live = *this, path](const std::optional<NSError>& error) {
          live.replyWritten(path, error);
        });
  }

  void replyWritten(const std::string& path, const std::optional<NSError>& error) const {
    if (error) {
      return fail(errors::withId(errors::kFailedToExportLivePhotoVideo, assetId),
                  error->localizedDescription);
    }
    const NSFileAttributes dates{.NSFileCreationDate = asset->creationDate,
                                 .NSFileModificationDate = asset->modificationDate};
    if (const auto stampError = manager->platform.fileManager.setAttributes(dates, path)) {
      std::printf("⚠️ setAttributes error = %s\n", stampError->description().c_str());
      std::fflush(stdout);
    }
    manager->sendResult(result, exportReply(path, true));
  }
};

void ImageManager::getLivePhotoUrl(const FlutterMethodCall& call, const ResultHolder& result) {
  LivePhotoArguments arguments;
  if (!arguments.read(Arguments(call.arguments))) return fail(result, errors::kInvalidArguments);
  const Asset asset = findAsset(arguments.assetId, result);
  if (asset == nullptr) return;
  if ((asset->mediaSubtypes & PHAssetMediaSubtype::photoLive) == 0) {
    return fail(result, errors::withId(errors::kAssetIsNotLivePhoto, arguments.assetId));
  }
  if (imageManager == nullptr) return;
  const CGSize size = arguments.mediumQuality ? kMediumSize : PHImageManagerMaximumSize;
  imageManager->requestLivePhotoForAsset(
      asset, size, PHImageContentModeAspectFit, livePhotoOptions(),
      [live = LivePhotoExport{shared_from_this(), result, arguments.assetId, asset}](
          const std::shared_ptr<const PHLivePhoto>& livePhoto, const PHImageInfo* info) {
        live.deliver(livePhoto.get(), info);
      });
}

}  // namespace quorvin
