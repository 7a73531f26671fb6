#include "media_worker/probe/probe_raw.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "testing/media/probes.h"

namespace quorvin {
namespace {

/// A TIFF that claims to hold what the sensor saw.
Bytes sensorData(const Tags& tags) {
  Bytes bytes = withTags(savedPicture(".tif"), tags);
  // The entry of the photometric interpretation: its tag, a short, one of it.
  const Bytes entry = {0x06, 0x01, 0x03, 0x00, 0x01, 0x00, 0x00, 0x00};
  const auto found = std::search(bytes.begin(), bytes.end(), entry.begin(), entry.end());
  EXPECT_NE(found, bytes.end());
  if (found == bytes.end()) return bytes;
  constexpr int kColourFilterArray = 32803;
  found[8] = kColourFilterArray & 0xff;
  found[9] = kColourFilterArray >> 8;
  return bytes;
}

void expectRaw(const MediaProbe& probe, const std::string& identifier,
               const std::string& extension) {
  EXPECT_EQ(probe.kind, MediaKind::image);
  EXPECT_TRUE(probe.raw);
  EXPECT_EQ(probe.uniformTypeIdentifier, identifier);
  EXPECT_EQ(probe.extension, extension);
  EXPECT_EQ(probe.pixelWidth, 48);
  EXPECT_EQ(probe.pixelHeight, 32);
}

TEST(ProbeRaw, KnowsDigitalNegativesByTheirVersion) {
  expectRaw(probed(withTags(savedPicture(".tif"), {{"Exif.Image.DNGVersion", "1 4 0 0"}})),
            "com.adobe.raw-image", "dng");
}

TEST(ProbeRaw, TellsTheSensorDataOfMakersApart) {
  expectRaw(probed(sensorData({{"Exif.Image.Make", "NIKON CORPORATION"}})), "com.nikon.raw-image",
            "nef");
  expectRaw(probed(sensorData({{"Exif.Image.Make", "SONY"}})), "com.sony.arw-raw-image", "arw");
}

TEST(ProbeRaw, TakesTheExtensionOfOtherSensorDataFromTheName) {
  const Bytes bytes = sensorData({{"Exif.Image.Make", "Another maker"}});
  expectRaw(probed(bytes, "IMGP0001.PEF"), "public.camera-raw-image", "pef");
  expectRaw(probed(bytes, "IMGP0001.jpg"), "public.camera-raw-image", "raw");
  expectRaw(probed(bytes, "IMGP0001"), "public.camera-raw-image", "raw");
}

TEST(ProbeRaw, TurnsTheSizeUpright) {
  const MediaProbe probe =
      probed(withTags(savedPicture(".tif"),
                      {{"Exif.Image.DNGVersion", "1 4 0 0"}, {"Exif.Image.Orientation", "8"}}));
  EXPECT_EQ(probe.orientation, 8);
  EXPECT_EQ(probe.pixelWidth, 32);
  EXPECT_EQ(probe.pixelHeight, 48);
}

TEST(ProbeRaw, TakesAnOrdinaryTiffForNone) {
  const MediaProbe probe =
      probed(withTags(savedPicture(".tif"), {{"Exif.Image.Make", "NIKON"}}), "scan.nef");
  EXPECT_FALSE(probe.raw);
  EXPECT_EQ(probe.uniformTypeIdentifier, "public.tiff");
}

TEST(ProbeRaw, RefusesATypeWithoutContent) {
  const std::string cr2("II*\0\x10\0\0\0CR\x02\0\0\0\0\0", 16);
  EXPECT_EQ(refusal(bytesOf(cr2)), "The photo is damaged: its size cannot be read.");
}

}  // namespace
}  // namespace quorvin
