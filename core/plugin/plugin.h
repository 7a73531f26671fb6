// The plugin: one channel, one manager, and the dispatch of every call.
#pragma once

#include <memory>

#include "core/manager/image_manager.h"
#include "core/platform/host.h"
#include "core/platform/platform.h"

namespace quorvin {

/// What a host's plugin registry calls, once per engine, on the platform thread.
struct QuorvinPlugin {
  static void registerWithRegistrar(FlutterPluginRegistrar& registrar);
};

/// The delegate of the channel "quorvin". It lives as long as the registrar keeps it, and work
/// items that run its handlers keep it alive too.
class SwiftQuorvinPlugin : public FlutterMethodCallDelegate,
                           public std::enable_shared_from_this<SwiftQuorvinPlugin> {
 public:
  /// Makes the channel, the plugin and its manager, and adds the plugin as the channel's delegate.
  static void registerWith(FlutterPluginRegistrar& registrar);

  SwiftQuorvinPlugin(std::shared_ptr<FlutterMethodChannel> channel, Platform& platform);

  /// Platform thread. Finds the handler by the call's exact method name and runs it here or on the
  /// background queue; returns at once. An unknown name is answered before it returns.
  void handle(FlutterMethodCall call, FlutterResult result) override;

 private:
  friend class SwiftQuorvinPluginPeer;
  friend struct MethodTable;

  void getPlatformVersion(const FlutterResult& result);

  const std::shared_ptr<FlutterMethodChannel> channel;
  Platform& platform;
  /// Set in the constructor and never again. Calls that find none get no reply.
  std::shared_ptr<ImageManager> manager;
};

}  // namespace quorvin
