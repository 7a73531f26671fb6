#include "platform_linux/library/import/import_plan.h"

#include <gtest/gtest.h>

namespace quorvin {
namespace {

ImportFile file(const std::string& name, MediaKind kind,
                const std::string& contentIdentifier = "") {
  ImportFile made;
  made.folder = "/in";
  made.name = name;
  made.probe.kind = kind;
  made.probe.contentIdentifier = contentIdentifier;
  return made;
}

TEST(ImportPlan, NeverPairsTwoStillsOrTwoMovies) {
  std::vector<ImportFile> files = {file("a.jpg", MediaKind::image, "X"),
                                   file("a.heic", MediaKind::image, "X"),
                                   file("a.mov", MediaKind::audio)};
  EXPECT_EQ(planImport(files).size(), 3U);
}

TEST(ImportPlan, GivesEachMovieToOneStillAlone) {
  std::vector<ImportFile> files = {
      file("a.mov", MediaKind::video, "X"), file("a.jpg", MediaKind::image, "X"),
      file("b.mov", MediaKind::video, "X"), file("b.jpg", MediaKind::image, "X")};
  const auto units = planImport(files);
  ASSERT_EQ(units.size(), 2U);
  EXPECT_NE(units[0].pairedVideo, units[1].pairedVideo);
}

}  // namespace
}  // namespace quorvin
