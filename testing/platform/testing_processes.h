// What tests of child processes need to know about them.
#pragma once

#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include "posix/file_descriptor.h"

extern "C" {  // which the header of glibc 2.36 leaves out
#include <sys/pidfd.h>
}

namespace quorvin {

/// The processes that this one has started and not reaped.
inline std::vector<pid_t> children() {
  std::vector<pid_t> found;
  for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
    std::ifstream list(task.path() / "children");
    found.insert(found.end(), std::istream_iterator<pid_t>(list), {});
  }
  return found;
}

inline std::size_t openDescriptors() {
  const std::filesystem::directory_iterator listed("/proc/self/fd");
  return static_cast<std::size_t>(std::distance(listed, {}));
}

/// Kills a child and waits until it is dead, though not until it is reaped.
inline void killAndWait(pid_t child) {
  const FileDescriptor process(::pidfd_open(child, 0));
  ASSERT_TRUE(process);
  ::kill(child, SIGKILL);
  pollfd watched{process.get(), POLLIN, 0};
  ASSERT_EQ(::poll(&watched, 1, -1), 1);
}

}  // namespace quorvin
