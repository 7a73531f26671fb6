// All that a library ever asks of a file, asked of the worker program.
#pragma once

#include <chrono>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "platform_linux/media/media_worker_pool.h"

namespace quorvin {

/// The path of the worker program.
std::string workerProgram();

/// What came of the calls.
struct AttackTally {
  std::size_t files = 0;
  std::size_t calls = 0;
  std::size_t refused = 0;                                   ///< calls that ended in an error
  std::map<std::string, std::chrono::milliseconds> longest;  ///< by kind of call
  /// "name: call: reason" of each call that cost a worker: it ended, was late, or made no sense.
  std::vector<std::string> ended;
  std::vector<std::string> late;
  std::vector<std::string> senseless;
  std::set<std::string> refusedCalls;  ///< to the system, which workers would have liked to make
  std::vector<std::string> refusals;   ///< "name: call" where each of these was first seen

  void add(const AttackTally& other);
};

/// One thread, with a pool of its own, so that each worker is the one that describes itself.
class Attack {
 public:
  /// `folder` is for what exports write.
  explicit Attack(std::string folder);

  /// Asks everything of the file, whatever it is taken for.
  void on(const std::string& path);

  MediaWorkerPool& pool() { return pool_; }
  const AttackTally& tally() const { return tally_; }

 private:
  template <class Work>
  auto call(const char* kind, Work work);
  void note(const char* kind, const std::string& reason);
  void askForPictures(const FileDescriptor& file);
  void askForExports(const FileDescriptor& file);
  void askForRefusedCalls();

  const std::string folder_;
  MediaWorkerPool pool_;
  AttackTally tally_;
  std::string name_;  ///< of the file under way
};

}  // namespace quorvin
