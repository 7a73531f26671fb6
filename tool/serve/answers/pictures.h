// Pictures of assets, as JPEG.
#pragma once

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "tool/serve/answers/request.h"
#include "tool/serve/engine/engine_calls.h"

namespace quorvin {

struct Picture {
  std::string asset;
  double side = 0;  ///< fits into a square of so many pixels
  std::string tag;
};

/// Has the engine render a few at a time. Of those that wait the newest comes first, as it is what
/// somebody looks at who moves through many; those that nobody waits for any more do not come at
/// all. Platform thread.
class Pictures {
 public:
  /// The calls outlive it. `folder` is the server's own: large pictures lie there while they are
  /// sent, for somebody who reads slowly may have asked for many.
  Pictures(EngineCalls& calls, std::string folder) : calls_(calls), folder_(std::move(folder)) {}

  void answer(Picture picture, ExchangePtr exchange);

 private:
  struct Waiting {
    Picture picture;
    ExchangePtr exchange;
  };

  void renderNext();

  EngineCalls& calls_;
  const std::string folder_;
  std::vector<Waiting> waiting_;
  std::size_t rendering_ = 0;
};

}  // namespace quorvin
