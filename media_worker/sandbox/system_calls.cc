// Calls that are not on the list come to a signal handler, which makes them fail and notes them, so
// that a library's new habit can be named instead of guessed at. The handler grants nothing.
#include "media_worker/sandbox/system_calls.h"

#include <seccomp.h>
#include <signal.h>
#include <ucontext.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "media_worker/sandbox/sandbox.h"
#include "media_worker/sandbox/system_call_rules.h"

namespace quorvin {

namespace {

constexpr std::size_t kKnownCalls = 1024;  ///< more than any architecture numbers
std::array<std::atomic<bool>, kKnownCalls> refused;

void refuse(int, siginfo_t* info, void* context) {
  const auto number = static_cast<std::size_t>(info->si_syscall);
  if (number < refused.size()) refused[number] = true;
  auto& registers = static_cast<ucontext_t*>(context)->uc_mcontext;
#if defined(__x86_64__)
  registers.gregs[REG_RAX] = -EPERM;
#elif defined(__aarch64__)
  registers.regs[0] = static_cast<unsigned long long>(-EPERM);
#else
#error "where does this architecture return what a system call gives?"
#endif
}

}  // namespace

int allowFewSystemCalls() {
  struct sigaction noting = {};
  noting.sa_sigaction = refuse;
  noting.sa_flags = SA_SIGINFO | SA_NODEFER;
  if (::sigaction(SIGSYS, &noting, nullptr) != 0) return errno;
  return SystemCallRules(SCMP_ARCH_NATIVE).load();
}

std::vector<std::string> refusedSystemCalls() {
  std::vector<std::string> names;
  for (std::size_t i = 0; i < refused.size(); ++i) {
    if (!refused[i]) continue;
    const std::unique_ptr<char, void (*)(void*)> name(
        ::seccomp_syscall_resolve_num_arch(SCMP_ARCH_NATIVE, static_cast<int>(i)), std::free);
    names.push_back(name ? name.get() : "call " + std::to_string(i));
  }
  return names;
}

}  // namespace quorvin
