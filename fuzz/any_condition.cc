#include "fuzz/any_condition.h"

#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <utility>

namespace quorvin {
namespace {

using Kind = Condition::Kind;

struct Spelling {
  const char* text;
  std::string_view meaning;
};

constexpr Spelling kKeySpellings[] = {
    {"mediaType", "media_type"}, {"mediaSubtypes", "subtypes"}, {"pixelWidth", "width"},
    {"pixelHeight", "height"},   {"duration", "duration"},      {"isFavorite", "favorite"},
    {"favorite", "favorite"},    {"isHidden", "hidden"},        {"hidden", "hidden"}};

constexpr Spelling kComparisons[] = {{"=", "="},   {"==", "="},  {"!=", "<>"}, {"<>", "<>"},
                                     {"<", "<"},   {"<=", "<="}, {"=<", "<="}, {">", ">"},
                                     {">=", ">="}, {"=>", ">="}};

class Writer {
 public:
  Writer(FuzzedDataProvider& data, NSPredicate& predicate) : data_(data), predicate_(predicate) {}

  Condition disjunction(int depth) { return joined(Kind::disjunction, depth); }

 private:
  Condition joined(Kind kind, int depth) {
    std::vector<Condition> parts;
    const int size = data_.ConsumeIntegralInRange(1, depth == 0 ? 1 : 3);
    for (int i = 0; i < size; ++i) {
      if (i > 0) joint(kind);
      parts.push_back(kind == Kind::disjunction ? joined(Kind::conjunction, depth) : unary(depth));
    }
    if (parts.size() == 1) return std::move(parts.front());
    return {.kind = kind, .parts = std::move(parts)};
  }

  void joint(Kind kind) {
    constexpr const char* kOr[] = {"||", " || ", " OR ", " or ", "\tOr\t"};
    constexpr const char* kAnd[] = {"&&", " && ", " AND ", " and ", "\taNd "};
    add(kind == Kind::disjunction ? data_.PickValueInArray(kOr) : data_.PickValueInArray(kAnd));
  }

  Condition unary(int depth) {
    const int choice = depth == 0 ? 0 : data_.ConsumeIntegralInRange(0, 3);
    if (choice == 1) {
      constexpr const char* kNot[] = {"!", " NOT ", "! ", " not\t"};
      add(data_.PickValueInArray(kNot));
      return {.kind = Kind::negation, .parts = {unary(depth - 1)}};
    }
    if (choice == 2) {
      add("( ");
      Condition inner = disjunction(depth - 1);
      add(data_.ConsumeBool() ? ")" : " ) ");
      return inner;
    }
    return comparison();
  }

  Condition comparison() {
    const Spelling key = data_.PickValueInArray(kKeySpellings);
    const Spelling sign = data_.PickValueInArray(kComparisons);
    add(key.text);
    add(data_.ConsumeBool() ? " " : "");
    add(sign.text);
    add(data_.ConsumeBool() ? "\t " : "");
    return {.column = key.meaning, .op = sign.meaning, .value = number()};
  }

  std::int64_t number() {
    constexpr const char* kSigned[] = {"%d", "%i", "%ld", "%lld"};
    switch (data_.ConsumeIntegralInRange(0, 4)) {
      case 0:
        add(data_.PickValueInArray(kSigned));
        return argument();
      case 1:
        add("%u");
        return static_cast<std::uint32_t>(argument());
      case 2:
        return written(data_.ConsumeBool() ? std::numeric_limits<std::int64_t>::min()
                                           : std::numeric_limits<std::int64_t>::max());
      case 3:
        return written(data_.ConsumeIntegral<std::int64_t>());
      default:
        return written(data_.ConsumeIntegralInRange<std::int64_t>(-2, 20));
    }
  }

  std::int32_t argument() {
    return predicate_.arguments.emplace_back(data_.ConsumeBool()
                                                 ? data_.ConsumeIntegralInRange(-2, 20)
                                                 : data_.ConsumeIntegral<std::int32_t>());
  }

  std::int64_t written(std::int64_t value) {
    predicate_.format += std::to_string(value);
    return value;
  }

  void add(const char* text) { predicate_.format += text; }

  FuzzedDataProvider& data_;
  NSPredicate& predicate_;
};

}  // namespace

SpelledCondition anyCondition(FuzzedDataProvider& data) {
  SpelledCondition spelled;
  spelled.meaning = Writer(data, spelled.predicate).disjunction(3);
  // Arguments beyond the last place are of no account.
  if (data.ConsumeBool()) spelled.predicate.arguments.push_back(7);
  return spelled;
}

}  // namespace quorvin
