// The smart albums that every library offers, in the order of listings.
//
// The conditions stand in the triggers that keep the places as well. There they are frozen, for
// catalogues in the world have them as they are, so a condition that changes here needs a new
// version of the schema.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

#include "core/platform/photo_library.h"
#include "platform_linux/library/database/sql_text.h"

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
};

inline constexpr auto kIsVideo = sql("media_type = ") + kVideoType;

/// Membership is decided when a fetch looks. The user library comes first.
inline constexpr std::array<SmartAlbum, 15> kSmartAlbums = {{
    {PHAssetCollectionSubtype::smartAlbumUserLibrary, "Recents", ""},
    {SmartAlbumSubtype::favorites, "Favorites", "favorite = 1"},
    {SmartAlbumSubtype::videos, "Videos", kIsVideo},
    {SmartAlbumSubtype::selfPortraits, "Selfies", "front_camera = 1"},
    {SmartAlbumSubtype::livePhotos, "Live Photos", kHasSubtype<PHAssetMediaSubtype::photoLive>},
    {SmartAlbumSubtype::panoramas, "Panoramas", kHasSubtype<PHAssetMediaSubtype::photoPanorama>},
    {SmartAlbumSubtype::timelapses, "Time-lapse", kHasSubtype<PHAssetMediaSubtype::videoTimelapse>},
    {SmartAlbumSubtype::slomoVideos, "Slo-mo",
     kHasSubtype<PHAssetMediaSubtype::videoHighFrameRate>},
    {SmartAlbumSubtype::bursts, "Bursts", "burst_id IS NOT NULL"},
    {SmartAlbumSubtype::screenshots, "Screenshots",
     kHasSubtype<PHAssetMediaSubtype::photoScreenshot>},
    {SmartAlbumSubtype::depthEffect, "Portrait",
     kHasSubtype<PHAssetMediaSubtype::photoDepthEffect>},
    {SmartAlbumSubtype::screenRecordings, "Screen Recordings",
     kHasSubtype<PHAssetMediaSubtype::videoScreenRecording>},
    {SmartAlbumSubtype::animated, "Animated", "animated = 1"},
    {SmartAlbumSubtype::raw, "RAW", "raw = 1"},
    {SmartAlbumSubtype::hidden, "Hidden", "hidden = 1"},
}};

/// Null when no smart album has this subtype.
inline const SmartAlbum* findSmartAlbum(std::int64_t subtype) {
  for (const SmartAlbum& album : kSmartAlbums) {
    if (album.subtype == subtype) return &album;
  }
  return nullptr;
}

}  // namespace quorvin
