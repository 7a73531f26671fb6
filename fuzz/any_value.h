// Values made of a fuzzer's bytes.
#pragma once

#include <fuzzer/FuzzedDataProvider.h>

#include <string>

#include "core/platform/value.h"

namespace quorvin {

/// Any value of the codec, at most `depth` lists or maps within one another.
Value anyValue(FuzzedDataProvider& data, int depth);

/// Arguments for any method: mostly the keys that methods read, with values of the right kind more
/// often than not; sometimes anything at all. Identifiers are mostly among `identifiers`.
Value anyArguments(FuzzedDataProvider& data, const std::vector<std::string>& identifiers);

}  // namespace quorvin
