#include "platform_linux/library/originals/joint_flush.h"

#include <sys/statfs.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

#include "platform_linux/dispatch/pending_work.h"
#include "platform_linux/dispatch/work_threads.h"
#include "platform_linux/files/file_system_reach.h"

namespace quorvin {
namespace {

// Fewer are done sooner one by one.
constexpr std::size_t kMany = 8;
constexpr std::size_t kThreads = 4;
// What others have written waits to be flushed as well: so much of it, in kB, is bearable.
constexpr std::int64_t kMostWaiting = 768 * 1024;

bool isFlushable(int folder) {
  struct statfs system = {};
  return ::fstatfs(folder, &system) == 0 &&
         flushesAsAWhole(static_cast<std::uint32_t>(system.f_type));
}

// Before Linux 5.8 `syncfs` did not tell that something could not be written.
bool doesSystemTellErrors() {
  constexpr std::pair<int, int> kFirst = {5, 8};
  struct utsname system = {};
  std::pair<int, int> version = {0, 0};
  return ::uname(&system) == 0 &&
         std::sscanf(system.release, "%d.%d", &version.first, &version.second) == 2 &&
         version >= kFirst;
}

// Of the whole machine; false also where that is not told.
bool waitsLittle() {
  std::ifstream lines("/proc/meminfo");
  std::int64_t waiting = 0;
  int found = 0;
  for (std::string name, unit; lines >> name && found < 2;) {
    std::int64_t kilobytes = 0;
    if (!(lines >> kilobytes)) return false;
    std::getline(lines, unit);
    if (name != "Dirty:" && name != "Writeback:") continue;
    waiting += kilobytes;
    ++found;
  }
  return found == 2 && waiting <= kMostWaiting;
}

}  // namespace

JointFlush::JointFlush(const LibraryFolder& folder)
    : isSystemFit_(isFlushable(folder.held->descriptor()) && doesSystemTellErrors()) {}

JointFlush::~JointFlush() = default;

bool JointFlush::all(int file, std::size_t count) {
  return isSystemFit_ && count >= kMany && waitsLittle() && ::syncfs(file) == 0;
}

Done JointFlush::each(std::size_t count, const std::function<Done(std::size_t)>& flush) {
  std::vector<Done> outcomes(count, Done(Null{}));
  if (count < kMany) {
    for (std::size_t i = 0; i < count; ++i) outcomes[i] = flush(i);
  } else {
    if (threads_ == nullptr) threads_ = std::make_unique<WorkThreads>("quorvin-flush", kThreads);
    PendingWork pending;
    for (std::size_t i = 0; i < count; ++i) {
      // What does not get as far as the end has not been flushed.
      outcomes[i] = Failure(LibraryErrorCode::internal, "there is not enough memory.");
      pending.add(*threads_, [&outcomes, &flush, i] { outcomes[i] = flush(i); });
    }
    pending.wait();
  }
  for (const Done& outcome : outcomes) {
    if (!outcome) return outcome;
  }
  return Null{};
}

}  // namespace quorvin
