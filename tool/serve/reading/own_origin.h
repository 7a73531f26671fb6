// Which names the server answers to.
#pragma once

#include <cstdint>
#include <string_view>

namespace quorvin {

/// Whether a Host header names this server: another name is that of a site which was made to lead
/// here.
bool isOwnHost(std::string_view host, std::uint16_t port);

/// Whether an Origin header names a page of this server.
bool isOwnOrigin(std::string_view origin, std::uint16_t port);

}  // namespace quorvin
