// What a callback is given: a value, or why there is none.
#ifndef QUORVIN_CLIENT_RESULT_HPP_
#define QUORVIN_CLIENT_RESULT_HPP_

#include <functional>
#include <memory>
#include <optional>
#include <quorvin/client/errors.hpp>
#include <type_traits>
#include <utility>

namespace quorvin {
namespace client {

/// Of methods that have nothing else to say.
struct Done {
  friend bool operator==(Done, Done) { return true; }
};

/// A value or an error.
template <class T>
class Result {
 public:
  Result(T value) : value_(std::move(value)) {}
  Result(std::shared_ptr<const Error> error) : error_(std::move(error)) {}

  explicit operator bool() const { return value_.has_value(); }

  /// Throws the error when there is no value.
  const T& value() const& {
    if (!value_) error_->raise();
    return *value_;
  }
  T value() && {
    if (!value_) error_->raise();
    return std::move(*value_);
  }
  const T& operator*() const { return value(); }
  const T* operator->() const { return &value(); }

  /// The error, or null when there is a value.
  const Error* error() const { return error_.get(); }

 private:
  std::optional<T> value_;
  std::shared_ptr<const Error> error_;
};

/// Is called on the platform thread, once. An empty one is not.
template <class T>
using Then = std::function<void(Result<T>)>;

/// What `make` returns, or the error that it throws.
template <class Make>
auto resultOf(Make make) -> Result<decltype(make())> {
  try {
    return make();
  } catch (const Error& error) {
    return error.copy();
  }
}

}  // namespace client
}  // namespace quorvin

#endif  // QUORVIN_CLIENT_RESULT_HPP_
