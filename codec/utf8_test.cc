#include "codec/utf8.h"

#include <gtest/gtest.h>

namespace quorvin {
namespace {

TEST(Utf8, IsMadeValidByteByByte) {
  EXPECT_EQ(validUtf8("plain \u00E9 \u20AC \U0001F408"), "plain \u00E9 \u20AC \U0001F408");
  EXPECT_EQ(validUtf8("\xC0\xAF"), "\uFFFD\uFFFD");                      // longer than needed
  EXPECT_EQ(validUtf8("\xED\xA0\x80"), "\uFFFD\uFFFD\uFFFD");            // a surrogate
  EXPECT_EQ(validUtf8("\xF4\x90\x80\x80"), "\uFFFD\uFFFD\uFFFD\uFFFD");  // beyond the last
  EXPECT_EQ(validUtf8("a\xE2\x82"), "a\uFFFD\uFFFD");                    // cut short
  EXPECT_EQ(validUtf8("\xF4\x8F\xBF\xBF"), "\xF4\x8F\xBF\xBF");
}

}  // namespace
}  // namespace quorvin
