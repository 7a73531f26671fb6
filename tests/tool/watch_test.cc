// `quorvin watch`: what appears in folders comes in, once.
#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <functional>
#include <map>
#include <thread>
#include <utility>

#include "posix/file_descriptor.h"
#include "testing/engine/tool_fixture.h"

namespace quorvin {
namespace {

class Watch : public ToolFixture {
 protected:
  Watch() : source_(photos(kMany)) { fs::create_directories(in()); }
  ~Watch() override {
    if (process_ > 0) {
      kill(process_, SIGKILL);
      statusOf(process_);
    }
  }

  fs::path in() const { return folder() / "in"; }
  fs::path photo(int number) const {
    return source_ / ("photo-" + std::to_string(number) + ".jpg");
  }
  void copy(int number, const fs::path& to) const {
    fs::create_directories(to.parent_path());
    fs::copy_file(photo(number), to);
  }

  void watch(const Words& options = {}) {
    const FileDescriptor out(
        open(outPath().c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600));
    const FileDescriptor err(
        open(errPath().c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600));
    Words words = {"--library", library(), "watch", in()};
    words.insert(words.end(), options.begin(), options.end());
    process_ = start(words, out.get(), err.get());
  }
  int end(int signal) {
    EXPECT_EQ(kill(process_, signal), 0);
    return statusOf(std::exchange(process_, -1));
  }

  void waitUntil(const std::function<bool()>& condition) {
    for (int i = 0; i < 1200; ++i) {
      if (condition()) return;
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    ADD_FAILURE() << "it never came\n" << out() << err();
  }
  void waitForPhotos(int count) {
    waitUntil([&] { return numberOfPhotos() >= count; });
    EXPECT_EQ(numberOfPhotos(), count);
  }
  int numberOfPhotos() {
    const Ran ran = quorvin({"--library", library(), "info", "--json"});
    return ran.status == 0 ? Json::parse(ran.out)["photos"].get<int>() : 0;
  }
  void expectSound(int files) {
    EXPECT_EQ(quorvin({"--library", library(), "check"}).status, 0);
    const Ran ran = quorvin({"--library", library(), "info", "--json"});
    EXPECT_EQ(Json::parse(ran.out)["originalFiles"], files);
  }

  std::string out() const { return contents(outPath()); }
  std::string err() const { return contents(errPath()); }

  static constexpr int kMany = 300;
  pid_t process_ = -1;

 private:
  fs::path outPath() const { return folder() / "watch.out"; }
  fs::path errPath() const { return folder() / "watch.err"; }

  const fs::path source_;
};

TEST_F(Watch, BringsInWhatIsThereAndWhatAppears) {
  copy(0, in() / "0.jpg");
  watch();
  waitForPhotos(1);
  copy(1, in() / "1.jpg");
  copy(2, in() / "new/folder/2.jpg");
  write(in() / ".hidden", "no photo");
  write(in() / "letter.txt", "no photo");
  copy(3, folder() / "elsewhere/3.jpg");
  copy(4, folder() / "elsewhere/deep/4.jpg");
  fs::rename(folder() / "elsewhere", in() / "came");
  waitForPhotos(5);
  copy(5, in() / "came/deep/5.jpg");
  waitForPhotos(6);
  write(in() / "new/letter.txt", "no photo, too");
  waitUntil([this] { return err().find("/new/letter.txt: ") != std::string::npos; });
  EXPECT_EQ(end(SIGTERM), 0);
  EXPECT_EQ(out().find("Watching " + in().string() + ".\nAdded 1 asset from 1 file, "), 0U)
      << out();
  const std::string problems = err();
  EXPECT_EQ(std::count(problems.begin(), problems.end(), '\n'), 2) << problems;
  EXPECT_NE(problems.find("quorvin: " + (in() / "letter.txt").string() +
                          ": The file is not a photo, video or audio file.\n"),
            std::string::npos)
      << problems;
  expectSound(6);
}

TEST_F(Watch, WaitsForAFileThatIsWrittenSlowly) {
  watch();
  waitUntil([this] { return out().starts_with("Watching "); });
  const std::string photograph = contents(photo(0));
  FileDescriptor file(open((in() / "slow.jpg").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
  const std::size_t half = photograph.size() / 2;
  ASSERT_EQ(::write(file.get(), photograph.data(), half), static_cast<ssize_t>(half));
  copy(1, in() / "1.jpg");
  waitForPhotos(1);
  ASSERT_EQ(::write(file.get(), photograph.data() + half, photograph.size() - half),
            static_cast<ssize_t>(photograph.size() - half));
  { const FileDescriptor closed(std::move(file)); }
  waitForPhotos(2);
  EXPECT_EQ(end(SIGINT), 0);
  EXPECT_EQ(err(), "");
  expectSound(2);
}

TEST_F(Watch, BringsInNothingTwiceWhateverHappensToItAndToTheFiles) {
  for (int i = 0; i < 200; ++i) copy(i, in() / ("a/" + std::to_string(i) + ".jpg"));
  watch();
  waitUntil([this] { return numberOfPhotos() > 0; });
  kill(process_, SIGKILL);
  EXPECT_EQ(statusOf(std::exchange(process_, -1)), 128 + SIGKILL);
  for (int i = 200; i < 250; ++i) copy(i, in() / ("absent/" + std::to_string(i) + ".jpg"));
  watch();
  waitForPhotos(250);
  for (int i = 0; i < 200; ++i) {
    const std::string name = std::to_string(i) + ".jpg";
    fs::rename(in() / "a" / name, in() / "a" / ("renamed-" + name));
  }
  fs::rename(in() / "a", in() / "b");
  fs::rename(in() / "absent", in() / "b/there");
  for (int i = 250; i < kMany; ++i) copy(i, in() / ("b/there/" + std::to_string(i) + ".jpg"));
  waitForPhotos(kMany);
  EXPECT_EQ(end(SIGTERM), 0);
  EXPECT_EQ(err(), "");
  expectSound(kMany);
}

TEST_F(Watch, PutsWhatAppearsIntoAlbums) {
  copy(0, in() / "Sea/0.jpg");
  watch({"--albums", "--album", "Phone"});
  waitForPhotos(1);
  copy(1, in() / "Hills/1.jpg");
  waitForPhotos(2);
  EXPECT_EQ(end(SIGTERM), 0);
  const Ran ran = quorvin({"--library", library(), "info", "--json"});
  std::map<std::string, int> albums;
  const Json info = Json::parse(ran.out);
  for (const Json& each : info["albums"]) albums[each["title"]] = each["assets"];
  EXPECT_EQ(albums, (std::map<std::string, int>{{"Hills", 1}, {"Phone", 2}, {"Sea", 1}}));
}

TEST_F(Watch, GoesOnWhenTheLibraryCanBeUsedAgain) {
  fs::create_directories(library());
  write(library() / "letter.txt", "hello");
  copy(0, in() / "0.jpg");
  watch();
  waitUntil([this] { return err().find("is not a photo library") != std::string::npos; });
  fs::remove(library() / "letter.txt");
  waitForPhotos(1);
  EXPECT_EQ(end(SIGTERM), 0);
  const std::string problems = err();
  EXPECT_EQ(std::count(problems.begin(), problems.end(), '\n'), 1) << problems;
}

TEST_F(Watch, RefusesAFileInPlaceOfAFolder) {
  const Ran ran = quorvin({"--library", library(), "watch", photo(0)});
  EXPECT_EQ(ran.status, 2);
  EXPECT_NE(ran.err.find("is no folder"), std::string::npos) << ran.err;
}

}  // namespace
}  // namespace quorvin
