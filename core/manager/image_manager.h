// The manager: carries out every method of the channel.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

#include "core/platform/host.h"
#include "core/platform/images.h"
#include "core/platform/lock.h"
#include "core/platform/photo_library.h"
#include "core/platform/platform.h"

namespace quorvin {

/// The reply callback of one call, shared by the work that may answer it.
using ResultHolder = std::shared_ptr<const FlutterResult>;

/// One for each plugin, made with `std::make_shared`. Each operation is defined in a file of its
/// own. Handlers may run on several threads at once; each ends in one call of `sendResult` or
/// `sendError` unless its contract says otherwise. Argument faults are answered with "Invalid
/// arguments" or "Error arguments", a wording that each method keeps.
class ImageManager : public std::enable_shared_from_this<ImageManager> {
 public:
  ImageManager(std::shared_ptr<FlutterMethodChannel> channel, Platform& platform);

  // Permission

  /// Replies whether the status is authorized; asks first when it is not. Limited is not.
  void getPermission(const ResultHolder& result);
  /// The same question with a callback, which may run on any thread.
  void getPermissionIfNecessary(std::function<void(bool granted)> completionHandler);

  // Caching controls: each replies true, whatever the arguments

  /// Empties `assetMap`.
  void clearAllCache(const ResultHolder& result);
  /// Acknowledged and without effect, like `cachingImages`: nothing is cached ahead.
  void stopAllCachingImages(const ResultHolder& result);
  void cachingImages(bool startCache, const FlutterMethodCall& call, const ResultHolder& result);

  // Galleries

  /// "withAllPhotos", "filterEmptyAsset", "withSmartAlbum", "mediaType". Replies the records of the
  /// smart albums, the user library last, then of the user albums.
  void getGalleryList(const FlutterMethodCall& call, const ResultHolder& result);
  /// "collectionId", "sort", "mediaType". Replies the counts by type and the first asset's
  /// identifier, and caches that asset.
  void getGalleryAssetCount(const FlutterMethodCall& call, const ResultHolder& result);
  /// "collectionId", "sort", "mediaType". Replies an identifier; caches nothing.
  void getGalleryFirstAssetId(const FlutterMethodCall& call, const ResultHolder& result);

  // Assets

  /// "collectionId", "start", "end", "sort", "mediaType". Replies a page of asset records and
  /// caches its assets. An unknown gallery is an empty page.
  void getAssetList(const FlutterMethodCall& call, const ResultHolder& result);
  /// "assetId". Replies the asset's record.
  void getAssetInfo(const FlutterMethodCall& call, const ResultHolder& result);

  // Images and files of assets: no reply without `imageManager`. Exported files lie in folders of
  // the temporary directory, and are the caller's

  /// "assetId", "width", "height", "contentMode", "jpegFormat". Replies the encoded rendering, or
  /// null when the request was cancelled or gave no image.
  void getThumbnail(const FlutterMethodCall& call, const ResultHolder& result);
  /// "assetId", "convertJpeg". Replies the stored bytes, or those of a JPEG made of HEIC.
  void getImageData(const FlutterMethodCall& call, const ResultHolder& result);
  /// "assetId", "convertJpeg", "mediumQuality". Replies the path of the image as it is stored, as a
  /// JPEG made of HEIC, or as a JPEG of medium size. A file that was copied, and whose dates cannot
  /// be set, is answered with an error and then with its path.
  void getImageUrl(const FlutterMethodCall& call, const ResultHolder& result);
  /// "assetId", "mediumQuality". Replies the path of the live photo's motion part.
  void getLivePhotoUrl(const FlutterMethodCall& call, const ResultHolder& result);
  /// "assetId", "mediumQuality", "videoFormat". Replies the path of the library's own file, or of
  /// an exported one. No reply to an export that ends in a status that is no end.
  void getVideoUrl(const FlutterMethodCall& call, const ResultHolder& result);

  // Deletions: one change of the library, answered by its completion

  /// "assetIds". Replies true. Identifiers that nothing has are passed over, and `assetMap` keeps
  /// what it has.
  void deleteAssets(const FlutterMethodCall& call, const ResultHolder& result);

