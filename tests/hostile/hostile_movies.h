// Movie files put together by hand, box by box.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "tests/hostile/byte_writer.h"

namespace quorvin {

/// A movie with one track, of which each sample is the same bytes of the file.
struct MovieShape {
  std::string codec = "png ";
  int width = 16;
  int height = 16;
  Bytes sample;
  std::uint32_t samples = 1;   ///< as all tables say
  std::uint32_t places = 1;    ///< those that are told where they lie
  std::uint32_t rate = 10;     ///< samples a second
  std::uint64_t duration = 0;  ///< as the headers say, in samples; 0: right
  Bytes dataReference;         ///< a box in place of the one that says: in this file
  ByteWriter trackBoxes;       ///< further boxes of the track
  ByteWriter movieBoxes;       ///< further boxes of the movie
};
Bytes movieOf(const MovieShape& shape);

/// The beginning of a QuickTime file.
Bytes movieBeginning();

/// Boxes in each other, so deep; `beside` stands before the inner box of each.
Bytes nested(const std::string& type, std::size_t depth, const Bytes& beside = {});

}  // namespace quorvin
