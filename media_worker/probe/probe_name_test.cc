#include "media_worker/probe/probe_name.h"

#include <gtest/gtest.h>

#include "core/platform/photo_library.h"

namespace quorvin {
namespace {

TEST(PictureNameSubtypes, KnowsScreenshotsByTheUsualNames) {
  for (const char* name : {"Screenshot.png", "screenshot_20170501.png", "Screenshot-1.jpg",
                           "SCREENSHOT from 2017-05-01.PNG", "Screenshot"}) {
    EXPECT_EQ(pictureNameSubtypes(name, PictureFormat::png), PHAssetMediaSubtype::photoScreenshot)
        << name;
  }
}

TEST(PictureNameSubtypes, TakesNoOtherNamesForScreenshots) {
  for (const char* name : {"Screenshots.png", "My Screenshot.png", "screen.png", "", ".png"}) {
    EXPECT_EQ(pictureNameSubtypes(name, PictureFormat::png), 0U) << name;
  }
}

TEST(PictureNameSubtypes, LooksAtPngAndJpegAlone) {
  EXPECT_NE(pictureNameSubtypes("Screenshot.jpg", PictureFormat::jpeg), 0U);
  EXPECT_EQ(pictureNameSubtypes("Screenshot.heic", PictureFormat::heif), 0U);
  EXPECT_EQ(pictureNameSubtypes("Screenshot.tif", PictureFormat::tiff), 0U);
}

TEST(VideoNameSubtypes, KnowsTimeLapsesAndScreenRecordings) {
  EXPECT_EQ(videoNameSubtypes("TimeLapse_0001.mp4"), PHAssetMediaSubtype::videoTimelapse);
  for (const char* name : {"Screencast from 2017.webm", "Screen Recording 1.mov",
                           "Screen_Recording_2.mp4", "screenrecord-3.mp4", "screenrecording.mp4"}) {
    EXPECT_EQ(videoNameSubtypes(name), PHAssetMediaSubtype::videoScreenRecording) << name;
  }
  EXPECT_EQ(videoNameSubtypes("My timelapse.mp4"), 0U);
  EXPECT_EQ(videoNameSubtypes("VID_0001.mp4"), 0U);
}

}  // namespace
}  // namespace quorvin
