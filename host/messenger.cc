#include "host/messenger.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace quorvin {

struct Messenger::Pending {
  ReplyReceiver receiver;
  bool answered = false;
  PendingList::iterator place;  ///< while unanswered
};

void Messenger::setMessageHandlerOnChannel(const std::string& channel,
                                           FlutterBinaryMessageHandler handler) {
  handlers_[channel] = std::make_shared<const FlutterBinaryMessageHandler>(std::move(handler));
}

void Messenger::send(std::string_view channel, std::span<const std::uint8_t> message,
                     ReplyReceiver receiver) {
  const auto found = handlers_.find(channel);
  if (closed_ || found == handlers_.end() || message.size() > kMaximumMessageSize) {
    receiver({});
    return;
  }
  const auto handler = found->second;  // it may be replaced while it runs
  const auto pending = std::make_shared<Pending>(Pending{std::move(receiver), false, {}});
  pending->place = unanswered_.insert(unanswered_.end(), pending);
  try {
    // `this` is used for the first answer alone, and close() gives that while the messenger lives.
    (*handler)(message,
               [this, pending](std::span<const std::uint8_t> reply) { answer(*pending, reply); });
  } catch (...) {
    // Memory ran out, most likely. The application learns that there is no answer.
    answer(*pending, {});
  }
}

bool Messenger::mayAnswer() const {
  // Copies of a reply come from copies of it alone: when only the list holds it, that is final.
  return std::ranges::any_of(unanswered_,
                             [](const auto& pending) { return pending.use_count() > 1; });
}

void Messenger::close() {
  closed_ = true;
  while (!unanswered_.empty()) {
    const auto pending = unanswered_.front();
    answer(*pending, {});
  }
}

void Messenger::answer(Pending& pending, std::span<const std::uint8_t> message) {
  if (pending.answered) return;
  pending.answered = true;
  const ReplyReceiver receiver = std::move(pending.receiver);
  const auto self = *pending.place;  // `pending` may hang on the list alone
  unanswered_.erase(self->place);
  receiver(message);
}

}  // namespace quorvin
