// The workers that a command looks at files with.
#pragma once

#include <cstddef>
#include <string>

#include "host/locations.h"
#include "platform_linux/media/failure_memory.h"
#include "platform_linux/media/media_worker_pool.h"
#include "platform_linux/media/remembering_media.h"

namespace quorvin {

/// As many as this machine takes; files that workers died on are set aside, as everywhere.
class MediaWorkers {
 public:
  MediaService& media() { return media_; }
  std::size_t count() const { return count_; }

 private:
  const std::string program_ = mediaWorkerProgram();
  const std::size_t count_ = MediaWorkerOptions::sizeForThisMachine();
  MediaWorkerPool pool_{{.program = program_, .size = count_}};
  FailureMemory failures_{failedFilesPath(), program_};
  RememberingMedia media_{pool_, pool_, failures_};
};

}  // namespace quorvin
