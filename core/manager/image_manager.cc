#include "core/manager/image_manager.h"

#include <utility>

namespace quorvin {

ImageManager::ImageManager(std::shared_ptr<FlutterMethodChannel> theChannel, Platform& thePlatform)
    : channel(std::move(theChannel)),
      platform(thePlatform),
      imageManager(platform.defaultImageManager) {}

}  // namespace quorvin
