// quorvin-demo LIBRARY FOLDER: calls the methods of the channel on a library, prints each call and
// its reply, and leaves thumbnails in FOLDER. Fails when a reply is not of the expected kind.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <optional>

#include "demo/channel.h"
#include "demo/printing.h"
#include "tool/json.h"

namespace quorvin {
namespace {

enum Filter { kAll = 0, kImages = 1, kVideos = 2, kAudio = 3 };
constexpr int kNewestFirst = 0;
constexpr int kOldestFirst = 1;
constexpr int kFit = 0;
constexpr int kFill = 1;
constexpr int kGridSize = 160;

template <class T>
bool is(const Value& value) {
  return value.as<T>() != nullptr;
}

bool isTrue(const Value& value) {
  return value == Value(true);
}
bool isText(const Value& value) {
  return value.isText();
}

/// A list of maps that hold a key.
std::function<bool(const Value&)> isListOf(std::string_view key) {
  return [key](const Value& value) {
    const auto* list = value.as<List>();
    if (list == nullptr) return false;
    for (const Value& element : *list) {
      if (!is<Map>(element) || find(*element.as<Map>(), key) == nullptr) return false;
    }
    return true;
  };
}

class Demo {
 public:
  Demo(const std::string& library, const std::filesystem::path& folder)
      : channel_(library), thumbnails_(folder / "thumbnails") {
    std::filesystem::create_directories(thumbnails_);
  }

  int run() {
    showSystem();
    showGalleries();
    showPages();
    showAssets();
    showThumbnails();
    showCacheControls();
    showFaults();
    showMethodsWithoutHandlers();
    std::printf("\n%zu thumbnails are in %s\n", written_, thumbnails_.c_str());
    if (failures_ == 0) return EXIT_SUCCESS;
    std::printf("Replies not of the expected kind: %d\n", failures_);
    return EXIT_FAILURE;
  }

 private:
  using Check = std::function<bool(const Value&)>;

  void headline(const char* text) { std::printf("\n—— %s\n", text); }

  FlutterReply send(const std::string& method, const Value& arguments) {
    std::printf("\n%s", method.c_str());
    if (!arguments.isNull()) std::printf(" %s", textOf(jsonFromValue(arguments)).c_str());
    std::puts("");
    return channel_.call(method, arguments);
  }

  void fail(const std::string& what) {
    ++failures_;
    std::printf("    UNEXPECTED: %s\n", what.c_str());
  }

  /// Calls, and returns the result; null, and a failure, when it is of another kind.
  Value result(const std::string& method, const Value& arguments, const Check& check) {
    FlutterReply reply = send(method, arguments);
    if (const auto* error = std::get_if<FlutterError>(&reply)) {
      fail(error->message + " " + textOf(jsonFromValue(error->details)));
      return {};
    }
    if (!std::holds_alternative<Value>(reply)) {
      fail("not implemented");
      return {};
    }
    Value value = std::get<Value>(std::move(reply));
    if (check(value)) return value;
    fail(textOf(jsonFromValue(value)));
    return {};
  }

  void show(const std::string& method, const Value& arguments, const Check& check) {
    printValue(result(method, arguments, check));
  }

  /// Calls, and expects an error.
  void showError(const std::string& method, const Value& arguments, const std::string& message) {
    const FlutterReply reply = send(method, arguments);
    const auto* error = std::get_if<FlutterError>(&reply);
    if (error == nullptr || error->message != message) return fail("no error " + message);
    std::printf("    error: %s\n", error->message.c_str());
  }

