#include "testing/fakes/fake_media_framework.h"

#include <gtest/gtest.h>

#include <thread>

#include "testing/contracts/export_session_contract.h"

namespace quorvin {
namespace {

class FakeExports {
 public:
  std::shared_ptr<AVAssetExportSession> session() {
    return media_.exportSessionWithAsset(std::make_shared<const AVURLAsset>("/in/movie.mov"),
                                         AVAssetExportPresetHighestQuality);
  }
  std::shared_ptr<AVAssetExportSession> mpeg4Session() {
    media_.supportedFileTypes = {AVFileType::AVFileTypeMPEG4};
    return session();
  }
  void start(std::shared_ptr<AVAssetExportSession> session, std::function<void()> completion) {
    session->exportAsynchronously(std::move(completion));
    started_.push_back(std::static_pointer_cast<FakeExportSession>(std::move(session)));
  }
  void damageTheMovie() {
    for (const auto& each : media_.sessions) each->movie.reset();
  }
  static void cancel(AVAssetExportSession& session) {
    static_cast<FakeExportSession&>(session).cancelExport();
  }

  static std::string folder() { return "/temporary"; }
  void put(const std::string& path, const std::string& text) { files_.addText(path, text); }
  std::optional<std::string> text(const std::string& path) { return files_.text(path); }
  bool exists(const std::string& path) { return files_.fileExists(path); }
  bool isExported(const std::string& path) { return text(path) == "movie"; }

  void settle() {
    for (const auto& each : std::exchange(started_, {})) {
      std::thread([&each] { each->complete(); }).join();
    }
  }

 private:
  EventLog log_;
  FakeFileManager files_{log_};
  FakeMediaFramework media_{log_, files_};
  std::vector<std::shared_ptr<FakeExportSession>> started_;
};

INSTANTIATE_TYPED_TEST_SUITE_P(Fake, ExportSessionContract, FakeExports);

}  // namespace
}  // namespace quorvin
