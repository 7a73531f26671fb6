// The page in the browser: files that are built into the program.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "tool/serve/answers/request.h"

namespace quorvin {

struct PageFile {
  std::string_view path;  ///< "index.html", "assets/index-1a2b3c4d.js"
  std::string_view contentType;
  std::string_view tag;  ///< of the content
  std::span<const std::uint8_t> content;
  std::span<const std::uint8_t> compressed;  ///< by gzip; empty: it does not pay
};

/// Generated from the folder of the page.
std::span<const PageFile> pageFiles();

Response pageResponse(const Request& request);

}  // namespace quorvin
