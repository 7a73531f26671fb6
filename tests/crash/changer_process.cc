#include "tests/crash/changer_process.h"

#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <sstream>

namespace quorvin {
namespace {

using Clock = std::chrono::steady_clock;

Line wordsOf(const std::string& line) {
  Line words;
  std::istringstream rest(line);
  for (std::string word; std::getline(rest, word, '\t');) words.push_back(word);
  return words;
}

int spawn(std::vector<std::string> words, int journal) {
  std::vector<char*> arguments;
  for (std::string& word : words) arguments.push_back(word.data());
  arguments.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, journal, STDOUT_FILENO);
  pid_t process = -1;
  const int error =
      ::posix_spawn(&process, QUORVIN_CHANGER, &actions, nullptr, arguments.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  if (error != 0) {
    std::fprintf(stderr, "%s cannot be started\n", QUORVIN_CHANGER);
    std::abort();
  }
  return process;
}

}  // namespace

bool isThorough() {
  return std::getenv("QUORVIN_CRASH_THOROUGH") != nullptr;
}

ChangerProcess::ChangerProcess(const std::string& library, const std::string& job, unsigned seed,
                               const std::optional<Fault>& fault) {
  std::array<int, 2> ends;
  if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0) std::abort();
  journal_ = FileDescriptor(ends[0]);
  const FileDescriptor other(ends[1]);
  std::vector<std::string> words = {QUORVIN_CHANGER, library, QUORVIN_GENERATED_MEDIA "/good", job,
                                    std::to_string(seed)};
  if (fault) {
    words.insert(words.end(), {fault->calls, std::to_string(fault->number),
                               std::to_string(static_cast<int>(fault->kind)),
                               std::to_string(fault->errorNumber)});
  }
  process_ = spawn(std::move(words), other.get());
}

ChangerProcess::~ChangerProcess() {
  kill();
}

bool ChangerProcess::readSome(Clock::time_point until) {
  const auto left = std::max(Clock::duration::zero(), until - Clock::now());
  const auto nanoseconds = std::chrono::duration_cast<std::chrono::nanoseconds>(left).count();
  const timespec time = {nanoseconds / 1'000'000'000, nanoseconds % 1'000'000'000};
  pollfd watched{journal_.get(), POLLIN, 0};
  if (::ppoll(&watched, 1, &time, nullptr) != 1) return false;
  std::array<char, 4096> buffer;
  const ssize_t size = ::recv(journal_.get(), buffer.data(), buffer.size(), 0);
  if (size <= 0) return false;
  rest_.append(buffer.data(), static_cast<std::size_t>(size));
  for (std::size_t end = rest_.find('\n'); end != std::string::npos; end = rest_.find('\n')) {
    lines_.push_back(wordsOf(rest_.substr(0, end)));
    rest_.erase(0, end + 1);
  }
  return true;
}

void ChangerProcess::readLines(std::size_t count, std::chrono::microseconds patience) {
  const auto until = Clock::now() + patience;
  while (lines_.size() < count && readSome(until)) {
  }
}

void ChangerProcess::ask() {
  ::shutdown(journal_.get(), SHUT_WR);
}

int ChangerProcess::wait(std::chrono::seconds patience) {
  // Its media workers hold the other end too, and so all is over when that is closed.
  const auto until = Clock::now() + patience;
  while (readSome(until)) {
  }
  if (Clock::now() >= until) {
    kill();
    return status_;
  }
  if (process_ > 0) ::waitpid(process_, &status_, 0);
  process_ = -1;
  return status_;
}

void ChangerProcess::kill() {
  if (process_ <= 0) return;
  ::kill(process_, SIGKILL);
  ::waitpid(process_, &status_, 0);
  process_ = -1;
  while (readSome(Clock::now())) {
  }
}

}  // namespace quorvin
