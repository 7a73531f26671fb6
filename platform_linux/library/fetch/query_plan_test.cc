// The statements that pages and counts are made of must stay on their indexes, whatever the
// catalogue's statistics are.
#include <gtest/gtest.h>

#include <string>

#include "platform_linux/library/catalogue/smart_albums.h"
#include "platform_linux/library/catalogue/sqlite.h"
#include "platform_linux/library/fetch/asset_query.h"
#include "testing/platform/testing_library.h"

namespace quorvin {
namespace {

std::string planOf(Database& database, const std::string& sql, const AssetQuery& query) {
  Statement plan = database.prepare("EXPLAIN QUERY PLAN " + sql);
  query.bind(plan);
  std::string text;
  while (plan.next()) text += std::string(plan.text(3)) + "\n";
  EXPECT_FALSE(plan.failed()) << sql;
  return text;
}

struct Plans : testing::Test {
  TestLibrary test;
  std::unique_ptr<Database> database =
      *Database::open(test.folder / "library/library.sqlite", Database::Use::read);

  static AssetQuery query(std::int64_t subtype, const PHFetchOptions& options) {
    return assetQuery({AssetScope::Smart{findSmartAlbum(subtype)}}, options, false);
  }
};

TEST_F(Plans, PagesByDateComeInTheOrderOfAnIndex) {
  for (const SmartAlbum& album : kSmartAlbums) {
    for (const bool ascending : {true, false}) {
      for (int type = 0; type < 4; ++type) {
        PHFetchOptions options = byDate(ascending, 100);
        if (type > 0) options.predicate = NSPredicate{"mediaType = %d", {type}};
        const AssetQuery page = query(album.subtype, options);
        EXPECT_TRUE(page.isIndexed) << album.title;
        const std::string plan = planOf(
            *database,
            "SELECT " + std::string(kAssetColumns) + " " + page.from + page.order + " LIMIT 100",
            page);
        EXPECT_EQ(plan.find("TEMP B-TREE"), std::string::npos) << album.title << plan;
        EXPECT_NE(plan.find("USING INDEX"), std::string::npos) << album.title << plan;
      }
    }
  }
}

TEST_F(Plans, CountsAreCoveredByAnIndex) {
  for (const SmartAlbum& album : kSmartAlbums) {
    PHFetchOptions options;
    options.predicate = NSPredicate{"mediaType == %d || mediaType == %d", {1, 2}};
    for (const PHFetchOptions& wanted : {options, ofType(1), ofType(2), ofType(3)}) {
      const AssetQuery count = query(album.subtype, wanted);
      EXPECT_TRUE(count.isByAddition);
      const std::string plan = planOf(*database, "SELECT collect(a.id) " + count.from, count);
      EXPECT_NE(plan.find("USING COVERING INDEX"), std::string::npos) << album.title << plan;
    }
  }
}

TEST_F(Plans, TheUserLibraryIsPagedInOrderOfAdditionWithoutSorting) {
  PHFetchOptions options;
  options.fetchLimit = 100;
  const AssetQuery page = query(209, options);
  EXPECT_TRUE(page.isIndexed);
  const std::string plan =
      planOf(*database, "SELECT a.id " + page.from + page.order + " LIMIT 100", page);
  EXPECT_EQ(plan.find("TEMP B-TREE"), std::string::npos) << plan;
  EXPECT_NE(plan.find("COVERING INDEX listed_by_addition"), std::string::npos) << plan;
}

TEST_F(Plans, BurstsAndIdentifiersAreFoundByAnIndex) {
  const AssetQuery burst = assetQuery({AssetScope::Burst{"B"}}, {}, false);
  EXPECT_NE(planOf(*database, "SELECT a.id " + burst.from + burst.order, burst)
                .find("INDEX assets_by_burst"),
            std::string::npos);
  const AssetQuery rows = assetQuery({AssetScope::Rows{{1, 2}}}, {}, false);
  EXPECT_NE(planOf(*database, "SELECT a.id " + rows.from, rows).find("INTEGER PRIMARY KEY"),
            std::string::npos);
}

}  // namespace
}  // namespace quorvin
