// The kernel's program for each architecture, run by libpcap's interpreter of the same language:
// what it says can be seen on any machine, for a call that no process there could make.
#include "media_worker/sandbox/system_call_rules.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <pcap/bpf.h>
#include <sched.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <ostream>
#include <set>
#include <string>
#include <vector>

#include "testing/platform/emulation.h"

namespace quorvin {
namespace {

using Arguments = std::array<std::uint64_t, 6>;

constexpr std::uint32_t kAllowed = SECCOMP_RET_ALLOW;
constexpr std::uint32_t kRefused = SECCOMP_RET_TRAP;
constexpr std::uint32_t kEnded = SECCOMP_RET_KILL_PROCESS;
constexpr std::uint32_t failsWith(std::uint32_t error) {
  return SECCOMP_RET_ERRNO | error;
}

struct Architecture {
  std::uint32_t token;
  const char* name;
};

void PrintTo(const Architecture& architecture, std::ostream* out) {
  *out << architecture.name;
}

std::vector<bpf_insn> programFor(std::uint32_t architecture) {
  // What every kernel since 4.14 knows, libseccomp cannot find out there.
  if (isEmulated()) {
    EXPECT_EQ(::seccomp_api_set(3), 0);
  }
  const int memory = ::memfd_create("rules", MFD_CLOEXEC);
  EXPECT_EQ(SystemCallRules(architecture).writeTo(memory), 0);
  const off_t size = ::lseek(memory, 0, SEEK_END);
  std::vector<bpf_insn> program(static_cast<std::size_t>(size) / sizeof(bpf_insn));
  static_assert(sizeof(bpf_insn) == sizeof(sock_filter));
  EXPECT_EQ(::pread(memory, program.data(), static_cast<std::size_t>(size), 0), size);
  ::close(memory);
  EXPECT_TRUE(::bpf_validate(program.data(), static_cast<int>(program.size())));
  return program;
}

class SystemCallRulesFor : public testing::TestWithParam<Architecture> {
 protected:
  int numberOf(const char* call) const {
    return ::seccomp_syscall_resolve_name_arch(GetParam().token, call);
  }
  // The interpreter is made for packets, whose words it reads as of the other byte order.
  std::uint32_t verdict(std::uint32_t architecture, int number, const Arguments& arguments) const {
    std::vector<std::uint32_t> words{static_cast<std::uint32_t>(number), architecture, 0, 0};
    for (const std::uint64_t each : arguments) {
      words.push_back(static_cast<std::uint32_t>(each));
      words.push_back(static_cast<std::uint32_t>(each >> 32));
    }
    for (std::uint32_t& word : words) word = __builtin_bswap32(word);
    const auto size = static_cast<unsigned>(words.size() * sizeof(words[0]));
    EXPECT_EQ(size, sizeof(seccomp_data));
    return ::bpf_filter(program_.data(), reinterpret_cast<const unsigned char*>(words.data()), size,
                        size);
  }
  std::uint32_t verdict(const char* call, const Arguments& arguments = {}) const {
    const int number = numberOf(call);
    EXPECT_GE(number, 0) << call;
    return verdict(GetParam().token, number, arguments);
  }

