#include "platform_linux/dispatch/background_thread.h"

#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

#include "posix/file_descriptor.h"

namespace quorvin {
namespace {

/// Everything but the signals that a thread's own instructions raise: those blocked, a crash
/// would bypass the process's crash handler.
sigset_t signalsOfOthers() {
  sigset_t signals;
  sigfillset(&signals);
  for (int ownFault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGSYS, SIGABRT}) {
    sigdelset(&signals, ownFault);
  }
  return signals;
}

}  // namespace

std::thread startThread(const char* name, std::function<void()> body) {
  const sigset_t blocked = signalsOfOthers();
  sigset_t before;
  pthread_sigmask(SIG_BLOCK, &blocked, &before);  // the new thread inherits the mask
  std::thread thread;
  try {
    thread = std::thread(std::move(body));
    pthread_setname_np(thread.native_handle(), name);
  } catch (const std::system_error&) {
    // The caller sees a thread that is not joinable.
  }
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  return thread;
}

void lowerPriority() {
  setpriority(PRIO_PROCESS, 0, 19);  // 0 is the calling thread alone
}

pid_t currentThreadId() {
  return static_cast<pid_t>(syscall(SYS_gettid));
}

bool isRunnable(pid_t thread) {
  const std::string path = "/proc/self/task/" + std::to_string(thread) + "/stat";
  const FileDescriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (!file) return false;
  // "number (name) state …", where a name may hold anything and has at most 15 characters.
  std::array<char, 128> start;
  const ssize_t size = read(file.get(), start.data(), start.size());
  if (size <= 0) return false;
  const std::string_view text(start.data(), static_cast<std::size_t>(size));
  const std::size_t nameEnd = text.rfind(") ");
  return nameEnd != text.npos && nameEnd + 2 < text.size() && text[nameEnd + 2] == 'R';
}

}  // namespace quorvin
