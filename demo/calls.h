// Calls that are printed together with their replies.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "core/platform/host.h"
#include "core/platform/value.h"
#include "demo/channel.h"

namespace quorvin {

/// What a reply is expected to be.
using Check = std::function<bool(const Value&)>;

template <class T>
bool is(const Value& value) {
  return value.as<T>() != nullptr;
}
bool isTrue(const Value& value);
bool isText(const Value& value);
/// A list of maps that hold a key.
Check isListOf(std::string_view key);

/// Prints every call before it is sent, and counts the replies that are not as expected. One
/// thread.
class Calls {
 public:
  Calls(const std::string& library, const std::string& temporary) : channel_(library, temporary) {}

  FlutterReply send(const std::string& method, const Value& arguments);
  /// Sends without printing anything.
  FlutterReply sendQuietly(const std::string& method, const Value& arguments) {
    return channel_.call(method, arguments);
  }

  /// The result of a call; null, and a failure, when it is of another kind.
  Value result(const std::string& method, const Value& arguments, const Check& check);
  /// Calls, and prints the result.
  void show(const std::string& method, const Value& arguments, const Check& check);
  /// Calls, and expects an error.
  void showError(const std::string& method, const Value& arguments, const std::string& message);

  /// Gathers from now on what the engine tells of changes.
  void listen();
  /// Prints what it told until the asset is in the list "inserted", "changed" or "removed".
  void showEventsUntil(const char* key, const Value& asset);

  void fail(const std::string& what);
  int failures() const { return failures_; }

 private:
  Channel channel_;
  int failures_ = 0;
};

void printHeadline(const char* text);

}  // namespace quorvin
