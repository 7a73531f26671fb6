// `quorvin trash`: listing, restoring and emptying.
#include <regex>

#include "testing/engine/tool_fixture.h"

namespace quorvin {
namespace {

class TrashCommand : public ToolFixture {
 protected:
  Ran trash(Words words) {
    words.insert(words.begin(), {"--library", library(), "trash"});
    return quorvin(words);
  }
  Json call(const std::string& method, const Json& arguments) {
    const Ran ran = quorvin({"--library", library(), "call", method, arguments.dump()});
    EXPECT_EQ(ran.status, 0) << ran.out;
    return Json::parse(ran.out)["result"];
  }
  /// Imports that many photos and deletes them all.
  void deletePhotos(int count) {
    EXPECT_EQ(quorvin({"--library", library(), "import", photos(count)}).status, 0);
    const Json galleries = call("getGalleryList", {{"withAllPhotos", true},
                                                   {"filterEmptyAsset", true},
                                                   {"withSmartAlbum", true},
                                                   {"mediaType", 0}});
    const Json page = call("getAssetList", {{"collectionId", galleries.at(0).at("id")},
                                            {"start", 0},
                                            {"end", count},
                                            {"sort", 0},
                                            {"mediaType", 0}});
    Json identifiers = Json::array();
    for (const Json& asset : page) identifiers.push_back(asset.at("id"));
    EXPECT_EQ(identifiers.size(), static_cast<std::size_t>(count));
    EXPECT_EQ(call("deleteAssets", {{"assetIds", identifiers}}), true);
  }
  Json info() { return Json::parse(quorvin({"--library", library(), "info", "--json"}).out); }
};

TEST_F(TrashCommand, AnEmptyTrashListsNothing) {
  copyOfImportedLibrary();
  const Ran ran = trash({"list"});
  EXPECT_EQ(ran.status, 0);
  EXPECT_EQ(ran.out, "");
  EXPECT_EQ(trash({"empty"}).out, "Removed 0 assets, 0 bytes.\n");
}

TEST_F(TrashCommand, WhatItListsCanBeRestored) {
  deletePhotos(2);
  const Ran listed = trash({"list"});
  std::smatch line;
  ASSERT_TRUE(std::regex_search(listed.out, line,
                                std::regex("^([0-9A-F-]{36}/L0/001)  photo-0\\.jpg  .*, until ")))
      << listed.out;
  EXPECT_EQ(trash({"restore", line[1]}).status, 0);
  EXPECT_EQ(info()["photos"], 1);
  EXPECT_EQ(info()["deleted"], 1);
  const Ran again = trash({"restore", line[1]});
  EXPECT_EQ(again.status, 1);
  EXPECT_EQ(again.err, "quorvin: The asset “" + line[1].str() + "” is not in the trash.\n");
}

TEST_F(TrashCommand, EmptyingRemovesTheFiles) {
  deletePhotos(3);
  const Ran ran = trash({"empty"});
  EXPECT_EQ(ran.status, 0);
  EXPECT_EQ(ran.out.find("Removed 3 assets, "), 0U) << ran.out;
  EXPECT_EQ(info()["originalFiles"], 0);
  EXPECT_EQ(quorvin({"--library", library(), "check"}).status, 0);
}

TEST_F(TrashCommand, AMissingLibraryIsNotMade) {
  for (const Words& words : {Words{"list"}, Words{"empty"}, Words{"restore", "X"}}) {
    EXPECT_EQ(trash(words).status, 1);
  }
  EXPECT_FALSE(fs::exists(library()));
}

}  // namespace
}  // namespace quorvin
