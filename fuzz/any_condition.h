// Conditions on assets, and the words for them.
#pragma once

#include <fuzzer/FuzzedDataProvider.h>

#include "platform_linux/library/fetch/predicate.h"

namespace quorvin {

struct SpelledCondition {
  Condition meaning;
  NSPredicate predicate;
};

/// Any condition, spelled in any way that is understood.
SpelledCondition anyCondition(FuzzedDataProvider& data);

}  // namespace quorvin
