// Reading the maps of messages, of which nothing is believed.
#pragma once

#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

#include "core/platform/value.h"

namespace quorvin {

/// Reads a map's values into variables: each reader is false, and leaves its variable alone, when
/// the value is missing, of another type or out of range.
class MapReader {
 public:
  explicit MapReader(const Map& map) : map_(map) {}

  template <class T>
  bool value(Literal key, T& into) const {
    const Value* found = find(map_, key);
    const T* typed = found == nullptr ? nullptr : found->as<T>();
    if (typed != nullptr) into = *typed;
    return typed != nullptr;
  }

  bool text(Literal key, std::string& into) const {
    const Value* found = find(map_, key);
    if (found == nullptr || !found->isText()) return false;
    into = found->text();
    return true;
  }

  bool texts(Literal key, std::vector<std::string>& into) const {
    List list;
    if (!value(key, list)) return false;
    for (const Value& each : list) {
      if (!each.isText()) return false;
      into.emplace_back(each.text());
    }
    return true;
  }

  /// An integer or an enumerator.
  template <class T>
  bool within(Literal key, std::int64_t least, std::int64_t most, T& into) const {
    std::int64_t read = 0;
    if (!value(key, read) || read < least || read > most) return false;
    into = static_cast<T>(read);
    return true;
  }

  /// A finite double that is not negative.
  bool amount(Literal key, double& into) const {
    double found = 0;
    if (!value(key, found) || !std::isfinite(found) || found < 0) return false;
    into = found;
    return true;
  }

  bool isText(Literal key, Literal expected) const {
    const Value* found = find(map_, key);
    return found != nullptr && found->isText() && found->text() == expected.text;
  }

 private:
  const Map& map_;
};

template <class Enum>
std::int64_t number(Enum value) {
  return static_cast<std::int64_t>(value);
}

}  // namespace quorvin
