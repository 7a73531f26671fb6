// The client's codec beside the engine's.
#include <gtest/gtest.h>

#include <cmath>
#include <quorvin/client.hpp>
#include <variant>

#include "codec/standard_message_codec.h"
#include "codec/standard_method_codec.h"
#include "testing/engine/message_vectors.h"
#include "tests/codec/generated_value.h"

namespace quorvin {
namespace {

namespace qc = client;

constexpr int kValues = 10'000;
constexpr int kDepth = 4;

qc::Value clientValue(const Value& value);

struct ToClient {
  qc::Value operator()(Null) const { return {}; }
  qc::Value operator()(std::string_view text) const { return text; }
  qc::Value operator()(const LargeInteger& value) const {
    return qc::LargeInteger{value.hexadecimal};
  }
  qc::Value operator()(const ByteBuffer& buffer) const {
    return qc::Bytes(buffer.bytes().begin(), buffer.bytes().end());
  }
  qc::Value operator()(const List& list) const {
    qc::List converted;
    for (const Value& value : list) converted.push_back(clientValue(value));
    return converted;
  }
  qc::Value operator()(const Map& map) const {
    qc::Map converted;
    for (const auto& [key, value] : map) {
      converted.emplace_back(clientValue(key), clientValue(value));
    }
    return converted;
  }
  template <class Same>
  qc::Value operator()(const Same& value) const {
    return value;
  }
};

qc::Value clientValue(const Value& value) {
  return value.visit(ToClient());
}

/// No value has these bytes; every one that is cut short has none either.
void expectMalformed(const qc::Bytes& message) {
  EXPECT_THROW(qc::decodeMessage(message), qc::MalformedMessageError);
}

TEST(ClientCodec, EncodesAndDecodesTheVectorsOfValues) {
  for (const auto& [name, meaning, message] : valueVectors()) {
    const qc::Value value = clientValue(meaning);
    EXPECT_EQ(qc::encodeMessage(value), message) << name;
    // That which is no number differs from itself.
    EXPECT_EQ(qc::encodeMessage(qc::decodeMessage(message)), message) << name;
    const auto* number = value.as<double>();
    if (number == nullptr || !std::isnan(*number)) {
      EXPECT_EQ(qc::decodeMessage(message), value) << name;
    }
    qc::Bytes longer = message;
    longer.push_back(0);
    expectMalformed(longer);
  }
}

TEST(ClientCodec, RefusesVectorsThatAreCutShort) {
  for (const auto& [name, meaning, message] : valueVectors()) {
    const std::size_t step = message.size() > 1000 ? 997 : 1;
    for (std::size_t size = 0; size < message.size(); size += step) {
      const qc::BytesView part(message.data(), size);
      EXPECT_EQ(decodeMessage({message.data(), size}).has_value(),
                static_cast<bool>(qc::resultOf([&] { return qc::decodeMessage(part); })))
          << name << " of " << size;
    }
  }
}

TEST(ClientCodec, DecodesVectorsThatOthersWrite) {
  for (const auto& [name, meaning, message] : receivedValueVectors()) {
    EXPECT_EQ(qc::decodeMessage(message), clientValue(meaning)) << name;
  }
}

TEST(ClientCodec, EncodesAndDecodesTheVectorsOfCalls) {
  for (const auto& [name, meaning, message] : callVectors()) {
    const qc::Value arguments = clientValue(meaning.arguments);
    EXPECT_EQ(qc::encodeMethodCall({meaning.method, arguments}), message) << name;
    const qc::MethodCall call = qc::decodeMethodCall(message);
    EXPECT_EQ(call.method, meaning.method) << name;
    EXPECT_EQ(call.arguments, arguments) << name;
  }
}

TEST(ClientCodec, EncodesAndDecodesTheVectorsOfReplies) {
  for (const auto& [name, meaning, message] : successVectors()) {
    EXPECT_EQ(qc::encodeEnvelope(clientValue(meaning)), message) << name;
    EXPECT_EQ(qc::resultIn(message), clientValue(meaning)) << name;
  }
  auto errors = errorVectors();
  for (auto& received : receivedErrorVectors()) errors.push_back(received);
  for (const auto& [name, meaning, message] : errors) {
    const auto result = qc::resultOf([&message = message] { return qc::resultIn(message); });
    const auto* error = dynamic_cast<const qc::QuorvinError*>(result.error());
    ASSERT_NE(error, nullptr) << name;
    EXPECT_EQ(error->code(), meaning.code) << name;
    EXPECT_EQ(error->message(), meaning.message) << name;
    EXPECT_EQ(error->details(), clientValue(meaning.details)) << name;
  }
}

TEST(ClientCodec, WritesErrorsAsTheEngineDoes) {
  for (const auto& [name, meaning, message] : errorVectors()) {
    const qc::Value text = meaning.message.empty() ? qc::Value() : qc::Value(meaning.message);
    EXPECT_EQ(qc::encodeEnvelope(qc::ErrorReply{meaning.code, text, clientValue(meaning.details)}),
              message)
        << name;
  }
}

TEST(ClientCodec, WritesAndReadsManyValuesAsTheEngineDoes) {
  Dice dice(1);
  for (int i = 0; i < kValues; ++i) {
    const Value value = generatedValue(dice, kDepth);
    const qc::Bytes message = encodeMessage(value);
    ASSERT_EQ(qc::encodeMessage(clientValue(value)), message);
    ASSERT_EQ(qc::encodeMessage(qc::decodeMessage(message)), message);
  }
}

TEST(ClientCodec, RefusesDamagedMessagesAsTheEngineDoes) {
  Dice dice(2);
  int refused = 0;
  for (int i = 0; i < kValues; ++i) {
    qc::Bytes message = encodeMessage(generatedValue(dice, kDepth));
    if (dice() % 3 == 0) message.resize(dice() % (message.size() + 1));
    for (auto left = dice() % 4; left > 0 && !message.empty(); --left) {
      message[dice() % message.size()] = static_cast<std::uint8_t>(dice() >> dice() % 8 * 8);
    }
    const auto value = qc::resultOf([&] { return qc::decodeMessage(message); });
    const auto engines = decodeMessage(message);
    ASSERT_EQ(static_cast<bool>(value), engines.has_value());
    if (value) {
      ASSERT_EQ(qc::encodeMessage(*value), encodeMessage(*engines));
    }
    if (!value) ++refused;
  }
  EXPECT_GT(refused, 0);
  EXPECT_LT(refused, kValues);
}

TEST(ClientCodec, RefusesWhatCostsManyTimesItsSize) {
  constexpr std::uint32_t kLists = 4'000'000;
  qc::Bytes message = {12, 255};
  for (int shift = 0; shift < 32; shift += 8) {
    message.push_back(static_cast<std::uint8_t>(kLists >> shift));
  }
  message.resize(message.size() + kLists);
  expectMalformed(message);
  expectMalformed({12, 255, 255, 255, 255, 255, 0, 0});
  expectMalformed({13, 255, 255, 255, 255, 255, 0, 0});
}

TEST(ClientCodec, RefusesDeepNestingInBothDirections) {
  qc::Value value;
  for (int i = 0; i < qc::kMaximumNesting; ++i) value = qc::List{value};
  EXPECT_EQ(qc::decodeMessage(qc::encodeMessage(value)), value);
  EXPECT_THROW(qc::encodeMessage(qc::List{value}), qc::UnencodableValueError);
  qc::Bytes deep;
  for (int i = 0; i <= qc::kMaximumNesting; ++i) deep.insert(deep.end(), {12, 1});
  deep.push_back(0);
  expectMalformed(deep);
}

TEST(ClientCodec, RefusesValuesWithoutBytes) {
  EXPECT_THROW(qc::encodeMessage("\xff"), qc::UnencodableValueError);
  EXPECT_THROW(qc::encodeMessage("\xed\xa0\x80"), qc::UnencodableValueError);
  EXPECT_THROW(qc::encodeMessage(qc::LargeInteger{"-1"}), qc::UnencodableValueError);
  EXPECT_THROW(qc::encodeMessage(qc::LargeInteger{""}), qc::UnencodableValueError);
}

TEST(ClientCodec, TellsWhereAMessageGoesWrong) {
  const auto offsetOf = [](const qc::Bytes& message) {
    const auto value = qc::resultOf([&] { return qc::decodeMessage(message); });
    const auto* error = dynamic_cast<const qc::MalformedMessageError*>(value.error());
    return error == nullptr ? std::size_t{999} : error->offset();
  };
  EXPECT_EQ(offsetOf({}), 0u);
  EXPECT_EQ(offsetOf({15}), 0u);
  EXPECT_EQ(offsetOf({12, 2, 0, 15}), 3u);
  EXPECT_EQ(offsetOf({0, 0}), 1u);
}

TEST(ClientReplies, TellWhatShouldBeWhere) {
  const auto mistake = [](const qc::Value& reply) -> std::string {
    const auto read = qc::resultOf([&] {
      return qc::readList<qc::Gallery, qc::readGallery>(qc::Place("getGalleryList", reply));
    });
    return read ? "" : read.error()->what();
  };
  const qc::Map counts = {{"photoCount", 1}, {"videoCount", 0}, {"audioCount", 0}};
  const qc::Map gallery = {{"type", "user"}, {"id", "G"}, {"title", ""}, {"assetCount", counts}};
  EXPECT_EQ(mistake({}), "The reply to \"getGalleryList\" should be a list.");
  EXPECT_EQ(mistake(qc::List{gallery}),
            "The reply to \"getGalleryList\" at [0].assetCount.totalCount should be an integer.");
  EXPECT_EQ(mistake(qc::List{qc::Map{{"type", "own"}}}),
            "The reply to \"getGalleryList\" at [0].type should be one of smart, user.");
  EXPECT_EQ(mistake(qc::List{1}), "The reply to \"getGalleryList\" at [0] should be a map.");
}

}  // namespace
}  // namespace quorvin
