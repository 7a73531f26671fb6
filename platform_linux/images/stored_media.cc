#include "platform_linux/images/stored_media.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <new>
#include <string>
#include <system_error>
#include <utility>

#include "platform_linux/errors/system_failure.h"

namespace quorvin {

namespace {

Failure resourceError(LibraryErrorCode code, const StoredResource& resource,
                      std::string_view reason) {
  Failure failure(code, reason);
  failure.subject = resource.originalFilename;
  return failure;
}

Failure readError(const StoredResource& resource, int error) {
  if (meansMissing(error)) {
    return resourceError(LibraryErrorCode::missingResource, resource,
                         "the file is missing from the library.");
  }
  return resourceError(LibraryErrorCode::invalidResource, resource,
                       "the file cannot be read: " +
                           std::error_code(error, std::generic_category()).message() + ".");
}

}  // namespace

std::shared_ptr<const StoredResource> firstOfType(const StoredResources& resources,
                                                  PHAssetResourceType type) {
  const auto found =
      std::ranges::find(resources, type, [](const auto& each) { return each->type; });
  return found == resources.end() ? nullptr : *found;
}

Result<std::shared_ptr<const StoredResource>> resourceOfVersion(
    const PHAsset& asset, const StoredResources& resources, PHImageRequestOptionsVersion version) {
  const bool isImage = asset.mediaType == PHAssetMediaType::image;
  const auto edited =
      isImage ? PHAssetResourceType::fullSizePhoto : PHAssetResourceType::fullSizeVideo;
  const auto original = isImage ? PHAssetResourceType::photo : PHAssetResourceType::video;
  std::shared_ptr<const StoredResource> resource;
  if (version == PHImageRequestOptionsVersion::current) resource = firstOfType(resources, edited);
  if (!resource) resource = firstOfType(resources, original);
  if (!resource) {
    return Failure(LibraryErrorCode::missingResource,
                   "the library holds no file that shows the asset.");
  }
  return resource;
}

Failure mediaError(const StoredResource& resource, const Failure& error) {
  return resourceError(static_cast<LibraryErrorCode>(error.code), resource, error.reason);
}

Result<FileDescriptor> openResource(const StoredResource& resource) {
  FileDescriptor file = resource.file.open();
  if (!file) return readError(resource, errno);
  return file;
}

Result<ByteBuffer> readResource(const StoredResource& resource) {
  const Result<FileDescriptor> file = openResource(resource);
  if (!file) return file.error();
  struct stat status {};
  if (::fstat(file->get(), &status) != 0) return readError(resource, errno);
  const auto size = static_cast<std::size_t>(status.st_size);
  std::uint8_t* bytes = nullptr;
  auto buffer = ByteBuffer::allocate(size, bytes);
  if (!buffer) return readError(resource, ENOMEM);
  for (std::size_t done = 0; done < size;) {
    const ssize_t count = ::read(file->get(), bytes + done, size - done);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return readError(resource, errno);
    if (count == 0) return readError(resource, EIO);  // it shrank
    done += static_cast<std::size_t>(count);
  }
  return *std::move(buffer);
}

}  // namespace quorvin
