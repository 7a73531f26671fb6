// quorvin-demo LIBRARY FOLDER: calls the methods of the channel on a library, prints each call and
// its reply, and leaves thumbnails and exported files in FOLDER. Fails when a reply is not of the
// expected kind.
#include <algorithm>
#include <cctype>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <optional>

#include "demo/calls.h"
#include "demo/changes.h"
#include "demo/exports.h"
#include "demo/printing.h"

namespace quorvin {
namespace {

enum Filter { kAll = 0, kImages = 1, kVideos = 2, kAudio = 3 };
constexpr int kNewestFirst = 0;
constexpr int kOldestFirst = 1;
constexpr int kFit = 0;
constexpr int kFill = 1;
constexpr int kGridSize = 256;

class Demo {
 public:
  Demo(const std::string& library, const std::filesystem::path& folder)
      : calls_(library, folder), thumbnails_(folder / "thumbnails") {
    std::filesystem::create_directories(thumbnails_);
  }

  int run() {
    showSystem();
    showGalleries();
    showPages();
    showAssets();
    showThumbnails();
    const ExportedFiles exported = showExports(calls_, exportSamples());
    showChanges(calls_, exported);
    showCacheControls();
    showFaults();
    std::printf(
        "\n%zu thumbnails are in %s, exported files in image, livephoto and video beside it\n",
        written_, thumbnails_.c_str());
    if (calls_.failures() == 0) return EXIT_SUCCESS;
    std::printf("Replies not of the expected kind: %d\n", calls_.failures());
    return EXIT_FAILURE;
  }

 private:
  List galleries(Filter filter, bool filterEmpty) {
    const Value found = calls_.result("getGalleryList",
                                      Map{{"withAllPhotos", true},
                                          {"filterEmptyAsset", filterEmpty},
                                          {"withSmartAlbum", true},
                                          {"mediaType", filter}},
                                      isListOf("assetCount"));
    if (found.isNull()) return {};
    printGalleries(*found.as<List>());
    return *found.as<List>();
  }

  void page(int start, int end, int sort, Filter filter) {
    const Value found = calls_.result("getAssetList",
                                      Map{{"collectionId", everything_},
                                          {"start", start},
                                          {"end", end},
                                          {"sort", sort},
                                          {"mediaType", filter}},
                                      isListOf("isLivePhoto"));
    if (found.isNull()) return;
    const List& page = *found.as<List>();
    printAssets(page);
    if (sort == kNewestFirst && filter == kAll) {
      assets_.insert(assets_.end(), page.begin(), page.end());
    }
  }

  void showSystem() {
    printHeadline("The system and its permission");
    calls_.show("getPlatformVersion", {}, isText);
    calls_.show("getPermission", {}, isTrue);
  }

  void showGalleries() {
    printHeadline("Galleries and their counts");
    for (const Value& gallery : galleries(kAll, true)) {
      if (textAt(gallery, "title") == "Recents") everything_ = textAt(gallery, "id");
      if (textAt(gallery, "title") == "Slo-mo") slowMotion_ = textAt(gallery, "id");
    }
    if (everything_.empty()) calls_.fail("no gallery of everything");
    galleries(kVideos, true);
    for (const Filter filter : {kAll, kImages, kVideos, kAudio}) {
      calls_.show("getGalleryAssetCount",
                  Map{{"collectionId", everything_}, {"sort", kNewestFirst}, {"mediaType", filter}},
                  is<Map>);
    }
    calls_.show("getGalleryFirstAssetId",
                Map{{"collectionId", everything_}, {"sort", kOldestFirst}, {"mediaType", kAll}},
                isText);
  }

  void showPages() {
    printHeadline("Pages");
    page(0, 20, kNewestFirst, kAll);
    page(20, 40, kNewestFirst, kAll);
    page(0, 3, kOldestFirst, kImages);
    page(0, 5, kNewestFirst, kVideos);
    page(1'000'000, 1'000'010, kNewestFirst, kAll);
  }

  void showAssets() {
    printHeadline("Single assets");
    const auto photo = firstWhere("photo", isPlainPhoto);
    const auto live =
        firstWhere("live photo", [](const Value& asset) { return flagAt(asset, "isLivePhoto"); });
    const auto burst =
        firstWhere("burst", [](const Value& asset) { return flagAt(asset, "representsBurst"); });
    for (const auto& asset : {photo, live}) {
      if (asset) showAsset(*asset);
    }
    if (burst) {
      const Value members =
          calls_.result("getBurstAssetList", Map{{"assetId", *burst}}, isListOf("burstIdentifier"));
      if (!members.isNull()) printAssets(*members.as<List>());
    }
  }

  void showAsset(const std::string& id) {
    const Value record = calls_.result("getAssetInfo", Map{{"assetId", id}}, is<Map>);
    if (!record.isNull()) printAssets({record});
    calls_.show("getAssetOriginalFilename", Map{{"assetId", id}}, isText);
  }

  void showThumbnails() {
    printHeadline("Thumbnails");
    const auto still = firstWhere("photo", isPlainPhoto);
    if (still) {
      showThumbnail(*still, 256, kFit, true);
      showThumbnail(*still, 96, kFill, false);
    }
    const auto video = firstWhere(
        "video", [](const Value& asset) { return integerAt(asset, "mediaType") == kVideos; });
    if (video) showThumbnail(*video, 256, kFit, true);
    std::printf("\nand one of every asset on the first pages, %dx%d\n", kGridSize, kGridSize);
    Table table({"file", "bytes", "thumbnail"});
    for (const Value& asset : assets_) {
      if (integerAt(asset, "mediaType") != kAudio) addThumbnail(table, asset);
    }
    table.print();
  }

