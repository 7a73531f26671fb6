// What a worker that lies can do at each step.
#pragma once

#include <cstdint>

namespace quorvin {

enum class Lie : std::uint8_t {
  plain,           ///< says the bytes
  withPixels,      ///< the same with sealed memory of that size
  withManyPixels,  ///< the same, some tens of thousands of times as large
  withOpenMemory,  ///< with memory that anybody may still change
  withFile,        ///< with an ordinary file
  withTwo,         ///< with two descriptors
  wait,            ///< takes the next request
  end,             ///< ends
};
inline constexpr int kLies = 8;

}  // namespace quorvin
