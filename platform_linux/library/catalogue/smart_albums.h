// The smart albums that every library offers, in the order of listings.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

#include "core/platform/photo_library.h"

namespace quorvin {

struct SmartAlbum {
  std::int64_t subtype;
  std::string_view title;
  /// Which assets belong to it, in SQL over the columns of `assets`; empty: all.
  std::string_view condition;
  /// The index that holds its members with default options, by date.
  std::string_view index;
};

/// Membership is decided when a fetch looks. The user library comes first.
inline constexpr std::array<SmartAlbum, 15> kSmartAlbums = {{
    {PHAssetCollectionSubtype::smartAlbumUserLibrary, "Recents", "", "listed_by_date"},
    {203, "Favorites", "favorite = 1", "listed_203"},
    {202, "Videos", "media_type = 2", "listed_by_type"},
    {210, "Selfies", "front_camera = 1", "listed_210"},
    {213, "Live Photos", "(subtypes & 8) <> 0", "listed_213"},
    {201, "Panoramas", "(subtypes & 1) <> 0", "listed_201"},
    {204, "Time-lapse", "(subtypes & 262144) <> 0", "listed_204"},
    {208, "Slo-mo", "(subtypes & 131072) <> 0", "listed_208"},
    {207, "Bursts", "burst_id IS NOT NULL", "listed_207"},
    {211, "Screenshots", "(subtypes & 4) <> 0", "listed_211"},
    {212, "Portrait", "(subtypes & 16) <> 0", "listed_212"},
    {220, "Screen Recordings", "(subtypes & 524288) <> 0", "listed_220"},
    {214, "Animated", "animated = 1", "listed_214"},
    {217, "RAW", "raw = 1", "listed_217"},
    {205, "Hidden", "hidden = 1", "hidden_by_date"},
}};

/// Null when no smart album has this subtype.
const SmartAlbum* findSmartAlbum(std::int64_t subtype);

}  // namespace quorvin
