// The engine's channels, shared by all clients.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "host/engine.h"
#include "tool/serve/reading/frames.h"

namespace quorvin {

using FrameBytes = std::shared_ptr<const std::vector<std::uint8_t>>;

/// A client's end of its connection.
class ChannelOutlet {
 public:
  virtual ~ChannelOutlet() = default;
  virtual void reply(FrameBytes frame) = 0;
  /// What the engine sends of its own. When one is still to be sent, `merged` may take the place of
  /// both; it tells to ask for everything anew.
  virtual void event(FrameBytes frame, FrameBytes merged) = 0;
};

/// Answers a message on a channel beside the engine's.
using ChannelReply = std::function<void(std::span<const std::uint8_t> message)>;
using ChannelHandler =
    std::function<void(std::span<const std::uint8_t> message, ChannelReply reply)>;

/// Platform thread.
class ChannelHub {
 public:
  using Client = std::uint64_t;

  /// The engine outlives it, or is shut down.
  explicit ChannelHub(Engine& engine);

  /// A channel of the server's own.
  void add(std::string_view channel, ChannelHandler handler);

  Client enter(ChannelOutlet& outlet);
  /// Its calls go on, and their replies are dropped.
  void leave(Client client);
  /// Leads to one reply of the outlet, unless the client leaves before.
  void call(Client client, const Frame& frame);

 private:
  struct Seat {
    ChannelOutlet* outlet = nullptr;
    bool listens = false;
  };

  void callChanges(Client client, const Frame& frame);
  void sendToEngine(Client client, const Frame& frame, bool listens);
  void reply(Client client, const Frame& frame);
  void tell(std::span<const std::uint8_t> message);
  bool anyListens() const;

  Engine& engine_;
  std::map<std::string, ChannelHandler, std::less<>> handlers_;
  std::map<Client, Seat> seats_;
  Client last_ = 0;
};

}  // namespace quorvin
