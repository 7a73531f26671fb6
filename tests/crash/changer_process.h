// A process that changes a library, as its parent sees it.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "posix/file_descriptor.h"
#include "tests/crash/faulty_files.h"

namespace quorvin {

using Line = std::vector<std::string>;

/// For a process that does what it was asked.
inline constexpr std::chrono::seconds kPatience{60};

/// Whether a test is to try everything, however long that takes.
bool isThorough();

/// Ends with its process killed, if that still runs. One thread.
class ChangerProcess {
 public:
  ChangerProcess(const std::string& library, const std::string& job, unsigned seed,
                 const std::optional<Fault>& fault = {});
  ~ChangerProcess();
  ChangerProcess(const ChangerProcess&) = delete;
  ChangerProcess& operator=(const ChangerProcess&) = delete;

  /// Waits until it has told so many lines, has ended, or the time is over.
  void readLines(std::size_t count, std::chrono::microseconds patience);
  /// Asks it to end.
  void ask();
  /// Waits for its end, and kills it when it does not come; returns the status of `waitpid`.
  int wait(std::chrono::seconds patience);
  void kill();

  /// All it told. After its end nothing is missing, but for a last line that was cut short.
  const std::vector<Line>& lines() const { return lines_; }

 private:
  bool readSome(std::chrono::steady_clock::time_point until);

  int process_ = -1;
  int status_ = 0;
  FileDescriptor journal_;
  std::string rest_;
  std::vector<Line> lines_;
};

}  // namespace quorvin
