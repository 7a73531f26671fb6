// What kind of file an image becomes, and under which name.
#include <fstream>
#include <utility>

#include "testing/engine/exports.h"

namespace quorvin {
namespace {

namespace fs = std::filesystem;

// Types

class ImageFileTypes : public testing::Test {
 protected:
  Exports channel;

  /// A library of one file with these bytes.
  void import(const std::string& name, const std::string& bytes) {
    std::ofstream(channel.folder() / name, std::ios::binary) << bytes;
    channel.use(channel.libraryOf({channel.folder() / name}));
  }
  /// The HEIC with other brands: it stays the same picture.
  static std::string heicOfBrands(const std::string& major, const std::string& compatible) {
    std::string bytes = bytesOf(kGoodMedia / "IMG_0010.HEIC");
    const std::size_t end = bytes.find("meta");
    for (std::size_t at = 16; at + 4 <= end - 4; at += 4) {
      if (bytes.compare(at, 4, "heic") == 0) bytes.replace(at, 4, compatible);
    }
    return bytes.replace(8, 4, major);
  }
  bool isJpeg(const ByteBuffer& bytes) {
    return bytes.size() > 1 && bytes.data()[0] == 0xFF && bytes.data()[1] == 0xD8;
  }
};

TEST_F(ImageFileTypes, OfHeicThatNamesAMoreGeneralTypeFirstAreConverted) {
  import("GENERAL.HEIC", heicOfBrands("mif1", "heic"));
  EXPECT_TRUE(isJpeg(channel.data("GENERAL.HEIC", true)));
  EXPECT_EQ(channel.image("GENERAL.HEIC", true).filename(), "GENERAL.jpg");
}

TEST_F(ImageFileTypes, OfOtherHeifAreConvertedWhereTheDataIsNot) {
  import("OTHER.HEIF", heicOfBrands("mif1", "miaf"));
  EXPECT_FALSE(isJpeg(channel.data("OTHER.HEIF", true)));
  const fs::path file = channel.image("OTHER.HEIF", true);
  EXPECT_EQ(file.filename(), "OTHER.jpg");
  EXPECT_EQ(seeStill(file).size, (PixelSize{1200, 900}));
}

TEST_F(ImageFileTypes, AreTheContentsNotTheNames) {
  import("heic_named.jpg", bytesOf(kBadMedia / "heic_named.jpg"));
  EXPECT_TRUE(isJpeg(channel.data("heic_named.jpg", true)));
  EXPECT_FALSE(isJpeg(channel.data("heic_named.jpg", false)));
  EXPECT_EQ(seeStill(channel.image("heic_named.jpg", true)).format, "mjpeg");
}

TEST_F(ImageFileTypes, OfAJpegWithTheNameOfHeicStay) {
  const std::string jpeg = bytesOf(kGoodMedia / "IMG_0002.jpg");
  import("jpeg_named.HEIC", jpeg);
  const fs::path file = channel.image("jpeg_named.HEIC", true);
  EXPECT_EQ(file.filename(), "jpeg_named.HEIC");
  EXPECT_TRUE(bytesOf(file) == jpeg);
}

// Names

std::string times(std::size_t count, char c) {
  return std::string(count, c);
}

class ImageFileNames : public testing::Test {
 protected:
  Exports channel;

  /// A library whose photos have these names.
  void import(const std::vector<std::pair<std::string, std::string>>& sourcesAndNames) {
    std::vector<fs::path> files;
    fs::create_directory(channel.folder() / "names");
    for (const auto& [source, name] : sourcesAndNames) {
      files.push_back(channel.folder() / "names" / name);
      fs::copy(kGoodMedia / source, files.back());
    }
    channel.use(channel.libraryOf(files));
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
  EXPECT_EQ(channel.image("many.dots.in.a.name.HEIC").filename(), "many.dots.in.a.name.HEIC");
  EXPECT_EQ(channel.image("many.dots.in.a.name.HEIC", true).filename(), "many.dots.in.a.name.jpg");
  EXPECT_EQ(channel.image("no_extension").filename(), "no_extension");
  EXPECT_EQ(channel.image("no_extension", false, true).filename(), "no_extension.jpg");
  EXPECT_EQ(channel.image("name ' with \" $(quotes) \\ \xC3\xA9.JPG", false, true).filename(),
            "name ' with \" $(quotes) \\ \xC3\xA9.jpg");
}

TEST_F(ImageFileNames, MayBeAsLongAsTheFileSystemTakesThem) {
  const std::string withExtension = times(251, 'n') + ".jpg";
  const std::string without = times(255, 'm');
  import({{"IMG_0002.jpg", withExtension}, { "IMG_0003.JPG", without }});
  EXPECT_EQ(channel.image(withExtension).filename(), withExtension);
  EXPECT_EQ(channel.image(withExtension, false, true).filename(), withExtension);
  EXPECT_EQ(channel.image(without).filename(), without);
  const FlutterError tooLong =
      channel.error("getImageUrl", imageFile(channel.asset(without), false, true));
  EXPECT_EQ(tooLong.message, "Failed to save image");
  EXPECT_NE(tooLong.details.text(), "");
  EXPECT_EQ(filesIn(channel.temporary()).size(), 2u);
}

TEST_F(ImageFileNames, OfTheFoldersThemselvesFailAndTouchNothing) {
  channel.useCopy([this](const std::string& library) {
    rename(library, "IMG_0002.jpg", "..");
    rename(library, "IMG_0003.JPG", ".");
  });
  const std::string up = channel.asset("..");
  const std::string here = channel.asset(".");
  channel.image("IMG_0011.HEIC");
  const auto kept = filesIn(channel.temporary());
  for (const std::string& id : {up, here}) {
    const FlutterError fault = channel.error("getImageUrl", imageFile(id));
    EXPECT_EQ(fault.message, "Failed to save image");
    EXPECT_NE(fault.details.text(), "");
  }
  fs::remove_all(channel.folder() / "copy/originals");
  for (const std::string& id : {up, here}) {
    const FlutterError fault = channel.error("getImageUrl", imageFile(id));
    EXPECT_EQ(fault.message, "Failed to export live photo video id = " + id);
    EXPECT_NE(fault.details.text(), "");
  }
  EXPECT_EQ(filesIn(channel.temporary()), kept);
}

TEST_F(ImageFileNames, OfDotsAreNamesWhenMoreFollows) {
  channel.useCopy([this](const std::string& library) {
    rename(library, "NO_DATE.jpg", "...");
    rename(library, "IMG_0010.HEIC", "..HEIC");
  });
  EXPECT_EQ(channel.image("...").filename(), "...");
  EXPECT_EQ(channel.image("..HEIC", true).filename(), "..jpg");
}

}  // namespace
}  // namespace quorvin
