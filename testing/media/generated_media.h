// The media that tests read, and the library that the program has imported from the good ones.
#pragma once

#include <filesystem>

namespace quorvin {

inline const std::filesystem::path kGoodMedia =
    std::filesystem::path(QUORVIN_GENERATED_MEDIA) / "good";
inline const std::filesystem::path kBadMedia =
    std::filesystem::path(QUORVIN_GENERATED_MEDIA) / "bad";
/// Tests only read it.
inline const std::filesystem::path kImportedLibrary = QUORVIN_IMPORTED_LIBRARY;

}  // namespace quorvin
