#include "media_worker/metadata/metadata_movie.h"

#include <gtest/gtest.h>

namespace quorvin {
namespace {

constexpr std::int64_t kNow = 1'800'000'000;  // in 2027
constexpr std::int64_t kNanoseconds = 1'000'000'000;

std::optional<std::int64_t> movieDateOf(const MovieTags& tags) {
  return movieMetadata(tags, kNow).creationDate;
}

TEST(MovieMetadata, TakesTheDateWithItsOffsetBeforeTheContainers) {
  EXPECT_EQ(movieDateOf({{"creation_time", "2018-01-01T00:00:00.000000Z"},
                         {"com.maker.quicktime.creationdate", "2017-05-01T12:34:56+0200"}}),
            1493634896 * kNanoseconds);
}

TEST(MovieMetadata, TakesTheContainersDateElse) {
  EXPECT_EQ(movieDateOf({{"creation_time", "2017-05-01T10:34:56.250000Z"}}),
            1493634896 * kNanoseconds + 250'000'000);
  EXPECT_EQ(movieDateOf({{"com.maker.quicktime.creationdate", "no date"},
                         {"creation_time", "2017-05-01T10:34:56.000000Z"}}),
            1493634896 * kNanoseconds);
}

TEST(MovieMetadata, KeepsADateBefore1970ThatTheItemTells) {
  EXPECT_EQ(movieDateOf({{"com.maker.quicktime.creationdate", "1965-01-01T00:00:00Z"}}),
            -157766400 * kNanoseconds);
}

TEST(MovieMetadata, TakesAContainersDateInTheFutureForNone) {
  EXPECT_FALSE(movieDateOf({{"creation_time", "2031-01-01T00:00:00.000000Z"}}));
  EXPECT_TRUE(movieDateOf({{"creation_time", "2027-01-16T00:00:00.000000Z"}}));  // within a day
}

TEST(MovieMetadata, TakesAClockThatWasNeverSetForNone) {
  EXPECT_FALSE(movieDateOf({{"creation_time", "1904-01-01T00:00:00.000000Z"}}));
  EXPECT_FALSE(movieDateOf({{"creation_time", "1970-01-01T00:00:00.000000Z"}}));
  EXPECT_FALSE(movieDateOf({{"creation_time", "1970-01-01T03:20:00.000000Z"}}));
}

TEST(MovieMetadata, HasNoDateWithoutTags) {
  EXPECT_FALSE(movieDateOf({}));
  EXPECT_FALSE(movieDateOf({{"creation_time", "2017"}}));
  EXPECT_FALSE(movieDateOf({{"date", "2017-05-01T10:34:56Z"}}));
}

TEST(MovieMetadata, ReadsTheContentIdentifierOfAnyMaker) {
  EXPECT_EQ(
      movieMetadata({{"com.maker.quicktime.content.identifier", "A-1"}}, kNow).contentIdentifier,
      "A-1");
  EXPECT_EQ(
      movieMetadata({{"org.maker.quicktime.content.identifier", "A-1"}}, kNow).contentIdentifier,
      "");
  EXPECT_EQ(movieMetadata({{"com.maker.content.identifier", "A-1"}}, kNow).contentIdentifier, "");
}

TEST(MovieMetadata, ReadsThePositiveRateOfCapture) {
  const auto rate = [](const char* text) {
    return movieMetadata({{"com.android.capture.fps", text}}, kNow).captureFrameRate;
  };
  EXPECT_EQ(rate("240.000000"), 240);
  EXPECT_EQ(rate("120"), 120);
  EXPECT_EQ(rate("-120"), 0);
  EXPECT_EQ(rate("inf"), 0);
  EXPECT_EQ(rate("nan"), 0);
  EXPECT_EQ(rate(""), 0);
}

}  // namespace
}  // namespace quorvin
