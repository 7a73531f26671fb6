// What every implementation of the library's changes holds to. The subject is that of
// `library_contract.h`, and has besides:
//   PHPhotoLibraryChanges& changes();
//   std::string image();         // the path of a file that can be saved
//   std::string video();
//   std::string missingFile();   // the path of none
//   std::string unusableFile();  // the path of one that is no media
//   void refuseDeletions();      // from now on the user says no
//   void removeAlbum(const std::string& identifier);
//   void settle();  // returns once the changes of before, and their completions, are over
//
//   INSTANTIATE_TYPED_TEST_SUITE_P(Linux, LibraryChangesContract, LinuxSubject);
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "core/platform/changes.h"
#include "testing/contracts/library_contract.h"

namespace quorvin {

template <class Subject>
class LibraryChangesContract : public LibraryContract<Subject> {
 protected:
  using Block = std::function<void(PHChangeRequests&)>;

  PHPhotoLibraryChanges& changes() { return this->subject().changes(); }

  /// The code that the change failed with, which says something; 0 when it succeeded.
  std::int64_t perform(Block block) {
    std::int64_t code = -1;
    int completions = 0;
    changes().performChanges(
        std::move(block), [&](bool success, const std::optional<NSError>& error) {
          ++completions;
          EXPECT_EQ(success, !error);
          code = error ? error->code : 0;
          EXPECT_NE(error.value_or(NSError{"", 0, "none"}).localizedDescription, "");
        });
    this->subject().settle();
    EXPECT_EQ(completions, 1);
    return code;
  }
  std::int64_t save(const std::string& image) {
    return perform([this, image](PHChangeRequests& requests) {
      saved = requests.creationRequestForAssetFromImageAtFileURL(image)->localIdentifier;
    });
  }
  std::int64_t remove(const Identifiers& identifiers) {
    return perform([this, identifiers](PHChangeRequests& requests) {
      requests.deleteAssets(*this->library().fetchAssetsWithLocalIdentifiers(identifiers, nullptr));
    });
  }
  std::int64_t addTo(const PHAssetCollection& album, const Identifiers& identifiers) {
    return perform([album, identifiers](PHChangeRequests& requests) {
      std::vector<PHObjectPlaceholder> assets;
      for (const std::string& each : identifiers) assets.push_back({each});
      EXPECT_TRUE(requests.addAssets(album, assets));
    });
  }
  std::int64_t makeAlbum(const std::string& title) {
    return perform([this, title](PHChangeRequests& requests) {
      saved = requests.creationRequestForAssetCollectionWithTitle(title)->localIdentifier;
    });
  }
  Identifiers albums() { return this->collections(PHAssetCollectionType::album); }

