#include "tool/serve/answers/response.h"

namespace quorvin {

Response Response::text(unsigned status, std::string_view sentence) {
  std::vector<std::uint8_t> bytes(sentence.begin(), sentence.end());
  bytes.push_back('\n');
  return {.status = status,
          .contentType = "text/plain; charset=utf-8",
          .body = ByteBuffer(std::move(bytes)),
          .headers = {{"Cache-Control", "no-store"}}};
}

}  // namespace quorvin
