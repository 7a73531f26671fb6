#include "tool/json.h"

#include <array>
#include <charconv>
#include <limits>
#include <utility>
#include <variant>
#include <vector>

namespace quorvin {
namespace {

using nlohmann::json;
using nlohmann::ordered_json;

constexpr std::size_t kDepthLimit = 64;

/// Builds a value from the parser's events.
class ValueBuilder : public nlohmann::json_sax<json> {
 public:
  Value take() { return std::move(root_); }
  const std::string& error() const { return error_; }

  bool null() override { return add({}); }
  bool boolean(bool value) override { return add(value); }
  bool number_integer(number_integer_t value) override { return add(std::int64_t{value}); }
  bool number_unsigned(number_unsigned_t value) override {
    if (value <= std::uint64_t{std::numeric_limits<std::int64_t>::max()}) {
      return add(static_cast<std::int64_t>(value));
    }
    std::array<char, 16> digits{};
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value, 16).ptr;
    return add(LargeInteger{std::string(digits.data(), end)});
  }
  bool number_float(number_float_t value, const string_t& text) override {
    if (text.find_first_of(".eE") == string_t::npos) return fail("an integer is beyond 64 bits");
    return add(value);
  }
  bool string(string_t& value) override { return add(std::move(value)); }
  bool binary(binary_t&) override { return fail("JSON holds no bytes"); }

  bool start_object(std::size_t) override { return open(Map{}); }
  bool key(string_t& value) override {
    open_.back().key = std::move(value);
    return true;
  }
  bool end_object() override { return close(); }
  bool start_array(std::size_t) override { return open(List{}); }
  bool end_array() override { return close(); }

  bool parse_error(std::size_t position, const std::string&,
                   const nlohmann::detail::exception&) override {
    return fail("no JSON at character " + std::to_string(position));
  }

 private:
  struct Container {
    std::variant<List, Map> elements;
    std::string key;
  };

  bool fail(std::string error) {
    error_ = std::move(error);
    return false;
  }

  bool add(Value value) {
    if (open_.empty()) {
      root_ = std::move(value);
    } else if (auto* list = std::get_if<List>(&open_.back().elements)) {
      list->push_back(std::move(value));
    } else {
      std::get<Map>(open_.back().elements)
          .emplace_back(std::move(open_.back().key), std::move(value));
    }
    return true;
  }

  bool open(std::variant<List, Map> elements) {
    if (open_.size() == kDepthLimit) return fail("too deeply nested");
    open_.push_back({std::move(elements), {}});
    return true;
  }

  bool close() {
    auto elements = std::move(open_.back().elements);
    open_.pop_back();
    return add(std::visit([](auto& closed) { return Value(std::move(closed)); }, elements));
  }

  Value root_;
  std::vector<Container> open_;
  std::string error_;
};

std::string keyText(const Value& key) {
  return key.isText() ? std::string(key.text()) : textOf(jsonFromValue(key));
}

struct ToJson {
  ordered_json operator()(Null) const { return nullptr; }
  ordered_json operator()(const LargeInteger& value) const { return value.hexadecimal; }
  ordered_json operator()(const ByteBuffer& value) const { return {{"bytes", value.size()}}; }
  ordered_json operator()(const List& values) const {
    auto array = ordered_json::array();
    for (const Value& value : values) array.push_back(jsonFromValue(value));
    return array;
  }
  ordered_json operator()(const Map& map) const {
    auto object = ordered_json::object();
    for (const auto& [key, value] : map) object[keyText(key)] = jsonFromValue(value);
    return object;
  }
  /// Booleans, numbers, texts and lists of numbers.
  template <class T>
  ordered_json operator()(const T& value) const {
    return value;
  }
};

}  // namespace

std::optional<Value> valueFromJson(std::string_view text, std::string& error) {
  ValueBuilder builder;
  if (!json::sax_parse(text, &builder)) {
    error = builder.error();
    return std::nullopt;
  }
  return builder.take();
}

ordered_json jsonFromValue(const Value& value) {
  return value.visit(ToJson{});
}

std::string textOf(const ordered_json& json, int indent) {
  const std::string plain = json.dump(indent, ' ', false, ordered_json::error_handler_t::replace);
  std::string text;
  text.reserve(plain.size());
  // JSON lets U+007F to U+009F stand in texts as they are.
  for (std::size_t i = 0; i < plain.size(); ++i) {
    const auto next = static_cast<unsigned char>(i + 1 < plain.size() ? plain[i + 1] : 0);
    if (plain[i] == '\x7F') {
      text += "\\u007f";
    } else if (plain[i] == '\xC2' && next >= 0x80 && next < 0xA0) {
      text += next < 0x90 ? "\\u008" : "\\u009";
      text += "0123456789abcdef"[next % 16];
      ++i;
    } else {
      text += plain[i];
    }
  }
  return text;
}

}  // namespace quorvin
