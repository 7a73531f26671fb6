// `quorvin export`: the way out of a library.
#include <algorithm>

#include "testing/engine/tool_fixture.h"

namespace quorvin {
namespace {

class ExportCommand : public ToolFixture {
 protected:
  fs::path out() const { return folder() / "out"; }
  Ran exportWith(Words words = {}) {
    words.insert(words.begin(), {"--library", library(), "export", out()});
    return quorvin(words);
  }
  /// Names of files, without what is hidden.
  std::vector<std::string> exported() const {
    std::vector<std::string> names;
    for (const auto& entry : fs::recursive_directory_iterator(out())) {
      const std::string name = entry.path().filename();
      if (entry.is_regular_file() && !name.starts_with('.')) names.push_back(name);
    }
    std::ranges::sort(names);
    return names;
  }
};

TEST_F(ExportCommand, WritesAllFilesAndWritesNoneOfThemAgain) {
  copyOfImportedLibrary();
  const Ran first = exportWith();
  EXPECT_EQ(first.status, 0) << first.err;
  EXPECT_EQ(first.out.find("Exported "), 0U) << first.out;
  EXPECT_EQ(first.out.find(": 0 new"), std::string::npos) << first.out;
  const auto names = exported();
  EXPECT_FALSE(names.empty());
  EXPECT_TRUE(std::ranges::any_of(names, [](const auto& name) { return name.ends_with(".xmp"); }));
  const Ran again = exportWith({"--all"});
  EXPECT_EQ(again.status, 0) << again.err;
  EXPECT_NE(again.out.find(": 0 new"), std::string::npos) << again.out;
  EXPECT_EQ(exported(), names);
}

TEST_F(ExportCommand, KnowsItsUsage) {
  copyOfImportedLibrary();
  EXPECT_EQ(quorvin({"--library", library(), "export"}).status, 2);
  EXPECT_EQ(exportWith({"--original", "--current"}).status, 2);
  EXPECT_EQ(exportWith({"--all", "--album", "x"}).status, 2);
  EXPECT_EQ(exportWith({"--layout", "colour"}).status, 2);
  EXPECT_FALSE(fs::exists(out()));
  EXPECT_EQ(exportWith({"--layout", "ALBUM", "--current"}).status, 0);
  const Ran unknown = exportWith({"--album", "no such album"});
  EXPECT_EQ(unknown.status, 1);
  EXPECT_NE(unknown.err.find("no album “no such album”"), std::string::npos) << unknown.err;
}

}  // namespace
}  // namespace quorvin
