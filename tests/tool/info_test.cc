// `quorvin info`: for people and for programs.
#include <regex>

#include "testing/engine/tool_fixture.h"

namespace quorvin {
namespace {

class Info : public ToolFixture {
 protected:
  Ran info(Words words = {}) {
    words.insert(words.begin(), {"--library", library(), "info"});
    return quorvin(words);
  }
  void import(const std::string& album, const fs::path& what) {
    EXPECT_EQ(quorvin({"--library", library(), "import", "--album", album, what}).status, 0);
  }
};

TEST_F(Info, ProgramsGetEveryCount) {
  const Json read = Json::parse(quorvin({"--library", kImportedLibrary, "info", "--json"}).out);
  EXPECT_EQ(read["path"], kImportedLibrary.string());
  EXPECT_EQ(read["status"], "authorized");
  EXPECT_GT(read["photos"], 0);
  EXPECT_EQ(read["livePhotos"], 2);
  EXPECT_EQ(read["bursts"], 1);
  EXPECT_EQ(read["audio"], 2);
  for (const char* none : {"others", "favorites", "hidden", "deleted"}) EXPECT_EQ(read[none], 0);
  EXPECT_GT(read["originalFiles"], read["photos"]);
  EXPECT_GT(read["originalBytes"], read["originalFiles"]);
  EXPECT_LT(read["oldest"], read["newest"]);
  ASSERT_EQ(read["albums"].size(), 1U);
  EXPECT_EQ(read["albums"][0]["title"], "Holidays");
  EXPECT_FALSE(read["smartAlbums"].empty());
}

TEST_F(Info, PeopleGetOneColumnOfNumbers) {
  import("Ein ganz langer Titel für ein Album", photos(1));
  import("写真", kGoodMedia / "IMG_0001.jpg");
  const Ran ran = info();
  EXPECT_EQ(ran.status, 0);
  EXPECT_NE(ran.out.find("\n  2 assets, "), std::string::npos) << ran.out;
  EXPECT_NE(ran.out.find("\n  photos                                2\n"), std::string::npos)
      << ran.out;
  EXPECT_NE(ran.out.find("\n  Ein ganz langer Titel für ein Album   1\n"), std::string::npos);
  EXPECT_NE(ran.out.find("\n  写真                                  1\n"), std::string::npos);
}

TEST_F(Info, AVeryLongTitleIsCutForPeople) {
  const std::string title(300, 'x');
  import(title, photos(1));
  EXPECT_EQ(info().out.find(std::string(49, 'x')), std::string::npos);
  EXPECT_NE(info().out.find("x…   1\n"), std::string::npos) << info().out;
  EXPECT_EQ(Json::parse(info({"--json"}).out)["albums"][0]["title"], title);
}

TEST_F(Info, ATitleCannotCommandTheTerminal) {
  import("\x1b]0;title\x07\u009b", photos(1));
  for (const Words& words : {Words{}, Words{"--json"}}) {
    const std::string out = info(words).out;
    EXPECT_FALSE(std::regex_search(out, std::regex("[\x01-\x09\x0b-\x1f\x7f]"))) << out;
    EXPECT_EQ(out.find("\u009b"), std::string::npos) << out;
  }
  EXPECT_EQ(Json::parse(info({"--json"}).out)["albums"][0]["title"], "\x1b]0;title\x07\u009b");
}

TEST_F(Info, AnEmptyLibraryIsDescribedToo) {
  EXPECT_EQ(quorvin({"--library", library(), "authorize", "denied"}).status, 0);
  EXPECT_EQ(info().out, library().string() + "\n  0 assets, 0 bytes in 0 files, access denied\n");
  EXPECT_TRUE(Json::parse(info({"--json"}).out)["oldest"].is_null());
}

TEST_F(Info, AMissingLibraryIsNotMade) {
  const Ran ran = info();
  EXPECT_EQ(ran.status, 1);
  EXPECT_EQ(ran.out, "");
  EXPECT_EQ(ran.err, "quorvin: There is no photo library at “" + library().string() + "”.\n");
  EXPECT_FALSE(fs::exists(library()));
}

TEST_F(Info, ALibraryThatIsNoDatabaseIsAnErrorInPlainWords) {
  fs::create_directory(library());
  write(library() / "library.sqlite", std::string(8192, 'x'));
  const Ran ran = info();
  EXPECT_EQ(ran.status, 1);
  EXPECT_EQ(ran.out, "");
  EXPECT_EQ(std::count(ran.err.begin(), ran.err.end(), '\n'), 1) << ran.err;
}

}  // namespace
}  // namespace quorvin
