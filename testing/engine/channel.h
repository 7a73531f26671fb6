// Short calls to an engine on the imported library, or on a library of the test's own.
#pragma once

#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "testing/engine/engines.h"

namespace quorvin {

inline constexpr int kAll = 0;
inline constexpr int kImages = 1;
inline constexpr int kVideos = 2;
inline constexpr int kAudio = 3;
inline constexpr int kNewestFirst = 0;
inline constexpr int kOldestFirst = 1;

/// The entry under a key; fails the test when there is none.
const Value& at(const Value& map, std::string_view key);
std::string textAt(const Value& map, std::string_view key);
std::int64_t integerAt(const Value& map, std::string_view key);

/// Copies the imported library, so that a test may change it.
void copyImportedLibrary(const std::filesystem::path& copy);

/// An engine with full access, and calls to it. At first it is on the imported library, which the
/// tests only read.
class Channel {
 public:
  Channel() { use(QUORVIN_IMPORTED_LIBRARY); }

  QuorvinEngine* engine() { return engine_.get(); }
  const std::filesystem::path& folder() const { return engines.folder(); }
  std::filesystem::path temporary() const { return folder() / "temporary"; }

  /// From now on calls go to an engine on this library; the one before ends.
  void use(const std::string& library) { use(library, temporary()); }
  void use(const std::string& library, const std::string& temporaryPath);
  /// The same on a copy of the imported library, at `folder() / "copy"`, which `change` has
  /// changed.
  void useCopy(const std::function<void(const std::string& library)>& change);

  Answer& call(const std::string& method, Value arguments = {}) {
    return engines.call(engine(), method, std::move(arguments));
  }
  void await(const Answer& answer) { engines.await(engine(), answer); }
  Value result(const std::string& method, Value arguments = {}) {
    return engines.result(engine(), method, std::move(arguments));
  }
  FlutterError error(const std::string& method, Value arguments = {}) {
    return engines.error(engine(), method, std::move(arguments));
  }

  List galleries(int mediaType, bool filterEmpty = false, bool withSmartAlbum = true);
  /// The identifier of the gallery with this title.
  std::string gallery(const std::string& title);
  List page(const std::string& collection, int start, int end, int sort, int mediaType = kAll);
  /// The identifiers of all listed assets, by stored file name.
  std::map<std::string, std::string> assetsByName();
  /// The identifier of the asset with this stored name, as the engine knew it when first asked.
  std::string asset(const std::string& name);

  Engines engines;

 private:
  EnginePointer engine_;
  std::optional<std::map<std::string, std::string>> assets_;
};

}  // namespace quorvin
