#include "platform_linux/library/import/importer.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/inotify.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <map>
#include <string>
#include <vector>

#include "testing/platform/testing_library.h"
#include "testing/platform/testing_media.h"

namespace quorvin {
namespace {

namespace fs = std::filesystem;

class Listener final : public ImportObserver {
 public:
  void filesFound(std::size_t total) override { found = total; }
  void fileDone(const std::string& path) override { done.push_back(path); }
  void problem(const std::string& path, const std::string& reason) override {
    problems[fs::path(path).filename().string()] = reason;
  }

  std::size_t found = 0;
  std::vector<std::string> done;
  std::map<std::string, std::string> problems;
};

struct Fixture {
  TemporaryFolder folder;
  ScriptedMedia media;
  Listener listener;

  std::string put(const std::string& name, const std::string& content) {
    const std::string path = folder / ("in/" + name);
    writeFile(path, content);
    return path;
  }

  Result<ImportSummary> tryImport(std::vector<std::string> paths,
                                  std::optional<std::string> album = std::nullopt) {
    listener = {};
    return importIntoLibrary(libraryPath(), media, {std::move(paths), std::move(album)}, listener);
  }

  ImportSummary import(std::vector<std::string> paths,
                       std::optional<std::string> album = std::nullopt) {
    const auto summary = tryImport(std::move(paths), std::move(album));
    EXPECT_TRUE(summary) << summary.error().reason;
    return summary ? *summary : ImportSummary{};
  }
  ImportSummary importAll() { return import({folder / "in"}); }

  std::string libraryPath() const { return folder / "library"; }

  std::unique_ptr<Library> open() const {
    auto opened =
        Library::open({.path = libraryPath(), .authorization = PHAuthorizationStatus::authorized});
    if (!opened) fatalError(opened.error().reason);
    return *std::move(opened);
  }

  /// "name: resources" of each asset, in order of addition, burst members and all.
  std::vector<std::string> assets() const {
    const auto library = open();
    PHFetchOptions all;
    all.includeAllBurstAssets = true;
    all.includeHiddenAssets = true;
    const auto recents =
        library->fetchAssetCollectionsWithType(PHAssetCollectionType::smartAlbum, 209, nullptr);
    std::vector<std::string> described;
    library->fetchAssetsInAssetCollection(*recents->firstObject(), &all)
        ->enumerateObjectsUsingBlock([&](const PHAsset& asset) {
          std::string text = std::to_string(static_cast<int>(asset.mediaType));
          for (const auto& resource : library->assetResourcesForAsset(asset)) {
            text += " " + std::to_string(static_cast<int>(resource->type)) + ":" +
                    resource->originalFilename;
          }
          if ((asset.mediaSubtypes & 8) != 0) text += " live";
          if (asset.burstIdentifier) text += " burst";
          if (asset.representsBurst) text += " represents";
          described.push_back(text);
        });
    return described;
  }

  PHAsset only() const {
    const auto library = open();
    const auto recents =
        library->fetchAssetCollectionsWithType(PHAssetCollectionType::smartAlbum, 209, nullptr);
    const auto found = library->fetchAssetsInAssetCollection(*recents->firstObject(), nullptr);
    EXPECT_EQ(found->count(), 1U);
    return found->count() == 1 ? *found->firstObject() : PHAsset{};
  }

