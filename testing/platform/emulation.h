// Whether the tests run on an emulator of another architecture.
#pragma once

#include <sys/prctl.h>

namespace quorvin {

/// qemu-user lets nobody ask about filters of system calls, as it has none; kernels answer.
inline bool isEmulated() {
  return ::prctl(PR_GET_SECCOMP, 0, 0, 0, 0) < 0;
}

}  // namespace quorvin
