#include "platform_linux/library/changes/deletion_prompt.h"

#include <optional>
#include <utility>

#include "core/platform/foundation.h"

namespace quorvin {

class DeletionPrompt::Question {
 public:
  /// The first answer counts.
  void answer(bool isAllowed) {
    {
      const NSLockHolder held(lock_);
      if (!answer_) answer_ = isAllowed;
    }
    answered_.signal();
  }

  bool wait() {
    const NSLockHolder held(lock_);
    while (!answer_) answered_.wait(lock_);
    return *answer_;
  }

  bool isAnswered() {
    const NSLockHolder held(lock_);
    return answer_.has_value();
  }

 private:
  NSLock lock_;
  NSCondition answered_;
  std::optional<bool> answer_ QUORVIN_GUARDED_BY(lock_);
};

DeletionPrompt::DeletionPrompt(std::function<bool(std::size_t)> ask, DispatchQueue* mainQueue)
    : ask_(std::move(ask)), mainQueue_(mainQueue) {
  if (ask_ && mainQueue_ == nullptr) fatalError("A deletion is asked about without a main queue");
}

bool DeletionPrompt::allows(std::size_t assetCount) {
  if (!ask_) return true;
  const auto question = std::make_shared<Question>();
  {
    const NSLockHolder held(lock_);
    if (isWithdrawn_) return false;
    open_ = question;
  }
  // Goes with the queue's item: when that is dropped, nobody will answer.
  std::shared_ptr<Question> ticket(question.get(),
                                   [question](Question* dropped) { dropped->answer(false); });
  mainQueue_->async([ask = ask_, ticket = std::move(ticket), assetCount] {
    if (!ticket->isAnswered()) ticket->answer(ask(assetCount));
  });
  return question->wait();
}

void DeletionPrompt::withdraw() {
  const NSLockHolder held(lock_);
  isWithdrawn_ = true;
  if (open_ != nullptr) open_->answer(false);
}

}  // namespace quorvin
