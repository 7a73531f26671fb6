// Names of exported images.
#include <string>
#include <utility>
#include <vector>

#include "tests/channel/exports_fixture.h"

namespace quorvin {
namespace {

namespace fs = std::filesystem;

std::string times(std::size_t count, char c) {
  return std::string(count, c);
}

class ImageFileNames : public ExportsFixture {
 protected:
  /// A library whose photos have these names.
  void import(const std::vector<std::pair<std::string, std::string>>& sourcesAndNames) {
    std::vector<fs::path> files;
    fs::create_directory(folder() / "names");
    for (const auto& [source, name] : sourcesAndNames) {
      files.push_back(folder() / "names" / name);
      fs::copy(kGoodMedia / source, files.back());
    }
    use(libraryOf(files), temporary());
  }
  void rename(const std::string& library, const std::string& from, const std::string& to) {
    outputOf({"sqlite3", library + "/library.sqlite",
              "UPDATE resources SET name = '" + to + "' WHERE name = '" + from + "'"});
  }
};

TEST_F(ImageFileNames, LoseOnlyTheirLastExtensionInAConversion) {
  import({{"IMG_0010.HEIC", "many.dots.in.a.name.HEIC"},
          {"IMG_0002.jpg", "no_extension"},
          { "IMG_0003.JPG",
            "name ' with \" $(quotes) \\ \xC3\xA9.JPG" }});
  EXPECT_EQ(image("many.dots.in.a.name.HEIC").filename(), "many.dots.in.a.name.HEIC");
  EXPECT_EQ(image("many.dots.in.a.name.HEIC", true).filename(), "many.dots.in.a.name.jpg");
  EXPECT_EQ(image("no_extension").filename(), "no_extension");
  EXPECT_EQ(image("no_extension", false, true).filename(), "no_extension.jpg");
  EXPECT_EQ(image("name ' with \" $(quotes) \\ \xC3\xA9.JPG", false, true).filename(),
            "name ' with \" $(quotes) \\ \xC3\xA9.jpg");
}

TEST_F(ImageFileNames, MayBeAsLongAsTheFileSystemTakesThem) {
  const std::string withExtension = times(251, 'n') + ".jpg";
  const std::string without = times(255, 'm');
  import({{"IMG_0002.jpg", withExtension}, { "IMG_0003.JPG", without }});
  EXPECT_EQ(image(withExtension).filename(), withExtension);
  EXPECT_EQ(image(withExtension, false, true).filename(), withExtension);
  EXPECT_EQ(image(without).filename(), without);
  const FlutterError tooLong = error("getImageUrl", imageFile(asset(without), false, true));
  EXPECT_EQ(tooLong.message, "Failed to save image");
  EXPECT_NE(tooLong.details.text(), "");
  EXPECT_EQ(filesIn(temporary()).size(), 2u);
}

TEST_F(ImageFileNames, OfTheFoldersThemselvesFailAndTouchNothing) {
  useCopy([this](const std::string& library) {
    rename(library, "IMG_0002.jpg", "..");
    rename(library, "IMG_0003.JPG", ".");
  });
  const std::string up = asset("..");
  const std::string here = asset(".");
  image("IMG_0011.HEIC");
  const auto kept = filesIn(temporary());
  for (const std::string& id : {up, here}) {
    const FlutterError fault = error("getImageUrl", imageFile(id));
    EXPECT_EQ(fault.message, "Failed to save image");
    EXPECT_NE(fault.details.text(), "");
  }
  fs::remove_all(folder() / "copy/originals");
  for (const std::string& id : {up, here}) {
    const FlutterError fault = error("getImageUrl", imageFile(id));
    EXPECT_EQ(fault.message, "Failed to export live photo video id = " + id);
    EXPECT_NE(fault.details.text(), "");
  }
  EXPECT_EQ(filesIn(temporary()), kept);
}

TEST_F(ImageFileNames, OfDotsAreNamesWhenMoreFollows) {
  useCopy([this](const std::string& library) {
    rename(library, "NO_DATE.jpg", "...");
    rename(library, "IMG_0010.HEIC", "..HEIC");
  });
  EXPECT_EQ(image("...").filename(), "...");
  EXPECT_EQ(image("..HEIC", true).filename(), "..jpg");
}

// The directory

}  // namespace
}  // namespace quorvin
