#include "tests/channel/changes_fixture.h"

#include <algorithm>
#include <utility>

namespace quorvin {

namespace fs = std::filesystem;

namespace {

Map fileArguments(const fs::path& file, Value collection) {
  Map arguments = {{"filePath", file.string()}};
  if (collection != Value()) arguments.emplace_back("collectionId", std::move(collection));
  return arguments;
}

}  // namespace

Map assetIds(const std::vector<std::string>& identifiers) {
  return {{"assetIds", List(identifiers.begin(), identifiers.end())}};
}

void ChangesFixture::SetUp() {
  ChannelFixture::SetUp();
  useCopy([](const std::string&) {});
}

fs::path ChangesFixture::incoming(const fs::path& source, const std::string& name) {
  const fs::path file = folder() / "in" / name;
  fs::create_directories(file.parent_path());
  fs::copy_file(source, file);
  fs::last_write_time(file, fs::file_time_type::clock::now());
  return file;
}

Value ChangesFixture::save(const std::string& method, const fs::path& file, Value collection) {
  return result(method, fileArguments(file, std::move(collection)));
}

FlutterError ChangesFixture::saveError(const std::string& method, const fs::path& file,
                                       Value collection) {
  return error(method, fileArguments(file, std::move(collection)));
}

std::string ChangesFixture::createAlbum(const std::string& title) {
  return textAt(result("createAlbum", Map{{"title", title}}), "id");
}

void ChangesFixture::remove(const Names& identifiers) {
  EXPECT_EQ(result("deleteAssets", assetIds(identifiers)), Value(true));
}

ChangesFixture::Names ChangesFixture::listed(const std::string& collection, int sort) {
  Names identifiers;
  for (const Value& record : page(collection, 0, 1000, sort)) {
    identifiers.push_back(textAt(record, "id"));
  }
  return identifiers;
}

std::int64_t ChangesFixture::total(const std::string& collection) {
  for (const Value& each : galleries(kAll)) {
    if (textAt(each, "id") == collection) return integerAt(at(each, "assetCount"), "totalCount");
  }
  ADD_FAILURE() << "no gallery " << collection;
  return -1;
}

ChangesFixture::Names ChangesFixture::everything() {
  Names all = recents();
  for (const Value& each : galleries(kAll)) {
    all.push_back(textAt(each, "title") + " " +
                  std::to_string(integerAt(at(each, "assetCount"), "totalCount")));
  }
  std::ranges::copy(originals(), std::back_inserter(all));
  return all;
}

}  // namespace quorvin
