// Folders as cameras, phones, photo services and other programs leave them.
#include <algorithm>
#include <cstdlib>

#include "testing/engine/tool_fixture.h"

namespace quorvin {
namespace {

constexpr const char* kAdjustment =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!DOCTYPE plist PUBLIC \"-//A//DTD PLIST "
    "1.0//EN\" "
    "\"http://example.com/plist.dtd\">\n<plist version=\"1.0\"><dict><key>adjustmentData</key>"
    "<data>AA==</data></dict></plist>\n";

class RealFolders : public ToolFixture {
 protected:
  fs::path in() const { return folder() / "in"; }
  /// A file of ours under another name.
  void put(const std::string& name, const std::string& media) {
    fs::create_directories((in() / name).parent_path());
    fs::copy_file(kGoodMedia / media, in() / name);
  }
  void putText(const std::string& name, const std::string& text) {
    fs::create_directories((in() / name).parent_path());
    write(in() / name, text);
  }
  void date(const std::string& name, const std::string& date) {
    EXPECT_EQ(run({"exiftool", "-q", "-overwrite_original", "-DateTimeOriginal=" + date,
                   "-OffsetTimeOriginal=+00:00", in() / name})
                  .status,
              0);
  }
  Ran import(Words words = {}) {
    words.insert(words.begin(), {"--library", library(), "import", in()});
    return quorvin(words);
  }
  Json result(const std::string& method, const std::string& arguments) {
    return call(library(), method, arguments)["result"];
  }
  /// Records of all that a listing shows.
  Json records() {
    const Json galleries =
        result("getGalleryList", R"({"withAllPhotos":true,"filterEmptyAsset":false,)"
                                 R"("withSmartAlbum":true,"mediaType":0})");
    for (const Json& gallery : galleries) {
      if (gallery["title"] != "Recents") continue;
      return result("getAssetList", R"({"collectionId":)" + gallery["id"].dump() +
                                        R"(,"start":0,"end":100,"sort":0,"mediaType":0})");
    }
    return {};
  }
  std::string nameOf(const Json& record) {
    return result("getAssetOriginalFilename", R"({"assetId":)" + record["id"].dump() + "}");
  }
  void expectSound() {
    const Ran check = quorvin({"--library", library(), "check", "--content"});
    EXPECT_EQ(check.status, 0) << check.out << check.err;
  }
};

TEST_F(RealFolders, ShowTheEditedPictureAndKeepItsOriginal) {
  put("IMG_1234.HEIC", "IMG_0010.HEIC");
  put("IMG_E1234.JPG", "orientation_6.jpg");
  putText("IMG_1234.AAE", kAdjustment);
  const Ran ran = import();
  EXPECT_EQ(ran.status, 0) << ran.err;
  EXPECT_EQ(ran.out.find("Added 1 asset from 3 files"), 0U) << ran.out;
  const Json shown = records();
  ASSERT_EQ(shown.size(), 1U) << shown;
  EXPECT_EQ(nameOf(shown[0]), "IMG_1234.HEIC");
  // The rendering's picture, the original's date.
  EXPECT_EQ(shown[0]["creationDate"], 1690873200000);
  const Ran rendering =
      quorvin({"--library", library(), "call", "getImageData",
               R"({"assetId":)" + shown[0]["id"].dump() + R"(,"convertJpeg":false,"quality":1.0})",
               "--out", folder() / "shown"});
  EXPECT_EQ(rendering.status, 0) << rendering.out << rendering.err;
  EXPECT_EQ(contents(folder() / "shown"), contents(kGoodMedia / "orientation_6.jpg"));
  const Json info = Json::parse(quorvin({"--library", library(), "info", "--json"}).out);
  EXPECT_EQ(info["photos"], 1);
  expectSound();
  EXPECT_EQ(import().out.find("Added 0 assets from 0 files"), 0U);
}

TEST_F(RealFolders, KeepARawFileBesideItsPhoto) {
  put("DSC_1.JPG", "IMG_0001.jpg");
  put("DSC_1.DNG", "scan.tif");
  EXPECT_EQ(
      run({"exiftool", "-q", "-overwrite_original", "-IFD0:DNGVersion=1 4 0 0", in() / "DSC_1.DNG"})
          .status,
      0);
  date("DSC_1.JPG", "2024:05:06 07:08:09");
  date("DSC_1.DNG", "2024:05:06 07:08:09");
  const Ran ran = import();
  EXPECT_EQ(ran.status, 0) << ran.err;
  EXPECT_EQ(ran.out.find("Added 1 asset from 2 files"), 0U) << ran.out;
  const Json shown = records();
  ASSERT_EQ(shown.size(), 1U);
  EXPECT_EQ(shown[0]["creationDate"], 1714979289123);
  expectSound();
}

TEST_F(RealFolders, TakeDatesAndFavoritesFromSideFiles) {
  put("NO_DATE.jpg", "NO_DATE.jpg");
  putText("NO_DATE.xmp",
          R"(<x:xmpmeta xmlns:x="adobe:ns:meta/"><rdf:RDF )"
          R"(xmlns:rdf="http://www.w3.org/1999/02/22-rdf-syntax-ns#"><rdf:Description )"
          R"(rdf:about="" xmlns:xmp="http://ns.adobe.com/xap/1.0/" xmp:Rating="5" )"
          R"(xmp:CreateDate="2001-02-03T04:05:06Z"/></rdf:RDF></x:xmpmeta>)");
  const Ran ran = import();
  EXPECT_EQ(ran.status, 0) << ran.err;
  const Json shown = records();
  ASSERT_EQ(shown.size(), 1U) << shown;
  EXPECT_EQ(shown[0]["creationDate"], 981173106000);
  EXPECT_EQ(shown[0]["isFavorite"], true);
  expectSound();
}

TEST_F(RealFolders, OfAPhotoServiceBecomeAlbumsOfPhotosThatAreThereOnce) {
  const std::string taken = R"({"title":"NO_DATE.jpg","photoTakenTime":{"timestamp":"1000000000"},)"
                            R"("favorited":true})";
  put("Photos from 2001/NO_DATE.jpg", "NO_DATE.jpg");
  putText("Photos from 2001/NO_DATE.jpg.supplemental-metadata.json", taken);
  put("Trip/NO_DATE.jpg", "NO_DATE.jpg");
  putText("Trip/NO_DATE.jpg.json", taken);
  putText("Trip/metadata.json", R"({"title":"To the sea","description":""})");
  put("Trip/IMG_1.jpg", "IMG_0001.jpg");
  const Ran ran = import();
  EXPECT_EQ(ran.status, 0) << ran.err;
  EXPECT_EQ(ran.out.find("Added 2 assets"), 0U) << ran.out;
  bool isDated = false;
  for (const Json& record : records()) {
    isDated |= record["creationDate"] == 1000000000000 && record["isFavorite"] == true;
  }
  EXPECT_TRUE(isDated);
  const Json albums = Json::parse(quorvin({"--library", library(), "info", "--json"}).out);
  EXPECT_NE(albums.dump().find("To the sea"), std::string::npos) << albums;
  EXPECT_EQ(albums.dump().find("Photos from 2001"), std::string::npos) << albums;
  expectSound();
  EXPECT_EQ(import({"--albums"}).status, 0);
  const Json more = Json::parse(quorvin({"--library", library(), "info", "--json"}).out);
  EXPECT_NE(more.dump().find("Photos from 2001"), std::string::npos) << more;
  EXPECT_EQ(more["photos"], 2);
}

TEST_F(RealFolders, MayComeFileByFile) {
  put("IMG_1234.HEIC", "IMG_0011.HEIC");
  put("IMG_1234.MOV", "IMG_0011.MOV");
  put("IMG_E1234.JPG", "orientation_6.jpg");
  putText("IMG_1234.AAE", kAdjustment);
  for (const char* file : {"IMG_1234.AAE", "IMG_E1234.JPG", "IMG_1234.MOV", "IMG_1234.HEIC"}) {
    const Ran ran = quorvin({"--library", library(), "import", in() / file});
    EXPECT_EQ(ran.status, 0) << file << ran.err;
    expectSound();
  }
  const Json shown = records();
  ASSERT_EQ(shown.size(), 1U) << shown;
  EXPECT_EQ(shown[0]["isLivePhoto"], true);
  EXPECT_EQ(quorvin({"--library", library(), "trash", "list"}).out, "");
}

TEST_F(RealFolders, OfRealCamerasComeInWhole) {
  const char* const media = std::getenv("QUORVIN_TEST_MEDIA");
  if (media == nullptr) GTEST_SKIP() << "QUORVIN_TEST_MEDIA names no folder of real files";
  fs::create_directory(in());
  std::size_t files = 0;
  for (const auto& entry : fs::directory_iterator(media)) {
    if (entry.path().extension() == ".md") continue;
    fs::copy_file(entry.path(), in() / entry.path().filename());
    ++files;
  }
  const std::string first = fs::directory_iterator(in())->path().filename();
  putText(fs::path(first).stem().string() + ".AAE", kAdjustment);
  const Ran ran = import({"--json"});
  const Json summary = Json::parse(ran.out.substr(ran.out.rfind('\n', ran.out.size() - 2) + 1));
  EXPECT_EQ(summary.dump().find("\"files\":0"), std::string::npos) << summary;
  EXPECT_GE(records().size() + 3, files);
  expectSound();
}

}  // namespace
}  // namespace quorvin
