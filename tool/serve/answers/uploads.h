// Files that come into the library from the page.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <variant>

#include "tool/serve/answers/request.h"
#include "tool/serve/answers/upload.h"
#include "tool/serve/engine/engine_calls.h"

namespace quorvin {

/// Platform thread.
class Uploads {
 public:
  /// The calls outlive it. `folder` is the server's own; what is uploaded stays in it until it is
  /// saved.
  Uploads(EngineCalls& calls, std::string folder) : calls_(calls), folder_(std::move(folder)) {}

  std::variant<Response, std::unique_ptr<Upload>> begin(const Request& request);

 private:
  EngineCalls& calls_;
  const std::string folder_;
  std::uint64_t last_ = 0;  ///< number of an upload
};

}  // namespace quorvin
