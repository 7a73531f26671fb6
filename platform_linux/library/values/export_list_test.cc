#include "platform_linux/library/values/export_list.h"

#include <gtest/gtest.h>

namespace quorvin {
namespace {

ListedAsset listedAsset() {
  const std::string hash("\0\x01\xff ~%\n3456789abc", 16);
  return {7, "ID/L0/001", {{1, 5, hash, "2020/01/a b%.jpg"}, {1001, 0, hash, "2020/01/a.jpg.xmp"}}};
}

TEST(ExportListText, IsReadBack) {
  ExportList list{{{"Sea", {"one", "two"}}, {"", {}}, {"two\nlines, 100%0a", {"a%"}}},
                  {listedAsset(), {-8, "other", {}}}};
  std::string text = exportListHead(list.albums);
  for (const ListedAsset& asset : list.assets) text += exportListLines(asset);
  EXPECT_EQ(readExportList(text), list);
}

TEST(ExportListText, IsGoodUpToWhereItWasCut) {
  const std::string text = exportListHead({{"Sea", {}}}) + exportListLines(listedAsset());
  for (std::size_t size = 0; size < text.size(); ++size) {
    const ExportList list = readExportList(std::string_view(text).substr(0, size));
    EXPECT_LE(list.albums.size(), 1U);
    for (const ListedAsset& asset : list.assets) {
      EXPECT_EQ(asset.identifier, listedAsset().identifier);
      for (std::size_t i = 0; i < asset.files.size(); ++i) {
        EXPECT_EQ(asset.files[i], listedAsset().files[i]);
      }
    }
  }
}

TEST(ExportListText, LeadsNowhereElse) {
  const std::string hash(32, '0');
  for (const char* path :
       {"/etc/passwd", "../a", "a/../b", "a//b", "", ".", "a/", "%00", "a/%2e%2e"}) {
    const ExportList list =
        readExportList("quorvin export 1\nasset 1 A\nfile 1 2 " + hash + " " + path + "\n");
    ASSERT_EQ(list.assets.size(), 1U);
    EXPECT_TRUE(list.assets[0].files.empty()) << path;
  }
  EXPECT_EQ(readExportList("something else\nalbum Sea\n"), ExportList());
  for (const char* line : {"file 1 2", "file x 2 00 a", "asset x A", "unknown", "file 1 2 0g a"}) {
    EXPECT_TRUE(readExportList("quorvin export 1\n" + std::string(line) + "\n").assets.empty());
  }
}

}  // namespace
}  // namespace quorvin
