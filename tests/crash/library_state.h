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
    std::string name;                    ///< of its file; of its files with "+" between them
    std::vector<std::string> originals;  ///< paths
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

/// Whether the asset's originals have the very bytes of the files of those names.
bool isWhole(const LibraryState::Asset& asset);

struct SnapshotState {
  std::string path;          ///< beneath the library; the larger, the newer
  bool isWhole = false;      ///< sound, and a catalogue
  std::int64_t version = 0;  ///< of its tables
};

/// The newest first. Nothing is done to the library, which may be missing.
std::vector<SnapshotState> snapshotsIn(const std::string& library);

}  // namespace quorvin
