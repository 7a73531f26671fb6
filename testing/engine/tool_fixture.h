// Runs the program as a user does, in a home of its own.
#pragma once

#include <gtest/gtest.h>
#include <sys/types.h>

#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "testing/media/generated_media.h"

namespace quorvin {

namespace fs = std::filesystem;
using Json = nlohmann::json;
using Words = std::vector<std::string>;

/// What a program left behind.
struct Ran {
  int status = -1;  ///< exit status; 128 and the signal's number when a signal ended it
  std::string out;
  std::string err;

  /// Standard output, which is to be one line of JSON.
  Json json() const;
};

std::string contents(const fs::path& file);
void write(const fs::path& file, const std::string& contents);

class ToolFixture : public testing::Test {
 protected:
  ToolFixture();
  ~ToolFixture() override;

  /// Runs `quorvin` to its end.
  Ran quorvin(const Words& arguments);
  /// Sends a call to a library; `json` may be empty.
  Json call(const fs::path& library, const std::string& method, const std::string& json = "");
  /// Runs any program to its end.
  Ran run(const Words& words);
  /// Starts `quorvin` with its standard error, or output, on a descriptor of ours.
  pid_t start(const Words& arguments, int outFd, int errFd);
  static int statusOf(pid_t process);

  /// Sets a variable for the programs that run from now on; the caller's own library and home do
  /// not reach them.
  void setVariable(const std::string& name, const std::string& value);

  const fs::path& folder() const { return folder_; }
  fs::path library() const { return folder_ / "library"; }
  /// A library that the test may change: a copy of the imported one.
  fs::path copyOfImportedLibrary();
  /// A folder of that many different photos.
  fs::path photos(int count);

  /// Read by the programs that run from now on.
  std::string standardInput;

 private:
  pid_t spawn(const Words& words, int inFd, int outFd, int errFd);

  fs::path folder_;
  std::vector<std::string> environment_;
};

}  // namespace quorvin
