// Requests for images, image data, videos and live photos of assets.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "core/platform/foundation.h"
#include "core/platform/image_codec.h"
#include "core/platform/media.h"
#include "core/platform/photo_library.h"
#include "core/platform/value.h"

namespace quorvin {

/// A width and a height in pixels; any double, also one that is no size.
struct CGSize {
  double width = 0;
  double height = 0;
  friend bool operator==(const CGSize&, const CGSize&) = default;
};

/// The largest image there is, neither scaled nor cropped.
inline constexpr CGSize PHImageManagerMaximumSize{-1, -1};

/// How an image fills its target: 0 fits inside it, 1 covers it. Callers may pass any other
/// integer.
using PHImageContentMode = std::int64_t;
inline constexpr PHImageContentMode PHImageContentModeAspectFit = 0;
inline constexpr PHImageContentMode PHImageContentModeAspectFill = 1;

enum class PHImageRequestOptionsVersion { current = 0, unadjusted = 1, original = 2 };
enum class PHImageRequestOptionsDeliveryMode {
  opportunistic = 0,      ///< a degraded image may come first, then the final one
  highQualityFormat = 1,  ///< exactly one image, the final one
  fastFormat = 2,         ///< exactly one image, perhaps degraded
};
enum class PHImageRequestOptionsResizeMode { none = 0, fast = 1, exact = 2 };

struct PHImageRequestOptions {
  PHImageRequestOptionsVersion version = PHImageRequestOptionsVersion::current;
  PHImageRequestOptionsDeliveryMode deliveryMode = PHImageRequestOptionsDeliveryMode::opportunistic;
  PHImageRequestOptionsResizeMode resizeMode = PHImageRequestOptionsResizeMode::fast;
  bool isSynchronous = false;
  bool isNetworkAccessAllowed = false;
  friend bool operator==(const PHImageRequestOptions&, const PHImageRequestOptions&) = default;
};

struct PHVideoRequestOptions {
  PHImageRequestOptionsVersion version = PHImageRequestOptionsVersion::current;
  bool isNetworkAccessAllowed = false;
  friend bool operator==(const PHVideoRequestOptions&, const PHVideoRequestOptions&) = default;
};

struct PHLivePhotoRequestOptions {
  PHImageRequestOptionsVersion version = PHImageRequestOptionsVersion::current;
  PHImageRequestOptionsDeliveryMode deliveryMode = PHImageRequestOptionsDeliveryMode::opportunistic;
  bool isNetworkAccessAllowed = false;
  friend bool operator==(const PHLivePhotoRequestOptions&,
                         const PHLivePhotoRequestOptions&) = default;
};

inline constexpr std::string_view PHImageCancelledKey = "PHImageCancelledKey";
inline constexpr std::string_view PHImageErrorKey = "PHImageErrorKey";
inline constexpr std::string_view PHImageResultIsDegradedKey = "PHImageResultIsDegradedKey";
inline constexpr std::string_view PHImageResultIsInCloudKey = "PHImageResultIsInCloudKey";
inline constexpr std::string_view PHImageResultRequestIDKey = "PHImageResultRequestIDKey";

/// What is known of a result. A key's value may be of any of these types.
class PHImageInfo {
 public:
  using Entry = std::variant<bool, std::int64_t, double, std::string, NSError>;

  PHImageInfo();
  PHImageInfo(const PHImageInfo& other);
  PHImageInfo(PHImageInfo&& other) noexcept;
  PHImageInfo& operator=(const PHImageInfo& other);
  PHImageInfo& operator=(PHImageInfo&& other) noexcept;
  ~PHImageInfo();

  void set(std::string_view key, Entry entry);
  /// True only when the key holds the boolean true.
  bool isTrue(std::string_view key) const;
  /// The error under the key; null when the key is absent or holds something else.
  const NSError* error(std::string_view key) const { return entry<NSError>(key); }
  /// The value under the key; null when the key is absent or holds something of another type.
  template <class T>
  const T* entry(std::string_view key) const {
    return std::get_if<T>(find(key));
  }

 private:
  const Entry* find(std::string_view key) const;

  std::map<std::string, Entry, std::less<>> entries_;
};

/// Positive; 0 is no request.
using PHImageRequestID = std::int32_t;

/// Handlers run on threads of the manager's own, never on the caller's unless the request is
/// synchronous; the calls of one request come one after another.
using PHImageResultHandler =
    std::function<void(std::shared_ptr<const UIImage>, const PHImageInfo* info)>;
using PHImageDataResultHandler =
    std::function<void(std::optional<ByteBuffer> data, const std::optional<std::string>& dataUTI,
                       std::int64_t orientation, const PHImageInfo* info)>;
using AVAssetResultHandler =
    std::function<void(std::shared_ptr<const AVAsset>, const PHImageInfo* info)>;
using PHLivePhotoResultHandler =
    std::function<void(std::shared_ptr<const PHLivePhoto>, const PHImageInfo* info)>;

/// Loads and renders what assets hold. Any thread. Requests return at once.
class PHImageManager {
 public:
  virtual ~PHImageManager() = default;

  /// An upright sRGB rendering. A size that is no size, and a file that does not decode, end in one
  /// call with an error under `PHImageErrorKey`.
  virtual PHImageRequestID requestImageForAsset(std::shared_ptr<const PHAsset> asset,
                                                CGSize targetSize, PHImageContentMode contentMode,
                                                const PHImageRequestOptions& options,
                                                PHImageResultHandler resultHandler) = 0;

  /// The stored bytes of the asset's current version. Exactly one call.
  virtual PHImageRequestID requestImageDataAndOrientationForAsset(
      std::shared_ptr<const PHAsset> asset, const PHImageRequestOptions& options,
      PHImageDataResultHandler resultHandler) = 0;

  /// A video, as a file or as a composition. Exactly one call.
  virtual PHImageRequestID requestAVAssetForVideo(std::shared_ptr<const PHAsset> asset,
                                                  const PHVideoRequestOptions& options,
                                                  AVAssetResultHandler resultHandler) = 0;

  virtual PHImageRequestID requestLivePhotoForAsset(std::shared_ptr<const PHAsset> asset,
                                                    CGSize targetSize,
                                                    PHImageContentMode contentMode,
                                                    const PHLivePhotoRequestOptions& options,
                                                    PHLivePhotoResultHandler resultHandler) = 0;

  /// The request's handler is called once more, with `PHImageCancelledKey` true, unless its final
  /// call is under way or over.
  virtual void cancelImageRequest(PHImageRequestID request) = 0;
};

}  // namespace quorvin
