// Engines on libraries in a folder of a test's own, and replies that are counted.
#pragma once

#include <gtest/gtest.h>
#include <quorvin/quorvin.h>

#include <cstdint>
#include <filesystem>
#include <list>
#include <memory>
#include <string>
#include <vector>

#include "core/platform/host.h"
#include "core/platform/value.h"
#include "testing/engine/answer.h"

namespace quorvin {

using Bytes = std::vector<std::uint8_t>;

/// The call as a message.
Bytes callMessage(const std::string& method, Value arguments = {});

/// True when something can be read from the descriptor within the time, in milliseconds.
bool isReadable(int fd, int timeoutMs);

struct EngineEnd {
  void operator()(QuorvinEngine* engine) const { quorvin_engine_destroy(engine); }
};
using EnginePointer = std::unique_ptr<QuorvinEngine, EngineEnd>;

/// A folder, engines that work in it, and their answers. Made before any engine, ends after all.
class Engines {
 public:
  Engines();
  ~Engines();
  Engines(const Engines&) = delete;
  Engines& operator=(const Engines&) = delete;

  /// Full access for the engine alone, version "17.2", no prompt.
  QuorvinOptions options() const;
  /// Fails the test when the engine does not open.
  EnginePointer open(const QuorvinOptions& options);
  EnginePointer open() { return open(options()); }
  /// The same on another library.
  EnginePointer openLibrary(const std::string& path, int authorization = 3);

  /// Sends a message; the answer lives as long as the test.
  Answer& send(QuorvinEngine* engine, const Bytes& message, const char* channel = "quorvin");
  Answer& call(QuorvinEngine* engine, const std::string& method, Value arguments = {}) {
    return send(engine, callMessage(method, std::move(arguments)));
  }
  /// Runs the engine until the answer is there; fails the test when it does not come.
  void await(QuorvinEngine* engine, const Answer& answer);
  /// Calls, awaits, and returns the result; fails the test when the reply is none.
  Value result(QuorvinEngine* engine, const std::string& method, Value arguments = {});
  /// Calls, awaits, and returns the error; fails the test when the reply is none.
  FlutterError error(QuorvinEngine* engine, const std::string& method, Value arguments = {});

  std::string libraryPath() const { return folder_ / "library"; }
  const std::filesystem::path& folder() const { return folder_; }

 private:
  std::filesystem::path folder_;
  std::string libraryPath_;
  std::string temporaryPath_;
  std::list<Answer> answers_;  // before any engine, which may answer when it ends
};

}  // namespace quorvin
