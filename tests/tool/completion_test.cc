// What `quorvin __complete` answers to the shells' scripts.
#include <algorithm>
#include <sstream>

#include "testing/engine/tool_fixture.h"

namespace quorvin {
namespace {

class Completing : public ToolFixture {
 protected:
  /// The lines; the first one says which paths fit.
  Words lines(Words words) {
    words.insert(words.begin(), "__complete");
    const Ran ran = quorvin(words);
    EXPECT_EQ(ran.status, 0);
    EXPECT_EQ(ran.err, "");
    std::istringstream out(ran.out);
    Words lines;
    for (std::string line; std::getline(out, line);) lines.push_back(line);
    EXPECT_FALSE(lines.empty());
    return lines;
  }

  /// The lines without descriptions.
  Words words(const Words& typed) {
    Words found = lines(typed);
    for (std::string& line : found) line = line.substr(0, line.find('\t'));
    return found;
  }
};

TEST_F(Completing, NamesSubcommandsWithWhatTheyAreFor) {
  EXPECT_EQ(lines({"ex"}), (Words{"none", "export\tWrite assets into a folder as ordinary files"}));
  EXPECT_EQ(words({"trash", ""}), (Words{"none", "list", "restore", "empty"}));
  const Words all = words({""});
  for (const char* name : {"import", "watch", "call", "authorize", "trash", "check", "backup",
                           "export", "doctor", "info", "previews", "serve"}) {
    EXPECT_NE(std::ranges::find(all, name), all.end()) << name;
  }
  EXPECT_EQ(all.size(), 13U);
  EXPECT_EQ(words({}), all);
}

TEST_F(Completing, NamesOptionsThatWereNotGiven) {
  EXPECT_EQ(words({"export", "--al"}), (Words{"none", "--album", "--all"}));
  EXPECT_EQ(words({"export", "--all", "--al"}), (Words{"none", "--album"}));
  EXPECT_EQ(words({"export", "--lib"}), (Words{"none", "--library"}));
  EXPECT_EQ(words({"--lib"}), (Words{"none", "--library"}));
}

TEST_F(Completing, NamesTheValuesOfOptionsAndArguments) {
  EXPECT_EQ(words({"export", "--layout", ""}), (Words{"none", "date", "album"}));
  EXPECT_EQ(words({"export", "--layout=d"}), (Words{"none", "--layout=date"}));
  EXPECT_EQ(words({"authorize", "d"}), (Words{"none", "denied"}));
  EXPECT_EQ(words({"call", "getThumb"}), (Words{"none", "getThumbnail"}));
  EXPECT_EQ(words({"call", ""}).size(), 1U + 22U);
  EXPECT_EQ(words({"call", "getThumbnail", ""}), (Words{"none"}));
}

TEST_F(Completing, SaysWherePathsFit) {
  EXPECT_EQ(words({"import", ""}), (Words{"files"}));
  EXPECT_EQ(words({"import", "one", "two", ""}), (Words{"files"}));
  EXPECT_EQ(words({"import", "--", "--album"}), (Words{"files"}));
  EXPECT_EQ(words({"call", "--out", ""}), (Words{"files"}));
  EXPECT_EQ(words({"backup", ""}), (Words{"folders"}));
  EXPECT_EQ(words({"backup", "one", ""}), (Words{"none"}));
  EXPECT_EQ(words({"--library", ""}), (Words{"folders"}));
  EXPECT_EQ(words({"watch", "--library=x", ""}), (Words{"folders"}));
}

TEST_F(Completing, NamesTheAlbumsOfTheLibraryThatIsMeant) {
  const std::string named = kImportedLibrary;
  EXPECT_EQ(words({"--library", named, "export", "--album", "H"}), (Words{"none", "Holidays"}));
  EXPECT_EQ(words({"import", "--library=" + named, "--album="}),
            (Words{"none", "--album=Holidays"}));
  EXPECT_EQ(words({"watch", "--album", ""}), (Words{"none"}));
  setVariable("QUORVIN_LIBRARY", named);
  EXPECT_EQ(words({"watch", "--album", ""}), (Words{"none", "Holidays"}));
  EXPECT_EQ(words({"watch", "--album", "h"}), (Words{"none"}));
}

TEST_F(Completing, LeavesOutTitlesThatWouldCommandTheTerminal) {
  const fs::path library = copyOfImportedLibrary();
  for (const char* title : {"two\\nlines", "a\\tb", "\\u001b[2J", "fine \\\"one\\\""}) {
    call(library, "createAlbum", std::string(R"({"title": ")") + title + "\"}");
  }
  EXPECT_EQ(words({"--library", library, "export", "--album", ""}),
            (Words{"none", "Holidays", "fine \"one\""}));
}

TEST_F(Completing, NamesDeletedAssetsToRestore) {
  const fs::path library = copyOfImportedLibrary();
  const Json page = call(library, "getGalleryList", R"({"withAllPhotos": true,
      "filterEmptyAsset": true, "withSmartAlbum": false, "mediaType": 0})")["result"];
  const Json first =
      call(library, "getGalleryFirstAssetId",
           Json({{"collectionId", page[0]["id"]}, {"sort", 0}, {"mediaType", 0}}).dump())["result"];
  const Json name =
      call(library, "getAssetOriginalFilename", Json({{"assetId", first}}).dump())["result"];
  call(library, "deleteAssets", Json({{"assetIds", {first}}}).dump());
  EXPECT_EQ(lines({"--library", library, "trash", "restore", ""}),
            (Words{"none", first.get<std::string>() + "\t" + name.get<std::string>()}));
}

TEST_F(Completing, OfWrongLinesSaysNothingAndMakesNoLibrary) {
  setVariable("QUORVIN_LIBRARY", library());
  EXPECT_EQ(words({"frobnicate", ""}), (Words{"none"}));
  EXPECT_EQ(words({"export", "--frob=x"}), (Words{"none"}));
  EXPECT_EQ(words({"export", "--album", ""}), (Words{"none"}));
  EXPECT_EQ(words({"trash", "restore", ""}), (Words{"none"}));
  EXPECT_EQ(words({"--library", "", "export", "--album", ""}), (Words{"none"}));
  EXPECT_FALSE(fs::exists(library()));
}

}  // namespace
}  // namespace quorvin
