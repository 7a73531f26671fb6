// Out of a library and into an empty one: every method says the same of both, but for identifiers.
#include <fstream>
#include <functional>
#include <map>
#include <sstream>

#include "codec/standard_method_codec.h"
#include "testing/engine/exports.h"

namespace quorvin {
namespace {

namespace fs = std::filesystem;

/// What the methods say of a library, a line each, with identifiers and paths made plain.
class Portrait {
 public:
  explicit Portrait(const std::string& library) {
    channel_.use(library);
    nameAssets(library);
    nameGalleries();
    tellOfTheWhole();
    for (const auto& [id, name] : galleries_) tellOfGallery(id, name);
    for (const std::string& id : assets_) tellOfAsset(id);
    tellOfChanges();
  }

  const std::vector<std::string>& lines() const { return lines_; }

 private:
  // Hidden ones and members of bursts as well, in the order of addition.
  void nameAssets(const std::string& library) {
    std::istringstream rows(
        outputOf({"sqlite3", library + "/library.sqlite", "SELECT ident FROM assets ORDER BY id"}));
    for (std::string id; std::getline(rows, id);) {
      names_[id] = "asset " + std::to_string(assets_.size());
      assets_.push_back(id);
    }
  }
  void nameGalleries() {
    for (const Value& gallery : channel_.galleries(kAll)) {
      const std::string id = textAt(gallery, "id");
      const std::string name = "gallery " + textAt(gallery, "title");
      names_[id] = name;
      galleries_.emplace_back(id, name);
    }
  }

  void tell(const std::string& about, const std::string& method, const Value& arguments) {
    const Answer& answer = channel_.call(method, arguments);
    channel_.await(answer);
    const auto reply = decodeEnvelope(answer.message);
    ASSERT_TRUE(reply) << method;
    std::string text;
    if (const auto* fault = std::get_if<FlutterError>(&*reply)) {
      text = "error " + plain(fault->message);
    } else {
      const Value& value = std::get<Value>(*reply);
      text = textOf(value);
      if (const auto* map = value.as<Map>(); map != nullptr && find(*map, "url") != nullptr) {
        const fs::path file = textAt(value, "url");
        const bool isOwn = file.string().find("/originals/") != std::string::npos;
        text = (isOwn ? "an original" : file.filename().string()) + sizeAndHash(bytesOf(file));
      }
    }
    lines_.push_back(about + ", " + method + ": " + text);
  }

  void tellOfTheWhole() {
    for (const char* method : {"getPlatformVersion", "getPermission", "clearAllCache",
                               "startCachingImages", "stopCachingImages", "stopAllCachingImages"}) {
      tell("library", method, {});
    }
    for (const int mediaType : {kAll, kImages, kVideos, kAudio}) {
      tell("library", "getGalleryList",
           Map{{"withAllPhotos", true},
               {"filterEmptyAsset", false},
               {"withSmartAlbum", true},
               {"mediaType", mediaType}});
    }
  }

  void tellOfGallery(const std::string& id, const std::string& name) {
    for (const int sort : {kNewestFirst, kOldestFirst, 2}) {
      const Map asked{{"collectionId", id}, {"sort", sort}, {"mediaType", kAll}};
      tell(name, "getGalleryAssetCount", asked);
      tell(name, "getGalleryFirstAssetId", asked);
      Map page = asked;
      page.emplace_back("start", 0);
      page.emplace_back("end", 1000);
      tell(name, "getAssetList", page);
    }
  }

  void tellOfAsset(const std::string& id) {
    const std::string& name = names_[id];
    tell(name, "getAssetInfo", Map{{"assetId", id}});
    tell(name, "getAssetOriginalFilename", Map{{"assetId", id}});
    tell(name, "getThumbnail",
         Map{{"assetId", id},
             {"width", 200},
             {"height", 200},
             {"contentMode", 0},
             {"jpegFormat", true}});
    tell(name, "getImageData", imageData(id, false));
    tell(name, "getImageUrl", imageFile(id));
    tell(name, "getLivePhotoUrl", livePhotoFile(id));
    tell(name, "getVideoUrl", videoFile(id, Format::original));
    tell(name, "getBurstAssetList", Map{{"assetId", id}});
  }

