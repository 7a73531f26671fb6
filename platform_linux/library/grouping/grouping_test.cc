#include "platform_linux/library/grouping/grouping.h"

#include <gtest/gtest.h>

#include <random>
#include <set>
#include <string>
#include <utility>

#include "platform_linux/library/values/side_resources.h"

namespace quorvin {
namespace {

using Type = PHAssetResourceType;

Part fileNamed(std::string name, MediaKind kind) {
  Part part;
  part.record.resource.name = std::move(name);
  part.record.asset.probe.kind = kind;
  part.families = {1};
  return part;
}

Part adjustmentNamed(std::string name) {
  Part part = fileNamed(std::move(name), MediaKind::side);
  part.record.asset.probe.notes.kind = SideKind::adjustment;
  return part;
}

Part inRow(std::int64_t row, Type type, Part part) {
  part.row = row;
  part.type = type;
  return part;
}

void expectEachFileOnce(const std::vector<Part>& parts, const Grouping& grouping) {
  std::multiset<std::size_t> seen(grouping.waiting.begin(), grouping.waiting.end());
  for (const auto& roles : grouping.assets) {
    std::set<Type> types;
    for (const Role& role : roles) {
      seen.insert(role.part);
      EXPECT_TRUE(isUnseen(role.type) || types.insert(role.type).second)
          << parts[role.part].record.resource.name;
    }
  }
  EXPECT_EQ(seen.size(), parts.size());
  EXPECT_EQ(std::set(seen.begin(), seen.end()).size(), parts.size());
}

TEST(Grouping, OfTwoAdjustmentsThatAssetsKeptOneGoesOnWhenTheyBecomeOne) {
  const std::vector<Part> parts = {
      inRow(1, Type::photo, fileNamed("IMG_1.HEIC", MediaKind::image)),
      inRow(1, Type::adjustmentData, adjustmentNamed("one.AAE")),
      inRow(2, Type::video, fileNamed("IMG_1.MOV", MediaKind::video)),
      inRow(2, Type::adjustmentData, adjustmentNamed("other.AAE")),
  };
  const Grouping grouping = groupParts(parts);
  expectEachFileOnce(parts, grouping);
  ASSERT_EQ(grouping.assets.size(), 1U);
  EXPECT_EQ(
      grouping.assets[0],
      (std::vector<Role>{{0, Type::photo}, {1, Type::adjustmentData}, {2, Type::pairedVideo}}));
  EXPECT_EQ(grouping.waiting, std::vector<std::size_t>{3});
}

TEST(Grouping, EachFileHasOnePlaceAndEachPlaceOneFile) {
  constexpr std::pair<const char*, MediaKind> kFiles[] = {
      {"IMG_1.HEIC", MediaKind::image},   {"IMG_1.JPG", MediaKind::image},
      {"IMG_E1.JPG", MediaKind::image},   {"IMG_1.MOV", MediaKind::video},
      {"IMG_E1.MOV", MediaKind::video},   {"IMG_1.DNG", MediaKind::image},
      {"IMG_1.AAE", MediaKind::side},     {"other.AAE", MediaKind::side},
      {"IMG_1.HEIC.xmp", MediaKind::side}};
  constexpr Type kRowTypes[] = {Type::photo, Type::video, Type::adjustmentData, kXmpFile};
  std::mt19937 dice(7);
  const auto roll = [&dice](std::size_t sides) { return dice() % sides; };
  for (int round = 0; round < 2'000; ++round) {
    std::vector<Part> parts;
    std::set<std::pair<std::int64_t, Type>> taken;
    for (std::size_t i = 1 + roll(10); i > 0; --i) {
      const auto& [name, kind] = kFiles[roll(std::size(kFiles))];
      Part part = fileNamed(name, kind);
      part.record.asset.probe.raw = part.record.resource.name.ends_with("DNG");
      const bool isXmp = part.record.resource.name.ends_with("xmp");
      if (kind == MediaKind::side) {
        part.record.asset.probe.notes.kind = isXmp ? SideKind::xmp : SideKind::adjustment;
      }
      if (roll(2) == 0) part.record.asset.probe.creationDate = static_cast<std::int64_t>(roll(2));
      const auto row = static_cast<std::int64_t>(roll(4));
      const Type type = kind == MediaKind::side ? kRowTypes[isXmp ? 3 : 2]
                                                : kRowTypes[kind == MediaKind::video ? 1 : 0];
      if (row > 0 && taken.emplace(row, type).second) part = inRow(row, type, part);
      parts.push_back(std::move(part));
    }
    SCOPED_TRACE(round);
    expectEachFileOnce(parts, groupParts(parts));
    if (testing::Test::HasFailure()) return;
  }
}

}  // namespace
}  // namespace quorvin
