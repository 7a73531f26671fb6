#include "media_worker/export/track_language.h"

#include <gtest/gtest.h>

namespace quorvin {
namespace {

TEST(TrackLanguage, HasTheNameThatTheContainerKnows) {
  for (const char* german : {"deu", "ger"}) {
    EXPECT_EQ(languageIn(VideoContainer::quickTime, german), "ger");
    EXPECT_EQ(languageIn(VideoContainer::mpeg4, german), "deu");
  }
  for (const char* swedish : {"swe", "sve"}) {
    EXPECT_EQ(languageIn(VideoContainer::quickTime, swedish), "sve");
    EXPECT_EQ(languageIn(VideoContainer::mpeg4, swedish), "swe");
  }
}

TEST(TrackLanguage, StaysWhereItHasOneName) {
  for (const char* language : {"eng", "jpn", "und", "en", ""}) {
    EXPECT_EQ(languageIn(VideoContainer::quickTime, language), language);
    EXPECT_EQ(languageIn(VideoContainer::mpeg4, language), language);
  }
}

}  // namespace
}  // namespace quorvin
