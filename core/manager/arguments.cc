#include "core/manager/arguments.h"

#include <algorithm>

namespace quorvin {

Arguments::Arguments(const Value& arguments) {
  const auto* map = arguments.as<Map>();
  if (map == nullptr) return;
  const bool stringKeyed =
      std::ranges::all_of(*map, [](const auto& entry) { return entry.first.isText(); });
  if (stringKeyed) map_ = map;
}

template <class T>
const T* Arguments::value(std::string_view key) const {
  const Value* found = map_ == nullptr ? nullptr : find(*map_, key);
  return found == nullptr ? nullptr : found->as<T>();
}

bool Arguments::string(std::string_view key, std::string& out) const {
  const Value* found = map_ == nullptr ? nullptr : find(*map_, key);
  if (found == nullptr || !found->isText()) return false;
  out = found->text();
  return true;
}

bool Arguments::boolean(std::string_view key, bool& out) const {
  const auto* found = value<bool>(key);
  if (found == nullptr) return false;
  out = *found;
  return true;
}

bool Arguments::integer(std::string_view key, std::int64_t& out) const {
  const auto* found = value<std::int64_t>(key);
  if (found == nullptr) return false;
  out = *found;
  return true;
}

bool Arguments::strings(std::string_view key, std::vector<std::string>& out) const {
  const auto* list = value<List>(key);
  if (list == nullptr || !std::ranges::all_of(*list, &Value::isText)) return false;
  out.clear();
  for (const Value& each : *list) out.emplace_back(each.text());
  return true;
}

bool Arguments::number(std::string_view key, double& out) const {
  if (const auto* found = value<double>(key)) {
    out = *found;
    return true;
  }
  std::int64_t whole = 0;
  if (!integer(key, whole)) return false;
  out = static_cast<double>(whole);
  return true;
}

}  // namespace quorvin
