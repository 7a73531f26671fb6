// `quorvin previews`, and what an import does by itself.
#include "testing/engine/tool_fixture.h"

namespace quorvin {
namespace {

class Previews : public ToolFixture {
 protected:
  Ran previews() { return quorvin({"--library", library(), "previews"}); }
  Json info() { return Json::parse(quorvin({"--library", library(), "info", "--json"}).out); }
  void loseThem() {
    for (const auto& file : fs::directory_iterator(library() / "derivatives")) fs::remove(file);
  }
};

TEST_F(Previews, AreThereAfterAnImport) {
  EXPECT_EQ(quorvin({"--library", library(), "import", kGoodMedia}).status, 0);
  EXPECT_GT(info()["previewsWanted"], 2);
  EXPECT_EQ(info()["previews"], info()["previewsWanted"]);
  EXPECT_GT(info()["previewBytes"], 0);
  const Ran again = previews();
  EXPECT_EQ(again.status, 0) << again.err;
  EXPECT_NE(again.out.find("Made previews of 0 pictures; "), std::string::npos) << again.out;
}

TEST_F(Previews, AreMadeAgainWhenTheyAreLost) {
  EXPECT_EQ(quorvin({"--library", library(), "import", kGoodMedia}).status, 0);
  const Json count = info()["previews"];
  loseThem();
  EXPECT_EQ(info()["previews"], 0);
  const Ran ran = previews();
  EXPECT_EQ(ran.status, 0) << ran.err;
  EXPECT_EQ(info()["previews"], count);
  EXPECT_EQ(ran.out.rfind("Made previews of " + count.dump() + " pictures; 0 pictures had them", 0),
            0U)
      << ran.out;
}

TEST_F(Previews, OfMissingOriginalsFailAndTheRestAreMade) {
  EXPECT_EQ(quorvin({"--library", library(), "import", kGoodMedia}).status, 0);
  const int count = info()["previews"];
  loseThem();
  std::vector<fs::path> gone;
  for (const auto& file : fs::recursive_directory_iterator(library() / "originals")) {
    if (file.path().extension() == ".jpg") gone.push_back(file.path());
  }
  for (const fs::path& each : gone) fs::remove(each);
  EXPECT_EQ(previews().status, 1);
  EXPECT_GT(info()["previews"], 0);
  EXPECT_LT(info()["previews"], count);
}

TEST_F(Previews, NeedALibrary) {
  const Ran ran = previews();
  EXPECT_EQ(ran.status, 1);
  EXPECT_NE(ran.err.find("There is no photo library"), std::string::npos) << ran.err;
  EXPECT_FALSE(fs::exists(library()));
}

}  // namespace
}  // namespace quorvin
