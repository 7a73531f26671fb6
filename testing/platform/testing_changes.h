// A library that a test changes, and waits for.
#pragma once

#include <functional>
#include <future>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform_linux/errors/presented.h"
#include "platform_linux/library/changes/library_changes.h"
#include "testing/platform/testing_library.h"
#include "testing/platform/testing_media.h"

namespace quorvin {

struct ChangeOutcome {
  bool success = false;
  std::optional<NSError> error;

  LibraryErrorCode code() const {
    return error ? static_cast<LibraryErrorCode>(error->code) : LibraryErrorCode{};
  }
  std::string text() const { return error ? error->localizedDescription : ""; }
};

struct ChangeFixture : TestLibrary {
  ScriptedMedia media;
  std::unique_ptr<LibraryChanges> changes = std::make_unique<LibraryChanges>(*library, media);

  /// Closes the library, and opens it with this status.
  void reopen(PHAuthorizationStatus status, LibraryChangesOptions options = {}) {
    changes.reset();
    library = open(status);
    changes = std::make_unique<LibraryChanges>(*library, media, std::move(options));
  }

  ChangeOutcome perform(std::function<void(PHChangeRequests&)> block) {
    return start(std::move(block)).get();
  }

  std::future<ChangeOutcome> start(std::function<void(PHChangeRequests&)> block) {
    const auto outcome = std::make_shared<std::promise<ChangeOutcome>>();
    changes->performChanges(std::move(block),
                            [outcome](bool success, std::optional<NSError> error) {
                              outcome->set_value({success, std::move(error)});
                            });
    return outcome->get_future();
  }

  std::string put(const std::string& name, const std::string& content) {
    writeFile(folder / ("in/" + name), content);
    return folder / ("in/" + name);
  }

  ChangeOutcome saveImage(const std::string& path) {
    return perform([this, path](PHChangeRequests& requests) {
      saved = requests.creationRequestForAssetFromImageAtFileURL(path)->localIdentifier;
    });
  }
  ChangeOutcome saveVideo(const std::string& path) {
    return perform([this, path](PHChangeRequests& requests) {
      saved = requests.creationRequestForAssetFromVideoAtFileURL(path)->localIdentifier;
    });
  }
  ChangeOutcome deleteAssets(std::vector<std::string> identifiers) {
    return perform([this, identifiers = std::move(identifiers)](PHChangeRequests& requests) {
      requests.deleteAssets(*library->fetchAssetsWithLocalIdentifiers(identifiers, nullptr));
    });
  }

  /// Null when no fetch finds it.
  std::shared_ptr<const PHAsset> find(const std::string& identifier) {
    const std::vector<std::string> identifiers = {identifier};
    return library->fetchAssetsWithLocalIdentifiers(identifiers, nullptr)->firstObject();
  }
  std::shared_ptr<const PHAssetCollection> findAlbum(const std::string& identifier) {
    const std::vector<std::string> identifiers = {identifier};
    return library->fetchAssetCollectionsWithLocalIdentifiers(identifiers, nullptr)->firstObject();
  }
  std::vector<std::string> recents() { return list(*smart(209)); }

  /// Relative to `originals/`, by type, of an asset that may be deleted.
  std::vector<std::string> originalsOf(const std::string& identifier) {
    std::vector<std::string> paths;
    for (std::int64_t type = 1; type < 10; ++type) {
      const std::string path = gardener.text(
          "SELECT r.path FROM resources r JOIN assets a ON a.id = r.asset WHERE a.ident = '" +
          identifier + "' AND r.type = " + std::to_string(type));
      if (!path.empty()) paths.push_back(path);
    }
    return paths;
  }

  /// What a change that failed leaves behind: nothing.
  bool isEmpty() {
    return filesBelow(folder / "library/originals").empty() &&
           gardener.integer("SELECT count(*) FROM assets") == 0 &&
           gardener.integer("SELECT count(*) FROM collections WHERE type = 1") == 0;
  }

  std::string saved;  ///< the last placeholder's identifier
};

}  // namespace quorvin
