// A request as those see it who answer it.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tool/serve/answers/response.h"
#include "tool/serve/reading/request_target.h"

namespace quorvin {

enum class Method : std::uint8_t { get, head, post, other };

struct Request {
  Method method = Method::other;
  std::string rawTarget;
  RequestTarget target;
  bool isUpgrade = false;  ///< to a WebSocket
  // Headers; empty: there is none. Of a Host that comes twice none is believed.
  std::string host;
  std::string origin;
  std::string cookie;
  std::string range;
  std::string ifRange;
  std::string ifNoneMatch;
  std::string acceptEncoding;
  std::string contentType;
  std::optional<std::uint64_t> contentLength;

  bool reads() const { return method == Method::get || method == Method::head; }
};

/// A request that waits for its answer. One that goes unanswered is answered as unavailable.
class Exchange {
 public:
  virtual ~Exchange() = default;
  /// Once. Nothing comes of it when the client is gone.
  virtual void answer(Response response) = 0;
  /// False once the client is gone.
  virtual bool isWanted() const = 0;
};

using ExchangePtr = std::shared_ptr<Exchange>;

}  // namespace quorvin
