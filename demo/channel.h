// The plugin's channel, through the C interface.
#pragma once

#include <quorvin/quorvin.h>

#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <variant>
#include <vector>

#include "core/platform/host.h"
#include "core/platform/value.h"

namespace quorvin {

/// One engine on one library. One thread.
class Channel {
 public:
  /// Prints the reason and ends the program when the library does not open.
  Channel(const std::string& library, const std::string& temporary);

  /// Sends a call and runs the engine until it is answered. Ends the program when no reply comes.
  FlutterReply call(const std::string& method, const Value& arguments);

  /// Begins to gather what the engine tells of changes. False when it refuses.
  bool listen();
  /// Runs the engine until it told of another change. Ends the program when none comes.
  Value nextEvent();

 private:
  struct EngineEnd {
    void operator()(QuorvinEngine* engine) const { quorvin_engine_destroy(engine); }
  };
  FlutterReply send(const char* channel, const std::string& method, const Value& arguments);

  std::unique_ptr<QuorvinEngine, EngineEnd> engine_;
  std::deque<Value> events_;
};

}  // namespace quorvin
