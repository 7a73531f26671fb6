// The codec's other side for a client in another language:
//   codec_values vectors               the short vectors of the codec's own tests, as JSON
//   codec_values generate SEED COUNT   values with their messages, a line of JSON each
//   codec_values reread                for each message on standard input, in hexadecimal digits,
//                                      what its value is encoded to, or "malformed"
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <span>
#include <string>
#include <string_view>

#include "codec/standard_message_codec.h"
#include "testing/engine/message_vectors.h"
#include "tests/codec/described_value.h"
#include "tests/codec/generated_value.h"

namespace quorvin {
namespace {

using Json = nlohmann::ordered_json;

constexpr int kDepth = 4;
/// Longer ones are many values of one kind.
constexpr std::size_t kLongestVector = 1000;

Json describedCall(const FlutterMethodCall& call) {
  return {{"method", call.method}, {"arguments", described(call.arguments)}};
}

Json describedError(const FlutterError& error) {
  const Json message = error.message.empty() ? Json() : Json(error.message);
  return {{"code", error.code}, {"message", message}, {"details", described(error.details)}};
}

template <class Meaning>
Json describedVectors(const std::vector<MessageVector<Meaning>>& vectors,
                      Json (*describe)(const Meaning&)) {
  Json list = Json::array();
  for (const auto& [name, meaning, message] : vectors) {
    if (message.size() > kLongestVector) continue;
    list.push_back(
        {{"name", name}, {"meaning", describe(meaning)}, {"message", hexadecimal(message)}});
  }
  return list;
}

void printVectors() {
  const Json vectors = {
      {"values", describedVectors(valueVectors(), described)},
      {"receivedValues", describedVectors(receivedValueVectors(), described)},
      {"calls", describedVectors(callVectors(), describedCall)},
      {"successes", describedVectors(successVectors(), described)},
      {"errors", describedVectors(errorVectors(), describedError)},
      {"receivedErrors", describedVectors(receivedErrorVectors(), describedError)}};
  std::cout << vectors.dump(1) << '\n';
}

void generate(std::uint64_t seed, std::uint64_t count) {
  Dice dice(seed);
  for (; count > 0; --count) {
    const Value value = generatedValue(dice, kDepth);
    const Json line = {{"value", described(value)}, {"message", hexadecimal(encodeMessage(value))}};
    std::cout << line.dump() << '\n';
  }
}

void reread() {
  for (std::string line; std::getline(std::cin, line);) {
    const auto value = decodeMessage(fromHexadecimal(line));
    std::cout << (value ? hexadecimal(encodeMessage(*value)) : "malformed") << '\n';
  }
}

bool readNumber(std::string_view text, std::uint64_t& number) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() && end == text.data() + text.size();
}

int run(std::span<char*> arguments) {
  const std::string_view command = arguments.empty() ? "" : arguments[0];
  std::uint64_t seed = 0;
  std::uint64_t count = 0;
  if (command == "vectors" && arguments.size() == 1) {
    printVectors();
  } else if (command == "generate" && arguments.size() == 3 && readNumber(arguments[1], seed) &&
             readNumber(arguments[2], count)) {
    generate(seed, count);
  } else if (command == "reread" && arguments.size() == 1) {
    reread();
  } else {
    std::fputs("codec_values: say vectors, generate SEED COUNT, or reread\n", stderr);
    return 2;
  }
  return std::cout.flush() ? EXIT_SUCCESS : EXIT_FAILURE;
}

}  // namespace
}  // namespace quorvin

int main(int argc, char** argv) {
  std::ios::sync_with_stdio(false);
  return quorvin::run(std::span(argv, static_cast<std::size_t>(argc)).subspan(1));
}
