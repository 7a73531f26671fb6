// A progress bar on the terminal.
#pragma once

#include <sys/types.h>

#include <csignal>
#include <cstddef>
#include <optional>

#include "posix/file_descriptor.h"

namespace quorvin {

/// Drawn on standard error by the program `pv`. Nothing is drawn when standard error is no
/// terminal or the program is missing.
class ProgressBar {
 public:
  /// `total` steps make it full; `name` stands before it.
  ProgressBar(std::size_t total, const char* name);
  /// Of work that has no known end: tells the number of steps, once there is something to wait for.
  explicit ProgressBar(const char* name);
  ProgressBar(const ProgressBar&) = delete;
  ProgressBar& operator=(const ProgressBar&) = delete;
  /// Leaves the bar as it is, with the cursor below it.
  ~ProgressBar();

  bool isDrawn() const { return drawer_ > 0; }
  void step(std::size_t count = 1);

 private:
  void start(const char* const* arguments);

  pid_t drawer_ = 0;
  FileDescriptor steps_;
};

/// The bar of work that goes over all originals. It is drawn once their number is known. Nobody who
/// stops listening to it ends the work.
class OriginalsBar {
 public:
  explicit OriginalsBar(const char* name)
      : name_(name), atBrokenPipe_(std::signal(SIGPIPE, SIG_IGN)) {}
  OriginalsBar(const OriginalsBar&) = delete;
  OriginalsBar& operator=(const OriginalsBar&) = delete;
  ~OriginalsBar() {
    bar_.reset();
    std::signal(SIGPIPE, atBrokenPipe_);
  }

  void begin(std::size_t total) { bar_.emplace(total, name_); }
  void step() { bar_->step(); }

 private:
  const char* name_;
  void (*atBrokenPipe_)(int);
  std::optional<ProgressBar> bar_;
};

}  // namespace quorvin
