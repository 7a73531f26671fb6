// The photo library: one method for each of the channel's.
#ifndef QUORVIN_CLIENT_LIBRARY_HPP_
#define QUORVIN_CLIENT_LIBRARY_HPP_

#include <chrono>
#include <cstddef>
#include <exception>
#include <future>
#include <memory>
#include <optional>
#include <quorvin/client/changes.hpp>
#include <quorvin/client/engine.hpp>
#include <quorvin/client/requests.hpp>
#include <quorvin/client/result.hpp>
#include <string>
#include <utility>
#include <vector>

namespace quorvin {
namespace client {

/// Each method either returns a future, or takes a callback, which is called with the result or the
/// error on the platform thread, inside `run` or, for a few, before the method returns. The methods
/// throw what keeps a call from being sent; a future throws what the plugin answers
/// (`QuorvinError`; the texts are in quorvin's docs/errors.md) and what came that is no reply.
///
/// All is used on the thread that makes it, the platform thread. Replies come only while that runs:
/// `wait` for a future there, for `get` alone would wait for ever. When the library goes, calls
/// that wait fail with a `LibraryClosedError`, and nothing is called back any more.
class Library {
 public:
  /// Throws an `OpenError`.
  explicit Library(const Options& options) : engine_(options) {}
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;
  ~Library() { close(); }

  /// Ends all that is under way, as the destructor does.
  void close() {
    changes_->close();
    engine_.close();
  }

  /// For poll and event loops: readable while work waits for `run`. Any thread.
  int fd() const { return engine_.fd(); }

  /// Runs what waits, and returns how much that was. When nothing does, waits for something, for so
  /// many milliseconds or, below 0, for as long as it takes.
  std::size_t run(int timeoutMs = 0) { return engine_.run(timeoutMs); }

  /// Runs until a future of this library is there, and returns what it holds.
  template <class T>
  T wait(std::future<T> future) {
    while (future.wait_for(std::chrono::seconds(0)) != std::future_status::ready) run(-1);
    return future.get();
  }

  /// Calls back for each change of the library, by whomever, from now on: what is asked after this
  /// is not older. Ends with what it returns.
  [[nodiscard]] Listening changes(OnChange onChange) {
    return Listening(changes_, std::move(onChange));
  }

  /// Any method, with its arguments and result as values of the codec.
  std::future<Value> call(const std::string& method, Value arguments = {}) {
    return ask(requests::call(method, std::move(arguments)));
  }
  void call(const std::string& method, Value arguments, Then<Value> then) {
    ask(requests::call(method, std::move(arguments)), std::move(then));
  }

  /// The text "iOS " and the system's version.
  std::future<std::string> getPlatformVersion() { return ask(requests::getPlatformVersion()); }
  void getPlatformVersion(Then<std::string> then) {
    ask(requests::getPlatformVersion(), std::move(then));
  }

  /// True when the library may be used in full; asks the user when nothing was decided yet.
  std::future<bool> getPermission() { return ask(requests::getPermission()); }
  void getPermission(Then<bool> then) { ask(requests::getPermission(), std::move(then)); }

  /// Empties the cache from identifiers to assets.
  std::future<Done> clearAllCache() { return ask(requests::cacheControl("clearAllCache")); }
  void clearAllCache(Then<Done> then) {
    ask(requests::cacheControl("clearAllCache"), std::move(then));
  }

  /// Is accepted and does nothing, as the next two: previews come by themselves.
  std::future<Done> startCachingImages() {
    return ask(requests::cacheControl("startCachingImages"));
  }
  void startCachingImages(Then<Done> then) {
    ask(requests::cacheControl("startCachingImages"), std::move(then));
  }

  std::future<Done> stopCachingImages() { return ask(requests::cacheControl("stopCachingImages")); }
  void stopCachingImages(Then<Done> then) {
    ask(requests::cacheControl("stopCachingImages"), std::move(then));
  }

