#include "platform_linux/library/watch/library_watcher.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>

#include <array>
#include <cerrno>
#include <new>
#include <string>
#include <string_view>
#include <utility>

#include "platform_linux/dispatch/background_thread.h"
#include "platform_linux/errors/system_failure.h"

namespace quorvin {
namespace {

using Clock = std::chrono::steady_clock;

// The lock file, and the catalogue's own files, which an outside program closes in its end.
constexpr std::string_view kWatchedNames = "library.";

Failure failure(int errorNumber) {
  return systemFailure("the library cannot be watched", errorNumber);
}

// True when the descriptor told of a watched file, or of more than it could hold.
bool readEvents(int files) {
  alignas(inotify_event) std::array<char, 4096> events;
  bool isWatched = false;
  for (;;) {
    const ssize_t size = ::read(files, events.data(), events.size());
    if (size <= 0) return isWatched;
    for (const char* next = events.data(); next < events.data() + size;) {
      const auto* event = reinterpret_cast<const inotify_event*>(next);
      const std::string_view name(event->len > 0 ? event->name : "");
      isWatched = isWatched || name.starts_with(kWatchedNames) || (event->mask & IN_Q_OVERFLOW);
      next += sizeof(inotify_event) + event->len;
    }
  }
}

}  // namespace

Result<std::unique_ptr<LibraryWatch>> LibraryWatcher::start(
    const std::shared_ptr<Catalogue>& catalogue,
    const std::shared_ptr<Authorization>& authorization, std::function<void()> ready) {
  FileDescriptor files(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
  if (!files) return failure(errno);
  FileDescriptor wake(::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC));
  if (!wake) return failure(errno);
  // Before the journal's present end is read: a commit in between is noticed.
  if (::inotify_add_watch(files.get(), catalogue->folder().root.c_str(), IN_CLOSE | IN_ONLYDIR) <
      0) {
    return failure(errno);
  }
  auto reader = ChangeReader::open(*catalogue, authorization);
  if (!reader) return reader.error();
  std::unique_ptr<LibraryWatcher> watcher(
      new LibraryWatcher(std::move(files), std::move(wake), *std::move(reader), std::move(ready)));
  watcher->thread_ = startThread("quorvin-watch", [self = watcher.get()] { self->watch(); });
  if (!watcher->thread_.joinable()) return failure(EAGAIN);
  return std::unique_ptr<LibraryWatch>(std::move(watcher));
}

LibraryWatcher::LibraryWatcher(FileDescriptor files, FileDescriptor wake,
                               std::unique_ptr<ChangeReader> reader, std::function<void()> ready)
    : files_(std::move(files)),
      wake_(std::move(wake)),
      reader_(std::move(reader)),
      ready_(std::move(ready)) {}

LibraryWatcher::~LibraryWatcher() {
  {
    NSLockHolder hold(lock_);
    stopped_ = true;
  }
  eventfd_write(wake_.get(), 1);
  if (thread_.joinable()) thread_.join();
}

std::optional<LibraryChange> LibraryWatcher::take() {
  std::optional<LibraryChange> change;
  {
    NSLockHolder hold(lock_);
    change.swap(change_);
  }
  eventfd_write(wake_.get(), 1);
  return change;
}

void LibraryWatcher::watch() {
  bool isDue = false;  // something may have been committed since the last look
  Clock::time_point earliest = Clock::now();
  while (!isStopped()) {
    int timeoutMs = -1;
    if (isDue && mayRead()) {
      const auto pause = std::chrono::ceil<std::chrono::milliseconds>(earliest - Clock::now());
      if (pause.count() <= 0) {
        isDue = !read();
        earliest = Clock::now() + kPause;
        continue;
      }
      timeoutMs = static_cast<int>(pause.count());
    }
    std::array<pollfd, 2> watched = {{{files_.get(), POLLIN, 0}, {wake_.get(), POLLIN, 0}}};
    ::poll(watched.data(), watched.size(), timeoutMs);
    eventfd_t count;
    eventfd_read(wake_.get(), &count);
    isDue = readEvents(files_.get()) || isDue;
  }
}

bool LibraryWatcher::read() {
  try {
    auto change = reader_->read();
    if (!change) return true;
    // Whoever is told at once waits for the lock, and then finds the change.
    NSLockHolder hold(lock_);
    ready_();
    change_ = std::move(change);
    return true;
  } catch (const std::bad_alloc&) {
    reader_->loseTrack();
    return false;
  }
}

bool LibraryWatcher::mayRead() {
  NSLockHolder hold(lock_);
  return !change_;
}

bool LibraryWatcher::isStopped() {
  NSLockHolder hold(lock_);
  return stopped_;
}

}  // namespace quorvin
