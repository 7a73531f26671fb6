// Method calls of the server's own, on the channel that its clients use.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "core/platform/host.h"
#include "host/engine.h"
#include "tool/serve/engine/mailbox.h"

namespace quorvin {

/// Platform thread.
class EngineCalls {
 public:
  /// Both outlive it.
  EngineCalls(Engine& engine, Mailbox& mailbox) : engine_(engine), mailbox_(mailbox) {}

  /// `then` is called later, and once; with "not implemented" also when the engine ends.
  void call(std::string method, Map arguments, std::function<void(FlutterReply)> then);

 private:
  Engine& engine_;
  Mailbox& mailbox_;
};

}  // namespace quorvin
