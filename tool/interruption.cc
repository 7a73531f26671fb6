#include "tool/interruption.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include "platform_linux/dispatch/background_thread.h"

namespace quorvin {
namespace {

sigset_t interruptions() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGINT);
  sigaddset(&signals, SIGTERM);
  return signals;
}

}  // namespace

Interruption::Interruption() {
  const sigset_t signals = interruptions();
  pthread_sigmask(SIG_BLOCK, &signals, &before_);
  signals_ = FileDescriptor(signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK));
  end_ = FileDescriptor(eventfd(0, EFD_CLOEXEC));
  if (signals_ && end_) waiting_ = startThread("quorvin-signals", [this] { wait(); });
  // Where there is too little of something, a signal ends the program as ever.
  if (!waiting_.joinable()) pthread_sigmask(SIG_SETMASK, &before_, nullptr);
}

Interruption::~Interruption() {
  if (!waiting_.joinable()) return;
  eventfd_write(end_.get(), 1);
  waiting_.join();
  pthread_sigmask(SIG_SETMASK, &before_, nullptr);
}

void Interruption::wait() {
  pollfd either[] = {{signals_.get(), POLLIN, 0}, {end_.get(), POLLIN, 0}};
  while ((either[1].revents & POLLIN) == 0) {
    poll(either, 2, -1);
    signalfd_siginfo came;
    if (read(signals_.get(), &came, sizeof came) != sizeof came) continue;
    if (stop_.request_stop()) continue;
    // The system's own way: whoever started the program sees by which signal it ended.
    const auto number = static_cast<int>(came.ssi_signo);
    const sigset_t signals = interruptions();
    std::signal(number, SIG_DFL);
    pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);
    raise(number);
  }
}

}  // namespace quorvin
