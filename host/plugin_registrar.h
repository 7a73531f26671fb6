// What the engine hands to a plugin at registration.
#pragma once

#include <memory>
#include <vector>

#include "core/platform/host.h"
#include "core/platform/platform.h"

namespace quorvin {

/// Connects call delegates with their channels through the standard method codec: a message that is
/// no well-formed call is answered with no bytes, and so is a reply that cannot be encoded.
/// Platform thread.
class PluginRegistrar final : public FlutterPluginRegistrar {
 public:
  /// Both must outlive the registrar.
  PluginRegistrar(FlutterBinaryMessenger& messenger, Platform& platform)
      : messenger_(messenger), platform_(platform) {}

  FlutterBinaryMessenger& messenger() override { return messenger_; }
  Platform& platform() override { return platform_; }
  void addMethodCallDelegate(std::shared_ptr<FlutterMethodCallDelegate> delegate,
                             std::shared_ptr<FlutterMethodChannel> channel) override;

 private:
  FlutterBinaryMessenger& messenger_;
  Platform& platform_;
};

}  // namespace quorvin