  // Last, for they leave something behind.
  void tellOfChanges() {
    tell("changes", "deleteAssets", Map{{"assetIds", List{assets_.front()}}});
    const Value album = channel_.result("createAlbum", Map{{"title", "Later"}});
    names_[textAt(album, "id")] = "gallery Later";
    for (const auto& [method, file] :
         {std::pair("saveImage", "orientation_1.jpg"), std::pair("saveVideo", "CLIP.mp4")}) {
      const Map arguments{{"filePath", (kGoodMedia / file).string()},
                          {"collectionId", textAt(album, "id")}};
      names_[textAt(channel_.result(method, arguments), "id")] = "a saved asset";
    }
    tell("changes", "getGalleryList",
         Map{{"withAllPhotos", true},
             {"filterEmptyAsset", true},
             {"withSmartAlbum", true},
             {"mediaType", kAll}});
  }

  std::string plain(std::string text) const {
    for (const auto& [id, name] : names_) {
      for (std::size_t at = text.find(id); at != text.npos; at = text.find(id)) {
        text.replace(at, id.size(), name);
      }
    }
    return text;
  }

  static std::string sizeAndHash(std::string_view bytes) {
    return " of " + std::to_string(bytes.size()) + " bytes " +
           std::to_string(std::hash<std::string_view>()(bytes));
  }

  std::string textOf(const Value& value) const {
    if (const auto* list = value.as<List>()) {
      std::string text = "[";
      for (const Value& each : *list) text += textOf(each) + " ";
      return text + "]";
    }
    if (const auto* map = value.as<Map>()) {
      std::string text = "{";
      for (const auto& [key, each] : *map) text += textOf(key) + "=" + textOf(each) + " ";
      return text + "}";
    }
    if (const auto* bytes = value.as<ByteBuffer>()) {
      return sizeAndHash({reinterpret_cast<const char*>(bytes->data()), bytes->size()});
    }
    if (const auto* integer = value.as<std::int64_t>()) return std::to_string(*integer);
    if (const auto* number = value.as<double>()) return std::to_string(*number);
    if (const auto* flag = value.as<bool>()) return *flag ? "true" : "false";
    return value.isText() ? plain(std::string(value.text())) : "null";
  }

