#include "media_worker/sandbox/system_call_rules.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>

namespace quorvin {

namespace {

scmp_arg_cmp equals(unsigned argument, scmp_datum_t value) {
  return {argument, SCMP_CMP_EQ, value, 0};
}

void allowComputing(SystemCallRules& rules) {
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
void allowInPart(SystemCallRules& rules) {
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
void endAtAttacks(SystemCallRules& rules) {
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

SystemCallRules::SystemCallRules(std::uint32_t architecture)
    : filter_(::seccomp_init(SCMP_ACT_TRAP), ::seccomp_release) {
  if (!filter_) {
    error_ = ENOMEM;
    return;
  }
  takeArchitecture(architecture);
  allowComputing(*this);
  allowInPart(*this);
  endAtAttacks(*this);
}

void SystemCallRules::takeArchitecture(std::uint32_t architecture) {
  note(::seccomp_attr_set(filter_.get(), SCMP_FLTATR_ACT_BADARCH, SCMP_ACT_KILL_PROCESS));
  if (architecture == SCMP_ARCH_NATIVE || architecture == ::seccomp_arch_native()) return;
  note(::seccomp_arch_add(filter_.get(), architecture));
  note(::seccomp_arch_remove(filter_.get(), SCMP_ARCH_NATIVE));
}

void SystemCallRules::note(int result) {
  if (error_ == 0) error_ = -result;
}

void SystemCallRules::add(std::uint32_t action, int call,
                          std::initializer_list<scmp_arg_cmp> when) {
  if (error_ != 0) return;
  const int added = ::seccomp_rule_add_array(filter_.get(), action, call,
                                             static_cast<unsigned>(when.size()), when.begin());
  // A call that this architecture never had needs no rule.
  if (added != -EDOM) note(added);
}

void SystemCallRules::allow(std::initializer_list<int> calls) {
  for (const int call : calls) add(SCMP_ACT_ALLOW, call);
}

void SystemCallRules::endProcessAt(std::initializer_list<int> calls) {
  for (const int call : calls) add(SCMP_ACT_KILL_PROCESS, call);
}

int SystemCallRules::load() {
  if (error_ == 0) note(::seccomp_load(filter_.get()));
  return error_;
}

int SystemCallRules::writeTo(int descriptor) const {
  return error_ != 0 ? error_ : -::seccomp_export_bpf(filter_.get(), descriptor);
}

}  // namespace quorvin
