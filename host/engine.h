// One engine: the plugin on one photo library, and the messenger that reaches it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string_view>
#include <utility>

#include "host/change_channel.h"
#include "host/messenger.h"
#include "host/plugin_registrar.h"
#include "platform_linux/dispatch/main_queue.h"
#include "platform_linux/errors/failure.h"
#include "platform_linux/linux_platform.h"

namespace quorvin {

/// Everything happens on the thread that makes the engine, the platform thread, except `fd`.
class Engine {
 public:
  /// Opens the platform and registers the plugin.
  static Result<std::unique_ptr<Engine>> create(LinuxPlatformOptions options);
  ~Engine() { shutDown(); }

  /// Messages of an engine that is shut down are answered with no bytes.
  void send(std::string_view channel, std::span<const std::uint8_t> message,
            ReplyReceiver receiver) {
    messenger_.send(channel, message, std::move(receiver));
  }

  /// What the engine sends of its own comes inside `run`, on `kChangeChannelName`. Empty: nobody
  /// receives it.
  void receive(MessageReceiver receiver) { changes_->receive(std::move(receiver)); }

  /// False when no unanswered message can be answered any more, other than by `shutDown`.
  bool mayAnswer() const { return messenger_.mayAnswer(); }

  /// For who does with the library what no method does. Valid as long as the engine lives.
  Platform& platform() { return platform_->platform(); }

  /// As of `MainQueue`.
  int fd() const { return platform_->mainQueue().fd(); }
  std::size_t run(int timeoutMs) { return platform_->mainQueue().run(timeoutMs); }

  /// Ends all work of the plugin and of the platform, then answers what is unanswered with no
  /// bytes. Nothing calls back afterwards. May be called by a receiver, and again.
  void shutDown();

 private:
  explicit Engine(std::unique_ptr<LinuxPlatform> platform);

  const std::unique_ptr<LinuxPlatform> platform_;
  Messenger messenger_;  // holds the plugin, which uses the platform: goes first
  PluginRegistrar registrar_;
  const std::shared_ptr<ChangeChannel> changes_;
};

}  // namespace quorvin
