// The boxes that HEIF pictures and movies are made of.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "media_worker/reading/input_file.h"
#include "media_worker/reading/orientation.h"

namespace quorvin {

struct Box {
  std::string type;        ///< four characters
  std::int64_t begin = 0;  ///< of its content
  std::int64_t end = 0;    ///< behind its content; may lie beyond the end of a file cut short
};

/// The box at `position`; none when no whole header fits before `limit` or its size is none.
std::optional<Box> boxAt(const InputFile& file, std::int64_t position, std::int64_t limit);

/// The first box of the type among those that follow one another in [begin, end).
std::optional<Box> findBox(const InputFile& file, std::string_view type, std::int64_t begin,
                           std::int64_t end);

/// Whether a box at the top announces more bytes than the file has.
bool isCutShort(const InputFile& file);

/// The primary picture of a HEIF file, whose box `meta` is; none when the file names none.
std::optional<std::uint64_t> primaryItem(const InputFile& file, const Box& meta);

/// Whether a property of a HEIF file, whatever picture it belongs to, says by code points how
/// colours are coded (`colr` of the kind `nclx`).
bool namesColours(const InputFile& file);

/// How the primary picture of a HEIF file is turned to be upright, by its `irot` and `imir`
/// properties in their order. Newer versions of libheif tell the same.
Turn primaryTurn(const InputFile& file);

}  // namespace quorvin
