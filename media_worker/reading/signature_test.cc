#include "media_worker/reading/signature.h"

#include <gtest/gtest.h>

#include <string>

#include "testing/media/probes.h"

namespace quorvin {
namespace {

using namespace std::string_literals;

std::string identifier(const std::string& head) {
  return std::string(pictureSignature(bytesOf(head)).type.identifier);
}

/// A `ftyp` box with these brands, the major one first.
std::string brands(const std::string& major, const std::string& compatible = "") {
  const auto size = static_cast<char>(16 + compatible.size());
  return "\0\0\0"s + size + "ftyp" + major + "\0\0\0\0"s + compatible + "\0\0\0\x10meta"s;
}

TEST(PictureSignature, TellsPicturesByTheirFirstBytes) {
  EXPECT_EQ(identifier("\xff\xd8\xff\xe0rest"), "public.jpeg");
  EXPECT_EQ(identifier("\x89PNG\r\n\x1a\nrest"), "public.png");
  EXPECT_EQ(identifier("GIF89arest"), "com.compuserve.gif");
  EXPECT_EQ(identifier("GIF87arest"), "com.compuserve.gif");
  EXPECT_EQ(identifier("II*\0\x08\0\0\0"s), "public.tiff");
  EXPECT_EQ(identifier("MM\0*\0\0\0\x08"s), "public.tiff");
  EXPECT_EQ(identifier("RIFF\x10\0\0\0WEBPVP8 "s), "org.webmproject.webp");
  EXPECT_EQ(identifier("\xff\x0arest"), "public.jpeg-xl");
  EXPECT_EQ(identifier("\0\0\0\x0cJXL \r\n\x87\n"s), "public.jpeg-xl");
  EXPECT_EQ(identifier("\0\0\0\x0cjP  \r\n\x87\n"s), "public.jpeg-2000");
  EXPECT_EQ(identifier("II*\0\x10\0\0\0CR\x02\0"s), "com.canon.cr2-raw-image");
  EXPECT_EQ(identifier("FUJIFILMCCD-RAW 0201"), "com.fuji.raw-image");
}

TEST(PictureSignature, TellsTheHeifFamilyByItsMajorBrand) {
  for (const char* brand : {"heic", "heix", "heim", "heis"}) {
    EXPECT_EQ(identifier(brands(brand)), "public.heic") << brand;
  }
  EXPECT_EQ(identifier(brands("hevc")), "public.heics");
  EXPECT_EQ(identifier(brands("hevx")), "public.heics");
  EXPECT_EQ(identifier(brands("avif")), "public.avif");
  EXPECT_EQ(identifier(brands("avis")), "public.avif");
  EXPECT_EQ(identifier(brands("crx ")), "com.canon.cr3-raw-image");
}

TEST(PictureSignature, LooksThroughAGeneralBrandAtTheCompatibleOnes) {
  EXPECT_EQ(identifier(brands("mif1", "mif1miafheic")), "public.heic");
  EXPECT_EQ(identifier(brands("msf1", "heix")), "public.heic");
  EXPECT_EQ(identifier(brands("mif1", "avifmif1")), "public.avif");
  EXPECT_EQ(identifier(brands("mif1", "mif1miaf")), "public.heif");
  EXPECT_EQ(identifier(brands("mif1")), "public.heif");
}

TEST(PictureSignature, LooksForCompatibleBrandsInsideTheBoxAlone) {
  EXPECT_EQ(identifier(brands("mif1", "miaf") + "heic"), "public.heif");
  EXPECT_EQ(identifier("\xff\xff\xff\xff"
                       "ftypmif1"s),
            "public.heif");
}

TEST(PictureSignature, LeavesMoviesAlone) {
  for (const char* brand : {"qt  ", "isom", "mp42", "M4V ", "3gp4"}) {
    EXPECT_EQ(identifier(brands(brand, "heic")), "") << brand;
  }
}

TEST(PictureSignature, TakesNoTextForABitmap) {
  EXPECT_EQ(identifier("BM is how this text begins, and it goes on"), "");
  EXPECT_EQ(identifier("BM\x36\0\0\0\0\0\0\0\x36\0\0\0\x28\0\0\0\x01\0\0\0\x01\0\0\0"s),
            "com.microsoft.bmp");
}

TEST(PictureSignature, TakesTextsAndScriptsForNoPictures) {
  for (const char* text : {"", "<svg xmlns=", "<?xml version=", "%PDF-1.7", "%!PS-Adobe", "#EXTM3U",
                           "ffconcat version 1.0", "P6 1 1 255", "SIMPLE  =", "hello"}) {
    EXPECT_EQ(identifier(text), "") << text;
  }
}

TEST(MajorBrand, IsEmptyWithoutAFtypBox) {
  EXPECT_EQ(majorBrand(bytesOf(brands("heic"))), "heic");
  EXPECT_EQ(majorBrand(bytesOf("\0\0\0\x10moovheic"s)), "");
  EXPECT_EQ(majorBrand(bytesOf("\0\0\0\x10"
                               "ftyp"s)),
            "");
}

}  // namespace
}  // namespace quorvin
