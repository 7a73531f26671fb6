// Reading a catalogue that is damaged, or an older copy of one, into a new one.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "platform_linux/library/database/sqlite.h"

namespace quorvin {

/// Rows that came from one source.
struct SalvagedRows {
  std::int64_t assets = 0;
  std::int64_t originals = 0;
  std::int64_t albums = 0;
  std::int64_t members = 0;  ///< of albums
};

/// Makes a new catalogue of the present version ready for rows of others: what refers to rows that
/// are not there yet is let in, and no trigger fires: the end settles it. Its own smart albums
/// stand back behind those that come.
bool beginSalvage(Database& into);

/// Whether the tables can be found, whatever is in them.
bool showsTables(Database& from);

/// Brings over what `from` gives and `into` has not. Around what cannot be read it reads on. Of a
/// copy (`isThere` is given) only those assets come that have an original, or that are known to
/// have been lost.
SalvagedRows salvageRows(Database& from, Database& into,
                         const std::function<bool(const std::string& path)>& isThere = {});

/// An asset whose row is lost: its files have rows, or an index knew it.
struct LostAsset {
  std::int64_t row = 0;
  std::string identifier;          ///< empty when nothing tells it
  std::vector<std::string> paths;  ///< of its originals
};
std::vector<LostAsset> lostAssets(Database& into);

/// From now on new assets get rows that none had before.
bool reserveRows(Database& into);

/// Gives an asset that was made again the row that it had, with the marks that indexes still told.
bool putBack(Database& into, std::int64_t madeAs, std::int64_t row);

/// The row of the asset; none when there is none.
std::optional<std::int64_t> assetRow(Database& into, const std::string& identifier);
/// Settles what rows say of each other, and gives up those that refer to nothing: their number.
std::optional<std::int64_t> finishSalvage(Database& into, std::int64_t status);

/// The status that a copy of the catalogue has.
std::optional<std::int64_t> statusIn(Database& copy);

}  // namespace quorvin
