// Space that is kept back for the time when the disk has none.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "platform_linux/files/folder.h"
#include "posix/file_descriptor.h"

namespace quorvin {

/// A file of nothing that takes up space, and is made smaller when somebody needs it. The callers
/// agree who changes it. It is cut and extended in place, so that a stop in between does no harm.
/// The folder outlives it.
class SpaceReserve {
 public:
  SpaceReserve(const Folder& folder, std::string name) : folder_(folder), name_(std::move(name)) {}

  enum class Part { all, most };
  /// Frees it, or three quarters. False when there is none.
  bool giveUp(Part part = Part::all) const;

  /// Makes it whole where it is not, or as large as the disk allows. Where there is none it is made
  /// only if at least as much remains free beside it.
  void keep() const;

  /// Whether nothing is missing of it.
  bool isWhole() const;
  /// Whether some of it is missing: the disk is full, and nobody may take what is free but those
  /// for whom it was kept.
  bool isInUse() const;

  /// What the disk has free.
  std::int64_t freeBytes() const;

 private:
  std::optional<std::int64_t> size() const;
  FileDescriptor open(struct stat& status) const;

  const Folder& folder_;
  const std::string name_;
};

}  // namespace quorvin
