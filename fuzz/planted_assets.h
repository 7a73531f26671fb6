// Assets in a catalogue, and the same as plain values.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "core/platform/photo_library.h"
#include "platform_linux/library/fetch/predicate.h"

namespace quorvin {

/// A row of the table of assets.
struct PlantedRow {
  std::int64_t id = 0;
  PHAsset asset;
  std::optional<std::int64_t> created;
  std::optional<std::int64_t> modified;
  bool trashed = false;
  bool limited = false;                    ///< chosen for programs with limited access
  std::map<std::int64_t, bool> isInSmart;  ///< by subtype: the smart album's own condition
  std::optional<std::int64_t> albumPlace;  ///< in the one user album

  /// A member of a burst that is neither its face nor chosen is not listed.
  bool isListed() const;
  bool fulfils(const Condition& condition) const;
};

/// A library in which such rows stand in any mixture.
struct PlantedCatalogue {
  std::vector<PlantedRow> rows;  ///< by id
  std::string album;             ///< its identifier
};

/// Makes a library at the path.
PlantedCatalogue plantCatalogue(const std::string& path);

/// The rows by the sort's keys, ties by id in the last key's direction; absent values first.
void sortRows(std::vector<const PlantedRow*>& rows, const std::vector<NSSortDescriptor>& keys);

}  // namespace quorvin