  std::future<Done> stopAllCachingImages() {
    return ask(requests::cacheControl("stopAllCachingImages"));
  }
  void stopAllCachingImages(Then<Done> then) {
    ask(requests::cacheControl("stopAllCachingImages"), std::move(then));
  }

  /// The smart albums, the gallery of all assets, then the user's albums.
  std::future<std::vector<Gallery>> getGalleryList(const GalleryListOptions& options = {}) {
    return ask(requests::getGalleryList(options));
  }
  void getGalleryList(const GalleryListOptions& options, Then<std::vector<Gallery>> then) {
    ask(requests::getGalleryList(options), std::move(then));
  }

  /// How much a gallery holds. Under "all" it is images and videos, each under its key.
  std::future<GalleryAssetCount> getGalleryAssetCount(const std::string& collectionId,
                                                      const AssetSelection& options = {}) {
    return ask(requests::getGalleryAssetCount(collectionId, options));
  }
  void getGalleryAssetCount(const std::string& collectionId, const AssetSelection& options,
                            Then<GalleryAssetCount> then) {
    ask(requests::getGalleryAssetCount(collectionId, options), std::move(then));
  }

  /// The identifier of a gallery's first asset; "all" means images and videos.
  std::future<std::string> getGalleryFirstAssetId(const std::string& collectionId,
                                                  const AssetSelection& options = {}) {
    return ask(requests::getGalleryFirstAssetId(collectionId, options));
  }
  void getGalleryFirstAssetId(const std::string& collectionId, const AssetSelection& options,
                              Then<std::string> then) {
    ask(requests::getGalleryFirstAssetId(collectionId, options), std::move(then));
  }

  /// A page of a gallery; "all" filters nothing. An unknown gallery and a page beyond the end are
  /// empty.
  std::future<std::vector<Asset>> getAssetList(const std::string& collectionId,
                                               const AssetPage& page) {
    return ask(requests::getAssetList(collectionId, page));
  }
  void getAssetList(const std::string& collectionId, const AssetPage& page,
                    Then<std::vector<Asset>> then) {
    ask(requests::getAssetList(collectionId, page), std::move(then));
  }

  std::future<Asset> getAssetInfo(const std::string& assetId) {
    return ask(requests::getAssetInfo(assetId));
  }
  void getAssetInfo(const std::string& assetId, Then<Asset> then) {
    ask(requests::getAssetInfo(assetId), std::move(then));
  }

  /// The encoded image: upright, in sRGB, never larger than the original; of a video its first
  /// frame. None for an audio item, and when the image cannot be encoded.
  std::future<std::optional<Bytes>> getThumbnail(const std::string& assetId,
                                                 const ThumbnailOptions& options) {
    return ask(requests::getThumbnail(assetId, options));
  }
  void getThumbnail(const std::string& assetId, const ThumbnailOptions& options,
                    Then<std::optional<Bytes>> then) {
    ask(requests::getThumbnail(assetId, options), std::move(then));
  }

  /// The bytes of an image's file, or of its latest edit's.
  std::future<Bytes> getImageData(const std::string& assetId,
                                  const ImageDataOptions& options = {}) {
    return ask(requests::getImageData(assetId, options));
  }
  void getImageData(const std::string& assetId, const ImageDataOptions& options, Then<Bytes> then) {
    ask(requests::getImageData(assetId, options), std::move(then));
  }

  /// Exports an image.
  std::future<ExportedFile> getImageUrl(const std::string& assetId,
                                        const ImageUrlOptions& options = {}) {
    return ask(requests::getImageUrl(assetId, options));
  }
  void getImageUrl(const std::string& assetId, const ImageUrlOptions& options,
                   Then<ExportedFile> then) {
    ask(requests::getImageUrl(assetId, options), std::move(then));
  }

