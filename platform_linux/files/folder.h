// A folder that is held open, and what lies in it.
#pragma once

#include <sys/stat.h>

#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "posix/file_descriptor.h"

namespace quorvin {

/// Whoever fills a folder may plant links in it. Everything that is named here lies in the folder
/// all the same: a path is relative to it, without empty, "." and ".." parts, and no part of it is
/// followed where it is a link. Such paths are errors: EXDEV where they lead out by their own
/// words, ELOOP for links, ENOENT for what no file can be called. The folder stays the same one
/// when it is renamed or another takes its place. Error numbers are the system's; 0 is none. Any
/// thread, several at once.
class Folder {
 public:
  /// How the system finds what is named.
  enum class Resolution {
    inOneStep,  ///< falls back to the other where the system cannot
    partAfterPart
  };
  enum class Existing {
    replace,  ///< what stands at the target gives way, as far as it can
    keep,     ///< what stands at the target is an error, EEXIST
  };
  enum class Kind { file, folder, link, other };
  struct Entry {
    std::string name;
    Kind kind = Kind::other;
    friend bool operator==(const Entry&, const Entry&) = default;
  };

  /// No folder.
  Folder() = default;
  /// Links on the way to the folder itself are followed. When there is none, errno says why.
  static Folder open(const std::string& path, Resolution resolution = Resolution::inOneStep);

  explicit operator bool() const { return static_cast<bool>(file_); }
  /// By which the folder is found; it can be neither read nor listed by it.
  int descriptor() const { return file_.get(); }

  /// As `::open`, without waiting for the other end of a FIFO: when there is none, errno says why.
  FileDescriptor openFile(std::string_view path, int flags, mode_t mode = 0) const;
  /// As `openFile` for reading; what is no regular file is an error, EINVAL.
  FileDescriptor openRegularFile(std::string_view path) const;
  /// When there is none, errno says why.
  Folder openFolder(std::string_view path) const;

  /// A new file that has no name and is gone when it is closed, for reading and writing: none where
  /// the file system has no such files.
  FileDescriptor makeUnnamedFile(mode_t mode) const;
  /// Gives a file without a name one; what stands there is an error, EEXIST.
  int nameFile(const FileDescriptor& file, std::string_view path) const;

  /// What stands at the path itself: a link is not followed here either.
  int status(std::string_view path, struct stat& status) const;
  /// The entries of the folder itself, sorted by name.
  int list(std::vector<Entry>& entries) const;

  /// With this mode less the umask.
  int makeFolder(std::string_view path, mode_t mode) const;
  /// A file of several names keeps its mode, for the other ones may lie elsewhere: EMLINK.
  int setMode(std::string_view path, mode_t mode) const;
  int removeFile(std::string_view path) const;
  int removeFolder(std::string_view path) const;  ///< an empty one
  /// A folder with all that is in it; links go without what they lead to.
  int removeTree(std::string_view path) const;
  int rename(std::string_view path, const Folder& into, std::string_view newPath,
             Existing existing) const;

  /// Another name for the file; what stands there is an error, EEXIST.
  int link(std::string_view path, const Folder& into, std::string_view newPath) const;

  /// Makes the entries of the folder itself durable.
  int sync() const;
  /// The mode of the folder itself.
  int setMode(mode_t mode) const;

 private:
  struct Place;
  Folder(FileDescriptor file, Resolution resolution)
      : file_(std::move(file)), resolution_(resolution) {}
  /// The folder at the path, by which things are found.
  FileDescriptor find(const std::string& path) const;
  FileDescriptor findPartAfterPart(const std::string& path) const;
  Place placeOf(std::string_view path) const;
  int removeTree(std::string_view path, int depth) const;

  FileDescriptor file_;
  Resolution resolution_ = Resolution::inOneStep;
};

/// A file that lies beneath a folder.
struct HeldFile {
  std::shared_ptr<const Folder> folder;  ///< null: there is no such file
  std::string path;

  /// For reading. When there is none, errno says why: ENOENT also where a link or anything else
  /// stands that is no regular file.
  FileDescriptor open() const;
};

}  // namespace quorvin
