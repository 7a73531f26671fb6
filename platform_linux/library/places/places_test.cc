// Whatever two processes do to a library, each listing shows what a search of all assets finds,
// from any place on.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "platform_linux/library/places/place_check.h"
#include "testing/library/generated_library.h"
#include "testing/platform/library_changer.h"
#include "testing/platform/testing_library.h"

namespace quorvin {
namespace {

using Identifiers = std::vector<std::string>;

// Each smart album, as a search of all assets would put it.
const std::map<std::int64_t, std::string>& smartConditions() {
  static const std::map<std::int64_t, std::string> conditions = {
      {209, "1"},
      {203, "favorite"},
      {202, "media_type = 2"},
      {210, "front_camera"},
      {213, "subtypes & 8"},
      {201, "subtypes & 1"},
      {204, "subtypes & 262144"},
      {208, "subtypes & 131072"},
      {207, "burst_id IS NOT NULL"},
      {211, "subtypes & 4"},
      {212, "subtypes & 16"},
      {220, "subtypes & 524288"},
      {214, "animated"},
      {217, "raw"},
      {205, "hidden"},
  };
  return conditions;
}

constexpr const char* kShown =
    " AND trashed_ns IS NULL AND hidden = 0 AND (burst_id IS NULL OR represents OR burst_sel & 2)";

struct Member {
  std::string identifier;
  std::int64_t mediaType = 0;
};
using Members = std::vector<Member>;

class Comparison {
 public:
  Comparison(Library& library, const std::string& path, Randomness& random)
      : library_(library),
        random_(random),
        database_(*Database::open(path + "/library.sqlite", Database::Use::read)) {}

  void compareGallery(const PHAssetCollection& gallery) {
    const std::string from =
        gallery.assetCollectionType == PHAssetCollectionType::smartAlbum
            ? "FROM assets WHERE (" + smartConditions().at(gallery.assetCollectionSubtype) + ")"
            : "FROM members JOIN assets ON assets.id = asset WHERE collection = (SELECT id FROM"
              " collections WHERE ident = '" +
                  gallery.localIdentifier + "')";
    const bool isAlbum = gallery.assetCollectionType == PHAssetCollectionType::album;
    const Members own = members(from, isAlbum ? "members.pos, assets.id" : "assets.id");
    const Members byDate = members(from, "created_ns, assets.id");
    for (const char* predicate : {"", "mediaType = 0", "mediaType = 1", "mediaType = 2",
                                  "mediaType = 3", "mediaType = 1 || mediaType = 2"}) {
      compare(gallery, own, predicate, {});
      for (const bool ascending : {true, false}) {
        Members sorted = byDate;
        if (!ascending) std::reverse(sorted.begin(), sorted.end());
        compare(gallery, sorted, predicate, {{"creationDate", ascending}});
      }
    }
  }

  WrongPlaces wrong() { return wrongPlaces(*database_).value_or(WrongPlaces{-1, -1}); }

 private:
  Members members(const std::string& from, const std::string& order) {
    Members found;
    Statement rows =
        database_->prepare("SELECT ident, media_type " + from + kShown + " ORDER BY " + order);
    while (rows.next()) found.push_back({std::string(rows.text(0)), rows.integer(1)});
    EXPECT_FALSE(rows.failed()) << from;
    return found;
  }

  void compare(const PHAssetCollection& gallery, const Members& all, const std::string& predicate,
               std::vector<NSSortDescriptor> sorts) {
    Identifiers expected;
    for (const Member& member : all) {
      if (predicate.empty() ||
          predicate.find(std::to_string(member.mediaType)) != std::string::npos)
        expected.push_back(member.identifier);
    }
    PHFetchOptions options;
    if (!predicate.empty()) options.predicate = NSPredicate{predicate, {}};
    options.sortDescriptors = std::move(sorts);
    const auto size = static_cast<std::int64_t>(expected.size());
    if (random_.oneIn(2))
      options.fetchLimit = static_cast<std::size_t>(1 + random_.below(size + 2));
    if (options.fetchLimit > 0 && options.fetchLimit < expected.size()) {
      expected.resize(options.fetchLimit);
    }
    const auto result = library_.fetchAssetsInAssetCollection(gallery, &options);
    ASSERT_EQ(result->count(), expected.size()) << gallery.localizedTitle.value_or("") << predicate;
    for (int page = 0; page < 4; ++page) {
      const auto first =
          static_cast<std::size_t>(random_.below(static_cast<std::int64_t>(expected.size()) + 1));
      const std::size_t last =
          std::min(expected.size(), first + static_cast<std::size_t>(random_.below(300)));
      const auto assets = result->objectsAtIndexes({first, last});
      ASSERT_EQ(assets.size(), last - first);
      for (std::size_t i = first; i < last; ++i) {
        ASSERT_EQ(assets[i - first]->localIdentifier, expected[i])
            << gallery.localizedTitle.value_or("") << " " << predicate << " at " << i;
      }
    }
  }

  Library& library_;
  Randomness& random_;
  std::unique_ptr<Database> database_;
};

class Places : public testing::TestWithParam<unsigned> {};

TEST_P(Places, ShowWhatASearchFindsWhateverTwoProcessesChange) {
  const unsigned seed = GetParam();
  SCOPED_TRACE("seed " + std::to_string(seed));
  const TemporaryFolder folder;
  const std::string path = folder / "library";
  // So many that there are several groups.
  ASSERT_TRUE(
      generateLibrary(path, {.assets = 20'000, .albums = 8, .largestAlbum = 9'000, .seed = seed}));
  OtherChanger other(path, seed + 1000);
  LibraryChanger changer(path, seed);
  const auto library =
      *Library::open({.path = path, .authorization = PHAuthorizationStatus::authorized});
  Randomness random(seed);
  Comparison comparison(*library, path, random);
  for (int batch = 0; batch < 4; ++batch) {
    other.begin();
    changer.changeMuch();
    other.finish();
    for (const auto type : {PHAssetCollectionType::smartAlbum, PHAssetCollectionType::album}) {
      library->fetchAssetCollectionsWithType(type, PHAssetCollectionSubtype::any, nullptr)
          ->enumerateObjectsUsingBlock(
              [&](const PHAssetCollection& gallery) { comparison.compareGallery(gallery); });
    }
    EXPECT_EQ(comparison.wrong().places, 0) << "batch " << batch;
    EXPECT_EQ(comparison.wrong().counts, 0) << "batch " << batch;
    if (HasFailure()) return;
  }
}

#ifdef QUORVIN_SANITIZED  // everything is many times slower
INSTANTIATE_TEST_SUITE_P(OfSeeds, Places, testing::Values(1U));
#else
INSTANTIATE_TEST_SUITE_P(OfSeeds, Places, testing::Values(1U, 2U, 3U));
#endif

}  // namespace
}  // namespace quorvin
