// The engine's event channel.
#ifndef QUORVIN_CLIENT_CHANGES_HPP_
#define QUORVIN_CLIENT_CHANGES_HPP_

#include <cstring>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <quorvin/client/codec.hpp>
#include <quorvin/client/engine.hpp>
#include <quorvin/client/replies.hpp>
#include <quorvin/client/requests.hpp>
#include <quorvin/client/result.hpp>
#include <utility>

namespace quorvin {
namespace client {

/// Is called on the platform thread for each change, and last with an error when the engine cannot
/// watch the library, or not any more.
using OnChange = std::function<void(const Result<Change>&)>;

/// Is listened to while there are listeners. The engine outlives it.
class ChangeChannel : public std::enable_shared_from_this<ChangeChannel> {
 public:
  explicit ChangeChannel(Engine& engine) : engine_(engine) {}

  /// Tells what is committed from now on; returns the listener's number.
  int add(OnChange onChange) {
    const std::weak_ptr<ChangeChannel> self = weak_from_this();
    if (listeners_.empty()) {
      engine_.receive([self](const char* channel, BytesView message) {
        if (const auto alive = self.lock()) alive->onMessage(channel, message);
      });
    }
    const int number = ++lastNumber_;
    listeners_.emplace(number, std::make_shared<const OnChange>(std::move(onChange)));
    // Listening twice is one subscription; each listener learns so whether its own failed.
    const Request<Done> request = requests::listen();
    engine_.send(request.channel, request.message(),
                 [self, number, request](std::optional<BytesView> reply) {
                   const auto listening = resultOf([&] { return request.result(reply); });
                   const auto alive = self.lock();
                   if (alive != nullptr && !listening) alive->end(number, listening.error());
                 });
    return number;
  }

  void remove(int number) {
    if (listeners_.erase(number) == 0 || !listeners_.empty() || !engine_.isOpen()) return;
    engine_.receive(nullptr);
    const Request<Done> request = requests::cancel();
    engine_.send(request.channel, request.message(), nullptr);
  }

  /// The engine ends: nobody is told anything any more.
  void close() { listeners_.clear(); }

  /// Takes what the engine sends by itself.
  void onMessage(const char* channel, BytesView message) {
    if (std::strcmp(channel, kChangeChannel) != 0) return;
    const auto change = resultOf([&] {
      const Value event = resultIn(message);
      return readChange(Place(kChangeChannel, event));
    });
    // They may come and go while they are told.
    const auto listeners = listeners_;
    for (const auto& [number, onChange] : listeners) {
      if (!change) {
        end(number, change.error());
      } else if (listeners_.count(number) != 0) {
        (*onChange)(change);
      }
    }
  }

 private:
  void end(int number, const Error* error) {
    const auto found = listeners_.find(number);
    if (found == listeners_.end()) return;
    const auto onChange = found->second;
    remove(number);
    (*onChange)(Result<Change>(error->copy()));
  }

  Engine& engine_;
  int lastNumber_ = 0;
  std::map<int, std::shared_ptr<const OnChange>> listeners_;
};

/// Listens to changes until it goes, or the library.
class Listening {
 public:
  Listening() = default;
  Listening(const std::shared_ptr<ChangeChannel>& channel, OnChange onChange)
      : channel_(channel), number_(channel->add(std::move(onChange))) {}
  Listening(Listening&& other) noexcept
      : channel_(std::exchange(other.channel_, {})), number_(other.number_) {}
  Listening& operator=(Listening&& other) noexcept {
    if (this == &other) return *this;
    stop();
    channel_ = std::exchange(other.channel_, {});
    number_ = other.number_;
    return *this;
  }
  ~Listening() { stop(); }

  void stop() {
    const auto channel = std::exchange(channel_, {}).lock();
    if (channel != nullptr) channel->remove(number_);
  }

 private:
  std::weak_ptr<ChangeChannel> channel_;
  int number_ = 0;
};

}  // namespace client
}  // namespace quorvin

#endif  // QUORVIN_CLIENT_CHANGES_HPP_
