// Large libraries as people have them, without the files: rows alone, made quickly.
#pragma once

#include <cstdint>
#include <string>

#include "core/platform/value.h"
#include "platform_linux/errors/failure.h"

namespace quorvin {

struct GeneratedLibrary {
  std::int64_t assets = 1'000'000;
  std::int64_t albums = 300;
  std::int64_t largestAlbum = 100'000;  ///< the others are smaller and smaller; some are empty
  std::uint64_t seed = 1;
};

/// Makes a library, with full access, in a folder that is missing or empty: pictures of twenty
/// years in the order in which they were taken, but for some that were added later; videos among
/// them, a few sounds, live photos, bursts, favourites, and some that are hidden or deleted. The
/// same for the same seed, but for the identifiers of albums.
Done generateLibrary(const std::string& path, const GeneratedLibrary& wanted);

}  // namespace quorvin
