#include "core/queries/gallery_record.h"

namespace quorvin {

AssetCounts countsUnderFilter(MediaType mediaType, std::int64_t total) {
  AssetCounts counts{.total = total};
  if (mediaType == MediaType::Image) counts.photos = total;
  if (mediaType == MediaType::Video) counts.videos = total;
  if (mediaType == MediaType::Audio) counts.audios = total;
  return counts;
}

Map countsToMap(const AssetCounts& counts) {
  Map map;
  map.reserve(5);
  map.emplace_back("photoCount"_lit, counts.photos);
  map.emplace_back("videoCount"_lit, counts.videos);
  map.emplace_back("audioCount"_lit, counts.audios);
  map.emplace_back("totalCount"_lit, counts.total);
  return map;
}

Map galleryToMap(Literal type, const PHAssetCollection& collection, const AssetCounts& counts) {
  Map record;
  record.reserve(4);
  record.emplace_back("type"_lit, type);
  record.emplace_back("id"_lit, collection.localIdentifier);
  record.emplace_back("title"_lit, collection.localizedTitle.value_or(""));
  record.emplace_back("assetCount"_lit, countsToMap(counts));
  return record;
}

}  // namespace quorvin
