#include "platform_linux/errors/presented.h"

#include <string>

namespace quorvin {
namespace {

std::string_view titleOf(MediaErrorCode code) {
  switch (code) {
    case MediaErrorCode::unknown:
      return "The operation could not be completed";
    case MediaErrorCode::cannotDecode:
      return "Cannot Decode";
    case MediaErrorCode::cannotSave:
      return "Cannot Save";
    case MediaErrorCode::cannotOpen:
      return "Cannot Open";
    case MediaErrorCode::operationStopped:
      return "Operation Stopped";
    case MediaErrorCode::operationInterrupted:
      return "Operation Interrupted";
  }
  return "";
}

}  // namespace

NSError presented(const Failure& failure) {
  switch (failure.domain) {
    case FailureDomain::library:
      break;
    case FailureDomain::media:
      return {std::string(kMediaErrorDomain), failure.code,
              std::string(titleOf(static_cast<MediaErrorCode>(failure.code))) + ": " +
                  failure.sentence()};
    case FailureDomain::file:
      return {std::string(kFileErrorDomain), failure.code, failure.sentence()};
  }
  return {std::string(kLibraryErrorDomain), failure.code,
          failure.sentence() + " (" + std::string(kLibraryErrorDomain) + " error " +
              std::to_string(failure.code) + ".)"};
}

std::optional<NSError> presented(const Done& done) {
  return done ? std::nullopt : std::optional(presented(done.error()));
}

}  // namespace quorvin
