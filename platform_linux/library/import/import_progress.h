// How far an import has come.
#pragma once

#include <algorithm>
#include <atomic>
#include <cstdint>

namespace quorvin {

/// In bytes of the files that were found. What is copied is told while it is, on any thread; all
/// else on one.
class ImportProgress {
 public:
  void found(std::int64_t bytes) { total_ += bytes; }
  /// Each byte is read twice, and told of each time.
  void copied(std::int64_t bytes) { copied_ += bytes; }
  void done(std::int64_t bytes, bool isCopy) {
    done_ += bytes;
    if (isCopy) copied_ -= kTimesRead * bytes;
  }

  std::int64_t total() const { return total_; }
  /// Never less than it was.
  std::int64_t now() {
    latest_ = std::max(latest_, std::min(total_, done_ + copied_ / kTimesRead));
    return latest_;
  }

 private:
  static constexpr std::int64_t kTimesRead = 2;
  std::int64_t total_ = 0;
  std::int64_t done_ = 0;
  std::int64_t latest_ = 0;
  std::atomic<std::int64_t> copied_ = 0;
};

}  // namespace quorvin
