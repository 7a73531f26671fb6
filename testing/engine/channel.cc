#include "testing/engine/channel.h"

namespace quorvin {

const Value& at(const Value& map, std::string_view key) {
  static const Value kNone;
  const auto* entries = map.as<Map>();
  const Value* value = entries == nullptr ? nullptr : find(*entries, key);
  EXPECT_NE(value, nullptr) << key;
  return value == nullptr ? kNone : *value;
}

std::string textAt(const Value& map, std::string_view key) {
  return std::string(at(map, key).text());
}

std::int64_t integerAt(const Value& map, std::string_view key) {
  const auto* integer = at(map, key).as<std::int64_t>();
  EXPECT_NE(integer, nullptr) << key;
  return integer == nullptr ? -1 : *integer;
}

void copyImportedLibrary(const std::filesystem::path& copy) {
  namespace fs = std::filesystem;
  fs::copy(QUORVIN_IMPORTED_LIBRARY, copy, fs::copy_options::recursive);
  // Else previews would count as those of an earlier state, and be made anew in the midst of a
  // test.
  for (const auto& file : fs::recursive_directory_iterator(copy / "originals")) {
    const fs::path source = QUORVIN_IMPORTED_LIBRARY / fs::relative(file.path(), copy);
    if (file.is_regular_file()) fs::last_write_time(file.path(), fs::last_write_time(source));
  }
}

void Channel::use(const std::string& library, const std::string& temporaryPath) {
  QuorvinOptions opened = engines.options();
  opened.library_path = library.c_str();
  opened.temporary_path = temporaryPath.c_str();
  engine_ = engines.open(opened);
  assets_.reset();
}

void Channel::useCopy(const std::function<void(const std::string& library)>& change) {
  const std::filesystem::path copy = folder() / "copy";
  copyImportedLibrary(copy);
  change(copy);
  use(copy);
}

List Channel::galleries(int mediaType, bool filterEmpty, bool withSmartAlbum) {
  const Value list = result("getGalleryList", Map{{"withAllPhotos", true},
                                                  {"filterEmptyAsset", filterEmpty},
                                                  {"withSmartAlbum", withSmartAlbum},
                                                  {"mediaType", mediaType}});
  EXPECT_NE(list.as<List>(), nullptr);
  return list.as<List>() == nullptr ? List{} : *list.as<List>();
}

std::string Channel::gallery(const std::string& title) {
  for (const Value& each : galleries(kAll)) {
    if (textAt(each, "title") == title) return textAt(each, "id");
  }
  ADD_FAILURE() << "no gallery " << title;
  return "";
}

List Channel::page(const std::string& collection, int start, int end, int sort, int mediaType) {
  const Value list = result("getAssetList", Map{{"collectionId", collection},
                                                {"start", start},
                                                {"end", end},
                                                {"sort", sort},
                                                {"mediaType", mediaType}});
  EXPECT_NE(list.as<List>(), nullptr);
  return list.as<List>() == nullptr ? List{} : *list.as<List>();
}

std::map<std::string, std::string> Channel::assetsByName() {
  std::map<std::string, std::string> assets;
  for (const Value& record : page(gallery("Recents"), 0, 1000, kNewestFirst)) {
    const std::string id = textAt(record, "id");
    const Value name = result("getAssetOriginalFilename", Map{{"assetId", id}});
    assets[std::string(name.text())] = id;
  }
  return assets;
}

std::string Channel::asset(const std::string& name) {
  if (!assets_) assets_ = assetsByName();
  EXPECT_TRUE(assets_->contains(name)) << name;
  return (*assets_)[name];
}

}  // namespace quorvin
