// getImageUrl: an image as a file: as it is stored, as a JPEG made of HEIC, or as a JPEG of medium
// size.
#include <algorithm>
#include <optional>
#include <utility>

#include "core/export/file_names.h"
#include "core/export/temporary_files.h"
#include "core/manager/arguments.h"
#include "core/manager/errors.h"
#include "core/manager/image_manager.h"
#include "core/platform/asset_resources.h"
#include "core/platform/file_manager.h"

namespace quorvin {

/// One call on its way to its file.
struct ImageManager::ImageFileExport {
  ResultHolder result;
  std::string assetId;
  Asset asset;
  std::shared_ptr<const PHAssetResource> resource;
  std::string path;  ///< of the file; a conversion changes the extension
};

namespace {

constexpr CGSize kMediumSize{1024, 1024};
constexpr double kBestQuality = 1.0;

struct ImageFileArguments {
  std::string assetId;
  bool convertJpeg = false;
  bool mediumQuality = false;
};

std::optional<ImageFileArguments> readArguments(const FlutterMethodCall& call) {
  const Arguments read(call.arguments);
  ImageFileArguments a;
  if (!(read.string("assetId", a.assetId) && read.boolean("convertJpeg", a.convertJpeg) &&
        read.boolean("mediumQuality", a.mediumQuality))) {
    return std::nullopt;
  }
  return a;
}

std::shared_ptr<const PHAssetResource> photoResource(const PHAssetResources& resources) {
  const auto found = std::ranges::find_if(resources, [](const auto& resource) {
    return resource->type == PHAssetResourceType::photo ||
           resource->type == PHAssetResourceType::fullSizePhoto;
  });
  return found == resources.end() ? nullptr : *found;
}

/// Wider than the test of getImageData: any type that names HEIC or HEIF, in any case.
bool isHeic(const PHAssetResource& resource) {
  std::string type = resource.uniformTypeIdentifier;
  std::ranges::transform(type, type.begin(), [](char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  });
  return type.find("heic") != std::string::npos || type.find("heif") != std::string::npos;
}

PHImageRequestOptions imageFileOptions() {
  PHImageRequestOptions options;
  options.version = PHImageRequestOptionsVersion::current;
  options.deliveryMode = PHImageRequestOptionsDeliveryMode::highQualityFormat;
  options.isSynchronous = false;
  options.isNetworkAccessAllowed = true;
  return options;
}

void renameToJpeg(std::string& path) {
  const std::string base = deletingPathExtension(path);
  path = appendingPathExtension(base, "jpg").value_or(base);
}

}  // namespace

void ImageManager::getImageUrl(const FlutterMethodCall& call, const ResultHolder& result) {
  const auto arguments = readArguments(call);
  if (!arguments) {
    return sendError(result, errors::kCode, errors::kErrorArguments);
  }
  const std::string& assetId = arguments->assetId;
  const Asset asset = getPHAsset(assetId);
  if (asset == nullptr) {
    return sendError(result, errors::kCode, errors::withId(errors::kAssetNotFound, assetId));
  }
  const std::string folder = temporaryFolder("image");
  if (const auto error = platform.fileManager.createDirectory(folder)) {
    return sendError(result, errors::kCode, errors::kCreateTempDirFailed,
                     error->localizedDescription);
  }
  auto resource = photoResource(platform.assetResources.assetResourcesForAsset(*asset));
  if (resource == nullptr) {
    return sendError(result, errors::kCode, errors::kNoPhotoResource);
  }
  const bool convert = arguments->convertJpeg && isHeic(*resource);
  // Never the folder itself, which could be removed with all that is in it.
  std::string name = getResourceName(*asset).value_or("");
  if (name.empty()) name = "image-" + assetId;
  const auto file = std::make_shared<ImageFileExport>(
      ImageFileExport{result, assetId, asset, std::move(resource), pathIn(folder, name)});
  if (imageManager == nullptr) return;
  if (arguments->mediumQuality) return requestMediumQuality(file);
  if (convert) return requestConverted(file);
  requestStored(file);
}

void ImageManager::requestMediumQuality(const ImageFile& file) {
  PHImageRequestOptions options = imageFileOptions();
  options.resizeMode = PHImageRequestOptionsResizeMode::exact;
  imageManager->requestImageForAsset(
      file->asset, kMediumSize, PHImageContentModeAspectFit, options,
      [self = shared_from_this(), file](const std::shared_ptr<const UIImage>& image,
                                        const PHImageInfo* info) {
        self->writeMediumQuality(*file, image.get(), info);
      });
}

void ImageManager::writeMediumQuality(ImageFileExport& file, const UIImage* image,
                                      const PHImageInfo* info) {
  if (info != nullptr) {
    if (info->isTrue(PHImageResultIsDegradedKey)) return;
    if (info->isTrue(PHImageCancelledKey)) {
      return sendError(file.result, errors::kCode, errors::kImageRequestCancelled);
    }
    if (const NSError* error = info->error(PHImageErrorKey)) {
      return sendError(file.result, errors::kCode, errors::kFailedToGenerateImage,
                       error->localizedDescription);
    }
  }
  std::optional<ByteBuffer> jpeg;
  if (image != nullptr) jpeg = platform.imageCodec.UIImageJPEGRepresentation(*image, kBestQuality);
  if (!jpeg) {
    return sendError(file.result, errors::kCode, errors::kFailedToGenerateJpeg);
  }
  renameToJpeg(file.path);
  writeImageData(*jpeg, file.path, *file.asset, file.result);
}

void ImageManager::requestConverted(const ImageFile& file) {
  imageManager->requestImageDataAndOrientationForAsset(
      file->asset, imageFileOptions(),
      [self = shared_from_this(), file](const std::optional<ByteBuffer>& data,
                                        const std::optional<std::string>&, std::int64_t,
                                        const PHImageInfo*) {
        std::optional<ByteBuffer> jpeg;
        if (data) jpeg = self->jpegFromData(*data);
        if (!jpeg) {
          return self->sendError(file->result, errors::kCode, errors::kConversionFailed);
        }
        renameToJpeg(file->path);
        self->writeImageData(*jpeg, file->path, *file->asset, file->result);
      });
}

void ImageManager::requestStored(const ImageFile& file) {
  imageManager->requestImageDataAndOrientationForAsset(
      file->asset, imageFileOptions(),
      [self = shared_from_this(), file](const std::optional<ByteBuffer>& data,
                                        const std::optional<std::string>&, std::int64_t,
                                        const PHImageInfo*) {
        if (!data) return self->copyResource(file);
        self->writeImageData(*data, file->path, *file->asset, file->result);
      });
}

void ImageManager::copyResource(const ImageFile& file) {
  NSFileManager& files = platform.fileManager;
  // What cannot be removed fails the copy, which is answered.
  if (files.fileExists(file->path)) files.removeItem(file->path);
  PHAssetResourceRequestOptions options;
  options.isNetworkAccessAllowed = true;
  platform.assetResourceManager.writeDataForAssetResource(
      file->resource, file->path, &options,
      [self = shared_from_this(), file](const std::optional<NSError>& error) {
        self->replyCopied(*file, error);
      });
}

void ImageManager::replyCopied(const ImageFileExport& file, const std::optional<NSError>& error) {
  if (error) {
    // The wording is that of live photos, for images too.
    return sendError(file.result, errors::kCode,
                     errors::withId(errors::kFailedToExportLivePhotoVideo, file.assetId),
                     error->localizedDescription);
  }
  // The file is there, so its path is replied all the same.
  if (const auto stampError = stampFileDates(file.path, *file.asset)) {
    sendError(file.result, errors::kCode,
              errors::withId(errors::kSaveTemporaryImageError, stampError->description()),
              stampError->localizedDescription);
  }
  sendResult(file.result, exportReply(file.path, true));
}

}  // namespace quorvin
