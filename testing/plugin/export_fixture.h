// What the tests of the exports share.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "testing/plugin/plugin_fixture.h"

namespace quorvin {

/// The reply for a file at `path`.
Value exportReply(const std::string& path, bool deletable = true);

PHImageInfo infoOf(std::string_view key, PHImageInfo::Entry entry);

/// Information that says neither cancelled nor failed nor degraded: there is none, the keys hold
/// something else, or it is of other keys.
std::vector<PHImageInfo> saysNothing();

/// Information that says all at once: cancelled, failed and degraded.
PHImageInfo infoOfEverything(const NSError& error);

/// True when the date lies between `start` and now.
bool isFrom(const std::optional<NSDate>& date, std::chrono::system_clock::time_point start);

/// The plugin with one asset of each kind that is exported, and deliveries as the platform makes
/// them: on a thread of its own, after which all queued work runs.
class ExportTest : public PluginTest {
 protected:
  using Names = std::vector<std::string>;
  using Takes = RequiredArgument::Takes;

  ExportTest();
  ~ExportTest() override;

  /// Another call has looked the asset up before.
  void haveCached(const std::string& asset);

  /// Held as long as somebody holds the reply of this call, which waits for its request.
  std::shared_ptr<int> heldByTheReplyOf(const std::string& method, const Map& arguments);

  void onPlatformThread(const std::function<void()>& delivery);

  void deliverData(const std::optional<ByteBuffer>& data,
                   const std::optional<std::string>& typeIdentifier = {},
                   const std::optional<PHImageInfo>& info = {}, std::size_t index = 0,
                   std::int64_t orientation = 1);

  void deliverImage(const std::shared_ptr<const UIImage>& image,
                    const std::optional<PHImageInfo>& info = {}, std::size_t index = 0);

  void deliverVideo(const std::shared_ptr<const AVAsset>& asset,
                    const std::optional<PHImageInfo>& info = {}, std::size_t index = 0);

  void deliverLivePhoto(const std::shared_ptr<const PHLivePhoto>& livePhoto,
                        const std::optional<PHImageInfo>& info = {}, std::size_t index = 0);

  /// Ends the writing of a resource: with its file, or with an error.
  void finishWrite(const std::optional<NSError>& error = {}, std::size_t index = 0);

  /// The writing of the resource of "p" fails: that is replied, and nothing else done.
  void expectOneErrorOfAFailedWrite(const RecordedReply& reply, const std::string& method);

  /// Ends an export session; a completed one leaves its file.
  void finishExport(AVAssetExportSessionStatus status, const std::optional<NSError>& error = {},
                    std::size_t index = 0);

  NSFileAttributes attributesOf(const std::string& path) const;

  FakeImageManager& images = plugin.platform.imageManager;
  FakeAssetResourceLister& resources = plugin.platform.resources;
  FakeImageCodec& codec = plugin.platform.codec;
  FakeMediaFramework& media = plugin.platform.media;
  FakeFileManager& files = plugin.platform.files;
  const NSError failure{"Domain", 42, "The disk is on fire."};
  const ByteBuffer storedBytes{{1, 2, 3, 4, 5}};
};

}  // namespace quorvin
