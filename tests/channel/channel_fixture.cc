#include "tests/channel/channel_fixture.h"

#include <filesystem>
#include <fstream>

#include "codec/standard_method_codec.h"

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

std::vector<pid_t> childrenOfThisProcess() {
  std::vector<pid_t> children;
  for (const auto& thread : std::filesystem::directory_iterator("/proc/self/task")) {
    std::ifstream list(thread.path() / "children");
    for (pid_t child = 0; list >> child;) children.push_back(child);
  }
  return children;
}

void ChannelFixture::SetUp() {
  engine_ = openLibrary(QUORVIN_IMPORTED_LIBRARY);
  ASSERT_NE(engine_, nullptr);
}

std::string ChannelFixture::copyOfLibrary() {
  const auto copy = folder() / "copy";
  std::filesystem::copy(QUORVIN_IMPORTED_LIBRARY, copy, std::filesystem::copy_options::recursive);
  return copy;
}

EnginePointer ChannelFixture::openLibrary(const std::string& path, int authorization) {
  QuorvinOptions opened = options();
  opened.library_path = path.c_str();
  opened.authorization = authorization;
  return open(opened);
}

FlutterError ChannelFixture::error(const std::string& method, Value arguments) {
  const Answer& answer = call(engine(), method, std::move(arguments));
  await(engine(), answer);
  const auto envelope = decodeEnvelope(answer.message);
  if (!envelope || !std::holds_alternative<FlutterError>(*envelope)) {
    ADD_FAILURE() << method << " replied no error";
    return {};
  }
  return std::get<FlutterError>(*envelope);
}

List ChannelFixture::galleries(int mediaType, bool filterEmpty, bool withSmartAlbum) {
  const Value list = result("getGalleryList", Map{{"withAllPhotos", true},
                                                  {"filterEmptyAsset", filterEmpty},
                                                  {"withSmartAlbum", withSmartAlbum},
                                                  {"mediaType", mediaType}});
  EXPECT_NE(list.as<List>(), nullptr);
  return list.as<List>() == nullptr ? List{} : *list.as<List>();
}

std::string ChannelFixture::gallery(const std::string& title) {
  for (const Value& each : galleries(kAll)) {
    if (textAt(each, "title") == title) return textAt(each, "id");
  }
  ADD_FAILURE() << "no gallery " << title;
  return "";
}

List ChannelFixture::page(const std::string& collection, int start, int end, int sort,
                          int mediaType) {
  const Value list = result("getAssetList", Map{{"collectionId", collection},
                                                {"start", start},
                                                {"end", end},
                                                {"sort", sort},
                                                {"mediaType", mediaType}});
  EXPECT_NE(list.as<List>(), nullptr);
  return list.as<List>() == nullptr ? List{} : *list.as<List>();
}

std::map<std::string, std::string> ChannelFixture::assetsByName() {
  std::map<std::string, std::string> assets;
  for (const Value& record : page(gallery("Recents"), 0, 1000, kNewestFirst)) {
    const std::string id = textAt(record, "id");
    const Value name = result("getAssetOriginalFilename", Map{{"assetId", id}});
    assets[std::string(name.text())] = id;
  }
  return assets;
}

std::string ChannelFixture::asset(const std::string& name) {
  auto assets = assetsByName();
  EXPECT_TRUE(assets.contains(name)) << name;
  return assets[name];
}

}  // namespace quorvin
