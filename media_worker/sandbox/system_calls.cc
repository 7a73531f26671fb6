// Calls that are not on the list come to a signal handler, which makes them fail and notes them, so
// that a library's new habit can be named instead of guessed at. The handler grants nothing.
#include "media_worker/sandbox/system_calls.h"

#include <fcntl.h>
#include <sched.h>
#include <seccomp.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <ucontext.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

#include "media_worker/sandbox/sandbox.h"

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

/// The rules, as far as every one before could be added.
class Rules {
 public:
  Rules() : filter_(::seccomp_init(SCMP_ACT_TRAP), ::seccomp_release) {
    if (!filter_) error_ = ENOMEM;
  }

  void add(std::uint32_t action, int call, std::initializer_list<scmp_arg_cmp> when = {}) {
    if (error_ != 0) return;
    const int added = ::seccomp_rule_add_array(filter_.get(), action, call,
                                               static_cast<unsigned>(when.size()), when.begin());
    // A call that this architecture never had needs no rule.
    if (added != 0 && added != -EDOM) error_ = -added;
  }
  void allow(std::initializer_list<int> calls) {
    for (const int call : calls) add(SCMP_ACT_ALLOW, call);
  }
  void endProcessAt(std::initializer_list<int> calls) {
    for (const int call : calls) add(SCMP_ACT_KILL_PROCESS, call);
  }
  /// 0, or an error number.
  int load() { return error_ != 0 ? error_ : -::seccomp_load(filter_.get()); }

 private:
  std::unique_ptr<void, void (*)(scmp_filter_ctx)> filter_;
  int error_ = 0;
};

scmp_arg_cmp equals(unsigned argument, scmp_datum_t value) {
  return {argument, SCMP_CMP_EQ, value, 0};
}

void allowComputing(Rules& rules) {
  rules.allow({SCMP_SYS(read), SCMP_SYS(write), SCMP_SYS(writev), SCMP_SYS(pread64),
               SCMP_SYS(pwrite64), SCMP_SYS(lseek), SCMP_SYS(close), SCMP_SYS(dup), SCMP_SYS(fstat),
               SCMP_SYS(ftruncate), SCMP_SYS(memfd_create), SCMP_SYS(recvmsg), SCMP_SYS(sendmsg)});
  rules.allow({SCMP_SYS(mremap), SCMP_SYS(munmap), SCMP_SYS(brk), SCMP_SYS(madvise)});
  rules.allow({SCMP_SYS(futex), SCMP_SYS(set_robust_list), SCMP_SYS(rseq), SCMP_SYS(rt_sigprocmask),
               SCMP_SYS(rt_sigaction), SCMP_SYS(rt_sigreturn), SCMP_SYS(exit), SCMP_SYS(exit_group),
               SCMP_SYS(restart_syscall), SCMP_SYS(gettid), SCMP_SYS(getpid)});
  rules.allow({SCMP_SYS(getrandom), SCMP_SYS(getrusage), SCMP_SYS(sched_getaffinity),
               SCMP_SYS(sched_yield), SCMP_SYS(sysinfo), SCMP_SYS(clock_gettime),
               SCMP_SYS(gettimeofday), SCMP_SYS(clock_nanosleep)});
}

