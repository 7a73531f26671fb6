#include "core/plugin/plugin.h"

#include <utility>

#include "core/platform/dispatch.h"
#include "core/plugin/method_table.h"

namespace quorvin {

void QuorvinPlugin::registerWithRegistrar(FlutterPluginRegistrar& registrar) {
  SwiftQuorvinPlugin::registerWith(registrar);
}

void SwiftQuorvinPlugin::registerWith(FlutterPluginRegistrar& registrar) {
  auto channel = FlutterMethodChannel::methodChannelWithName("quorvin", registrar.messenger());
  auto plugin = std::make_shared<SwiftQuorvinPlugin>(channel, registrar.platform());
  registrar.addMethodCallDelegate(std::move(plugin), std::move(channel));
}

SwiftQuorvinPlugin::SwiftQuorvinPlugin(std::shared_ptr<FlutterMethodChannel> theChannel,
                                       Platform& thePlatform)
    : channel(std::move(theChannel)),
      platform(thePlatform),
      manager(std::make_shared<ImageManager>(channel, platform)) {}

void SwiftQuorvinPlugin::handle(FlutterMethodCall call, FlutterResult result) {
  auto holder = std::make_shared<const FlutterResult>(std::move(result));
  const MethodTable::Method* method = MethodTable::find(call.method);
  if (method == nullptr) return (*holder)(FlutterMethodNotImplemented);
  if (method->runs == MethodTable::Runs::inlined) return method->handler(*this, call, holder);
  platform.dispatch.globalQueue(QualityOfService::background)
      .async([self = shared_from_this(), handler = method->handler, call = std::move(call),
              holder = std::move(holder)] { handler(*self, call, holder); });
}

void SwiftQuorvinPlugin::getPlatformVersion(const FlutterResult& result) {
  result(Value("iOS " + platform.currentDevice.systemVersion()));
}

}  // namespace quorvin
