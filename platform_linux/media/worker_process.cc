#include "platform_linux/media/worker_process.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <limits>
#include <optional>
#include <system_error>

#include "media_protocol/wire.h"

extern "C" {  // which the header of glibc 2.36 leaves out
#include <sys/pidfd.h>
}

namespace quorvin {

namespace {

/// What the child finds open, and how it treats signals. Every step's error is kept until asked.
class SpawnPlan {
 public:
  SpawnPlan(int socket, int words) {
    check(::posix_spawn_file_actions_init(&actions_));
    check(::posix_spawnattr_init(&attributes_));
    check(::posix_spawn_file_actions_adddup2(&actions_, socket, kWorkerSocketDescriptor));
    check(::posix_spawn_file_actions_addopen(&actions_, STDIN_FILENO, "/dev/null", O_RDONLY, 0));
    check(::posix_spawn_file_actions_addopen(&actions_, STDOUT_FILENO, "/dev/null", O_WRONLY, 0));
    check(::posix_spawn_file_actions_adddup2(&actions_, words, STDERR_FILENO));
    // The embedder's own descriptors may not be close-on-exec.
    check(::posix_spawn_file_actions_addclosefrom_np(&actions_, kWorkerSocketDescriptor + 1));

    sigset_t signals;
    ::sigemptyset(&signals);
    check(::posix_spawnattr_setsigmask(&attributes_, &signals));
    ::sigfillset(&signals);
    check(::posix_spawnattr_setsigdefault(&attributes_, &signals));
    // A session of its own: the terminal is the host's, and so is an interrupt typed there.
    check(::posix_spawnattr_setflags(
        &attributes_, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSID));
  }
  ~SpawnPlan() {
    ::posix_spawn_file_actions_destroy(&actions_);
    ::posix_spawnattr_destroy(&attributes_);
  }
  SpawnPlan(const SpawnPlan&) = delete;
  SpawnPlan& operator=(const SpawnPlan&) = delete;

  /// 0, or the error number.
  int run(const std::string& program, WorkerProcess::Kind kind, std::int64_t memory,
          const std::vector<std::string>& environment, pid_t& child) const {
    if (error_ != 0) return error_;
    // posix_spawn takes these as mutable for historical reasons and changes nothing.
    const std::string bytes = std::to_string(memory);
    std::vector<char*> arguments{const_cast<char*>(program.c_str())};
    if (kind == WorkerProcess::Kind::exports) arguments.push_back(const_cast<char*>(kForExports));
    if (memory > 0) arguments.push_back(const_cast<char*>(bytes.c_str()));
    arguments.push_back(nullptr);
    std::vector<char*> variables;
    variables.reserve(environment.size() + 1);
    for (const std::string& each : environment)
      variables.push_back(const_cast<char*>(each.c_str()));
    variables.push_back(nullptr);
    return ::posix_spawn(&child, program.c_str(), &actions_, &attributes_, arguments.data(),
                         variables.data());
  }

 private:
  void check(int error) {
    if (error_ == 0) error_ = error;
  }

