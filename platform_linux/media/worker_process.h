// One running media worker program.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "media_protocol/packet_socket.h"
#include "platform_linux/errors/failure.h"
#include "posix/file_descriptor.h"

namespace quorvin {

/// A child process that answers requests one after another. One thread at a time, except `kill`.
/// The child is known by a descriptor, never by its number alone, so that nothing else of the
/// embedder's can be signalled or reaped by mistake, and no signal handler is needed.
class WorkerProcess {
 public:
  using Clock = std::chrono::steady_clock;

  enum class Outcome {
    answered,
    notReceived,  ///< the worker had ended, or ended, without taking the request
    ended,        ///< the worker took the request and ended
    late,         ///< the deadline passed
  };

  /// What a worker is for; one for exports loads more.
  enum class Kind { pictures, exports };

  /// What a worker may see of this process's environment: variables hold tokens.
  static std::vector<std::string> environmentOfNow();

  /// What a worker may take for what it decodes, unless it is made for more. Bytes.
  static constexpr std::int64_t kOrdinaryMemory = 320 << 20;

  /// Starts `program` in a session of its own, with the socket as its descriptor 3, its input and
  /// output nowhere, its error output a pipe that this class reads, and nothing else open.
  /// `environment` holds texts "NAME=value". It ends with the thread that calls this. One that is
  /// made for more than the ordinary memory serves one request.
  static Result<std::unique_ptr<WorkerProcess>> start(const std::string& program, Kind kind,
                                                      std::int64_t memory,
                                                      const std::vector<std::string>& environment);

  /// Ends the program at once, whatever it is doing, and reaps it.
  ~WorkerProcess();
  WorkerProcess(const WorkerProcess&) = delete;
  WorkerProcess& operator=(const WorkerProcess&) = delete;

  /// Sends one request with its descriptors and waits for what the worker says. After any outcome
  /// but `answered` and, for who waits on, `late`, the worker is of no further use.
  Outcome exchange(std::span<const std::uint8_t> request, std::span<const int> descriptors,
                   Clock::time_point deadline, Packet& reply);

  /// Waits for what else the worker says to that request.
  Outcome waitForMore(Clock::time_point deadline, Packet& reply);

  Kind kind() const { return kind_; }

  /// What it has used of the processors up to now; 0 when the system does not tell.
  std::chrono::nanoseconds processorTime() const;

  /// Of one that `ended`: whether that was its own doing, and not somebody's who ended it from
  /// outside, such as the kernel when memory is short.
  bool endedByItself() const;

  /// It has read so many files that it is to read no other: what it may still hold of them, and
  /// what one of them may have made of it, goes with it.
  bool hasServedItsTime() const { return requests_ >= mostRequests_; }

  /// Ends the program at once; a wait under way comes out as `ended`. Any thread.
  void kill() const;

  /// Tells the program that there will be no more requests; it ends by itself.
  void hangUp() const;

  /// Waits until the program has ended by itself. False when it has not by the deadline.
  bool waitForEnd(Clock::time_point deadline) const;

 private:
  WorkerProcess(Kind kind, pid_t number, int mostRequests, FileDescriptor process,
                FileDescriptor socket, FileDescriptor words)
      : kind_(kind),
        number_(number),
        mostRequests_(mostRequests),
        process_(std::move(process)),
        socket_(std::move(socket)),
        words_(std::move(words)) {}

  /// What libraries print of a file is for nobody's terminal; kept from filling the pipe.
  void dropWords() const;

  static constexpr int kMostRequests = 200;

  const Kind kind_;
  const pid_t number_;  ///< for asking only: somebody may have reaped it
  const int mostRequests_;
  const FileDescriptor process_;
  const FileDescriptor socket_;
  const FileDescriptor words_;
  int requests_ = 0;
};

}  // namespace quorvin
