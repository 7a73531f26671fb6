// What the tests of the exports share: calls, the files that come of them, and originals to damage.
#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tests/channel/channel_fixture.h"
#include "tests/channel/media_check.h"

namespace quorvin {

inline const std::filesystem::path kGoodMedia =
    std::filesystem::path(QUORVIN_GENERATED_MEDIA) / "good";
inline const std::filesystem::path kBadMedia =
    std::filesystem::path(QUORVIN_GENERATED_MEDIA) / "bad";

enum class Format { original = 0, mov = 1, mp4 = 2 };

inline Map imageData(const std::string& id, bool convertJpeg) {
  return {{"assetId", id}, {"convertJpeg", convertJpeg}};
}
inline Map imageFile(const std::string& id, bool convertJpeg = false, bool mediumQuality = false) {
  return {{"assetId", id}, {"convertJpeg", convertJpeg}, {"mediumQuality", mediumQuality}};
}
inline Map videoFile(const std::string& id, Format format, bool mediumQuality = false) {
  return {
      {"assetId", id}, {"mediumQuality", mediumQuality}, {"videoFormat", static_cast<int>(format)}};
}
inline Map livePhotoFile(const std::string& id, bool mediumQuality = false) {
  return {{"assetId", id}, {"mediumQuality", mediumQuality}};
}

/// The tests' engine, on a library that they only read, writes below `temporary()`. Tests that
/// change a library open an engine on a copy with `useCopy`.
class ExportsFixture : public ChannelFixture {
 protected:
  std::filesystem::path temporary() const { return folder() / "temporary"; }
  QuorvinEngine* engine() override { return own_ ? own_.get() : ChannelFixture::engine(); }

  /// From now on calls go to an engine on a copy of the library, which `change` has changed.
  void useCopy(const std::function<void(const std::string& library)>& change);
  /// From now on calls go to an engine on this library and this temporary directory.
  void use(const std::string& library, const std::string& temporaryPath);

  /// The path of a file that the caller may delete; it lies in the folder of its kind.
  std::filesystem::path exported(const std::string& method, Value arguments);

  std::filesystem::path image(const std::string& name, bool convertJpeg = false,
                              bool mediumQuality = false) {
    return exported("getImageUrl", imageFile(asset(name), convertJpeg, mediumQuality));
  }
  std::filesystem::path video(const std::string& name, Format format, bool mediumQuality = false) {
    return exported("getVideoUrl", videoFile(asset(name), format, mediumQuality));
  }
  ByteBuffer data(const std::string& name, bool convertJpeg);

  /// The identifier of the asset with this stored name.
  std::string asset(const std::string& name);

  /// Where the library keeps the original that was imported from `source`.
  static std::filesystem::path originalOf(const std::string& library,
                                          const std::filesystem::path& source);
  /// Puts other bytes in the place of an original.
  static void replaceOriginal(const std::string& library, const std::filesystem::path& source,
                              const std::string& bytes);
  /// Imports files with the program into a new library.
  std::string libraryOf(const std::vector<std::filesystem::path>& files);

  /// Every file below a folder, relative to it, sorted.
  static std::vector<std::string> filesIn(const std::filesystem::path& place);

 private:
  EnginePointer own_;
  std::optional<std::map<std::string, std::string>> assets_;
};

/// The file's own dates.
double modificationOf(const std::filesystem::path& file);

/// How many descriptors are open in this process, and in that of its workers that has most.
struct Descriptors {
  std::size_t own = 0;
  std::size_t worker = 0;
};
Descriptors openDescriptors();

}  // namespace quorvin
