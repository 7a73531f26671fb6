#include "tool/progress_bar.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <string_view>

namespace quorvin {
namespace {

/// Reads a line for each step; null stands for "not started".
pid_t startDrawer(int steps, const char* const* arguments) {
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
  const std::string size = std::to_string(total);
  const char* arguments[] = {"pv",         "--line-mode", "--size", size.c_str(),
                             "--progress", "--eta",       "--name", name,
                             "--interval", "0.2",         nullptr};
  start(arguments);
}

ProgressBar::ProgressBar(const char* name) {
  const char* arguments[] = {"pv", "--line-mode", "--bytes", "--name", name, "--delay-start",
                             "1",  "--interval",  "0.2",     nullptr};
  start(arguments);
}

void ProgressBar::start(const char* const* arguments) {
  if (isatty(STDERR_FILENO) == 0) return;
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return;
  const FileDescriptor read(ends[0]);
  steps_ = FileDescriptor(ends[1]);
  drawer_ = startDrawer(read.get(), arguments);
}

ProgressBar::~ProgressBar() {
  if (!isDrawn()) return;
  steps_ = FileDescriptor();
  waitpid(drawer_, nullptr, 0);
}

void ProgressBar::step(std::size_t count) {
  static constexpr std::string_view kSteps = "\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n\n";
  while (isDrawn() && count > 0) {
    const ssize_t drawn = write(steps_.get(), kSteps.data(), std::min(count, kSteps.size()));
    // A drawer that is gone is no reason to stop; the signal for it is ignored.
    if (drawn <= 0) return;
    count -= static_cast<std::size_t>(drawn);
  }
}

}  // namespace quorvin
