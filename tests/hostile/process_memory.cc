#include "tests/hostile/process_memory.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <fstream>
#include <string>

#include "testing/platform/testing_processes.h"

namespace quorvin {

std::int64_t ownMemory(std::string_view name) {
  std::ifstream status("/proc/self/status");
  for (std::string word; status >> word;) {
    std::int64_t kibibytes = 0;
    if (word == name && status >> kibibytes) return kibibytes * 1024;
  }
  return 0;
}

void forgetHighestMemory() {
  std::ofstream("/proc/self/clear_refs") << 5;
}

ChildrenMemory::ChildrenMemory() : thread_([this] { watch(); }) {}

ChildrenMemory::~ChildrenMemory() {
  ends_ = true;
  thread_.join();
}

void ChildrenMemory::watch() {
  const std::int64_t page = ::sysconf(_SC_PAGESIZE);
  while (!ends_) {
    std::int64_t sum = 0;
    for (const pid_t child : children()) {
      std::ifstream file("/proc/" + std::to_string(child) + "/statm");
      std::int64_t size = 0;
      std::int64_t resident = 0;
      if (file >> size >> resident) sum += resident * page;
    }
    highest_ = std::max<std::int64_t>(highest_, sum);
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
}

}  // namespace quorvin
