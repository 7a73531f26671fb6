// Each folder is watched before it is listed, so that nothing that comes meanwhile is missed; what
// is found twice is one arrival. Where more happened than the system could tell of, everything is
// listed anew. What was imported or refused is remembered by its state, so that listing costs no
// import.
#include "platform_linux/library/inbox/inbox.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/stat.h>
#include <sys/vfs.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <map>
#include <optional>
#include <set>
#include <tuple>
#include <unordered_set>
#include <utility>

#include "platform_linux/files/file_system_reach.h"
#include "platform_linux/library/catalogue/library_folder.h"
#include "platform_linux/library/import/file_walk.h"
#include "platform_linux/library/inbox/folder_watch.h"
#include "platform_linux/library/originals/source_file.h"
#include "platform_linux/library/values/families.h"

namespace quorvin {
namespace {

using Clock = std::chrono::steady_clock;
using Time = Clock::time_point;

std::optional<SourceState> stateOfFile(const std::string& path) {
  struct stat status = {};
  if (::stat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) return std::nullopt;
  return stateOf(status);
}

bool leadsToFolder(const std::string& path) {
  struct stat status = {};
  return ::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

bool leadsSomewhere(const std::string& path) {
  struct stat status = {};
  return ::lstat(path.c_str(), &status) == 0;
}

// Somebody has the file open for writing, as the system says where it can: then it gives nobody
// else a lease for reading it.
bool isOpenForWriting(const std::string& path) {
  const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  // Who opens it for writing while the lease lasts, for some microseconds, would end this process.
  if (!file || ::fcntl(file.get(), F_SETSIG, SIGURG) != 0) return false;
  if (::fcntl(file.get(), F_SETLEASE, F_RDLCK) != 0) return errno == EAGAIN;
  ::fcntl(file.get(), F_SETLEASE, F_UNLCK);
  return false;
}

class Inbox {
 public:
  Inbox(const InboxOptions& options, InboxOwner& owner)
      : options_(options), owner_(owner), stopped_(::eventfd(0, EFD_CLOEXEC)) {
    for (const std::string& folder : options.folders) roots_[folder] = std::nullopt;
  }

  void run() {
    const std::stop_callback wake(options_.stop, [this] { ::eventfd_write(stopped_.get(), 1); });
    searchAll();
    owner_.isWatching();
    while (!options_.stop.stop_requested()) {
      const Time now = Clock::now();
      if (now >= nextLook_) lookAfterRoots();
      if (nextSearch_ && now >= *nextSearch_) searchAll();
      gather(now);
      if (!batch_.empty() && now >= nextTry_) import();
      wait();
    }
  }

 private:
  using Identity = std::pair<dev_t, ino_t>;

  static std::optional<Identity> identityOfFolder(const std::string& path) {
    struct stat status = {};
    if (::stat(path.c_str(), &status) != 0 || !S_ISDIR(status.st_mode)) return std::nullopt;
    return Identity(status.st_dev, status.st_ino);
  }

  void searchAll() {
    const Time begin = Clock::now();
    nextSearch_.reset();
    watch_.forgetAll();
    arrivals_.doubtWriting();
    std::unordered_set<std::string> found;
    for (auto& [path, identity] : roots_) {
      identity = identityOfFolder(path);
      search(path, &found);
    }
    std::erase_if(handled_, [&found](const auto& each) { return !found.contains(each.first); });
    nextLook_ = Clock::now() + options_.lookAfter;
    if (!hearsAll_) searchLater(begin);
  }

  // Not so often that there is time for nothing else.
  void searchLater(Time begin) {
    constexpr int kShare = 10;
    const Time now = Clock::now();
    nextSearch_ = now + std::max<Clock::duration>(options_.search, (now - begin) * kShare);
  }

  void lookAfterRoots() {
    nextLook_ = Clock::now() + options_.lookAfter;
    for (auto& [path, identity] : roots_) {
      const auto present = identityOfFolder(path);
      if (present == identity) continue;
      identity = present;
      leave(path);
      if (present) forgetProblemsOf(path);
      search(path, nullptr);
    }
  }

  void forgetProblemsOf(const std::string& folder) {
    std::erase_if(told_, [&](const auto& each) { return each.starts_with(folder + ": "); });
  }

  void leave(const std::string& folder) {
    watch_.forget(folder);
    arrivals_.forgetBeneath(folder);
    const std::string prefix = folder + "/";
    const auto from = handled_.lower_bound(prefix);
    auto to = from;
    while (to != handled_.end() && to->first.starts_with(prefix)) ++to;
    handled_.erase(from, to);
  }

  void search(const std::string& path, std::unordered_set<std::string>* found) {
    const auto library = libraryFolderAt(options_.library);
    if (!library) return tell(library.error().sentence());
    const Time now = Clock::now();
    const SearchListener listener{
        .problem =
            [this](const std::string& place, const std::string& reason) {
              // What was renamed or removed meanwhile is told of by an event.
              if (roots_.contains(place) || leadsSomewhere(place)) tell(place + ": " + reason);
            },
        .passedOver = [](const std::string&) {},
        .found = [](std::size_t) {},
        .entering = [this](const std::string& place, int folder) { watch(place, folder); },
        .stop = options_.stop};
    for (const FoundFile& file : findFiles({path}, *library, listener)) {
      noteFile(file.path, now);
      if (found != nullptr) found->insert(file.path);
    }
  }

  void watch(const std::string& path, int folder) {
    struct statfs system = {};
    if (::fstatfs(folder, &system) == 0 &&
        reachOf(static_cast<std::uint32_t>(system.f_type)) == Reach::network) {
      doNotHearAll(
          "Some of the folders lie on a network, where nothing tells of new files; they are looked "
          "for now and then.");
    }
    if (watch_.add(path, folder)) return;
    doNotHearAll(
        "The system does not watch so many folders; new files are looked for now and then. "
        "fs.inotify.max_user_watches says how many it watches.");
  }

  void doNotHearAll(const std::string& why) {
    hearsAll_ = false;
    if (!nextSearch_) searchLater(Clock::now());
    tell(why);
  }

  // What was handled in this state is not given again.
  void noteFile(const std::string& path, Time now) {
    if (!isHandled(path)) arrivals_.note(path, now);
  }

  bool isHandled(const std::string& path) const {
    const auto handled = handled_.find(path);
    return handled != handled_.end() && stateOfFile(path) == handled->second;
  }

  void handle(const FolderEvent& event) {
    using Kind = FolderEvent::Kind;
    const std::string& path = event.path;
    const bool isFolder = event.kind == Kind::folderCame || event.kind == Kind::folderGone;
    if (event.kind == Kind::watchGone) {
      nextLook_ = Clock::now();
      return;
    }
    if (isPassedOver(nameOfSource(path), isFolder)) return;
    switch (event.kind) {
      case Kind::came:
        if (leadsToFolder(path)) {
          searchFound(path);
        } else {
          noteFile(path, Clock::now());
        }
        break;
      case Kind::writing:
        arrivals_.noteWriting(path);
        break;
      case Kind::written:
        if (isHandled(path)) {
          arrivals_.forget(path);
        } else {
          arrivals_.noteWritten(path, Clock::now());
        }
        break;
      case Kind::gone:
        arrivals_.forget(path);
        handled_.erase(path);
        break;
      case Kind::folderCame:
        searchFound(path);
        break;
      case Kind::folderGone:
        leave(path);
        break;
      case Kind::watchGone:
      case Kind::lost:
        break;
    }
  }

  void searchFound(const std::string& folder) {
    const auto library = libraryFolderAt(options_.library);
    if (!library || !folderLiesIn(*library, folder)) search(folder, nullptr);
  }

  void gather(Time now) {
    for (const Arrival& arrival : arrivals_.take(now)) {
      if (isOpenForWriting(arrival.path)) {
        arrivals_.note(arrival.path, now);
      } else {
        batch_[arrival.path] = arrival.state;
      }
    }
  }

  void import() {
    const std::vector<std::string> files = filesOfBatch();
    const Done done = files.empty() ? Done(Null{}) : owner_.import(files);
    if (options_.stop.stop_requested()) return;
    if (!done) {
      lastFailure_ = done.error().sentence();
      tell(lastFailure_);
      pause_ = std::clamp(pause_ * 2, options_.pause, options_.longestPause);
      nextTry_ = Clock::now() + pause_;
      return;
    }
    pause_ = {};
    told_.erase(lastFailure_);
    for (const auto& [path, state] : batch_) handled_[path] = state;
    batch_.clear();
  }

  // What belongs together side by side, as a search would find it.
  std::vector<std::string> filesOfBatch() const {
    using Order = std::tuple<std::string, std::string, std::string>;
    std::vector<Order> found;
    for (const auto& [path, state] : batch_) {
      const std::string name(nameOfSource(path));
      const std::string folder = path.substr(0, path.size() - name.size());
      if (leadsSomewhere(path)) found.emplace_back(folder, familyByName(name), path);
    }
    std::ranges::sort(found);
    std::vector<std::string> files;
    files.reserve(found.size());
    for (Order& each : found) files.push_back(std::move(std::get<2>(each)));
    return files;
  }

  void tell(const std::string& sentence) {
    if (told_.insert(sentence).second) owner_.problem(sentence);
  }

  void wait() {
    Time until = nextLook_;
    if (const auto next = arrivals_.next()) until = std::min(until, *next);
    if (nextSearch_) until = std::min(until, *nextSearch_);
    if (!batch_.empty()) until = std::min(until, nextTry_);
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(until - Clock::now()).count();
    pollfd either[] = {{watch_.descriptor(), POLLIN, 0}, {stopped_.get(), POLLIN, 0}};
    if (::poll(either, 2, static_cast<int>(std::max<std::int64_t>(left, 0))) <= 0) return;
    if ((either[0].revents & POLLIN) == 0) return;
    const std::vector<FolderEvent> events = watch_.read();
    if (std::ranges::any_of(
            events, [](const FolderEvent& each) { return each.kind == FolderEvent::Kind::lost; })) {
      return searchAll();
    }
    for (const FolderEvent& event : events) handle(event);
  }

  const InboxOptions& options_;
  InboxOwner& owner_;
  const FileDescriptor stopped_;
  FolderWatch watch_;
  Arrivals arrivals_{options_.pace, stateOfFile};
  std::map<std::string, std::optional<Identity>> roots_;  ///< none where a folder is missing
  std::map<std::string, SourceState> batch_;              ///< what is to be imported next
  std::map<std::string, SourceState> handled_;            ///< imported, known or refused
  std::set<std::string> told_;
  std::string lastFailure_;  ///< of an import
  bool hearsAll_ = true;
  Time nextLook_;
  std::optional<Time> nextSearch_;
  Time nextTry_;
  std::chrono::milliseconds pause_{};
};

}  // namespace

void watchFolders(const InboxOptions& options, InboxOwner& owner) {
  Inbox(options, owner).run();
}

}  // namespace quorvin
