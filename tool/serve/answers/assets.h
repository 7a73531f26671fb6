// The assets of the library, as pictures, videos and files.
#pragma once

#include <memory>
#include <string>

#include "tool/serve/answers/pictures.h"
#include "tool/serve/answers/request.h"
#include "tool/serve/answers/videos.h"
#include "tool/serve/engine/library_desk.h"

namespace quorvin {

/// Platform thread.
class Assets {
 public:
  /// All outlive it.
  Assets(LibraryDesk& desk, Pictures& pictures, Videos& videos)
      : desk_(desk), pictures_(pictures), videos_(videos) {}

  /// Of "/asset/ID/...".
  void answer(const Request& request, ExchangePtr exchange);

 private:
  using Found = std::shared_ptr<const FoundAsset>;

  void answerFound(const Request& request, const std::string& what, const Found& found,
                   ExchangePtr exchange);
  void answerOriginal(const Request& request, const Found& found, const std::string& tag,
                      ExchangePtr exchange);

  LibraryDesk& desk_;
  Pictures& pictures_;
  Videos& videos_;
};

}  // namespace quorvin
