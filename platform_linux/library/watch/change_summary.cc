#include "platform_linux/library/watch/change_summary.h"

#include <algorithm>
#include <bit>
#include <optional>
#include <set>
#include <string>
#include <unordered_map>
#include <utility>

#include "platform_linux/library/catalogue/journal.h"
#include "platform_linux/library/places/smart_albums.h"

namespace quorvin {
namespace {

/// Bit i stands for `kSmartAlbums[i]`, of which the first holds all that is listed.
using Memberships = std::uint32_t;
static_assert(kSmartAlbums.size() <= 32 && kSmartAlbums.front().condition.empty());

// In SQL over the columns of `assets`: the smart albums in which a fetch with default options finds
// the asset.
const std::string& membershipsExpression() {
  static const std::string kExpression = [] {
    std::string sum = "CASE WHEN hidden = 0 AND visible = 1 THEN 1";
    for (std::size_t i = 1; i < kSmartAlbums.size(); ++i) {
      sum.append(" + (").append(kSmartAlbums[i].condition).append(") * ");
      sum += std::to_string(1U << i);
    }
    return sum + " ELSE 0 END";
  }();
  return kExpression;
}

/// How an asset stands, now or when it was last seen.
struct Standing {
  bool present = false;   ///< not deleted
  bool selected = false;  ///< for limited access
  Memberships memberships = 0;
};

/// What the entries tell of one asset. What they do not tell of its past is as it is now.
struct Traces {
  std::int64_t row = 0;
  std::optional<bool> wasPresent;
  std::optional<bool> wasSelected;
  std::optional<Memberships> memberships;  ///< before its first change
  bool isChanged = false;                  ///< in what its record shows
  std::optional<Standing> dropped;         ///< as it was when its row went
  std::string identifier;                  ///< of a dropped one
};

class Summary {
 public:
  Summary(Database& database, bool limitedAccess, LibraryChange& change)
      : database_(database), limitedAccess_(limitedAccess), change_(change) {}

  bool read(std::int64_t after);
  bool tell();

 private:
  void note(JournalKind kind, std::int64_t subject, const Statement& entry);
  Traces& tracesOf(std::int64_t asset);
  bool tellAsset(const Traces& traces);
  bool readStanding(const Traces& traces, Standing& now, std::string& identifier);
  bool noteAlbumsOf(const Traces& traces);
  bool tellGalleries();
  void add(std::vector<std::string>& list, std::string identifier);
  bool isSeen(const Standing& asset) const {
    return asset.present && (asset.selected || !limitedAccess_);
  }

