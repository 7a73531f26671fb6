// A host that is killed while it encodes: its workers go with it, and no part of a file stays.
#include <poll.h>
#include <signal.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <thread>

#include "testing/engine/exports.h"
#include "testing/engine/tool_fixture.h"
#include "testing/platform/testing_folder.h"

extern "C" {  // which the header of glibc 2.36 leaves out
#include <sys/pidfd.h>
}

namespace quorvin {
namespace {

class KilledHost : public ToolFixture {
 protected:
  void SetUp() override {
    setVariable("TMPDIR", temporary());
    fs::create_directory(temporary());
    // Long enough to be in the middle of it.
    const std::string film = folder() / "FILM.mp4";
    const Ran made =
        run({"ffmpeg", "-v", "error", "-f", "lavfi", "-i", "testsrc2=s=640x360:r=30:d=20", "-c:v",
             "libx264", "-preset", "ultrafast", "-pix_fmt", "yuv420p", film});
    ASSERT_EQ(made.status, 0) << made.err;
    ASSERT_EQ(quorvin({"--library", library(), "import", film}).status, 0);
    const Json galleries = call(library(), "getGalleryList",
                                Json{{"withAllPhotos", true},
                                     {"filterEmptyAsset", true},
                                     {"withSmartAlbum", true},
                                     {"mediaType", 0}}
                                    .dump());
    const Json first =
        call(library(), "getGalleryFirstAssetId",
             Json{{"collectionId", galleries["result"].back()["id"]}, {"sort", 0}, {"mediaType", 0}}
                 .dump());
    film_ = first["result"];
  }

  std::string temporary() const { return folder() / "temporary"; }

  /// Of medium quality it is encoded, else copied.
  Words exportWords(bool mediumQuality) const {
    return {"--library", library(), "call", "getVideoUrl",
            Json{{"assetId", film_}, {"mediumQuality", mediumQuality}, {"videoFormat", 1}}.dump()};
  }

  /// The process's own children, by descriptors that stay theirs.
  static std::vector<FileDescriptor> childrenOf(pid_t process) {
    std::vector<FileDescriptor> found;
    std::error_code gone;
    for (const auto& task :
         fs::directory_iterator("/proc/" + std::to_string(process) + "/task", gone)) {
      std::ifstream list(task.path() / "children");
      for (std::istream_iterator<pid_t> each(list), end; each != end; ++each) {
        FileDescriptor child(::pidfd_open(*each, 0));
        if (child) found.push_back(std::move(child));
      }
    }
    return found;
  }

  /// The bytes that exports have written up to now.
  std::uintmax_t written() const {
    std::uintmax_t sum = 0;
    std::error_code changed;
    for (const auto& each : fs::recursive_directory_iterator(temporary(), changed)) {
      if (each.is_regular_file(changed)) sum += each.file_size(changed);
    }
    return sum;
  }

  std::string film_;
};

TEST_F(KilledHost, InTheMiddleOfAnExportLeavesNoWorkerAndNoPartOfAFile) {
  const std::vector<std::string> libraryBefore = filesBelow(library() / "originals");
  const FileDescriptor nowhere(::open("/dev/null", O_WRONLY | O_CLOEXEC));
  pid_t host = 0;
  std::vector<FileDescriptor> workers;
  // On a busy machine an export may be over before anybody looks.
  for (int attempt = 0; attempt < 20 && workers.empty(); ++attempt) {
    if (host != 0) statusOf(host);
    for (const auto& each : fs::directory_iterator(temporary())) fs::remove_all(each);
    host = start(exportWords(true), nowhere.get(), nowhere.get());
    const FileDescriptor process(::pidfd_open(host, 0));
    pollfd ended{process.get(), POLLIN, 0};
    while (written() == 0 && ::poll(&ended, 1, 5) == 0) {
    }
    workers = childrenOf(host);
  }
  ASSERT_FALSE(workers.empty()) << "no export began";

  ASSERT_EQ(::kill(host, SIGKILL), 0);
  EXPECT_EQ(statusOf(host), 128 + SIGKILL);
  for (const FileDescriptor& each : workers) {
    pollfd worker{each.get(), POLLIN, 0};
    EXPECT_EQ(::poll(&worker, 1, 3000), 1) << "a worker outlives its host";
  }

  const Json again = quorvin(exportWords(false)).json();
  const std::string exported = again["result"]["url"];
  EXPECT_EQ(filesBelow(temporary()),
            std::vector<std::string>{fs::relative(exported, temporary()).string()});
  EXPECT_EQ(seeVideo(exported).frames, 600);
  EXPECT_EQ(filesBelow(library() / "originals"), libraryBefore);
  EXPECT_TRUE(fs::is_empty(library() / "incoming"));
  EXPECT_EQ(quorvin({"--library", library(), "check"}).status, 0);
}

}  // namespace
}  // namespace quorvin
