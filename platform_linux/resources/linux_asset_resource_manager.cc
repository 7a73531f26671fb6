#include "platform_linux/resources/linux_asset_resource_manager.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <utility>

#include "platform_linux/errors/presented.h"
#include "platform_linux/errors/system_failure.h"
#include "platform_linux/files/copy_content.h"
#include "platform_linux/files/side_file.h"
#include "posix/file_descriptor.h"

namespace quorvin {

namespace {

Failure sourceError(const StoredResource& resource, int errorNumber) {
  const bool isMissing = meansMissing(errorNumber);
  const std::string name = "the file “" + resource.originalFilename + "” ";
  return Failure(
      isMissing ? LibraryErrorCode::missingResource : LibraryErrorCode::invalidResource,
      name + (isMissing ? "is missing from the library." : "cannot be read from the library."));
}

}  // namespace

void LinuxAssetResourceManager::writeDataForAssetResource(
    std::shared_ptr<const PHAssetResource> resource, const std::string& toFile,
    const PHAssetResourceRequestOptions*,
    std::function<void(std::optional<NSError>)> completionHandler) {
  threads_.add([this, resource = std::move(resource), toFile,
                completionHandler = std::move(completionHandler)] {
    if (stop_.stop_requested()) return;
    const Done copied = copy(*resource, toFile);
    if (!stop_.stop_requested()) completionHandler(presented(copied));
  });
}

void LinuxAssetResourceManager::shutDown() {
  beginShutDown();
  threads_.shutDown();
}

Done LinuxAssetResourceManager::copy(const PHAssetResource& resource, const std::string& toFile) {
  const auto* stored = dynamic_cast<const StoredResource*>(&resource);
  if (stored == nullptr) {
    return Failure(LibraryErrorCode::invalidResource,
                   "“" + resource.originalFilename + "” is no file of this library.");
  }
  if (Done access = assets_.accessTo(*stored); !access) return access;
  const FileDescriptor source = stored->file.open();
  struct stat status = {};
  if (!source || ::fstat(source.get(), &status) != 0) return sourceError(*stored, errno);

  // Looked at first so that nothing is copied in vain; what comes meanwhile is kept all the same.
  FilePlace place = temporary_.placeOf(toFile);
  if (place.isTaken()) return savingFailure(toFile, EEXIST);
  SideFile side(std::move(place));
  if (side.error() != 0) return savingFailure(toFile, side.error());
  if (const auto failure =
          copyContent(source.get(), 0, status.st_size, side.file().get(), stop_.get_token())) {
    return failure->isOfSource ? sourceError(*stored, failure->errorNumber)
                               : savingFailure(toFile, failure->errorNumber);
  }
  if (const int error = side.moveIntoPlace(Folder::Existing::keep); error != 0) {
    return savingFailure(toFile, error);
  }
  return Null{};
}

}  // namespace quorvin
