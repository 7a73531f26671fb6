#include "media_worker/metadata/metadata_dates.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <string>

namespace quorvin {
namespace {

using namespace std::string_view_literals;

/// Lets the machine stand in another zone for a while.
class InZone {
 public:
  explicit InZone(const char* zone) {
    const char* before = std::getenv("TZ");
    had_ = before != nullptr;
    if (had_) before_ = before;
    ::setenv("TZ", zone, 1);
    ::tzset();
  }
  InZone(const InZone&) = delete;
  InZone& operator=(const InZone&) = delete;
  ~InZone() {
    had_ ? ::setenv("TZ", before_.c_str(), 1) : ::unsetenv("TZ");
    ::tzset();
  }

 private:
  bool had_ = false;
  std::string before_;
};

TEST(ParseDate, ReadsTheFormOfExif) {
  const auto date = parseDate("2017:05:01 12:34:56");
  ASSERT_TRUE(date);
  EXPECT_EQ(date->seconds, 1493642096);
  EXPECT_EQ(date->nanoseconds, 0);
  EXPECT_TRUE(date->hasTime);
  EXPECT_FALSE(date->offset);
}

TEST(ParseDate, ReadsTheFormsOfIso8601) {
  EXPECT_EQ(parseDate("2017-05-01T12:34:56")->seconds, 1493642096);
  EXPECT_EQ(parseDate("2017-05-01T12:34")->seconds, 1493642040);
  EXPECT_EQ(parseDate("2017-05-01T12:34:56.25")->nanoseconds, 250'000'000);
  EXPECT_EQ(parseDate("2017-05-01T12:34:56+02:00")->offset, 7200);
  EXPECT_EQ(parseDate("2017-05-01T12:34:56-0530")->offset, -19800);
  EXPECT_EQ(parseDate("2017-05-01T12:34:56.5Z")->offset, 0);
  EXPECT_EQ(parseDate("2017-05-01 12:34:56 +0200")->offset, 7200);
}

TEST(ParseDate, ReadsADayAMonthOrAYearAtItsBeginning) {
  EXPECT_EQ(parseDate("1970-01-02")->seconds, 86400);
  EXPECT_EQ(parseDate("1970-02")->seconds, 31 * 86400);
  EXPECT_EQ(parseDate("1971")->seconds, 365 * 86400);
  EXPECT_FALSE(parseDate("1971")->hasTime);
}

TEST(ParseDate, CutsBlanksAndZeroBytesAroundADate) {
  EXPECT_EQ(parseDate("  2017:05:01 12:34:56 \0\0"sv)->seconds, 1493642096);
}

TEST(ParseDate, ReadsDatesBefore1970) {
  EXPECT_EQ(parseDate("1969:12:31 23:59:59")->seconds, -1);
  EXPECT_EQ(parseDate("1903:07:14 00:00:00")->seconds, -2097619200);
  EXPECT_EQ(parseDate("0001:01:01 00:00:00")->seconds, -62135596800);
}

TEST(ParseDate, KnowsLeapYears) {
  EXPECT_TRUE(parseDate("2000:02:29 00:00:00"));
  EXPECT_TRUE(parseDate("2016:02:29 00:00:00"));
  EXPECT_FALSE(parseDate("1900:02:29 00:00:00"));
  EXPECT_FALSE(parseDate("2017:02:29 00:00:00"));
}

class NoDate : public testing::TestWithParam<std::string_view> {};

TEST_P(NoDate, IsAbsent) {
  EXPECT_FALSE(parseDate(GetParam()));
}

INSTANTIATE_TEST_SUITE_P(
    ParseDate, NoDate,
    testing::Values(""sv, " "sv, "\0\0\0"sv, "0000:00:00 00:00:00"sv, "    :  :     :  :  "sv,
                    "2017:13:01 12:34:56"sv, "2017:00:01 12:34:56"sv, "2017:04:31 12:34:56"sv,
                    "2017:05:01 24:00:00"sv, "2017:05:01 12:60:00"sv, "2017:05:01 12:34:61"sv,
                    "2017:5:1 12:34:56"sv, "17:05:01 12:34:56"sv, "2017:05:01 12:34:5"sv,
                    "2017:05:01 12"sv, "2017:05:01 12:34:56 noon"sv, "2017:05:01x12:34:56"sv,
                    "-017:05:01 12:34:56"sv, "12017:05:01 12:34:56"sv, "tomorrow"sv,
                    "2017-05-01T12:34:56+25:00"sv, "2017-"sv, "2017-05-"sv));

TEST(ParseOffset, ReadsEveryWrittenForm) {
  EXPECT_EQ(parseOffset("Z"), 0);
  EXPECT_EQ(parseOffset("+02:00"), 7200);
  EXPECT_EQ(parseOffset("-05:30"), -19800);
  EXPECT_EQ(parseOffset("+0545"), 20700);
  EXPECT_EQ(parseOffset("+02"), 7200);
  EXPECT_EQ(parseOffset("+14:00 \0"sv), 50400);
}

TEST(ParseOffset, RefusesWhatIsNone) {
  for (const std::string_view text : {""sv, "   :  "sv, "02:00"sv, "+2:00"sv, "+14:15"sv,
                                      "+15:00"sv, "+02:60"sv, "+02:00x"sv, "\0\0\0"sv}) {
    EXPECT_FALSE(parseOffset(text)) << text;
  }
}

TEST(ParseSubSeconds, ReadsADecimalFraction) {
  EXPECT_EQ(parseSubSeconds("5"), 500'000'000);
  EXPECT_EQ(parseSubSeconds("050"), 50'000'000);
  EXPECT_EQ(parseSubSeconds("123456"), 123'456'000);
  EXPECT_EQ(parseSubSeconds("123456789987"), 123'456'789);
  EXPECT_EQ(parseSubSeconds("25   "), 250'000'000);
  EXPECT_EQ(parseSubSeconds("2x5"), 200'000'000);
  EXPECT_EQ(parseSubSeconds(""), 0);
}

TEST(OffsetBetween, RoundsToAQuarterOfAnHour) {
  EXPECT_EQ(offsetBetween(7200 + 37, 0), 7200);
  EXPECT_EQ(offsetBetween(-19800 - 400, 0), -19800);
  EXPECT_EQ(offsetBetween(20700 + 449, 0), 20700);
  EXPECT_EQ(offsetBetween(20700 + 451, 0), 21600);
  EXPECT_EQ(offsetBetween(0, 30), 0);
}

TEST(OffsetBetween, RefusesWhatNoZoneHas) {
  EXPECT_EQ(offsetBetween(14 * 3600, 0), 14 * 3600);
  EXPECT_EQ(offsetBetween(-14 * 3600, 0), -14 * 3600);
  EXPECT_FALSE(offsetBetween(15 * 3600, 0));
  EXPECT_FALSE(offsetBetween(-86400, 0));
}

TEST(ToNanoseconds, SubtractsTheWrittenOffset) {
  EXPECT_EQ(toNanoseconds(*parseDate("1970-01-01T02:00:01.5+02:00")), 1'500'000'000);
  EXPECT_EQ(toNanoseconds(*parseDate("1970-01-01T00:00:00-01:00")), 3'600'000'000'000);
}

TEST(ToNanoseconds, CountsFractionsForwardBefore1970Too) {
  EXPECT_EQ(toNanoseconds(*parseDate("1969-12-31T23:59:59.25Z")), -750'000'000);
}

TEST(ToNanoseconds, UsesTheZoneOfThisMachineAtThatTime) {
  const InZone zone("CET-1CEST,M3.5.0,M10.5.0/3");
  EXPECT_EQ(toNanoseconds(*parseDate("2017:01:01 12:00:00")), 1483268400'000'000'000);
  EXPECT_EQ(toNanoseconds(*parseDate("2017:07:01 12:00:00")), 1498903200'000'000'000);
}

TEST(ToNanoseconds, TakesTheSecondBefore1970ForAValidTime) {
  const InZone zone("UTC0");
  EXPECT_EQ(toNanoseconds(*parseDate("1969:12:31 23:59:59")), -1'000'000'000);
}

TEST(ToNanoseconds, RefusesWhatCannotBeHeld) {
  EXPECT_FALSE(toNanoseconds(*parseDate("1500-01-01T00:00:00Z")));
  EXPECT_FALSE(toNanoseconds(*parseDate("9999-12-31T23:59:59Z")));
  EXPECT_TRUE(toNanoseconds(*parseDate("1678-01-01T00:00:00Z")));
  EXPECT_TRUE(toNanoseconds(*parseDate("2262-01-01T00:00:00Z")));
}

}  // namespace
}  // namespace quorvin