  std::string saved;  ///< the last placeholder's identifier
};

TYPED_TEST_SUITE_P(LibraryChangesContract);

TYPED_TEST_P(LibraryChangesContract, RunsItsBlockAndItsCompletionElsewhereAfterItReturned) {
  std::vector<std::thread::id> ranOn;
  bool returned = false;
  std::mutex mutex;
  const auto note = [&] {
    const std::lock_guard guard(mutex);
    EXPECT_TRUE(returned);
    ranOn.push_back(std::this_thread::get_id());
  };
  {
    const std::lock_guard guard(mutex);
    this->changes().performChanges([&note](PHChangeRequests&) { note(); },
                                   [&note](bool, const std::optional<NSError>&) { note(); });
    returned = true;
  }
  this->subject().settle();
  ASSERT_EQ(ranOn.size(), 2U);
  for (const std::thread::id thread : ranOn) EXPECT_NE(thread, std::this_thread::get_id());
}

TYPED_TEST_P(LibraryChangesContract, SucceedsWhenItAsksForNothing) {
  EXPECT_EQ(this->perform([](PHChangeRequests&) {}), 0);
  EXPECT_EQ(this->remove({}), 0);
}

TYPED_TEST_P(LibraryChangesContract, RunsBlocksInTheirOrderAlsoThoseStartedInBlocksAndCompletions) {
  std::vector<std::string> order;
  const auto start = [this, &order](const std::string& name) {
    this->changes().performChanges([&order, name](PHChangeRequests&) { order.push_back(name); },
                                   [](bool, const std::optional<NSError>&) {});
  };
  this->changes().performChanges(
      [&](PHChangeRequests&) {
        start("second");
        order.emplace_back("first");
      },
      [&](bool, const std::optional<NSError>&) { start("third"); });
  this->subject().settle();
  this->subject().settle();
  EXPECT_EQ(order, (std::vector<std::string>{"first", "second", "third"}));
}

TYPED_TEST_P(LibraryChangesContract, ShowsNothingInTheBlockAndAllInTheCompletion) {
  const auto old = this->photo();
  std::string made;
  Identifiers during;
  Identifiers after;
  this->changes().performChanges(
      [&](PHChangeRequests& requests) {
        made = requests.creationRequestForAssetFromVideoAtFileURL(this->subject().video())
                   ->localIdentifier;
        requests.deleteAssets(*this->library().fetchAssetsWithLocalIdentifiers({{old}}, nullptr));
        during = this->find({old, made});
      },
      [&](bool, const std::optional<NSError>&) {
        after = this->find({old, made});
      });
  this->subject().settle();
  EXPECT_EQ(during, Identifiers{old});
  EXPECT_EQ(after, Identifiers{made});
}

TYPED_TEST_P(LibraryChangesContract, SavesEachFileAsTheAssetOfItsPlaceholderInTheOrderAskedFor) {
  Identifiers made;
  const std::string image = this->subject().image();
  EXPECT_EQ(this->perform([&](PHChangeRequests& requests) {
    const std::string video = this->subject().video();
    for (int i = 0; i < 2; ++i) {
      made.push_back(requests.creationRequestForAssetFromVideoAtFileURL(video)->localIdentifier);
      made.push_back(requests.creationRequestForAssetFromImageAtFileURL(image)->localIdentifier);
    }
  }),
            0);
  EXPECT_EQ(this->list(this->everything()), made);
  EXPECT_EQ(this->list(this->everything(), this->where("mediaType = %d", {2})),
            (Identifiers{made[0], made[2]}));
}

TYPED_TEST_P(LibraryChangesContract, MakesAlbumsAtTheEndThatMayShareATitle) {
  Identifiers made = {this->subject().addAlbum("Trip")};
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(this->makeAlbum("Trip"), 0);
    made.push_back(this->saved);
  }
  EXPECT_EQ(this->collections(PHAssetCollectionType::album, 2), made);
}

TYPED_TEST_P(LibraryChangesContract, AddsToTheEndOfAnAlbumOnce) {
  const auto old = this->photo(9);
  const auto next = this->photo(1);
  const auto album = this->album(this->subject().addAlbum("Trip", {old}));
  EXPECT_EQ(this->addTo(album, {next, old}), 0);
  EXPECT_EQ(this->addTo(album, {next}), 0);
  EXPECT_EQ(this->list(album), (Identifiers{old, next}));
}

TYPED_TEST_P(LibraryChangesContract, AddsANewAssetToANewAlbum) {
  std::string asset;
  std::string album;
  EXPECT_EQ(this->perform([&](PHChangeRequests& requests) {
    album = requests.creationRequestForAssetCollectionWithTitle("New")->localIdentifier;
    const auto made = requests.creationRequestForAssetFromImageAtFileURL(this->subject().image());
    asset = made->localIdentifier;
    EXPECT_TRUE(requests.addAssets(this->album(album), std::vector{*made}));
  }),
            0);
  EXPECT_EQ(this->list(this->album(album)), Identifiers{asset});
}

TYPED_TEST_P(LibraryChangesContract, TakesNothingIntoASmartAlbum) {
  const auto asset = this->photo();
  EXPECT_EQ(this->perform([&](PHChangeRequests& requests) {
    EXPECT_FALSE(requests.addAssets(this->everything(), std::vector<PHObjectPlaceholder>{{asset}}));
  }),
            0);
}

