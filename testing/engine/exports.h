// Exports out of a library: calls, the files that come of them, and originals to damage.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "testing/engine/channel.h"
#include "testing/engine/media_check.h"
#include "testing/media/generated_media.h"

namespace quorvin {

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

/// A channel whose files are looked at. They lie below its `temporary()`.
class Exports : public Channel {
 public:
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

  /// Imports files with the program into a new library.
  std::string libraryOf(const std::vector<std::filesystem::path>& files);
};

/// Where the library keeps the original that was imported from `source`.
std::filesystem::path originalOf(const std::string& library, const std::filesystem::path& source);
/// Puts other bytes in the place of an original.
void replaceOriginal(const std::string& library, const std::filesystem::path& source,
                     const std::string& bytes);

/// Every file below a folder, relative to it, sorted.
std::vector<std::string> filesIn(const std::filesystem::path& place);

/// The file's own dates.
double modificationOf(const std::filesystem::path& file);

/// How many descriptors are open in this process, and in that of its workers that has most.
struct Descriptors {
  std::size_t own = 0;
  std::size_t worker = 0;
};
Descriptors descriptorsInUse();

}  // namespace quorvin
