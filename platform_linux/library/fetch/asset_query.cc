#include "platform_linux/library/fetch/asset_query.h"

#include <array>
#include <optional>
#include <utility>

#include "platform_linux/library/catalogue/smart_albums.h"
#include "platform_linux/library/catalogue/sql_text.h"
#include "platform_linux/library/fetch/predicate.h"
#include "platform_linux/library/values/asset_date.h"

namespace quorvin {
namespace {

// The conditions of the indexes, word for word: only then does SQLite see that it may use them.
constexpr std::string_view kListed = "a.trashed_ns IS NULL AND a.hidden = 0 AND a.visible = 1";

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

bool asksForOneType(const std::optional<Condition>& condition) {
  return condition && condition->kind == Condition::Kind::comparison &&
         condition->column == "media_type" && condition->op == "=";
}

bool isByDate(const PHFetchOptions& options) {
  return options.sortDescriptors.size() == 1 && options.sortDescriptors[0].key == "creationDate";
}

// The index that holds what the album lists with default options.
std::string_view chooseIndex(const SmartAlbum& album, const PHFetchOptions& options,
                             const std::optional<Condition>& condition) {
  if (album.subtype != PHAssetCollectionSubtype::smartAlbumUserLibrary) return album.index;
  // Without an order and a limit, all rows are collected and ordered afterwards.
  const bool wantsAll = options.sortDescriptors.empty() && options.fetchLimit == 0;
  if (asksForOneType(condition) && (isByDate(options) || wantsAll)) return "listed_by_type";
  return isByDate(options) ? "listed_by_date" : "listed_by_addition";
}

void appendSmart(const SmartAlbum& album, const PHFetchOptions& options, bool limitedAccess,
                 const std::optional<Condition>& condition, AssetQuery& query) {
  query.from = "FROM assets AS a";
  const bool listed =
      !options.includeHiddenAssets && !options.includeAllBurstAssets && !limitedAccess;
  if (const auto index = chooseIndex(album, options, condition); listed) {
    query.from.append(" INDEXED BY ").append(index);
    query.isIndexed =
        isByDate(options) || (options.sortDescriptors.empty() && index == "listed_by_addition");
  }
  query.from += " WHERE ";
  if (!album.condition.empty()) query.from.append("(").append(album.condition).append(") AND ");
  if (options.sortDescriptors.empty()) query.order = " ORDER BY a.id";
}

void appendRows(const std::vector<std::int64_t>& rows, AssetQuery& query) {
  query.from = "FROM assets AS a WHERE a.id IN (SELECT value FROM json_each(?)) AND ";
  query.values.emplace_back(listOfRows(rows));
  query.order = " ORDER BY a.id";
  query.isWorthKeeping = false;
}

void appendPlace(const AssetScope& scope, const PHFetchOptions& options, bool limitedAccess,
                 const std::optional<Condition>& condition, AssetQuery& query) {
  if (const auto* smart = std::get_if<AssetScope::Smart>(&scope.place)) {
    appendSmart(*smart->album, options, limitedAccess, condition, query);
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
  appendPlace(scope, options, limitedAccess, condition, query);
  const bool takesAll = std::holds_alternative<AssetScope::Rows>(scope.place);
  if (takesAll || (options.includeHiddenAssets && options.includeAllBurstAssets)) {
    query.from += "a.trashed_ns IS NULL";
  } else if (options.includeHiddenAssets) {
    query.from += "a.trashed_ns IS NULL AND a.visible = 1";
  } else if (options.includeAllBurstAssets) {
    query.from += "a.trashed_ns IS NULL AND a.hidden = 0";
  } else {
    query.from += kListed;
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
  query.isByAddition = query.order == " ORDER BY a.id";
  return query;
}

void AssetQuery::bind(Statement& statement) const {
  for (const auto& value : values) {
    std::visit([&statement](const auto& bound) { statement.bind(bound); }, value);
  }
}

std::string AssetQuery::key() const {
  std::string key = from + order;
  for (const auto& value : values) {
    key += '\0';
    if (const auto* number = std::get_if<std::int64_t>(&value)) key += std::to_string(*number);
    if (const auto* text = std::get_if<std::string>(&value)) key += *text;
  }
  return key;
}

std::optional<std::int64_t> countAssets(Database& database, const AssetQuery& query) {
  Statement count = database.prepare("SELECT count(*) " + query.from);
  query.bind(count);
  if (!count.next()) return std::nullopt;
  return count.integer(0);
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
