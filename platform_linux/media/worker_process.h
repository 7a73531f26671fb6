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

  /// Starts `program` with the socket as its descriptor 3, its input and output nowhere, its error
  /// output this process's, and nothing else open. `environment` holds texts "NAME=value".
  static Result<std::unique_ptr<WorkerProcess>> start(const std::string& program,
                                                      const std::vector<std::string>& environment);

  /// Ends the program at once, whatever it is doing, and reaps it.
  ~WorkerProcess();
  WorkerProcess(const WorkerProcess&) = delete;
  WorkerProcess& operator=(const WorkerProcess&) = delete;

  /// Sends one request with its descriptors and waits for what the worker says. After any outcome
  /// but `answered` the worker is of no further use.
  Outcome exchange(std::span<const std::uint8_t> request, std::span<const int> descriptors,
                   Clock::time_point deadline, Packet& reply);

  /// Waits for what else the worker says to that request; never comes out as `notReceived`.
  Outcome waitForMore(Clock::time_point deadline, Packet& reply);

  /// Ends the program at once; a wait under way comes out as `ended`. Any thread.
  void kill() const;

  /// Tells the program that there will be no more requests; it ends by itself.
  void hangUp() const;

  /// Waits until the program has ended by itself. False when it has not by the deadline.
  bool waitForEnd(Clock::time_point deadline) const;

 private:
  WorkerProcess(FileDescriptor process, FileDescriptor socket)
      : process_(std::move(process)), socket_(std::move(socket)) {}

  const FileDescriptor process_;
  const FileDescriptor socket_;
};

}  // namespace quorvin