  // Bursts and file names

  /// "assetId" of a burst's representative. Replies the records of all members and caches them,
  /// with `lock` held from the fetch on.
  void getBurstAssetList(const FlutterMethodCall& call, const ResultHolder& result);
  /// "assetId". Replies the stored file name, or null when the asset has no resources.
  void getAssetOriginalFilename(const FlutterMethodCall& call, const ResultHolder& result);

  // Additions: one change of the library each, answered by its completion

  /// "title". Replies the new album's gallery record.
  void createAlbum(const FlutterMethodCall& call, const ResultHolder& result);
  /// "filePath", and "collectionId" of an album if wanted. Replies the new asset's record, and
  /// caches the asset. When no request can be made, the error is sent from inside the change, and
  /// a second one may follow; a success without an asset is fatal.
  void saveImage(const FlutterMethodCall& call, const ResultHolder& result);
  void saveVideo(const FlutterMethodCall& call, const ResultHolder& result);

 private:
  friend class ImageManagerPeer;
  friend struct MethodTable;

  // Replies: the only ways out. Any thread; the reply is made on the main queue, in order of
  // submission

  void sendResult(const ResultHolder& result, Value value);
  void sendError(const ResultHolder& result, std::string_view code, std::string_view message,
                 Value details = {});
  /// `sendError` with the one code that there is.
  void fail(const ResultHolder& result, std::string_view text, Value details = {});

  /// Runs a step of a call. When the library cannot be read meanwhile, that is the call's answer.
  template <class Step>
  void readingLibrary(const ResultHolder& result, Step&& step) {
    try {
      step();
    } catch (const LibraryUnreadable& unreadable) {
      failUnreadable(result, unreadable);
    }
  }
  void failUnreadable(const ResultHolder& result, const LibraryUnreadable& unreadable);

  // Lookup. Any thread

  using Asset = std::shared_ptr<const PHAsset>;
  using Album = std::shared_ptr<const PHAssetCollection>;

  /// getPHAsset(fromId:). The cached asset, else a fetched one, which is not cached; null when
  /// there is none. `lock` is held across the fetch.
  Asset getPHAsset(const std::string& fromId) QUORVIN_EXCLUDES(lock);
  /// The same; when there is none, the call is answered so.
  Asset findAsset(const std::string& assetId, const ResultHolder& result) QUORVIN_EXCLUDES(lock);
  /// The asset that the call's only argument, "assetId", names. When there is none, or no such
  /// argument, the call is answered so.
  Asset findAsset(const FlutterMethodCall& call, const ResultHolder& result) QUORVIN_EXCLUDES(lock);
  /// Past the cache. Null when there is none.
  Asset fetchAsset(const std::string& identifier);
  Album fetchAlbum(const std::string& identifier);

  /// getResourceName(asset:). The name of the first photo or video resource, else of the first
  /// resource; none when there is no resource.
  std::optional<std::string> getResourceName(const PHAsset& asset);

  // Calls that go on after their handler has returned. Each type, with its steps, stands in the
  // file of its operation

  class ThumbnailRequest;
  class ImageFileExport;
  struct LivePhotoExport;
  struct VideoRequest;
  struct VideoExport;
  struct MediaSave;

  /// writeImageData(_:to:asset:result:). Writes the file whole or not at all, sets its dates, and
  /// replies.
  void writeImageData(const ByteBuffer& data, const std::string& to, const PHAsset& asset,
                      const ResultHolder& result);
  /// exportVideo(assetId:asset:phAsset:avFileType:videoFormat:videoExt:mediumQuality:
  /// creationDate:modificationDate:result:). Replies when the export has ended.
  void exportVideo(VideoExport video);

  // Constant after construction

  const std::shared_ptr<FlutterMethodChannel> channel;
  Platform& platform;
  /// Null when the system has none.
  PHImageManager* const imageManager;

  // Guarded by lock

  NSLock lock;
  /// Listed and saved assets by identifier. Never pruned; only `clearAllCache` empties it.
  std::unordered_map<std::string, Asset> assetMap QUORVIN_GUARDED_BY(lock);
};

}  // namespace quorvin
