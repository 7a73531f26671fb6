// The connections for reading, and those who hold on to a moment with one.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <vector>

#include "core/platform/lock.h"
#include "platform_linux/errors/failure.h"
#include "platform_linux/library/catalogue/overview.h"
#include "platform_linux/library/database/sqlite.h"

namespace quorvin {

/// A connection, and what it read of the newest state that it has seen.
struct ReadConnection {
  std::unique_ptr<Database> database;
  std::int64_t version = 0;  ///< by which SQLite tells this connection one state from another
  PHAuthorizationStatus status = PHAuthorizationStatus::notDetermined;
  std::shared_ptr<const Overview> overview;                 ///< null: not asked for yet
  std::vector<std::shared_ptr<const CollectionRow>> found;  ///< a few, as long as there is none
};

/// Keeps a connection for a moment that it shows. Any thread.
class MomentHolder {
 public:
  virtual ~MomentHolder() = default;
  /// Goes on without the connection.
  virtual void letGo() = 0;
};

/// Lends connections. Any thread, several at once.
class Readers {
 public:
  using Connect = std::function<Result<std::unique_ptr<Database>>()>;
  explicit Readers(Connect connect) : connect_(std::move(connect)) {}

  /// Where the process has no descriptor for another one, whoever holds a moment lets go of it; and
  /// what is lent otherwise is waited for, for a while.
  Result<ReadConnection> borrow();
  void giveBack(ReadConnection connection);
  /// Opens so many, and keeps them.
  Done hold(std::size_t connections);
  void close();

  /// Who holds a moment for longer than one call says so.
  void enlist(const std::shared_ptr<MomentHolder>& holder);
  /// Those who have held one for so long let go of it: an old moment keeps the log from being
  /// emptied.
  void letGo(std::chrono::steady_clock::duration since);

 private:
  struct Held {
    std::chrono::steady_clock::time_point since;
    std::weak_ptr<MomentHolder> holder;
  };

  /// The one who has held longest, if that is so long; null when nobody has.
  std::shared_ptr<MomentHolder> longest(std::chrono::steady_clock::duration since);

  const Connect connect_;
  NSLock lock_;
  std::vector<ReadConnection> idle_ QUORVIN_GUARDED_BY(lock_);
  std::size_t lent_ QUORVIN_GUARDED_BY(lock_) = 0;
  std::list<Held> held_ QUORVIN_GUARDED_BY(lock_);  // in the order of time
  NSCondition givenBack_;
};

}  // namespace quorvin
