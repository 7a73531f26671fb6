// Files that are made to break, exhaust or mislead what reads them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "testing/media/media_bytes.h"

namespace quorvin {

struct HostileFile {
  std::string name;  ///< as it is imported
  Bytes bytes;
};

/// A few bytes that ask for much memory, or much time. `side` is that of the largest pictures which
/// may be decoded, in pixels.
std::vector<HostileFile> bombs(std::uint32_t side);
/// Structures in circles, nested deep, empty, enormous or counted by the billion.
std::vector<HostileFile> mazes();
/// Files of two kinds, of another kind than their names, and such that name other files.
std::vector<HostileFile> disguises();

/// Small genuine files, of each format that is read.
std::vector<HostileFile> genuineFiles();

/// Damage to genuine files: the same for the same number, whatever else is made.
class DamagedFiles {
 public:
  /// `count`: how many will be made. Half of them are cut short, at places that are spread evenly
  /// over all genuine files; the others have wrong bytes.
  explicit DamagedFiles(std::size_t count);

  HostileFile at(std::size_t number) const;

 private:
  HostileFile cutShort(std::size_t number) const;
  HostileFile changed(std::size_t number) const;

  std::size_t count_;
  std::vector<HostileFile> genuine_;
  std::size_t bytes_ = 0;  ///< of all of them
};

/// The smallest genuine file of each format, cut short behind each of its bytes.
class CutFiles {
 public:
  /// At most `most` of them, spread evenly.
  explicit CutFiles(std::size_t most);

  std::size_t count() const { return count_; }
  HostileFile at(std::size_t number) const;

 private:
  std::vector<HostileFile> genuine_;
  std::size_t bytes_ = 0;  ///< of all of them
  std::size_t count_ = 0;
};

}  // namespace quorvin
