// Libraries that somebody else has filled: no command reads, changes or removes anything outside.
#include <sys/stat.h>

#include "testing/engine/tool_fixture.h"
#include "testing/platform/testing_folder.h"

namespace quorvin {
namespace {

class CommandsOnAPlantedLibrary : public ToolFixture {
 protected:
  CommandsOnAPlantedLibrary() {
    EXPECT_EQ(quorvin({"--library", library(), "import", photos(3)}).status, 0);
    fs::create_directories(outside() / "ZZ");
    write(outside() / "secret.txt", "secret");
    write(outside() / "ZZ" / "diary.txt", "diary");
    write(outside() / "originals.list", "\nZZ/diary.txt\n");
    fs::permissions(outside() / "secret.txt", fs::perms(0644));
    before_ = stateBelow(outside());
  }
  ~CommandsOnAPlantedLibrary() override { EXPECT_EQ(stateBelow(outside()), before_); }

  fs::path outside() const { return folder() / "outside"; }

  void sql(const std::string& statement) {
    const Ran ran = run({"sqlite3", library() / "library.sqlite", statement});
    EXPECT_EQ(ran.status, 0) << ran.err;
  }
  Ran quorvinHere(Words words) {
    words.insert(words.begin(), {"--library", library()});
    return quorvin(words);
  }
  /// Every command that looks at files, and removes some.
  void useEverything() {
    for (const Words& words :
         {Words{"info"}, Words{"trash", "list"}, Words{"check"}, Words{"check", "--repair"},
          Words{"trash", "empty"}, Words{"call", "getGalleryList", kGalleries}, Words{"info"},
          Words{"import", folder() / "photos"}}) {
      quorvinHere(words);
    }
  }
  /// It cannot be opened, by any command, and says why.
  void expectRefused(const std::string& reason) {
    for (const Words& words :
         {Words{"info"}, Words{"check", "--repair"}, Words{"trash", "empty"},
          Words{"import", folder() / "photos"}, Words{"call", "getGalleryList", kGalleries}}) {
      const Ran ran = quorvinHere(words);
      EXPECT_EQ(ran.status, 1) << words[0];
      EXPECT_NE(ran.err.find(reason), std::string::npos) << words[0] << ": " << ran.err;
    }
  }

  static constexpr const char* kGalleries =
      R"({"withAllPhotos": true, "filterEmptyAsset": true, "withSmartAlbum": true, "mediaType": 0})";

