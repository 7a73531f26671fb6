// Why something could not be done, as the platform and its media worker say it to themselves.
//
// A failure is plain: it says what and why so that another sentence can go on with it. What a
// caller outside is shown is made of it at the door, by `presented`.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "core/platform/value.h"

namespace quorvin {

enum class FailureDomain : std::uint8_t { library, media, file };

enum class LibraryErrorCode : std::int64_t {
  internal = -1,
  userCancelled = 3072,
  identifierNotFound = 3201,
  changeNotSupported = 3300,
  operationInterrupted = 3301,
  invalidResource = 3302,
  missingResource = 3303,
  notEnoughSpace = 3305,
  requestNotSupportedForAsset = 3306,
  accessRestricted = 3310,
  accessUserDenied = 3311,
};

enum class MediaErrorCode : std::int64_t {
  unknown = -11800,
  cannotDecode = -11821,
  cannotSave = -11823,
  cannotOpen = -11829,
  operationStopped = -11838,
  operationInterrupted = -11847,
};

enum class FileErrorCode : std::int64_t {
  noSuchFile = 4,
  writeUnknown = 512,
  writeNoPermission = 513,
  writeFileExists = 516,
  writeOutOfSpace = 640,
  writeVolumeReadOnly = 642,
};

struct Failure {
  Failure() = default;
  Failure(LibraryErrorCode theCode, std::string_view theReason)
      : code(static_cast<std::int64_t>(theCode)), reason(theReason) {}
  Failure(MediaErrorCode theCode, std::string_view theReason)
      : domain(FailureDomain::media), code(static_cast<std::int64_t>(theCode)), reason(theReason) {}
  Failure(FileErrorCode theCode, std::string_view theReason)
      : domain(FailureDomain::file), code(static_cast<std::int64_t>(theCode)), reason(theReason) {}

  bool is(LibraryErrorCode theCode) const {
    return domain == FailureDomain::library && code == static_cast<std::int64_t>(theCode);
  }
  /// The reason as a sentence of its own.
  std::string sentence() const;
  friend bool operator==(const Failure&, const Failure&) = default;

  FailureDomain domain = FailureDomain::library;
  std::int64_t code = 0;
  std::string subject;  ///< a name that goes before the reason, as in "IMG_1.JPG: It is damaged."
  std::string reason;   ///< as it goes on in a sentence: "it is damaged."
  bool isOfDescriptors = false;  ///< the process, or the system, has no descriptor left
  bool isOfFile = false;         ///< the media worker failed over the file, and would again
  bool isOfCatalogue = false;    ///< the library's catalogue cannot be used until it is repaired
};

/// A value, or the failure that stands in its place.
template <class T>
class Result {
 public:
  Result(T value) : value_(std::move(value)) {}
  Result(Failure failure) : error_(std::move(failure)) {}

  explicit operator bool() const { return value_.has_value(); }
  const T& operator*() const& { return *value_; }
  T& operator*() & { return *value_; }
  T&& operator*() && { return *std::move(value_); }
  const T* operator->() const { return &*value_; }
  T* operator->() { return &*value_; }
  /// Meaningful only when there is no value.
  const Failure& error() const { return error_; }

 private:
  std::optional<T> value_;
  Failure error_;
};

/// Done, or the failure that kept it from being done.
using Done = Result<Null>;

}  // namespace quorvin
