// Values of all kinds, for the comparison of two codecs.
#pragma once

#include <random>

#include "core/platform/value.h"

namespace quorvin {

using Dice = std::mt19937_64;

/// At most `depth` lists or maps lie within one another. Keys of a map differ, and no key is a
/// double: JavaScript's maps have one zero.
Value generatedValue(Dice& dice, int depth);

}  // namespace quorvin
