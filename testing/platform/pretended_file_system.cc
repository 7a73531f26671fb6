// Stands before the C library: the program that links this calls these functions.
#include "testing/platform/pretended_file_system.h"

#include <limits.h>
#include <sys/syscall.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <array>
#include <functional>
#include <string>

namespace quorvin {
namespace {

// Functions that replace those of C have nowhere else to look.
struct {
  std::string folder;  ///< with a slash behind it; none: nothing is pretended
  std::uint32_t type = 0;
  const std::function<void()>* onCopy = nullptr;
} pretence;

bool isPretended(int fd) {
  std::array<char, PATH_MAX> path;
  const std::string link = "/proc/self/fd/" + std::to_string(fd);
  const ssize_t size = ::readlink(link.c_str(), path.data(), path.size());
  return !pretence.folder.empty() && size > 0 &&
         (std::string(path.data(), static_cast<std::size_t>(size)) + "/")
             .starts_with(pretence.folder);
}

}  // namespace

PretendedFileSystem::PretendedFileSystem(const std::string& folder, std::uint32_t type) {
  pretence = {folder + "/", type, &onCopy};
}

PretendedFileSystem::~PretendedFileSystem() {
  pretence = {};
}

}  // namespace quorvin

extern "C" int fstatfs(int fd, struct statfs* status) noexcept {
  const auto result = static_cast<int>(::syscall(SYS_fstatfs, fd, status));
  if (result == 0 && quorvin::isPretended(fd)) status->f_type = quorvin::pretence.type;
  return result;
}

extern "C" ssize_t copy_file_range(int from, off64_t* source, int to, off64_t* target,
                                   std::size_t size, unsigned flags) {
  if (quorvin::isPretended(from) && *quorvin::pretence.onCopy) (*quorvin::pretence.onCopy)();
  return ::syscall(SYS_copy_file_range, from, source, to, target, size, flags);
}