  Exports channel_;
  std::vector<std::string> assets_;
  std::vector<std::pair<std::string, std::string>> galleries_;
  std::map<std::string, std::string> names_;
  std::vector<std::string> lines_;
};

void put(const fs::path& file, const std::string& bytes) {
  fs::create_directories(file.parent_path());
  std::ofstream(file, std::ios::binary) << bytes;
}

/// Photos and movies of kinds that the generated media have none of.
void putMore(const fs::path& place) {
  const std::string photo = bytesOf(kGoodMedia / "IMG_0002.jpg");
  // An edited picture, with its original and its adjustment.
  put(place / "IMG_2001.JPG", photo + "original");
  put(place / "IMG_E2001.JPG", bytesOf(kGoodMedia / "orientation_3.jpg") + "edited");
  put(place / "IMG_2001.AAE", "<?xml version=\"1.0\"?><plist version=\"1.0\"><dict/></plist>");
  // A raw file beside its JPEG.
  put(place / "DSC_7.JPG", photo + "beside a raw file");
  fs::copy_file(kGoodMedia / "scan.tif", place / "DSC_7.DNG");
  outputOf({"exiftool", "-q", "-overwrite_original", "-DNGVersion=1.4.0.0",
            "-DateTimeOriginal=2023:07:14 18:31:00", "-OffsetTimeOriginal=+02:00",
            place / "DSC_7.DNG"});
  // A motion photo.
  const std::string movie = bytesOf(kGoodMedia / "CLIP.mp4");
  put(place / "MVIMG_1.jpg", bytesOf(kGoodMedia / "orientation_5.jpg"));
  outputOf({"exiftool", "-q", "-overwrite_original", "-XMP-GCamera:MicroVideo=1",
            "-XMP-GCamera:MicroVideoOffset=" + std::to_string(movie.size()),
            place / "MVIMG_1.jpg"});
  put(place / "MVIMG_1.jpg", bytesOf(place / "MVIMG_1.jpg") + movie);
  // One name, twice in a month.
  put(place / "again/IMG_0001.jpg", photo + "of the same name");
  put(place / "again/IMG_0001.MOV", bytesOf(kGoodMedia / "IMG_0011.MOV") + std::string(8, '\0'));
  put(place / "rated.jpg", photo + "rated");
  put(place / "rated.xmp",
      "<x:xmpmeta xmlns:x=\"adobe:ns:meta/\"><rdf:RDF "
      "xmlns:rdf=\"http://www.w3.org/1999/02/22-rdf-syntax-ns#\"><rdf:Description rdf:about=\"\" "
      "xmlns:xmp=\"http://ns.adobe.com/xap/1.0/\" xmp:Rating=\"5\"/></rdf:RDF></x:xmpmeta>");
}

TEST(RoundTrip, AnImportOfAnExportGivesTheSameLibrary) {
  const Engines engines;
  const fs::path folder = engines.folder();
  const std::string before = folder / "before";
  putMore(folder / "more");
  outputOf({QUORVIN_TOOL, "--library", before, "import", kGoodMedia});
  outputOf({QUORVIN_TOOL, "--library", before, "import", "--album", "Sea/Sky", folder / "more"});
  outputOf(
      {QUORVIN_TOOL, "--library", before, "import", "--album", "Holidays", kGoodMedia / "album"});
  outputOf({QUORVIN_TOOL, "--library", before, "call", "createAlbum", R"({"title": "Empty"})"});
  outputOf({"sqlite3", before + "/library.sqlite",
            "UPDATE assets SET favorite = 1 WHERE id % 5 = 2;"
            "UPDATE assets SET hidden = 1 WHERE id % 9 = 4;"
            "UPDATE assets SET burst_sel = burst_sel | 2 WHERE burst_id IS NOT NULL AND id % 2"});
  const auto parts = [](const std::string& library) {
    return outputOf({"sqlite3", library + "/library.sqlite",
                     "SELECT group_concat(type || ' ' || name) FROM (SELECT * FROM resources"
                     " WHERE type < 1000 ORDER BY asset, pos) GROUP BY asset"});
  };
  for (const char* whole :
       {"1 IMG_2001.JPG,5 FullSizeRender.jpg,7 Adjustments.plist", "1 DSC_7.JPG,4 DSC_7.DNG",
        "1 MVIMG_1.jpg,9 MVIMG_1.MP4", "1 IMG_0001.jpg,9 IMG_0001.MOV"}) {
    EXPECT_NE(parts(before).find(whole), std::string::npos) << whole << "\n" << parts(before);
  }
  std::vector<std::string> after;
  for (const char* layout : {"date", "album"}) {
    const fs::path out = folder / layout;
    after.push_back(out.string() + " imported");
    outputOf({QUORVIN_TOOL, "--library", before, "export", "--layout", layout, out});
    outputOf({QUORVIN_TOOL, "--library", after.back(), "import", out});
  }

  const std::string partsBefore = parts(before);
  const Portrait one(before);
  EXPECT_GT(one.lines().size(), 300U);
  for (const std::string& library : after) {
    EXPECT_EQ(parts(library), partsBefore);
    const Portrait other(library);
    ASSERT_EQ(one.lines().size(), other.lines().size());
    for (std::size_t i = 0; i < one.lines().size(); ++i) {
      EXPECT_EQ(other.lines()[i], one.lines()[i]) << library;
    }
  }
}

}  // namespace
}  // namespace quorvin
