// How well files fit each other, where several would.
#pragma once

#include <cstdint>
#include <string>
#include <tuple>

#include "platform_linux/library/grouping/part.h"

namespace quorvin {

/// The least fits best.
using Rank = std::tuple<int, int, std::string, std::string, bool, bool, std::uint64_t,
                        std::uint64_t, std::string, std::string>;

/// Names decide, and `fit` before them. Files of one name are there where a camera began to count
/// anew: what is together stays together, and what came at one time, or was taken at one, belongs
/// together.
Rank rankOf(int fit, const Part& main, const Part& part, bool areTogether);

/// Of several stills of one name: 0 for a HEIC one, which comes first, else 1.
int preference(const Part& still);

}  // namespace quorvin
