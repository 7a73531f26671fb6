#include "codec/standard_method_codec.h"

#include <gtest/gtest.h>

#include <numeric>
#include <string>
#include <utility>

#include "testing/engine/message_vectors.h"

namespace quorvin {
namespace {

using Bytes = std::vector<std::uint8_t>;
using Envelope = std::variant<Value, FlutterError>;

void expectCall(const std::optional<FlutterMethodCall>& call, const FlutterMethodCall& expected,
                std::string_view name) {
  ASSERT_TRUE(call) << name;
  EXPECT_EQ(call->method, expected.method) << name;
  EXPECT_EQ(call->arguments, expected.arguments) << name;
}

template <class Meaning, class Decode>
void expectEveryTruncationRefused(const MessageVector<Meaning>& vector, Decode decode) {
  for (std::size_t size = 0; size < vector.message.size(); ++size) {
    const Bytes part(vector.message.begin(),
                     vector.message.begin() + static_cast<std::ptrdiff_t>(size));
    EXPECT_FALSE(decode(part)) << vector.name << " cut to " << size;
  }
}

TEST(StandardMethodCodec, WritesEveryVector) {
  for (const auto& [name, call, message] : callVectors()) {
    EXPECT_EQ(encodeMethodCall(call), message) << name;
  }
  for (const auto& [name, result, message] : successVectors()) {
    EXPECT_EQ(encodeSuccessEnvelope(result), message) << name;
    EXPECT_EQ(takeSuccessEnvelope(result), ByteBuffer(message)) << name;
  }
  for (const auto& [name, error, message] : errorVectors()) {
    EXPECT_EQ(encodeErrorEnvelope(error), message) << name;
  }
}

/// Bytes with room in front, and where they lie.
std::pair<ByteBuffer, const std::uint8_t*> roomyBuffer(std::size_t size) {
  std::uint8_t* filling = nullptr;
  auto buffer = ByteBuffer::allocate(size, filling);
  EXPECT_TRUE(buffer);
  std::iota(filling, filling + size, std::uint8_t{0});
  return {*std::move(buffer), filling};
}

TEST(StandardMethodCodec, MakesAMessageAroundBytesThatNobodyElseHolds) {
  for (const std::size_t size : {0, 1, 253, 254, 65535, 65536, 100'000}) {
    auto [buffer, bytes] = roomyBuffer(size);
    const Bytes copied = encodeSuccessEnvelope(buffer);
    const ByteBuffer message = takeSuccessEnvelope(std::move(buffer));
    EXPECT_EQ(message, ByteBuffer(copied)) << size;
    EXPECT_EQ(message.data() + message.size(), bytes + size) << size;
  }
}

TEST(StandardMethodCodec, CopiesBytesThatSomebodyElseHolds) {
  auto [buffer, bytes] = roomyBuffer(300);
  const ByteBuffer copy = buffer;
  const ByteBuffer message = takeSuccessEnvelope(std::move(buffer));
  EXPECT_EQ(message, ByteBuffer(encodeSuccessEnvelope(copy)));
  EXPECT_NE(message.data() + message.size(), bytes + 300);
}

TEST(StandardMethodCodec, ReadsEveryVector) {
  for (const auto& [name, call, message] : callVectors()) {
    expectCall(decodeMethodCall(message), call, name);
  }
  for (const auto& [name, result, message] : successVectors()) {
    EXPECT_EQ(decodeEnvelope(message), Envelope(result)) << name;
  }
  for (const auto& [name, error, message] : errorVectors()) {
    EXPECT_EQ(decodeEnvelope(message), Envelope(error)) << name;
  }
}

TEST(StandardMethodCodec, PassesOverAStackTrace) {
  for (const auto& [name, error, message] : receivedErrorVectors()) {
    EXPECT_EQ(decodeEnvelope(message), Envelope(error)) << name;
  }
}

TEST(StandardMethodCodec, RefusesEveryTruncation) {
  for (const auto& vector : callVectors()) expectEveryTruncationRefused(vector, decodeMethodCall);
  for (const auto& vector : successVectors()) expectEveryTruncationRefused(vector, decodeEnvelope);
  for (const auto& vector : errorVectors()) expectEveryTruncationRefused(vector, decodeEnvelope);
}

TEST(StandardMethodCodec, RefusesTrailingBytes) {
  for (auto [name, call, message] : callVectors()) {
    message.push_back(0);
    EXPECT_FALSE(decodeMethodCall(message)) << name;
  }
  for (auto [name, result, message] : successVectors()) {
    message.push_back(0);
    EXPECT_FALSE(decodeEnvelope(message)) << name;
  }
  for (auto [name, error, message] : receivedErrorVectors()) {
    message.push_back(0);
    EXPECT_FALSE(decodeEnvelope(message)) << name;
  }
}

TEST(StandardMethodCodec, RefusesAMethodThatIsNoText) {
  EXPECT_FALSE(decodeMethodCall(fromHexadecimal("030100000000")));
  EXPECT_FALSE(decodeMethodCall(fromHexadecimal("0000")));
  EXPECT_FALSE(decodeMethodCall(fromHexadecimal("08016100")));
  EXPECT_FALSE(decodeMethodCall(fromHexadecimal("07016180")));
}

TEST(StandardMethodCodec, RefusesEnvelopesOfTheWrongShape) {
  EXPECT_FALSE(decodeEnvelope({}));
  EXPECT_FALSE(decodeEnvelope(fromHexadecimal("0200")));              // no such envelope
  EXPECT_FALSE(decodeEnvelope(fromHexadecimal("01000000")));          // code null
  EXPECT_FALSE(decodeEnvelope(fromHexadecimal("0107014501000000")));  // message true
  EXPECT_FALSE(
      decodeEnvelope(fromHexadecimal("010701450701"
                                     "6d"
                                     "0001")));  // trace true
}

}  // namespace
}  // namespace quorvin
