#include "platform_linux/library/catalogue/listing_cache.h"

#include <gtest/gtest.h>

namespace quorvin {
namespace {

std::shared_ptr<const Listing> listing(std::size_t rows, bool complete) {
  auto made = std::make_shared<Listing>();
  made->rows.resize(rows);
  made->complete = complete;
  return made;
}

TEST(ListingCache, FindsWhatWasStoredForTheSameVersion) {
  ListingCache cache;
  const auto stored = listing(3, true);
  cache.store(5, "a", stored);
  EXPECT_EQ(cache.find(5, "a", 100), stored);
  EXPECT_EQ(cache.find(5, "b", 1), nullptr);
  EXPECT_EQ(cache.find(6, "a", 1), nullptr);
  EXPECT_EQ(cache.find(4, "a", 1), nullptr);
}

TEST(ListingCache, FindsAPartOnlyForThoseWhomItIsEnoughFor) {
  ListingCache cache;
  cache.store(5, "a", listing(3, false));
  EXPECT_NE(cache.find(5, "a", 3), nullptr);
  EXPECT_EQ(cache.find(5, "a", 4), nullptr);
  cache.store(5, "a", listing(9, false));
  EXPECT_NE(cache.find(5, "a", 9), nullptr);
}

TEST(ListingCache, ForgetsAllWhenTheVersionMovesOn) {
  ListingCache cache;
  cache.store(5, "a", listing(1, true));
  cache.store(6, "b", listing(1, true));
  EXPECT_EQ(cache.find(6, "a", 1), nullptr);
  cache.store(5, "c", listing(1, true));  // read before the change
  EXPECT_EQ(cache.find(6, "c", 1), nullptr);
  EXPECT_NE(cache.find(6, "b", 1), nullptr);
}

TEST(ListingCache, KeepsNothingForAnUnknownVersion) {
  ListingCache cache;
  cache.store(0, "a", listing(1, true));
  EXPECT_EQ(cache.find(0, "a", 1), nullptr);
}

TEST(ListingCache, DropsTheLongestUnusedWhenItGrowsTooLarge) {
  ListingCache cache;
  cache.store(1, "first", listing(3'000'000, true));
  cache.store(1, "second", listing(3'000'000, true));
  EXPECT_NE(cache.find(1, "first", 1), nullptr);
  cache.store(1, "third", listing(3'000'000, true));
  EXPECT_NE(cache.find(1, "first", 1), nullptr);
  EXPECT_EQ(cache.find(1, "second", 1), nullptr);
  cache.store(1, "huge", listing(8'000'001, true));
  EXPECT_EQ(cache.find(1, "huge", 1), nullptr);
}

}  // namespace
}  // namespace quorvin
