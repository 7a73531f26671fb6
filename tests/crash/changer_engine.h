// What the changer works with: an engine, and the line to whoever started it.
#pragma once

#include <quorvin/quorvin.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/platform/value.h"

namespace quorvin {

/// Tells a line.
void tell(std::vector<std::string> words);
/// Whether nobody listens any more.
bool isToEnd();

class Engine {
 public:
  Engine(const std::string& library, const std::string& temporary);

  explicit operator bool() const { return engine_ != nullptr; }

  /// None, and a line about it, when the reply is an error.
  std::optional<Value> call(const std::string& method, Value arguments);

 private:
  struct End {
    void operator()(QuorvinEngine* engine) const { quorvin_engine_destroy(engine); }
  };
  std::unique_ptr<QuorvinEngine, End> engine_;
};

}  // namespace quorvin
