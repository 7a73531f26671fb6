// Reads any bytes as the parts of a request that the server takes apart itself: a line each for the
// target, the range, the host, the origin, the cookies and the entity tags.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <variant>

#include "codec/utf8.h"
#include "fuzz/require.h"
#include "tool/serve/reading/byte_range.h"
#include "tool/serve/reading/entity_tag.h"
#include "tool/serve/reading/own_origin.h"
#include "tool/serve/reading/request_target.h"
#include "tool/serve/reading/session_token.h"

namespace quorvin {
namespace {

constexpr std::uint16_t kPort = 8080;
constexpr std::uint64_t kFileSize = 1000;

std::string_view takeLine(std::string_view& text) {
  const std::size_t end = std::min(text.find('\n'), text.size());
  const std::string_view line = text.substr(0, end);
  text.remove_prefix(std::min(end + 1, text.size()));
  return line;
}

void checkText(const std::string& text) {
  require(isUtf8(text), "what is decoded is UTF-8");
  require(text.find('\0') == std::string::npos, "what is decoded has no end within");
  require(percentDecoded(percentEncoded(text)) == text, "what is encoded is decoded as it was");
}

void checkTarget(std::string_view text) {
  const auto target = readTarget(text);
  if (!target) return;
  require(!target->path.empty(), "a path has a part");
  for (const std::string& part : target->path) checkText(part);
  for (const auto& [key, value] : target->query) {
    checkText(key);
    checkText(value);
    require(target->parameter(key) != nullptr, "a parameter is found by its key");
  }
}

void checkRange(std::string_view header) {
  const RangeAnswer answer = readRange(header, kFileSize);
  const auto* range = std::get_if<ByteRange>(&answer);
  if (range == nullptr) return;
  require(range->size > 0 && range->size <= kFileSize && range->first <= kFileSize - range->size,
          "a range lies in the file");
}

void checkHost(std::string_view host) {
  if (!isOwnHost(host, kPort)) return;
  require(host == "127.0.0.1:8080" || host == "localhost:8080" || host == "[::1]:8080",
          "an own host is one of three");
}

void checkOrigin(std::string_view origin) {
  if (isOwnOrigin(origin, kPort)) checkHost(origin.substr(std::string_view("http://").size()));
}

void check(std::string_view text) {
  checkTarget(takeLine(text));
  checkRange(takeLine(text));
  checkHost(takeLine(text));
  checkOrigin(takeLine(text));
  const std::string_view cookies = takeLine(text);
  require(cookieValue(cookies, "quorvin-8080").size() <= cookies.size(), "a cookie is a part");
  namesTag(takeLine(text), "\"tag\"");
}

}  // namespace
}  // namespace quorvin

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  quorvin::check({reinterpret_cast<const char*>(data), size});
  return 0;
}
