#include "platform_linux/library/catalogue/readers.h"

#include <utility>

namespace quorvin {
namespace {

constexpr std::size_t kIdleConnections = 8;
// For a connection, where the process cannot open another.
constexpr std::chrono::seconds kPatience{10};
// Nobody who reads takes so long; whoever keeps a result does without a connection from then on.
constexpr std::chrono::seconds kLongMoment{3};

// The first read of a connection opens the log as well.
Result<std::unique_ptr<Database>> readOnce(Result<std::unique_ptr<Database>> opened) {
  if (opened && !(*opened)->integer("PRAGMA user_version")) return unreadable(**opened);
  return opened;
}

}  // namespace

Result<ReadConnection> Readers::borrow() {
  letGo(kLongMoment);
  const auto limit = std::chrono::steady_clock::now() + kPatience;
  for (;;) {
    {
      NSLockHolder holder(lock_);
      if (!idle_.empty()) {
        // The one that was used last knows the newest state, as a rule.
        ReadConnection connection = std::move(idle_.back());
        idle_.pop_back();
        ++lent_;
        return connection;
      }
    }
    auto opened = readOnce(connect_());
    if (!opened && !opened.error().isOfDescriptors) return opened.error();
    if (!opened) {
      // Another's connection does as well.
      if (const auto held = longest({})) {
        held->letGo();
        continue;
      }
    }
    NSLockHolder holder(lock_);
    if (opened) {
      ++lent_;
      ReadConnection connection;
      connection.database = *std::move(opened);
      return connection;
    }
    if (idle_.empty() && (lent_ == 0 || !givenBack_.waitUntil(lock_, limit))) {
      return opened.error();
    }
  }
}

void Readers::giveBack(ReadConnection connection) {
  if (connection.database == nullptr) return;
  // One that met damage would go on to say so after a repair.
  if (connection.database->hasMetDamage()) connection = {};
  {
    NSLockHolder holder(lock_);
    --lent_;
    if (connection.database != nullptr && idle_.size() < kIdleConnections) {
      idle_.push_back(std::move(connection));
    }
  }
  givenBack_.broadcast();
}

Done Readers::hold(std::size_t connections) {
  for (std::size_t i = 0; i < connections; ++i) {
    auto opened = readOnce(connect_());
    if (!opened) return opened.error();
    ReadConnection connection;
    connection.database = *std::move(opened);
    NSLockHolder holder(lock_);
    idle_.push_back(std::move(connection));
  }
  return Null{};
}

void Readers::close() {
  NSLockHolder holder(lock_);
  idle_.clear();
}

void Readers::enlist(const std::shared_ptr<MomentHolder>& holder) {
  NSLockHolder locked(lock_);
  while (!held_.empty() && held_.front().holder.expired()) held_.pop_front();
  while (!held_.empty() && held_.back().holder.expired()) held_.pop_back();
  held_.push_back({std::chrono::steady_clock::now(), holder});
}

std::shared_ptr<MomentHolder> Readers::longest(std::chrono::steady_clock::duration since) {
  // The last one to have it destroys it: not under the lock.
  std::shared_ptr<MomentHolder> holder;
  NSLockHolder locked(lock_);
  while (!held_.empty()) {
    holder = held_.front().holder.lock();
    if (holder != nullptr && std::chrono::steady_clock::now() - held_.front().since < since) {
      return nullptr;
    }
    held_.pop_front();
    if (holder != nullptr) return holder;
  }
  return nullptr;
}

void Readers::letGo(std::chrono::steady_clock::duration since) {
  while (const auto holder = longest(since)) holder->letGo();
}

}  // namespace quorvin
