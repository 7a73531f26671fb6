// Calls of every method, in any mixture, and what of an answer does not depend on other calls.
#pragma once

#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "testing/engine/channel.h"

namespace quorvin {

/// The title of all albums that are made.
inline constexpr const char* kStressAlbum = "Stress";

struct StressCall {
  std::string method;
  Value arguments;
  /// The asset whose exported file the answer names: while that file is looked at, no other call
  /// may write it. Empty for other calls.
  std::string writes{};
  bool isRepeatable = true;  ///< alone, on another copy of the library, it gives the same
};

/// Makes calls on a copy of the imported library. One thread.
class StressCalls {
 public:
  /// `channel` is on any copy, which has the same identifiers.
  explicit StressCalls(Channel& channel);
  StressCalls(const StressCalls& other, unsigned seed) : StressCalls(other) { random_.seed(seed); }

  /// Each method once, then in any mixture. Writes none of the files that are being looked at.
  StressCall any(const std::set<std::string>& looked);
  /// The answer to a save, so that a later call can delete what was saved.
  void noteSaved(const std::string& identifier) { saved_.push_back(identifier); }

  /// Every method's name.
  static const std::vector<std::string>& methods();

 private:
  StressCall call(const std::string& method);
  int below(int limit) { return std::uniform_int_distribution(0, limit - 1)(random_); }
  template <class T>
  const T& anyOf(const std::vector<T>& choices) {
    return choices.at(static_cast<std::size_t>(below(static_cast<int>(choices.size()))));
  }
  std::string anyGallery() { return anyOf(galleries_); }
  std::string anyStill() { return anyOf(stills_); }
  StressCall writing(const std::string& method, const std::string& asset, Map options);

  std::mt19937 random_{20240229};
  std::vector<std::string> galleries_;  ///< which no save and no deletion changes
  std::vector<std::string> assets_;
  std::vector<std::string> stills_;
  std::vector<std::string> movies_;
  std::vector<std::string> livePhotos_;
  std::string burst_;
  std::vector<std::string> saved_;
  std::vector<std::string> uncalled_ = methods();
};

/// A text that is the same for the same call, whatever else is under way. Of an exported file it
/// holds the content. Fails the test when there is no reply.
std::string lastingPartOf(const StressCall& call, const Answer& answer);

/// The bytes of an exported file. Of a video, what it plays: on several threads the encoder now and
/// then comes to other bytes.
std::string contentOfExport(const std::string& path, bool isVideo);

}  // namespace quorvin
