// A process that has no descriptor to spare.
#pragma once

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <utility>
#include <vector>

#include "posix/file_descriptor.h"

namespace quorvin {

/// While it lives, this process has those descriptors that are open now, and can open no other.
class NoMoreDescriptors {
 public:
  NoMoreDescriptors() {
    ::getrlimit(RLIMIT_NOFILE, &before_);
    rlim_t highest = 0;
    for (rlim_t fd = 0; fd < before_.rlim_cur; ++fd) {
      if (::fcntl(static_cast<int>(fd), F_GETFD) >= 0) highest = fd;
    }
    const rlimit tight{highest + 1, before_.rlim_max};
    ::setrlimit(RLIMIT_NOFILE, &tight);
    for (;;) {
      FileDescriptor filler(::dup(STDERR_FILENO));
      if (!filler) return;
      fillers_.push_back(std::move(filler));
    }
  }
  ~NoMoreDescriptors() { ::setrlimit(RLIMIT_NOFILE, &before_); }
  NoMoreDescriptors(const NoMoreDescriptors&) = delete;
  NoMoreDescriptors& operator=(const NoMoreDescriptors&) = delete;

 private:
  rlimit before_{};
  std::vector<FileDescriptor> fillers_;
};

}  // namespace quorvin
