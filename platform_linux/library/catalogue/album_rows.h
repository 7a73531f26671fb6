// Writing albums to the catalogue. Everything here runs inside a change.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "platform_linux/library/database/sqlite.h"

namespace quorvin {

/// A user album at the end of the list of albums. Its row id; none when writing failed.
std::optional<std::int64_t> insertAlbum(Database& database, const std::string& identifier,
                                        const std::string& title);

/// An album of this title, the oldest if there are several; made when there is none. None when
/// writing failed.
std::optional<std::int64_t> albumWithTitle(Database& database, const std::string& title);

/// Adds the asset to the end of the album, unless it is in it already.
bool addToAlbum(Database& database, std::int64_t album, std::int64_t asset);

}  // namespace quorvin
