// getImageUrl: an image as a file: as it is stored, as a JPEG made of HEIC, or as a JPEG of medium
// size.
#include <algorithm>
#include <optional>
#include <utility>

#include "core/export/file_names.h"
#include "core/export/image_requests.h"
#include "core/export/jpeg.h"
#include "core/export/temporary_files.h"
#include "core/manager/arguments.h"
#include "core/manager/errors.h"
#include "core/manager/image_manager.h"
#include "core/platform/asset_resources.h"

namespace quorvin {
namespace {

struct ImageFileArguments {
  std::string assetId;
  bool convertJpeg = false;
  bool mediumQuality = false;

  bool read(const Arguments& from) {
    return from.string("assetId", assetId) && from.boolean("convertJpeg", convertJpeg) &&
           from.boolean("mediumQuality", mediumQuality);
  }
};

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

void renameToJpeg(std::string& path) {
  const std::string base = deletingPathExtension(path);
  path = appendingPathExtension(base, "jpg").value_or(base);
}

}  // namespace

/// An image on its way to its file. Each delivery of its request is answered.
class ImageManager::ImageFileExport : public std::enable_shared_from_this<ImageFileExport> {
 public:
  ImageFileExport(std::shared_ptr<ImageManager> manager, ResultHolder result, std::string assetId,
                  Asset asset, std::shared_ptr<const PHAssetResource> resource, std::string path)
      : manager_(std::move(manager)),
        result_(std::move(result)),
        assetId_(std::move(assetId)),
        asset_(std::move(asset)),
        resource_(std::move(resource)),
        path_(std::move(path)) {}

  void requestMediumQuality() {
    images().requestImageForAsset(
        asset_, kMediumSize, PHImageContentModeAspectFit,
        finalImageOptions(PHImageRequestOptionsResizeMode::exact),
        [self = shared_from_this()](const std::shared_ptr<const UIImage>& image,
                                    const PHImageInfo* info) {
          self->writeMediumQuality(image.get(), info);
        });
  }

  void requestConverted() {
    images().requestImageDataAndOrientationForAsset(
        asset_, finalImageOptions(),
        [self = shared_from_this()](const std::optional<ByteBuffer>& data,
                                    const std::optional<std::string>&, std::int64_t,
                                    const PHImageInfo*) { self->writeConverted(data); });
  }

  void requestStored() {
    images().requestImageDataAndOrientationForAsset(
        asset_, finalImageOptions(),
        [self = shared_from_this()](const std::optional<ByteBuffer>& data,
                                    const std::optional<std::string>&, std::int64_t,
                                    const PHImageInfo*) {
          if (data) return self->write(*data);
          self->copyResource();
        });
  }

 private:
  PHImageManager& images() { return *manager_->imageManager; }
  Platform& platform() { return manager_->platform; }

  void fail(std::string_view text, Value details = {}) {
    manager_->fail(result_, text, std::move(details));
  }

  void write(const ByteBuffer& data) { manager_->writeImageData(data, path_, *asset_, result_); }

  void writeJpeg(const ByteBuffer& jpeg) {
    renameToJpeg(path_);
    write(jpeg);
  }

  void writeMediumQuality(const UIImage* image, const PHImageInfo* info) {
    if (info != nullptr) {
      if (info->isTrue(PHImageResultIsDegradedKey)) return;
      if (info->isTrue(PHImageCancelledKey)) return fail(errors::kImageRequestCancelled);
      if (const NSError* error = info->error(PHImageErrorKey)) {
        return fail(errors::kFailedToGenerateImage, error->localizedDescription);
      }
    }
    const auto jpeg = jpegOf(platform().imageCodec, image);
    if (!jpeg) return fail(errors::kFailedToGenerateJpeg);
    writeJpeg(*jpeg);
  }

  void writeConverted(const std::optional<ByteBuffer>& data) {
    std::optional<ByteBuffer> jpeg;
    if (data) jpeg = jpegOfData(platform().imageCodec, *data);
    if (!jpeg) return fail(errors::kConversionFailed);
    writeJpeg(*jpeg);
  }

  void copyResource() {
    NSFileManager& files = platform().fileManager;
    // What cannot be removed fails the copy, which is answered.
    if (files.fileExists(path_)) files.removeItem(path_);
    PHAssetResourceRequestOptions options;
    options.isNetworkAccessAllowed = true;
    platform().assetResourceManager.writeDataForAssetResource(
        resource_, path_, &options,
        [self = shared_from_this()](const std::optional<NSError>& error) {
          self->replyCopied(error);
        });
  }

  void replyCopied(const std::optional<NSError>& error) {
    if (error) {
      // The wording is that of live photos, for images too.
      return fail(errors::withId(errors::kFailedToExportLivePhotoVideo, assetId_),
                  error->localizedDescription);
    }
    // The file is there, so its path is replied all the same.
    if (const auto stampError = stampFileDates(platform().fileManager, path_, *asset_)) {
      fail(errors::withId(errors::kSaveTemporaryImageError, stampError->description()),
           stampError->localizedDescription);
    }
    manager_->sendResult(result_, exportReply(path_, true));
  }

  const std::shared_ptr<ImageManager> manager_;
  const ResultHolder result_;
  const std::string assetId_;
  const Asset asset_;
  const std::shared_ptr<const PHAssetResource> resource_;
  std::string path_;  ///< of the file; a JPEG changes the extension
};

void ImageManager::getImageUrl(const FlutterMethodCall& call, const ResultHolder& result) {
  ImageFileArguments arguments;
  if (!arguments.read(Arguments(call.arguments))) return fail(result, errors::kErrorArguments);
  const Asset asset = findAsset(arguments.assetId, result);
  if (asset == nullptr) return;
  const std::string folder = temporaryFolder(platform.fileManager, "image");
  if (const auto error = platform.fileManager.createDirectory(folder)) {
    return fail(result, errors::kCreateTempDirFailed, error->localizedDescription);
  }
  const auto resource = photoResource(platform.assetResources.assetResourcesForAsset(*asset));
  if (resource == nullptr) return fail(result, errors::kNoPhotoResource);
  // Never the folder itself, which could be removed with all that is in it.
  std::string name = getResourceName(*asset).value_or("");
  if (name.empty()) name = "image-" + arguments.assetId;
  if (imageManager == nullptr) return;
  const auto file = std::make_shared<ImageFileExport>(shared_from_this(), result, arguments.assetId,
                                                      asset, resource, pathIn(folder, name));
  if (arguments.mediumQuality) return file->requestMediumQuality();
  if (arguments.convertJpeg && isHeic(*resource)) return file->requestConverted();
  file->requestStored();
}

}  // namespace quorvin
