// Ctrl-C, and the signal that asks a program to end.
#pragma once

#include <csignal>
#include <stop_token>
#include <thread>

#include "posix/file_descriptor.h"

namespace quorvin {

/// While it lives, the first SIGINT or SIGTERM requests a stop, and the second one ends the program
/// at once. Made before other threads are, which leave the signals to it.
class Interruption {
 public:
  Interruption();
  ~Interruption();
  Interruption(const Interruption&) = delete;
  Interruption& operator=(const Interruption&) = delete;

  std::stop_token token() const { return stop_.get_token(); }
  bool hasCome() const { return stop_.stop_requested(); }

 private:
  void wait();

  std::stop_source stop_;
  sigset_t before_;
  FileDescriptor signals_;
  FileDescriptor end_;
  std::thread waiting_;
};

}  // namespace quorvin
