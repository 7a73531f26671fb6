// The files that the changer saves: small ones of several kinds.
#pragma once

#include <array>

namespace quorvin {

struct ChangerMedia {
  const char* name;  ///< in the folder of generated media
  bool isVideo = false;
};

inline constexpr std::array<ChangerMedia, 3> kChangerImages = {
    {{"orientation_6.jpg"}, {"transparent.png"}, {"animation.gif"}}};
inline constexpr ChangerMedia kChangerVideo = {"TURNED.mp4", true};

}  // namespace quorvin
