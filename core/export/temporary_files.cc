// Files in the temporary directory: folders, writing an image, its dates.
#include "core/export/temporary_files.h"

#include <chrono>

#include "core/manager/errors.h"
#include "core/manager/image_manager.h"
#include "core/platform/file_manager.h"

namespace quorvin {
namespace {

NSDate now() {
  const auto sinceEpoch = std::chrono::system_clock::now().time_since_epoch();
  return NSDate(std::chrono::duration<double>(sinceEpoch).count());
}

}  // namespace

std::string ImageManager::temporaryFolder(std::string_view name) {
  return platform.fileManager.NSTemporaryDirectory().append(name);
}

void ImageManager::writeImageData(const ByteBuffer& data, const std::string& to,
                                  const PHAsset& asset, const ResultHolder& result) {
  std::optional<NSError> error = platform.fileManager.writeAtomically(data, to);
  if (!error) error = stampFileDates(to, asset);
  if (error) {
    return sendError(result, errors::kCode, errors::kFailedToSaveImage,
                     error->localizedDescription);
  }
  sendResult(result, exportReply(to, true));
}

std::optional<NSError> ImageManager::stampFileDates(const std::string& path, const PHAsset& asset) {
  return platform.fileManager.setAttributes(
      {.NSFileCreationDate = asset.creationDate.value_or(now()),
       .NSFileModificationDate = asset.modificationDate.value_or(now())},
      path);
}

}  // namespace quorvin
