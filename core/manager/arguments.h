// Reading a call's arguments.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "core/platform/value.h"

namespace quorvin {

/// The keys of an argument map. Each read fills its output and returns true only when the key is
/// present with a value of that very type, so that a chain of `&&` stops at the first fault. When
/// the arguments are no map from strings to values, every read fails.
class Arguments {
 public:
  explicit Arguments(const Value& arguments);

  bool string(std::string_view key, std::string& out) const;
  bool boolean(std::string_view key, bool& out) const;
  bool integer(std::string_view key, std::int64_t& out) const;
  /// A list of nothing but strings, perhaps an empty one.
  bool strings(std::string_view key, std::vector<std::string>& out) const;
  /// An integer or a double.
  bool number(std::string_view key, double& out) const;

 private:
  template <class T>
  const T* value(std::string_view key) const;

  const Map* map_ = nullptr;
};

}  // namespace quorvin
