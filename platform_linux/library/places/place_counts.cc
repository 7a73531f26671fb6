// A group always begins where one of its blocks begins, for a place is found by going from the
// groups to the blocks. So a short block that begins a group takes up the one behind it; any other
// goes up in the one before. The first stretch of a listing stays, however short it is.
#include "platform_linux/library/places/place_counts.h"

#include <array>
#include <optional>
#include <string_view>
#include <utility>

#include "platform_linux/library/places/place.h"

namespace quorvin {
namespace {

// So many places are skipped at most before a page, and so many blocks are looked at before that.
struct Measures {
  PlaceLevel level;
  std::int64_t longest;
  std::int64_t shortest;
  std::int64_t part;  ///< of one that is divided
};
constexpr Measures kBlocks = {PlaceLevel::block, 256, 32, 192};
constexpr Measures kGroups = {PlaceLevel::group, 64 * 256, 8 * 256, 48 * 256};

constexpr std::string_view kPlaces = "others + images + videos + sounds";

std::string conditionTooLong() {
  return std::string(kPlaces) + " > CASE level WHEN 0 THEN " + std::to_string(kBlocks.longest) +
         " WHEN 1 THEN " + std::to_string(kGroups.longest) + " ELSE 9223372036854775807 END";
}

std::string conditionTooShort() {
  return "first_asset <> -9223372036854775808 AND " + std::string(kPlaces) +
         " < CASE level WHEN 0 THEN " + std::to_string(kBlocks.shortest) + " WHEN 1 THEN " +
         std::to_string(kGroups.shortest) + " ELSE 0 END";
}

struct Stretch {
  std::int64_t level = 0;
  std::int64_t listing = 0;
  PlaceKey first;
  TypeCounts counts;
};

constexpr std::string_view kColumns =
    "level, listing, first_key, first_asset, others, images, videos, sounds";

Stretch stretchIn(const Statement& row) {
  Stretch stretch{row.integer(0), row.integer(1), {row.integer(2), row.integer(3)}, {}};
  for (std::size_t i = 0; i < kMediaTypes; ++i) {
    stretch.counts.of[i] = row.integer(4 + static_cast<int>(i));
  }
  return stretch;
}

void add(const TypeCounts& counts, TypeCounts& to) {
  for (std::size_t i = 0; i < kMediaTypes; ++i) to.of[i] += counts.of[i];
}

class Settlement {
 public:
  explicit Settlement(Database& database) : database_(database) {}

  bool settle() {
    // Groups are joined first: then a short block that begins a group has one behind it in there.
    return joinAll(kGroups) && joinAll(kBlocks) && divideAll(kBlocks) && divideAll(kGroups);
  }

 private:
  std::optional<Stretch> one(const char* index, const std::string& condition, PlaceLevel level) {
    Statement find =
        database_.prepare("SELECT " + std::string(kColumns) + " FROM place_counts INDEXED BY " +
                          index + " WHERE level = ? AND " + condition + " LIMIT 1");
    if (!find.bind(static_cast<std::int64_t>(level)).next()) {
      failed_ = failed_ || find.failed();
      return std::nullopt;
    }
    return stretchIn(find);
  }

  // The nearest stretch before, or behind.
  std::optional<Stretch> neighbour(const Stretch& of, bool isBefore) {
    const std::string way = isBefore ? "< (?, ?) ORDER BY first_key DESC, first_asset DESC"
                                     : "> (?, ?) ORDER BY first_key, first_asset";
    Statement find = database_.prepare(
        "SELECT " + std::string(kColumns) +
        " FROM place_counts WHERE level = ? AND listing = ? AND (first_key, first_asset) " + way +
        " LIMIT 1");
    find.bind(of.level, of.listing, of.first.key, of.first.asset);
    if (!find.next()) {
      failed_ = failed_ || find.failed();
      return std::nullopt;
    }
    return stretchIn(find);
  }

  bool beginsGroup(const Stretch& block) {
    Statement find = database_.prepare(
        "SELECT 1 FROM place_counts WHERE level = 1 AND listing = ? AND first_key = ?"
        " AND first_asset = ?");
    return find.bind(block.listing, block.first.key, block.first.asset).next();
  }

  bool remove(const Stretch& stretch) {
    Statement gone = database_.prepare(
        "DELETE FROM place_counts WHERE level = ? AND listing = ? AND first_key = ?"
        " AND first_asset = ?");
    return gone.bind(stretch.level, stretch.listing, stretch.first.key, stretch.first.asset).run();
  }