TYPED_TEST_P(LibraryChangesContract, FailsWholeForAnAlbumOrAnAssetThatIsGoneOrTakesNothing) {
  const auto asset = this->photo();
  const auto gone = this->album(this->subject().addAlbum("Gone"));
  const auto synced = this->subject().addAlbum("Synced", {}, 5);
  const auto open = this->subject().addAlbum("Open");
  this->subject().removeAlbum(gone.localIdentifier);
  const auto add = [&](const PHAssetCollection& album, const std::string& added) {
    return this->perform([&](PHChangeRequests& requests) {
      requests.creationRequestForAssetCollectionWithTitle("New");
      requests.deleteAssets(*this->library().fetchAssetsWithLocalIdentifiers({{asset}}, nullptr));
      requests.creationRequestForAssetFromImageAtFileURL(this->subject().image());
      EXPECT_TRUE(requests.addAssets(album, std::vector<PHObjectPlaceholder>{{added}}));
    });
  };
  EXPECT_EQ(add(gone, asset), 3201);
  EXPECT_EQ(add(this->album(synced), asset), 3300);
  EXPECT_EQ(add(this->album(open), "unknown"), 3201);
  EXPECT_EQ(this->albums(), (Identifiers{synced, open}));
  EXPECT_EQ(this->list(this->everything()), Identifiers{asset});
}

TYPED_TEST_P(LibraryChangesContract, FailsWholeForAFileThatIsMissingOrNoMedia) {
  EXPECT_EQ(this->save(this->subject().missingFile()), 3303);
  EXPECT_EQ(this->find({this->saved}), Identifiers{});
  EXPECT_EQ(this->save(this->subject().unusableFile()), 3302);
  EXPECT_EQ(this->perform([this](PHChangeRequests& requests) {
    EXPECT_TRUE(requests.creationRequestForAssetFromImageAtFileURL(this->subject().image()));
    EXPECT_TRUE(requests.creationRequestForAssetCollectionWithTitle("New"));
    EXPECT_TRUE(requests.creationRequestForAssetFromVideoAtFileURL(this->subject().missingFile()));
  }),
            3303);
  EXPECT_EQ(this->list(this->everything()), Identifiers{});
  EXPECT_EQ(this->albums(), Identifiers{});
  EXPECT_EQ(this->save(this->subject().image()), 0);
  EXPECT_EQ(this->find({this->saved}), Identifiers{this->saved});
}

TYPED_TEST_P(LibraryChangesContract, TakesDeletedAssetsOutOfEveryFetchAndTheirDeletionForDone) {
  const auto asset = this->photo();
  const auto kept = this->photo();
  const auto album = this->album(this->subject().addAlbum("Trip", {asset, kept}));
  const auto found = this->library().fetchAssetsWithLocalIdentifiers({{asset}}, nullptr);
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(this->perform([&](PHChangeRequests& requests) { requests.deleteAssets(*found); }), 0);
    EXPECT_EQ(this->find({asset}), Identifiers{});
    EXPECT_EQ(this->list(this->everything()), Identifiers{kept});
    EXPECT_EQ(this->list(album), Identifiers{kept});
  }
  EXPECT_EQ(found->firstObject()->localIdentifier, asset);
}

TYPED_TEST_P(LibraryChangesContract, GivesABurstANewRepresentativeWhenItsOwnIsDeleted) {
  const auto last = this->burstMember(3, false);
  const auto first = this->burstMember(1, false);
  const auto best = this->burstMember(2, true);
  EXPECT_EQ(this->list(this->everything()), Identifiers{best});
  EXPECT_EQ(this->remove({best}), 0);
  EXPECT_EQ(this->list(this->everything()), Identifiers{first});
  EXPECT_EQ(this->remove({first, last}), 0);
  EXPECT_EQ(this->list(this->everything()), Identifiers{});
}

