#include "testing/engine/exports.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>

#include "testing/platform/testing_processes.h"

namespace quorvin {

namespace fs = std::filesystem;

fs::path Exports::exported(const std::string& method, Value arguments) {
  const Value reply = result(method, std::move(arguments));
  const auto* entries = reply.as<Map>();
  if (entries == nullptr || entries->size() != 2) {
    ADD_FAILURE() << method << " replied no file";
    return {};
  }
  EXPECT_EQ(at(reply, "deletable"), Value(true));
  fs::path path = textAt(reply, "url");
  const std::string kind = method == "getImageUrl"   ? "image"
                           : method == "getVideoUrl" ? "video"
                                                     : "livephoto";
  EXPECT_EQ(path.parent_path().filename(), kind) << path;
  EXPECT_EQ(path.string().find("//"), std::string::npos) << path;
  EXPECT_TRUE(fs::is_regular_file(path)) << path;
  return path;
}

ByteBuffer Exports::data(const std::string& name, bool convertJpeg) {
  const Value reply = result("getImageData", imageData(asset(name), convertJpeg));
  const auto* bytes = reply.as<ByteBuffer>();
  EXPECT_NE(bytes, nullptr) << name;
  return bytes == nullptr ? ByteBuffer() : *bytes;
}

fs::path originalOf(const std::string& library, const fs::path& source) {
  const std::string wanted = bytesOf(source);
  for (const auto& entry : fs::recursive_directory_iterator(library + "/originals")) {
    if (!entry.is_regular_file() || entry.file_size() != wanted.size()) continue;
    if (bytesOf(entry.path()) == wanted) return entry.path();
  }
  ADD_FAILURE() << source << " has no original";
  return {};
}

void replaceOriginal(const std::string& library, const fs::path& source, const std::string& bytes) {
  const fs::path original = originalOf(library, source);
  fs::remove(original);
  std::ofstream(original, std::ios::binary) << bytes;
}

std::string Exports::libraryOf(const std::vector<fs::path>& files) {
  const std::string library = folder() / "imported";
  std::vector<std::string> words = {QUORVIN_TOOL, "--library", library, "import"};
  words.insert(words.end(), files.begin(), files.end());
  outputOf(words);
  return library;
}

std::vector<std::string> filesIn(const fs::path& place) {
  std::vector<std::string> files;
  if (!fs::exists(place)) return files;
  for (const auto& entry : fs::recursive_directory_iterator(place)) {
    if (!entry.is_directory()) files.push_back(fs::relative(entry.path(), place));
  }
  std::ranges::sort(files);
  return files;
}

double modificationOf(const fs::path& file) {
  struct stat status = {};
  EXPECT_EQ(::stat(file.c_str(), &status), 0) << file;
  return static_cast<double>(status.st_mtim.tv_sec) +
         static_cast<double>(status.st_mtim.tv_nsec) / 1e9;
}

Descriptors descriptorsInUse() {
  const auto of = [](const std::string& process) {
    std::error_code gone;
    const fs::directory_iterator descriptors("/proc/" + process + "/fd", gone);
    return static_cast<std::size_t>(std::distance(begin(descriptors), end(descriptors)));
  };
  Descriptors open{openDescriptors(), 0};
  for (const pid_t worker : children()) {
    open.worker = std::max(open.worker, of(std::to_string(worker)));
  }
  return open;
}

}  // namespace quorvin
