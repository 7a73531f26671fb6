#include "platform_linux/previews/all_previews.h"

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <filesystem>
#include <fstream>

#include "platform_linux/library/upkeep/administration.h"
#include "platform_linux/library/upkeep/check.h"
#include "testing/platform/testing_previews.h"

namespace quorvin {
namespace {

namespace fs = std::filesystem;

constexpr PreviewSide kScreen = kPreviewSides.front();

class AllPreviewsTest : public PreviewsFixture {
 protected:
  void runSql(const std::string& file, const std::string& sql) {
    sqlite3* connection = nullptr;
    ASSERT_EQ(sqlite3_open(file.c_str(), &connection), SQLITE_OK);
    char* error = nullptr;
    EXPECT_EQ(sqlite3_exec(connection, sql.c_str(), nullptr, nullptr, &error), SQLITE_OK) << error;
    sqlite3_free(error);
    sqlite3_close(connection);
  }
  void expectMadeAgain(const std::string& original) {
    EXPECT_EQ(makeAll().made, 1U);
    EXPECT_EQ(sizeOf(original, kGridSide), (PixelSize{512, 341}));
    EXPECT_EQ(makeAll().there, 1U);
  }
};

TEST_F(AllPreviewsTest, AreOfBothSizesForALargePicture) {
  const std::string original = import({2400, 1600});
  EXPECT_EQ(makeAll().made, 1U);
  EXPECT_EQ(listener_.found, 1U);
  EXPECT_EQ(listener_.done, 1U);
  EXPECT_EQ(sizeOf(original, kScreen), (PixelSize{1600, 1067}));
  EXPECT_EQ(sizeOf(original, kGridSide), (PixelSize{512, 341}));
  EXPECT_EQ(store()->find(stateOf(original), kScreen)->picture, (PixelSize{2400, 1600}));
}

TEST_F(AllPreviewsTest, AreNotMadeOfWhatIsHardlyLarger) {
  const std::string little = import({767, 500});
  const std::string middling = import({500, 768});
  EXPECT_EQ(makeAll().made, 1U);
  EXPECT_EQ(sizeOf(little, kGridSide), std::nullopt);
  EXPECT_EQ(sizeOf(middling, kGridSide), (PixelSize{333, 512}));
  EXPECT_EQ(sizeOf(middling, kScreen), std::nullopt);
}

TEST_F(AllPreviewsTest, AreMadeOnce) {
  import({900, 600});
  import({901, 600});
  EXPECT_EQ(makeAll().made, 2U);
  import({902, 600});
  const AllPreviews second = makeAll();
  EXPECT_EQ(second.made, 1U);
  EXPECT_EQ(second.there, 2U);
  EXPECT_EQ(second.failed, 0U);
}

TEST_F(AllPreviewsTest, AreOnlyOfTheLatestWhereThatIsAsked) {
  const std::string earlier = import({900, 600});
  const std::string latest = import({901, 600});
  ASSERT_TRUE(makeAllPreviews(path(), pool_, 1, listener_, 1));
  EXPECT_EQ(listener_.found, 1U);
  EXPECT_FALSE(sizeOf(earlier, kGridSide));
  EXPECT_TRUE(sizeOf(latest, kGridSide));
  EXPECT_EQ(store()->doneUpTo(), 0) << "those before are still to be made";
  EXPECT_EQ(makeAll().made, 1U);
  EXPECT_EQ(store()->doneUpTo(), 2);
}

TEST_F(AllPreviewsTest, LeaveOutWhatIsTransparent) {
  const std::string original = import({900, 600}, ImageFormat::png, 4);
  EXPECT_EQ(makeAll().impossible, 1U);
  EXPECT_EQ(sizeOf(original, kGridSide), std::nullopt);
  EXPECT_EQ(makeAll().there, 1U) << "it is not rendered again and again";
  EXPECT_EQ(describeLibrary(path())->previewsWanted, 0);
}

TEST_F(AllPreviewsTest, TakeWhatCouldBeTransparentAndIsNot) {
  constexpr PixelSize kSize{900, 600};
  std::vector<std::uint8_t> pixels(std::size_t{4} * 900 * 600, UINT8_MAX);
  const auto png =
      pool_.encode({sealedMemoryOf(pixels), kSize.width, kSize.height, 4}, ImageFormat::png, 1);
  ASSERT_TRUE(png);
  const auto* text = reinterpret_cast<const char*>(png->data());
  writeFile(folder_ / "white.png", std::string(text, png->size()));
  ASSERT_TRUE(importIntoLibrary(path(), pool_, {{folder_ / "white.png"}, std::nullopt}, listener_));
  EXPECT_EQ(makeAll().made, 1U);
}

TEST_F(AllPreviewsTest, LeaveOutHalfAPicture) {
  import({900, 600}, ImageFormat::jpeg, 3, 40'000);
  EXPECT_EQ(makeAll().impossible, 1U);
}

TEST_F(AllPreviewsTest, AreCounted) {
  import({900, 600});
  EXPECT_EQ(describeLibrary(path())->previews, 0);
  EXPECT_EQ(describeLibrary(path())->previewsWanted, 1);
  makeAll();
  const auto summary = describeLibrary(path());
  EXPECT_EQ(summary->previews, 1);
  EXPECT_EQ(summary->previewsWanted, 1);
  EXPECT_GT(summary->previewBytes, 5000);
}

TEST_F(AllPreviewsTest, OfAnEarlierStateOfTheOriginalDoNotCount) {
  const std::string original = import({900, 600});
  makeAll();
  fs::last_write_time(path() + "/originals/" + original, fs::file_time_type::clock::now());
  EXPECT_EQ(sizeOf(original, kGridSide), std::nullopt);
  expectMadeAgain(original);
  EXPECT_EQ(store()->totals({}).pictures, 1);
}

TEST_F(AllPreviewsTest, AreMadeAgainWhenTheyAreLost) {
  const std::string original = import({900, 600});
  makeAll();
  for (const auto& file : fs::directory_iterator(path() + "/derivatives")) fs::remove(file);
  expectMadeAgain(original);
}

TEST_F(AllPreviewsTest, AreMadeAgainWhenTheyAreDamaged) {
  const std::string original = import({900, 600});
  for (const std::streamoff from : {0, 100, 4096}) {
    makeAll();
    const auto size = static_cast<std::streamoff>(fs::file_size(storePath()));
    std::fstream(storePath(), std::ios::in | std::ios::out | std::ios::binary).seekp(from)
        << std::string(static_cast<std::size_t>(size - from), '\x5A');
    EXPECT_EQ(sizeOf(original, kGridSide), std::nullopt);
    const auto again = makeAllPreviews(path(), pool_, 1, listener_);
    if (!again) makeAll();  // what is found damaged while it is written goes then
    EXPECT_EQ(sizeOf(original, kGridSide), (PixelSize{512, 341})) << from;
  }
}

TEST_F(AllPreviewsTest, OfAnotherMakeAreThrownAway) {
  const std::string original = import({900, 600});
  makeAll();
  runSql(storePath(),
         "CREATE TRIGGER planted AFTER INSERT ON previews BEGIN DELETE FROM previews; END");
  EXPECT_EQ(sizeOf(original, kGridSide), std::nullopt);
  expectMadeAgain(original);
  runSql(storePath(), "PRAGMA user_version=2");
  EXPECT_EQ(sizeOf(original, kGridSide), std::nullopt);
  expectMadeAgain(original);
}

TEST_F(AllPreviewsTest, AreForTheOwnerAlone) {
  import({900, 600});
  makeAll();
  for (const auto& file : fs::directory_iterator(path() + "/derivatives")) {
    EXPECT_EQ(file.status().permissions(), fs::perms::owner_read | fs::perms::owner_write)
        << file.path();
  }
}

TEST_F(AllPreviewsTest, DoNotFollowALink) {
  import({900, 600});
  const std::string outside = folder_ / "outside";
  writeFile(outside, "mine");
  fs::remove(storePath());
  fs::create_symlink(outside, storePath());
  EXPECT_EQ(makeAll().made, 1U);
  EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(storePath())));
  std::ifstream file(outside);
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), "mine");
}

