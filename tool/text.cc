#include "tool/text.h"

#include <array>
#include <clocale>
#include <cstdio>
#include <cwchar>
#include <cwctype>

namespace quorvin {
namespace {

/// Characters are UTF-8 to this thread while it lives, whatever the user's locale.
class Utf8 {
 public:
  Utf8() : locale_(newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr)), before_(uselocale(locale_)) {}
  Utf8(const Utf8&) = delete;
  Utf8& operator=(const Utf8&) = delete;
  ~Utf8() {
    uselocale(before_);
    if (locale_ != nullptr) freelocale(locale_);
  }

 private:
  locale_t locale_;
  locale_t before_;
};

struct Character {
  std::string_view bytes;
  wchar_t code = 0;
  bool isWellFormed = false;

  std::size_t columns() const {
    const int width = wcwidth(code);
    return width < 0 ? 1 : static_cast<std::size_t>(width);
  }
};

/// Takes the first character off the text; a malformed one is its first byte.
Character takeCharacter(std::string_view& text) {
  Character character;
  std::mbstate_t state{};
  const std::size_t size = std::mbrtowc(&character.code, text.data(), text.size(), &state);
  character.isWellFormed = size > 0 && size <= text.size();
  character.bytes = text.substr(0, character.isWellFormed ? size : 1);
  text.remove_prefix(character.bytes.size());
  return character;
}

}  // namespace

std::string printable(std::string_view text) {
  const Utf8 utf8;
  std::string shown;
  while (!text.empty()) {
    const Character character = takeCharacter(text);
    if (character.isWellFormed && std::iswcntrl(static_cast<wint_t>(character.code)) == 0) {
      shown += character.bytes;
      continue;
    }
    for (const char byte : character.bytes) {
      std::array<char, 8> escape{};
      std::snprintf(escape.data(), escape.size(), "\\x%02X", static_cast<unsigned char>(byte));
      shown += escape.data();
    }
  }
  return shown;
}

std::size_t columnsOf(std::string_view text) {
  const Utf8 utf8;
  std::size_t columns = 0;
  while (!text.empty()) columns += takeCharacter(text).columns();
  return columns;
}

std::string cutToColumns(const std::string& text, std::size_t limit) {
  if (columnsOf(text) <= limit) return text;
  const Utf8 utf8;
  std::string cut;
  std::string_view rest = text;
  for (std::size_t columns = 0;;) {
    const Character character = takeCharacter(rest);
    columns += character.columns();
    if (columns + 1 > limit) return cut + "…";
    cut += character.bytes;
  }
}

std::string grouped(std::int64_t number) {
  const std::string plain = std::to_string(number);
  const std::size_t first = number < 0 ? 1 : 0;
  std::string separated;
  for (std::size_t i = 0; i < plain.size(); ++i) {
    if (i > first && (plain.size() - i) % 3 == 0) separated += ',';
    separated += plain[i];
  }
  return separated;
}

std::string counted(std::int64_t count, const char* one, const char* many) {
  return grouped(count) + " " + (count == 1 ? one : many);
}

}  // namespace quorvin
