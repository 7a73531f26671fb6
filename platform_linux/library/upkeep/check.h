// Whether a library is sound, and what can be done where it is not.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "platform_linux/errors/failure.h"

namespace quorvin {

enum class FindingKind {
  damagedCatalogue,
  danglingRow,
  repeatedIdentifier,
  wrongListing,
  wrongBurst,
  wrongLivePhoto,
  assetWithoutOriginal,
  missingOriginal,
  changedOriginal,
  unreadableOriginal,
  foreignOriginal,
  strayOriginal,
  strayDerivative,
  leftover,
  missingChecksum,
};

/// The enumerator's own name, for programs.
std::string_view findingName(FindingKind kind);

struct LibraryFinding {
  FindingKind kind = FindingKind::damagedCatalogue;
  std::string sentence;
  bool isRepaired = false;
};

struct CheckOptions {
  /// Reads every original and compares its checksum; else its size alone is looked at.
  bool content = false;
  /// Puts right what can be put right without losing an original: files that belong to nothing go
  /// to `recovered/` in the library's folder. A missing or changed original stays as it is. A
  /// catalogue that is missing, empty or damaged is made anew.
  bool repair = false;
  /// Called on the checking thread: once with the number of originals before the first is read,
  /// and after each. May be empty.
  std::function<void(std::size_t total)> originalsFound;
  std::function<void()> originalDone;
};

struct CheckReport {
  /// Where a repair had to make the catalogue anew: what came from where, and what did not come
  /// back. A sentence each.
  std::vector<std::string> rescue;
  std::int64_t assets = 0;     ///< deleted ones included
  std::int64_t originals = 0;  ///< files
  std::int64_t bytes = 0;      ///< of the originals that are there
  std::vector<LibraryFinding> findings;
};

/// Reads the whole catalogue, and looks at every original. Others may use the library meanwhile. An
/// error when it cannot be opened, unless it is repaired.
Result<CheckReport> checkLibrary(const std::string& path, const CheckOptions& options);

}  // namespace quorvin
