// The program on a terminal, on pipes that close, and interrupted.
#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <vector>

#include "testing/engine/tool_fixture.h"

namespace quorvin {
namespace {

struct Pipe {
  Pipe() { EXPECT_EQ(pipe2(ends.data(), O_CLOEXEC), 0); }
  Pipe(const Pipe&) = delete;
  Pipe& operator=(const Pipe&) = delete;
  ~Pipe() {
    closeEnd(0);
    closeEnd(1);
  }
  void closeEnd(std::size_t end) {
    if (ends.at(end) >= 0) close(ends.at(end));
    ends.at(end) = -1;
  }
  std::array<int, 2> ends{-1, -1};
};

class Terminal : public ToolFixture {
 protected:
  /// Runs a shell command on a terminal of 80 columns, and returns what it showed.
  Ran onTerminal(const std::string& command) {
    return run({"script", "--quiet", "--return", "--command", "stty cols 80; " + command,
                folder() / "typescript"});
  }
  std::string importing(const fs::path& what) {
    return std::string(QUORVIN_TOOL) + " --library " + library().string() + " import " +
           what.string();
  }
  Json info() { return Json::parse(quorvin({"--library", library(), "info", "--json"}).out); }
  int nullDevice() { return null_; }

  ~Terminal() override { close(null_); }

 private:
  const int null_ = open("/dev/null", O_WRONLY | O_CLOEXEC);
};

TEST_F(Terminal, ABarShowsTheProgressAndProblemsFollowIt) {
  const fs::path mixed = photos(3);
  write(mixed / "letter.txt", "hello");
  const Ran ran = onTerminal(importing(mixed));
  EXPECT_EQ(ran.status, 1);
  const std::size_t bar = ran.out.rfind("Importing: [");
  const std::size_t problem = ran.out.find("letter.txt: ");
  const std::size_t summary = ran.out.find("Added 3 assets");
  ASSERT_NE(bar, std::string::npos) << ran.out;
  ASSERT_NE(problem, std::string::npos) << ran.out;
  ASSERT_NE(summary, std::string::npos) << ran.out;
  EXPECT_LT(bar, problem);
  EXPECT_LT(problem, summary);
  EXPECT_NE(ran.out.find("100%"), std::string::npos) << ran.out;
  EXPECT_NE(ran.out.find("\nquorvin: "), std::string::npos) << "a line of its own: " << ran.out;
}

TEST_F(Terminal, NoBarIsNoHindrance) {
  setVariable("PATH", "/nowhere");
  const fs::path script = "/usr/bin/script";
  const Ran ran = run(
      {script, "--quiet", "--return", "--command", importing(photos(2)), folder() / "typescript"});
  EXPECT_EQ(ran.status, 0) << ran.out;
  EXPECT_EQ(ran.out.find("Added 2 assets"), 0U) << ran.out;
}

TEST_F(Terminal, NoBarIsDrawnWhereThereIsNoTerminal) {
  const Ran ran = quorvin({"--library", library(), "import", photos(2)});
  EXPECT_EQ(ran.err, "");
}

TEST_F(Terminal, ProblemsThatNobodyReadsDoNotEndAnImport) {
  const fs::path mixed = photos(5);
  for (int i = 0; i < 5; ++i) write(mixed / ("letter-" + std::to_string(i)), "hello");
  Pipe closed;
  closed.closeEnd(0);
  const pid_t process =
      start({"--library", library(), "import", mixed}, nullDevice(), closed.ends[1]);
  EXPECT_EQ(statusOf(process), 1);
  EXPECT_EQ(info()["photos"], 5);
}

TEST_F(Terminal, ASummaryThatNobodyReadsLeavesTheImportWhole) {
  Pipe closed;
  closed.closeEnd(0);
  const pid_t process =
      start({"--library", library(), "import", photos(5)}, closed.ends[1], nullDevice());
  EXPECT_EQ(statusOf(process), 128 + SIGPIPE);
  EXPECT_EQ(info()["photos"], 5);
}

TEST_F(Terminal, InfoIntoAClosedPipeEndsQuietly) {
  Pipe closed;
  closed.closeEnd(0);
  const pid_t process =
      start({"--library", kImportedLibrary, "info"}, closed.ends[1], nullDevice());
  EXPECT_EQ(statusOf(process), 128 + SIGPIPE);
}

/// Interrupts an import of many photos once it has begun.
class Interrupted : public Terminal {
 protected:
  static constexpr int kMany = 600;

  /// The import's exit status.
  int interrupt(const std::vector<int>& signals) {
    many_ = photos(kMany);
    Pipe problems;
    const pid_t process = start({"--library", library(), "import", folder() / "missing", many_},
                                nullDevice(), problems.ends[1]);
    problems.closeEnd(1);
    char first = 0;
    EXPECT_EQ(read(problems.ends[0], &first, 1), 1);  // the import has begun
    for (const int signal : signals) EXPECT_EQ(kill(process, signal), 0);
    std::array<char, 4096> rest{};
    for (ssize_t size = 0; (size = read(problems.ends[0], rest.data(), rest.size())) > 0;) {
      words_.append(rest.data(), static_cast<std::size_t>(size));
    }
    return statusOf(process);
  }

  void expectThatTheNextOneCompletesIt() {
    const Ran after = quorvin({"--library", library(), "info", "--json"});
    ASSERT_EQ(after.status, 0) << after.err;
    EXPECT_LT(Json::parse(after.out)["photos"], kMany);
    const Ran again = quorvin({"--library", library(), "import", many_});
    EXPECT_EQ(again.status, 0) << again.err;
    EXPECT_EQ(info()["photos"], kMany);
    EXPECT_EQ(info()["originalFiles"], kMany);
  }

  std::string words_;  ///< on standard error

 private:
  fs::path many_;
};

TEST_F(Interrupted, AnImportEndsCleanlyAndTheNextOneGoesOn) {
  EXPECT_EQ(interrupt({SIGINT}), 1);
  EXPECT_NE(words_.find("The import was interrupted; the same command goes on where it stopped."),
            std::string::npos)
      << words_;
  EXPECT_TRUE(fs::is_empty(library() / "incoming"));
  expectThatTheNextOneCompletesIt();
}

TEST_F(Interrupted, AnImportThatIsAskedToEndDoesSo) {
  EXPECT_EQ(interrupt({SIGTERM}), 1);
  expectThatTheNextOneCompletesIt();
}

TEST_F(Interrupted, ASecondTimeItEndsAtOnceAndLosesNothing) {
  // Another signal each, for two of one kind may arrive as one.
  EXPECT_EQ(interrupt({SIGINT, SIGTERM}), 128 + SIGTERM);
  expectThatTheNextOneCompletesIt();
}

}  // namespace
}  // namespace quorvin
