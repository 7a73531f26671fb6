// Small films and sounds for tests, coded by FFmpeg's own encoders, picture by picture.
#pragma once

#include <vector>

#include "testing/media/pictures.h"

namespace quorvin {

struct FilmOptions {
  int orientation = 1;  ///< of the stored pixels, written as a display matrix
  int aspectWidth = 1;  ///< of a pixel
  int aspectHeight = 1;
  const char* container = "mov";
};
/// A film of the pictures, as stored, ten a second.
Bytes video(const std::vector<Picture>& frames, const FilmOptions& options = {});
/// A second of a tone.
Bytes sound();

}  // namespace quorvin
