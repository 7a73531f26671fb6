// What a change block asks for, kept until the block has returned.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "core/platform/changes.h"
#include "platform_linux/library/catalogue/catalogue.h"
#include "platform_linux/media/media_service.h"

namespace quorvin {

struct CreateAsset {
  std::string identifier;
  MediaKind kind = MediaKind::image;
  std::string path;
};

struct DeleteAssets {
  std::vector<std::int64_t> rows;        ///< of this catalogue
  std::vector<std::string> identifiers;  ///< of assets whose rows are not known
};

struct CreateAlbum {
  std::string identifier;
  std::string title;
};

struct AddToAlbum {
  std::string album;
  std::vector<std::string> assets;
};

using ChangeRequest = std::variant<CreateAsset, DeleteAssets, CreateAlbum, AddToAlbum>;

/// Used inside one change block, on its thread. The catalogue outlives it.
class ChangeRecorder final : public PHChangeRequests {
 public:
  explicit ChangeRecorder(const Catalogue& catalogue) : catalogue_(catalogue) {}

  /// Never none: what the file is worth shows when the change is applied.
  std::optional<PHObjectPlaceholder> creationRequestForAssetFromImageAtFileURL(
      const std::string& path) override;
  std::optional<PHObjectPlaceholder> creationRequestForAssetFromVideoAtFileURL(
      const std::string& path) override;
  void deleteAssets(const PHFetchResult<PHAsset>& assets) override;
  /// Never none. Albums may share a title.
  std::optional<PHObjectPlaceholder> creationRequestForAssetCollectionWithTitle(
      const std::string& title) override;
  /// False for smart albums.
  bool addAssets(const PHAssetCollection& album,
                 std::span<const PHObjectPlaceholder> assets) override;

  /// The requests in the order in which they were made.
  std::vector<ChangeRequest> take() { return std::move(requests_); }

 private:
  PHObjectPlaceholder createAsset(MediaKind kind, const std::string& path);

  const Catalogue& catalogue_;
  std::vector<ChangeRequest> requests_;
};

}  // namespace quorvin
