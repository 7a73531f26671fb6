#include "tool/serve/reading/frames.h"

#include <gtest/gtest.h>

#include <string>

namespace quorvin {
namespace {

std::vector<std::uint8_t> bytesOf(std::string_view text) {
  return {text.begin(), text.end()};
}

TEST(Frames, HaveTheNumberTheNameAndTheMessage) {
  const auto message = bytesOf("message");
  const auto bytes = frameOf({0x04030201, "quorvin", message});
  EXPECT_EQ(bytes, bytesOf("\x01\x02\x03\x04\x07quorvinmessage"));
  const auto frame = readFrame(bytes);
  ASSERT_TRUE(frame);
  EXPECT_EQ(frame->number, 0x04030201U);
  EXPECT_EQ(frame->channel, "quorvin");
  EXPECT_EQ(std::vector(frame->message.begin(), frame->message.end()), message);
}

TEST(Frames, MayHaveNeitherNameNorMessage) {
  const auto bytes = bytesOf(std::string_view("\xFF\xFF\xFF\xFF\0", 5));
  const auto frame = readFrame(bytes);
  ASSERT_TRUE(frame);
  EXPECT_EQ(frame->number, 0xFFFFFFFFU);
  EXPECT_EQ(frame->channel, "");
  EXPECT_TRUE(frame->message.empty());
}

TEST(Frames, AreNotReadFromTooFewBytes) {
  for (const std::string_view bytes : {"", "\1", "\1\1\1\1", "\1\1\1\1\1", "\1\1\1\1\3ab"}) {
    EXPECT_FALSE(readFrame(bytesOf(bytes))) << bytes.size();
  }
}

TEST(Frames, OfCallsHaveANumber) {
  EXPECT_FALSE(readFrame(bytesOf(std::string_view("\0\0\0\0\1a", 6))));
}

}  // namespace
}  // namespace quorvin