  bool store(const Stretch& stretch) {
    Statement kept = database_.prepare(
        "INSERT INTO place_counts VALUES (?, ?, ?, ?, ?, ?, ?, ?)"
        " ON CONFLICT DO UPDATE SET others = excluded.others,"
        " images = excluded.images, videos = excluded.videos,"
        " sounds = excluded.sounds");
    kept.bind(stretch.level, stretch.listing, stretch.first.key, stretch.first.asset);
    for (const std::int64_t count : stretch.counts.of) kept.bind(count);
    return kept.run();
  }

  bool joinAll(const Measures& measures) {
    static const std::string kCondition = conditionTooShort();
    constexpr const char* kIndex = "place_counts_too_short";
    while (const auto found = one(kIndex, kCondition, measures.level)) {
      const bool keepsStart = measures.level == PlaceLevel::block && beginsGroup(*found);
      auto other = neighbour(*found, !keepsStart);
      // With counts that are wrong there may be none; `quorvin check` tells of those.
      if (!other || (keepsStart && beginsGroup(*other))) return !failed_;
      Stretch kept = keepsStart ? *found : *other;
      const Stretch& gone = keepsStart ? *other : *found;
      add(gone.counts, kept.counts);
      if (!remove(gone) || !store(kept)) return false;
    }
    return !failed_;
  }

  bool divideAll(const Measures& measures) {
    static const std::string kCondition = conditionTooLong();
    constexpr const char* kIndex = "place_counts_too_long";
    while (const auto found = one(kIndex, kCondition, measures.level)) {
      if (!divide(*found, measures)) return false;
    }
    return !failed_;
  }

  // What a stretch is made of: places, or blocks.
  std::string partsOf(const Measures& measures) {
    if (measures.level == PlaceLevel::group) {
      return "SELECT first_key, first_asset, others, images, videos, sounds FROM place_counts"
             " WHERE level = 0 AND listing = ?1 AND (first_key, first_asset) >= (?2, ?3)"
             " AND (first_key, first_asset) < (?4, ?5) ORDER BY first_key, first_asset";
    }
    std::string text;
    for (std::size_t type = 0; type < kMediaTypes; ++type) {
      const std::string number = std::to_string(type);
      text += (type == 0 ? "SELECT" : " UNION ALL SELECT") + std::string(" key, asset");
      for (std::size_t i = 0; i < kMediaTypes; ++i) text += i == type ? ", 1" : ", 0";
      text += " FROM places WHERE listing = ?1 AND media_type = " + number +
              " AND (key, asset) >= (?2, ?3) AND (key, asset) < (?4, ?5)";
    }
    return text + " ORDER BY key, asset";
  }

  bool divide(const Stretch& stretch, const Measures& measures) {
    const auto next = neighbour(stretch, false);
    const PlaceKey end = next ? next->first : PlaceKey{kHighestKey, kHighestKey};
    Statement parts = database_.prepare(partsOf(measures));
    parts.bind(stretch.listing, stretch.first.key, stretch.first.asset, end.key, end.asset);
    std::optional<Stretch> last;
    Stretch present{stretch.level, stretch.listing, stretch.first, {}};
    while (parts.next()) {
      if (present.counts.total() >= measures.part) {
        if (last && !store(*last)) return false;
        last = present;
        present = {stretch.level, stretch.listing, {parts.integer(0), parts.integer(1)}, {}};
      }
      for (std::size_t i = 0; i < kMediaTypes; ++i) {
        present.counts.of[i] += parts.integer(2 + static_cast<int>(i));
      }
    }
    if (parts.failed()) return false;
    // What is left at the end is not made a short one.
    if (last && present.counts.total() < measures.part / 4) {
      add(present.counts, last->counts);
      return store(*last);
    }
    return (!last || store(*last)) && store(present);
  }

  Database& database_;
  bool failed_ = false;
};

}  // namespace

std::string indexesOfCounts() {
  const std::string columns = " ON place_counts(level, listing, first_key, first_asset) WHERE ";
  return "CREATE INDEX place_counts_too_long" + columns + conditionTooLong() +
         ";\nCREATE INDEX place_counts_too_short" + columns + conditionTooShort() + ";\n";
}

bool settleCounts(Database& database) {
  return Settlement(database).settle();
}

}  // namespace quorvin
