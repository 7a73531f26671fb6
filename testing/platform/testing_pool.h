// A pool of the testing worker, and what it is asked.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <cstddef>
#include <string_view>

#include "media_protocol/sealed_memory.h"
#include "platform_linux/media/media_worker_pool.h"
#include "posix/file_descriptor.h"

namespace quorvin {

inline MediaWorkerOptions testingPoolOptions(std::size_t size = 2) {
  return {QUORVIN_TESTING_WORKER_PROGRAM, size, std::chrono::seconds(60),
          std::chrono::seconds(600)};
}

/// A file that holds what the testing worker is to do.
inline FileDescriptor asking(std::string_view text) {
  FileDescriptor file = makeMemoryFile(0);
  EXPECT_EQ(::write(file.get(), text.data(), text.size()), static_cast<ssize_t>(text.size()));
  return file;
}

}  // namespace quorvin
