#include "testing/fakes/plugin_harness.h"

#include <pthread.h>

#include <algorithm>
#include <mutex>
#include <thread>
#include <utility>

#include "core/plugin/plugin.h"

namespace quorvin {
namespace {

ResultHolder hold(FlutterResult result) {
  return std::make_shared<const FlutterResult>(std::move(result));
}

}  // namespace

bool ImageManagerPeer::lockIsHeld() const {
  bool held = true;
  std::thread([this, &held] {
    if (manager_->lock.tryLock()) {
      manager_->lock.unlock();
      held = false;
    }
  }).join();
  return held;
}

bool ImageManagerPeer::lockIsAwaited() const {
  // The C library marks a mutex that somebody waits for with 2. Nobody else can tell.
  static_assert(sizeof(NSLock) == sizeof(std::mutex));
  const pthread_mutex_t& mutex = *reinterpret_cast<std::mutex&>(manager_->lock).native_handle();
  return __atomic_load_n(&mutex.__data.__lock, __ATOMIC_ACQUIRE) == 2;
}

std::vector<std::string> ImageManagerPeer::cachedIdentifiers() const {
  std::vector<std::string> identifiers;
  {
    const NSLockHolder holder(manager_->lock);
    for (const auto& [identifier, asset] : manager_->assetMap) identifiers.push_back(identifier);
  }
  std::ranges::sort(identifiers);
  return identifiers;
}

std::shared_ptr<const PHAsset> ImageManagerPeer::cachedAsset(const std::string& identifier) const {
  const NSLockHolder holder(manager_->lock);
  const auto found = manager_->assetMap.find(identifier);
  return found == manager_->assetMap.end() ? nullptr : found->second;
}

void ImageManagerPeer::cache(std::shared_ptr<const PHAsset> asset) const {
  const NSLockHolder holder(manager_->lock);
  const std::string& identifier = asset->localIdentifier;
  manager_->assetMap.insert_or_assign(identifier, std::move(asset));
}

std::shared_ptr<const PHAsset> ImageManagerPeer::getPHAsset(const std::string& identifier) const {
  return manager_->getPHAsset(identifier);
}

std::optional<std::string> ImageManagerPeer::getResourceName(const PHAsset& asset) const {
  return manager_->getResourceName(asset);
}

void ImageManagerPeer::sendResult(FlutterResult result, Value value) const {
  manager_->sendResult(hold(std::move(result)), std::move(value));
}

void ImageManagerPeer::sendError(FlutterResult result, const std::string& code,
                                 const std::string& message) const {
  manager_->sendError(hold(std::move(result)), code, message);
}

void ImageManagerPeer::sendError(FlutterResult result, const std::string& code,
                                 const std::string& message, Value details) const {
  manager_->sendError(hold(std::move(result)), code, message, std::move(details));
}

std::shared_ptr<FlutterMethodChannel> ImageManagerPeer::channel() const {
  return manager_->channel;
}

PHImageManager* ImageManagerPeer::imageManager() const {
  return manager_->imageManager;
}

std::shared_ptr<ImageManager>& SwiftQuorvinPluginPeer::manager(SwiftQuorvinPlugin& plugin) {
  return plugin.manager;
}

std::shared_ptr<FlutterMethodChannel> SwiftQuorvinPluginPeer::channel(
    const SwiftQuorvinPlugin& plugin) {
  return plugin.channel;
}

PluginHarness::PluginHarness(OnMisuse onMisuse, Has has)
    : platform(onMisuse),
      registrar(platform.log, platform.platform()),
      onMisuse_(std::move(onMisuse)) {
  if (has == Has::noImageManager) platform.removeImageManager();
  QuorvinPlugin::registerWithRegistrar(registrar);
}

PluginHarness::~PluginHarness() = default;

RecordedReply PluginHarness::call(const std::string& method, Value arguments) {
  RecordedReply reply(method, platform.log, onMisuse_);
  plugin().handle({method, std::move(arguments)}, reply.callback());
  return reply;
}

RecordedReply PluginHarness::answer(const std::string& method, Value arguments) {
  RecordedReply reply = call(method, std::move(arguments));
  runToEnd();
  return reply;
}

void PluginHarness::runToEnd() {
  do {
    platform.dispatch.runToEnd();
  } while (library.changes.runNextOnNewThread());
}

SwiftQuorvinPlugin& PluginHarness::plugin() {
  return dynamic_cast<SwiftQuorvinPlugin&>(*registrar.registrations.at(0).delegate);
}

ImageManagerPeer PluginHarness::manager() {
  return ImageManagerPeer(SwiftQuorvinPluginPeer::manager(plugin()));
}

}  // namespace quorvin
