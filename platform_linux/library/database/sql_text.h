// Statements that the compiler puts together, so that the numbers in them come from their names.
// Conditions of partial indexes need this: SQLite sees that an index serves only where the number
// stands in the statement.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "core/platform/asset_resources.h"
#include "core/platform/photo_library.h"

namespace quorvin {

template <std::size_t N>
struct SqlText {
  std::array<char, N> characters{};
  // NOLINTNEXTLINE(google-explicit-constructor)
  constexpr operator std::string_view() const { return {characters.data(), N}; }
};

template <std::size_t N>
constexpr SqlText<N - 1> sql(const char (&literal)[N]) {
  SqlText<N - 1> text;
  std::copy_n(literal, N - 1, text.characters.begin());
  return text;
}

template <std::size_t N, std::size_t M>
constexpr SqlText<N + M> operator+(const SqlText<N>& left, const SqlText<M>& right) {
  SqlText<N + M> text;
  std::copy(left.characters.begin(), left.characters.end(), text.characters.begin());
  std::copy(right.characters.begin(), right.characters.end(), text.characters.begin() + N);
  return text;
}

template <std::size_t N, std::size_t M>
constexpr SqlText<N + M - 1> operator+(const SqlText<N>& left, const char (&right)[M]) {
  return left + sql(right);
}

constexpr std::size_t digitsOf(std::int64_t number) {
  return number < 10 ? 1 : 1 + digitsOf(number / 10);
}

/// A number, or an enumerator's, that is not negative.
template <auto value>
constexpr auto sqlNumber() {
  auto rest = static_cast<std::int64_t>(value);
  SqlText<digitsOf(static_cast<std::int64_t>(value))> text;
  for (auto digit = text.characters.rbegin(); digit != text.characters.rend(); ++digit) {
    *digit = static_cast<char>('0' + rest % 10);
    rest /= 10;
  }
  return text;
}

/// Assets that have this bit of `PHAssetMediaSubtype`.
template <std::uint64_t subtype>
inline constexpr auto kHasSubtype = sql("(subtypes & ") + sqlNumber<subtype>() + ") <> 0";

inline constexpr auto kImageType = sqlNumber<PHAssetMediaType::image>();
inline constexpr auto kVideoType = sqlNumber<PHAssetMediaType::video>();

inline constexpr auto kPairedVideoResource = sqlNumber<PHAssetResourceType::pairedVideo>();

inline constexpr auto kLiveBit = sqlNumber<PHAssetMediaSubtype::photoLive>();
inline constexpr auto kAutoPickBit = sqlNumber<PHAssetBurstSelectionType::autoPick>();
inline constexpr auto kUserPickBit = sqlNumber<PHAssetBurstSelectionType::userPick>();

inline constexpr auto kAlbumType = sqlNumber<PHAssetCollectionType::album>();
inline constexpr auto kRegularAlbum = sqlNumber<PHAssetCollectionSubtype::albumRegular>();

/// Of an asset that nobody sees, for its side file waits for a photo or video: it is deleted, for
/// ever.
inline constexpr auto kWaitingTime = sql("9223372036854775807");
inline constexpr auto kPresentOrWaiting =
    sql("(a.trashed_ns IS NULL OR a.trashed_ns = ") + kWaitingTime + ")";

/// The order in which a burst's members stand: by date, then by the name of the first file.
inline constexpr auto kBurstOrder =
    sql(" ORDER BY a.created_ns,"
        " (SELECT r.name FROM resources AS r WHERE r.asset = a.id ORDER BY r.pos LIMIT 1), a.id");

}  // namespace quorvin
