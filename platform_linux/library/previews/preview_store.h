// The previews of a library: pictures made of its originals, which can be made again.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "core/platform/lock.h"
#include "core/platform/value.h"
#include "media_protocol/rendering_size.h"
#include "platform_linux/errors/failure.h"
#include "platform_linux/library/catalogue/library_folder.h"
#include "platform_linux/library/database/sqlite.h"
#include "platform_linux/library/previews/preview_sides.h"
#include "posix/file_descriptor.h"

namespace quorvin {

/// By which a preview is known to be of what an original holds now.
struct OriginalState {
  std::string name;  ///< of the file: the identifier of its asset comes first
  std::int64_t bytes = 0;
  std::int64_t modified = 0;  ///< nanoseconds since 1970

  /// Of an open original; none when the system does not tell.
  static std::optional<OriginalState> of(const std::string& path, const FileDescriptor& file);
};

struct Preview {
  PixelSize picture;  ///< what it shows, at its full size
  ByteBuffer jpeg;
};

struct PreviewTotals {
  std::int64_t pictures = 0;    ///< that have previews
  std::int64_t impossible = 0;  ///< that can have none
  std::int64_t bytes = 0;       ///< that all previews take on the disk
};

/// One file, so that a grid of pictures opens no thousand files. It is nobody's only copy of
/// anything: one that is damaged, foreign or of another version is thrown away, and what could not
/// be read is as if it had not been made. Any thread, several at once, and several processes.
class PreviewStore {
 public:
  static constexpr const char* kFileName = "previews.sqlite";  ///< in `derivatives/`

  /// Opens nothing yet.
  explicit PreviewStore(LibraryFolder folder) : folder_(std::move(folder)) {}
  ~PreviewStore();
  PreviewStore(const PreviewStore&) = delete;
  PreviewStore& operator=(const PreviewStore&) = delete;

  /// None where there is none that shows the original as it is now.
  std::optional<Preview> find(const OriginalState& original, const PreviewSide& side);

  /// False also for what was made of an earlier state of the original.
  bool isDone(const OriginalState& original, const PreviewSide& side);

  struct Made {
    PreviewSide side;
    PixelSize picture;
    std::optional<ByteBuffer> jpeg;  ///< none: there can be no preview
  };
  /// Keeps what was made, in place of what was there for the same original and sides.
  Done keep(const OriginalState& original, std::span<const Made> made);

  /// Those of deleted assets, by their UUIDs. The disk gets the space back.
  void remove(std::span<const std::string> uuids);

  /// Calls for the names of all originals that have previews, in their order.
  void forEachOriginal(const std::function<void(const std::string& name)>& call);
  /// `hidden`: originals, by their paths, that do not count.
  PreviewTotals totals(const std::vector<std::string>& hidden);

  /// The assets up to this row, and this one, have all had their turn. 0: none yet.
  std::int64_t doneUpTo();
  void setDoneUpTo(std::int64_t asset);

 private:
  /// A connection, and by which it is seen that another file lies there now.
  struct Connection {
    std::unique_ptr<Database> database;
    std::uint64_t device = 0;
    std::uint64_t file = 0;
  };
  std::string path() const;
  bool isOpen(const Connection& connection) const;
  /// False when there is no regular file.
  bool note(Connection& connection) const;
  /// Null when there are no previews.
  Database* reader() QUORVIN_REQUIRES(readerLock_);
  Done openWriter() QUORVIN_REQUIRES(writerLock_);
  /// As one transaction; `body` is false when writing failed. A file that proves damaged goes.
  Done change(const std::function<bool(Database&)>& body) QUORVIN_EXCLUDES(writerLock_);
  void removeFile() const;

  const LibraryFolder folder_;
  NSLock readerLock_;
  Connection reader_ QUORVIN_GUARDED_BY(readerLock_);
  NSLock writerLock_;
  Connection writer_ QUORVIN_GUARDED_BY(writerLock_);
};

}  // namespace quorvin
