// Authorisation statuses as people write them.
#pragma once

#include <array>
#include <string_view>

namespace quorvin {

/// By the status's number.
inline constexpr std::array<std::string_view, 5> kStatusNames = {"not-determined", "restricted",
                                                                 "denied", "authorized", "limited"};

}  // namespace quorvin
