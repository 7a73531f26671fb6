// The host framework as a plugin sees it: registrar, messenger, method channel, calls and replies.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "core/platform/value.h"

namespace quorvin {

struct Platform;

/// One call: a method name and its decoded arguments (null when there are none).
struct FlutterMethodCall {
  std::string method;
  Value arguments;
};

/// An error reply.
struct FlutterError {
  std::string code;
  std::string message;
  Value details;  ///< null when there are none

  static FlutterError errorWithCode(std::string code, std::string message, Value details) {
    return {std::move(code), std::move(message), std::move(details)};
  }
  friend bool operator==(const FlutterError&, const FlutterError&) = default;
};

/// The marker that says that nobody implements the method.
struct FlutterMethodNotImplementedMarker {
  friend bool operator==(FlutterMethodNotImplementedMarker,
                         FlutterMethodNotImplementedMarker) = default;
};
inline constexpr FlutterMethodNotImplementedMarker FlutterMethodNotImplemented{};

using FlutterReply = std::variant<Value, FlutterError, FlutterMethodNotImplementedMarker>;

/// Answers one call. Called on the platform thread. The host lets the first reply of a call
/// through and drops any further one.
using FlutterResult = std::function<void(FlutterReply)>;

/// Receives the calls of one channel, on the platform thread.
class FlutterMethodCallDelegate {
 public:
  virtual ~FlutterMethodCallDelegate() = default;
  virtual void handle(FlutterMethodCall call, FlutterResult result) = 0;
};

/// Answers one binary message, which need not outlive the call; no bytes stand for "not
/// implemented".
using FlutterBinaryReply = std::function<void(std::span<const std::uint8_t> message)>;
using FlutterBinaryMessageHandler =
    std::function<void(std::span<const std::uint8_t> message, FlutterBinaryReply reply)>;

/// Carries binary messages between the application and the handlers of named channels.
class FlutterBinaryMessenger {
 public:
  virtual ~FlutterBinaryMessenger() = default;
  /// Platform thread. Replaces the channel's earlier handler.
  virtual void setMessageHandlerOnChannel(const std::string& channel,
                                          FlutterBinaryMessageHandler handler) = 0;
};

/// A named channel on a messenger. It speaks the host's standard method codec.
class FlutterMethodChannel {
 public:
  static std::shared_ptr<FlutterMethodChannel> methodChannelWithName(
      std::string name, FlutterBinaryMessenger& binaryMessenger) {
    return std::shared_ptr<FlutterMethodChannel>(
        new FlutterMethodChannel(std::move(name), binaryMessenger));
  }

  const std::string& name() const { return name_; }
  FlutterBinaryMessenger& binaryMessenger() const { return binaryMessenger_; }

 private:
  FlutterMethodChannel(std::string name, FlutterBinaryMessenger& binaryMessenger)
      : name_(std::move(name)), binaryMessenger_(binaryMessenger) {}

  const std::string name_;
  FlutterBinaryMessenger& binaryMessenger_;
};

/// What the host hands to a plugin at registration. Outlives every delegate added to it.
class FlutterPluginRegistrar {
 public:
  virtual ~FlutterPluginRegistrar() = default;
  virtual FlutterBinaryMessenger& messenger() = 0;
  /// The system that the plugin runs on.
  virtual Platform& platform() = 0;
  /// Keeps the delegate alive and sends it every call that arrives on the channel.
  virtual void addMethodCallDelegate(std::shared_ptr<FlutterMethodCallDelegate> delegate,
                                     std::shared_ptr<FlutterMethodChannel> channel) = 0;
};

}  // namespace quorvin
