// The whole platform, scripted.
#pragma once

#include <string>
#include <utility>

#include "core/platform/platform.h"
#include "testing/fakes/event_log.h"
#include "testing/fakes/fake_asset_resources.h"
#include "testing/fakes/fake_dispatch.h"
#include "testing/fakes/fake_file_manager.h"
#include "testing/fakes/fake_image_codec.h"
#include "testing/fakes/fake_image_manager.h"
#include "testing/fakes/fake_media_framework.h"
#include "testing/fakes/fake_photo_library.h"

namespace quorvin {

class FakeDevice : public UIDevice {
 public:
  std::string version = "17.2";
  std::string systemVersion() override { return version; }
};

/// Every part logs into one log. `platform()` refers to the parts and lives as long as this.
class FakePlatform {
 public:
  explicit FakePlatform(OnMisuse onMisuse) : library(log, std::move(onMisuse)) {}
  FakePlatform(const FakePlatform&) = delete;
  FakePlatform& operator=(const FakePlatform&) = delete;

  Platform& platform() { return platform_; }
  /// From now on the platform has no default image manager.
  void removeImageManager() { platform_.defaultImageManager = nullptr; }

  EventLog log;
  FakeDispatch dispatch{log};
  FakePhotoLibrary library;
  FakeFileManager files{log};
  FakeAssetResourceLister resources{log, library};
  FakeAssetResourceManager resourceManager{log, library, files};
  FakeImageManager imageManager{log, library};
  FakeImageCodec codec{log};
  FakeMediaFramework media{log, files};
  FakeDevice device;

 private:
  Platform platform_{.dispatch = dispatch,
                     .sharedPhotoLibrary = library,
                     .photoLibraryChanges = library,
                     .assetResources = resources,
                     .assetResourceManager = resourceManager,
                     .defaultImageManager = &imageManager,
                     .imageCodec = codec,
                     .mediaFramework = media,
                     .fileManager = files,
                     .currentDevice = device};
};

}  // namespace quorvin
