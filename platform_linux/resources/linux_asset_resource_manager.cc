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
  auto use = temporary_.inUse().begin(toFile);
  // Looked at now: what comes meanwhile is another copy's, and whichever ends last stays.
  const bool isTaken = !use.mayReplace && temporary_.placeOf(toFile).isTaken();
  threads_.add([this, resource = std::move(resource), toFile, isTaken, hold = std::move(use.hold),
                completionHandler = std::move(completionHandler)] {
    if (stop_.stop_requested()) return;
    const Done copied = copy(*resource, toFile, isTaken);
    if (!stop_.stop_requested()) completionHandler(presented(copied));
  });
}

void LinuxAssetResourceManager::shutDown() {
  beginShutDown();
  threads_.shutDown();
}

Done LinuxAssetResourceManager::copy(const PHAssetResource& resource, const std::string& toFile,
                                     bool isTaken) {
  const auto* stored = dynamic_cast<const StoredResource*>(&resource);
  if (stored == nullptr) {
    return Failure(LibraryErrorCode::invalidResource,
                   "“" + resource.originalFilename + "” is no file of this library.");
  }
  if (Done access = assets_.accessTo(*stored); !access) return access;
  const FileDescriptor source = stored->file.open();
  struct stat status = {};
  if (!source || ::fstat(source.get(), &status) != 0) return sourceError(*stored, errno);

  if (isTaken) return savingFailure(toFile, EEXIST);
  SideFile side(temporary_.placeOf(toFile));
  if (side.error() != 0) return savingFailure(toFile, side.error());
  if (const auto failure =
          copyContent(source.get(), 0, status.st_size, side.file().get(), stop_.get_token())) {
    return failure->isOfSource ? sourceError(*stored, failure->errorNumber)
                               : savingFailure(toFile, failure->errorNumber);
  }
  if (const int error = side.moveIntoPlace(); error != 0) {
    return savingFailure(toFile, error);
  }
  return Null{};
}

}  // namespace quorvin
