#include "host/change_channel.h"

#include <iterator>
#include <new>
#include <string>
#include <vector>

#include "codec/standard_method_codec.h"

namespace quorvin {
namespace {

List listOf(std::vector<std::string> identifiers) {
  return {std::make_move_iterator(identifiers.begin()), std::make_move_iterator(identifiers.end())};
}

std::vector<std::uint8_t> messageOf(LibraryChange change) {
  return encodeSuccessEnvelope(Map{{"sequence", change.sequence},
                                   {"inserted", listOf(std::move(change.inserted))},
                                   {"changed", listOf(std::move(change.changed))},
                                   {"removed", listOf(std::move(change.removed))},
                                   {"galleries", listOf(std::move(change.galleries))},
                                   {"complete", change.complete}});
}

}  // namespace

struct ChangeChannel::Subscription {
  std::unique_ptr<LibraryWatch> watch;
};

void ChangeChannel::handle(FlutterMethodCall call, FlutterResult result) {
  if (call.method == "listen") {
    result(listen());
  } else if (call.method == "cancel") {
    cancel();
    result(Value());
  } else {
    result(FlutterMethodNotImplemented);
  }
}

FlutterReply ChangeChannel::listen() {
  if (subscription_ == nullptr) {
    if (auto error = subscribe()) return *std::move(error);
  }
  isListenedTo_ = true;
  return Value();
}

void ChangeChannel::cancel() {
  isListenedTo_ = false;
  suspend();
}

void ChangeChannel::receive(MessageReceiver receiver) {
  receiver_ = std::move(receiver);
  if (!receiver_) return suspend();
  if (!isListenedTo_ || subscription_ != nullptr) return;
  const auto error = subscribe();
  if (!error) return;
  isListenedTo_ = false;
  mainQueue_.async([this, message = encodeErrorEnvelope(*error)] { send(message); });
}

void ChangeChannel::close() {
  cancel();
  receiver_ = nullptr;
}

void ChangeChannel::suspend() {
  if (subscription_ == nullptr) return;
  // An event on its way holds the subscription, but is not to find a watch there.
  subscription_->watch.reset();
  subscription_.reset();
}

std::optional<FlutterError> ChangeChannel::subscribe() {
  auto subscription = std::make_shared<Subscription>();
  // Only the platform thread ever turns the weak pointer into one that keeps the watch.
  auto watch = watching_([this, weak = std::weak_ptr(subscription)] {
    mainQueue_.async([this, weak] {
      if (const auto present = weak.lock()) deliver(*present);
    });
  });
  if (!watch) {
    return FlutterError::errorWithCode("Error", "Failed to watch the library",
                                       watch.error().sentence());
  }
  subscription->watch = *std::move(watch);
  subscription_ = std::move(subscription);
  return std::nullopt;
}

void ChangeChannel::deliver(Subscription& subscription) {
  if (subscription.watch == nullptr) return;
  auto change = subscription.watch->take();
  if (!change || !receiver_) return;
  const std::int64_t sequence = change->sequence;
  std::vector<std::uint8_t> message;
  try {
    message = messageOf(*std::move(change));
  } catch (const std::bad_alloc&) {
    message = messageOf({.sequence = sequence, .complete = false});
  }
  send(message);
}

void ChangeChannel::send(std::span<const std::uint8_t> message) {
  const MessageReceiver receiver = receiver_;  // it may be replaced while it runs
  if (receiver) receiver(message);
}

}  // namespace quorvin
