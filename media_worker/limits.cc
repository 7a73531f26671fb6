#include "media_worker/limits.h"

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>

namespace quorvin {

namespace {

constexpr rlim_t kSecondsPerRequest = 120;

}  // namespace

void limitMemory() {
#ifndef QUORVIN_SANITIZED  // sanitizers reserve terabytes of addresses
  constexpr rlim_t kGibibyte = rlim_t{1} << 30;
  const auto physical =
      static_cast<rlim_t>(::sysconf(_SC_PHYS_PAGES)) * static_cast<rlim_t>(::sysconf(_SC_PAGESIZE));
  // Half of the machine; the programs and libraries themselves map a good part of the least.
  const rlim_t bound = std::clamp(physical / 2, 2 * kGibibyte, 6 * kGibibyte);
  rlimit limit{};
  if (::getrlimit(RLIMIT_AS, &limit) != 0) return;
  limit.rlim_cur = std::min(bound, limit.rlim_max);
  ::setrlimit(RLIMIT_AS, &limit);
#endif
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
