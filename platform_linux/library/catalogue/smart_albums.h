// The smart albums that every library offers, in the order of listings.
//
// The conditions stand in the indexes of `schema.cc` as well, letter for letter: an index serves an
// album only while both are the same. There they are frozen, for catalogues in the world have them
// as they are, so a condition that changes here needs a new version of the schema.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

#include "core/platform/photo_library.h"
#include "platform_linux/library/catalogue/sql_text.h"

namespace quorvin {

struct SmartAlbumSubtype {
  static constexpr std::int64_t panoramas = 201;
  static constexpr std::int64_t videos = 202;
  static constexpr std::int64_t favorites = 203;
  static constexpr std::int64_t timelapses = 204;
  static constexpr std::int64_t hidden = 205;
  static constexpr std::int64_t bursts = 207;
  static constexpr std::int64_t slomoVideos = 208;
  static constexpr std::int64_t selfPortraits = 210;
  static constexpr std::int64_t screenshots = 211;
  static constexpr std::int64_t depthEffect = 212;
  static constexpr std::int64_t livePhotos = 213;
  static constexpr std::int64_t animated = 214;
  static constexpr std::int64_t raw = 217;
  static constexpr std::int64_t screenRecordings = 220;
};

struct SmartAlbum {
  std::int64_t subtype;
  std::string_view title;
  /// Which assets belong to it, in SQL over the columns of `assets`; empty: all.
  std::string_view condition;
  /// The index that holds its members with default options, by date.
  std::string_view index;
};

template <std::int64_t subtype>
inline constexpr auto kAlbumIndex = sql("listed_") + sqlNumber<subtype>();

inline constexpr auto kIsVideo = sql("media_type = ") + kVideoType;

/// One that has an index of its own.
template <std::int64_t subtype>
constexpr SmartAlbum smartAlbum(std::string_view title, std::string_view condition) {
  return {subtype, title, condition, kAlbumIndex<subtype>};
}

/// Membership is decided when a fetch looks. The user library comes first.
inline constexpr std::array<SmartAlbum, 15> kSmartAlbums = {{
    {PHAssetCollectionSubtype::smartAlbumUserLibrary, "Recents", "", "listed_by_date"},
    smartAlbum<SmartAlbumSubtype::favorites>("Favorites", "favorite = 1"),
    {SmartAlbumSubtype::videos, "Videos", kIsVideo, "listed_by_type"},
    smartAlbum<SmartAlbumSubtype::selfPortraits>("Selfies", "front_camera = 1"),
    smartAlbum<SmartAlbumSubtype::livePhotos>("Live Photos",
                                              kHasSubtype<PHAssetMediaSubtype::photoLive>),
    smartAlbum<SmartAlbumSubtype::panoramas>("Panoramas",
                                             kHasSubtype<PHAssetMediaSubtype::photoPanorama>),
    smartAlbum<SmartAlbumSubtype::timelapses>("Time-lapse",
                                              kHasSubtype<PHAssetMediaSubtype::videoTimelapse>),
    smartAlbum<SmartAlbumSubtype::slomoVideos>(
        "Slo-mo", kHasSubtype<PHAssetMediaSubtype::videoHighFrameRate>),
    smartAlbum<SmartAlbumSubtype::bursts>("Bursts", "burst_id IS NOT NULL"),
    smartAlbum<SmartAlbumSubtype::screenshots>("Screenshots",
                                               kHasSubtype<PHAssetMediaSubtype::photoScreenshot>),
    smartAlbum<SmartAlbumSubtype::depthEffect>("Portrait",
                                               kHasSubtype<PHAssetMediaSubtype::photoDepthEffect>),
    smartAlbum<SmartAlbumSubtype::screenRecordings>(
        "Screen Recordings", kHasSubtype<PHAssetMediaSubtype::videoScreenRecording>),
    smartAlbum<SmartAlbumSubtype::animated>("Animated", "animated = 1"),
    smartAlbum<SmartAlbumSubtype::raw>("RAW", "raw = 1"),
    {SmartAlbumSubtype::hidden, "Hidden", "hidden = 1", "hidden_by_date"},
}};

/// Null when no smart album has this subtype.
inline const SmartAlbum* findSmartAlbum(std::int64_t subtype) {
  for (const SmartAlbum& album : kSmartAlbums) {
    if (album.subtype == subtype) return &album;
  }
  return nullptr;
}

}  // namespace quorvin
