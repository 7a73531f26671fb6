// The engine's own event channel: what changes in the library.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <utility>

#include "core/platform/dispatch.h"
#include "core/platform/host.h"
#include "platform_linux/errors/failure.h"
#include "platform_linux/library/watch/library_watch.h"

namespace quorvin {

inline constexpr const char* kChangeChannelName = "quorvin/changes";

/// The application's end of what the engine sends of its own.
using MessageReceiver = std::function<void(std::span<const std::uint8_t> message)>;

/// Answers "listen" and "cancel", and while it is listened to and somebody receives, sends each
/// change of the library as an event. Nothing watches the library at any other time. Platform
/// thread. The receiver may call everything here.
class ChangeChannel final : public FlutterMethodCallDelegate {
 public:
  /// Begins to watch, and calls `ready`, on any thread, when there is a change to be taken.
  using Watching =
      std::function<Result<std::unique_ptr<LibraryWatch>>(std::function<void()> ready)>;

  /// The queue outlives it, or runs nothing any more.
  ChangeChannel(DispatchQueue& mainQueue, Watching watching)
      : mainQueue_(mainQueue), watching_(std::move(watching)) {}
  ~ChangeChannel() override { close(); }
  ChangeChannel(const ChangeChannel&) = delete;
  ChangeChannel& operator=(const ChangeChannel&) = delete;

  void handle(FlutterMethodCall call, FlutterResult result) override;

  /// Empty: nobody receives. A subscription that stands is suspended so, and goes on with the next
  /// receiver; when it cannot go on, it ends, with an error as its event.
  void receive(MessageReceiver receiver);

  /// Ends the subscription for good: nothing is sent any more.
  void close();

 private:
  struct Subscription;

  FlutterReply listen();
  void cancel();
  void suspend();
  std::optional<FlutterError> subscribe();
  void deliver(Subscription& subscription);
  void send(std::span<const std::uint8_t> message);

  DispatchQueue& mainQueue_;
  const Watching watching_;
  MessageReceiver receiver_;
  bool isListenedTo_ = false;
  std::shared_ptr<Subscription> subscription_;  ///< none while suspended
};

}  // namespace quorvin
