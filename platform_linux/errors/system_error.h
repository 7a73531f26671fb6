// Errors of system calls in the library's words.
#pragma once

#include <string>
#include <string_view>

#include "core/platform/foundation.h"

namespace quorvin {

/// "SENTENCE: reason." with the code that fits the error number: no space, no such file, or else.
NSError systemError(std::string_view sentence, int errorNumber);

/// The error's description without the mark of domain and code that may end it.
std::string reasonOf(const NSError& error);

}  // namespace quorvin