 private:
  Words before_;
};

TEST_F(CommandsOnAPlantedLibrary, RemovesNothingThatItsDeletedRowsNameOutside) {
  const Words paths = {"../../outside/secret.txt", outside() / "secret.txt",
                       "../../outside/ZZ/diary.txt"};
  for (std::size_t i = 0; i < paths.size(); ++i) {
    sql("UPDATE resources SET path = '" + paths[i] + "' WHERE name = 'photo-" + std::to_string(i) +
        ".jpg'; UPDATE assets SET trashed_ns = 1");
  }
  useEverything();
  EXPECT_EQ(quorvinHere({"info"}).status, 0);
}

TEST_F(CommandsOnAPlantedLibrary, RemovesNothingThatItsIdentifiersNameOutside) {
  fs::create_directories(library() / "derivatives");
  fs::create_directory_symlink(outside(), library() / "derivatives" / "ZZ");
  fs::create_directory_symlink(outside(), library() / "derivatives" / "se");
  sql("UPDATE assets SET trashed_ns = 1, ident = CASE id WHEN 1 THEN 'secret/L0/001'"
      " WHEN 2 THEN '../../outside/secret.txt' ELSE '..' END");
  useEverything();
}

TEST_F(CommandsOnAPlantedLibrary, NamesRowsThatLeadElsewhere) {
  sql("UPDATE resources SET path = '../../outside/secret.txt' WHERE name = 'photo-0.jpg'");
  for (const Words& words : {Words{"check"}, Words{"check", "--repair"}}) {
    const Ran ran = quorvinHere(words);
    EXPECT_EQ(ran.status, 1);
    EXPECT_NE(ran.out.find("The original “../../outside/secret.txt” of “photo-0.jpg” lies where the"
                           " library keeps none.\n"),
              std::string::npos)
        << ran.out;
  }
  const Json found = Json::parse(quorvinHere({"check", "--json"}).out)["findings"];
  ASSERT_EQ(found.size(), 1U) << found;
  EXPECT_EQ(found[0]["kind"], "foreignOriginal");
  EXPECT_EQ(found[0]["repaired"], false);
}

TEST_F(CommandsOnAPlantedLibrary, RemovesNothingThatListsOfCopiesNameOutside) {
  fs::create_directory_symlink(outside() / "ZZ", library() / "originals" / "ZZ");
  fs::create_directories(library() / "incoming" / "x");
  write(library() / "incoming" / "x" / "originals.list",
        "\nZZ/diary.txt\n../../outside/secret.txt\n" + (outside() / "secret.txt").string() +
            "\n./../../outside/secret.txt\n../library.sqlite\n");
  useEverything();
  EXPECT_TRUE(fs::is_regular_file(library() / "library.sqlite"));
  EXPECT_FALSE(fs::exists(library() / "incoming" / "x")) << "what is done with is swept";
}

TEST_F(CommandsOnAPlantedLibrary, FollowsNoLinkThatStandsForAListOfCopies) {
  fs::create_directories(library() / "incoming" / "x");
  fs::create_symlink(outside() / "originals.list", library() / "incoming" / "x" / "originals.list");
  fs::create_directory_symlink(outside(), library() / "incoming" / "y");
  ASSERT_EQ(::mkfifo((library() / "incoming" / "fifo").c_str(), 0600), 0);
  fs::create_directories(library() / "incoming" / "z");
  ASSERT_EQ(::mkfifo((library() / "incoming" / "z" / "originals.list").c_str(), 0600), 0);
  write(library() / "originals" / "ZZ" / "diary.txt", "ours");
  useEverything();
}

TEST_F(CommandsOnAPlantedLibrary, FollowsNoLinkAmongItsOriginals) {
  fs::create_directory_symlink(outside(), library() / "originals" / "outside");
  fs::create_symlink(outside() / "secret.txt", library() / "originals" / "secret.txt");
  fs::create_directory_symlink(outside(), library() / "derivatives" / "outside");
  const Ran found = quorvinHere({"check"});
  EXPECT_NE(found.out.find("“originals/outside” belongs to no asset"), std::string::npos)
      << found.out;
  EXPECT_EQ(found.out.find("diary"), std::string::npos) << found.out;
  useEverything();
  EXPECT_FALSE(fs::is_symlink(library() / "originals" / "outside"));
  EXPECT_TRUE(fs::is_symlink(library() / "recovered" / "secret.txt"));
}

TEST_F(CommandsOnAPlantedLibrary, RecoversNothingThroughALink) {
  write(library() / "originals" / "stray.txt", "precious");
  fs::create_directory_symlink(outside(), library() / "recovered");
  const Ran ran = quorvinHere({"check", "--repair"});
  EXPECT_EQ(ran.status, 1);
  EXPECT_EQ(contents(library() / "originals" / "stray.txt"), "precious");
}

TEST_F(CommandsOnAPlantedLibrary, IsNoLibraryWhereItsFoldersAreLinks) {
  for (const std::string name : {"originals", "incoming", "derivatives"}) {
    fs::rename(library() / name, folder() / name);
    fs::create_directory_symlink(outside(), library() / name);
    expectRefused("“" + name + "” is not a folder");
    fs::remove(library() / name);
    fs::rename(folder() / name, library() / name);
  }
  EXPECT_EQ(quorvinHere({"info"}).status, 0);
}

TEST_F(CommandsOnAPlantedLibrary, IsNoLibraryWhereItsCatalogueIsALink) {
  for (const std::string name : {"library.sqlite", "library.sqlite-wal", "library.sqlite-shm",
                                 "library.sqlite-journal", "library.lock"}) {
    std::error_code none;
    fs::rename(library() / name, folder() / name, none);
    for (const fs::path& target : {folder() / name, outside() / "secret.txt", outside() / "new"}) {
      fs::create_symlink(target, library() / name);
      expectRefused("“" + name + "” is not a regular file");
      fs::remove(library() / name);
    }
    ASSERT_EQ(::mkfifo((library() / name).c_str(), 0600), 0);
    expectRefused("“" + name + "” is not a regular file");
    fs::remove(library() / name);
    fs::rename(folder() / name, library() / name, none);
  }
  EXPECT_EQ(quorvinHere({"info"}).status, 0);
}

TEST_F(CommandsOnAPlantedLibrary, MayBeReachedThroughLinksItself) {
  fs::create_directory(folder() / "home");
  fs::rename(library(), folder() / "home" / "real");
  fs::create_directory_symlink(folder() / "home", folder() / "way");
  fs::create_directory_symlink("way/real", library());
  EXPECT_EQ(quorvinHere({"info"}).status, 0);
  EXPECT_EQ(quorvinHere({"import", kGoodMedia / "IMG_0001.jpg"}).status, 0);
  EXPECT_EQ(quorvinHere({"check"}).status, 0);
}

TEST_F(CommandsOnAPlantedLibrary, SplicesNoNameOfATableIntoAStatement) {
  sql("PRAGMA foreign_keys=OFF; PRAGMA writable_schema=ON;"
      "CREATE TABLE \"assets WHERE 1; DROP TABLE members; --\"(asset INTEGER REFERENCES "
      "assets(id));"
      "INSERT INTO \"assets WHERE 1; DROP TABLE members; --\" VALUES (99)");
  quorvinHere({"check", "--repair"});
  const Ran info = quorvinHere({"info", "--json"});
  EXPECT_EQ(info.status, 0) << info.err;
  EXPECT_EQ(Json::parse(info.out)["photos"], 3);
}

TEST_F(CommandsOnAPlantedLibrary, ImportsNothingThatLiesInIt) {
  fs::path original;
  for (const auto& entry : fs::recursive_directory_iterator(library() / "originals")) {
    if (entry.is_regular_file()) original = entry.path();
  }
  fs::create_directory(folder() / "mixed");
  fs::create_symlink(original, folder() / "mixed" / "link.jpg");
  fs::create_directory_symlink(library() / "originals", folder() / "mixed" / "linked");
  for (const fs::path& path :
       {original, library() / "originals", library() / "library.sqlite", folder() / "mixed"}) {
    const Ran ran = quorvinHere({"import", path});
    EXPECT_EQ(ran.status, 1) << path;
    EXPECT_NE(ran.err.find("It lies in the library itself."), std::string::npos) << ran.err;
  }
  // What merely contains the library is searched around it.
  fs::create_directory(folder() / "around");
  fs::rename(library(), folder() / "around" / "library");
  fs::copy(kGoodMedia / "IMG_0001.jpg", folder() / "around" / "IMG_0001.jpg");
  const Ran ran =
      quorvin({"--library", folder() / "around" / "library", "import", folder() / "around"});
  EXPECT_EQ(ran.status, 0) << ran.err;
  EXPECT_NE(ran.out.find("Added 1 asset from 1 file, "), std::string::npos) << ran.out;
}

class PrivateLibrary : public ToolFixture {
 protected:
  static unsigned modeOf(const fs::path& path) {
    struct stat status = {};
    EXPECT_EQ(::lstat(path.c_str(), &status), 0) << path;
    return status.st_mode & 07777;
  }
  void expectPrivate() {
    EXPECT_EQ(modeOf(library()), 0700U);
    for (const auto& entry : fs::recursive_directory_iterator(library())) {
      const bool isOriginal = entry.path().string().starts_with((library() / "originals").string());
      const unsigned mode = entry.is_directory() ? 0700 : isOriginal ? 0400 : 0600;
      EXPECT_EQ(modeOf(entry.path()), mode) << entry.path();
    }
  }
};

TEST_F(PrivateLibrary, IsClosedToOthersWhateverTheUmask) {
  for (const mode_t mask : {0000, 0022, 0077}) {
    const mode_t before = ::umask(mask);
    const Ran ran = quorvin({"--library", library(), "import", "--album", "A", kGoodMedia});
    ::umask(before);
    EXPECT_EQ(ran.status, 0) << ran.err;
    expectPrivate();
    fs::remove_all(library());
  }
}

TEST_F(PrivateLibrary, IsPutRightWhenAnOlderOneIsOpened) {
  copyOfImportedLibrary();
  fs::permissions(library(), fs::perms(0755));
  for (const auto& entry : fs::recursive_directory_iterator(library())) {
    fs::permissions(entry.path(), fs::perms(entry.is_directory() ? 0755 : 0644));
  }
  EXPECT_EQ(quorvin({"--library", library(), "check"}).status, 0);
  expectPrivate();
}

}  // namespace
}  // namespace quorvin
