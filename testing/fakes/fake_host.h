// The host framework without a codec: a registrar that gives the test its delegates.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "core/platform/host.h"
#include "testing/fakes/event_log.h"

namespace quorvin {

class FakeMessenger : public FlutterBinaryMessenger {
 public:
  void setMessageHandlerOnChannel(const std::string& channel,
                                  FlutterBinaryMessageHandler handler) override {
    handlers[channel] = std::move(handler);
  }

  std::map<std::string, FlutterBinaryMessageHandler> handlers;
};

/// Logs "registrar.messenger" and "addMethodCallDelegate CHANNEL".
class FakeRegistrar : public FlutterPluginRegistrar {
 public:
  struct Registration {
    std::shared_ptr<FlutterMethodCallDelegate> delegate;
    std::shared_ptr<FlutterMethodChannel> channel;
  };

  FakeRegistrar(EventLog& log, Platform& platform) : log_(log), platform_(platform) {}

  FlutterBinaryMessenger& messenger() override {
    log_.add("registrar.messenger");
    return fakeMessenger;
  }
  Platform& platform() override { return platform_; }
  void addMethodCallDelegate(std::shared_ptr<FlutterMethodCallDelegate> delegate,
                             std::shared_ptr<FlutterMethodChannel> channel) override {
    log_.add("addMethodCallDelegate " + channel->name());
    registrations.push_back({std::move(delegate), std::move(channel)});
  }

  FakeMessenger fakeMessenger;
  std::vector<Registration> registrations;

 private:
  EventLog& log_;
  Platform& platform_;
};

}  // namespace quorvin
