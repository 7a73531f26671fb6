#include "tool/serve/reading/session_token.h"

#include <gtest/gtest.h>

namespace quorvin {
namespace {

TEST(SessionToken, IsLongAndAnotherEachTime) {
  const auto one = SessionToken::make();
  const auto other = SessionToken::make();
  ASSERT_TRUE(one && other);
  EXPECT_EQ(one->text().size(), 64U);
  EXPECT_EQ(one->text().find_first_not_of("0123456789abcdef"), std::string::npos);
  EXPECT_NE(one->text(), other->text());
}

TEST(SessionToken, MatchesItselfAlone) {
  const auto token = SessionToken::make();
  ASSERT_TRUE(token);
  EXPECT_TRUE(token->matches(token->text()));
  EXPECT_FALSE(token->matches(""));
  EXPECT_FALSE(token->matches(token->text() + "0"));
  EXPECT_FALSE(token->matches(token->text().substr(1)));
  for (std::size_t i = 0; i < token->text().size(); ++i) {
    std::string wrong = token->text();
    wrong[i] = wrong[i] == '0' ? '1' : '0';
    EXPECT_FALSE(token->matches(wrong)) << i;
  }
}

TEST(Cookies, AreFoundByTheirWholeNames) {
  const std::string header = "xquorvin-80=1; quorvin-8=2;quorvin-80=3 ; other=quorvin-80=4";
  EXPECT_EQ(cookieName(80), "quorvin-80");
  EXPECT_EQ(cookieValue(header, "quorvin-80"), "3");
  EXPECT_EQ(cookieValue(header, "quorvin-8"), "2");
  EXPECT_EQ(cookieValue(header, "other"), "quorvin-80=4");
  EXPECT_EQ(cookieValue(header, "quorvin"), "");
  EXPECT_EQ(cookieValue("", "quorvin-80"), "");
  EXPECT_EQ(cookieValue(";;=; ;quorvin-80", "quorvin-80"), "");
}

}  // namespace
}  // namespace quorvin
