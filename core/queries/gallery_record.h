// Gallery records: what describes an album in a reply.
#pragma once

#include <cstdint>

#include "core/platform/photo_library.h"
#include "core/platform/value.h"
#include "core/queries/media_type.h"

namespace quorvin {

struct AssetCounts {
  std::int64_t photos = 0;
  std::int64_t videos = 0;
  std::int64_t audios = 0;
  std::int64_t total = 0;
};

/// The total, repeated under the filter's own type; `All` leaves the types at 0.
AssetCounts countsUnderFilter(MediaType mediaType, std::int64_t total);

/// "photoCount", "videoCount", "audioCount", "totalCount", in this order; there is room for one
/// more entry.
Map countsToMap(const AssetCounts& counts);

/// "type", "id", "title" ("" when there is none), "assetCount".
Map galleryToMap(Literal type, const PHAssetCollection& collection, const AssetCounts& counts);

}  // namespace quorvin
