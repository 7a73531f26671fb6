// Reads any bytes as a frame of a channel connection.
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "fuzz/require.h"
#include "tool/serve/reading/frames.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace quorvin;
  const std::vector<std::uint8_t> bytes(data, data + size);
  const auto frame = readFrame(bytes);
  if (!frame) return 0;
  require(frame->number != kUnaskedNumber, "a call has a number");
  require(frameOf(*frame) == bytes, "a frame that was read is written as it was");
  return 0;
}
