// The manager: carries out every method of the channel.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

#include "core/platform/changes.h"
#include "core/platform/host.h"
#include "core/platform/images.h"
#include "core/platform/lock.h"
#include "core/platform/photo_library.h"
#include "core/platform/platform.h"

namespace quorvin {

/// The reply callback of one call, shared by the work that may answer it.
using ResultHolder = std::shared_ptr<const FlutterResult>;

/// One for each plugin, made with `std::make_shared`. Its members are spread over files by what
/// they do. Handlers may run on several threads at once; each ends in one call of `sendResult` or
/// `sendError` unless its contract says otherwise. Argument faults are answered with "Invalid
/// arguments" or "Error arguments", a wording that each method keeps.
class ImageManager : public std::enable_shared_from_this<ImageManager> {
 public:
  ImageManager(std::shared_ptr<FlutterMethodChannel> channel, Platform& platform);

  // Permission (manager/permission.cc)

  /// Replies whether the status is authorized; asks first when it is not. Limited is not.
  void getPermission(const ResultHolder& result);
  /// The same question with a callback, which may run on any thread.
  void getPermissionIfNecessary(std::function<void(bool granted)> completionHandler);

  // Caching controls (manager/caching.cc): each replies true, whatever the arguments.

  /// Empties `assetMap`.
  void clearAllCache(const ResultHolder& result);
  /// Acknowledged and without effect, like `cachingImages`: nothing is cached ahead.
  void stopAllCachingImages(const ResultHolder& result);
  void cachingImages(bool startCache, const FlutterMethodCall& call, const ResultHolder& result);

  // Galleries (queries/gallery_list.cc, queries/gallery_summary.cc)

  /// "withAllPhotos", "filterEmptyAsset", "withSmartAlbum", "mediaType". Replies the records of the
  /// smart albums, the user library last, then of the user albums.
  void getGalleryList(const FlutterMethodCall& call, const ResultHolder& result);
  /// "collectionId", "sort", "mediaType". Replies the counts by type and the first asset's
  /// identifier, and caches that asset.
  void getGalleryAssetCount(const FlutterMethodCall& call, const ResultHolder& result);
  /// "collectionId", "sort", "mediaType". Replies an identifier; caches nothing.
  void getGalleryFirstAssetId(const FlutterMethodCall& call, const ResultHolder& result);

  // Assets (queries/asset_list.cc, queries/asset_info.cc, queries/burst_asset_list.cc,
  // queries/original_filename.cc)

  /// "collectionId", "start", "end", "sort", "mediaType". Replies a page of asset records and
  /// caches its assets. An unknown gallery is an empty page.
  void getAssetList(const FlutterMethodCall& call, const ResultHolder& result);
  /// "assetId". Replies the asset's record.
  void getAssetInfo(const FlutterMethodCall& call, const ResultHolder& result);
  /// "assetId" of a burst's representative. Replies the records of all members and caches them,
  /// with `lock` held from the fetch on.
  void getBurstAssetList(const FlutterMethodCall& call, const ResultHolder& result);
  /// "assetId". Replies the stored file name, or null when the asset has no resources.
  void getAssetOriginalFilename(const FlutterMethodCall& call, const ResultHolder& result);

  // Export (export/thumbnail.cc, export/image_data.cc, export/image_file.cc,
  // export/live_photo.cc, export/video_file.cc): no reply without `imageManager`. Exported files
  // lie in folders of the temporary directory, and are the caller's.

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

  // Changes (changes/delete_assets.cc, changes/create_album.cc, changes/save_media.cc): one change
  // of the library each, answered by its completion.

  /// "assetIds". Replies true. Identifiers that nothing has are passed over, and `assetMap` keeps
  /// what it has.
  void deleteAssets(const FlutterMethodCall& call, const ResultHolder& result);
  /// "title". Replies the new album's gallery record.
  void createAlbum(const FlutterMethodCall& call, const ResultHolder& result);
  /// "filePath", and "collectionId" of an album if wanted. Replies the new asset's record, and
  /// caches the asset. When no request can be made, the error is sent from inside the change, and
  /// a second one may follow; a success without an asset is fatal.
  void saveImage(const FlutterMethodCall& call, const ResultHolder& result);
  void saveVideo(const FlutterMethodCall& call, const ResultHolder& result);

