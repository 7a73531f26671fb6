#include "tests/stress/any_calls.h"

#include <sstream>
#include <utility>
#include <variant>

#include "codec/standard_method_codec.h"
#include "testing/engine/exports.h"
#include "testing/engine/library_copy.h"

namespace quorvin {

namespace {

/// How often each method is called, in relation.
struct Weight {
  const char* method;
  int weight;
};
constexpr Weight kWeights[] = {{"getPlatformVersion", 20},
                               {"getPermission", 20},
                               {"clearAllCache", 20},
                               {"stopAllCachingImages", 10},
                               {"startCachingImages", 10},
                               {"stopCachingImages", 10},
                               {"getGalleryList", 60},
                               {"getGalleryAssetCount", 160},
                               {"getGalleryFirstAssetId", 60},
                               {"getAssetList", 200},
                               {"getAssetInfo", 200},
                               {"getThumbnail", 100},
                               {"getImageData", 60},
                               {"getImageUrl", 60},
                               {"getLivePhotoUrl", 15},
                               {"getVideoUrl", 15},
                               {"deleteAssets", 10},
                               {"getBurstAssetList", 50},
                               {"getAssetOriginalFilename", 50},
                               {"createAlbum", 6},
                               {"saveImage", 12},
                               {"saveVideo", 6}};

bool isOfTheLibraryAsItIs(const Value& gallery) {
  const std::string title = textAt(gallery, "title");
  return title != "Recents" && title != "Videos" && title != kStressAlbum;
}

Value withoutIdentifier(const Value& record) {
  Map rest;
  if (const auto* map = record.as<Map>()) {
    for (const auto& [key, value] : *map) {
      if (key != Value("id")) rest.emplace_back(key, value);
    }
  }
  EXPECT_FALSE(rest.empty());
  return rest;
}

std::string textOf(const Value& value) {
  const Bytes bytes = encodeSuccessEnvelope(value);
  return {bytes.begin(), bytes.end()};
}

}  // namespace

StressCalls::StressCalls(Channel& channel) {
  for (const char* title : {"Holidays", "Favorites", "Bursts", "Panoramas", "Live Photos", "Slo-mo",
                            "Screenshots", "Animated", "RAW"}) {
    galleries_.push_back(channel.gallery(title));
  }
  for (const auto& [name, id] : channel.assetsByName()) {
    assets_.push_back(id);
    if (name == "BURST_003.jpg") burst_ = id;
  }
  for (const char* name : {"IMG_0010.HEIC", "IMG_0011.HEIC", "IMG_0002.jpg", "IMG_0003.JPG",
                           "NO_DATE.jpg", "orientation_6.jpg", "transparent.png", "still.avif"}) {
    stills_.push_back(channel.asset(name));
  }
  for (const char* name : {"MOVIE.mov", "CLIP.mp4", "TURNED.mp4"}) {
    movies_.push_back(channel.asset(name));
  }
  livePhotos_ = {channel.asset("IMG_0011.HEIC"), channel.asset("PAIR_STILL.jpg")};
}

const std::vector<std::string>& StressCalls::methods() {
  static const std::vector<std::string> all = [] {
    std::vector<std::string> names;
    for (const Weight& each : kWeights) names.emplace_back(each.method);
    return names;
  }();
  return all;
}

StressCall StressCalls::any(const std::set<std::string>& looked) {
  static const int whole = [] {
    int sum = 0;
    for (const Weight& each : kWeights) sum += each.weight;
    return sum;
  }();
  if (!uncalled_.empty()) {
    const std::string method = uncalled_.back();
    uncalled_.pop_back();
    return call(method);
  }
  for (;;) {
    int place = below(whole);
    const Weight* weight = kWeights;
    while (place >= weight->weight) place -= (weight++)->weight;
    StressCall chosen = call(weight->method);
    if (chosen.writes.empty() || !looked.contains(chosen.writes)) return chosen;
  }
}

StressCall StressCalls::writing(const std::string& method, const std::string& asset, Map options) {
  return {method, std::move(options), method + asset};
}

StressCall StressCalls::call(const std::string& method) {
  const auto flag = [this] { return below(2) == 0; };
  if (method == "getGalleryList") {
    return {method, Map{{"withAllPhotos", true},
                        {"filterEmptyAsset", flag()},
                        {"withSmartAlbum", flag()},
                        {"mediaType", below(4)}}};
  }
  if (method == "getGalleryAssetCount") {
    return {method,
            Map{{"collectionId", anyGallery()}, {"sort", below(3)}, {"mediaType", below(4)}}};
  }
  if (method == "getGalleryFirstAssetId") {
    // Of an empty gallery that is an error, which is compared as well.
    return {method, Map{{"collectionId", anyGallery()}, {"sort", below(2)}, {"mediaType", 0}}};
  }
  if (method == "getAssetList") {
    const int start = below(3);
    return {method, Map{{"collectionId", anyGallery()},
                        {"start", start},
                        {"end", start + 1 + below(5)},
                        {"sort", below(3)},
                        {"mediaType", below(2)}}};
  }
  if (method == "getAssetInfo" || method == "getAssetOriginalFilename") {
    return {method, Map{{"assetId", anyOf(assets_)}}};
  }
  if (method == "getBurstAssetList") return {method, Map{{"assetId", burst_}}};
  if (method == "getThumbnail") {
    return {method, Map{{"assetId", below(8) == 0 ? anyOf(movies_) : anyStill()},
                        {"width", 100},
                        {"height", 100},
                        {"contentMode", below(2)},
                        {"jpegFormat", true}}};
  }
  if (method == "getImageData") return {method, imageData(anyStill(), below(8) == 0)};
  if (method == "getImageUrl") {
    const std::string still = anyStill();
    return writing(method, still, imageFile(still, below(8) == 0, below(8) == 0));
  }
  if (method == "getLivePhotoUrl") {
    const std::string still = anyOf(livePhotos_);
    return writing(method, still, livePhotoFile(still));
  }
  if (method == "getVideoUrl") {
    const std::string movie = anyOf(movies_);
    return writing(method, movie,
                   videoFile(movie, flag() ? Format::mov : Format::mp4, below(8) == 0));
  }
  if (method == "createAlbum") return {method, Map{{"title", kStressAlbum}}};
  if (method == "saveImage") return {method, fileArguments(kGoodMedia / "NO_DATE.jpg")};
  if (method == "saveVideo") return {method, fileArguments(kGoodMedia / "CLIP.mp4")};
  if (method == "deleteAssets") {
    Names deleted;
    if (!saved_.empty()) {
      deleted.push_back(saved_.back());
      saved_.pop_back();
    }
    return {method, assetIds(deleted), "", false};
  }
  return {method, {}};
}

std::string contentOfExport(const std::string& path, bool isVideo) {
  if (!isVideo) return bytesOf(path);
  const SeenVideo seen = seeVideo(path);
  std::ostringstream text;
  text << seen.videoCodec << ' ' << seen.tag << ' ' << seen.audioCodec << ' ' << seen.brand << ' '
       << seen.creationTime << ' ' << seen.size.width << 'x' << seen.size.height << ' '
       << seen.isTurned << ' ' << seen.frames << ' ' << seen.videoDuration << ' '
       << seen.audioDuration << ' ' << seen.indexIsFirst;
  return text.str();
}

std::string lastingPartOf(const StressCall& call, const Answer& answer) {
  const std::string& method = call.method;
  const auto reply = decodeEnvelope(answer.message);
  if (!reply) {
    ADD_FAILURE() << method << " has no reply";
    return "";
  }
  const auto* value = std::get_if<Value>(&*reply);
  const std::string whole(answer.message.begin(), answer.message.end());
  if (value == nullptr) return whole;
  if (method.ends_with("Url")) {
    return contentOfExport(textAt(*value, "url"), method == "getVideoUrl") +
           textOf(at(*value, "deletable"));
  }
  if (method == "createAlbum" || method.starts_with("save")) {
    return textOf(withoutIdentifier(*value));
  }
  if (method == "getGalleryList") {
    List lasting;
    for (const Value& each : *value->as<List>()) {
      if (isOfTheLibraryAsItIs(each)) lasting.push_back(each);
    }
    return textOf(lasting);
  }
  return whole;
}

}  // namespace quorvin
