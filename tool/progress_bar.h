// A progress bar on the terminal.
#pragma once

#include <sys/types.h>

#include <cstddef>

#include "posix/file_descriptor.h"

namespace quorvin {

/// Drawn on standard error by the program `pv`. Nothing is drawn when standard error is no
/// terminal or the program is missing.
class ProgressBar {
 public:
  /// `total` steps make it full; `name` stands before it.
  ProgressBar(std::size_t total, const char* name);
  ProgressBar(const ProgressBar&) = delete;
  ProgressBar& operator=(const ProgressBar&) = delete;
  /// Leaves the bar as it is, with the cursor below it.
  ~ProgressBar();

  bool isDrawn() const { return drawer_ > 0; }
  void step();

 private:
  pid_t drawer_ = 0;
  FileDescriptor steps_;
};

}  // namespace quorvin