  Database& database_;
  const bool limitedAccess_;
  LibraryChange& change_;
  std::vector<Traces> assets_;  ///< in the order of their first entries
  std::unordered_map<std::int64_t, std::size_t> byRow_;
  std::set<std::int64_t> collections_;           ///< row ids
  std::vector<std::string> droppedCollections_;  ///< that the program may have seen
  Memberships smartAlbums_ = 0;                  ///< whose members changed
  bool anyAlbum_ = false;                        ///< it cannot be told any more which user albums
};

bool Summary::read(std::int64_t after) {
  static const std::string kSql =
      "SELECT kind, subject, ident, was, " + membershipsExpression() +
      ", present, selected FROM (SELECT id, kind, subject, ident, was, " +
      std::string(columnsOfWhatAssetWas()) + " FROM journal WHERE id > ?) ORDER BY id";
  Statement entries = database_.prepare(kSql);
  entries.bind(after);
  while (entries.next()) {
    note(static_cast<JournalKind>(entries.integer(0)), entries.integer(1), entries);
  }
  return !entries.failed();
}

Traces& Summary::tracesOf(std::int64_t asset) {
  const auto [place, isNew] = byRow_.try_emplace(asset, assets_.size());
  if (isNew) assets_.push_back({.row = asset});
  return assets_[place->second];
}

void Summary::note(JournalKind kind, std::int64_t subject, const Statement& entry) {
  const auto first = [](std::optional<bool>& past, bool was) { past = past.value_or(was); };
  const auto memberships = static_cast<Memberships>(entry.integer(4));
  switch (kind) {
    case JournalKind::assetCame:
      return first(tracesOf(subject).wasPresent, false);
    case JournalKind::assetWent:
      return first(tracesOf(subject).wasPresent, true);
    case JournalKind::assetSelected:
      return first(tracesOf(subject).wasSelected, false);
    case JournalKind::assetDeselected:
      return first(tracesOf(subject).wasSelected, true);
    case JournalKind::assetChanged: {
      Traces& traces = tracesOf(subject);
      traces.isChanged = true;
      traces.memberships = traces.memberships.value_or(memberships);
      return;
    }
    case JournalKind::assetDropped: {
      Traces& traces = tracesOf(subject);
      if (entry.integer(5) != 0) first(traces.wasPresent, true);
      traces.dropped = Standing{false, entry.integer(6) != 0, memberships};
      traces.identifier = entry.text(2);
      return;
    }
    case JournalKind::collectionChanged:
      collections_.insert(subject);
      return;
    case JournalKind::collectionDropped:
      if (!limitedAccess_ ||
          entry.integer(3) == static_cast<std::int64_t>(PHAssetCollectionType::smartAlbum)) {
        droppedCollections_.emplace_back(entry.text(2));
      }
      return;
  }
}

bool Summary::tell() {
  return std::ranges::all_of(assets_, [this](const Traces& each) { return tellAsset(each); }) &&
         tellGalleries();
}

bool Summary::readStanding(const Traces& traces, Standing& now, std::string& identifier) {
  static const std::string kSql =
      "SELECT ident, trashed_ns IS NULL, " + membershipsExpression() +
      ", EXISTS (SELECT 1 FROM limited_selection WHERE asset = id) FROM assets WHERE id = ?";
  Statement row = database_.prepare(kSql);
  if (row.bind(traces.row).next()) {
    identifier = row.text(0);
    now = {row.integer(1) != 0, row.integer(3) != 0, static_cast<Memberships>(row.integer(2))};
  } else if (traces.dropped) {
    identifier = traces.identifier;
    now = *traces.dropped;
  }
  return !row.failed();
}

bool Summary::tellAsset(const Traces& traces) {
  Standing now;
  std::string identifier;
  if (!readStanding(traces, now, identifier)) return false;
  const Standing before{traces.wasPresent.value_or(now.present),
                        traces.wasSelected.value_or(now.selected),
                        traces.memberships.value_or(now.memberships)};
  const bool wasSeen = isSeen(before);
  const bool isNowSeen = isSeen(now);
  if (!wasSeen && !isNowSeen) return true;
  if (!wasSeen) {
    add(change_.inserted, std::move(identifier));
  } else if (!isNowSeen) {
    add(change_.removed, std::move(identifier));
  } else if (traces.isChanged || traces.wasPresent) {
    add(change_.changed, std::move(identifier));
  }
  const Memberships moved = (wasSeen ? before.memberships : 0) ^ (isNowSeen ? now.memberships : 0);
  smartAlbums_ |= moved;
  const bool isListingMoved = (moved & 1) != 0;
  return limitedAccess_ || !isListingMoved || noteAlbumsOf(traces);
}

bool Summary::noteAlbumsOf(const Traces& traces) {
  // An asset that is gone for good has left its albums without a trace.
  if (traces.dropped) anyAlbum_ = true;
  Statement albums = database_.prepare("SELECT collection FROM members WHERE asset = ?");
  albums.bind(traces.row);
  while (albums.next()) collections_.insert(albums.integer(0));
  return !albums.failed();
}

bool Summary::tellGalleries() {
  Statement rows =
      database_.prepare("SELECT id, ident, type, subtype FROM collections ORDER BY type, pos, id");
  while (rows.next()) {
    const bool isSmart =
        rows.integer(2) == static_cast<std::int64_t>(PHAssetCollectionType::smartAlbum);
    if (limitedAccess_ && !isSmart) continue;
    bool isTold = collections_.contains(rows.integer(0)) || (anyAlbum_ && !isSmart);
    if (const SmartAlbum* album = isSmart ? findSmartAlbum(rows.integer(3)) : nullptr) {
      isTold = isTold || (smartAlbums_ >> (album - kSmartAlbums.data()) & 1) != 0;
    }
    if (isTold) change_.galleries.emplace_back(rows.text(1));
  }
  change_.galleries.insert(change_.galleries.end(), droppedCollections_.begin(),
                           droppedCollections_.end());
  return !rows.failed();
}

void Summary::add(std::vector<std::string>& list, std::string identifier) {
  if (list.size() < LibraryChange::kMostAssets) {
    list.push_back(std::move(identifier));
  } else {
    change_.complete = false;
  }
}

}  // namespace

bool summariseJournal(Database& database, std::int64_t after, bool limitedAccess,
                      LibraryChange& change) {
  Summary summary(database, limitedAccess, change);
  return summary.read(after) && summary.tell();
}

bool listGalleries(Database& database, bool limitedAccess, std::vector<std::string>& galleries) {
  Statement rows = database.prepare("SELECT ident, type FROM collections ORDER BY type, pos, id");
  while (rows.next()) {
    const bool isSmart =
        rows.integer(1) == static_cast<std::int64_t>(PHAssetCollectionType::smartAlbum);
    if (isSmart || !limitedAccess) galleries.emplace_back(rows.text(0));
  }
  return !rows.failed();
}

}  // namespace quorvin
