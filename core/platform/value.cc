#include "core/platform/value.h"

#include <algorithm>
#include <limits>
#include <new>
#include <utility>

namespace quorvin {

namespace {

/// What `allocate` leaves free in front. As much as keeps the bytes aligned for fast copies.
constexpr std::size_t kHeadroom = 64;

/// Says by its type that there is room in front of the bytes.
struct FreeWithHeadroom {
  void operator()(const void* memory) const {
    ::operator delete (const_cast<void*>(memory), std::align_val_t{kHeadroom});
  }
};

}  // namespace

ByteBuffer::ByteBuffer(std::vector<std::uint8_t> bytes) {
  auto owner = std::make_shared<const std::vector<std::uint8_t>>(std::move(bytes));
  bytes_ = *owner;
  owner_ = std::move(owner);
}

std::optional<ByteBuffer> ByteBuffer::allocate(std::size_t size, std::uint8_t*& filling) {
  if (size > std::numeric_limits<std::size_t>::max() - kHeadroom) return std::nullopt;
  void* memory = ::operator new (kHeadroom + size, std::align_val_t{kHeadroom}, std::nothrow);
  if (memory == nullptr) return std::nullopt;
  const std::shared_ptr<const void> owner(memory, FreeWithHeadroom());
  filling = static_cast<std::uint8_t*>(memory) + kHeadroom;
  return ByteBuffer(owner, {filling, size});
}

std::optional<ByteBuffer> ByteBuffer::takeBehind(std::span<const std::uint8_t> header) {
  const bool hasRoom = std::get_deleter<FreeWithHeadroom>(owner_) != nullptr;
  if (!hasRoom || owner_.use_count() != 1) return std::nullopt;
  const auto* memory = static_cast<const std::uint8_t*>(owner_.get());
  const auto room = static_cast<std::size_t>(bytes_.data() - memory);
  if (header.size() > room) return std::nullopt;
  // Nobody else sees the room, and it was made writable.
  auto* begin = const_cast<std::uint8_t*>(bytes_.data()) - header.size();
  std::ranges::copy(header, begin);
  const std::size_t size = header.size() + bytes_.size();
  bytes_ = {};
  return ByteBuffer(std::move(owner_), {begin, size});
}

bool operator==(const ByteBuffer& a, const ByteBuffer& b) {
  return std::ranges::equal(a.bytes_, b.bytes_);
}

Value::Value() = default;
Value::Value(const Value&) = default;
Value::Value(Value&&) noexcept = default;
Value& Value::operator=(const Value&) = default;
Value& Value::operator=(Value&&) noexcept = default;
Value::~Value() = default;

Value::Value(Null) {}
Value::Value(bool value) : variant_(value) {}
Value::Value(int value) : variant_(std::int64_t{value}) {}
Value::Value(std::int64_t value) : variant_(value) {}
Value::Value(double value) : variant_(value) {}
Value::Value(Literal value) : variant_(value) {}
Value::Value(std::string value) : variant_(std::move(value)) {}
Value::Value(const char* value) : variant_(std::string(value)) {}
Value::Value(LargeInteger value) : variant_(std::move(value)) {}
Value::Value(ByteBuffer value) : variant_(std::move(value)) {}
Value::Value(std::vector<std::int32_t> value) : variant_(std::move(value)) {}
Value::Value(std::vector<std::int64_t> value) : variant_(std::move(value)) {}
Value::Value(std::vector<float> value) : variant_(std::move(value)) {}
Value::Value(std::vector<double> value) : variant_(std::move(value)) {}
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
