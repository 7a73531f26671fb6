// What a file says of the photo or video, or the folder, that it lies beside.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "core/platform/value.h"

namespace quorvin {

/// Of parts, and of albums.
inline constexpr std::size_t kMostNotes = 1024;

enum class SideKind : std::int64_t {
  none = 0,        ///< the file is a medium itself
  adjustment = 1,  ///< how a rendering was made of its original
  xmp = 2,
  takeout = 3,  ///< of one photo or video, by a photo service (JSON)
  album = 4,    ///< of a folder, by a photo service (JSON)
};

/// A file that is a part of the asset, by its name in the same folder.
struct NotedPart {
  std::int64_t type = 0;  ///< of PHAssetResourceType
  std::string name;
  std::string was = {};  ///< its name in the library that exported it; empty: the same
  friend bool operator==(const NotedPart&, const NotedPart&) = default;
};

/// What a library told of an asset when it was exported.
struct ExportedNotes {
  std::vector<NotedPart> parts;          ///< all of them, the first one foremost
  std::vector<std::string> albums;       ///< titles
  std::optional<std::int64_t> modified;  ///< nanoseconds since 1970
  bool hidden = false;
  std::string burstIdentifier;  ///< empty: in no burst
  bool burstPrimary = false;
  bool represents = false;
  std::uint64_t burstSelection = 0;  ///< bits of PHAssetBurstSelectionType
  friend bool operator==(const ExportedNotes&, const ExportedNotes&) = default;
};

struct SideNotes {
  SideKind kind = SideKind::none;
  std::string title;  ///< of a photo or an album; of `takeout`: the name that the file had
  bool favorite = false;
  std::optional<ExportedNotes> exported;
  friend bool operator==(const SideNotes&, const SideNotes&) = default;
};

Map notesToMap(const SideNotes& notes);
/// None when that is no such map. Its texts are within bounds.
std::optional<SideNotes> notesFromMap(const Map& map);

}  // namespace quorvin
