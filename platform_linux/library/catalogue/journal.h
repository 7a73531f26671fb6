// The catalogue's journal: which assets and collections the latest commits touched.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace quorvin {

class Database;

/// What one entry tells. It is written in the transaction that changes the rows: by triggers, or,
/// where thousands of assets go or come back in one statement, by `journalAssets`. A trigger would
/// add a third to what such a statement costs.
enum class JournalKind : std::int64_t {
  assetCame = 1,      ///< new, or restored
  assetWent = 2,      ///< deleted, and restorable
  assetDropped = 3,   ///< its row is gone; has the identifier and what it was
  assetChanged = 4,   ///< has what it was
  assetSelected = 5,  ///< for programs with limited access
  assetDeselected = 6,
  collectionChanged = 7,  ///< new, of another title, or its members have changed
  collectionDropped = 8,  ///< its row is gone; has the identifier and, as what it was, the type
};

/// As many entries as are kept. Their numbers rise and are never used again.
inline constexpr std::int64_t kJournalLength = 10'000;

/// Makes the table and the triggers: a step of the schema, never changed afterwards.
bool makeJournal(Database& database);

/// Before `rows`, a JSON list, are deleted (`assetWent`) or restored (`assetCame`): an entry for
/// each of them that is about to change. Inside a change.
bool journalAssets(Database& database, JournalKind kind, const std::string& rows);

/// The number of the newest entry, 0 when there was none yet; none when it cannot be read.
std::optional<std::int64_t> lastJournalEntry(Database& database);

/// Forgets the oldest entries beyond `kJournalLength`. Inside a change.
bool trimJournal(Database& database);

/// The entry `was` of an asset as columns of the names that `assets` has, for conditions on these;
/// and in the same way two of its own, `present` and `selected`: whether the asset was not deleted,
/// and among those selected for limited access.
std::string_view columnsOfWhatAssetWas();

}  // namespace quorvin
