#include "core/platform/value.h"

#include <algorithm>

namespace quorvin {

ByteBuffer::ByteBuffer(std::vector<std::uint8_t> bytes) {
  auto owner = std::make_shared<const std::vector<std::uint8_t>>(std::move(bytes));
  bytes_ = *owner;
  owner_ = std::move(owner);
}

bool operator==(const ByteBuffer& a, const ByteBuffer& b) {
  return std::ranges::equal(a.bytes_, b.bytes_);
}

Value::Value(List value) : variant_(std::move(value)) {}
Value::Value(Map value) : variant_(std::move(value)) {}

bool Value::isText() const {
  return as<Literal>() != nullptr || as<std::string>() != nullptr;
}

std::string_view Value::text() const {
  if (const auto* literal = as<Literal>()) return literal->text;
  if (const auto* owned = as<std::string>()) return *owned;
  return {};
}

bool operator==(const Value& a, const Value& b) {
  if (a.isText() || b.isText()) return a.isText() && b.isText() && a.text() == b.text();
  if (a.variant_.index() != b.variant_.index()) return false;
  return std::visit(
      [&b](const auto& value) {
        using T = std::decay_t<decltype(value)>;
        if constexpr (std::is_same_v<T, Literal>) {
          return false;  // compared as text above
        } else {
          return value == *b.as<T>();
        }
      },
      a.variant_);
}

const Value* find(const Map& map, std::string_view key) {
  const Value* found = nullptr;
  for (const auto& [name, value] : map) {
    if (name.isText() && name.text() == key) found = &value;
  }
  return found;
}

}  // namespace quorvin
