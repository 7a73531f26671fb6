#include "testing/engine/tool_fixture.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string_view>

namespace quorvin {
namespace {

std::vector<char*> pointers(const std::vector<std::string>& texts) {
  std::vector<char*> found;
  found.reserve(texts.size() + 1);
  for (const std::string& text : texts) found.push_back(const_cast<char*>(text.c_str()));
  found.push_back(nullptr);
  return found;
}

class OpenFile {
 public:
  OpenFile(const fs::path& path, int flags) : fd_(open(path.c_str(), flags | O_CLOEXEC, 0600)) {}
  OpenFile(const OpenFile&) = delete;
  OpenFile& operator=(const OpenFile&) = delete;
  ~OpenFile() { close(fd_); }
  int get() const { return fd_; }

 private:
  int fd_;
};

}  // namespace

Json Ran::json() const {
  EXPECT_EQ(out.find('\n'), out.size() - 1) << out << err;
  Json parsed = Json::parse(out, nullptr, false);
  EXPECT_FALSE(parsed.is_discarded()) << out << err;
  return parsed;
}

std::string contents(const fs::path& file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

void write(const fs::path& file, const std::string& contents) {
  std::ofstream(file, std::ios::binary) << contents;
}

ToolFixture::ToolFixture() {
  std::string pattern = fs::temp_directory_path() / "quorvin-tool-XXXXXX";
  folder_ = mkdtemp(pattern.data());
  for (char** variable = environ; *variable != nullptr; ++variable) {
    const std::string_view text = *variable;
    if (text.starts_with("QUORVIN_LIBRARY=") || text.starts_with("XDG_DATA_HOME=") ||
        text.starts_with("XDG_STATE_HOME=")) {
      continue;
    }
    environment_.emplace_back(text);
  }
  setVariable("HOME", folder_ / "home");
}

ToolFixture::~ToolFixture() {
  fs::remove_all(folder_);
}

void ToolFixture::setVariable(const std::string& name, const std::string& value) {
  std::erase_if(environment_, [&](const auto& text) { return text.starts_with(name + "="); });
  environment_.push_back(name + "=" + value);
}

pid_t ToolFixture::spawn(const Words& words, int inFd, int outFd, int errFd) {
  posix_spawn_file_actions_t files;
  posix_spawn_file_actions_init(&files);
  posix_spawn_file_actions_adddup2(&files, inFd, STDIN_FILENO);
  posix_spawn_file_actions_adddup2(&files, outFd, STDOUT_FILENO);
  posix_spawn_file_actions_adddup2(&files, errFd, STDERR_FILENO);
  pid_t process = -1;
  const int failed = posix_spawnp(&process, words.front().c_str(), &files, nullptr,
                                  pointers(words).data(), pointers(environment_).data());
  posix_spawn_file_actions_destroy(&files);
  EXPECT_EQ(failed, 0) << words.front();
  return process;
}

int ToolFixture::statusOf(pid_t process) {
  int status = 0;
  EXPECT_EQ(waitpid(process, &status, 0), process);
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

Ran ToolFixture::run(const Words& words) {
  const fs::path in = folder_ / "stdin";
  const fs::path out = folder_ / "stdout";
  const fs::path err = folder_ / "stderr";
  write(in, standardInput);
  pid_t process = -1;
  {
    const OpenFile inFile(in, O_RDONLY);
    const OpenFile outFile(out, O_WRONLY | O_CREAT | O_TRUNC);
    const OpenFile errFile(err, O_WRONLY | O_CREAT | O_TRUNC);
    process = spawn(words, inFile.get(), outFile.get(), errFile.get());
  }
  const int status = statusOf(process);
  return {status, contents(out), contents(err)};
}

Ran ToolFixture::quorvin(const Words& arguments) {
  Words words = {QUORVIN_TOOL};
  words.insert(words.end(), arguments.begin(), arguments.end());
  return run(words);
}

pid_t ToolFixture::start(const Words& arguments, int outFd, int errFd) {
  Words words = {QUORVIN_TOOL};
  words.insert(words.end(), arguments.begin(), arguments.end());
  const OpenFile in("/dev/null", O_RDONLY);
  return spawn(words, in.get(), outFd, errFd);
}

Json ToolFixture::call(const fs::path& library, const std::string& method,
                       const std::string& json) {
  Words words = {"--library", library, "call", method};
  if (!json.empty()) words.push_back(json);
  return quorvin(words).json();
}

fs::path ToolFixture::copyOfImportedLibrary() {
  fs::copy(kImportedLibrary, library(), fs::copy_options::recursive);
  return library();
}

fs::path ToolFixture::photos(int count) {
  fs::path made = folder_ / "photos";
  fs::create_directory(made);
  const std::string photo = contents(kGoodMedia / "orientation_1.jpg");
  for (int i = 0; i < count; ++i) {
    const std::string number = std::to_string(i);
    write(made / ("photo-" + number + ".jpg"), photo + number);  // bytes after the end change none
  }
  return made;
}

}  // namespace quorvin
