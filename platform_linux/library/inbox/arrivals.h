// Files that appeared, until they are complete.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "platform_linux/library/catalogue/source_rows.h"

namespace quorvin {

/// A file, and the state in which it stayed.
struct Arrival {
  std::string path;
  SourceState state;
};

/// Decides when files are taken: none that somebody writes, or that changed just now, and those
/// that belong together at once, as far as they come one soon after the other. Knows no clock and
/// no files but what it is told. One thread.
class Arrivals {
 public:
  using Time = std::chrono::steady_clock::time_point;
  /// What a path leads to: none when that is no file.
  using Look = std::function<std::optional<SourceState>(const std::string& path)>;
  struct Pace {
    /// A file that did not change for so long is complete, and files are taken when for so long
    /// none came.
    std::chrono::milliseconds quiet{2'000};
    /// Where there is always another one, those that are complete are taken after so long.
    std::chrono::milliseconds longest{20'000};
  };

  Arrivals(Pace pace, Look look) : pace_(pace), look_(std::move(look)) {}

  /// Something is at the path, or changed there.
  void note(const std::string& path, Time now);
  /// Somebody writes it, and will say when that ends.
  void noteWriting(const std::string& path);
  void noteWritten(const std::string& path, Time now);
  /// What was heard of writing does not count any more.
  void doubtWriting();
  void forget(const std::string& path) { files_.erase(path); }
  /// All that lies in the folder.
  void forgetBeneath(const std::string& folder);

  /// When there may be something to take; none as long as nothing more is noted.
  std::optional<Time> next() const;
  /// By path. Empty files are left out until they are noted again: their content is still to come.
  std::vector<Arrival> take(Time now);

 private:
  struct File {
    std::optional<SourceState> state;  ///< when it was noted
    Time since;
    bool isWritten = false;  ///< by somebody, now
  };

  bool isAnyWaiting() const;

  const Pace pace_;
  const Look look_;
  std::map<std::string, File> files_;
  Time last_;   ///< when a file was noted
  Time first_;  ///< since when files wait that may be complete
};

}  // namespace quorvin
