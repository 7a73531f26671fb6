// Help, versions, mistakes in the command line, and which library is meant.
#include "testing/engine/tool_fixture.h"

namespace quorvin {
namespace {

class Usage : public ToolFixture {
 protected:
  void expectUsageError(const Words& words, const std::string& reason) {
    const Ran ran = quorvin(words);
    EXPECT_EQ(ran.status, 2) << testing::PrintToString(words);
    EXPECT_EQ(ran.out, "");
    EXPECT_EQ(ran.err.find("quorvin: "), 0U) << ran.err;
    EXPECT_NE(ran.err.find(reason), std::string::npos) << ran.err;
    EXPECT_FALSE(fs::exists(library()));
  }

  std::string pathThatInfoPrints(const Words& words) {
    const Ran ran = quorvin(words);
    EXPECT_EQ(ran.status, 0) << ran.err;
    return ran.out.substr(0, ran.out.find('\n'));
  }
};

TEST_F(Usage, EverySubcommandHasHelp) {
  const Ran all = quorvin({"--help"});
  EXPECT_EQ(all.status, 0);
  for (const char* subcommand :
       {"import", "watch", "call", "authorize", "trash", "check", "backup", "info"}) {
    EXPECT_NE(all.out.find(std::string("\n  ") + subcommand + " "), std::string::npos);
    const Ran one = quorvin({subcommand, "--help"});
    EXPECT_EQ(one.status, 0);
    EXPECT_EQ(one.err, "");
    EXPECT_NE(one.out.find(std::string("quorvin ") + subcommand), std::string::npos) << one.out;
    EXPECT_NE(one.out.find("QUORVIN_LIBRARY"), std::string::npos) << one.out;
  }
}

TEST_F(Usage, EverySubcommandTellsTheVersion) {
  const Ran version = quorvin({"--version"});
  EXPECT_EQ(version.status, 0);
  EXPECT_EQ(version.out, "quorvin " QUORVIN_VERSION "\n");
  for (const char* subcommand :
       {"import", "call", "authorize", "trash", "check", "backup", "info"}) {
    EXPECT_EQ(quorvin({subcommand, "--version"}).out, version.out) << subcommand;
  }
}

TEST_F(Usage, MistakesAreNamedAndChangeNothing) {
  setVariable("QUORVIN_LIBRARY", library());
  expectUsageError({}, "subcommand is required");
  expectUsageError({"frobnicate"}, "frobnicate");
  expectUsageError({"info", "--frob"}, "--frob");
  expectUsageError({"info", "extra"}, "extra");
  expectUsageError({"import"}, "PATH");
  expectUsageError({"import", "--album", "", kGoodMedia}, "--album");
  expectUsageError({"watch"}, "DIR");
  expectUsageError({"watch", ""}, "DIR");
  expectUsageError({"call"}, "METHOD");
  expectUsageError({"call", "getPermission", "{}", "more"}, "more");
  expectUsageError({"trash"}, "subcommand is required");
  expectUsageError({"trash", "burn"}, "burn");
  expectUsageError({"trash", "restore"}, "ID");
  expectUsageError({"check", "--frob"}, "--frob");
  expectUsageError({"authorize"}, "STATUS");
  expectUsageError({"authorize", "Authorized"}, "limited");
  expectUsageError({"--library", "", "info"}, "--library");
}

TEST_F(Usage, ATimeoutIsANumberOfSeconds) {
  setVariable("QUORVIN_LIBRARY", library());
  for (const char* timeout : {"soon", "-1", "nan", "", "1s"}) {
    expectUsageError({"call", "--timeout", timeout, "getPermission"}, "--timeout: ");
  }
}

TEST_F(Usage, TheLibraryMayBeNamedBeforeAndAfterTheSubcommand) {
  EXPECT_EQ(pathThatInfoPrints({"--library", kImportedLibrary, "info"}), kImportedLibrary);
  EXPECT_EQ(pathThatInfoPrints({"info", "--library", kImportedLibrary}), kImportedLibrary);
  EXPECT_EQ(pathThatInfoPrints({"info", "--library=" + kImportedLibrary.string()}),
            kImportedLibrary);
}

TEST_F(Usage, TheEnvironmentNamesTheLibraryUnlessAnOptionDoes) {
  setVariable("QUORVIN_LIBRARY", kImportedLibrary);
  EXPECT_EQ(pathThatInfoPrints({"info"}), kImportedLibrary);
  setVariable("QUORVIN_LIBRARY", "/nowhere");
  EXPECT_EQ(pathThatInfoPrints({"info", "--library", kImportedLibrary}), kImportedLibrary);
  EXPECT_EQ(quorvin({"info"}).status, 1);
}

TEST_F(Usage, TheDefaultLibraryLiesBelowTheUsersData) {
  const fs::path home = folder() / "home" / ".local" / "share" / "quorvin" / "library";
  EXPECT_EQ(quorvin({"authorize", "denied"}).status, 0);
  EXPECT_EQ(pathThatInfoPrints({"info"}), home);

  const fs::path data = folder() / "data";
  setVariable("XDG_DATA_HOME", data);
  EXPECT_EQ(quorvin({"info"}).status, 1);
  EXPECT_EQ(quorvin({"authorize", "denied"}).status, 0);
  EXPECT_EQ(pathThatInfoPrints({"info"}), data / "quorvin" / "library");

  setVariable("QUORVIN_LIBRARY", "");  // as good as unset
  EXPECT_EQ(pathThatInfoPrints({"info"}), data / "quorvin" / "library");
}

TEST_F(Usage, APathThatIsNamedLikeASubcommandIsAPath) {
  const Ran ran = quorvin({"--library", library(), "import", "info"});
  EXPECT_EQ(ran.status, 1);
  EXPECT_NE(ran.err.find("quorvin: info: "), std::string::npos) << ran.err;
}

}  // namespace
}  // namespace quorvin
