// Where assets stand in listings. A listing is what an album, or smart album, shows with default
// options, in one of two orders. The table `places` has a row for each asset of each listing, and
// `place_counts` says how many there are, of each type, in each stretch of it: so a page is found
// by its place, and counts are known, without a look at what comes before.
//
// Triggers keep both, whoever changes rows. Stretches that grew too long or too short cost time and
// nothing else; who changes a catalogue settles them before it commits (`settleCounts`).
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>

namespace quorvin {

enum class PlaceOrder : std::int64_t {
  own = 0,   ///< of addition, or the album's own
  date = 1,  ///< of creation; what has no date comes first
};

/// What a listing is of: the row of an album, or a smart album's subtype, negative.
using ListedGallery = std::int64_t;

constexpr ListedGallery gallerySmart(std::int64_t subtype) {
  return -subtype;
}

constexpr std::int64_t listingOf(ListedGallery gallery, PlaceOrder order) {
  return gallery * 2 + static_cast<std::int64_t>(order);
}

/// The key of an asset without a date, and what every listing's first stretch begins with.
inline constexpr std::int64_t kLowestKey = std::numeric_limits<std::int64_t>::min();
inline constexpr std::int64_t kHighestKey = std::numeric_limits<std::int64_t>::max();

/// A place without its listing and type.
struct PlaceKey {
  std::int64_t key = kLowestKey;
  std::int64_t asset = kLowestKey;
  friend auto operator<=>(const PlaceKey&, const PlaceKey&) = default;
};

inline constexpr std::size_t kMediaTypes = 4;

/// Which media types a fetch wants.
struct MediaTypes {
  std::array<bool, kMediaTypes> wanted{true, true, true, true};
};

/// How many there are of each media type.
struct TypeCounts {
  std::array<std::int64_t, kMediaTypes> of{};

  std::int64_t total(const MediaTypes& types = {}) const {
    std::int64_t sum = 0;
    for (std::size_t i = 0; i < kMediaTypes; ++i) sum += types.wanted[i] ? of[i] : 0;
    return sum;
  }
};

/// Stretches of places, and stretches of those; and the whole listing as one.
enum class PlaceLevel : std::int64_t { block = 0, group = 1, whole = 2 };

}  // namespace quorvin
