// Copies of files on their way to being originals of a library.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "core/platform/value.h"
#include "platform_linux/errors/failure.h"
#include "platform_linux/files/copy_content.h"
#include "platform_linux/library/catalogue/asset_rows.h"
#include "platform_linux/library/originals/joint_flush.h"
#include "platform_linux/library/originals/source_file.h"
#include "platform_linux/library/originals/staging.h"
#include "posix/file_descriptor.h"

namespace quorvin {

/// A copy and the row that it will have.
struct OriginalCopy {
  NewResource resource;
  std::string place;       ///< beneath the library: in the staging folder, later in `originals/`
  FileDescriptor content;  ///< until it is durable
  /// The source was in the state that was described from then on until it was copied.
  bool isOfThatState = false;
  // For the original's record.
  NewAsset asset;         ///< whose resource it will be
  bool isPaired = false;  ///< as the movie of a photo
};

/// Files may be copied on several threads at once; everything else is for one. The folder and the
/// staging outlive it.
class OriginalCopies {
 public:
  OriginalCopies(const LibraryFolder& folder, Staging& staging)
      : folder_(folder), staging_(staging), flush_(folder) {}

  /// Copies the whole file into the staging folder, with the file's times. An error
  /// when it is no longer what `file` says. `uuid` names the original. Each byte is told of twice,
  /// for it is read twice.
  Result<OriginalCopy> copyFile(const SourceFile& file, const std::string& uuid, bool isPaired,
                                const BytesListener& copied = {});

  /// Copies the movie inside a motion photo.
  Result<OriginalCopy> copyEmbeddedMovie(const SourceFile& file, const std::string& uuid);

  /// Writes the copies' records, makes them read-only and durable, lists them and moves them among
  /// the originals. After an error some of them may be there.
  Done place(const std::vector<OriginalCopy*>& copies);

  /// Removes the copy from wherever it is. False when it is still there.
  bool remove(const OriginalCopy& copy) const;

 private:
  Done copyInto(OriginalCopy& copy, int source, std::int64_t offset, std::int64_t length,
                const BytesListener& copied);
  Done makeContentsDurable(const std::vector<OriginalCopy*>& copies);
  Done moveIn(OriginalCopy& copy, std::set<std::string>& folders) const;

  const LibraryFolder& folder_;
  Staging& staging_;
  JointFlush flush_;
  std::atomic<std::size_t> number_ = 0;
};

}  // namespace quorvin
