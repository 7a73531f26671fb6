// Imports that are killed again and again, and begun anew: each file is there once in the end.
#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <random>
#include <string_view>
#include <thread>

#include "posix/file_descriptor.h"
#include "testing/engine/tool_fixture.h"

namespace quorvin {
namespace {

int asked(const char* variable, int otherwise) {
  const char* text = std::getenv(variable);
  return text == nullptr ? otherwise : std::atoi(text);
}

/// Lines that a program prints, as it prints them.
class PrintedLines {
 public:
  explicit PrintedLines(int descriptor) : from_(descriptor) {}

  /// Waits for so many more lines that hold the text. False at the end of all.
  bool waitFor(std::string_view text, int lines) {
    while (lines > 0) {
      const std::size_t end = kept_.find('\n');
      if (end != kept_.npos) {
        if (std::string_view(kept_).substr(0, end).find(text) != std::string_view::npos) --lines;
        kept_.erase(0, end + 1);
        continue;
      }
      std::array<char, 4096> more{};
      const ssize_t size = ::read(from_, more.data(), more.size());
      if (size <= 0) return false;
      kept_.append(more.data(), static_cast<std::size_t>(size));
    }
    return true;
  }

 private:
  const int from_;
  std::string kept_;
};

class KilledImports : public ToolFixture {
 protected:
  const int files_ = asked("QUORVIN_KILLED_IMPORTS_FILES", 1'000);
  const int kills_ = asked("QUORVIN_KILLED_IMPORTS_KILLS", 4);

  fs::path in() const { return folder() / "in"; }

  void makeFiles() {
    const std::string one = folder() / "one.jpg";
    ASSERT_EQ(run({"ffmpeg", "-v", "error", "-f", "lavfi", "-i", "color=red:s=16x16", "-frames:v",
                   "1", one})
                  .status,
              0);
    const std::string photo = contents(one);
    constexpr int kFilesAFolder = 1000;
    for (int i = 0; i < files_; ++i) {
      const fs::path year = in() / std::to_string(i / kFilesAFolder);
      if (i % kFilesAFolder == 0) fs::create_directories(year);
      // Bytes after the end of the picture change nothing of it.
      write(year / (std::to_string(i) + ".jpg"), photo + std::to_string(i));
    }
  }

  /// Kills an import a moment after it has brought in so many files; false when it had come to its
  /// end before.
  bool killAfter(int files, std::chrono::microseconds moment) {
    int ends[2];
    EXPECT_EQ(::pipe2(ends, O_CLOEXEC), 0);
    const FileDescriptor out(ends[0]);
    FileDescriptor in(ends[1]);
    const FileDescriptor nowhere(::open("/dev/null", O_WRONLY | O_CLOEXEC));
    const pid_t import =
        start({"--library", library(), "import", "--json", this->in()}, in.get(), nowhere.get());
    { const FileDescriptor closed(std::move(in)); }
    PrintedLines lines(out.get());
    const bool goesOn = lines.waitFor(R"("status":"added")", files);
    std::this_thread::sleep_for(moment);
    ::kill(import, SIGKILL);
    return statusOf(import) == 128 + SIGKILL && goesOn;
  }
};

TEST_F(KilledImports, BringInEachFileOnce) {
  makeFiles();
  const auto seed = std::random_device()();
  SCOPED_TRACE("seed " + std::to_string(seed));
  std::mt19937 random(seed);
  // All of them together before the last file.
  std::uniform_int_distribution<int> files(0, files_ / kills_ / 2);
  std::uniform_int_distribution<int> moment(0, 20'000);
  for (int i = 0; i < kills_; ++i) {
    EXPECT_TRUE(killAfter(files(random), std::chrono::microseconds(moment(random)))) << i;
  }

  const Ran last = quorvin({"--library", library(), "import", in()});
  EXPECT_EQ(last.status, 0) << last.err;
  const Ran check = quorvin({"--library", library(), "check", "--content"});
  EXPECT_EQ(check.status, 0) << check.out << check.err;
  const Json info = Json::parse(quorvin({"--library", library(), "info", "--json"}).out);
  EXPECT_EQ(info["photos"], files_);
  EXPECT_EQ(info["originalFiles"], files_);
  EXPECT_TRUE(fs::is_empty(library() / "incoming"));
  // As many as there are files, and each file is one of them.
  const Ran again = quorvin({"--library", library(), "import", in()});
  EXPECT_EQ(again.out.find("Added 0 assets from 0 files; "), 0U) << again.out;
  EXPECT_EQ(again.err, "");
}

}  // namespace
}  // namespace quorvin
