// Error domains and codes of the Linux platform.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "core/platform/foundation.h"

namespace quorvin {

inline constexpr std::string_view kLibraryErrorDomain = "QuorvinLibraryErrorDomain";
inline constexpr std::string_view kMediaErrorDomain = "QuorvinMediaErrorDomain";
inline constexpr std::string_view kFileErrorDomain = "QuorvinFileErrorDomain";

/// Codes of `kLibraryErrorDomain`.
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

/// `sentence` names what and why, and ends in a full stop; the domain and code are added to it.
inline NSError libraryError(LibraryErrorCode code, std::string_view sentence) {
  const auto number = static_cast<std::int64_t>(code);
  return {std::string(kLibraryErrorDomain), number,
          std::string(sentence) + " (" + std::string(kLibraryErrorDomain) + " error " +
              std::to_string(number) + ".)"};
}

}  // namespace quorvin