  /// Every original is named by the catalogue, of its size, read-only; nothing else lies around.
  void expectSound() const {
    open().reset();  // tidies
    Gardener gardener(libraryPath());
    EXPECT_EQ(gardener.text("PRAGMA integrity_check"), "ok");
    EXPECT_EQ(gardener.text("PRAGMA foreign_key_check"), "");
    EXPECT_TRUE(fs::is_empty(folder / "library/incoming"));
    const auto files = filesBelow(folder / "library/originals");
    EXPECT_EQ(gardener.integer("SELECT count(*) FROM resources"),
              static_cast<std::int64_t>(files.size()));
    for (const std::string& file : files) {
      EXPECT_EQ(gardener.text("SELECT size FROM resources WHERE path = '" + file + "'"),
                std::to_string(fs::file_size(folder / ("library/originals/" + file))));
    }
    EXPECT_EQ(gardener.integer("SELECT count(*) FROM assets WHERE NOT EXISTS"
                               " (SELECT 1 FROM resources WHERE asset = id)"),
              0);
  }
};

using Texts = std::vector<std::string>;

TEST(Importer, MakesOneAssetOfEachFileAndKeepsTheSource) {
  Fixture test;
  const auto photo = test.put("a.jpg", "image");
  const auto video = test.put("b.mov", "video");
  const auto audio = test.put("c.mp3", "audio");
  EXPECT_EQ(test.importAll(), (ImportSummary{3, 3, 0, 0}));
  EXPECT_EQ(test.assets(), (Texts{"1 1:a.jpg", "2 2:b.mov", "3 3:c.mp3"}));
  EXPECT_EQ(readFile(photo), "image");
  EXPECT_EQ(readFile(video), "video");
  EXPECT_EQ(test.listener.found, 3U);
  EXPECT_EQ(test.listener.done, (Texts{photo, video, audio}));
  test.expectSound();
}

TEST(Importer, MakesALibraryThatItsOwnerMayUse) {
  Fixture test;
  test.importAll();
  EXPECT_EQ((*Library::open({.path = test.libraryPath()}))->authorizationStatus(),
            PHAuthorizationStatus::authorized);
}

TEST(Importer, LeavesTheStatusOfALibraryThatThereWas) {
  Fixture test;
  test.open();
  test.put("a.jpg", "image");
  test.importAll();
  EXPECT_EQ((*Library::open({.path = test.libraryPath()}))->authorizationStatus(),
            PHAuthorizationStatus::notDetermined);
}

TEST(Importer, StoresTheBytesReadOnlyUnderTheirOwnExtension) {
  Fixture test;
  test.put("IMG.JPG", "image with bytes");
  test.importAll();
  const PHAsset asset = test.only();
  const auto stored = test.open()->storedResources(asset.localIdentifier);
  ASSERT_TRUE(stored);
  const StoredResource& photo = *stored->front();
  const std::string uuid = asset.localIdentifier.substr(0, 36);
  EXPECT_EQ(photo.path,
            test.folder / ("library/originals/" + uuid.substr(0, 2) + "/" + uuid + ".JPG"));
  EXPECT_EQ(readFile(photo.path), "image with bytes");
  struct stat status = {};
  ::stat(photo.path.c_str(), &status);
  EXPECT_EQ(status.st_mode & 07777, 0444U);
}

TEST(Importer, TakesTheExtensionFromTheContentWhenTheNameHasNone) {
  Fixture test;
  test.put("plain", "image");
  test.put("odd.j p g", "image too");
  test.importAll();
  for (const auto& file : filesBelow(test.folder / "library/originals")) {
    EXPECT_TRUE(file.ends_with(".jpg")) << file;
  }
}

TEST(Importer, TakesDatesFromTheMetadataElseFromTheFile) {
  Fixture test;
  const auto path = test.put("a.jpg", "image date=1500000000");
  const struct timespec times[2] = {{.tv_sec = 5, .tv_nsec = 0},
                                    {.tv_sec = -2, .tv_nsec = 500'000'000}};
  ::utimensat(AT_FDCWD, path.c_str(), times, 0);
  test.importAll();
  EXPECT_EQ(test.only().creationDate, NSDate(1.5));
  EXPECT_EQ(test.only().modificationDate, NSDate(-1.5));
  Fixture undated;
  const auto plain = undated.put("a.jpg", "image");
  ::utimensat(AT_FDCWD, plain.c_str(), times, 0);
  undated.importAll();
  EXPECT_EQ(undated.only().creationDate, NSDate(-1.5));
}

TEST(Importer, AddsNothingTheSecondTime) {
  Fixture test;
  test.put("a.jpg", "image");
  test.put("sub/IMG_1.HEIC", "image 1");
  test.put("sub/IMG_1.MOV", "video 1");
  EXPECT_EQ(test.importAll(), (ImportSummary{2, 3, 0, 0}));
  const auto before = test.assets();
  const int probes = test.media.probes;
  EXPECT_EQ(test.importAll(), (ImportSummary{0, 0, 3, 0}));
  EXPECT_EQ(test.media.probes, probes);
  EXPECT_EQ(test.listener.done.size(), 3U);
  EXPECT_EQ(test.assets(), before);
  test.expectSound();
}

TEST(Importer, TellsFilesApartByEveryByte) {
  Fixture test;
  test.put("a/same.jpg", "image 1");
  test.put("b/same.jpg", "image 2");
  test.put("c/other-name.jpg", "image 1");
  EXPECT_EQ(test.importAll(), (ImportSummary{2, 2, 1, 0}));
  EXPECT_EQ(test.assets(), (Texts{"1 1:same.jpg", "1 1:same.jpg"}));
  test.expectSound();
}

TEST(Importer, TakesInAgainWhatWasDeleted) {
  Fixture test;
  test.put("a.jpg", "image");
  test.importAll();
  Gardener(test.libraryPath()).run("UPDATE assets SET trashed_ns = unixepoch() * 1000000000");
  EXPECT_EQ(test.importAll(), (ImportSummary{1, 1, 0, 0}));
}

TEST(Importer, RefusesWhatIsNoMediaAndGoesOn) {
  Fixture test;
  test.put("a.txt", "text");
  test.put("b.jpg", "");
  test.put("c.jpg", "image");
  EXPECT_EQ(test.importAll(), (ImportSummary{1, 1, 0, 2}));
  EXPECT_EQ(test.listener.problems["a.txt"], "It is not a photo, video or audio file.");
  EXPECT_EQ(test.listener.problems["b.jpg"], "The file is empty.");
  EXPECT_EQ(test.listener.done.size(), 3U);
}

TEST(Importer, RefusesFifosDevicesAndSocketsWithoutWaiting) {
  Fixture test;
  fs::create_directories(test.folder / "in");
  ASSERT_EQ(::mkfifo((test.folder / "in/pipe.jpg").c_str(), 0600), 0);
  EXPECT_EQ(test.import({test.folder / "in", "/dev/null", "/dev/zero"}),
            (ImportSummary{0, 0, 0, 3}));
  EXPECT_EQ(test.listener.problems["pipe.jpg"], "It is not a regular file.");
  EXPECT_EQ(test.listener.problems["null"], "It is not a regular file.");
}

TEST(Importer, NamesWhatCannotBeFound) {
  Fixture test;
  test.put("a.jpg", "image");
  fs::create_symlink("nowhere", test.folder / "in/broken.jpg");
  EXPECT_EQ(test.import({test.folder / "in", test.folder / "missing"}),
            (ImportSummary{1, 1, 0, 2}));
  EXPECT_EQ(test.listener.problems["missing"], "It cannot be found: No such file or directory.");
  EXPECT_EQ(test.listener.problems.count("broken.jpg"), 1U);
}

TEST(Importer, FollowsLinksAndSurvivesTheirLoops) {
  Fixture test;
  test.put("deep/er/a.jpg", "image");
  fs::create_directory_symlink("..", test.folder / "in/deep/up");
  fs::create_directory_symlink(test.folder / "in", test.folder / "in/deep/er/top");
  writeFile(test.folder / "elsewhere.jpg", "image elsewhere");
  fs::create_symlink(test.folder / "elsewhere.jpg", test.folder / "in/link.jpg");
  EXPECT_EQ(test.importAll(), (ImportSummary{2, 2, 0, 0}));
}

TEST(Importer, NeverImportsTheLibraryIntoItself) {
  Fixture test;
  test.put("a.jpg", "image");
  test.importAll();
  EXPECT_EQ(test.import({test.folder.path()}), (ImportSummary{0, 0, 1, 0}));
}

TEST(Importer, ReportsAFolderThatCannotBeRead) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs to become another user";
  Fixture test;
  test.put("a.jpg", "image");
  test.put("locked/b.jpg", "image b");
  ::chmod((test.folder / "in/locked").c_str(), 0);
  ::chmod(test.folder.path().c_str(), 0777);
  const pid_t child = ::fork();
  if (child == 0) {
    if (::setuid(65534) != 0) ::_exit(2);
    const auto summary = test.tryImport({test.folder / "in"});
    const bool right =
        summary && *summary == ImportSummary{1, 1, 0, 1} &&
        test.listener.problems["locked"] == "The folder cannot be read: Permission denied.";
    ::_exit(right ? 0 : 1);
  }
  int status = 0;
  ::waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
}

TEST(Importer, KeepsNamesByteForByte) {
  Fixture test;
  const std::string decomposed = "Zoe\xCC\x88 \xF0\x9F\x90\x88.jpg";
  const std::string longName = std::string(251, 'x') + ".jpg";
  test.put(decomposed, "image 1");
  test.put(longName, "image 2");
  test.importAll();
  EXPECT_EQ(test.assets(), (Texts{"1 1:" + decomposed, "1 1:" + longName}));
}

TEST(Importer, ReplacesBytesThatAreNoCharacters) {
  Fixture test;
  test.put("caf\xE9 \xED\xA0\x80.jpg", "image");
  test.importAll();
  EXPECT_EQ(test.assets(), (Texts{"1 1:caf\uFFFD \uFFFD\uFFFD\uFFFD.jpg"}));
}

TEST(Importer, MakesALivePhotoOfTwoNamesThatBelongTogether) {
  Fixture test;
  test.put("IMG_1.MOV", "video");
  test.put("img_1.heic", "image");
  test.put("IMG_2.jpeg", "image 2");
  test.put("IMG_2.mov", "video 2");
  EXPECT_EQ(test.importAll(), (ImportSummary{2, 4, 0, 0}));
  auto assets = test.assets();
  std::sort(assets.begin(), assets.end());
  EXPECT_EQ(assets, (Texts{"1 1:IMG_2.jpeg 9:IMG_2.mov live", "1 1:img_1.heic 9:IMG_1.MOV live"}));
  test.expectSound();
}

TEST(Importer, GivesTheMovieToTheHeicOfTwoStills) {
  Fixture test;
  test.put("IMG_1.HEIC", "image");
  test.put("IMG_1.JPG", "image too");
  test.put("IMG_1.MOV", "video");
  test.importAll();
  EXPECT_EQ(test.assets(), (Texts{"1 1:IMG_1.HEIC 9:IMG_1.MOV live", "1 1:IMG_1.JPG"}));
}

TEST(Importer, PairsByNameOnlyWithinAFolderAndOnlyTheUsualExtensions) {
  Fixture test;
  test.put("a/IMG_1.HEIC", "image");
  test.put("b/IMG_1.MOV", "video");
  test.put("b/IMG_2.PNG", "image 2");
  test.put("b/IMG_2.MOV", "video 2");
  test.put("b/IMG_3.JPG", "image 3");
  test.put("b/IMG_3.MP4", "video 3");
  EXPECT_EQ(test.importAll().addedAssets, 6U);
}

TEST(Importer, PairsByContentIdentifierAcrossFoldersAndBeforeNames) {
  Fixture test;
  test.put("a/one.heic", "image id=X");
  test.put("a/one.mov", "video id=Y");
  test.put("b/two.mov", "video id=X");
  test.importAll();
  EXPECT_EQ(test.assets(), (Texts{"1 1:one.heic 9:two.mov live", "2 2:one.mov"}));
}

TEST(Importer, DoesNotPairNamesWhoseContentIdentifiersDiffer) {
  Fixture test;
  test.put("one.heic", "image id=X");
  test.put("one.mov", "video id=Y");
  EXPECT_EQ(test.importAll().addedAssets, 2U);
}

TEST(Importer, JoinsTheSecondHalfToThePhotoThatIsThere) {
  Fixture test;
  const auto photo = test.put("IMG_1.HEIC", "image");
  const auto movie = test.put("IMG_1.MOV", "video");
  test.import({photo});
  const PHAsset before = test.only();
  EXPECT_EQ(test.import({movie}), (ImportSummary{0, 1, 0, 0}));
  EXPECT_EQ(test.assets(), (Texts{"1 1:IMG_1.HEIC 9:IMG_1.MOV live"}));
  EXPECT_EQ(test.only().localIdentifier, before.localIdentifier);
  test.expectSound();
}

TEST(Importer, JoinsTheStillToTheMovieThatIsThere) {
  Fixture test;
  const auto photo = test.put("IMG_1.HEIC", "image front orientation=6");
  const auto movie = test.put("IMG_1.MOV", "video rate=240");
  test.import({movie});
  const PHAsset before = test.only();
  EXPECT_EQ(test.import({photo}), (ImportSummary{0, 1, 0, 0}));
  EXPECT_EQ(test.assets(), (Texts{"1 1:IMG_1.HEIC 9:IMG_1.MOV live"}));
  const PHAsset after = test.only();
  EXPECT_EQ(after.localIdentifier, before.localIdentifier);
  EXPECT_EQ(after.duration, 0);
  EXPECT_EQ(after.mediaSubtypes, 8U);
  EXPECT_EQ(test.open()->storedResources(after.localIdentifier)->front()->orientation, 6);
  test.expectSound();
}

TEST(Importer, JoinsTheSecondHalfAlsoWhenTheFirstComesAgain) {
  Fixture test;
  const auto photo = test.put("IMG_1.HEIC", "image");
  test.importAll();
  test.put("IMG_1.MOV", "video");
  EXPECT_EQ(test.importAll(), (ImportSummary{0, 1, 1, 0}));
  EXPECT_EQ(test.assets(), (Texts{"1 1:IMG_1.HEIC 9:IMG_1.MOV live"}));
  Fixture reverse;
  reverse.put("IMG_1.MOV", "video id=7");
  reverse.importAll();
  reverse.put("other/photo.HEIC", "image id=7");
  EXPECT_EQ(reverse.importAll(), (ImportSummary{0, 1, 1, 0}));
  EXPECT_EQ(reverse.assets(), (Texts{"1 1:photo.HEIC 9:IMG_1.MOV live"}));
}

TEST(Importer, DoesNotGiveASecondMovieToALivePhoto) {
  Fixture test;
  test.put("IMG_1.HEIC", "image id=X");
  test.put("IMG_1.MOV", "video id=X");
  test.importAll();
  test.put("again.mov", "video id=X again");
  EXPECT_EQ(test.importAll(), (ImportSummary{1, 1, 2, 0}));
  EXPECT_EQ(test.assets(), (Texts{"1 1:IMG_1.HEIC 9:IMG_1.MOV live", "2 2:again.mov"}));
}

TEST(Importer, SetsTheLiveMarkOnlyWithTheVideo) {
  Fixture test;
  test.put("a.jpg", "image subtypes=26");
  test.importAll();
  EXPECT_EQ(test.only().mediaSubtypes, 18U);
}

TEST(Importer, CutsTheMovieOutOfAMotionPhoto) {
  Fixture test;
  const std::string head = "image movieat=40 moviesize=9 ";
  test.put("PXL.jpg", head + std::string(40 - head.size(), '.') + "ftyp-9byt");
  EXPECT_EQ(test.importAll(), (ImportSummary{1, 1, 0, 0}));
  EXPECT_EQ(test.assets(), (Texts{"1 1:PXL.jpg 9:PXL.MP4 live"}));
  const auto stored = test.open()->storedResources(test.only().localIdentifier);
  ASSERT_TRUE(stored);
  EXPECT_EQ(readFile(stored->at(0)->path).size(), 49U);
  EXPECT_EQ(readFile(stored->at(1)->path), "ftyp-9byt");
  EXPECT_EQ(test.importAll(), (ImportSummary{0, 0, 1, 0}));
  test.expectSound();
}

TEST(Importer, TakesAMotionPhotoWhoseMovieIsNotThereAsAPhoto) {
  Fixture test;
  test.put("a.jpg", "image movieat=40 moviesize=9000");
  test.importAll();
  EXPECT_EQ(test.assets(), (Texts{"1 1:a.jpg"}));
  test.expectSound();
}

TEST(Importer, MarksFastVideosAsSlowMotion) {
  Fixture test;
  test.put("a.mov", "video rate=119.88");
  test.put("b.mov", "video captured=120");
  test.put("c.mov", "video rate=60");
  test.importAll();
  const auto library = test.open();
  const auto slow =
      library->fetchAssetCollectionsWithType(PHAssetCollectionType::smartAlbum, 208, nullptr);
  EXPECT_EQ(library->fetchAssetsInAssetCollection(*slow->firstObject(), nullptr)->count(), 2U);
}

TEST(Importer, StoresHowSlowMotionPlays) {
  using namespace std::chrono_literals;
  Fixture test;
  test.import({test.put("a.mov", "video rate=120")});
  const TimeMap map = {{0s, 500ms, 500ms}, {500ms, 1500ms, 6s}, {2s, 500ms, 500ms}};
  EXPECT_EQ(test.open()->timeMap(test.only().localIdentifier), map);
  test.expectSound();
}

TEST(Importer, StoresNothingOfVideosThatPlayAsTheyAre) {
  Fixture test;
  test.put("a.mov", "video captured=240");
  test.put("b.mov", "video rate=60");
  test.put("c.jpg", "image");
  test.importAll();
  EXPECT_EQ(Gardener(test.libraryPath()).integer("SELECT count(*) FROM time_maps"), 0);
}

TEST(Importer, ForgetsHowAMoviePlaysThatBecomesPartOfALivePhoto) {
  Fixture test;
  test.import({test.put("IMG_1.MOV", "video rate=240")});
  Gardener catalogue(test.libraryPath());
  EXPECT_EQ(catalogue.integer("SELECT count(*) FROM time_maps"), 3);
  test.import({test.put("IMG_1.HEIC", "image")});
  EXPECT_EQ(catalogue.integer("SELECT count(*) FROM time_maps"), 0);
}

TEST(Importer, RepresentsABurstByThePrimaryMember) {
  Fixture test;
  test.put("a.jpg", "image burst=B date=1");
  test.put("b.jpg", "image burst=B date=2 primary");
  test.put("c.jpg", "image burst=B date=3 primary");
  test.importAll();
  EXPECT_EQ(test.assets(),
            (Texts{"1 1:a.jpg burst", "1 1:b.jpg burst represents", "1 1:c.jpg burst"}));
  EXPECT_EQ(test.only().burstSelectionTypes, 1U);
}

TEST(Importer, RepresentsABurstElseByItsFirstMember) {
  Fixture test;
  test.put("a.jpg", "image burst=B date=5 x");
  test.put("c.jpg", "image burst=B date=4 x");
  test.put("b.jpg", "image burst=B date=4 y");
  test.importAll();
  EXPECT_EQ(test.assets(),
            (Texts{"1 1:a.jpg burst", "1 1:b.jpg burst represents", "1 1:c.jpg burst"}));
}

TEST(Importer, ChoosesAmongAllMembersOfABurstHoweverManyThereAre) {
  Fixture test;
  for (int i = 0; i < 600; ++i) {
    test.put("b" + std::to_string(1000 + i) + ".jpg",
             "image burst=B date=" + std::to_string(9000 - i));
  }
  test.importAll();
  EXPECT_EQ(test.open()->storedResources(test.only().localIdentifier)->front()->originalFilename,
            "b1599.jpg");
}

TEST(Importer, LaterMembersTakeOverABurstOnlyAsTheFirstPrimary) {
  Fixture test;
  test.import({test.put("b.jpg", "image burst=B date=5")});
  EXPECT_EQ(test.assets(), (Texts{"1 1:b.jpg burst represents"}));
  test.import({test.put("a.jpg", "image burst=B date=1")});
  EXPECT_EQ(test.only().creationDate->timeIntervalSince1970(), 5e-9);
  test.import({test.put("p.jpg", "image burst=B date=7 primary")});
  EXPECT_EQ(test.only().creationDate->timeIntervalSince1970(), 7e-9);
  test.import({test.put("q.jpg", "image burst=B date=2 primary")});
  EXPECT_EQ(test.only().creationDate->timeIntervalSince1970(), 7e-9);
  EXPECT_EQ(test.only().burstSelectionTypes, 1U);
}

TEST(Importer, KnowsABurstByItsNames) {
  Fixture test;
  test.put("00_BURST2017_x.jpg", "image 1");
  test.put("01_BURST2017_COVER.jpg", "image 2");
  test.put("02_BURST2018.jpg", "image 3");
  test.importAll();
  EXPECT_EQ(test.assets(),
            (Texts{"1 1:00_BURST2017_x.jpg burst", "1 1:01_BURST2017_COVER.jpg burst represents",
                   "1 1:02_BURST2018.jpg"}));
}

TEST(Importer, PutsWhatItFindsIntoTheAlbum) {
  Fixture test;
  const auto first = test.put("a.jpg", "image 1");
  test.put("b.jpg", "image 2");
  test.import({first});
  test.import({test.folder / "in"}, "Trip");
  test.import({test.folder / "in"}, "Trip");
  const auto library = test.open();
  const auto albums =
      library->fetchAssetCollectionsWithType(PHAssetCollectionType::album, 2, nullptr);
  ASSERT_EQ(albums->count(), 1U);
  EXPECT_EQ(albums->firstObject()->localizedTitle, "Trip");
  EXPECT_EQ(library->fetchAssetsInAssetCollection(*albums->firstObject(), nullptr)->count(), 2U);
}

TEST(Importer, MakesNoAlbumForNothing) {
  Fixture test;
  test.put("a.txt", "text");
  test.import({test.folder / "in"}, "Trip");
  EXPECT_EQ(
      test.open()->fetchAssetCollectionsWithType(PHAssetCollectionType::album, 2, nullptr)->count(),
      0U);
}

TEST(Importer, RefusesAFileThatChangesWhileItIsRead) {
  Fixture test;
  const auto path = test.put("a.jpg", "image");
  test.put("b.jpg", "image b");
  test.media.onProbe = [&path](const std::string& name) {
    if (name == "b.jpg") writeFile(path, "image, but another one");
  };
  EXPECT_EQ(test.importAll(), (ImportSummary{1, 1, 0, 1}));
  EXPECT_EQ(test.listener.problems["a.jpg"], "The file changed while it was read.");
  test.expectSound();
}

TEST(Importer, TakesTheMovieAloneWhenItsStillIsGone) {
  Fixture test;
  const auto still = test.put("IMG_1.HEIC", "image");
  test.put("IMG_1.MOV", "video");
  test.media.onProbe = [&still](const std::string& name) {
    if (name == "IMG_1.MOV") fs::remove(still);
  };
  EXPECT_EQ(test.importAll(), (ImportSummary{1, 1, 0, 1}));
  EXPECT_EQ(test.assets(), (Texts{"2 2:IMG_1.MOV"}));
  test.expectSound();
}

constexpr int kStopped = 41;
constexpr int kStoppedForSpace = 42;

// Runs the import in a process of its own that may not write files beyond a size.
int importWithSmallFiles(Fixture& test, rlim_t most) {
  const pid_t child = ::fork();
  if (child == 0) {
    std::signal(SIGXFSZ, SIG_IGN);
    const struct rlimit limit = {most, most};
    ::setrlimit(RLIMIT_FSIZE, &limit);
    const auto summary = test.tryImport({test.folder / "in"});
    if (summary) ::_exit(1);
    const auto noSpace = static_cast<std::int64_t>(LibraryErrorCode::notEnoughSpace);
    ::_exit(summary.error().code == noSpace ? kStoppedForSpace : kStopped);
  }
  int status = 0;
  ::waitpid(child, &status, 0);
  return WEXITSTATUS(status);
}

TEST(Importer, StopsWithAReasonWhenThereIsNoSpaceAndKeepsWhatItAdded) {
  Fixture test;
  test.put("a.jpg", "image");
  test.importAll();
  test.put("b.jpg", "image b");
  test.put("c.jpg", "image c" + std::string(20'000'000, '.'));
  test.put("d.jpg", "image d");
  EXPECT_EQ(importWithSmallFiles(test, 10'000'000), kStoppedForSpace);
  EXPECT_EQ(test.assets(), (Texts{"1 1:a.jpg", "1 1:b.jpg"}));
  test.expectSound();
}

TEST(Importer, AddsNothingWhenTheCatalogueCannotGrow) {
  Fixture test;
  test.put("a.jpg", "image");
  test.importAll();
  for (int i = 0; i < 200; ++i)
    test.put("n" + std::to_string(i) + ".jpg", "image " + std::to_string(i));
  EXPECT_EQ(importWithSmallFiles(test, 70'000), kStopped);
  test.expectSound();
  EXPECT_EQ(test.importAll().refusedFiles, 0U);
  EXPECT_EQ(test.assets().size(), 201U);
}

TEST(Importer, LeavesASoundLibraryWhereverItIsKilled) {
  for (int moves = 1; moves < 150; moves += 37) {
    Fixture test;
    test.open();
    for (int i = 0; i < 200; ++i) {
      test.put("n" + std::to_string(i) + ".jpg", "image " + std::to_string(i));
    }
    const pid_t child = ::fork();
    if (child == 0) {
      // Killed by a signal of the kernel's: the size of a file is exceeded, at some point.
      const struct rlimit limit = {static_cast<rlim_t>(40'000 + moves * 1000), RLIM_INFINITY};
      std::signal(SIGXFSZ, SIG_DFL);
      ::setrlimit(RLIMIT_FSIZE, &limit);
      test.tryImport({test.folder / "in"});
      ::_exit(0);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    EXPECT_TRUE(WIFSIGNALED(status));
    test.expectSound();
    EXPECT_EQ(test.importAll().refusedFiles, 0U);
    EXPECT_EQ(test.assets().size(), 200U);
    test.expectSound();
  }
}

}  // namespace
}  // namespace quorvin
