// Files in the temporary directory: folders, writing an image, its dates.
#include "core/export/temporary_files.h"

#include <chrono>

#include "core/manager/errors.h"
#include "core/manager/image_manager.h"

namespace quorvin {
namespace {

NSDate now() {
  const auto sinceEpoch = std::chrono::system_clock::now().time_since_epoch();
  return NSDate(std::chrono::duration<double>(sinceEpoch).count());
}

}  // namespace

std::string temporaryFolder(NSFileManager& files, std::string_view name) {
  return files.NSTemporaryDirectory().append(name);
}

std::optional<NSError> stampFileDates(NSFileManager& files, const std::string& path,
                                      const PHAsset& asset) {
  return files.setAttributes({.NSFileCreationDate = asset.creationDate.value_or(now()),
                              .NSFileModificationDate = asset.modificationDate.value_or(now())},
                             path);
}

void ImageManager::writeImageData(const ByteBuffer& data, const std::string& to,
                                  const PHAsset& asset, const ResultHolder& result) {
  NSFileManager& files = platform.fileManager;
  std::optional<NSError> error = files.writeAtomically(data, to);
  if (!error) error = stampFileDates(files, to, asset);
  if (error) return fail(result, errors::kFailedToSaveImage, error->localizedDescription);
  sendResult(result, exportReply(to, true));
}

}  // namespace quorvin