  const std::vector<bpf_insn> program_ = programFor(GetParam().token);
};

INSTANTIATE_TEST_SUITE_P(Architectures, SystemCallRulesFor,
                         testing::Values(Architecture{SCMP_ARCH_X86_64, "x86_64"},
                                         Architecture{SCMP_ARCH_AARCH64, "arm64"}),
                         [](const auto& each) { return std::string(each.param.name); });

TEST_P(SystemCallRulesFor, EndWhatOnlyAnIntruderDoes) {
  for (const char* call : {"execve", "execveat", "socket", "connect", "bind", "listen", "accept",
                           "accept4", "ptrace", "process_vm_readv", "process_vm_writev",
                           "pidfd_getfd", "io_uring_setup", "bpf", "userfaultfd", "keyctl"}) {
    EXPECT_EQ(verdict(call), kEnded) << call;
  }
}

TEST_P(SystemCallRulesFor, EndWhoOpensAFileForWritingAndRefuseOthers) {
  for (const std::uint64_t flags :
       {O_WRONLY, O_RDWR, O_CREAT, O_TRUNC, O_RDWR | O_CREAT | O_CLOEXEC, O_WRONLY | O_APPEND}) {
    EXPECT_EQ(verdict("openat", {0, 0, flags}), kEnded) << flags;
  }
  EXPECT_EQ(verdict("openat", {0, 0, O_RDONLY}), kRefused);
  EXPECT_EQ(verdict("openat", {0, 0, O_RDONLY | O_CLOEXEC}), kRefused);
  EXPECT_EQ(verdict("openat2"), kRefused);
}

TEST_P(SystemCallRulesFor, RefuseWhatIsNotOnTheList) {
  for (const char* call : {"unlinkat",
                           "renameat2",
                           "mkdirat",
                           "linkat",
                           "symlinkat",
                           "fchmodat",
                           "fchownat",
                           "truncate",
                           "kill",
                           "setuid",
                           "capset",
                           "chroot",
                           "mount",
                           "unshare",
                           "setns",
                           "dup3",
                           "ioctl",
                           "sendto",
                           "sendmmsg",
                           "recvfrom",
                           "pipe2",
                           "seccomp",
                           "setrlimit",
                           "init_module",
                           "reboot",
                           "shmat",
                           "wait4",
                           "ppoll",
                           "tkill",
                           "rt_sigqueueinfo",
                           "memfd_secret",
                           "name_to_handle_at",
                           "open_by_handle_at",
                           "perf_event_open",
                           "process_madvise",
                           "remap_file_pages",
                           "pkey_mprotect",
                           "personality"}) {
    EXPECT_EQ(verdict(call), kRefused) << call;
  }
}

TEST_P(SystemCallRulesFor, GiveNoMemoryThatCanBeRun) {
  for (const char* call : {"mmap", "mprotect"}) {
    EXPECT_EQ(verdict(call, {0, 4096, PROT_READ | PROT_WRITE}), kAllowed) << call;
    EXPECT_EQ(verdict(call, {0, 4096, PROT_NONE}), kAllowed) << call;
    EXPECT_EQ(verdict(call, {0, 4096, PROT_READ | PROT_EXEC}), failsWith(EPERM)) << call;
    EXPECT_EQ(verdict(call, {0, 4096, PROT_EXEC}), failsWith(EPERM)) << call;
    EXPECT_EQ(verdict(call, {0, 4096, PROT_READ | PROT_WRITE | PROT_EXEC}), failsWith(EPERM));
  }
}

TEST_P(SystemCallRulesFor, StartThreadsAndNoProcesses) {
  constexpr std::uint64_t kThread = CLONE_VM | CLONE_FS | CLONE_FILES | CLONE_SIGHAND |
                                    CLONE_THREAD | CLONE_SYSVSEM | CLONE_SETTLS |
                                    CLONE_PARENT_SETTID | CLONE_CHILD_CLEARTID;
  EXPECT_EQ(verdict("clone", {kThread}), kAllowed);
  EXPECT_EQ(verdict("clone", {SIGCHLD}), kRefused);
  EXPECT_EQ(verdict("clone", {CLONE_VM | CLONE_VFORK | SIGCHLD}), kRefused);
  EXPECT_EQ(verdict("clone", {CLONE_NEWUSER | SIGCHLD, CLONE_THREAD}), kRefused);
  EXPECT_EQ(verdict("clone3"), failsWith(ENOSYS));
}

TEST_P(SystemCallRulesFor, AllowPartsOfCalls) {
  const auto self = static_cast<std::uint64_t>(::getpid());
  EXPECT_EQ(verdict("prctl", {PR_SET_NAME}), kAllowed);
  for (const std::uint64_t option : {PR_SET_DUMPABLE, PR_SET_SECCOMP, PR_SET_MM, PR_CAPBSET_DROP}) {
    EXPECT_EQ(verdict("prctl", {option}), kRefused) << option;
  }
  EXPECT_EQ(verdict("tgkill", {self, self, SIGABRT}), kAllowed);
  EXPECT_EQ(verdict("tgkill", {self + 1, self, SIGABRT}), kRefused);
  EXPECT_EQ(verdict("prlimit64", {0, RLIMIT_CPU, 1000, 0}), kAllowed);
  EXPECT_EQ(verdict("prlimit64", {0, RLIMIT_AS, 0, 1000}), kAllowed);
  EXPECT_EQ(verdict("prlimit64", {0, RLIMIT_AS, 1000, 0}), kRefused);
  EXPECT_EQ(verdict("prlimit64", {1, RLIMIT_CPU, 1000, 0}), kRefused);
  EXPECT_EQ(verdict("fcntl", {3, F_ADD_SEALS}), kAllowed);
  EXPECT_EQ(verdict("fcntl", {3, F_DUPFD_CLOEXEC}), kAllowed);
  for (const std::uint64_t command : {F_SETFL, F_SETOWN, F_SETSIG, F_SETLEASE, F_NOTIFY, F_SETLK}) {
    EXPECT_EQ(verdict("fcntl", {3, command}), kRefused) << command;
  }
}

TEST_P(SystemCallRulesFor, LetNamesLeadNowhere) {
  EXPECT_EQ(verdict("newfstatat", {3, 0, 0, AT_EMPTY_PATH}), kAllowed);
  EXPECT_EQ(verdict("newfstatat", {3, 0, 0, 0}), failsWith(ENOENT));
  EXPECT_EQ(verdict("newfstatat", {3, 0, 0, AT_SYMLINK_NOFOLLOW}), failsWith(ENOENT));
  for (const char* call : {"readlinkat", "faccessat", "faccessat2", "statx"}) {
    EXPECT_EQ(verdict(call), failsWith(ENOENT)) << call;
  }
}

// Each call that there is, with arguments of nothing: those that are always allowed, and those that
// such arguments ask nothing with.
TEST_P(SystemCallRulesFor, AllowNothingElse) {
  const std::set<std::string> always = {"brk",
                                        "clock_gettime",
                                        "clock_nanosleep",
                                        "close",
                                        "dup",
                                        "exit",
                                        "exit_group",
                                        "fcntl",
                                        "fstat",
                                        "ftruncate",
                                        "futex",
                                        "getcwd",
                                        "getpid",
                                        "getrandom",
                                        "getrusage",
                                        "gettid",
                                        "gettimeofday",
                                        "lseek",
                                        "madvise",
                                        "memfd_create",
                                        "mmap",
                                        "mprotect",
                                        "mremap",
                                        "munmap",
                                        "pread64",
                                        "prlimit64",
                                        "pwrite64",
                                        "read",
                                        "recvmsg",
                                        "restart_syscall",
                                        "rseq",
                                        "rt_sigaction",
                                        "rt_sigprocmask",
                                        "rt_sigreturn",
                                        "sched_getaffinity",
                                        "sched_yield",
                                        "sendmsg",
                                        "set_robust_list",
                                        "sysinfo",
                                        "write",
                                        "writev"};
  constexpr int kNumbers = 1024;
  std::set<std::string> allowed;
  for (int number = 0; number < kNumbers; ++number) {
    if (verdict(GetParam().token, number, {}) != kAllowed) continue;
    const std::unique_ptr<char, void (*)(void*)> name(
        ::seccomp_syscall_resolve_num_arch(GetParam().token, number), std::free);
    allowed.insert(name ? name.get() : std::to_string(number));
  }
  EXPECT_EQ(allowed, always);
}

TEST_P(SystemCallRulesFor, EndCallsOfAnotherArchitecture) {
  for (const std::uint32_t other : std::initializer_list<std::uint32_t>{
           SCMP_ARCH_X86_64, SCMP_ARCH_X86, SCMP_ARCH_AARCH64, SCMP_ARCH_ARM, SCMP_ARCH_RISCV64}) {
    if (other == GetParam().token) continue;
    for (const int number : {0, numberOf("read"), numberOf("exit_group")}) {
      EXPECT_EQ(verdict(other, number, {}), kEnded) << other;
    }
  }
}

// Calls that newer architectures never had.
class SystemCallRulesOfX86 : public SystemCallRulesFor {};

INSTANTIATE_TEST_SUITE_P(Architectures, SystemCallRulesOfX86,
                         testing::Values(Architecture{SCMP_ARCH_X86_64, "x86_64"}));

TEST_P(SystemCallRulesOfX86, TreatOldCallsAsTheirNewOnes) {
  for (const std::uint64_t flags : {O_WRONLY, O_RDWR | O_CREAT, O_TRUNC}) {
    EXPECT_EQ(verdict("open", {0, flags}), kEnded) << flags;
  }
  EXPECT_EQ(verdict("open", {0, O_RDONLY}), kRefused);
  EXPECT_EQ(verdict("creat"), kEnded);
  for (const char* call : {"access", "readlink"}) {
    EXPECT_EQ(verdict(call), failsWith(ENOENT)) << call;
  }
  for (const char* call : {"stat", "lstat", "fork", "vfork", "unlink", "rename", "pipe", "poll"}) {
    EXPECT_EQ(verdict(call), kRefused) << call;
  }
  constexpr int kX32 = 0x40000000;
  EXPECT_EQ(verdict(GetParam().token, kX32 | numberOf("read"), {}), kEnded);
}

TEST(SystemCallRules, AreThoseOfThisArchitectureByItsName) {
  const auto bytes = [](std::uint32_t architecture) {
    const auto program = programFor(architecture);
    const auto* first = reinterpret_cast<const char*>(program.data());
    return std::string(first, first + program.size() * sizeof(bpf_insn));
  };
  EXPECT_EQ(bytes(SCMP_ARCH_NATIVE), bytes(::seccomp_arch_native()));
}

}  // namespace
}  // namespace quorvin
