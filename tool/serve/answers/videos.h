// Videos that every browser plays: MPEG-4 with H.264 and AAC.
#pragma once

#include <cstddef>
#include <cstdint>
#include <list>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "tool/serve/answers/request.h"
#include "tool/serve/engine/library_desk.h"

namespace quorvin {

/// Copies or encodes a video when it is first asked for, and keeps the file for the parts that a
/// browser asks for one after another. Files that are kept have no names, so that none outlives the
/// program. Platform thread.
class Videos {
 public:
  /// The desk outlives it. `folder` is the server's own.
  Videos(LibraryDesk& desk, std::string folder) : desk_(desk), folder_(std::move(folder)) {}

  void answer(const Request& request, const std::shared_ptr<const FoundAsset>& found,
              const std::string& tag, ExchangePtr exchange);

 private:
  struct Waiting {
    Request request;
    ExchangePtr exchange;
  };
  struct Video {
    std::string tag;
    std::shared_ptr<const FoundAsset> found;
    std::shared_ptr<const OpenFile> file;  ///< null: it is not there yet
    bool isEncoding = false;
    std::vector<Waiting> waiting;
  };
  using Encoded = Result<std::shared_ptr<const OpenFile>>;

  void encodeNext();
  void encode(const Video& video);
  void finish(const std::string& tag, const Encoded& encoded);
  void makeRoom();

  LibraryDesk& desk_;
  const std::string folder_;
  std::list<Video> videos_;  ///< what was asked for last comes first
  std::size_t encoding_ = 0;
  std::uint64_t last_ = 0;  ///< number of a file
};

}  // namespace quorvin
