// Carries the application's messages to channel handlers, and their replies back.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "core/platform/host.h"

namespace quorvin {

/// The application's end of one message: called once, with no bytes when there is no answer.
using ReplyReceiver = std::function<void(std::span<const std::uint8_t> message)>;

/// No larger message is handed to a channel. Calls carry identifiers and paths, never contents.
inline constexpr std::size_t kMaximumMessageSize = std::size_t{64} << 20;

/// Every message is answered exactly once: by the channel's handler, of whose replies the first
/// counts, or with no bytes by the messenger itself. Platform thread; a handler's reply may be
/// destroyed on any thread. Receivers and handlers may send further messages.
class Messenger final : public FlutterBinaryMessenger {
 public:
  Messenger() = default;
  ~Messenger() override { close(); }
  Messenger(const Messenger&) = delete;
  Messenger& operator=(const Messenger&) = delete;

  void setMessageHandlerOnChannel(const std::string& channel,
                                  FlutterBinaryMessageHandler handler) override;

  /// Calls the channel's handler before it returns; one that is too large is answered with no bytes
  /// in its place. `message` need not outlive the call.
  void send(std::string_view channel, std::span<const std::uint8_t> message,
            ReplyReceiver receiver);

  /// True while a handler holds the reply of an unanswered message. Once false it stays so until
  /// the next message: no answer can come any more, but the one that close() gives.
  bool mayAnswer() const;

  /// Answers what is unanswered with no bytes, in the order of sending, and every later message at
  /// once. Replies that handlers still hold do nothing from then on.
  void close();

 private:
  struct Pending;
  using PendingList = std::list<std::shared_ptr<Pending>>;

  void answer(Pending& pending, std::span<const std::uint8_t> message);

  std::map<std::string, std::shared_ptr<const FlutterBinaryMessageHandler>, std::less<>> handlers_;
  PendingList unanswered_;
  bool closed_ = false;
};

}  // namespace quorvin