  static Value thumbnailArguments(const std::string& id, int size, int contentMode, bool jpeg) {
    return Map{{"assetId", id},
               {"width", static_cast<double>(size)},
               {"height", static_cast<double>(size)},
               {"contentMode", contentMode},
               {"jpegFormat", jpeg}};
  }

  void showThumbnail(const std::string& id, int size, int contentMode, bool jpeg) {
    const Value bytes = calls_.result(
        "getThumbnail", thumbnailArguments(id, size, contentMode, jpeg), is<ByteBuffer>);
    if (bytes.isNull()) return;
    const std::string name = write(*bytes.as<ByteBuffer>(), jpeg ? ".jpg" : ".png");
    std::printf("    %s, written to %s\n", readableSize(bytes.as<ByteBuffer>()->size()).c_str(),
                name.c_str());
  }

  void addThumbnail(Table& table, const Value& asset) {
    const std::string id = textAt(asset, "id");
    const auto reply =
        calls_.sendQuietly("getThumbnail", thumbnailArguments(id, kGridSize, kFit, true));
    const auto file = calls_.sendQuietly("getAssetOriginalFilename", Map{{"assetId", id}});
    const auto* value = std::get_if<Value>(&reply);
    const auto* name = std::get_if<Value>(&file);
    if (value == nullptr || !is<ByteBuffer>(*value) || name == nullptr) {
      return calls_.fail("no thumbnail of " + id);
    }
    const ByteBuffer& bytes = *value->as<ByteBuffer>();
    table.add({std::string(name->text()), std::to_string(bytes.size()), write(bytes, ".jpg")});
  }

  std::string write(const ByteBuffer& bytes, const char* extension) {
    std::string name = "thumbnail-" + std::to_string(++written_) + extension;
    std::ofstream file(thumbnails_ / name, std::ios::binary);
    file.write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
    if (!file) calls_.fail("cannot write " + name);
    return name;
  }

  void showCacheControls() {
    printHeadline("Cache controls");
    const Value anything = Map{{"assetIds", List{"any", "thing"}}};
    calls_.show("startCachingImages", anything, isTrue);
    calls_.show("stopCachingImages", anything, isTrue);
    calls_.show("stopAllCachingImages", {}, isTrue);
    calls_.show("clearAllCache", {}, isTrue);
  }

  void showFaults() {
    printHeadline("Faults, answered as errors");
    calls_.showError("getGalleryList", Map{{"withAllPhotos", true}}, "Invalid arguments");
    calls_.showError("getAssetInfo", Map{{"assetId", "no-such-asset"}},
                     "Asset not found id = no-such-asset");
  }

  ExportSamples exportSamples() {
    ExportSamples samples;
    samples.photo = firstWhere("photo", isPlainPhoto);
    samples.livePhoto =
        firstWhere("live photo", [](const Value& asset) { return flagAt(asset, "isLivePhoto"); });
    samples.heicPhoto = firstWhere("HEIC photo", [this](const Value& asset) {
      return isPlainPhoto(asset) && upperCaseName(asset).ends_with(".HEIC");
    });
    if (!slowMotion_.empty()) {
      const Value first = calls_.result(
          "getGalleryFirstAssetId",
          Map{{"collectionId", slowMotion_}, {"sort", kNewestFirst}, {"mediaType", kVideos}},
          isText);
      if (!first.isNull()) samples.slowMotion = first.text();
    }
    samples.video = shortestVideo(samples.slowMotion);
    return samples;
  }

  /// A long one would take long.
  std::optional<std::string> shortestVideo(const std::optional<std::string>& except) {
    std::optional<std::string> shortest;
    double least = 0;
    for (const Value& asset : assets_) {
      const double duration = doubleAt(asset, "duration");
      if (integerAt(asset, "mediaType") != kVideos || textAt(asset, "id") == except) continue;
      if (shortest && duration >= least) continue;
      shortest = textAt(asset, "id");
      least = duration;
    }
    return shortest;
  }

  std::string upperCaseName(const Value& asset) {
    const auto reply =
        calls_.sendQuietly("getAssetOriginalFilename", Map{{"assetId", textAt(asset, "id")}});
    const auto* value = std::get_if<Value>(&reply);
    std::string name(value == nullptr ? "" : value->text());
    std::ranges::transform(name, name.begin(), [](unsigned char c) { return std::toupper(c); });
    return name;
  }

  static bool isPlainPhoto(const Value& asset) {
    return integerAt(asset, "mediaType") == kImages && !flagAt(asset, "isLivePhoto");
  }

  /// The identifier of the first such asset on the pages that were shown.
  template <class Condition>
  std::optional<std::string> firstWhere(const char* what, Condition condition) {
    for (const Value& asset : assets_) {
      if (condition(asset)) return textAt(asset, "id");
    }
    std::printf("\n(no %s on the first pages)\n", what);
    return std::nullopt;
  }

  Calls calls_;
  const std::filesystem::path thumbnails_;
  std::string everything_;  ///< identifier of the gallery of all assets
  std::string slowMotion_;  ///< of the one of slow motion, if there is any
  List assets_;             ///< of the pages that were shown
  std::size_t written_ = 0;
};

}  // namespace
}  // namespace quorvin

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: quorvin-demo LIBRARY FOLDER\n");
    return 2;
  }
  return quorvin::Demo(argv[1], argv[2]).run();
}
