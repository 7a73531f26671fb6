#include "platform_linux/library/import/file_walk.h"

#include <dirent.h>
#include <fcntl.h>
#include <strings.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <memory>
#include <set>
#include <string_view>
#include <system_error>
#include <tuple>
#include <utility>

#include "platform_linux/library/originals/source_file.h"
#include "platform_linux/library/values/families.h"
#include "posix/file_descriptor.h"

namespace quorvin {
namespace {

using FolderIdentity = std::pair<dev_t, ino_t>;

std::string wordsOf(int errorNumber) {
  return std::generic_category().message(errorNumber);
}

using OpenFolder = std::shared_ptr<DIR>;

// So many folders, one in the other, are held open until all in them is searched.
constexpr std::size_t kFoldersHeld = 32;

constexpr std::array<std::string_view, 5> kFoldersOfSystems = {
    "@eaDir", "$RECYCLE.BIN", "System Volume Information", "#recycle", "lost+found"};
constexpr std::array<std::string_view, 2> kFilesOfSystems = {"Thumbs.db", "desktop.ini"};

bool areSameLetters(std::string_view one, std::string_view other) {
  return one.size() == other.size() && ::strncasecmp(one.data(), other.data(), one.size()) == 0;
}

// Folders are found beneath the one that was opened before them: who renames one that is above them
// meanwhile hides nothing from the search. The paths of files are those of the search. A file that
// is no longer there when its turn comes is refused then; it cannot be held open, for there may be
// a million of them.
class Walk {
 public:
  Walk(const LibraryFolder& library, const SearchListener& listener)
      : library_(library), listener_(listener) {}

  // Folders wait on a list of their own, so that deep trees need no deep stack.
  std::vector<FoundFile> find(const std::vector<std::string>& paths) {
    for (auto path = paths.rbegin(); path != paths.rend(); ++path) {
      waiting_.push_back(entryAt(AT_FDCWD, path->c_str(), *path));
      waiting_.back().isNamed = waiting_.back().file.isApart = true;
    }
    while (!waiting_.empty() && !listener_.stop.stop_requested()) {
      Entry entry = std::move(waiting_.back());
      waiting_.pop_back();
      visit(std::move(entry));
    }
    return std::move(files_);
  }

 private:
  struct Entry {
    FoundFile file;
    std::string family;
    bool isNamed = false;
    bool isFolder = false;
    int errorNumber = 0;
    OpenFolder parent;      ///< by which a folder is opened; null where its path is what is known
    std::size_t depth = 0;  ///< folders above it, up to the one that was named
  };

  static Entry entryAt(int folder, const char* name, std::string path) {
    Entry entry{.file = {.path = std::move(path), .state = {}}};
    struct stat status = {};
    if (::fstatat(folder, name, &status, 0) != 0) {
      entry.errorNumber = errno;
    } else {
      entry.file.state = stateOf(status);
      entry.isFolder = S_ISDIR(status.st_mode);
    }
    return entry;
  }

  void visit(Entry entry) {
    if (entry.errorNumber != 0) {
      listener_.problem(entry.file.path, "It cannot be found: " + wordsOf(entry.errorNumber) + ".");
    } else if (entry.isFolder) {
      search(entry);
    } else {
      files_.push_back(std::move(entry.file));
    }
  }

  void search(const Entry& entry) {
    const std::string& path = entry.file.path;
    const OpenFolder folder = open(entry);
    struct stat status = {};
    if (folder == nullptr || ::fstat(::dirfd(folder.get()), &status) != 0) {
      listener_.problem(path, "The folder cannot be read: " + wordsOf(errno) + ".");
      return;
    }
    if (folderLiesIn(library_, ::dirfd(folder.get()))) {
      refuseLibrary(entry);
      return;
    }
    if (!seen_.insert({status.st_dev, status.st_ino}).second) return;
    if (listener_.entering) listener_.entering(path, ::dirfd(folder.get()));
    const std::size_t before = waiting_.size();
    if (const int error = appendEntries(folder, entry); error != 0) {
      listener_.problem(path, "The folder cannot be read: " + wordsOf(error) + ".");
    }
    // The list is taken from its end.
    std::sort(waiting_.begin() + static_cast<std::ptrdiff_t>(before), waiting_.end(),
              [](const Entry& one, const Entry& other) {
                return std::tie(one.family, one.file.path) >
                       std::tie(other.family, other.file.path);
              });
    listener_.found(files_.size());
  }

  void refuseLibrary(const Entry& entry) {
    if (!entry.isNamed) {
      listener_.passedOver(entry.file.path);
      return;
    }
    const Failure failure(LibraryErrorCode::invalidResource, kLiesInTheLibrary);
    listener_.problem(entry.file.path, failure.sentence());
  }

  static OpenFolder open(const Entry& entry) {
    constexpr int kList = O_RDONLY | O_DIRECTORY | O_CLOEXEC;
    const std::string& path = entry.file.path;
    FileDescriptor folder(entry.parent == nullptr ? ::open(path.c_str(), kList)
                                                  : ::openat(::dirfd(entry.parent.get()),
                                                             nameOfSource(path).data(), kList));
    DIR* const opened = folder ? ::fdopendir(folder.get()) : nullptr;
    if (opened == nullptr) return nullptr;
    folder.release();
    return {opened, ::closedir};
  }

  int appendEntries(const OpenFolder& folder, const Entry& above) {
    const std::string& path = above.file.path;
    const std::string prefix = path.ends_with('/') ? path : path + "/";
    for (;;) {
      errno = 0;
      const dirent* found = ::readdir(folder.get());
      if (found == nullptr) return errno;
      const std::string_view name = found->d_name;
      if (name == "." || name == "..") continue;
      Entry entry = entryAt(::dirfd(folder.get()), found->d_name, prefix + found->d_name);
      if (entry.errorNumber == ENOENT && !isLink(::dirfd(folder.get()), found->d_name)) {
        // Removed while the folder was read, or only for a moment.
        entry = entryAt(::dirfd(folder.get()), found->d_name, prefix + found->d_name);
        if (entry.errorNumber == ENOENT) continue;
      }
      if (isPassedOver(name, entry.isFolder)) {
        listener_.passedOver(entry.file.path);
        continue;
      }
      entry.file.isApart = found->d_type == DT_LNK || found->d_type == DT_UNKNOWN;
      entry.depth = above.depth + 1;
      entry.family = familyByName(found->d_name);
      if (entry.isFolder && entry.depth <= kFoldersHeld) entry.parent = folder;
      waiting_.push_back(std::move(entry));
    }
  }

  static bool isLink(int folder, const char* name) {
    struct stat status = {};
    return ::fstatat(folder, name, &status, AT_SYMLINK_NOFOLLOW) == 0 && S_ISLNK(status.st_mode);
  }

  const LibraryFolder& library_;
  const SearchListener& listener_;
  std::set<FolderIdentity> seen_;
  std::vector<Entry> waiting_;
  std::vector<FoundFile> files_;
};

}  // namespace

std::vector<FoundFile> findFiles(const std::vector<std::string>& paths,
                                 const LibraryFolder& library, const SearchListener& listener) {
  return Walk(library, listener).find(paths);
}

bool isPassedOver(std::string_view name, bool isFolder) {
  const auto isIt = [name](std::string_view other) { return areSameLetters(name, other); };
  if (name.starts_with('.')) return true;
  return isFolder ? std::ranges::any_of(kFoldersOfSystems, isIt)
                  : std::ranges::any_of(kFilesOfSystems, isIt);
}

}  // namespace quorvin
