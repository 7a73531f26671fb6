#include "media_worker/limits.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>

namespace quorvin {

namespace {

constexpr rlim_t kSecondsPerRequest = 120;
constexpr rlim_t kGibibyte = rlim_t{1} << 30;
constexpr rlim_t kLargestFile = 256 * kGibibyte;
constexpr rlim_t kDescriptors = 64;

// Also what the process itself could ask for later.
void limitForGood(__rlimit_resource resource, rlim_t bound) {
  rlimit limit{};
  if (::getrlimit(resource, &limit) != 0) return;
  bound = std::min(bound, limit.rlim_max);
  limit = {bound, bound};
  ::setrlimit(resource, &limit);
}

void dieFirst() {
  const int file = ::open("/proc/self/oom_score_adj", O_WRONLY | O_CLOEXEC);
  if (file < 0) return;
  // Where it may not be written, the system decides as it does for everybody.
  [[maybe_unused]] const ssize_t written = ::write(file, "1000", 4);
  ::close(file);
}

}  // namespace

void limitProcess([[maybe_unused]] std::int64_t memory) {
  dieFirst();
  limitForGood(RLIMIT_CORE, 0);
  limitForGood(RLIMIT_FSIZE, kLargestFile);
  limitForGood(RLIMIT_NOFILE, kDescriptors);
#ifndef QUORVIN_SANITIZED  // sanitizers reserve terabytes of addresses
  // The program and its libraries map a fourth of the least. What decoders reserve is up to twice
  // what they take in the end.
  limitForGood(RLIMIT_AS, kGibibyte + 2 * static_cast<rlim_t>(memory));
#endif
}

void giveWay() {
  constexpr int kNice = 10;
  // From the kernel's interface, which the C library does not repeat.
  constexpr int kOfProcess = 1;
  constexpr int kIdle = 3 << 13;
  ::setpriority(PRIO_PROCESS, 0, kNice);
  ::syscall(SYS_ioprio_set, kOfProcess, 0, kIdle);
}

void renewTimeLimit() {
  rusage used{};
  rlimit limit{};
  if (::getrusage(RUSAGE_SELF, &used) != 0 || ::getrlimit(RLIMIT_CPU, &limit) != 0) return;
  const auto seconds = static_cast<rlim_t>(used.ru_utime.tv_sec + used.ru_stime.tv_sec);
  limit.rlim_cur = std::min(seconds + kSecondsPerRequest, limit.rlim_max);
  ::setrlimit(RLIMIT_CPU, &limit);
}

}  // namespace quorvin
