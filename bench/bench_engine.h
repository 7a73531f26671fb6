// An engine as an embedder has it, and what it is opened on.
#pragma once

#include <quorvin/quorvin.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "core/platform/value.h"

namespace quorvin {

/// A new folder, removed with all that is in it.
class BenchFolder {
 public:
  BenchFolder();
  ~BenchFolder();
  BenchFolder(const BenchFolder&) = delete;
  BenchFolder& operator=(const BenchFolder&) = delete;

  std::string operator/(const std::string& name) const { return path_ + "/" + name; }

 private:
  std::string path_;
};

/// A call's message.
std::vector<std::uint8_t> callMessage(const std::string& method, Value arguments);

/// An engine with full access. What fails ends the program: there is nothing to measure then.
class BenchEngine {
 public:
  explicit BenchEngine(const std::string& library);

  /// Sends, runs the engine until the reply is there, and returns its size. The reply is not
  /// copied.
  std::size_t send(const std::vector<std::uint8_t>& message);
  /// Sends all of them, and runs the engine until every reply is there.
  void sendAll(const std::vector<std::vector<std::uint8_t>>& messages);
  /// As `send`, decoded. An error reply ends the program.
  Value call(const std::string& method, Value arguments);

 private:
  struct End {
    void operator()(QuorvinEngine* engine) const { quorvin_engine_destroy(engine); }
  };
  std::unique_ptr<QuorvinEngine, End> engine_;
};

}  // namespace quorvin
