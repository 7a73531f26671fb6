#include "core/plugin/swift_quorvin_plugin.h"

#include <string_view>
#include <type_traits>
#include <utility>

#include "core/platform/dispatch.h"

namespace quorvin {

/// The channel's methods. A call is compared with them from first to last.
struct MethodTable {
  using Handler = void (*)(SwiftQuorvinPlugin&, const FlutterMethodCall&, const ResultHolder&);
  enum class Runs {
    inlined,  ///< on the platform thread, before `handle` returns
    queued,   ///< on the background queue
  };
  struct Method {
    std::string_view name;
    Handler handler;
    Runs runs;
  };

  template <auto member>
  static void manager(SwiftQuorvinPlugin& plugin, const FlutterMethodCall& call,
                      const ResultHolder& result) {
    if (plugin.manager == nullptr) return;
    if constexpr (std::is_invocable_v<decltype(member), ImageManager&, const ResultHolder&>) {
      ((*plugin.manager).*member)(result);
    } else {
      ((*plugin.manager).*member)(call, result);
    }
  }

  template <bool startCache>
  static void cachingImages(SwiftQuorvinPlugin& plugin, const FlutterMethodCall& call,
                            const ResultHolder& result) {
    if (plugin.manager == nullptr) return;
    plugin.manager->cachingImages(startCache, call, result);
  }

  static void platformVersion(SwiftQuorvinPlugin& plugin, const FlutterMethodCall&,
                              const ResultHolder& result) {
    plugin.getPlatformVersion(*result);
  }

  static const Method methods[];
};

const MethodTable::Method MethodTable::methods[] = {
    {"getPlatformVersion", platformVersion, Runs::inlined},
    {"getPermission", manager<&ImageManager::getPermission>, Runs::inlined},
    {"clearAllCache", manager<&ImageManager::clearAllCache>, Runs::inlined},
    {"stopAllCachingImages", manager<&ImageManager::stopAllCachingImages>, Runs::inlined},
    {"startCachingImages", cachingImages<true>, Runs::inlined},
    {"stopCachingImages", cachingImages<false>, Runs::inlined},
    {"getGalleryList", manager<&ImageManager::getGalleryList>, Runs::queued},
    {"getGalleryAssetCount", manager<&ImageManager::getGalleryAssetCount>, Runs::queued},
    {"getGalleryFirstAssetId", manager<&ImageManager::getGalleryFirstAssetId>, Runs::queued},
    {"getAssetList", manager<&ImageManager::getAssetList>, Runs::queued},
    {"getAssetInfo", manager<&ImageManager::getAssetInfo>, Runs::queued},
    {"getThumbnail", manager<&ImageManager::getThumbnail>, Runs::queued},
    {"getImageData", manager<&ImageManager::getImageData>, Runs::queued},
    {"getImageUrl", manager<&ImageManager::getImageUrl>, Runs::queued},
    {"getLivePhotoUrl", manager<&ImageManager::getLivePhotoUrl>, Runs::queued},
    {"getVideoUrl", manager<&ImageManager::getVideoUrl>, Runs::queued},
    {"deleteAssets", manager<&ImageManager::deleteAssets>, Runs::inlined},
    {"getBurstAssetList", manager<&ImageManager::getBurstAssetList>, Runs::queued},
    {"getAssetOriginalFilename", manager<&ImageManager::getAssetOriginalFilename>, Runs::queued},
    {"createAlbum", manager<&ImageManager::createAlbum>, Runs::inlined},
    {"saveImage", manager<&ImageManager::saveImage>, Runs::queued},
    {"saveVideo", manager<&ImageManager::saveVideo>, Runs::queued},
};

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
  for (const auto& method : MethodTable::methods) {
    if (call.method != method.name) continue;
    if (method.runs == MethodTable::Runs::inlined) {
      method.handler(*this, call, holder);
    } else {
      platform.dispatch.globalQueue(QualityOfService::background)
          .async([self = shared_from_this(), handler = method.handler, call = std::move(call),
                  holder = std::move(holder)] { handler(*self, call, holder); });
    }
    return;
  }
  (*holder)(FlutterMethodNotImplemented);
}

void SwiftQuorvinPlugin::getPlatformVersion(const FlutterResult& result) {
  result(Value("iOS " + platform.currentDevice.systemVersion()));
}

}  // namespace quorvin
