// getLivePhotoUrl: the motion part of a live photo as a file.
#include <algorithm>
#include <cstdio>
#include <optional>
#include <utility>

#include "core/export/file_names.h"
#include "core/export/temporary_files.h"
#include "core/manager/arguments.h"
#include "core/manager/errors.h"
#include "core/manager/image_manager.h"
#include "core/platform/file_manager.h"
#include "core/platform/media.h"

namespace quorvin {

struct ImageManager::LivePhotoExport {
  ResultHolder result;
  std::string assetId;
  Asset asset;
};

namespace {

constexpr CGSize kMediumSize{1024, 1024};

struct LivePhotoArguments {
  std::string assetId;
  bool mediumQuality = false;
};

std::optional<LivePhotoArguments> readArguments(const FlutterMethodCall& call) {
  const Arguments read(call.arguments);
  LivePhotoArguments a;
  if (!(read.string("assetId", a.assetId) && read.boolean("mediumQuality", a.mediumQuality))) {
    return std::nullopt;
  }
  return a;
}

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

}  // namespace

void ImageManager::getLivePhotoUrl(const FlutterMethodCall& call, const ResultHolder& result) {
  const auto arguments = readArguments(call);
  if (!arguments) {
    return sendError(result, errors::kCode, errors::kInvalidArguments);
  }
  const std::string& assetId = arguments->assetId;
  const Asset asset = getPHAsset(assetId);
  if (asset == nullptr) {
    return sendError(result, errors::kCode, errors::withId(errors::kAssetNotFound, assetId));
  }
  if ((asset->mediaSubtypes & PHAssetMediaSubtype::photoLive) == 0) {
    return sendError(result, errors::kCode, errors::withId(errors::kAssetIsNotLivePhoto, assetId));
  }
  if (imageManager == nullptr) return;
  const LivePhotoExport request{result, assetId, asset};
  imageManager->requestLivePhotoForAsset(
      asset, arguments->mediumQuality ? kMediumSize : PHImageManagerMaximumSize,
      PHImageContentModeAspectFit, livePhotoOptions(),
      [self = shared_from_this(), request](const std::shared_ptr<const PHLivePhoto>& livePhoto,
                                           const PHImageInfo* info) {
        self->replyLivePhoto(request, livePhoto.get(), info);
      });
}

void ImageManager::replyLivePhoto(const LivePhotoExport& request, const PHLivePhoto* livePhoto,
                                  const PHImageInfo* info) {
  const ResultHolder& result = request.result;
  if (info != nullptr) {
    if (info->isTrue(PHImageResultIsDegradedKey)) return;
    if (info->isTrue(PHImageCancelledKey)) {
      return sendError(result, errors::kCode, errors::kLivePhotoRequestCancelled);
    }
    if (const NSError* error = info->error(PHImageErrorKey)) {
      return sendError(result, errors::kCode, errors::kFailedToLoadLivePhoto,
                       error->localizedDescription);
    }
  }
  if (livePhoto == nullptr) {
    return sendError(result, errors::kCode, errors::withId(errors::kNoLivePhoto, request.assetId));
  }
  auto video = pairedVideo(*livePhoto);
  if (video == nullptr) {
    return sendError(result, errors::kCode,
                     errors::withId(errors::kNoPairedVideo, request.assetId));
  }
  writePairedVideo(request, std::move(video));
}

void ImageManager::writePairedVideo(const LivePhotoExport& request,
                                    std::shared_ptr<const PHAssetResource> video) {
  NSFileManager& files = platform.fileManager;
  const std::string folder = temporaryFolder("livephoto");
  if (const auto error = files.createDirectory(folder)) {
    return sendError(request.result, errors::kCode, errors::kFailedToCreateTempDirectory,
                     error->localizedDescription);
  }
  const auto name = getResourceName(*request.asset);
  const std::string fallback = "livephoto-" + request.assetId;
  const std::string base = name ? deletingPathExtension(*name) : fallback;
  // Never the folder itself, which would be removed with all that is in it.
  const std::string path =
      pathIn(folder, appendingPathExtension(base, "mov").value_or(fallback + ".mov"));
  if (files.fileExists(path)) {
    if (const auto error = files.removeItem(path)) {
      return sendError(request.result, errors::kCode,
                       errors::withId(errors::kFailedToOverwrite, path),
                       error->localizedDescription);
    }
  }
  platform.assetResourceManager.writeDataForAssetResource(
      std::move(video), path, nullptr,
      [self = shared_from_this(), request, path](const std::optional<NSError>& error) {
        self->replyPairedVideo(request, path, error);
      });
}

void ImageManager::replyPairedVideo(const LivePhotoExport& request, const std::string& path,
                                    const std::optional<NSError>& error) {
  if (error) {
    return sendError(request.result, errors::kCode,
                     errors::withId(errors::kFailedToExportLivePhotoVideo, request.assetId),
                     error->localizedDescription);
  }
  const NSFileAttributes dates{.NSFileCreationDate = request.asset->creationDate,
                               .NSFileModificationDate = request.asset->modificationDate};
  if (const auto stampError = platform.fileManager.setAttributes(dates, path)) {
    std::printf("⚠️ setAttributes error = %s\n", stampError->description().c_str());
    std::fflush(stdout);
  }
  sendResult(request.result, exportReply(path, true));
}

}  // namespace quorvin
