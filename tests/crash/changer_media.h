// The files that the changer brings into a library: small ones of several kinds.
#pragma once

#include <array>
#include <string>

namespace quorvin {

struct ChangerMedia {
  const char* name;  ///< in the folder of generated media
  bool isVideo = false;
};

inline constexpr std::array<ChangerMedia, 3> kChangerImages = {
    {{"orientation_6.jpg"}, {"transparent.png"}, {"animation.gif"}}};
inline constexpr ChangerMedia kChangerVideo = {"TURNED.mp4", true};

// Made when needed, each of its own content, so that no library has it already. The still and the
// movie of one number are a live photo.
std::string madeStill(unsigned number);
std::string madeMovie(unsigned number);
/// A photo that holds its movie, of which a library makes a live photo.
std::string madeMotionPhoto(unsigned number);
/// How a library calls the movie that it cuts out of one.
std::string movieIn(const std::string& motionPhoto);
bool isMade(const std::string& name);

/// One thread. The bytes of the file of that name: one of those above, the movie that a library
/// cuts out of a motion photo, or one in the folder of generated media.
std::string contentOf(const std::string& media, const std::string& name);

}  // namespace quorvin
