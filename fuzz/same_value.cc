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
  if (a.variant().index() != b.variant().index()) return a == b;
  return std::visit(
      [&](const auto& value) {
        using T = std::decay_t<decltype(value)>;
        if constexpr (std::is_same_v<T, double>) {
          return std::memcmp(&value, b.as<T>(), sizeof value) == 0;
        } else if constexpr (isNumbers<T>) {
          return sameBits(value, *b.as<T>());
        } else if constexpr (std::is_same_v<T, List> || std::is_same_v<T, Map>) {
          return same(value, *b.as<T>());
        } else {
          return a == b;
        }
      },
      a.variant());
}

}  // namespace quorvin
