#include "testing/fakes/fake_dispatch.h"

#include <iterator>
#include <utility>

namespace quorvin {
namespace {

thread_local ManualQueue::Position currentPosition;

}  // namespace

ManualQueue::Position ManualQueue::current() {
  return currentPosition;
}

void ManualQueue::async(std::function<void()> work) {
  log_.add(name_ + ".async");
  {
    const std::lock_guard guard(mutex_);
    items_.push_back({++submitted_, std::move(work)});
  }
  if (afterAsync) afterAsync();
}

std::size_t ManualQueue::waiting() const {
  const std::lock_guard guard(mutex_);
  return items_.size();
}

bool ManualQueue::runNext(std::size_t index) {
  Item item = take(index);
  if (!item.work) return false;
  run(std::move(item));
  return true;
}

bool ManualQueue::runNextOnNewThread(std::size_t index) {
  Item item = take(index);
  if (!item.work) return false;
  std::thread([this, &item] { run(std::move(item)); }).join();
  return true;
}

std::thread ManualQueue::start(std::size_t index) {
  return std::thread([this, item = take(index)]() mutable { run(std::move(item)); });
}

ManualQueue::Item ManualQueue::take(std::size_t index) {
  const std::lock_guard guard(mutex_);
  if (index >= items_.size()) return {};
  Item item = std::move(items_[index]);
  items_.erase(std::next(items_.begin(), static_cast<std::ptrdiff_t>(index)));
  return item;
}

void ManualQueue::run(Item item) const {
  const Position outer = std::exchange(currentPosition, Position{this, item.number});
  item.work();
  // What the item holds is released as part of it.
  item.work = nullptr;
  currentPosition = outer;
}

void FakeDispatch::runToEnd() {
  while (background.runNextOnNewThread() || main.runNext()) {
  }
}

}  // namespace quorvin
