// What the tests of the C interface share: a library in a folder of its own, engines on it, and
// replies that are counted.
#pragma once

#include <gtest/gtest.h>
#include <quorvin/quorvin.h>

#include <cstdint>
#include <filesystem>
#include <list>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "core/platform/value.h"

namespace quorvin {

using Bytes = std::vector<std::uint8_t>;

/// What came back for one message.
struct Answer {
  int count = 0;  ///< calls of the callback
  Bytes message;  ///< the last one's
  std::thread::id thread{};

  static void record(const std::uint8_t* message, std::size_t size, void* answer);
};

/// The call as a message.
Bytes callMessage(const std::string& method, Value arguments = {});

/// True when something can be read from the descriptor within the time, in milliseconds.
bool isReadable(int fd, int timeoutMs);

struct EngineEnd {
  void operator()(QuorvinEngine* engine) const { quorvin_engine_destroy(engine); }
};
using EnginePointer = std::unique_ptr<QuorvinEngine, EngineEnd>;

class EngineFixture : public testing::Test {
 protected:
  EngineFixture();
  ~EngineFixture() override;

  /// Full access for the engine alone, version "17.2", no prompt.
  QuorvinOptions options() const;
  /// Fails the test when the engine does not open.
  EnginePointer open(const QuorvinOptions& options);
  EnginePointer open() { return open(options()); }

  /// Sends a message; the answer lives as long as the test.
  Answer& send(QuorvinEngine* engine, const Bytes& message, const char* channel = "quorvin");
  Answer& call(QuorvinEngine* engine, const std::string& method, Value arguments = {}) {
    return send(engine, callMessage(method, std::move(arguments)));
  }
  /// Runs the engine until the answer is there; fails the test when it does not come.
  void await(QuorvinEngine* engine, const Answer& answer);
  /// Calls, awaits, and returns the result; fails the test when the reply is none.
  Value result(QuorvinEngine* engine, const std::string& method, Value arguments = {});

  std::string libraryPath() const { return folder_ / "library"; }
  const std::filesystem::path& folder() const { return folder_; }

 private:
  std::filesystem::path folder_;
  std::string libraryPath_;
  std::string temporaryPath_;
  std::list<Answer> answers_;  // before any engine, which may answer when it ends
};

}  // namespace quorvin
