// Requests and replies about how much memory decoding takes.
#include <utility>

#include "media_protocol/map_reader.h"
#include "media_protocol/wire.h"

namespace quorvin {

namespace {

constexpr Literal kMemory = "memory"_lit;
constexpr Literal kNeeds = "needs"_lit;
constexpr std::int64_t kMostBytes = std::int64_t{1} << 50;

std::optional<std::int64_t> bytesFrom(const Map& map, Literal key) {
  std::int64_t bytes = 0;
  if (!MapReader(map).within(key, 1, kMostBytes, bytes)) return std::nullopt;
  return bytes;
}

}  // namespace

Map withMemory(Map request, std::int64_t bytes) {
  request.push_back({kMemory, bytes});
  return request;
}

std::optional<std::int64_t> memoryFromMap(const Map& request) {
  return bytesFrom(request, kMemory);
}

Map needToMap(std::int64_t bytes) {
  return {{kNeeds, bytes}};
}

std::optional<std::int64_t> needFromMap(const Map& map) {
  return bytesFrom(map, kNeeds);
}

}  // namespace quorvin
