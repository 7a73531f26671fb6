// The real platform, put together.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "core/platform/photo_library.h"
#include "core/platform/platform.h"
#include "platform_linux/errors/failure.h"

namespace quorvin {

class LibraryWatch;
class LinuxDispatch;
class MainQueue;

struct LinuxPlatformOptions {
  std::string libraryPath;    ///< absolute; a missing or empty folder becomes a new library
  std::string temporaryPath;  ///< absolute; empty: a private one of the user's
  std::optional<std::string> systemVersion;            ///< in place of the system's own
  std::optional<PHAuthorizationStatus> authorization;  ///< in place of the stored status
  /// Asks the user, on the platform thread; none leaves the status as it is. Empty: nobody to ask.
  std::function<std::optional<PHAuthorizationStatus>()> prompt;
  /// Asks the user, on the platform thread, whether so many assets may be deleted. Empty: who
  /// deletes has decided.
  std::function<bool(std::size_t assetCount)> deletionPrompt;
  std::string mediaWorker;  ///< the worker program
  /// Where it is remembered which files workers failed over; empty: nowhere.
  std::string failedFilesPath;
};

/// Dispatch queues, photo library, image manager, image codec, resource manager, media framework,
/// file manager and device of one engine.
class LinuxPlatform {
 public:
  static Result<std::unique_ptr<LinuxPlatform>> open(LinuxPlatformOptions options);
  /// Shuts down first. Not inside an item of a queue.
  ~LinuxPlatform();

  Platform& platform();
  MainQueue& mainQueue();

  /// Tells what changes in the library from now on, as `LibraryWatcher::start` does.
  Result<std::unique_ptr<LibraryWatch>> watchLibrary(std::function<void()> ready);

  /// Ends all work: what waits is dropped, what runs is cancelled or waited for. On return no
  /// handler or work item runs or can run any more, except those on this thread's own stack. The
  /// parts stay valid. Platform thread; may be called again.
  void shutDown();

 private:
  struct Parts;
  explicit LinuxPlatform(std::unique_ptr<Parts> parts);

  const std::unique_ptr<Parts> parts_;
};

}  // namespace quorvin
