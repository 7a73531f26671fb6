// What somebody could do who has taken the worker over: tried in children that shut themselves in.
#include "media_worker/sandbox/sandbox.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/ptrace.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <string>
#include <thread>

#include "media_worker/limits.h"
#include "media_worker/sandbox/file_access.h"
#include "testing/platform/emulation.h"
#include "testing/platform/testing_folder.h"

namespace quorvin {
namespace {

constexpr int kEndedAtOnce = 1000 + SIGSYS;

// What comes of the attempt in a child: 0, the error number that it returns, or 1000 and the signal
// that ended it.
template <class Attempt>
int outcome(void (*shutIn)(), Attempt attempt) {
  const pid_t child = ::fork();
  if (child == 0) {
    shutIn();
    ::_exit(attempt());
  }
  int status = 0;
  EXPECT_EQ(::waitpid(child, &status, 0), child);
  return WIFSIGNALED(status) ? 1000 + WTERMSIG(status) : WEXITSTATUS(status);
}

void wholly() {
  enterSandbox();
}

template <class Attempt>
int inside(Attempt attempt) {
  return outcome(wholly, attempt);
}

// What a call to the system comes to, as an error number.
int errorOf(long result) {
  return result >= 0 ? 0 : errno;
}

class Sandbox : public testing::Test {
  void SetUp() override {
#ifdef QUORVIN_SANITIZED
    GTEST_SKIP() << "sanitizers need what the sandbox forbids";
#endif
    if (isEmulated()) GTEST_SKIP() << "qemu-user filters no calls and has no Landlock";
  }
};

TEST(SandboxLayers, GiveUpRightsOnEveryArchitecture) {
#ifdef QUORVIN_SANITIZED
  GTEST_SKIP() << "sanitizers need what the sandbox forbids";
#endif
  const int missing = outcome([] {},
                              [] {
                                const auto layers = enterSandbox();
                                if (layers.size() != 4) return 4;
                                return (layers[0].whyAbsent.empty() ? 0 : 1) +
                                       (layers[1].whyAbsent.empty() ? 0 : 2);
                              });
  EXPECT_EQ(missing, 0);
}

TEST_F(Sandbox, HasAllLayersHere) {
  const int missing = outcome([] {},
                              [] {
                                int count = 0;
                                for (const SandboxLayer& each : enterSandbox()) {
                                  if (!each.whyAbsent.empty()) ++count;
                                }
                                return count;
                              });
  EXPECT_EQ(missing, 0);
}

TEST_F(Sandbox, OpensNoFile) {
  EXPECT_EQ(inside([] { return errorOf(::open("/etc/passwd", O_RDONLY)); }), EPERM);
  EXPECT_EQ(inside([] { return errorOf(::syscall(SYS_openat2, AT_FDCWD, "/etc/passwd", 0, 0)); }),
            EPERM);
  EXPECT_EQ(inside([] { return errorOf(::unlink("/tmp/nothing")); }), EPERM);
  EXPECT_EQ(inside([] { return errorOf(::rename("/tmp/nothing", "/tmp/other")); }), EPERM);
  EXPECT_EQ(inside([] { return errorOf(::mkdir("/tmp/nothing", 0700)); }), EPERM);
}

TEST_F(Sandbox, SeesNoFile) {
  struct stat status = {};
  EXPECT_EQ(inside([&] { return errorOf(::stat("/etc/passwd", &status)); }), ENOENT);
  EXPECT_EQ(inside([&] { return errorOf(::fstat(STDERR_FILENO, &status)); }), 0);
  EXPECT_EQ(inside([] { return errorOf(::access("/etc/passwd", F_OK)); }), ENOENT);
  std::array<char, 100> target;
  EXPECT_EQ(
      inside([&] { return errorOf(::readlink("/proc/self/exe", target.data(), target.size())); }),
      ENOENT);
}

TEST_F(Sandbox, EndsWhoOpensAFileForWriting) {
  const TemporaryFolder folder;
  const std::string path = folder / "planted";
  for (const int flags : {O_WRONLY | O_CREAT, O_RDWR | O_CREAT, O_RDONLY | O_CREAT, O_WRONLY}) {
    EXPECT_EQ(inside([&] { return errorOf(::open(path.c_str(), flags, 0600)); }), kEndedAtOnce);
  }
  EXPECT_EQ(::access(path.c_str(), F_OK), -1);
}

TEST_F(Sandbox, EndsWhoMakesASocket) {
  EXPECT_EQ(inside([] { return errorOf(::socket(AF_INET, SOCK_STREAM, 0)); }), kEndedAtOnce);
  EXPECT_EQ(inside([] { return errorOf(::socket(AF_UNIX, SOCK_STREAM, 0)); }), kEndedAtOnce);
  EXPECT_EQ(inside([] { return errorOf(::connect(3, nullptr, 0)); }), kEndedAtOnce);
}

TEST_F(Sandbox, EndsWhoRunsAProgram) {
  EXPECT_EQ(inside([] {
              char* const none[] = {nullptr};
              return errorOf(::execve("/bin/true", none, none));
            }),
            kEndedAtOnce);
}

TEST_F(Sandbox, MakesNoProcesses) {
  EXPECT_EQ(inside([] { return errorOf(::fork()); }), EPERM);
  EXPECT_EQ(inside([] { return errorOf(::syscall(SYS_clone3, nullptr, 0)); }), ENOSYS);
}

TEST_F(Sandbox, ReachesNoOtherProcess) {
  EXPECT_EQ(inside([] { return errorOf(::ptrace(PTRACE_ATTACH, ::getppid(), 0, 0)); }),
            kEndedAtOnce);
  EXPECT_EQ(inside([] {
              const iovec none{nullptr, 0};
              return errorOf(::process_vm_readv(1, &none, 1, &none, 1, 0));
            }),
            kEndedAtOnce);
  EXPECT_EQ(inside([] { return errorOf(::kill(1, 0)); }), EPERM);
  EXPECT_EQ(inside([] { return errorOf(::syscall(SYS_tgkill, 1, 1, 0)); }), EPERM);
}

TEST_F(Sandbox, HasNoMemoryThatCanBeRun) {
  EXPECT_EQ(inside([] {
              void* memory = ::mmap(nullptr, 4096, PROT_READ | PROT_WRITE | PROT_EXEC,
                                    MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
              return memory == MAP_FAILED ? errno : 0;
            }),
            EPERM);
  EXPECT_EQ(inside([] {
              void* memory =
                  ::mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
              return errorOf(::mprotect(memory, 4096, PROT_READ | PROT_EXEC));
            }),
            EPERM);
}

TEST_F(Sandbox, RaisesNoLimitAndGainsNoRight) {
  const auto limited = [](auto attempt) {
    return outcome(
        [] {
          limitProcess();
          enterSandbox();
        },
        attempt);
  };
  const auto raise = [](__rlimit_resource resource) {
    const rlimit all{RLIM_INFINITY, RLIM_INFINITY};
    return errorOf(::setrlimit(resource, &all));
  };
  EXPECT_EQ(limited([raise] { return raise(RLIMIT_AS); }), EPERM);
  EXPECT_EQ(limited([raise] { return raise(RLIMIT_NOFILE); }), EPERM);
  EXPECT_EQ(limited([raise] { return raise(RLIMIT_FSIZE); }), EPERM);
  EXPECT_EQ(limited([raise] { return raise(RLIMIT_CORE); }), EPERM);
  EXPECT_EQ(inside([] { return errorOf(::setuid(0)); }), EPERM);
}

TEST_F(Sandbox, ForbidsFilesByNameInASecondWay) {
  const auto fileAccess = [](auto attempt) { return outcome([] { forbidFileAccess(); }, attempt); };
  const TemporaryFolder folder;
  const std::string path = folder / "planted";
  EXPECT_EQ(fileAccess([] { return errorOf(::open("/etc/passwd", O_RDONLY)); }), EACCES);
  EXPECT_EQ(fileAccess([&] { return errorOf(::open(path.c_str(), O_RDWR | O_CREAT, 0600)); }),
            EACCES);
}

TEST_F(Sandbox, NamesWhatItRefused) {
  EXPECT_EQ(inside([] {
              ::open("/etc/passwd", O_RDONLY);
              ::unlink("/tmp/nothing");
              const auto names = refusedSystemCalls();
              const bool named =
                  names.size() == 2 && std::ranges::count(names, std::string("openat")) == 1 &&
                  std::ranges::any_of(
                      names, [](const std::string& name) { return name.starts_with("unlink"); });
              return named ? 0 : 1;
            }),
            0);
}

TEST_F(Sandbox, LetsThreadsAndMemoryThrough) {
  EXPECT_EQ(inside([] {
              int sum = 0;
              std::array<std::thread, 8> threads;
              for (std::thread& each : threads)
                each = std::thread([] { std::string(1 << 20, 'x'); });
              for (std::thread& each : threads) each.join();
              const int memory = ::memfd_create("pixels", MFD_ALLOW_SEALING);
              if (memory < 0 || ::ftruncate(memory, 4096) != 0) ++sum;
              if (::fcntl(memory, F_ADD_SEALS, F_SEAL_SHRINK) != 0) ++sum;
              if (!refusedSystemCalls().empty()) ++sum;
              return sum;
            }),
            0);
}

}  // namespace
}  // namespace quorvin
