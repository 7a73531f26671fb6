#include "core/plugin/method_table.h"

#include <algorithm>
#include <iterator>
#include <type_traits>

#include "core/plugin/plugin.h"

namespace quorvin {

template <auto member>
void MethodTable::manager(SwiftQuorvinPlugin& plugin, const FlutterMethodCall& call,
                          const ResultHolder& result) {
  if (plugin.manager == nullptr) return;
  plugin.manager->readingLibrary(result, [&] {
    if constexpr (std::is_invocable_v<decltype(member), ImageManager&, const ResultHolder&>) {
      ((*plugin.manager).*member)(result);
    } else {
      ((*plugin.manager).*member)(call, result);
    }
  });
}

template <bool startCache>
void MethodTable::cachingImages(SwiftQuorvinPlugin& plugin, const FlutterMethodCall& call,
                                const ResultHolder& result) {
  if (plugin.manager == nullptr) return;
  plugin.manager->cachingImages(startCache, call, result);
}

void MethodTable::platformVersion(SwiftQuorvinPlugin& plugin, const FlutterMethodCall&,
                                  const ResultHolder& result) {
  plugin.getPlatformVersion(*result);
}

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

std::vector<std::string_view> MethodTable::names() {
  std::vector<std::string_view> all;
  for (const Method& method : methods) all.push_back(method.name);
  return all;
}

const MethodTable::Method* MethodTable::find(std::string_view name) {
  const auto* found = std::ranges::find(methods, name, &Method::name);
  return found == std::end(methods) ? nullptr : found;
}

}  // namespace quorvin
