// The names of files that may belong together, in one folder: a family.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "media_protocol/side_notes.h"

namespace quorvin {

/// The same text for "IMG_1234.HEIC", "img_1234.mov", "IMG_E1234.JPG" and "IMG_1234.AAE", and for
/// all names with the same mark of a burst.
std::string familyOf(const std::string& name);

/// By the name alone, also of a side file: files of one folder that have it in common belong next
/// to each other.
std::string familyByName(const std::string& name);
bool belongTogether(const std::string& folder, const std::string& name,
                    const std::string& nextFolder, const std::string& nextName);

/// The name's stem in lower case, of an edited version that of its original: "img_1234" for
/// "IMG_E1234.JPG".
std::string originalStem(const std::string& name);
/// True for "IMG_E1234.JPG".
bool isEditedName(const std::string& name);

/// What a side file speaks of, by its name.
struct SideTarget {
  std::string name;     ///< in lower case
  bool isStem = false;  ///< of any file whose name without its extension is this one
  friend bool operator==(const SideTarget&, const SideTarget&) = default;
};
/// Those that it may speak of, the likeliest first. Names that a photo service made out of too long
/// ones, or numbered, are seen through.
std::vector<SideTarget> targetsOf(const std::string& name, const SideNotes& notes);

/// A number for the family in the folder that `folderNumber` stands for.
std::int64_t familyNumber(std::int64_t folder, const std::string& family);
/// Of all families that the file may have to do with. `notes.kind` is `none` for a medium.
std::vector<std::int64_t> familyNumbers(std::int64_t folder, const std::string& name,
                                        const SideNotes& notes);

}  // namespace quorvin
