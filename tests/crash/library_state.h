// What is in a library, as those see it who open it.
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "platform_linux/errors/failure.h"

namespace quorvin {

struct LibraryState {
  struct Asset {
    std::string name;      ///< of its file
    std::string original;  ///< path
    friend bool operator==(const Asset&, const Asset&) = default;
  };
  struct Album {
    std::string title;
    std::set<std::string> assets;  ///< identifiers
    friend bool operator==(const Album&, const Album&) = default;
  };
  std::map<std::string, Asset> assets;  ///< by identifier
  std::map<std::string, Album> albums;  ///< the user's own, by identifier
  std::set<std::string> trash;          ///< identifiers

  friend bool operator==(const LibraryState&, const LibraryState&) = default;
};

/// Opens the library, which must be there.
Result<LibraryState> readState(const std::string& library);

/// What a check of the whole library finds, a line each; none when it is sound.
std::string findingsIn(const std::string& library);

/// Whether the asset's original has the very bytes of the file of that name among the media.
bool isWhole(const LibraryState::Asset& asset);

}  // namespace quorvin