  /// Exports the motion part of a live photo, as it is stored.
  std::future<ExportedFile> getLivePhotoUrl(const std::string& assetId) {
    return ask(requests::getLivePhotoUrl(assetId));
  }
  void getLivePhotoUrl(const std::string& assetId, Then<ExportedFile> then) {
    ask(requests::getLivePhotoUrl(assetId), std::move(then));
  }

  /// The library's own file of a video that is asked for as it is, else an exported one.
  std::future<ExportedFile> getVideoUrl(const std::string& assetId,
                                        const VideoUrlOptions& options = {}) {
    return ask(requests::getVideoUrl(assetId, options));
  }
  void getVideoUrl(const std::string& assetId, const VideoUrlOptions& options,
                   Then<ExportedFile> then) {
    ask(requests::getVideoUrl(assetId, options), std::move(then));
  }

  /// All members of a burst, by creation date and name; `assetId` is the one that represents it.
  std::future<std::vector<Asset>> getBurstAssetList(const std::string& assetId) {
    return ask(requests::getBurstAssetList(assetId));
  }
  void getBurstAssetList(const std::string& assetId, Then<std::vector<Asset>> then) {
    ask(requests::getBurstAssetList(assetId), std::move(then));
  }

  /// The name of the asset's first photo or video file, else of its first; none without any.
  std::future<std::optional<std::string>> getAssetOriginalFilename(const std::string& assetId) {
    return ask(requests::getAssetOriginalFilename(assetId));
  }
  void getAssetOriginalFilename(const std::string& assetId, Then<std::optional<std::string>> then) {
    ask(requests::getAssetOriginalFilename(assetId), std::move(then));
  }

  /// Takes assets out of the library, in one change. They stay restorable for 30 days.
  std::future<Done> deleteAssets(const std::vector<std::string>& assetIds) {
    return ask(requests::deleteAssets(assetIds));
  }
  void deleteAssets(const std::vector<std::string>& assetIds, Then<Done> then) {
    ask(requests::deleteAssets(assetIds), std::move(then));
  }

  /// Makes an album. Any title will do, also one that another album has.
  std::future<Gallery> createAlbum(const std::string& title) {
    return ask(requests::createAlbum(title));
  }
  void createAlbum(const std::string& title, Then<Gallery> then) {
    ask(requests::createAlbum(title), std::move(then));
  }

  /// Copies an image into the library.
  std::future<Asset> saveImage(const std::string& filePath, const SavingOptions& options = {}) {
    return ask(requests::saveImage(filePath, options));
  }
  void saveImage(const std::string& filePath, const SavingOptions& options, Then<Asset> then) {
    ask(requests::saveImage(filePath, options), std::move(then));
  }

  /// The same for a video.
  std::future<Asset> saveVideo(const std::string& filePath, const SavingOptions& options = {}) {
    return ask(requests::saveVideo(filePath, options));
  }
  void saveVideo(const std::string& filePath, const SavingOptions& options, Then<Asset> then) {
    ask(requests::saveVideo(filePath, options), std::move(then));
  }

 private:
  template <class T>
  void ask(const Request<T>& request, Then<T> then) {
    const Bytes message = request.message();
    const char* channel = request.channel;
    engine_.send(channel, message,
                 [request, then = std::move(then)](std::optional<BytesView> reply) {
                   if (then) then(resultOf([&] { return request.result(reply); }));
                 });
  }

  template <class T>
  std::future<T> ask(const Request<T>& request) {
    const auto promise = std::make_shared<std::promise<T>>();
    std::future<T> future = promise->get_future();
    ask<T>(request, [promise](Result<T> result) {
      try {
        promise->set_value(std::move(result).value());
      } catch (const Error&) {
        promise->set_exception(std::current_exception());
      }
    });
    return future;
  }

  Engine engine_;
  std::shared_ptr<ChangeChannel> changes_ = std::make_shared<ChangeChannel>(engine_);
};

}  // namespace client
}  // namespace quorvin

#endif  // QUORVIN_CLIENT_LIBRARY_HPP_
