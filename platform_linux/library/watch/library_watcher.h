// Notices commits on a library, whoever makes them.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <thread>

#include "core/platform/lock.h"
#include "platform_linux/errors/failure.h"
#include "platform_linux/library/watch/change_reader.h"
#include "platform_linux/library/watch/library_watch.h"
#include "posix/file_descriptor.h"

namespace quorvin {

/// A thread that sleeps until a writer lets go of the library's lock, which closes the lock file,
/// and then reads the journal. Any thread.
class LibraryWatcher final : public LibraryWatch {
 public:
  /// Commits that are no further apart share a change.
  static constexpr std::chrono::milliseconds kPause{100};

  /// `ready` is called on the watcher's thread whenever a change is there to be taken, on another
  /// one than that of `ready`. An error when there is no descriptor or thread to be had, or the
  /// catalogue cannot be read.
  static Result<std::unique_ptr<LibraryWatch>> start(
      const std::shared_ptr<Catalogue>& catalogue,
      const std::shared_ptr<Authorization>& authorization, std::function<void()> ready);
  /// `ready` is not called any more when it returns.
  ~LibraryWatcher() override;

  std::optional<LibraryChange> take() override;

 private:
  LibraryWatcher(FileDescriptor files, FileDescriptor wake, std::unique_ptr<ChangeReader> reader,
                 std::function<void()> ready);
  void watch();
  bool mayRead();
  /// False when memory ran out.
  bool read();
  bool isStopped();

  const FileDescriptor files_;  ///< of inotify
  const FileDescriptor wake_;   ///< an eventfd
  const std::unique_ptr<ChangeReader> reader_;
  const std::function<void()> ready_;

  NSLock lock_;
  bool stopped_ QUORVIN_GUARDED_BY(lock_) = false;
  std::optional<LibraryChange> change_ QUORVIN_GUARDED_BY(lock_);
  std::thread thread_;
};

}  // namespace quorvin
