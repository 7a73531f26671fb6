// A small parser by recursive descent: a disjunction is conjunctions, a conjunction is negations,
// and a negation holds a comparison or a disjunction in parentheses. Columns and operators of the
// result are constants of this file, so no text of a caller's ever becomes part of a statement.
#include "platform_linux/library/fetch/predicate.h"

#include <array>
#include <charconv>
#include <cstddef>
#include <string>
#include <utility>

#include "core/platform/foundation.h"

namespace quorvin {
namespace {

struct KeyColumn {
  std::string_view key;
  std::string_view column;
  bool isNumber;  // and never absent, so that it can be compared with one
};

constexpr std::array<KeyColumn, 14> kKeys = {{
    {"mediaType", "media_type", true},
    {"mediaSubtypes", "subtypes", true},
    {"pixelWidth", "width", true},
    {"pixelHeight", "height", true},
    {"duration", "duration", true},
    {"isFavorite", "favorite", true},
    {"favorite", "favorite", true},
    {"isHidden", "hidden", true},
    {"hidden", "hidden", true},
    {"SELF", "ident", false},
    {"localIdentifier", "ident", false},
    {"creationDate", "created_ns", false},
    {"modificationDate", "modified_ns", false},
    {"burstIdentifier", "burst_id", false},
}};

const KeyColumn* findKey(std::string_view key) {
  for (const KeyColumn& known : kKeys) {
    if (known.key == key) return &known;
  }
  return nullptr;
}

// Longer spellings come before those that they start with.
constexpr std::array<std::pair<std::string_view, std::string_view>, 10> kOperators = {{
    {"==", "="},
    {"=<", "<="},
    {"=>", ">="},
    {"!=", "<>"},
    {"<>", "<>"},
    {"<=", "<="},
    {">=", ">="},
    {"=", "="},
    {"<", "<"},
    {">", ">"},
}};

bool isWordCharacter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
}

char upper(char c) {
  return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

class Parser {
 public:
  explicit Parser(const NSPredicate& predicate) : predicate_(predicate), rest_(predicate.format) {}

  Condition parse() {
    Condition condition = disjunction();
    skipBlanks();
    if (!rest_.empty()) fail("something follows its end");
    return condition;
  }

 private:
  Condition disjunction() { return joined(Condition::Kind::disjunction, "||", "OR"); }
  Condition conjunction() { return joined(Condition::Kind::conjunction, "&&", "AND"); }

  Condition joined(Condition::Kind kind, std::string_view sign, std::string_view word) {
    std::vector<Condition> parts;
    do {
      parts.push_back(kind == Condition::Kind::disjunction ? conjunction() : unary());
    } while (takeSign(sign) || takeWord(word));
    if (parts.size() == 1) return std::move(parts.front());
    return {.kind = kind, .parts = std::move(parts)};
  }

  Condition unary() {
    if (takeWord("NOT") || takeSign("!")) {
      return {.kind = Condition::Kind::negation, .parts = {unary()}};
    }
    if (!takeSign("(")) return comparison();
    Condition inner = disjunction();
    if (!takeSign(")")) fail("a parenthesis is not closed");
    return inner;
  }

  Condition comparison() {
    const std::string_view key = takeKey();
    const KeyColumn* known = findKey(key);
    if (known == nullptr) fail("an asset has no key “" + std::string(key) + "”");
    if (!known->isNumber) fail("“" + std::string(key) + "” cannot be compared with a number");
    Condition condition;
    condition.column = known->column;
    for (const auto& [spelling, op] : kOperators) {
      if (takeSign(spelling)) {
        condition.op = op;
        break;
      }
    }
    if (condition.op.empty()) fail("a comparison sign is missing");
    condition.value = takeNumber();
    return condition;
  }

  std::string_view takeKey() {
    skipBlanks();
    std::size_t length = 0;
    while (length < rest_.size() && isWordCharacter(rest_[length])) ++length;
    if (length == 0) fail("a key is missing");
    return take(length);
  }

  std::int64_t takeNumber() {
    for (const std::string_view place : {"%d", "%i", "%ld", "%lld"}) {
      if (takeSign(place)) return nextArgument();
    }
    if (takeSign("%u")) return static_cast<std::uint32_t>(nextArgument());
    skipBlanks();
    std::int64_t number = 0;
    const auto [end, error] = std::from_chars(rest_.data(), rest_.data() + rest_.size(), number);
    if (error != std::errc()) fail("a whole number is missing");
    take(static_cast<std::size_t>(end - rest_.data()));
    return number;
  }

  std::int32_t nextArgument() {
    if (argument_ >= predicate_.arguments.size()) fail("it has too few arguments");
    return predicate_.arguments[argument_++];
  }

  bool takeSign(std::string_view sign) {
    skipBlanks();
    if (!rest_.starts_with(sign)) return false;
    take(sign.size());
    return true;
  }

  bool takeWord(std::string_view word) {
    skipBlanks();
    if (rest_.size() < word.size()) return false;
    for (std::size_t i = 0; i < word.size(); ++i) {
      if (upper(rest_[i]) != word[i]) return false;
    }
    if (rest_.size() > word.size() && isWordCharacter(rest_[word.size()])) return false;
    take(word.size());
    return true;
  }

  void skipBlanks() {
    while (!rest_.empty() && (rest_.front() == ' ' || rest_.front() == '\t')) take(1);
  }

  std::string_view take(std::size_t length) {
    const std::string_view taken = rest_.substr(0, length);
    rest_.remove_prefix(length);
    return taken;
  }

  [[noreturn]] void fail(const std::string& why) const {
    fatalError("The predicate “" + predicate_.format + "” is wrong: " + why);
  }

  const NSPredicate& predicate_;
  std::string_view rest_;
  std::size_t argument_ = 0;
};

}  // namespace

Condition parsePredicate(const NSPredicate& predicate) {
  return Parser(predicate).parse();
}

std::string_view sortColumn(std::string_view key) {
  const KeyColumn* known = findKey(key);
  if (known == nullptr) fatalError("Assets cannot be sorted by “" + std::string(key) + "”");
  return known->column;
}

}  // namespace quorvin
