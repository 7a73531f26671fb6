#include "platform_linux/linux_platform.h"

#include <utility>

#include "platform_linux/device/linux_device.h"
#include "platform_linux/dispatch/linux_dispatch.h"
#include "platform_linux/files/linux_file_manager.h"
#include "platform_linux/images/linux_image_codec.h"
#include "platform_linux/images/linux_image_manager.h"
#include "platform_linux/library/changes/library_changes.h"
#include "platform_linux/library/fetch/library.h"
#include "platform_linux/library/watch/library_watcher.h"
#include "platform_linux/media/failure_memory.h"
#include "platform_linux/media/joined_media.h"
#include "platform_linux/media/media_worker_pool.h"
#include "platform_linux/media/remembering_media.h"
#include "platform_linux/previews/preview_keeper.h"
#include "platform_linux/resources/linux_asset_resource_manager.h"
#include "platform_linux/videos/linux_media_framework.h"

namespace quorvin {

/// In order of dependence: each uses only those above it, and goes before them.
struct LinuxPlatform::Parts {
  Parts(std::unique_ptr<LinuxDispatch> theDispatch, std::unique_ptr<Library> theLibrary,
        const LinuxPlatformOptions& options)
      : dispatch(std::move(theDispatch)),
        library(std::move(theLibrary)),
        pool({.program = options.mediaWorker, .size = MediaWorkerOptions::sizeForThisMachine()}),
        joined(pool),
        failures(options.failedFilesPath, options.mediaWorker),
        media(joined, pool, failures),
        changes(*library, media,
                {.deletionPrompt = options.deletionPrompt, .mainQueue = &dispatch->mainQueue()}),
        previews(library->catalogue(), failures, {.mediaWorker = options.mediaWorker}),
        // As many threads as workers: more would only wait for a turn.
        images(*library, media, MediaWorkerOptions::sizeForThisMachine(), &previews),
        codec(media),
        device(options.systemVersion),
        files(options.temporaryPath),
        resources(*library, files.temporary()),
        videos(media, files.temporary()),
        platform{*dispatch, *library, changes, *library, resources,
                 &images,   codec,    videos,  files,    device} {}

  const std::unique_ptr<LinuxDispatch> dispatch;
  const std::unique_ptr<Library> library;
  MediaWorkerPool pool;
  JoinedMedia joined;
  FailureMemory failures;
  RememberingMedia media;
  LibraryChanges changes;
  PreviewKeeper previews;
  LinuxImageManager images;
  LinuxImageCodec codec;
  LinuxDevice device;
  LinuxFileManager files;
  LinuxAssetResourceManager resources;
  LinuxMediaFramework videos;
  Platform platform;
};

Result<std::unique_ptr<LinuxPlatform>> LinuxPlatform::open(LinuxPlatformOptions options) {
  auto dispatch = LinuxDispatch::create();
  if (!dispatch) return dispatch.error();
  auto library = Library::open({.path = options.libraryPath,
                                .authorization = options.authorization,
                                .prompt = std::move(options.prompt),
                                .mainQueue = &(*dispatch)->mainQueue()});
  if (!library) return library.error();
  return std::unique_ptr<LinuxPlatform>(new LinuxPlatform(
      std::make_unique<Parts>(*std::move(dispatch), *std::move(library), options)));
}

LinuxPlatform::LinuxPlatform(std::unique_ptr<Parts> parts) : parts_(std::move(parts)) {}

LinuxPlatform::~LinuxPlatform() {
  shutDown();
}

Platform& LinuxPlatform::platform() {
  return parts_->platform;
}

MainQueue& LinuxPlatform::mainQueue() {
  return parts_->dispatch->mainQueue();
}

Result<std::unique_ptr<LibraryWatch>> LinuxPlatform::watchLibrary(std::function<void()> ready) {
  const Library& library = *parts_->library;
  return LibraryWatcher::start(library.catalogue(), library.authorization(), std::move(ready));
}

void LinuxPlatform::shutDown() {
  // Replies would only reach somebody who no longer runs the queue.
  mainQueue().close();
  // Without workers nothing that still runs can take long: it ends in an error and not in waiting.
  // Exports learn first that they are cancelled, for else they would be failures.
  parts_->changes.beginShutDown();
  parts_->images.beginShutDown();
  parts_->resources.beginShutDown();
  parts_->videos.beginShutDown();
  parts_->pool.shutDown();
  // Handlers of images may still start exports and copies, so these come after them.
  parts_->images.shutDown();
  parts_->videos.shutDown();
  parts_->resources.shutDown();
  parts_->changes.shutDown();
  parts_->previews.shutDown();
  parts_->dispatch->globalQueue(QualityOfService::background).shutDown();
}

}  // namespace quorvin
