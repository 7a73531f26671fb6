#include <gtest/gtest.h>

#include <condition_variable>
#include <mutex>

#include "testing/contracts/export_session_contract.h"
#include "testing/platform/testing_exports.h"

namespace quorvin {
namespace {

class LinuxExports {
 public:
  LinuxExports() {
    writeFile(folder_ / "original.mov", "original");
    std::filesystem::create_directory(folder());
    exporter_.onExport = [this](const FileDescriptor& output, const std::stop_token& stop) -> Done {
      std::unique_lock guard(mutex_);
      changed_.wait(guard, stop, [this] { return mayGoOn_; });
      ScriptedExporter::writeText(output, "movie");
      if (!isDamaged_ && !stop.stop_requested()) return Null{};
      return Failure(LibraryErrorCode::invalidResource, "It is damaged.");
    };
  }

  std::shared_ptr<AVAssetExportSession> session() {
    return framework_.exportSessionWithAsset(
        std::make_shared<const LinuxVideo>(folder_ / "original.mov",
                                           heldFile(folder_.path(), "original.mov")),
        AVAssetExportPresetHighestQuality);
  }
  std::shared_ptr<AVAssetExportSession> mpeg4Session() {
    exporter_.containers = std::vector{VideoContainer::mpeg4};
    return session();
  }
  void start(const std::shared_ptr<AVAssetExportSession>& session,
             const std::function<void()>& completion) {
    {
      const std::lock_guard guard(mutex_);
      ++underWay_;
    }
    session->exportAsynchronously([this, completion] {
      completion();
      const std::lock_guard guard(mutex_);
      --underWay_;
      changed_.notify_all();
    });
  }
  void damageTheMovie() {
    const std::lock_guard guard(mutex_);
    isDamaged_ = true;
  }
  static void cancel(AVAssetExportSession& session) {
    static_cast<LinuxExportSession&>(session).cancelExport();
  }

  std::string folder() const { return folder_ / "out"; }
  static void put(const std::string& path, const std::string& text) { writeFile(path, text); }
  static std::optional<std::string> text(const std::string& path) { return readIfThere(path); }
  static bool exists(const std::string& path) { return std::filesystem::exists(path); }
  static bool isExported(const std::string& path) { return text(path) == "movie"; }

  void settle() {
    std::unique_lock guard(mutex_);
    mayGoOn_ = true;
    changed_.notify_all();
    changed_.wait(guard, [this] { return underWay_ == 0; });
    mayGoOn_ = false;
  }

 private:
  TemporaryFolder folder_;
  std::mutex mutex_;
  std::condition_variable_any changed_;
  bool mayGoOn_ = false;
  bool isDamaged_ = false;
  int underWay_ = 0;
  ScriptedExporter exporter_;
  TemporaryDirectory temporary_{folder_.path(), ""};
  LinuxMediaFramework framework_{exporter_, temporary_};
};

INSTANTIATE_TYPED_TEST_SUITE_P(Linux, ExportSessionContract, LinuxExports);

}  // namespace
}  // namespace quorvin
