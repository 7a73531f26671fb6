#include "testing/engine/library_copy.h"

#include <algorithm>
#include <utility>

namespace quorvin {

namespace fs = std::filesystem;

Map fileArguments(const fs::path& file, Value collection) {
  Map arguments = {{"filePath", file.string()}};
  if (collection != Value()) arguments.emplace_back("collectionId", std::move(collection));
  return arguments;
}

Map assetIds(const Names& identifiers) {
  return {{"assetIds", List(identifiers.begin(), identifiers.end())}};
}

LibraryCopy::LibraryCopy() {
  copyImportedLibrary(path());
  reopen();
}

fs::path LibraryCopy::incoming(const fs::path& source, const std::string& name) {
  const fs::path file = channel.folder() / "in" / name;
  fs::create_directories(file.parent_path());
  fs::copy_file(source, file);
  fs::last_write_time(file, fs::file_time_type::clock::now());
  return file;
}

Value LibraryCopy::save(const std::string& method, const fs::path& file, Value collection) {
  return channel.result(method, fileArguments(file, std::move(collection)));
}

FlutterError LibraryCopy::saveError(const std::string& method, const fs::path& file,
                                    Value collection) {
  return channel.error(method, fileArguments(file, std::move(collection)));
}

std::string LibraryCopy::createAlbum(const std::string& title) {
  return textAt(channel.result("createAlbum", Map{{"title", title}}), "id");
}

void LibraryCopy::remove(const Names& identifiers) {
  EXPECT_EQ(channel.result("deleteAssets", assetIds(identifiers)), Value(true));
}

Names LibraryCopy::listed(const std::string& collection, int sort) {
  Names identifiers;
  for (const Value& record : channel.page(collection, 0, 1000, sort)) {
    identifiers.push_back(textAt(record, "id"));
  }
  return identifiers;
}

std::int64_t LibraryCopy::total(const std::string& collection) {
  for (const Value& each : channel.galleries(kAll)) {
    if (textAt(each, "id") == collection) return integerAt(at(each, "assetCount"), "totalCount");
  }
  ADD_FAILURE() << "no gallery " << collection;
  return -1;
}

Names LibraryCopy::everything() {
  Names all = recents();
  for (const Value& each : channel.galleries(kAll)) {
    all.push_back(textAt(each, "title") + " " +
                  std::to_string(integerAt(at(each, "assetCount"), "totalCount")));
  }
  std::ranges::copy(originals(), std::back_inserter(all));
  return all;
}

}  // namespace quorvin
