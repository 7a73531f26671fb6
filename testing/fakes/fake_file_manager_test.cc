#include "testing/fakes/fake_file_manager.h"

#include <gtest/gtest.h>

#include "testing/contracts/file_manager_contract.h"

namespace quorvin {
namespace {

class FakeFilesSubject {
 public:
  FakeFilesSubject() { files_.createDirectory(folder()); }

  NSFileManager& files() { return files_; }
  std::string folder() { return "/work"; }
  void put(const std::string& path, const std::string& text) { files_.addText(path, text); }
  std::optional<std::string> text(const std::string& path) { return files_.text(path); }
  std::optional<NSDate> modificationDate(const std::string& path) {
    return files_.file(path)->attributes.NSFileModificationDate;
  }

 private:
  EventLog log_;
  FakeFileManager files_{log_};
};

}  // namespace

INSTANTIATE_TYPED_TEST_SUITE_P(Fake, FileManagerContract, FakeFilesSubject);

}  // namespace quorvin
