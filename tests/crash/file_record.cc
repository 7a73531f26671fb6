#include "tests/crash/file_record.h"

#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <cstring>

#include "core/platform/lock.h"
#include "testing/platform/testing_folder.h"

namespace quorvin {
namespace {

/// Of one operation in the file; the paths and the bytes follow it.
struct Head {
  FileOperation::Kind kind;
  std::int64_t offset;
  std::uint64_t path;  ///< lengths
  std::uint64_t target;
  std::uint64_t bytes;
};

struct Recorder {
  std::string folder;
  int file = -1;
  NSLock lock;  ///< so that the order in the file is that of the operations
};

// Functions that replace those of C have nowhere else to look.
std::atomic<Recorder*> recorder = nullptr;

/// The path below the folder; false when it is not there.
bool relativeTo(const std::string& folder, std::string_view path, std::string& relative) {
  if (!path.starts_with(folder)) return false;
  path.remove_prefix(folder.size());
  if (!path.empty() && path.front() != '/') return false;
  relative = path.empty() ? path : path.substr(1);
  // A file that has no name any more matters to nobody.
  return !relative.ends_with(" (deleted)");
}

}  // namespace

void recordFiles(const std::string& folder, const std::string& file) {
  auto* made = new Recorder;  // never freed: threads may call until the process has gone
  made->folder = folder;
  made->file = static_cast<int>(::syscall(SYS_openat, AT_FDCWD, file.c_str(),
                                          O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
  if (made->file < 0) std::abort();
  recorder = made;
}

bool isRecording() {
  return recorder.load() != nullptr;
}

void record(FileOperation::Kind kind, std::string_view path, std::string_view target,
            std::int64_t offset, std::string_view bytes) {
  Recorder* now = recorder.load();
  std::string from;
  std::string to;
  if (now == nullptr) return;
  if (kind != FileOperation::Kind::answer && !relativeTo(now->folder, path, from)) return;
  if (!target.empty() && !relativeTo(now->folder, target, to)) std::abort();
  Head head{};
  head.kind = kind;
  head.offset = offset;
  head.path = from.size();
  head.target = to.size();
  head.bytes = bytes.size();
  std::string entry(reinterpret_cast<const char*>(&head), sizeof head);
  entry.append(from).append(to).append(bytes);
  const NSLockHolder held(now->lock);
  if (::syscall(SYS_write, now->file, entry.data(), entry.size()) !=
      static_cast<long>(entry.size())) {
    std::abort();
  }
}

void recordAnswer() {
  record(FileOperation::Kind::answer, {});
}

std::vector<FileOperation> readRecord(const std::string& file) {
  const std::string all = readFile(file);
  std::vector<FileOperation> operations;
  std::size_t at = 0;
  const auto take = [&all, &at](std::uint64_t size) {
    at += size;
    return all.substr(at - size, size);
  };
  while (at + sizeof(Head) <= all.size()) {
    Head head;
    std::memcpy(&head, all.data() + at, sizeof head);
    at += sizeof head;
    FileOperation operation;
    operation.kind = head.kind;
    operation.offset = head.offset;
    operation.path = take(head.path);
    operation.target = take(head.target);
    operation.bytes = take(head.bytes);
    operations.push_back(std::move(operation));
  }
  return operations;
}

}  // namespace quorvin
