// The 22 methods of the channel: what is sent, and how the reply is read.
#ifndef QUORVIN_CLIENT_REQUESTS_HPP_
#define QUORVIN_CLIENT_REQUESTS_HPP_

#include <optional>
#include <quorvin/client/arguments.hpp>
#include <quorvin/client/codec.hpp>
#include <quorvin/client/errors.hpp>
#include <quorvin/client/records.hpp>
#include <quorvin/client/replies.hpp>
#include <quorvin/client/result.hpp>
#include <string>
#include <utility>
#include <vector>

namespace quorvin {
namespace client {

constexpr const char* kChannel = "quorvin";
constexpr const char* kChangeChannel = "quorvin/changes";

/// One call.
template <class T>
struct Request {
  std::string method;
  Value arguments;
  Read<T> read;
  const char* channel = kChannel;

  Bytes message() const { return encodeMethodCall({method, arguments}); }

  /// What the call answers with; no reply is the engine's end.
  T result(std::optional<BytesView> reply) const {
    if (!reply.has_value()) throw LibraryClosedError();
    if (reply->size == 0) throw NotImplementedError(channel, method);
    const Value result = resultIn(*reply);
    return read(Place(method.c_str(), result));
  }
};

namespace requests {

using OptionalBytes = std::optional<Bytes>;
using OptionalText = std::optional<std::string>;
using Assets = std::vector<Asset>;
using Galleries = std::vector<Gallery>;

inline Value argument(MediaFilter filter) {
  return static_cast<int>(filter);
}

inline Map selection(const std::string& collectionId, SortOrder sort, MediaFilter mediaType) {
  return {{"collectionId", collectionId},
          {"sort", static_cast<int>(sort)},
          {"mediaType", argument(mediaType)}};
}

inline Map file(const std::string& filePath, const SavingOptions& options) {
  Map arguments = {{"filePath", filePath}};
  if (!options.collectionId.empty()) arguments.emplace_back("collectionId", options.collectionId);
  return arguments;
}

inline Request<Value> call(const std::string& method, Value arguments) {
  return {method, std::move(arguments), readAny};
}

inline Request<Done> listen() {
  return {"listen", {}, readNothing, kChangeChannel};
}

inline Request<Done> cancel() {
  return {"cancel", {}, readNothing, kChangeChannel};
}

inline Request<std::string> getPlatformVersion() {
  return {"getPlatformVersion", {}, readText};
}

inline Request<bool> getPermission() {
  return {"getPermission", {}, readBoolean};
}

/// `clearAllCache` and the three that are accepted and do nothing.
inline Request<Done> cacheControl(const char* method) {
  return {method, {}, readDone};
}

inline Request<Galleries> getGalleryList(const GalleryListOptions& options) {
  // The first must be there, and has no effect.
  return {"getGalleryList",
          Map{{"withAllPhotos", true},
              {"filterEmptyAsset", options.filterEmptyAsset},
              {"withSmartAlbum", options.withSmartAlbum},
              {"mediaType", argument(options.mediaType)}},
          readList<Gallery, readGallery>};
}

inline Request<GalleryAssetCount> getGalleryAssetCount(const std::string& collectionId,
                                                       const AssetSelection& options) {
  return {"getGalleryAssetCount", selection(collectionId, options.sort, options.mediaType),
          readGalleryAssetCount};
}

inline Request<std::string> getGalleryFirstAssetId(const std::string& collectionId,
                                                   const AssetSelection& options) {
  return {"getGalleryFirstAssetId", selection(collectionId, options.sort, options.mediaType),
          readText};
}

inline Request<Assets> getAssetList(const std::string& collectionId, const AssetPage& page) {
  Map arguments = selection(collectionId, page.sort, page.mediaType);
  arguments.emplace_back("start", page.start);
  arguments.emplace_back("end", page.end);
  return {"getAssetList", std::move(arguments), readList<Asset, readAsset>};
}

inline Request<Asset> getAssetInfo(const std::string& assetId) {
  return {"getAssetInfo", Map{{"assetId", assetId}}, readAsset};
}

inline Request<OptionalBytes> getThumbnail(const std::string& assetId,
                                           const ThumbnailOptions& options) {
  return {"getThumbnail",
          Map{{"assetId", assetId},
              {"width", options.width},
              {"height", options.height},
              {"contentMode", static_cast<int>(options.contentMode)},
              {"jpegFormat", options.jpegFormat}},
          readOptional<Bytes, readBytes>};
}

inline Request<Bytes> getImageData(const std::string& assetId, const ImageDataOptions& options) {
  return {"getImageData", Map{{"assetId", assetId}, {"convertJpeg", options.convertJpeg}},
          readBytes};
}

inline Request<ExportedFile> getImageUrl(const std::string& assetId,
                                         const ImageUrlOptions& options) {
  return {"getImageUrl",
          Map{{"assetId", assetId},
              {"convertJpeg", options.convertJpeg},
              {"mediumQuality", options.mediumQuality}},
          readExportedFile};
}

inline Request<ExportedFile> getLivePhotoUrl(const std::string& assetId) {
  // The second must be there, and has no effect.
  return {"getLivePhotoUrl", Map{{"assetId", assetId}, {"mediumQuality", false}}, readExportedFile};
}

inline Request<ExportedFile> getVideoUrl(const std::string& assetId,
                                         const VideoUrlOptions& options) {
  return {"getVideoUrl",
          Map{{"assetId", assetId},
              {"mediumQuality", options.mediumQuality},
              {"videoFormat", static_cast<int>(options.videoFormat)}},
          readExportedFile};
}

inline Request<Assets> getBurstAssetList(const std::string& assetId) {
  return {"getBurstAssetList", Map{{"assetId", assetId}}, readList<Asset, readAsset>};
}

inline Request<OptionalText> getAssetOriginalFilename(const std::string& assetId) {
  return {"getAssetOriginalFilename", Map{{"assetId", assetId}},
          readOptional<std::string, readText>};
}

inline Request<Done> deleteAssets(const std::vector<std::string>& assetIds) {
  return {"deleteAssets", Map{{"assetIds", List(assetIds.begin(), assetIds.end())}}, readDone};
}

inline Request<Gallery> createAlbum(const std::string& title) {
  return {"createAlbum", Map{{"title", title}}, readGallery};
}

inline Request<Asset> saveImage(const std::string& filePath, const SavingOptions& options) {
  return {"saveImage", file(filePath, options), readAsset};
}

inline Request<Asset> saveVideo(const std::string& filePath, const SavingOptions& options) {
  return {"saveVideo", file(filePath, options), readAsset};
}

}  // namespace requests
}  // namespace client
}  // namespace quorvin

#endif  // QUORVIN_CLIENT_REQUESTS_HPP_
