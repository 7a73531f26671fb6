// The list that an export leaves in its folder: `.quorvin-export`.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quorvin {

inline constexpr const char* kExportList = ".quorvin-export";

struct ListedFile {
  std::int64_t type = 0;  ///< of the resource
  std::int64_t size = 0;
  std::string hash;
  std::string path;  ///< beneath the folder
  friend bool operator==(const ListedFile&, const ListedFile&) = default;
};

struct ListedAsset {
  std::int64_t row = 0;  ///< rises with each addition
  std::string identifier;
  std::vector<ListedFile> files;
  friend bool operator==(const ListedAsset&, const ListedAsset&) = default;
};

struct ListedAlbum {
  std::string title;
  std::vector<std::string> members;  ///< identifiers of assets, in the album's order
  friend bool operator==(const ListedAlbum&, const ListedAlbum&) = default;
};

/// Of a list that anybody may have written: what can be read of it. Paths lead nowhere else.
struct ExportList {
  std::vector<ListedAlbum> albums;  ///< in the order of listings
  std::vector<ListedAsset> assets;
  friend bool operator==(const ExportList&, const ExportList&) = default;
};

std::string exportListHead(const std::vector<ListedAlbum>& albums);
std::string exportListLines(const ListedAsset& asset);
/// Also for one that was cut short, be it in its first line.
bool isExportList(std::string_view text);
/// Empty for what is no such list.
ExportList readExportList(std::string_view text);

}  // namespace quorvin
