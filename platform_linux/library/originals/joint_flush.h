// Making many files or folders durable at once.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>

#include "platform_linux/errors/failure.h"
#include "platform_linux/library/catalogue/library_folder.h"

namespace quorvin {

class WorkThreads;

/// One thread. The folder outlives it.
class JointFlush {
 public:
  explicit JointFlush(const LibraryFolder& folder);
  ~JointFlush();
  JointFlush(const JointFlush&) = delete;
  JointFlush& operator=(const JointFlush&) = delete;

  /// Makes everything durable that was written to the library's file system, by one of its files
  /// that was open before. False when that is no gain for so many, cannot be relied upon, or went
  /// wrong: then each is to be flushed.
  bool all(int file, std::size_t count);

  /// Calls `flush` for 0 to `count` - 1, several at a time where there are many, so that the device
  /// is made to write once for several of them. The first failure.
  Done each(std::size_t count, const std::function<Done(std::size_t)>& flush);

 private:
  const bool isSystemFit_;
  std::unique_ptr<WorkThreads> threads_;  ///< as soon as they are needed
};

}  // namespace quorvin
