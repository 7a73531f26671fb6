#include "tool/serve/reading/own_origin.h"

#include <algorithm>
#include <array>
#include <string>

namespace quorvin {
namespace {

constexpr std::array<std::string_view, 3> kOwnNames{"127.0.0.1", "localhost", "[::1]"};
constexpr std::string_view kOwnScheme = "http://";

}  // namespace

bool isOwnHost(std::string_view host, std::uint16_t port) {
  const std::string end = ":" + std::to_string(port);
  if (!host.ends_with(end)) return false;
  host.remove_suffix(end.size());
  return std::ranges::find(kOwnNames, host) != kOwnNames.end();
}

bool isOwnOrigin(std::string_view origin, std::uint16_t port) {
  if (!origin.starts_with(kOwnScheme)) return false;
  return isOwnHost(origin.substr(kOwnScheme.size()), port);
}

}  // namespace quorvin
