#include "host/engine.h"

#include <functional>
#include <utility>

#include "core/plugin/plugin.h"

namespace quorvin {

Result<std::unique_ptr<Engine>> Engine::create(LinuxPlatformOptions options) {
  auto platform = LinuxPlatform::open(std::move(options));
  if (!platform) return platform.error();
  return std::unique_ptr<Engine>(new Engine(*std::move(platform)));
}

Engine::Engine(std::unique_ptr<LinuxPlatform> platform)
    : platform_(std::move(platform)),
      registrar_(messenger_, platform_->platform()),
      changes_(std::make_shared<ChangeChannel>(platform_->mainQueue(),
                                               [this](std::function<void()> ready) {
                                                 return platform_->watchLibrary(std::move(ready));
                                               })) {
  QuorvinPlugin::registerWithRegistrar(registrar_);
  registrar_.addMethodCallDelegate(
      changes_, FlutterMethodChannel::methodChannelWithName(kChangeChannelName, messenger_));
}

void Engine::shutDown() {
  // First whatever could still answer: an answer of its own is worth more than none, but must not
  // come while the messenger gives that out.
  changes_->close();
  platform_->shutDown();
  messenger_.close();
}

}  // namespace quorvin
