// The stored files that stand for an asset.
#pragma once

#include <memory>

#include "core/platform/images.h"
#include "core/platform/value.h"
#include "platform_linux/errors/failure.h"
#include "platform_linux/library/fetch/asset_files.h"
#include "posix/file_descriptor.h"

namespace quorvin {

/// The first resource of the type; null when there is none.
std::shared_ptr<const StoredResource> firstOfType(const StoredResources& resources,
                                                  PHAssetResourceType type);

/// The resource that shows the photo or video in this version: the edited one for the current
/// version where there is one, else the original. An error when there is none.
Result<std::shared_ptr<const StoredResource>> resourceOfVersion(
    const PHAsset& asset, const StoredResources& resources, PHImageRequestOptionsVersion version);

/// A media service's error about the resource's file, for a person: the file's name, then why.
Failure mediaError(const StoredResource& resource, const Failure& error);

/// Opens the resource's file for reading.
Result<FileDescriptor> openResource(const StoredResource& resource);

/// All bytes of the resource's file. They are copied: a mapping would end the process when the file
/// shrinks or its disk fails.
Result<ByteBuffer> readResource(const StoredResource& resource);

}  // namespace quorvin