// Calls that do something harmless with these arguments only.
void allowInPart(Rules& rules) {
  // Never memory that can be run.
  for (const int call : {SCMP_SYS(mmap), SCMP_SYS(mprotect)}) {
    rules.add(SCMP_ACT_ALLOW, call, {SCMP_A2(SCMP_CMP_MASKED_EQ, PROT_EXEC, 0)});
    rules.add(SCMP_ACT_ERRNO(EPERM), call, {SCMP_A2(SCMP_CMP_MASKED_EQ, PROT_EXEC, PROT_EXEC)});
  }
  // Threads, no processes. The flags of `clone3` lie in memory, where no rule can look; told that
  // there is no such call, the C library takes `clone`.
  rules.add(SCMP_ACT_ALLOW, SCMP_SYS(clone),
            {SCMP_A0(SCMP_CMP_MASKED_EQ, CLONE_THREAD, CLONE_THREAD)});
  rules.add(SCMP_ACT_ERRNO(ENOSYS), SCMP_SYS(clone3));
  rules.add(SCMP_ACT_ALLOW, SCMP_SYS(tgkill), {equals(0, static_cast<scmp_datum_t>(::getpid()))});
  rules.add(SCMP_ACT_ALLOW, SCMP_SYS(prctl), {equals(0, PR_SET_NAME)});
  // Its own limits: the processor's time is renewed with each request; the others are read.
  rules.add(SCMP_ACT_ALLOW, SCMP_SYS(prlimit64), {equals(0, 0), equals(1, RLIMIT_CPU)});
  rules.add(SCMP_ACT_ALLOW, SCMP_SYS(prlimit64), {equals(0, 0), equals(2, 0)});
  // Names lead nowhere, neither to a settings file that Exiv2 looks for beside the program and in
  // the current folder.
  rules.add(SCMP_ACT_ALLOW, SCMP_SYS(getcwd));
  rules.add(SCMP_ACT_ALLOW, SCMP_SYS(newfstatat),
            {SCMP_A3(SCMP_CMP_MASKED_EQ, AT_EMPTY_PATH, AT_EMPTY_PATH)});
  rules.add(SCMP_ACT_ERRNO(ENOENT), SCMP_SYS(newfstatat),
            {SCMP_A3(SCMP_CMP_MASKED_EQ, AT_EMPTY_PATH, 0)});
  for (const int call : {SCMP_SYS(readlink), SCMP_SYS(readlinkat), SCMP_SYS(access),
                         SCMP_SYS(faccessat), SCMP_SYS(faccessat2), SCMP_SYS(statx)}) {
    rules.add(SCMP_ACT_ERRNO(ENOENT), call);
  }
  // Nothing that has signals sent.
  for (const int command :
       {F_DUPFD, F_DUPFD_CLOEXEC, F_GETFD, F_SETFD, F_GETFL, F_ADD_SEALS, F_GET_SEALS}) {
    rules.add(SCMP_ACT_ALLOW, SCMP_SYS(fcntl), {equals(1, static_cast<scmp_datum_t>(command))});
  }
}

// No library does these for a picture or a video.
void endAtAttacks(Rules& rules) {
  rules.endProcessAt({SCMP_SYS(execve), SCMP_SYS(execveat), SCMP_SYS(socket), SCMP_SYS(connect),
                      SCMP_SYS(bind), SCMP_SYS(listen), SCMP_SYS(accept), SCMP_SYS(accept4),
                      SCMP_SYS(ptrace), SCMP_SYS(process_vm_readv), SCMP_SYS(process_vm_writev),
                      SCMP_SYS(pidfd_getfd), SCMP_SYS(creat), SCMP_SYS(io_uring_setup),
                      SCMP_SYS(bpf), SCMP_SYS(userfaultfd), SCMP_SYS(keyctl)});
  const auto endAtFlags = [&rules](int call, unsigned argument) {
    for (const scmp_datum_t flag : {O_WRONLY, O_RDWR, O_CREAT, O_TRUNC}) {
      rules.add(SCMP_ACT_KILL_PROCESS, call,
                {scmp_arg_cmp{argument, SCMP_CMP_MASKED_EQ, flag, flag}});
    }
  };
  endAtFlags(SCMP_SYS(open), 1);
  endAtFlags(SCMP_SYS(openat), 2);
}

}  // namespace

int allowFewSystemCalls() {
  struct sigaction noting = {};
  noting.sa_sigaction = refuse;
  noting.sa_flags = SA_SIGINFO | SA_NODEFER;
  if (::sigaction(SIGSYS, &noting, nullptr) != 0) return errno;
  Rules rules;
  allowComputing(rules);
  allowInPart(rules);
  endAtAttacks(rules);
  return rules.load();
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
