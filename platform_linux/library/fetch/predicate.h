// Conditions of fetches: from format text to a typed condition.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "core/platform/photo_library.h"

namespace quorvin {

/// A condition on an asset.
struct Condition {
  enum class Kind { comparison, conjunction, disjunction, negation };
  Kind kind = Kind::comparison;

  // A comparison: `column op value`. Both texts are constants of the program.
  std::string_view column;
  std::string_view op;
  std::int64_t value = 0;

  std::vector<Condition> parts;  ///< of the other kinds; a negation has one

  friend bool operator==(const Condition&, const Condition&) = default;
};

/// Understands comparisons of a key with a whole number, joined by `&&` (AND), `||` (OR), `!` (NOT)
/// and parentheses. A number is written out or is `%d`, `%i`, `%u`, `%ld` or `%lld`, which take the
/// next argument. Anything else is a mistake in the program: fatal, with a reason that quotes it.
Condition parsePredicate(const NSPredicate& predicate);

/// The column that an asset fetch sorts by under this key; fatal when there is none.
std::string_view sortColumn(std::string_view key);

}  // namespace quorvin
