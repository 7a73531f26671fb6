// What the tests of the image manager and codec stand on: scripted media, stored files, and a
// record of a handler's calls.
#pragma once

#include <gtest/gtest.h>

#include <condition_variable>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "core/platform/images.h"
#include "media_protocol/sealed_memory.h"
#include "media_protocol/wire.h"
#include "platform_linux/errors/presented.h"
#include "platform_linux/library/fetch/asset_files.h"
#include "platform_linux/media/media_service.h"
#include "testing/platform/testing_held_file.h"

namespace quorvin {

inline std::string textOf(const FileDescriptor& file) {
  std::string text(64, '\0');
  const ssize_t size = ::pread(file.get(), text.data(), text.size(), 0);
  text.resize(size > 0 ? static_cast<std::size_t>(size) : 0);
  return text;
}

inline std::shared_ptr<const RenderedImage> imageOf(std::int64_t width, std::int64_t height) {
  return std::make_shared<const RenderedImage>(FileDescriptor(), width, height, 3);
}

/// A media service that does what the test says, and remembers what it was asked. Any thread.
class ScriptedMedia final : public MediaService {
 public:
  struct Rendering {
    std::string fileText;
    RenderRequest request;
  };
  std::function<Result<std::shared_ptr<const RenderedImage>>(const RenderRequest&)> onRender =
      [](const RenderRequest&) { return imageOf(8, 6); };
  /// Of each rendering, before it begins.
  std::function<void(const std::stop_token& stop)> onStart = [](const std::stop_token&) {};
  std::function<Result<MediaProbe>(const std::string&)> onProbe = [](const std::string&) {
    return MediaProbe();
  };
  std::function<Result<ByteBuffer>(ImageFormat, double)> onEncode = [](ImageFormat, double) {
    return ByteBuffer(std::vector<std::uint8_t>{1});
  };

  Result<MediaProbe> probe(const FileDescriptor&, const std::string& name) override {
    return onProbe(name);
  }
  Result<std::shared_ptr<const RenderedImage>> render(const FileDescriptor& file,
                                                      const RenderRequest& request,
                                                      std::stop_token stop = {}) override {
    {
      const std::lock_guard guard(mutex_);
      renderings_.push_back({textOf(file), request});
    }
    onStart(stop);
    return onRender(request);
  }
  Result<ByteBuffer> encode(const RenderedImage&, ImageFormat format, double quality) override {
    return onEncode(format, quality);
  }
  Result<ByteBuffer> writeXmp(const FileDescriptor&, const WriteXmpRequest&) override {
    return Failure(LibraryErrorCode::internal, "no XMP is written here.");
  }

  std::vector<Rendering> renderings() const {
    const std::lock_guard guard(mutex_);
    return renderings_;
  }

 private:
  mutable std::mutex mutex_;
  std::vector<Rendering> renderings_;
};

/// Files in a folder of the test's own. Prepared before the first request, then any thread.
class StoredFiles final : public AssetFiles {
 public:
  StoredFiles() {
    std::string pattern = testing::TempDir() + "quorvin-images-XXXXXX";
    EXPECT_NE(::mkdtemp(pattern.data()), nullptr);
    folder_ = pattern;
  }
  ~StoredFiles() override { std::filesystem::remove_all(folder_); }

  std::string path(const std::string& name) const { return folder_ / name; }

  /// Adds a resource to the asset; its file holds its own name.
  void add(const std::string& asset, PHAssetResourceType type, const std::string& name,
           int orientation = 1) {
    std::ofstream(path(name)) << name;
    addMissing(asset, type, name, orientation);
  }
  /// Adds a resource whose file is not there.
  void addMissing(const std::string& asset, PHAssetResourceType type, const std::string& name,
                  int orientation = 1) {
    resources_[asset].push_back(std::make_shared<const StoredResource>(
        type, name, "type." + name, heldFile(folder_, name), path(name), orientation));
  }
  void play(const std::string& asset, TimeMap map) { maps_[asset] = std::move(map); }
  void refuse(Failure failure) { access_ = std::move(failure); }

  Result<StoredResources> storedResources(const std::string& localIdentifier) override {
    if (!access_) return access_.error();
    const auto found = resources_.find(localIdentifier);
    if (found == resources_.end()) {
      return Failure(LibraryErrorCode::missingResource, "the asset is gone.");
    }
    return found->second;
  }
  Done accessTo(const StoredResource&) override { return access_; }
  Result<TimeMap> timeMap(const std::string& localIdentifier) override {
    const auto found = maps_.find(localIdentifier);
    return found == maps_.end() ? TimeMap() : found->second;
  }

 private:
  std::filesystem::path folder_;
  std::map<std::string, StoredResources> resources_;
  std::map<std::string, TimeMap> maps_;
  Done access_ = Null{};
};

inline std::shared_ptr<const PHAsset> assetOf(PHAssetMediaType type, std::string identifier = "A",
                                              std::uint64_t subtypes = 0) {
  PHAsset asset;
  asset.localIdentifier = std::move(identifier);
  asset.mediaType = type;
  asset.mediaSubtypes = subtypes;
  asset.pixelWidth = 4000;
  asset.pixelHeight = 3000;
  return std::make_shared<const PHAsset>(std::move(asset));
}

/// The calls of one request's handler, with the result of each.
template <class Outcome>
class Calls {
 public:
  struct Call {
    Outcome outcome;
    PHImageInfo info;
    std::thread::id thread;

    bool isDegraded() const { return info.isTrue(PHImageResultIsDegradedKey); }
    bool isCancelled() const { return info.isTrue(PHImageCancelledKey); }
    const NSError* error() const { return info.error(PHImageErrorKey); }
  };

  void add(Outcome outcome, const PHImageInfo* info) {
    ASSERT_NE(info, nullptr);
    const std::lock_guard guard(mutex_);
    calls_.push_back({std::move(outcome), *info, std::this_thread::get_id()});
    added_.notify_all();
  }

  /// Waits until there are that many calls, and returns all there are.
  std::vector<Call> wait(std::size_t count) {
    std::unique_lock guard(mutex_);
    added_.wait(guard, [this, count] { return calls_.size() >= count; });
    return calls_;
  }
  /// All calls so far.
  std::vector<Call> all() { return wait(0); }

 private:
  std::mutex mutex_;
  std::condition_variable added_;
  std::vector<Call> calls_;
};

}  // namespace quorvin
