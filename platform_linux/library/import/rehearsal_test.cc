// What an import says that it would do.
#include "platform_linux/library/import/rehearsal.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <string>

#include "testing/platform/testing_import.h"

namespace quorvin {
namespace {

struct ImportRehearsal : testing::Test, ImportFixture {};

TEST_F(ImportRehearsal, SaysWhatWouldComeInAndMakesNoLibrary) {
  put("a.jpg", "image");
  put("b.txt", "text");
  put(".c.jpg", "image c");
  const auto before = stateBelow(folder.path());
  EXPECT_EQ(rehearse({folder / "in", folder / "missing"}), (ImportSummary{0, 1, 0, 2, 1}));
  EXPECT_EQ(stateBelow(folder.path()), before);
  EXPECT_FALSE(std::filesystem::exists(libraryPath()));
  EXPECT_EQ(listener.outcomes,
            (std::map<std::string, FileOutcome>{{"a.jpg", FileOutcome::added},
                                                {"b.txt", FileOutcome::refused}}));
  EXPECT_EQ(listener.problems["b.txt"], "It is not a photo, video or audio file.");
  EXPECT_EQ(listener.problems.count("missing"), 1U);
}

TEST_F(ImportRehearsal, KnowsWhatTheLibraryHoldsAndLeavesItAsItIs) {
  put("a.jpg", "image");
  importAll();
  put("b.jpg", "image b");
  put("copy/of_a.jpg", "image");
  const auto before = stateBelow(folder.path());
  EXPECT_EQ(rehearse({folder / "in"}), (ImportSummary{0, 1, 2, 0}));
  EXPECT_EQ(stateBelow(folder.path()), before);
  EXPECT_EQ(listener.outcomes["b.jpg"], FileOutcome::added);
  EXPECT_EQ(listener.outcomes["a.jpg"], FileOutcome::known);
  EXPECT_EQ(importAll(), (ImportSummary{1, 1, 2, 0}));
}

TEST_F(ImportRehearsal, CountsOneOfFilesWithTheSameContent) {
  put("a.jpg", "image");
  put("b.jpg", "image");
  put("c.jpg", "imago");
  put("d.jpg", "image");
  EXPECT_EQ(rehearse({folder / "in"}), (ImportSummary{0, 1, 2, 1}));
  EXPECT_EQ(importAll(), (ImportSummary{1, 1, 2, 1}));
}

TEST_F(ImportRehearsal, SaysWhyAnImportCouldNotBegin) {
  put("a.jpg", "image");
  writeFile(libraryPath() + "/letter.txt", "hello");
  const auto summary = rehearseImport(libraryPath(), media, {.paths = {folder / "in"}}, listener);
  ASSERT_FALSE(summary);
  EXPECT_NE(summary.error().sentence().find("is not a photo library"), std::string::npos);
}

}  // namespace
}  // namespace quorvin