  List galleries(Filter filter, bool filterEmpty) {
    const Value found = result("getGalleryList",
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
    const Value found = result("getAssetList",
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
    headline("The system and its permission");
    show("getPlatformVersion", {}, isText);
    show("getPermission", {}, isTrue);
  }

  void showGalleries() {
    headline("Galleries and their counts");
    for (const Value& gallery : galleries(kAll, true)) {
      if (textAt(gallery, "title") == "Recents") everything_ = textAt(gallery, "id");
    }
    if (everything_.empty()) fail("no gallery of everything");
    galleries(kVideos, true);
    for (const Filter filter : {kAll, kImages, kVideos, kAudio}) {
      show("getGalleryAssetCount",
           Map{{"collectionId", everything_}, {"sort", kNewestFirst}, {"mediaType", filter}},
           is<Map>);
    }
    show("getGalleryFirstAssetId",
         Map{{"collectionId", everything_}, {"sort", kOldestFirst}, {"mediaType", kAll}}, isText);
  }

  void showPages() {
    headline("Pages");
    page(0, 20, kNewestFirst, kAll);
    page(20, 40, kNewestFirst, kAll);
    page(0, 3, kOldestFirst, kImages);
    page(0, 5, kNewestFirst, kVideos);
    page(1'000'000, 1'000'010, kNewestFirst, kAll);
  }

  void showAssets() {
    headline("Single assets");
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
          result("getBurstAssetList", Map{{"assetId", *burst}}, isListOf("burstIdentifier"));
      if (!members.isNull()) printAssets(*members.as<List>());
    }
  }

  void showAsset(const std::string& id) {
    const Value record = result("getAssetInfo", Map{{"assetId", id}}, is<Map>);
    if (!record.isNull()) printAssets({record});
    show("getAssetOriginalFilename", Map{{"assetId", id}}, isText);
  }

  void showThumbnails() {
    headline("Thumbnails");
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
    const Value bytes =
        result("getThumbnail", thumbnailArguments(id, size, contentMode, jpeg), is<ByteBuffer>);
    if (bytes.isNull()) return;
    const std::string name = write(*bytes.as<ByteBuffer>(), jpeg ? ".jpg" : ".png");
    std::printf("    %s, written to %s\n", readableSize(bytes.as<ByteBuffer>()->size()).c_str(),
                name.c_str());
  }

  void addThumbnail(Table& table, const Value& asset) {
    const std::string id = textAt(asset, "id");
    const auto reply = channel_.call("getThumbnail", thumbnailArguments(id, kGridSize, kFit, true));
    const auto file = channel_.call("getAssetOriginalFilename", Map{{"assetId", id}});
    const auto* value = std::get_if<Value>(&reply);
    const auto* name = std::get_if<Value>(&file);
    if (value == nullptr || !is<ByteBuffer>(*value) || name == nullptr) {
      return fail("no thumbnail of " + id);
    }
    const ByteBuffer& bytes = *value->as<ByteBuffer>();
    table.add({std::string(name->text()), std::to_string(bytes.size()), write(bytes, ".jpg")});
  }

  std::string write(const ByteBuffer& bytes, const char* extension) {
    std::string name = "thumbnail-" + std::to_string(++written_) + extension;
    std::ofstream file(thumbnails_ / name, std::ios::binary);
    file.write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
    if (!file) fail("cannot write " + name);
    return name;
  }

  void showCacheControls() {
    headline("Cache controls");
    const Value anything = Map{{"assetIds", List{"any", "thing"}}};
    show("startCachingImages", anything, isTrue);
    show("stopCachingImages", anything, isTrue);
    show("stopAllCachingImages", {}, isTrue);
    show("clearAllCache", {}, isTrue);
  }

  void showFaults() {
    headline("Faults, answered as errors");
    showError("getGalleryList", Map{{"withAllPhotos", true}}, "Invalid arguments");
    showError("getAssetInfo", Map{{"assetId", "no-such-asset"}},
              "Asset not found id = no-such-asset");
  }

  void showMethodsWithoutHandlers() {
    headline("Methods that this version answers with \"not implemented\"");
    for (const char* method : {"getImageData", "getImageUrl", "getLivePhotoUrl", "getVideoUrl",
                               "deleteAssets", "createAlbum", "saveImage", "saveVideo"}) {
      const FlutterReply reply = send(method, {});
      if (std::holds_alternative<FlutterMethodNotImplementedMarker>(reply)) {
        std::puts("    not implemented");
      } else {
        fail("a reply");
      }
    }
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

  Channel channel_;
  const std::filesystem::path thumbnails_;
  std::string everything_;  ///< identifier of the gallery of all assets
  List assets_;             ///< of the pages that were shown
  std::size_t written_ = 0;
  int failures_ = 0;
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
