#include "core/platform/value.h"

#include <algorithm>
#include <limits>
#include <new>
#include <stdexcept>
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

Value::Value(std::string_view value) {
  if (value.size() <= sizeof held_.shortText.text) {
    held_ = {};
    held_.shortText.kind = Kind::shortText;
    held_.shortText.size = static_cast<std::uint8_t>(value.size());
    std::ranges::copy(value, held_.shortText.text);
  } else {
    const auto size = static_cast<std::uint32_t>(value.size());
    if (size != value.size()) throw std::length_error("a text is too long for a message");
    auto* memory = static_cast<char*>(::operator new(sizeof(Owners) + value.size()));
    new (memory) Owners(1);
    std::ranges::copy(value, memory + sizeof(Owners));
    held_.longText = {Kind::sharedText, size, memory + sizeof(Owners)};
  }
}

Value::Owners& Value::owners() const {
  const char* memory = held_.longText.text - sizeof(Owners);
  return *std::launder(reinterpret_cast<Owners*>(const_cast<char*>(memory)));
}

template <class T>
Value::Value(InBox, T value)
    : held_{.owned = {kindOf(static_cast<T*>(nullptr)), new T(std::move(value))}} {}

Value::Value(LargeInteger value) : Value(InBox(), std::move(value)) {}
Value::Value(ByteBuffer value) : Value(InBox(), std::move(value)) {}
Value::Value(std::vector<std::int32_t> value) : Value(InBox(), std::move(value)) {}
Value::Value(std::vector<std::int64_t> value) : Value(InBox(), std::move(value)) {}
Value::Value(std::vector<float> value) : Value(InBox(), std::move(value)) {}
Value::Value(std::vector<double> value) : Value(InBox(), std::move(value)) {}
Value::Value(List value) : Value(InBox(), std::move(value)) {}
Value::Value(Map value) : Value(InBox(), std::move(value)) {}

void Value::keepOrCopy(const Value& other) {
  held_ = {};
  if (other.kind() == Kind::sharedText) {
    held_ = other.held_;
    owners().fetch_add(1, std::memory_order_relaxed);
    return;
  }
  other.visit([this](const auto& value) {
    using T = std::decay_t<decltype(value)>;
    if constexpr (kIsBoxed<T>) *this = Value(InBox(), T(value));
  });
}

void Value::release() noexcept {
  if (kind() == Kind::sharedText) {
    // Nobody else can copy the only one.
    const bool isLast = owners().load(std::memory_order_acquire) == 1 ||
                        owners().fetch_sub(1, std::memory_order_acq_rel) == 1;
    if (isLast) ::operator delete(&owners());
    return;
  }
  visit([](const auto& value) {
    using T = std::decay_t<decltype(value)>;
    if constexpr (kIsBoxed<T>) delete &value;
  });
}

bool operator==(const Value& a, const Value& b) {
  if (a.isText() || b.isText()) return a.isText() && b.isText() && a.text() == b.text();
  if (a.kind() != b.kind()) return false;
  return a.visit([&b](const auto& value) {
    return b.visit([&value](const auto& other) {
      if constexpr (std::is_same_v<decltype(value), decltype(other)>) {
        return value == other;
      } else {
        return false;
      }
    });
  });
}

const Value* find(const Map& map, std::string_view key) {
  const Value* found = nullptr;
  for (const auto& [name, value] : map) {
    if (name.isText() && name.text() == key) found = &value;
  }
  return found;
}

}  // namespace quorvin
