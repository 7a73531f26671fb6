// Equality of values to the last bit.
#pragma once

#include "core/platform/value.h"

namespace quorvin {

/// Like `==`, but a number that is none equals itself, and 0.0 is not -0.0.
bool sameValue(const Value& a, const Value& b);

}  // namespace quorvin
