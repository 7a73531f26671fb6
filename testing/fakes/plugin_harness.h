// The plugin, registered on the fake platform, and a view into its manager.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "core/manager/image_manager.h"
#include "core/plugin/plugin.h"
#include "testing/fakes/fake_host.h"
#include "testing/fakes/fake_platform.h"
#include "testing/fakes/recorded_reply.h"

namespace quorvin {

/// Sees what the manager keeps to itself. Any thread.
class ImageManagerPeer {
 public:
  explicit ImageManagerPeer(std::shared_ptr<ImageManager> manager) : manager_(std::move(manager)) {}

  /// Asked from a thread of its own, so that the lock's holder may ask too.
  bool lockIsHeld() const;
  /// True when a thread sleeps until the lock is free.
  bool lockIsAwaited() const;
  /// Sorted.
  std::vector<std::string> cachedIdentifiers() const;
  std::shared_ptr<const PHAsset> cachedAsset(const std::string& identifier) const;
  void cache(std::shared_ptr<const PHAsset> asset) const;

  std::shared_ptr<const PHAsset> getPHAsset(const std::string& identifier) const;
  std::optional<std::string> getResourceName(const PHAsset& asset) const;
  void sendResult(FlutterResult result, Value value) const;
  void sendError(FlutterResult result, const std::string& code, const std::string& message) const;
  void sendError(FlutterResult result, const std::string& code, const std::string& message,
                 Value details) const;
  std::shared_ptr<FlutterMethodChannel> channel() const;
  PHImageManager* imageManager() const;

 private:
  const std::shared_ptr<ImageManager> manager_;
};

/// Sees what the plugin keeps to itself.
class SwiftQuorvinPluginPeer {
 public:
  static std::shared_ptr<ImageManager>& manager(SwiftQuorvinPlugin& plugin);
  static std::shared_ptr<FlutterMethodChannel> channel(const SwiftQuorvinPlugin& plugin);
};

/// Lives and calls on one thread, the platform thread.
class PluginHarness {
 public:
  enum class Has { imageManager, noImageManager };

  explicit PluginHarness(OnMisuse onMisuse, Has has = Has::imageManager);
  ~PluginHarness();
  PluginHarness(const PluginHarness&) = delete;
  PluginHarness& operator=(const PluginHarness&) = delete;

  /// Hands the call to the delegate on this thread; queued work waits.
  RecordedReply call(const std::string& method, Value arguments = {});
  /// The same, and then runs all queued work, changes of the library too.
  RecordedReply answer(const std::string& method, Value arguments = {});
  void runToEnd();

  SwiftQuorvinPlugin& plugin();
  ImageManagerPeer manager();

  FakePlatform platform;
  FakeRegistrar registrar;
  EventLog& log = platform.log;
  FakePhotoLibrary& library = platform.library;

 private:
  const OnMisuse onMisuse_;
};

}  // namespace quorvin
