#include "platform_linux/library/import/file_walk.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <set>
#include <string_view>
#include <system_error>
#include <utility>

#include "platform_linux/library/originals/source_file.h"

namespace quorvin {
namespace {

using FolderIdentity = std::pair<dev_t, ino_t>;

std::string wordsOf(int errorNumber) {
  return std::generic_category().message(errorNumber);
}

class Walk {
 public:
  Walk(const LibraryFolder& library, const SearchListener& listener)
      : library_(library), listener_(listener) {
    struct stat status = {};
    if (::fstat(library.held->descriptor(), &status) == 0) {
      seen_.insert({status.st_dev, status.st_ino});
    }
  }

  // Folders wait on a list of their own, so that deep trees need no deep stack.
  std::vector<FoundFile> find(const std::vector<std::string>& paths) {
    for (auto path = paths.rbegin(); path != paths.rend(); ++path) {
      waiting_.push_back(entryAt(AT_FDCWD, path->c_str(), *path, true));
    }
    while (!waiting_.empty()) {
      Entry entry = std::move(waiting_.back());
      waiting_.pop_back();
      visit(std::move(entry));
    }
    return std::move(files_);
  }

 private:
  struct Entry {
    FoundFile file;
    bool isFolder = false;
    int errorNumber = 0;
  };

  static Entry entryAt(int folder, const char* name, std::string path, bool isApart) {
    Entry entry{.file = {.path = std::move(path), .state = {}, .isApart = isApart}};
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
    const std::string& path = entry.file.path;
    if (entry.errorNumber != 0) {
      listener_.problem(path, "It cannot be found: " + wordsOf(entry.errorNumber) + ".");
    } else if (!entry.isFolder) {
      files_.push_back(std::move(entry.file));
    } else if (seen_.insert({entry.file.state.device, entry.file.state.inode}).second) {
      if (folderLiesIn(library_, path)) {
        const Failure failure(LibraryErrorCode::invalidResource, kLiesInTheLibrary);
        listener_.problem(path, failure.sentence());
        return;
      }
      list(path);
      listener_.found(files_.size());
    }
  }

  void list(const std::string& path) {
    const std::size_t before = waiting_.size();
    if (const int error = appendEntries(path); error != 0) {
      listener_.problem(path, "The folder cannot be read: " + wordsOf(error) + ".");
    }
    // The list is taken from its end.
    std::sort(waiting_.begin() + static_cast<std::ptrdiff_t>(before), waiting_.end(),
              [](const Entry& one, const Entry& other) { return one.file.path > other.file.path; });
  }

  int appendEntries(const std::string& path) {
    const std::unique_ptr<DIR, int (*)(DIR*)> folder(::opendir(path.c_str()), ::closedir);
    if (folder == nullptr) return errno;
    const std::string prefix = path.ends_with('/') ? path : path + "/";
    for (;;) {
      errno = 0;
      const dirent* entry = ::readdir(folder.get());
      if (entry == nullptr) return errno;
      const std::string_view name = entry->d_name;
      if (name == "." || name == "..") continue;
      const bool mayBeLink = entry->d_type == DT_LNK || entry->d_type == DT_UNKNOWN;
      waiting_.push_back(
          entryAt(::dirfd(folder.get()), entry->d_name, prefix + entry->d_name, mayBeLink));
    }
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

}  // namespace quorvin
