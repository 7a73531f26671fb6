#include "platform_linux/library/originals/original_record.h"

#include <gtest/gtest.h>
#include <sys/xattr.h>

#include "platform_linux/library/upkeep/trash.h"
#include "testing/platform/testing_changes.h"

namespace quorvin {
namespace {

namespace fs = std::filesystem;

OriginalRecord sample() {
  OriginalRecord record;
  record.asset.identifier = "AB345678-90AB-4DEF-8123-456789ABCDEF/L0/001";
  record.asset.modified = -7;
  record.asset.added = 1'700'000'000'123'456'789;
  record.asset.sourceFolder = -9'000'000'000'000'000'000;
  MediaProbe& probe = record.asset.probe;
  probe.kind = MediaKind::video;
  probe.mediaSubtypes = 0x20000;
  probe.pixelWidth = 1920;
  probe.pixelHeight = 1080;
  probe.duration = 1.1;
  probe.frameRate = 240;
  probe.creationDate = 5;
  probe.contentIdentifier = "content";
  probe.burstIdentifier = "100% burst";
  probe.burstPrimary = probe.frontCamera = probe.animated = probe.raw = true;
  record.resource = {.type = PHAssetResourceType::pairedVideo,
                     .name = "line\nbreak \xE2\x82\xAC.MOV",
                     .uniformTypeIdentifier = "com.apple.quicktime-movie",
                     .path = "AB/AB345678-90AB-4DEF-8123-456789ABCDEF-9.MOV",
                     .size = 123,
                     .hash = std::string("\0\xFF\x10", 3),
                     .orientation = 6};
  return record;
}

TEST(OriginalRecord, IsReadAsItWasWritten) {
  const OriginalRecord record = sample();
  const auto read = recordFromText(textOf(record));
  ASSERT_TRUE(read);
  EXPECT_EQ(textOf(*read), textOf(record));
  EXPECT_EQ(read->resource.name, record.resource.name);
  EXPECT_EQ(read->resource.hash, record.resource.hash);
  EXPECT_EQ(read->asset.probe.duration, 1.1);
  EXPECT_EQ(read->asset.sourceFolder, record.asset.sourceFolder);
}

TEST(OriginalRecord, HoldsWhatASideFileSays) {
  OriginalRecord record = sample();
  record.asset.probe.kind = MediaKind::side;
  record.asset.probe.notes = {.kind = SideKind::xmp,
                              .title = "100%\nSea",
                              .favorite = true,
                              .exported = ExportedNotes{.albums = {"Sea"}}};
  const auto read = recordFromText(textOf(record));
  ASSERT_TRUE(read);
  EXPECT_EQ(read->asset.probe.notes, record.asset.probe.notes);
}

TEST(OriginalRecord, IsNoneWhereTheTextIsNoRecord) {
  const std::string text = textOf(sample());
  for (const std::string& other :
       {std::string(), std::string("asset x\n"), text.substr(0, text.find("type")),
        std::string(5000, '\n'), "asset ../../x\n" + text.substr(text.find('\n') + 1)}) {
    EXPECT_FALSE(recordFromText(other)) << other;
  }
}

// Its original is then taken for what its name tells.
TEST(OriginalRecord, IsNoneWhereItTellsOfWhatNoFileCanBe) {
  const std::string text = textOf(sample());
  for (const std::string line :
       {"kind 5", "kind -1", "width -1", "height -1", "duration -1", "duration nan", "duration inf",
        "rate -1", "captureRate nan", "orientation 0", "orientation 9", "size -2"}) {
    std::string other = text;
    const std::size_t at = other.find(line.substr(0, line.find(' ') + 1));
    ASSERT_NE(at, std::string::npos) << line;
    EXPECT_FALSE(recordFromText(other.replace(at, other.find('\n', at) - at, line))) << line;
  }
}

TEST(OriginalRecord, LiesBesideTheOriginalsWhereThereAreNoAttributes) {
  TestLibrary test;
  const LibraryFolder folder = test.library->catalogue()->folder();
  const OriginalRecord record = sample();
  const FileDescriptor none;  // takes no attribute
  ASSERT_TRUE(writeRecord(folder, none.get(), record));
  writeFile(folder.root + "/originals/" + record.resource.path, "movie");
  const auto read = readRecord(folder, record.resource.path);
  ASSERT_TRUE(read);
  EXPECT_EQ(textOf(*read), textOf(record));
  EXPECT_EQ(read->resource.path, record.resource.path);
  EXPECT_EQ(fs::status(folder.root + "/records").permissions(), fs::perms::owner_all);
  removeRecord(folder, record.resource.path);
  EXPECT_FALSE(readRecord(folder, record.resource.path));
}

TEST(OriginalRecord, TellsTheRowsOfWhatIsSaved) {
  ChangeFixture test;
  const std::string still = "image movieat=64 moviesize=5";
  ASSERT_TRUE(
      test.saveImage(test.put("a.jpg", still + std::string(64 - still.size(), ' ') + "movie"))
          .success);
  for (const std::string& path : test.originalsOf(test.saved)) {
    const auto record = readRecord(test.library->catalogue()->folder(), path);
    ASSERT_TRUE(record) << path;
    EXPECT_EQ(record->asset.identifier, test.saved);
    EXPECT_EQ(std::to_string(record->asset.added),
              test.gardener.text("SELECT added_ns FROM assets"));
    const std::string row = " FROM resources WHERE path = '" + path + "'";
    EXPECT_EQ(record->resource.name, test.gardener.text("SELECT name" + row));
    EXPECT_EQ(static_cast<std::int64_t>(record->resource.type),
              test.gardener.integer("SELECT type" + row));
    EXPECT_EQ(record->resource.size, test.gardener.integer("SELECT size" + row));
    EXPECT_EQ(record->resource.hash.size(), 16U);
  }
}

}  // namespace
}  // namespace quorvin
