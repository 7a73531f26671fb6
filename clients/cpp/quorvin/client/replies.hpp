// How replies become types. What is of another shape throws an `UnexpectedReplyError`.
#ifndef QUORVIN_CLIENT_REPLIES_HPP_
#define QUORVIN_CLIENT_REPLIES_HPP_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <quorvin/client/errors.hpp>
#include <quorvin/client/records.hpp>
#include <quorvin/client/result.hpp>
#include <quorvin/client/value.hpp>
#include <string>
#include <utility>
#include <vector>

namespace quorvin {
namespace client {

/// A value in a reply, or none where a map lacks it, and the way to it.
class Place {
 public:
  Place(const char* method, const Value& reply) : method_(method), value_(&reply) {}

  const Value* value() const { return value_; }

  Place at(const char* key) const {
    return {*this, key, 0, value_ == nullptr ? nullptr : value_->find(key)};
  }
  Place at(std::size_t index, const Value& element) const {
    return {*this, nullptr, index, &element};
  }

  /// What is held when it is of this type.
  template <class T>
  const T& expect(const char* expected) const {
    const T* held = value_ == nullptr ? nullptr : value_->as<T>();
    if (held == nullptr) fail(expected);
    return *held;
  }

  [[noreturn]] void fail(const char* expected) const {
    std::string way = path();
    if (!way.empty() && way.front() == '.') way.erase(0, 1);
    throw UnexpectedReplyError(method_, std::move(way), expected);
  }

 private:
  Place(const Place& outer, const char* key, std::size_t index, const Value* value)
      : method_(outer.method_), outer_(&outer), key_(key), index_(index), value_(value) {}

  std::string path() const {
    if (outer_ == nullptr) return "";
    const std::string step =
        key_ == nullptr ? "[" + std::to_string(index_) + "]" : "." + std::string(key_);
    return outer_->path() + step;
  }

  const char* method_;
  const Place* outer_ = nullptr;
  const char* key_ = nullptr;
  std::size_t index_ = 0;
  const Value* value_;
};

/// Reads what stands at a place, which tells what is wrong with it.
template <class T>
using Read = T (*)(const Place&);

inline Value readAny(const Place& place) {
  return *place.value();
}

inline std::string readText(const Place& place) {
  return place.expect<std::string>("a text");
}

inline bool readBoolean(const Place& place) {
  return place.expect<bool>("a boolean");
}

inline std::int64_t readInteger(const Place& place) {
  return place.expect<std::int64_t>("an integer");
}

inline double readDouble(const Place& place) {
  return place.expect<double>("a double");
}

inline Bytes readBytes(const Place& place) {
  return place.expect<Bytes>("bytes");
}

inline Done readDone(const Place& place) {
  if (!place.expect<bool>("true")) place.fail("true");
  return {};
}

inline Done readNothing(const Place& place) {
  place.expect<Null>("null");
  return {};
}

template <class T, Read<T> read>
std::optional<T> readOptional(const Place& place) {
  if (place.value() != nullptr && place.value()->isNull()) return std::nullopt;
  return read(place);
}

template <class T, Read<T> read>
std::vector<T> readList(const Place& place) {
  std::vector<T> elements;
  std::size_t index = 0;
  for (const Value& element : place.expect<List>("a list")) {
    elements.push_back(read(place.at(index++, element)));
  }
  return elements;
}

inline MediaType readMediaType(const Place& place) {
  const std::int64_t type = readInteger(place);
  if (type < 0 || type > static_cast<int>(MediaType::audio)) place.fail("one of 0, 1, 2, 3");
  return static_cast<MediaType>(type);
}

inline GalleryType readGalleryType(const Place& place) {
  const std::string type = readText(place);
  if (type != "smart" && type != "user") place.fail("one of smart, user");
  return type == "smart" ? GalleryType::smart : GalleryType::user;
}

inline Asset readAsset(const Place& place) {
  place.expect<Map>("a map");
  Asset asset;
  asset.id = readText(place.at("id"));
  asset.mediaType = readMediaType(place.at("mediaType"));
  asset.width = readInteger(place.at("width"));
  asset.height = readInteger(place.at("height"));
  asset.creationDate = readInteger(place.at("creationDate"));
  asset.modificationDate = readInteger(place.at("modificationDate"));
  asset.duration = readDouble(place.at("duration"));
  asset.isFavorite = readBoolean(place.at("isFavorite"));
  asset.isHidden = readBoolean(place.at("isHidden"));
  asset.burstIdentifier = readText(place.at("burstIdentifier"));
  asset.representsBurst = readBoolean(place.at("representsBurst"));
  asset.burstSelectionTypes = readInteger(place.at("burstSelectionTypes"));
  asset.isLivePhoto = readBoolean(place.at("isLivePhoto"));
  return asset;
}

inline AssetCount readAssetCount(const Place& place) {
  place.expect<Map>("a map");
  AssetCount count;
  count.photoCount = readInteger(place.at("photoCount"));
  count.videoCount = readInteger(place.at("videoCount"));
  count.audioCount = readInteger(place.at("audioCount"));
  count.totalCount = readInteger(place.at("totalCount"));
  return count;
}

inline Gallery readGallery(const Place& place) {
  place.expect<Map>("a map");
  Gallery gallery;
  gallery.type = readGalleryType(place.at("type"));
  gallery.id = readText(place.at("id"));
  gallery.title = readText(place.at("title"));
  gallery.assetCount = readAssetCount(place.at("assetCount"));
  return gallery;
}

inline GalleryAssetCount readGalleryAssetCount(const Place& place) {
  GalleryAssetCount count;
  static_cast<AssetCount&>(count) = readAssetCount(place);
  count.firstAssetId = readText(place.at("firstAssetId"));
  return count;
}

inline ExportedFile readExportedFile(const Place& place) {
  place.expect<Map>("a map");
  return {readText(place.at("url")), readBoolean(place.at("deletable"))};
}

inline Change readChange(const Place& place) {
  constexpr auto kIdentifiers = readList<std::string, readText>;
  place.expect<Map>("a map");
  Change change;
  change.sequence = readInteger(place.at("sequence"));
  change.inserted = kIdentifiers(place.at("inserted"));
  change.changed = kIdentifiers(place.at("changed"));
  change.removed = kIdentifiers(place.at("removed"));
  change.galleries = kIdentifiers(place.at("galleries"));
  change.complete = readBoolean(place.at("complete"));
  return change;
}

}  // namespace client
}  // namespace quorvin

#endif  // QUORVIN_CLIENT_REPLIES_HPP_
