#include "tool/progress_bar.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>

namespace quorvin {
namespace {

/// Reads a line for each step; null stands for "not started".
pid_t startDrawer(int steps, std::size_t total, const char* name) {
  const std::string size = std::to_string(total);
  const char* arguments[] = {"pv",         "--line-mode", "--size", size.c_str(),
                             "--progress", "--eta",       "--name", name,
                             "--interval", "0.2",         nullptr};
  posix_spawn_file_actions_t files;
  posix_spawn_file_actions_init(&files);
  posix_spawn_file_actions_adddup2(&files, steps, STDIN_FILENO);
  posix_spawn_file_actions_addopen(&files, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
  pid_t drawer = 0;
  const int failed =
      posix_spawnp(&drawer, "pv", &files, nullptr, const_cast<char* const*>(arguments), environ);
  posix_spawn_file_actions_destroy(&files);
  return failed == 0 ? drawer : 0;
}

}  // namespace

ProgressBar::ProgressBar(std::size_t total, const char* name) {
  if (isatty(STDERR_FILENO) == 0) return;
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return;
  const FileDescriptor read(ends[0]);
  steps_ = FileDescriptor(ends[1]);
  drawer_ = startDrawer(read.get(), total, name);
}

ProgressBar::~ProgressBar() {
  if (!isDrawn()) return;
  steps_ = FileDescriptor();
  waitpid(drawer_, nullptr, 0);
}

void ProgressBar::step() {
  // A drawer that is gone is no reason to stop; the signal for it is ignored.
  if (isDrawn() && write(steps_.get(), "\n", 1) < 0) return;
}

}  // namespace quorvin
