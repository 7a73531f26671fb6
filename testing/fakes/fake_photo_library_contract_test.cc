#include <gtest/gtest.h>

#include "testing/contracts/library_changes_contract.h"
#include "testing/contracts/photo_library_contract.h"
#include "testing/fakes/fake_photo_library.h"
#include "testing/fakes/samples.h"

namespace quorvin {
namespace {

class FakeLibrary {
 public:
  FakeLibrary() {
    fake_.addCollectionOfEverything(userLibrary());
    fake_.faultyFiles = {{missingFile(), 3303}, {unusableFile(), 3302}};
  }

  PHPhotoLibrary& library() { return fake_; }
  PHPhotoLibraryChanges& changes() { return fake_; }

  std::string addAsset(PHAsset asset) {
    asset.localIdentifier = "asset-" + std::to_string(++planted_);
    fake_.addAsset(asset);
    return asset.localIdentifier;
  }
  std::string addAlbum(const std::string& title, std::vector<std::string> members = {},
                       std::int64_t subtype = 2) {
    const PHAssetCollection album =
        userAlbum("album-" + std::to_string(++planted_), title, subtype);
    fake_.addCollection(album, std::move(members));
    return album.localIdentifier;
  }
  void removeAsset(const std::string& identifier) { fake_.removeAsset(identifier); }
  void removeAlbum(const std::string& identifier) { fake_.removeCollection(identifier); }
  void select(const std::string& identifier) { fake_.select(identifier); }
  void allow(PHAuthorizationStatus status) { fake_.status = status; }
  void answer(PHAuthorizationStatus status) { fake_.answerAuthorizationRequests(status); }
  void refuseDeletions() { fake_.deletionsAreAllowed = false; }

  static std::string image() { return "/in/a.jpg"; }
  static std::string video() { return "/in/a.mov"; }
  static std::string missingFile() { return "/in/missing.jpg"; }
  static std::string unusableFile() { return "/in/notes.txt"; }

  void settle() {
    while (fake_.changes.runNextOnNewThread()) {
    }
  }

 private:
  EventLog log_;
  FakePhotoLibrary fake_{log_, [](const std::string& what) { ADD_FAILURE() << what; }};
  int planted_ = 0;
};

INSTANTIATE_TYPED_TEST_SUITE_P(Fake, PhotoLibraryContract, FakeLibrary);
INSTANTIATE_TYPED_TEST_SUITE_P(Fake, LibraryChangesContract, FakeLibrary);

}  // namespace
}  // namespace quorvin
