#include "platform_linux/library/inbox/folder_watch.h"

#include <sys/inotify.h>
#include <unistd.h>

#include <array>
#include <cstdint>

namespace quorvin {
namespace {

constexpr std::uint32_t kHeard = IN_CREATE | IN_MODIFY | IN_CLOSE_WRITE | IN_ATTRIB |
                                 IN_MOVED_FROM | IN_MOVED_TO | IN_DELETE | IN_DELETE_SELF |
                                 IN_MOVE_SELF | IN_ONLYDIR | IN_EXCL_UNLINK;

FolderEvent::Kind kindOfEvent(std::uint32_t mask) {
  using Kind = FolderEvent::Kind;
  if ((mask & (IN_DELETE_SELF | IN_MOVE_SELF | IN_UNMOUNT)) != 0) return Kind::watchGone;
  const bool isFolder = (mask & IN_ISDIR) != 0;
  if ((mask & (IN_DELETE | IN_MOVED_FROM)) != 0) return isFolder ? Kind::folderGone : Kind::gone;
  if (isFolder) return Kind::folderCame;
  if ((mask & IN_MODIFY) != 0) return Kind::writing;
  return (mask & IN_CLOSE_WRITE) != 0 ? Kind::written : Kind::came;
}

}  // namespace

FolderWatch::FolderWatch() : inotify_(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {}

bool FolderWatch::add(const std::string& path, int folder) {
  // The folder itself, whatever stands at its path by now.
  const std::string way = "/proc/self/fd/" + std::to_string(folder);
  const int watch = ::inotify_add_watch(inotify_.get(), way.c_str(), kHeard);
  if (watch < 0) return false;
  paths_[watch] = path;
  return true;
}

void FolderWatch::forget(const std::string& path) {
  const std::string prefix = path.ends_with('/') ? path : path + "/";
  std::erase_if(paths_, [&](const auto& each) {
    if (each.second != path && !each.second.starts_with(prefix)) return false;
    ::inotify_rm_watch(inotify_.get(), each.first);
    return true;
  });
}

void FolderWatch::forgetAll() {
  *this = FolderWatch();
}

std::vector<FolderEvent> FolderWatch::read() {
  std::vector<FolderEvent> heard;
  alignas(inotify_event) std::array<char, 65536> events;
  const ssize_t size = ::read(inotify_.get(), events.data(), events.size());
  for (const char* next = events.data(); next < events.data() + size;) {
    const auto* event = reinterpret_cast<const inotify_event*>(next);
    next += sizeof(inotify_event) + event->len;
    if ((event->mask & IN_Q_OVERFLOW) != 0) {
      heard.push_back({FolderEvent::Kind::lost, ""});
      continue;
    }
    const auto watch = paths_.find(event->wd);
    if (watch == paths_.end()) continue;
    if ((event->mask & IN_IGNORED) != 0) {
      paths_.erase(watch);
      continue;
    }
    std::string path = watch->second;
    if (event->len > 0) path += (path.ends_with('/') ? "" : "/") + std::string(event->name);
    const FolderEvent::Kind kind = kindOfEvent(event->mask);
    // Of a folder's own attributes nothing is wanted.
    if (event->len == 0 && kind != FolderEvent::Kind::watchGone) continue;
    heard.push_back({kind, std::move(path)});
  }
  return heard;
}

}  // namespace quorvin
