// What the tests of the channel share: an engine on the imported library, and short calls.
#pragma once

#include <sys/types.h>

#include <map>
#include <string>
#include <vector>

#include "core/platform/host.h"
#include "tests/c_abi/engine_fixture.h"

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

/// The media workers of this process, as long as it starts nothing else.
std::vector<pid_t> childrenOfThisProcess();

/// A library that the tests only read, with full access.
class ChannelFixture : public EngineFixture {
 protected:
  void SetUp() override;

  /// That of the calls below.
  virtual QuorvinEngine* engine() { return engine_.get(); }
  /// A library that the test may change: a copy of the imported one.
  std::string copyOfLibrary();
  EnginePointer openLibrary(const std::string& path, int authorization = 3);

  Value result(const std::string& method, Value arguments = {}) {
    return EngineFixture::result(engine(), method, std::move(arguments));
  }
  /// Calls, and returns the error; fails the test when the reply is none.
  FlutterError error(const std::string& method, Value arguments = {});

  List galleries(int mediaType, bool filterEmpty = false, bool withSmartAlbum = true);
  /// The identifier of the gallery with this title.
  std::string gallery(const std::string& title);
  List page(const std::string& collection, int start, int end, int sort, int mediaType = kAll);
  /// The identifiers of all listed assets, by stored file name.
  std::map<std::string, std::string> assetsByName();
  std::string asset(const std::string& name);

 private:
  EnginePointer engine_;
};

}  // namespace quorvin
