// The body of a request on its way in.
#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "tool/serve/answers/request.h"

namespace quorvin {

class Upload {
 public:
  virtual ~Upload() = default;
  /// The next piece. A response: it is refused, and nothing more is taken.
  virtual std::optional<Response> take(std::span<const std::uint8_t> piece) = 0;
  /// After the last piece.
  virtual void finish(ExchangePtr exchange) = 0;
};

}  // namespace quorvin
