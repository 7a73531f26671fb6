// The files outside the library that originals came from: one that comes again is known by what its
// file system says of it, and is not read. The table is made when it is first needed, and nothing
// is lost with it but time.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "platform_linux/library/database/sqlite.h"

namespace quorvin {

/// Which file it is, and in which state.
struct SourceState {
  std::uint64_t device = 0;
  std::uint64_t inode = 0;
  std::int64_t size = 0;
  std::int64_t modified = 0;  ///< nanoseconds since 1970
  std::int64_t changed = 0;   ///< the file, or anything that is said of it: nanoseconds since 1970
  friend bool operator==(const SourceState&, const SourceState&) = default;
};

/// The row of an asset, not deleted, that has the content of a source. None also where that cannot
/// be told, and where `isThere` denies that the original is at its path below `originals/`.
std::optional<std::int64_t> findSource(Database& database, std::string_view name,
                                       const SourceState& state,
                                       const std::function<bool(std::string_view path)>& isThere);

/// Inside a change. In this state the file had the content of the original at this path below
/// `originals/`; what was noted of its other states goes. False when writing failed.
bool noteSource(Database& database, std::string_view name, const SourceState& state,
                const std::string& path);

/// Inside a change that notes something: makes the table where there is none, or one of another
/// make. False when writing failed.
bool makeSourceTable(Database& database);

inline constexpr std::int64_t kFewSources = 1'000'000;
/// Whether there are more than a few, and more than originals can be expected to have: they are
/// then dropped inside a change, for files that are gone cannot be told from others.
bool areTooManySources(Database& database, std::int64_t few = kFewSources);
bool dropSources(Database& database);

}  // namespace quorvin
