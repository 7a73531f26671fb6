#include "tests/codec/generated_value.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <utility>
#include <vector>

namespace quorvin {
namespace {

std::uint64_t below(Dice& dice, std::uint64_t limit) {
  return dice() % limit;
}

/// Mostly short, sometimes around the sizes where another form of a size begins.
std::size_t generatedSize(Dice& dice) {
  const std::uint64_t kind = below(dice, 4000);
  if (kind == 0) return 65530 + below(dice, 12);
  if (kind <= 40) return 250 + below(dice, 10);
  return below(dice, 12);
}

/// Of any number of bits.
std::int64_t generatedInteger(Dice& dice) {
  const std::uint64_t bits = dice() >> below(dice, 64);
  return std::bit_cast<std::int64_t>(below(dice, 2) == 0 ? bits : ~bits);
}

double generatedDouble(Dice& dice) {
  constexpr double kOdd[] = {0.0,   -0.0,  1.0,    -1.0,
                             256.0, 1e300, 5e-324, std::numeric_limits<double>::infinity(),
                             -1.5,  0.1,   1e9,    std::numeric_limits<double>::quiet_NaN()};
  if (below(dice, 3) == 0) return kOdd[below(dice, std::size(kOdd))];
  const auto number = std::bit_cast<double>(dice());
  // Of those that are no number every language keeps one alone.
  return std::isnan(number) ? 0.0 : number;
}

float generatedFloat(Dice& dice) {
  return static_cast<float>(static_cast<std::int32_t>(dice())) / 1024;
}

std::string generatedText(Dice& dice) {
  std::string text;
  for (std::size_t left = generatedSize(dice); left > 0; --left) {
    constexpr const char* kOthers[] = {"\u0080", "\u00e9", "\u07ff", "\u263a",     "\ud7ff",
                                       "\ue000", "\ufeff", "\uffff", "\U0001F602", "\U0010ffff"};
    if (below(dice, 4) == 0) {
      text += kOthers[below(dice, std::size(kOthers))];
    } else {
      text += static_cast<char>(below(dice, 128));
    }
  }
  return text;
}

template <class Number>
std::vector<Number> generatedNumbers(Dice& dice, Number (*generated)(Dice&)) {
  std::vector<Number> numbers(generatedSize(dice));
  std::ranges::generate(numbers, [&] { return generated(dice); });
  return numbers;
}

Value generatedFlatValue(Dice& dice) {
  switch (below(dice, 12)) {
    case 0:
      return {};
    case 1:
      return below(dice, 2) == 0;
    case 2:
    case 3:
      return generatedInteger(dice);
    case 4:
      return generatedDouble(dice);
    case 5:
      return LargeInteger{std::to_string(dice()) + "abcdefABCDEF"};
    case 6:
      return ByteBuffer(generatedNumbers<std::uint8_t>(
          dice, [](Dice& d) { return static_cast<std::uint8_t>(d()); }));
    case 7:
      return generatedNumbers<std::int32_t>(dice,
                                            [](Dice& d) { return static_cast<std::int32_t>(d()); });
    case 8:
      return generatedNumbers<std::int64_t>(dice, generatedInteger);
    case 9:
      return generatedNumbers<float>(dice, generatedFloat);
    case 10:
      return generatedNumbers<double>(dice, generatedDouble);
    default:
      return generatedText(dice);
  }
}

/// Few elements mostly, so that values stay of a size in which many are compared.
std::size_t generatedCount(Dice& dice) {
  return below(dice, 100) == 0 ? 250 + below(dice, 10) : below(dice, 6);
}

List generatedList(Dice& dice, int depth) {
  List list(generatedCount(dice));
  // Of long ones all elements are small.
  const int left = list.size() > 10 ? 0 : depth - 1;
  for (Value& value : list) {
    value = list.size() > 10 ? Value(generatedInteger(dice)) : generatedValue(dice, left);
  }
  return list;
}

Map generatedMap(Dice& dice, int depth) {
  Map map;
  for (std::size_t left = generatedCount(dice); left > 0; --left) {
    Value key = left > 10 ? Value(generatedInteger(dice)) : generatedValue(dice, depth - 1);
    if (key.as<double>() != nullptr) key = Value("key " + std::to_string(left));
    const auto isKey = [&key](const auto& pair) { return pair.first == key; };
    if (std::ranges::any_of(map, isKey)) continue;
    map.emplace_back(std::move(key), generatedValue(dice, left > 10 ? 0 : depth - 1));
  }
  return map;
}

}  // namespace

Value generatedValue(Dice& dice, int depth) {
  if (depth <= 0) return generatedFlatValue(dice);
  switch (below(dice, 5)) {
    case 0:
      return generatedList(dice, depth);
    case 1:
      return generatedMap(dice, depth);
    default:
      return generatedFlatValue(dice);
  }
}

}  // namespace quorvin
