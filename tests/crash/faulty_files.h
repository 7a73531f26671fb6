// Calls to the system that fail when they are told to.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace quorvin {

/// Which call on the files of a folder goes wrong, and how.
struct Fault {
  /// The calls that are counted: the name of one ("write", "pwrite", "fsync", "fdatasync",
  /// "syncfs", "rename", "unlink", "mkdir", "create", "copy", "truncate", "allocate"), "any" of
  /// them, those that take "space", or those that "open" anything.
  std::string calls;
  int number = 1;  ///< which of them, counted from 1 over the whole process
  enum class Kind {
    fail,      ///< it alone fails
    failOn,    ///< it and all that follow fail
    kill,      ///< the process is killed instead of it
    killHalf,  ///< the process is killed when half of the bytes are written
  } kind = Kind::fail;
  int errorNumber = 0;  ///< with which it fails
};

/// From now on, calls on what lies below the folder (absolute) are counted. Once in a process.
void inject(const std::string& folder, const Fault& fault);

/// Whether there were so many calls.
bool wasFaultReached();

}  // namespace quorvin
