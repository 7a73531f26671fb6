#include "codec/standard_message_codec.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <string>

#include "codec/message_reader.h"
#include "testing/engine/message_vectors.h"

namespace quorvin {
namespace {

using Bytes = std::vector<std::uint8_t>;

std::optional<Value> decodeDigits(std::string_view digits) {
  return decodeMessage(fromHexadecimal(digits));
}

std::optional<Value> decodeText(std::string_view characters) {
  Bytes message{7, static_cast<std::uint8_t>(characters.size())};
  message.insert(message.end(), characters.begin(), characters.end());
  return decodeMessage(message);
}

Bytes nested(std::uint8_t type, int levels) {
  Bytes message;
  for (int i = 0; i < levels; ++i) {
    message.push_back(type);
    message.push_back(1);
    if (type == 13) message.push_back(0);  // the key
  }
  message.push_back(0);
  return message;
}

TEST(StandardMessageCodec, WritesEveryVector) {
  for (const auto& [name, value, message] : valueVectors()) {
    EXPECT_EQ(encodeMessage(value), message) << name;
  }
}

TEST(StandardMessageCodec, ReadsEveryVector) {
  for (const auto& [name, value, message] : valueVectors()) {
    EXPECT_EQ(decodeMessage(message), value) << name;
  }
}

TEST(StandardMessageCodec, ReadsWhatOnlyOthersWrite) {
  for (const auto& [name, value, message] : receivedValueVectors()) {
    EXPECT_EQ(decodeMessage(message), value) << name;
  }
}

TEST(StandardMessageCodec, CarriesNotANumberAndTheSignOfZero) {
  const Bytes quiet = fromHexadecimal("0600000000000000000000000000f87f");
  const auto decoded = decodeMessage(quiet);
  ASSERT_TRUE(decoded && decoded->as<double>());
  EXPECT_TRUE(std::isnan(*decoded->as<double>()));
  EXPECT_EQ(encodeMessage(*decoded), quiet);

  const auto zero = decodeDigits("06000000000000000000000000000080");
  ASSERT_TRUE(zero && zero->as<double>());
  EXPECT_TRUE(std::signbit(*zero->as<double>()));
}

TEST(StandardMessageCodec, LeavesRoomBehindALargeValueSoThatItIsCopiedOnce) {
  const Value reply(List{"a", ByteBuffer(Bytes(3'500'000, 9)), Map{{"b", 2.0}}});
  const Bytes message = encodeMessage(reply);
  EXPECT_LE(message.capacity(), message.size() + 4096);
  EXPECT_EQ(decodeMessage(message), reply);
}

TEST(StandardMessageCodec, WritesValuesOfEverySizeAroundItsChunk) {
  for (std::size_t size = 2000; size < 2100; ++size) {
    const Value value(List{std::string(size, 'x'), 1.5, std::string(size, 'y'), true});
    ASSERT_EQ(decodeMessage(encodeMessage(value)), value) << size;
  }
}

TEST(StandardMessageCodec, RefusesEveryTruncation) {
  for (const auto& [name, value, whole] : valueVectors()) {
    // An empty list of numbers may end in front of its padding; then it is whole all the same.
    const bool mayLackPadding = whole.size() > 1 && whole[0] == 9 && whole[1] == 0;
    const std::size_t step = whole.size() > 1000 ? 997 : 1;
    for (std::size_t size = 0; size < whole.size(); size += step) {
      // A copy of its own size, so that a sanitizer sees a read past the end.
      const Bytes part(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
      const auto decoded = decodeMessage(part);
      if (mayLackPadding && size == 2) {
        EXPECT_EQ(decoded, value);
      } else {
        EXPECT_EQ(decoded, std::nullopt) << name << " cut to " << size;
      }
    }
  }
}

TEST(StandardMessageCodec, RefusesTrailingBytes) {
  for (const auto& [name, value, whole] : valueVectors()) {
    Bytes longer = whole;
    longer.push_back(0);
    EXPECT_EQ(decodeMessage(longer), std::nullopt) << name;
  }
}

TEST(StandardMessageCodec, SurvivesEveryChangeOfOneByte) {
  for (const auto& [name, value, whole] : valueVectors()) {
    if (whole.size() > 100) continue;  // many values of one kind: nothing new
    for (std::size_t at = 0; at < whole.size(); ++at) {
      for (int byte = 0; byte < 256; ++byte) {
        Bytes changed = whole;
        changed[at] = static_cast<std::uint8_t>(byte);
        const auto decoded = decodeMessage(changed);
        if (!decoded) continue;
        // Whatever is accepted is a value that can be sent on.
        const Bytes again = encodeMessage(*decoded);
        const auto read = decodeMessage(again);
        ASSERT_TRUE(read) << name << ", byte " << at << " set to " << byte;
        ASSERT_EQ(encodeMessage(*read), again) << name << ", byte " << at << " set to " << byte;
      }
    }
  }
}

TEST(StandardMessageCodec, RefusesUnknownTypes) {
  for (int type = 15; type < 256; ++type) {
    Bytes message(32, 0);
    message[0] = static_cast<std::uint8_t>(type);
    EXPECT_EQ(decodeMessage(message), std::nullopt) << type;
    EXPECT_EQ(decodeMessage(Bytes{static_cast<std::uint8_t>(type)}), std::nullopt) << type;
  }
}

TEST(StandardMessageCodec, RefusesSizesBeyondTheEnd) {
  for (const char* type : {"05", "07", "08", "09", "0a", "0b", "0c", "0d", "0e"}) {
    for (const char* rest : {"0930", "fdff", "feffff00", "ffffffffff00", "ff0000008000",
                             "ff0000004000", "ff0000002000000000000000"}) {
      EXPECT_EQ(decodeDigits(std::string(type) + rest), std::nullopt) << type << rest;
    }
  }
}

TEST(StandardMessageCodec, BoundsWhatNestedListsMayClaimTogether) {
  // Each list claims all bytes behind it. Only the first could be right, so nothing more is
  // reserved: otherwise 200 times the message's size would be.
  Bytes message;
  constexpr std::uint32_t kSize = 8 << 20;
  for (int i = 0; i < 200; ++i) {
    const std::uint32_t claimed = kSize - 6 * static_cast<std::uint32_t>(i + 1);
    message.insert(message.end(), {12, 255});
    for (int shift = 0; shift < 32; shift += 8) {
      message.push_back(static_cast<std::uint8_t>(claimed >> shift));
    }
  }
  message.resize(kSize);
  EXPECT_EQ(decodeMessage(message), std::nullopt);
}

/// A list of `count` nulls, as a message.
Bytes nulls(std::uint32_t count) {
  Bytes message{12, 255, 0, 0, 0, 0};
  std::memcpy(message.data() + 2, &count, sizeof count);
  message.resize(message.size() + count);
  return message;
}

TEST(StandardMessageCodec, TakesALongListOfSmallValues) {
  const auto value = decodeMessage(nulls(300'000));
  ASSERT_TRUE(value);
  EXPECT_EQ(value->as<List>()->size(), 300'000u);
}

TEST(StandardMessageCodec, RefusesAListThatTakesManyTimesItsMessage) {
  const std::size_t most = MessageReader::kFreeCost / (sizeof(Value) - MessageReader::kCostPerByte);
  EXPECT_TRUE(decodeMessage(nulls(static_cast<std::uint32_t>(most))));
  EXPECT_FALSE(decodeMessage(nulls(static_cast<std::uint32_t>(most + 100))));
  EXPECT_FALSE(decodeMessage(nulls(20'000'000)));
}

TEST(StandardMessageCodec, CountsWhatAllListsOfAMessageTakeTogether) {
  Bytes message{12, 40};
  const Bytes part = nulls(100'000);  // each alone is well within the bound
  for (int i = 0; i < 40; ++i) message.insert(message.end(), part.begin(), part.end());
  EXPECT_FALSE(decodeMessage(message));
}

TEST(StandardMessageCodec, RefusesAMapThatTakesManyTimesItsMessage) {
  Bytes message = nulls(10'000'000);
  message[0] = 13;
  const std::uint32_t pairs = 5'000'000;
  std::memcpy(message.data() + 2, &pairs, sizeof pairs);
  EXPECT_FALSE(decodeMessage(message));
}

TEST(StandardMessageCodec, RefusesSmallListsThatTakeManyTimesTheirMessage) {
  const auto emptyLists = [](std::uint32_t count) {
    Bytes message = nulls(count);
    message.resize(6);
    for (std::uint32_t i = 0; i < count; ++i) message.insert(message.end(), {12, 0});
    return message;
  };
  EXPECT_TRUE(decodeMessage(emptyLists(300'000)));
  EXPECT_FALSE(decodeMessage(emptyLists(400'000)));
}

Map record(const std::string& id, int number) {
  return Map{{"id", id}, {"a key longer than most", number}, {std::string(300, 'k'), id}};
}

TEST(StandardMessageCodec, RecordsOfTheSameKeysKeepTheirOwnValues) {
  const Value records(List{record("first", 1), record("second", 2), record("third", 3)});
  EXPECT_EQ(decodeMessage(encodeMessage(records)), records);
}

TEST(StandardMessageCodec, RecordsMayDifferInTheirKeys) {
  Map longer = record("longer", 2);
  longer.emplace_back("more", true);
  Map renamed = record("renamed", 3);
  renamed[1].first = "a key longer than mosT";
  Map numbered = record("numbered", 4);
  numbered[0].first = 7;
  const Value records(List{record("first", 1), longer, renamed, Map{}, numbered, "no record",
                           record("after", 5), List{record("inner", 6)}, Map{{"i", 7}}});
  EXPECT_EQ(decodeMessage(encodeMessage(records)), records);
}

TEST(StandardMessageCodec, AKeyLikeTheOneBeforeMustBeWhole) {
  const Bytes message = encodeMessage(List{Map{{"key", Null{}}}, Map{{"key", Null{}}}});
  for (std::size_t size = 0; size < message.size(); ++size) {
    EXPECT_FALSE(decodeMessage(std::span(message).first(size))) << size;
  }
}

TEST(StandardMessageCodec, TakesTheDeepestNestingAndRefusesOneMore) {
  for (const std::uint8_t type : {std::uint8_t{12}, std::uint8_t{13}}) {
    EXPECT_TRUE(decodeMessage(nested(type, MessageReader::kMaximumNesting)));
    EXPECT_FALSE(decodeMessage(nested(type, MessageReader::kMaximumNesting + 1)));
    EXPECT_FALSE(decodeMessage(nested(type, 1'000'000)));
  }
}

TEST(StandardMessageCodec, CountsNestingAndNotLists) {
  const Value wide(List(10'000, Value(List{List{}})));
  EXPECT_EQ(decodeMessage(encodeMessage(wide)), wide);
}

TEST(StandardMessageCodec, RefusesTextThatIsNotUtf8) {
  for (const std::string_view text : {"\x80",
                                      "\xBF",
                                      "\xC3",
                                      "\xC3(",
                                      "\xC0\x80",
                                      "\xC1\xBF",
                                      "\xE0\x80\x80",
                                      "\xE0\x9F\xBF",
                                      "\xED\xA0\x80",
                                      "\xED\xBF\xBF",
                                      "\xE2\x98",
                                      "\xE2(\xBA",
                                      "\xE2\x98(",
                                      "\xF0\x80\x80\x80",
                                      "\xF0\x8F\xBF\xBF",
                                      "\xF4\x90\x80\x80",
                                      "\xF5\x80\x80\x80",
                                      "\xF0\x9F\x98",
                                      "\xFE",
                                      "\xFF",
                                      "eight ok\xFF",
                                      "eight ok and more\xC3"}) {
    EXPECT_EQ(decodeText(text), std::nullopt) << text;
  }
}

TEST(StandardMessageCodec, TakesTheFirstAndLastCharacterOfEveryLength) {
  for (const std::string_view text :
       {"\x7F", "\u0080", "\u07FF", "\u0800", "\uD7FF", "\uE000", "\uFFFF", "\U00010000",
        "\U0010FFFF", "eight ok\u00E9 and eight more \U0001F602"}) {
    EXPECT_EQ(decodeText(text), Value(std::string(text))) << text;
  }
}

TEST(StandardMessageCodec, RefusesLargeIntegersThatAreNotHexadecimal) {
  EXPECT_EQ(decodeDigits("05026631"), Value(LargeInteger{"f1"}));
  EXPECT_EQ(decodeDigits("0500"), std::nullopt);
  EXPECT_EQ(decodeDigits("05026731"), std::nullopt);    // g1
  EXPECT_EQ(decodeDigits("05022d31"), std::nullopt);    // -1
  EXPECT_EQ(decodeDigits("0503307831"), std::nullopt);  // 0x1
}

}  // namespace
}  // namespace quorvin
