// The statements that pages and counts are made of must go along their tables' order, whatever the
// catalogue's statistics are.
#include <gtest/gtest.h>

#include <string>

#include "platform_linux/library/database/sqlite.h"
#include "platform_linux/library/fetch/asset_query.h"
#include "platform_linux/library/places/smart_albums.h"
#include "testing/platform/testing_library.h"

namespace quorvin {
namespace {

std::string planOf(Database& database, const std::string& sql) {
  Statement plan = database.prepare("EXPLAIN QUERY PLAN " + sql);
  std::string text;
  while (plan.next()) text += std::string(plan.text(3)) + "\n";
  EXPECT_FALSE(plan.failed()) << sql;
  return text;
}

struct Plans : testing::Test {
  TestLibrary test;
  std::unique_ptr<Database> database =
      *Database::open(test.folder / "library/library.sqlite", Database::Use::read);
};

TEST_F(Plans, PagesComeInTheOrderOfPlaces) {
  for (unsigned types = 1; types < 16; ++types) {
    for (const bool isDescending : {true, false}) {
      PlaceListing listing{-418, {}, 0, isDescending};
      for (std::size_t type = 0; type < kMediaTypes; ++type) {
        listing.types.wanted[type] = (types >> type & 1) != 0;
      }
      const std::string plan = planOf(
          *database, "SELECT " + std::string(kAssetColumns) + " FROM (" + selectPlaces(listing) +
                         ") AS p CROSS JOIN assets AS a ON a.id = p.asset");
      EXPECT_EQ(plan.find("TEMP B-TREE"), std::string::npos) << plan;
      EXPECT_EQ(plan.find("AUTOMATIC"), std::string::npos) << plan;
      EXPECT_NE(plan.find("SEARCH places USING PRIMARY KEY (listing=? AND media_type=? AND (key,"),
                std::string::npos)
          << plan;
      EXPECT_NE(plan.find("SEARCH a USING INTEGER PRIMARY KEY"), std::string::npos) << plan;
    }
  }
}

TEST_F(Plans, BurstsAndIdentifiersAreFoundByAnIndex) {
  const AssetQuery burst = assetQuery({AssetScope::Burst{"B"}}, {}, false);
  EXPECT_NE(
      planOf(*database, "SELECT a.id " + burst.from + burst.order).find("INDEX assets_by_burst"),
      std::string::npos);
  const AssetQuery rows = assetQuery({AssetScope::Rows{{1, 2}}}, {}, false);
  EXPECT_NE(planOf(*database, "SELECT a.id " + rows.from).find("INTEGER PRIMARY KEY"),
            std::string::npos);
}

TEST_F(Plans, WhoMaySeeASelectionLooksAtThatAlone) {
  const AssetQuery all =
      assetQuery({AssetScope::Smart{findSmartAlbum(209)}}, byDate(false, 100), true);
  const std::string plan = planOf(*database, "SELECT a.id " + all.from + all.order);
  EXPECT_NE(plan.find("SEARCH a USING INTEGER PRIMARY KEY (rowid=?)"), std::string::npos) << plan;
}

}  // namespace
}  // namespace quorvin
