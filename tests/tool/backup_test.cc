// `quorvin backup`: a second library, made and brought up to date.
#include "testing/engine/tool_fixture.h"

namespace quorvin {
namespace {

class BackupCommand : public ToolFixture {
 protected:
  fs::path target() const { return folder() / "backup"; }
  Ran backup(Words words = {}) {
    words.insert(words.begin(), {"--library", library(), "backup", target()});
    return quorvin(words);
  }
  Ran checkOfBackup() { return quorvin({"--library", target(), "check", "--content"}); }
};

TEST_F(BackupCommand, MakesALibraryThatPassesACheckOfItsContent) {
  copyOfImportedLibrary();
  for (const Words& words : {Words{}, Words{"--copy"}}) {
    const Ran ran = backup(words);
    EXPECT_EQ(ran.status, 0) << ran.err;
    EXPECT_EQ(ran.out.find("Backed up "), 0U) << ran.out;
    EXPECT_EQ(checkOfBackup().status, 0) << checkOfBackup().out;
    EXPECT_EQ(quorvin({"--library", target(), "check", "--json"}).out,
              quorvin({"--library", library(), "check", "--json"}).out);
    EXPECT_NE(backup(words).out.find(": 0 new.\n"), std::string::npos);
    fs::remove_all(target());
  }
}

TEST_F(BackupCommand, RefusesAFolderInsideTheLibraryAndOneOfOtherContent) {
  copyOfImportedLibrary();
  const Ran inside = quorvin({"--library", library(), "backup", library() / "backup"});
  EXPECT_EQ(inside.status, 1);
  EXPECT_NE(inside.err.find("it lies in the library."), std::string::npos) << inside.err;
  fs::create_directory(target());
  write(target() / "diary.txt", "precious");
  const Ran other = backup();
  EXPECT_EQ(other.status, 1);
  EXPECT_NE(other.err.find("it holds something else."), std::string::npos) << other.err;
  EXPECT_EQ(contents(target() / "diary.txt"), "precious");
  EXPECT_EQ(quorvin({"--library", library(), "backup"}).status, 2);
}

}  // namespace
}  // namespace quorvin
