#include "fuzz/same_value.h"

#include <cstring>
#include <type_traits>
#include <vector>

namespace quorvin {
namespace {

template <class T>
constexpr bool isNumbers =
    std::is_same_v<T, std::vector<float>> || std::is_same_v<T, std::vector<double>>;

template <class Number>
bool sameBits(const std::vector<Number>& a, const std::vector<Number>& b) {
  return a.size() == b.size() &&
         (a.empty() || std::memcmp(a.data(), b.data(), a.size() * sizeof(Number)) == 0);
}

bool same(const List& a, const List& b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (!sameValue(a[i], b[i])) return false;
  }
  return true;
}

bool same(const Map& a, const Map& b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (!sameValue(a[i].first, b[i].first) || !sameValue(a[i].second, b[i].second)) return false;
  }
  return true;
}

}  // namespace

bool sameValue(const Value& a, const Value& b) {
  return a.visit([&](const auto& value) {
    using T = std::decay_t<decltype(value)>;
    if constexpr (std::is_same_v<T, double>) {
      return b.as<T>() != nullptr && std::memcmp(&value, b.as<T>(), sizeof value) == 0;
    } else if constexpr (isNumbers<T>) {
      return b.as<T>() != nullptr && sameBits(value, *b.as<T>());
    } else if constexpr (std::is_same_v<T, List> || std::is_same_v<T, Map>) {
      return b.as<T>() != nullptr && same(value, *b.as<T>());
    } else {
      return a == b;
    }
  });
}

}  // namespace quorvin