  posix_spawn_file_actions_t actions_;
  posix_spawnattr_t attributes_;
  int error_ = 0;
};

Failure cannotStart(const std::string& program, int error) {
  return Failure(LibraryErrorCode::internal,
                 "the media worker program \"" + program + "\" cannot be started: " +
                     std::error_code(error, std::generic_category()).message() + ".");
}

/// True when the descriptor becomes readable, or its other end closed, before the deadline.
bool waitUntilReadable(int descriptor, WorkerProcess::Clock::time_point deadline) {
  for (;;) {
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(deadline - WorkerProcess::Clock::now());
    pollfd watched{descriptor, POLLIN, 0};
    const auto timeout = std::clamp<std::chrono::milliseconds::rep>(
        left.count(), 0, std::numeric_limits<int>::max());
    const int ready = ::poll(&watched, 1, static_cast<int>(timeout));
    if (ready > 0) return true;
    if (ready == 0 && WorkerProcess::Clock::now() >= deadline) return false;
    if (ready < 0 && errno != EINTR) return false;
  }
}

}  // namespace

std::vector<std::string> WorkerProcess::environmentOfNow() {
  std::vector<std::string> variables;
  for (const char* name : {"TZ", "LANG"}) {
    if (const char* value = std::getenv(name)) {
      variables.push_back(std::string(name) + "=" + value);
    }
  }
  return variables;
}

Result<std::unique_ptr<WorkerProcess>> WorkerProcess::start(
    const std::string& program, Kind kind, std::int64_t memory,
    const std::vector<std::string>& environment) {
  const bool isOrdinary = memory <= kOrdinaryMemory;
  int ends[2];
  if (::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0) {
    return cannotStart(program, errno);
  }
  FileDescriptor ours(ends[0]);
  const FileDescriptor theirs(ends[1]);
  // Nobody waits for it to be read or written.
  if (::pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0) return cannotStart(program, errno);
  FileDescriptor words(ends[0]);
  const FileDescriptor lowWords(ends[1]);
  // Not one of those that the worker gets others for.
  const FileDescriptor theirWords(
      ::fcntl(lowWords.get(), F_DUPFD_CLOEXEC, kWorkerSocketDescriptor + 1));
  if (!theirWords) return cannotStart(program, errno);

  pid_t child = -1;
  const int error = SpawnPlan(theirs.get(), theirWords.get())
                        .run(program, kind, isOrdinary ? 0 : memory, environment, child);
  if (error != 0) return cannotStart(program, error);

  FileDescriptor process(::pidfd_open(child, 0));
  if (!process) {
    const int noDescriptor = errno;
    ::kill(child, SIGKILL);
    while (::waitpid(child, nullptr, 0) < 0 && errno == EINTR) {
    }
    return cannotStart(program, noDescriptor);
  }
  return std::unique_ptr<WorkerProcess>(
      new WorkerProcess(kind, child, isOrdinary ? kMostRequests : 1, std::move(process),
                        std::move(ours), std::move(words)));
}

WorkerProcess::~WorkerProcess() {
  kill();
  siginfo_t status{};
  while (::waitid(P_PIDFD, static_cast<id_t>(process_.get()), &status, WEXITED) < 0 &&
         errno == EINTR) {
  }
}

WorkerProcess::Outcome WorkerProcess::exchange(std::span<const std::uint8_t> request,
                                               std::span<const int> descriptors,
                                               Clock::time_point deadline, Packet& reply) {
  dropWords();
  ++requests_;
  if (!sendPacket(socket_.get(), request, descriptors)) return Outcome::notReceived;
  return waitForMore(deadline, reply);
}

WorkerProcess::Outcome WorkerProcess::waitForMore(Clock::time_point deadline, Packet& reply) {
  if (!waitUntilReadable(socket_.get(), deadline)) return Outcome::late;
  std::optional<Packet> packet = receivePacket(socket_.get());
  // The system reports a reset when the other end closed with a packet still unread.
  if (!packet) return errno == ECONNRESET ? Outcome::notReceived : Outcome::ended;
  reply = *std::move(packet);
  return Outcome::answered;
}

std::chrono::nanoseconds WorkerProcess::processorTime() const {
  clockid_t clock = {};
  timespec used = {};
  if (::clock_getcpuclockid(number_, &clock) != 0 || ::clock_gettime(clock, &used) != 0) return {};
  return std::chrono::seconds(used.tv_sec) + std::chrono::nanoseconds(used.tv_nsec);
}

bool WorkerProcess::endedByItself() const {
  // The socket closes a moment before the process has ended.
  waitForEnd(Clock::now() + std::chrono::seconds(1));
  siginfo_t status{};
  constexpr int kAskOnly = WEXITED | WNOHANG | WNOWAIT;
  if (::waitid(P_PIDFD, static_cast<id_t>(process_.get()), &status, kAskOnly) != 0) return false;
  return status.si_pid != 0 && (status.si_code == CLD_EXITED || status.si_status != SIGKILL);
}

void WorkerProcess::dropWords() const {
  std::array<char, 4096> words;
  while (::read(words_.get(), words.data(), words.size()) > 0) {
  }
}

void WorkerProcess::kill() const {
  // It fails only when the program has ended already.
  ::pidfd_send_signal(process_.get(), SIGKILL, nullptr, 0);
}

void WorkerProcess::hangUp() const {
  // Unlike closing, this reaches the worker even if a fork of the embedder's holds a copy.
  ::shutdown(socket_.get(), SHUT_RDWR);
}

bool WorkerProcess::waitForEnd(Clock::time_point deadline) const {
  return waitUntilReadable(process_.get(), deadline);
}

}  // namespace quorvin
