#include "platform_linux/library/fetch/asset_query.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "platform_linux/library/database/sql_text.h"
#include "platform_linux/library/fetch/predicate.h"
#include "platform_linux/library/places/smart_albums.h"
#include "platform_linux/library/values/asset_date.h"

namespace quorvin {
namespace {

constexpr std::size_t kBeyondAnyCatalogue = std::size_t{1} << 40;

void appendCondition(const Condition& condition, AssetQuery& query) {
  switch (condition.kind) {
    case Condition::Kind::comparison:
      query.from.append("a.").append(condition.column).append(" ").append(condition.op);
      query.from += " ?";
      query.values.emplace_back(condition.value);
      return;
    case Condition::Kind::negation:
      query.from += "NOT (";
      appendCondition(condition.parts.front(), query);
      query.from += ")";
      return;
    case Condition::Kind::conjunction:
    case Condition::Kind::disjunction: {
      std::string_view joint = "(";
      for (const Condition& part : condition.parts) {
        query.from += joint;
        appendCondition(part, query);
        joint = condition.kind == Condition::Kind::conjunction ? " AND " : " OR ";
      }
      query.from += ")";
      return;
    }
  }
}

// Whether assets of a media type meet the condition; none when that depends on more.
std::optional<bool> isMetBy(const Condition& condition, std::int64_t mediaType) {
  if (condition.kind == Condition::Kind::comparison) {
    if (condition.column != "media_type") return std::nullopt;
    const std::int64_t value = condition.value;
    if (condition.op == "=") return mediaType == value;
    if (condition.op == "<>") return mediaType != value;
    if (condition.op == "<") return mediaType < value;
    if (condition.op == "<=") return mediaType <= value;
    if (condition.op == ">") return mediaType > value;
    return mediaType >= value;
  }
  bool all = true;
  bool any = false;
  for (const Condition& part : condition.parts) {
    const auto met = isMetBy(part, mediaType);
    if (!met) return std::nullopt;
    all = all && *met;
    any = any || *met;
  }
  if (condition.kind == Condition::Kind::negation) return !all;
  return condition.kind == Condition::Kind::conjunction ? all : any;
}

void appendSmart(const SmartAlbum& album, AssetQuery& query) {
  query.from = "FROM assets AS a WHERE ";
  if (!album.condition.empty()) query.from.append("(").append(album.condition).append(") AND ");
  query.order = " ORDER BY a.id";
}

void appendRows(const std::vector<std::int64_t>& rows, AssetQuery& query) {
  query.from = "FROM assets AS a WHERE a.id IN (SELECT value FROM json_each(?)) AND ";
  query.values.emplace_back(listOfRows(rows));
  query.order = " ORDER BY a.id";
}

void appendScope(const AssetScope& scope, AssetQuery& query) {
  if (const auto* smart = std::get_if<AssetScope::Smart>(&scope.place)) {
    appendSmart(*smart->album, query);
  } else if (const auto* album = std::get_if<AssetScope::Album>(&scope.place)) {
    query.from =
        "FROM members AS m CROSS JOIN assets AS a ON a.id = m.asset WHERE m.collection = ? AND ";
    query.values.emplace_back(album->collection);
    query.order = " ORDER BY m.pos, a.id";
  } else if (const auto* burst = std::get_if<AssetScope::Burst>(&scope.place)) {
    query.from = "FROM assets AS a WHERE a.burst_id = ? AND ";
    query.values.emplace_back(burst->identifier);
    query.order = kBurstOrder;
  } else {
    appendRows(std::get<AssetScope::Rows>(scope.place).rows, query);
  }
}

}  // namespace

AssetQuery assetQuery(const AssetScope& scope, const PHFetchOptions& options, bool limitedAccess) {
  std::optional<Condition> condition;
  if (options.predicate) condition = parsePredicate(*options.predicate);

  AssetQuery query;
  // More than any catalogue holds is no limit.
  query.limit = options.fetchLimit > kBeyondAnyCatalogue ? 0 : options.fetchLimit;
  appendScope(scope, query);
  const bool takesAll = std::holds_alternative<AssetScope::Rows>(scope.place);
  if (takesAll || (options.includeHiddenAssets && options.includeAllBurstAssets)) {
    query.from += "a.trashed_ns IS NULL";
  } else if (options.includeHiddenAssets) {
    query.from += "a.trashed_ns IS NULL AND a.visible = 1";
  } else if (options.includeAllBurstAssets) {
    query.from += "a.trashed_ns IS NULL AND a.hidden = 0";
  } else {
    query.from += "a.trashed_ns IS NULL AND a.hidden = 0 AND a.visible = 1";
  }
  if (limitedAccess) query.from += " AND a.id IN (SELECT asset FROM limited_selection)";
  if (condition) {
    query.from += " AND ";
    appendCondition(*condition, query);
  }
  if (!options.sortDescriptors.empty()) {
    // The row id settles ties, in the direction of the last key: so descending is the mirror of
    // ascending, and pages neither overlap nor skip.
    query.order = " ORDER BY ";
    for (const NSSortDescriptor& sort : options.sortDescriptors) {
      query.order.append("a.").append(sortColumn(sort.key));
      query.order += sort.ascending ? ", " : " DESC, ";
    }
    query.order += options.sortDescriptors.back().ascending ? "a.id" : "a.id DESC";
  }
  return query;
}

void AssetQuery::bind(Statement& statement) const {
  for (const auto& value : values) {
    std::visit([&statement](const auto& bound) { statement.bind(bound); }, value);
  }
}

std::optional<PlaceQuery> placeQuery(const CollectionRow& gallery, const PHFetchOptions& options) {
  if (options.includeHiddenAssets || options.includeAllBurstAssets) return std::nullopt;
  const auto& sorts = options.sortDescriptors;
  if (sorts.size() > 1 || (!sorts.empty() && sorts[0].key != "creationDate")) return std::nullopt;
  PlaceQuery query;
  if (options.predicate) {
    const Condition condition = parsePredicate(*options.predicate);
    for (std::size_t type = 0; type < kMediaTypes; ++type) {
      const auto met = isMetBy(condition, static_cast<std::int64_t>(type));
      if (!met) return std::nullopt;
      query.listing.types.wanted[type] = *met;
    }
  }
  // A page of one type is read more quickly than one of more types.
  for (std::size_t type = 0; type < kMediaTypes; ++type) {
    if (gallery.counts.of[type] == 0) query.listing.types.wanted[type] = false;
  }
  query.listing.listing =
      listingOf(gallery.gallery, sorts.empty() ? PlaceOrder::own : PlaceOrder::date);
  query.listing.isDescending = !sorts.empty() && !sorts[0].ascending;
  query.listing.total = gallery.counts.total(query.listing.types);
  query.count = static_cast<std::size_t>(query.listing.total);
  if (options.fetchLimit > 0) query.count = std::min(query.count, options.fetchLimit);
  return query;
}

std::shared_ptr<const PHAsset> assetFromRow(const Statement& row) {
  auto asset = std::make_shared<PHAsset>();
  asset->localIdentifier = row.text(0);
  asset->mediaType = static_cast<PHAssetMediaType>(row.integer(1));
  asset->mediaSubtypes = static_cast<std::uint64_t>(row.integer(2));
  asset->pixelWidth = row.integer(3);
  asset->pixelHeight = row.integer(4);
  if (!row.isNull(5)) asset->creationDate = dateFromNanoseconds(row.integer(5));
  if (!row.isNull(6)) asset->modificationDate = dateFromNanoseconds(row.integer(6));
  asset->duration = row.real(7);
  asset->isFavorite = row.integer(8) != 0;
  asset->isHidden = row.integer(9) != 0;
  if (!row.isNull(10)) asset->burstIdentifier = row.optionalText(10);
  asset->representsBurst = row.integer(11) != 0;
  asset->burstSelectionTypes = static_cast<std::uint64_t>(row.integer(12));
  return asset;
}

}  // namespace quorvin
