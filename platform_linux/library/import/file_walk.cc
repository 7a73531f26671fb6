#include "platform_linux/library/import/file_walk.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <set>
#include <system_error>
#include <utility>

#include "platform_linux/library/originals/source_file.h"

namespace quorvin {
namespace {

namespace fs = std::filesystem;

using Problem = std::function<void(const std::string&, const std::string&)>;
using FolderIdentity = std::pair<dev_t, ino_t>;

class Walk {
 public:
  Walk(const LibraryFolder& library, const Problem& problem)
      : library_(library), problem_(problem) {
    struct stat status = {};
    if (::fstat(library.held->descriptor(), &status) == 0) {
      seen_.insert({status.st_dev, status.st_ino});
    }
  }

  // Folders wait on a list of their own, so that deep trees need no deep stack.
  std::vector<std::string> find(const std::vector<std::string>& paths) {
    std::vector<std::string> waiting(paths.rbegin(), paths.rend());
    while (!waiting.empty()) {
      const std::string path = std::move(waiting.back());
      waiting.pop_back();
      visit(path, waiting);
    }
    return std::move(files_);
  }

 private:
  void visit(const std::string& path, std::vector<std::string>& waiting) {
    struct stat status = {};
    if (::stat(path.c_str(), &status) != 0) {
      problem_(path, "It cannot be found: " + std::generic_category().message(errno) + ".");
      return;
    }
    if (!S_ISDIR(status.st_mode)) {
      files_.push_back(path);
      return;
    }
    if (!seen_.insert({status.st_dev, status.st_ino}).second) return;
    if (folderLiesIn(library_, path)) {
      problem_(path, Failure(LibraryErrorCode::invalidResource, kLiesInTheLibrary).sentence());
      return;
    }
    std::vector<std::string> entries;
    std::error_code error;
    for (fs::directory_iterator entry(path, error), end; !error && entry != end;
         entry.increment(error)) {
      entries.push_back(entry->path().string());
    }
    if (error) problem_(path, "The folder cannot be read: " + error.message() + ".");
    // The list is taken from its end.
    std::sort(entries.rbegin(), entries.rend());
    waiting.insert(waiting.end(), entries.begin(), entries.end());
  }

  const LibraryFolder& library_;
  const Problem& problem_;
  std::set<FolderIdentity> seen_;
  std::vector<std::string> files_;
};

}  // namespace

std::vector<std::string> findFiles(const std::vector<std::string>& paths,
                                   const LibraryFolder& library, const Problem& problem) {
  return Walk(library, problem).find(paths);
}

}  // namespace quorvin
