// The connections that are open.
#pragma once

#include <cstddef>
#include <functional>
#include <unordered_set>

namespace quorvin {

class Connection {
 public:
  virtual ~Connection() = default;
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

  void endAll() {
    for (Connection* connection : std::unordered_set(open_)) {
      if (open_.contains(connection)) connection->end();
    }
  }
  void abortAll() {
    for (Connection* connection : std::unordered_set(open_)) {
      if (open_.contains(connection)) connection->abort();
    }
  }

 private:
  const std::function<void()> closed_;
  std::unordered_set<Connection*> open_;
};

}  // namespace quorvin
