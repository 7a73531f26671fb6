// Which files a search of folders finds.
#include "platform_linux/library/import/file_walk.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "testing/platform/testing_folder.h"

namespace quorvin {
namespace {

namespace fs = std::filesystem;

using Names = std::vector<std::string>;

class FileWalk : public testing::Test {
 protected:
  FileWalk() { fs::create_directories(root() + "/library/originals"); }

  std::string root() const { return folder_.path(); }
  void put(const std::string& name) { writeFile(folder_ / name, name); }

  /// The files found, relative to the root.
  Names find(const Names& names) {
    Names paths;
    for (const std::string& name : names) paths.push_back(folder_ / name);
    const auto library = libraryFolderAt(folder_ / "library");
    passedOver.clear();
    problems.clear();
    const SearchListener listener{
        .problem = [this](const std::string& path,
                          const std::string& why) { problems[relative(path)] = why; },
        .passedOver = [this](const std::string& path) { passedOver.push_back(relative(path)); },
        .found =
            [this](std::size_t) {
              if (afterFolder) afterFolder();
            }};
    Names found;
    for (const FoundFile& file : findFiles(paths, *library, listener)) {
      found.push_back(relative(file.path));
    }
    std::sort(passedOver.begin(), passedOver.end());
    return found;
  }

  Names passedOver;  ///< sorted
  std::map<std::string, std::string> problems;
  std::function<void()> afterFolder;

 private:
  std::string relative(const std::string& path) const {
    return path.substr(std::min(root().size() + 1, path.size()));
  }

  TemporaryFolder folder_;
};

TEST_F(FileWalk, PassesOverWhatIsHiddenAndWhatSystemsKeep) {
  const Names theirs = {".DS_Store",
                        "._a.jpg",
                        ".hidden.jpg",
                        ".thumbnails/",
                        "@eaDir/",
                        "#recycle/",
                        "$RECYCLE.BIN/",
                        "Desktop.INI",
                        "lost+found/",
                        "thumbs.db",
                        "System Volume Information/"};
  Names expected;
  for (const std::string& name : theirs) {
    put("in/" + name + (name.ends_with('/') ? "b.jpg" : ""));
    expected.push_back("in/" + name.substr(0, name.find('/')));
  }
  put("in/a.jpg");
  put("in/sub/a.jpg");
  put("in/sub/@EADIR/a.jpg");
  expected.emplace_back("in/sub/@EADIR");
  std::sort(expected.begin(), expected.end());
  EXPECT_EQ(find({"in"}), (Names{"in/a.jpg", "in/sub/a.jpg"}));
  EXPECT_EQ(passedOver, expected);
  EXPECT_TRUE(problems.empty());
}

TEST_F(FileWalk, TakesNamesOfSystemsWhereTheyMeanSomethingElse) {
  put("in/lost+found");
  put("in/thumbs.db/a.jpg");
  put("in/a@eaDir/a.jpg");
  EXPECT_EQ(find({"in"}), (Names{"in/a@eaDir/a.jpg", "in/lost+found", "in/thumbs.db/a.jpg"}));
  EXPECT_EQ(passedOver, Names{});
}

TEST_F(FileWalk, TakesWhatIsNamedAndKeepsItsRulesInThere) {
  put(".secret/a.jpg");
  put(".secret/.b.jpg");
  put("@eaDir/c.jpg");
  put("in/.d.jpg");
  EXPECT_EQ(find({".secret", "@eaDir/", "in/.d.jpg"}),
            (Names{".secret/a.jpg", "@eaDir/c.jpg", "in/.d.jpg"}));
  EXPECT_EQ(passedOver, Names{".secret/.b.jpg"});
}

TEST_F(FileWalk, PassesOverTheLibraryUnlessItIsNamed) {
  put("a.jpg");
  put("library/originals/AB/b.jpg");
  fs::create_directory_symlink("library/originals", root() + "/way");
  EXPECT_EQ(find({""}), Names{"a.jpg"});
  EXPECT_EQ(passedOver, (Names{"library", "way"}));
  EXPECT_TRUE(problems.empty());
  EXPECT_EQ(find({"", "library", "library/originals", "way"}), Names{"a.jpg"});
  EXPECT_EQ(problems.size(), 3U);
  EXPECT_EQ(problems["library"], "It lies in the library itself.");
}

TEST_F(FileWalk, FindsWhatIsInAFolderThatIsRenamedMeanwhile) {
  for (const std::string deep : {"a/", "b/c/", "d/e/f/"}) put("in/year/" + deep + "1.jpg");
  afterFolder = [this] {
    if (fs::exists(root() + "/in/year")) fs::rename(root() + "/in/year", root() + "/in/renamed");
  };
  EXPECT_EQ(find({"in/year"}),
            (Names{"in/year/a/1.jpg", "in/year/b/c/1.jpg", "in/year/d/e/f/1.jpg"}));
  EXPECT_TRUE(problems.empty());
}

TEST_F(FileWalk, GoesOnWithoutAFolderThatVanishes) {
  put("in/a/1.jpg");
  put("in/b/1.jpg");
  put("in/c/1.jpg");
  afterFolder = [this] { fs::remove_all(root() + "/in/b"); };
  EXPECT_EQ(find({"in"}), (Names{"in/a/1.jpg", "in/c/1.jpg"}));
  EXPECT_EQ(problems, (std::map<std::string, std::string>{
                          {"in/b", "The folder cannot be read: No such file or directory."}}));
}

TEST_F(FileWalk, FindsWhatLiesDeeperThanFoldersAreHeldOpen) {
  std::string deep = "in/";
  Names expected;
  for (int i = 0; i < 100; ++i) {
    put(deep + "z.jpg");
    expected.insert(expected.begin(), deep + "z.jpg");
    deep += "d/";
  }
  EXPECT_EQ(find({"in"}), expected);
  EXPECT_TRUE(problems.empty());
}

}  // namespace
}  // namespace quorvin
