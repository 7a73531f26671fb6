// Dates and errors.
#pragma once

#include <cstdint>
#include <string>

namespace quorvin {

/// A point in time.
class NSDate {
 public:
  explicit NSDate(double secondsSince1970) : secondsSince1970_(secondsSince1970) {}
  /// Seconds since 1970-01-01 00:00 UTC; negative before.
  double timeIntervalSince1970() const { return secondsSince1970_; }
  friend bool operator==(const NSDate&, const NSDate&) = default;

 private:
  double secondsSince1970_;
};

/// A failure of the platform.
struct NSError {
  std::string domain;
  std::int64_t code = 0;
  std::string localizedDescription;  ///< one sentence for a person; never empty

  /// The textual form: domain, code and description in one line.
  std::string description() const;
  friend bool operator==(const NSError&, const NSError&) = default;
};

/// Prints the reason on standard error and stops the process. For programming errors and for
/// values that must never be passed on; no reply is sent.
[[noreturn]] void fatalError(const std::string& reason);

}  // namespace quorvin