TEST_F(AllPreviewsTest, TakeThePlaceOfAFolder) {
  const std::string original = import({900, 600});
  fs::create_directories(storePath() + "/inner");
  writeFile(storePath() + "/inner/file", "planted");
  expectMadeAgain(original);
}

TEST_F(AllPreviewsTest, OfNobodyAreRemovedByARepair) {
  const std::string kept = import({900, 600});
  makeAll();
  runSql(
      storePath(),
      "INSERT INTO previews(original, side, size, modified_ns, width, height, jpeg)"
      " SELECT 'AB345678-90AB-4DEF-8123-456789ABCDE1.jpg', side, 1, 1, 1, 1, jpeg FROM previews");
  const auto kinds = [&](bool repair) {
    std::vector<std::string> found;
    const auto report = checkLibrary(path(), {.repair = repair});
    for (const auto& finding : report->findings) {
      found.emplace_back(findingName(finding.kind));
    }
    return found;
  };
  EXPECT_EQ(kinds(true), std::vector<std::string>{"strayDerivative"});
  EXPECT_EQ(kinds(false), std::vector<std::string>{});
  EXPECT_TRUE(sizeOf(kept, kGridSide));
}

TEST_F(AllPreviewsTest, GoWithTheirAssetsAndGiveTheSpaceBack) {
  const std::string kept = import({900, 600});
  const std::string gone = import({2400, 1600});
  makeAll();
  store().reset();
  const auto before = store()->totals({}).bytes;
  const std::vector<std::string> uuids = {fs::path(gone).stem().string()};
  store()->remove(uuids);
  EXPECT_EQ(sizeOf(gone, kGridSide), std::nullopt);
  EXPECT_TRUE(sizeOf(kept, kGridSide));
  EXPECT_LT(store()->totals({}).bytes, before / 2);
  EXPECT_LT(fs::file_size(storePath()), static_cast<std::uintmax_t>(before) / 2);
}

TEST_F(AllPreviewsTest, LeaveTheLastSpaceToOthers) {
  const SmallVolume volume("size=64m");
  if (!volume.isThere()) GTEST_SKIP() << "needs to mount";
  import({900, 600});
  fs::copy(path(), volume.path() + "/library", fs::copy_options::recursive);
  const auto made = makeAllPreviews(volume.path() + "/library", pool_, 1, listener_);
  ASSERT_FALSE(made);
  EXPECT_EQ(made.error().sentence(), "The disk has too little space left for previews.");
}

}  // namespace
}  // namespace quorvin
