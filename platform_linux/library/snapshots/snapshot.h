// Copies of the catalogue, kept beside it for the day on which it is damaged.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/platform/value.h"
#include "platform_linux/errors/failure.h"
#include "platform_linux/library/catalogue/library_folder.h"
#include "platform_linux/library/database/sqlite.h"

namespace quorvin {

inline constexpr std::size_t kSnapshotsKept = 3;

/// The snapshots by their paths beneath the library, the newest first.
std::vector<std::string> snapshotsOf(const LibraryFolder& folder);

/// For reading.
Result<std::unique_ptr<Database>> openSnapshot(const LibraryFolder& folder,
                                               const std::string& path);

enum class OlderSnapshots {
  keep,           ///< but for the oldest
  replaceNewest,  ///< which is so young that the next older ones are worth more
};

/// Copies the catalogue as of one moment, while others read and change it; looks through the copy,
/// and makes it the newest snapshot, durably. Others go then. An error when `shouldStop` said so,
/// and when somebody else makes one.
Done makeSnapshot(const LibraryFolder& folder, Database& catalogue,
                  const std::function<bool()>& shouldStop = {},
                  OlderSnapshots older = OlderSnapshots::keep);

/// The same of a database that stands elsewhere beneath the library: it is moved. The caller is
/// alone with the library, and keeps the older ones.
Result<std::string> adoptAsSnapshot(const LibraryFolder& folder, const std::string& path);

/// So much was changed between the newest snapshot and the catalogue.
struct SnapshotAge {
  bool isAny = false;        ///< else the rest is as of the library's making
  std::int64_t changes = 0;  ///< at least as many as there were
  std::int64_t made = 0;     ///< nanoseconds since 1970
  std::int64_t bytes = 0;    ///< of the newest
};
/// None when the catalogue cannot tell.
std::optional<SnapshotAge> ageOfNewestSnapshot(const LibraryFolder& folder, Database& catalogue);

}  // namespace quorvin
