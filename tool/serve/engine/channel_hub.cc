#include "tool/serve/engine/channel_hub.h"

#include <algorithm>
#include <string>
#include <utility>
#include <variant>

#include "codec/standard_method_codec.h"

namespace quorvin {
namespace {

constexpr const char* kPluginChannel = "quorvin";

FrameBytes shared(const Frame& frame) {
  return std::make_shared<const std::vector<std::uint8_t>>(frameOf(frame));
}

/// An event that stands for this one and for others. An error stands for itself.
std::vector<std::uint8_t> askAnew(const Value& event) {
  const auto* map = event.as<Map>();
  const Value* sequence = map == nullptr ? nullptr : find(*map, "sequence");
  return encodeSuccessEnvelope(Map{{"sequence", sequence == nullptr ? Value(0) : *sequence},
                                   {"inserted", List{}},
                                   {"changed", List{}},
                                   {"removed", List{}},
                                   {"galleries", List{}},
                                   {"complete", false}});
}

bool isSuccess(std::span<const std::uint8_t> message) {
  const auto envelope = decodeEnvelope(message);
  return envelope && std::holds_alternative<Value>(*envelope);
}

}  // namespace

ChannelHub::ChannelHub(Engine& engine) : engine_(engine) {
  engine_.receive([this](std::span<const std::uint8_t> message) { tell(message); });
}

void ChannelHub::add(std::string_view channel, ChannelHandler handler) {
  handlers_.insert_or_assign(std::string(channel), std::move(handler));
}

ChannelHub::Client ChannelHub::enter(ChannelOutlet& outlet) {
  seats_.emplace(++last_, Seat{.outlet = &outlet});
  return last_;
}

void ChannelHub::leave(Client client) {
  const auto seat = seats_.extract(client);
  if (seat.empty() || !seat.mapped().listens || anyListens()) return;
  engine_.send(kChangeChannelName, encodeMethodCall({"cancel", {}}),
               [](std::span<const std::uint8_t>) {});
}

void ChannelHub::call(Client client, const Frame& frame) {
  if (frame.channel == kChangeChannelName) return callChanges(client, frame);
  if (frame.channel == kPluginChannel) return sendToEngine(client, frame, false);
  const auto handler = handlers_.find(frame.channel);
  if (handler == handlers_.end()) return reply(client, {frame.number, frame.channel, {}});
  handler->second(frame.message, [this, client, number = frame.number,
                                  channel = handler->first](std::span<const std::uint8_t> message) {
    reply(client, {number, channel, message});
  });
}

void ChannelHub::callChanges(Client client, const Frame& frame) {
  const auto call = decodeMethodCall(frame.message);
  const auto seat = seats_.find(client);
  if (call && call->method == "cancel" && seat != seats_.end()) {
    seat->second.listens = false;
    // The engine goes on for the others.
    if (anyListens())
      return reply(client, {frame.number, frame.channel, encodeSuccessEnvelope({})});
  }
  sendToEngine(client, frame, call && call->method == "listen");
}

void ChannelHub::sendToEngine(Client client, const Frame& frame, bool listens) {
  engine_.send(frame.channel, frame.message,
               [this, client, listens, number = frame.number,
                channel = std::string(frame.channel)](std::span<const std::uint8_t> message) {
                 const auto seat = seats_.find(client);
                 if (seat == seats_.end()) return;
                 if (listens && isSuccess(message)) seat->second.listens = true;
                 reply(client, {number, channel, message});
               });
}

void ChannelHub::reply(Client client, const Frame& frame) {
  const auto seat = seats_.find(client);
  if (seat != seats_.end()) seat->second.outlet->reply(shared(frame));
}

void ChannelHub::tell(std::span<const std::uint8_t> message) {
  const auto envelope = decodeEnvelope(message);
  if (!envelope) return;
  const FrameBytes frame = shared({kUnaskedNumber, kChangeChannelName, message});
  const auto* event = std::get_if<Value>(&*envelope);
  const FrameBytes merged =
      event == nullptr ? frame : shared({kUnaskedNumber, kChangeChannelName, askAnew(*event)});
  for (auto& [client, seat] : seats_) {
    if (!seat.listens) continue;
    // After an error nobody is told of anything until it listens again.
    seat.listens = event != nullptr;
    seat.outlet->event(frame, merged);
  }
}

bool ChannelHub::anyListens() const {
  return std::ranges::any_of(seats_, [](const auto& entry) { return entry.second.listens; });
}

}  // namespace quorvin