 private:
  friend class ImageManagerPeer;

  // Replies (manager/replies.cc): the only ways out. Any thread; the reply is made on the main
  // queue, in order of submission.

  void sendResult(const ResultHolder& result, Value value);
  void sendError(const ResultHolder& result, std::string_view code, std::string_view message,
                 Value details = {});

  // Lookup (manager/asset_lookup.cc)

  using Asset = std::shared_ptr<const PHAsset>;

  /// getPHAsset(fromId:). The cached asset, else a fetched one, which is not cached; null when
  /// there is none. `lock` is held across the fetch.
  Asset getPHAsset(const std::string& fromId) QUORVIN_EXCLUDES(lock);

  /// getResourceName(asset:). The name of the first photo or video resource, else of the first
  /// resource; none when there is no resource (queries/asset_record.cc).
  std::optional<std::string> getResourceName(const PHAsset& asset);

  // Temporary files (export/temporary_files.cc)

  /// The path of a folder in the temporary directory, without a slash at its end.
  std::string temporaryFolder(std::string_view name);
  /// writeImageData(_:to:asset:result:). Writes the file whole or not at all, sets its dates, and
  /// replies.
  void writeImageData(const ByteBuffer& data, const std::string& to, const PHAsset& asset,
                      const ResultHolder& result);
  /// The asset's dates, or now for one that it lacks.
  std::optional<NSError> stampFileDates(const std::string& path, const PHAsset& asset);

  // Steps of the exports, each in its export's file

  struct ImageFileExport;
  using ImageFile = std::shared_ptr<ImageFileExport>;
  struct VideoExport;
  struct LivePhotoExport;

  /// Answers one delivery of a thumbnail unless the call was `replied` to before, or the delivery
  /// is provisional.
  void replyThumbnail(const ResultHolder& result, bool jpegFormat, bool& replied,
                      const UIImage* image, const PHImageInfo* info);

  void replyImageData(const ResultHolder& result, bool convertJpeg, std::optional<ByteBuffer> data,
                      const std::optional<std::string>& typeIdentifier);
  /// None when the data is no image.
  std::optional<ByteBuffer> jpegFromData(const ByteBuffer& data);

  void requestMediumQuality(const ImageFile& file);
  void writeMediumQuality(ImageFileExport& file, const UIImage* image, const PHImageInfo* info);
  void requestConverted(const ImageFile& file);
  void requestStored(const ImageFile& file);
  void copyResource(const ImageFile& file);
  void replyCopied(const ImageFileExport& file, const std::optional<NSError>& error);

  void replyVideo(VideoExport video, std::shared_ptr<const AVAsset> asset);
  /// exportVideo(assetId:asset:phAsset:avFileType:videoFormat:videoExt:mediumQuality:
  /// creationDate:modificationDate:result:) (export/video_export.cc)
  void exportVideo(VideoExport video);
  void replyExported(const VideoExport& video, const AVAssetExportSession& session,
                     const std::string& path);

  void replyLivePhoto(const LivePhotoExport& request, const PHLivePhoto* livePhoto,
                      const PHImageInfo* info);
  void writePairedVideo(const LivePhotoExport& request,
                        std::shared_ptr<const PHAssetResource> video);
  void replyPairedVideo(const LivePhotoExport& request, const std::string& path,
                        const std::optional<NSError>& error);

  // Steps of the changes

  struct MediaSave;

  /// The details are the error's description, or null (changes/delete_assets.cc).
  void sendChangeError(const ResultHolder& result, std::string_view message,
                       const std::optional<NSError>& error);
  void replyAlbum(const ResultHolder& result,
                  const std::optional<PHObjectPlaceholder>& placeholder);
  void saveMedia(const FlutterMethodCall& call, const ResultHolder& result, bool isVideo);
  void requestCreation(MediaSave& save, PHChangeRequests& requests);
  void replySaved(const MediaSave& save);
  void sendSaveError(const MediaSave& save, Literal details);

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
