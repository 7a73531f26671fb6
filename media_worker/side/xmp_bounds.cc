#include "media_worker/side/xmp_bounds.h"

#include <algorithm>

#include "codec/utf8.h"

namespace quorvin {
namespace {

constexpr int kDeepestElement = 64;
constexpr int kMostItems = 20'000;      ///< of lists
constexpr int kMostProperties = 4'000;  ///< other elements, and attributes

/// Goes behind the next `end`; false when there is none.
bool skipBehind(std::string_view& rest, std::string_view end) {
  const std::size_t found = rest.find(end);
  if (found == rest.npos) return false;
  rest.remove_prefix(found + end.size());
  return true;
}

/// Goes behind the `>` of a tag, which may stand in quotes before that as well.
bool skipTag(std::string_view& rest, int& attributes, bool& isEmpty) {
  char quote = 0;
  for (std::size_t i = 0; i < rest.size(); ++i) {
    const char c = rest[i];
    if (quote != 0) {
      if (c == quote) quote = 0;
    } else if (c == '"' || c == '\'') {
      quote = c;
      ++attributes;
    } else if (c == '>') {
      isEmpty = i > 0 && rest[i - 1] == '/';
      rest.remove_prefix(i + 1);
      return true;
    }
  }
  return false;
}

}  // namespace

bool isReadableXml(std::string_view rest) {
  if (!isUtf8(rest) || rest.find('\0') != rest.npos) return false;
  int depth = 0;
  int items = 0;
  int properties = 0;
  while (skipBehind(rest, "<")) {
    bool isWhole = true;
    if (rest.starts_with("!--")) {
      isWhole = skipBehind(rest, "-->");
    } else if (rest.starts_with("![CDATA[")) {
      isWhole = skipBehind(rest, "]]>");
    } else if (rest.starts_with("?")) {
      isWhole = skipBehind(rest, "?>");
    } else if (rest.starts_with("!")) {
      return false;
    } else if (rest.starts_with("/")) {
      --depth;
      isWhole = skipBehind(rest, ">");
    } else {
      bool isEmpty = false;
      ++(rest.starts_with("rdf:li") ? items : properties);
      isWhole = skipTag(rest, properties, isEmpty);
      if (!isEmpty) ++depth;
    }
    if (!isWhole || depth < 0 || depth > kDeepestElement) return false;
    if (items > kMostItems || properties > kMostProperties) return false;
  }
  return true;
}

}  // namespace quorvin
