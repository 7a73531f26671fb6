#include "platform_linux/library/fetch/predicate.h"

#include <gtest/gtest.h>

namespace quorvin {
namespace {

Condition type(std::int64_t value, std::string_view op = "=") {
  return {.column = "media_type", .op = op, .value = value};
}

Condition parse(const std::string& format, std::vector<std::int32_t> arguments = {}) {
  return parsePredicate({format, std::move(arguments)});
}

TEST(Predicate, TakesEachArgumentFromTheLeft) {
  const Condition either{.kind = Condition::Kind::disjunction, .parts = {type(1), type(2)}};
  EXPECT_EQ(parse("mediaType == %d || mediaType == %d", {1, 2}), either);
  EXPECT_EQ(parse("mediaType = %d || mediaType = %d ", {1, 2}), either);
  EXPECT_EQ(parse("mediaType = %d", {3}), type(3));
}

TEST(Predicate, BindsAndMoreTightlyThanOr) {
  const Condition both{.kind = Condition::Kind::conjunction, .parts = {type(1), type(2)}};
  const Condition expected{.kind = Condition::Kind::disjunction, .parts = {both, type(3)}};
  EXPECT_EQ(parse("mediaType=1 && mediaType=2 || mediaType=3"), expected);
  EXPECT_EQ(parse("mediaType=1 and mediaType=2 OR mediaType=3"), expected);
}

TEST(Predicate, NegatesAndGroups) {
  const Condition either{.kind = Condition::Kind::disjunction, .parts = {type(1), type(2)}};
  const Condition expected{.kind = Condition::Kind::negation, .parts = {either}};
  EXPECT_EQ(parse("!(mediaType = 1 || mediaType = 2)"), expected);
  EXPECT_EQ(parse("not ( mediaType = 1 || mediaType = 2 )"), expected);
}

TEST(Predicate, KnowsEverySpellingOfAComparison) {
  for (const auto& [spelling, op] :
       std::vector<std::pair<std::string, std::string>>{{"=", "="},
                                                        {"==", "="},
                                                        {"!=", "<>"},
                                                        {"<>", "<>"},
                                                        {"<", "<"},
                                                        {"<=", "<="},
                                                        {"=<", "<="},
                                                        {">", ">"},
                                                        {">=", ">="},
                                                        {"=>", ">="}}) {
    EXPECT_EQ(parse("mediaType" + spelling + "7"), type(7, op)) << spelling;
  }
}

TEST(Predicate, KnowsBothSpellingsOfAFlag) {
  EXPECT_EQ(parse("isFavorite = 1").column, "favorite");
  EXPECT_EQ(parse("favorite = 1").column, "favorite");
  EXPECT_EQ(parse("isHidden = 1").column, "hidden");
  EXPECT_EQ(parse("hidden = 1").column, "hidden");
}

TEST(Predicate, ReadsArgumentsAsSignedUnlessTheyAreMarkedUnsigned) {
  EXPECT_EQ(parse("pixelWidth > %d", {-1}).value, -1);
  EXPECT_EQ(parse("pixelWidth > %lld", {-1}).value, -1);
  EXPECT_EQ(parse("pixelWidth > %u", {-1}).value, 4294967295);
  EXPECT_EQ(parse("pixelWidth > -12").value, -12);
}

TEST(PredicateDeathTest, IsFatalWhenAnArgumentIsMissing) {
  EXPECT_DEATH(parse("mediaType = %d"), "too few arguments");
}

TEST(PredicateDeathTest, IsFatalWhenItCannotBeRead) {
  EXPECT_DEATH(parse(""), "a key is missing");
  EXPECT_DEATH(parse("mediaType"), "a comparison sign is missing");
  EXPECT_DEATH(parse("mediaType = "), "a whole number is missing");
  EXPECT_DEATH(parse("mediaType = 99999999999999999999"), "a whole number is missing");
  EXPECT_DEATH(parse("(mediaType = 1"), "not closed");
  EXPECT_DEATH(parse("mediaType = 1 mediaType = 2"), "something follows its end");
  EXPECT_DEATH(parse("mediaType = 1; DROP TABLE assets"), "something follows its end");
}

TEST(PredicateDeathTest, IsFatalForAKeyThatIsNoneOrIsNoNumber) {
  EXPECT_DEATH(parse("media_type = 1"), "no key “media_type”");
  EXPECT_DEATH(parse("creationDate > 5"), "cannot be compared with a number");
  EXPECT_DEATH(sortColumn("colour"), "cannot be sorted by “colour”");
}

}  // namespace
}  // namespace quorvin
