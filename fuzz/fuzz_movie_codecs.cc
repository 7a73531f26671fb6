// Reads any bytes as a movie whose codecs are asked for.
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "fuzz/require.h"
#include "tool/serve/reading/movie_codecs.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace quorvin;
  const FileReader read = [data, size](std::uint64_t position, std::size_t count) {
    require(position <= size && count <= size - position, "only what is there is read");
    return std::optional(std::vector<std::uint8_t>(data + position, data + position + count));
  };
  playsInEveryBrowser(read, size);
  return 0;
}
