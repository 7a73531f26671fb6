// Failures as callers outside the platform are shown them.
#pragma once

#include <optional>
#include <string_view>

#include "core/platform/foundation.h"
#include "platform_linux/errors/failure.h"

namespace quorvin {

inline constexpr std::string_view kLibraryErrorDomain = "QuorvinLibraryErrorDomain";
inline constexpr std::string_view kMediaErrorDomain = "QuorvinMediaErrorDomain";
inline constexpr std::string_view kFileErrorDomain = "QuorvinFileErrorDomain";

/// The failure with the mark of its domain: the library's domain and code follow the reason, a
/// title goes before that of media, and the reason of files stands alone. Made only where a failure
/// leaves the platform.
NSError presented(const Failure& failure);

/// The error of what was not done.
std::optional<NSError> presented(const Done& done);

}  // namespace quorvin
