// Whether browsers play an MPEG-4 file, by what its tables say.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <vector>

namespace quorvin {

/// Gives the bytes of a file at a place; none when they are not there.
using FileReader = std::function<std::optional<std::vector<std::uint8_t>>(std::uint64_t position,
                                                                          std::size_t size)>;

/// True for H.264 of 8 bits, with sound, if any, as AAC. False for whatever is not understood.
bool playsInEveryBrowser(const FileReader& read, std::uint64_t fileSize);

}  // namespace quorvin
