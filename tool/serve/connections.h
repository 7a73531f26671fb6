// The connections that are open.
#pragma once

#include <algorithm>
#include <cstddef>
#include <functional>
#include <unordered_set>

namespace quorvin {

class Connection {
 public:
  virtual ~Connection() = default;
  /// Whether it was of use before, and waits for more.
  virtual bool isIdle() const = 0;
  /// Ends what idles, and the rest once it is answered.
  virtual void end() = 0;
  /// Ends whatever is under way.
  virtual void abort() = 0;
};

/// Platform thread.
class Connections {
 public:
  /// `closed` is called whenever one goes.
  explicit Connections(std::function<void()> closed) : closed_(std::move(closed)) {}

  void add(Connection& connection) { open_.insert(&connection); }
  void remove(Connection& connection) {
    open_.erase(&connection);
    closed_();
  }
  std::size_t count() const { return open_.size(); }
  bool isAnyInUse() const {
    return std::ranges::any_of(open_, [](const Connection* each) { return !each->isIdle(); });
  }

  void endIdle() {
    each([](Connection& connection) {
      if (connection.isIdle()) connection.end();
    });
  }
  void endAll() {
    each([](Connection& connection) { connection.end(); });
  }
  void abortAll() {
    each([](Connection& connection) { connection.abort(); });
  }

 private:
  /// Of those that are there now, each that is still there in its turn.
  void each(const std::function<void(Connection&)>& visit) {
    for (Connection* connection : std::unordered_set(open_)) {
      if (open_.contains(connection)) visit(*connection);
    }
  }

  const std::function<void()> closed_;
  std::unordered_set<Connection*> open_;
};

}  // namespace quorvin
