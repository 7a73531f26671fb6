// What a process did to the files of a folder, in the order in which it did it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace quorvin {

struct FileOperation {
  enum class Kind : std::uint8_t {
    createFile,
    makeFolder,
    write,
    truncate,  ///< to `offset` bytes, shorter or longer
    rename,    ///< to `target`, in place of what stands there
    removeFile,
    removeFolder,
    sync,     ///< of a file's content, or of a folder's entries
    syncAll,  ///< of everything
    answer,   ///< the caller was told that its change is done
  } kind = Kind::answer;
  std::string path;  ///< relative to the folder; empty: the folder itself
  std::string target;
  std::int64_t offset = 0;
  std::string bytes;
};

/// From now on what happens below the folder (absolute) goes to the file, which lies elsewhere.
/// Once in a process.
void recordFiles(const std::string& folder, const std::string& file);

bool isRecording();

/// Adds an operation to the record, with paths as the system knows them; one outside the folder is
/// left out. Any thread.
void record(FileOperation::Kind kind, std::string_view path, std::string_view target = {},
            std::int64_t offset = 0, std::string_view bytes = {});
void recordAnswer();

/// The operations in a file that `recordFiles` was given.
std::vector<FileOperation> readRecord(const std::string& file);

}  // namespace quorvin
