// What other threads found out, brought to the thread that asked.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <utility>

namespace quorvin {

/// Continuations stay on the thread that asks, and end with the mailbox: others hold their numbers
/// alone. What is never answered is never called.
class Mailbox : public std::enable_shared_from_this<Mailbox> {
 public:
  /// `post` runs an item on the thread that asks, soon; it may be called on any thread, as long as
  /// the mailbox lives.
  explicit Mailbox(std::function<void(std::function<void()>)> post) : post_(std::move(post)) {}

  /// Gives the function that answers: on any thread, and once.
  template <class T>
  std::function<void(T)> expect(std::function<void(T)> then) {
    const std::uint64_t number = ++last_;
    waiting_.emplace(number, [then = std::move(then)](void* found) {
      then(std::move(*static_cast<T*>(found)));
    });
    return [self = shared_from_this(), number](T found) {
      const auto kept = std::make_shared<T>(std::move(found));
      Mailbox* const box = self.get();
      self->post_([box, number, kept] { box->deliver(number, kept.get()); });
    };
  }

  /// What waits is let go of, and never called.
  void clear() { waiting_.clear(); }

 private:
  void deliver(std::uint64_t number, void* found) {
    const auto then = waiting_.extract(number);
    if (!then.empty()) then.mapped()(found);
  }

  const std::function<void(std::function<void()>)> post_;
  std::map<std::uint64_t, std::function<void(void*)>> waiting_;
  std::uint64_t last_ = 0;
};

}  // namespace quorvin
