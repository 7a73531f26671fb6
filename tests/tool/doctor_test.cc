// `quorvin doctor`: how the machine and the library stand.
#include "testing/engine/tool_fixture.h"

namespace quorvin {
namespace {

class Doctor : public ToolFixture {
 protected:
  Ran doctor(const fs::path& library, Words words = {}) {
    words.insert(words.begin(), {"--library", library, "doctor"});
    return quorvin(words);
  }
};

#ifdef QUORVIN_SANITIZED
constexpr bool kIsIsolated = false;
#else
constexpr bool kIsIsolated = true;
#endif

TEST_F(Doctor, NamesEachLayerOfTheIsolationAndEachVersion) {
  const Json read = Json::parse(doctor(kImportedLibrary, {"--json"}).out);
  if (kIsIsolated) {
    EXPECT_EQ(read["worker"].size(), 4U);
    for (const Json& layer : read["worker"]) EXPECT_EQ(layer["text"], "active") << layer["name"];
    EXPECT_EQ(read["needsAttention"], false);
  }
  std::vector<std::string> names;
  for (const Json& each : read["versions"]) {
    names.push_back(each["name"]);
    EXPECT_NE(each["text"], "");
  }
  EXPECT_EQ(names, (std::vector<std::string>{"quorvin", "SQLite", "libvips", "libheif", "FFmpeg",
                                             "Exiv2"}));
}

TEST_F(Doctor, IsContentWithAGoodLibraryAndWithNone) {
  if (!kIsIsolated) GTEST_SKIP() << "sanitizers need what the isolation forbids";
  const Ran good = doctor(kImportedLibrary);
  EXPECT_EQ(good.status, 0);
  EXPECT_NE(good.out.find("can be read and changed"), std::string::npos) << good.out;
  const Ran none = doctor(folder() / "nothing");
  EXPECT_EQ(none.status, 0);
  EXPECT_NE(none.out.find("there is none yet"), std::string::npos) << none.out;
  EXPECT_FALSE(fs::exists(folder() / "nothing"));
}

TEST_F(Doctor, TellsOfALibraryThatDoesNotOpen) {
  fs::create_directories(folder() / "library/originals");
  write(folder() / "library/library.sqlite", "no catalogue at all, but a text");
  const Ran ran = doctor(folder() / "library");
  EXPECT_EQ(ran.status, 1);
  EXPECT_NE(ran.out.find("! state"), std::string::npos) << ran.out;
  EXPECT_NE(ran.out.find("cannot be opened"), std::string::npos) << ran.out;
}

TEST_F(Doctor, ListsWhatWasSetAsideAndHasItTriedAgain) {
  const fs::path program = folder() / "worker";
  fs::create_symlink(QUORVIN_TESTING_WORKER_PROGRAM, program);
  setVariable("QUORVIN_MEDIA_WORKER", program);
  write(folder() / "bad.jpg", "crash");
  const auto import = [&] {
    return quorvin({"--library", folder() / "library", "import", folder() / "bad.jpg"}).err;
  };
  EXPECT_NE(import().find("ended unexpectedly"), std::string::npos);
  EXPECT_NE(import().find("set aside"), std::string::npos);

  const std::string line = (folder() / "bad.jpg").string();
  const Ran listed = doctor(folder() / "library");
  EXPECT_EQ(listed.status, 1);
  EXPECT_NE(listed.out.find("! " + line), std::string::npos) << listed.out;
  const Json read = Json::parse(doctor(folder() / "library", {"--json"}).out);
  ASSERT_EQ(read["setAside"].size(), 1U);
  EXPECT_EQ(read["setAside"][0]["name"], line);

  const Ran forgot = doctor(folder() / "library", {"--forget"});
  EXPECT_EQ(forgot.out.find("bad.jpg"), std::string::npos) << forgot.out;
  EXPECT_EQ(import().find("set aside"), std::string::npos);
}

TEST_F(Doctor, TellsOfAWorkerThatIsNotThere) {
  setVariable("QUORVIN_MEDIA_WORKER", "/nowhere/quorvin-media");
  const Ran ran = doctor(kImportedLibrary);
  EXPECT_EQ(ran.status, 1);
  EXPECT_NE(ran.out.find("/nowhere/quorvin-media"), std::string::npos) << ran.out;
}

}  // namespace
}  // namespace quorvin