TYPED_TEST_P(LibraryChangesContract, FailsWholeWhenTheUserRefusesTheDeletion) {
  const auto asset = this->photo();
  this->subject().refuseDeletions();
  EXPECT_EQ(this->perform([&](PHChangeRequests& requests) {
    requests.creationRequestForAssetCollectionWithTitle("New");
    requests.deleteAssets(*this->library().fetchAssetsWithLocalIdentifiers({{asset}}, nullptr));
  }),
            3072);
  EXPECT_EQ(this->find({asset}), Identifiers{asset});
  EXPECT_EQ(this->albums(), Identifiers{});
  EXPECT_EQ(this->remove({}), 0);
  EXPECT_EQ(this->makeAlbum("New"), 0);
}

TYPED_TEST_P(LibraryChangesContract, RunsNoBlockWithoutAuthorisation) {
  using Status = PHAuthorizationStatus;
  const auto codeWith = [this](Status status) {
    this->subject().allow(status);
    return this->perform([](PHChangeRequests&) { ADD_FAILURE() << "nobody allowed it"; });
  };
  EXPECT_EQ(codeWith(Status::notDetermined), 3311);
  EXPECT_EQ(codeWith(Status::denied), 3311);
  EXPECT_EQ(codeWith(Status::restricted), 3310);
  this->subject().allow(Status::authorized);
  EXPECT_EQ(this->perform([](PHChangeRequests&) {}), 0);
}

TYPED_TEST_P(LibraryChangesContract, LeavesWithLimitedAccessAllButTheSelectionAlone) {
  const auto selected = this->photo();
  const auto other = this->photo();
  const auto album = this->subject().addAlbum("Trip");
  const auto both = this->library().fetchAssetsWithLocalIdentifiers({{selected, other}}, nullptr);
  this->subject().select(selected);
  this->subject().allow(PHAuthorizationStatus::limited);
  EXPECT_EQ(this->makeAlbum("New"), 3311);
  EXPECT_EQ(this->addTo(this->album(album), {selected}), 3311);
  EXPECT_EQ(this->perform([&](PHChangeRequests& requests) { requests.deleteAssets(*both); }), 3311);
  EXPECT_EQ(this->find({selected}), Identifiers{selected});
  EXPECT_EQ(this->remove({selected}), 0);
  EXPECT_EQ(this->save(this->subject().image()), 0);
  EXPECT_EQ(this->list(this->everything()), Identifiers{this->saved});
  this->subject().allow(PHAuthorizationStatus::authorized);
  EXPECT_EQ(this->list(this->everything()), (Identifiers{other, this->saved}));
  EXPECT_EQ(this->albums(), Identifiers{album});
  EXPECT_EQ(this->list(this->album(album)), Identifiers{});
}

REGISTER_TYPED_TEST_SUITE_P(
    LibraryChangesContract, RunsItsBlockAndItsCompletionElsewhereAfterItReturned,
    SucceedsWhenItAsksForNothing, RunsBlocksInTheirOrderAlsoThoseStartedInBlocksAndCompletions,
    ShowsNothingInTheBlockAndAllInTheCompletion,
    SavesEachFileAsTheAssetOfItsPlaceholderInTheOrderAskedFor,
    MakesAlbumsAtTheEndThatMayShareATitle, AddsToTheEndOfAnAlbumOnce, AddsANewAssetToANewAlbum,
    TakesNothingIntoASmartAlbum, FailsWholeForAnAlbumOrAnAssetThatIsGoneOrTakesNothing,
    FailsWholeForAFileThatIsMissingOrNoMedia,
    TakesDeletedAssetsOutOfEveryFetchAndTheirDeletionForDone,
    GivesABurstANewRepresentativeWhenItsOwnIsDeleted, FailsWholeWhenTheUserRefusesTheDeletion,
    RunsNoBlockWithoutAuthorisation, LeavesWithLimitedAccessAllButTheSelectionAlone);

}  // namespace quorvin
