// What an XMP side file says of its photo or video.
#pragma once

#include <exiv2/exiv2.hpp>
#include <optional>
#include <string>

#include "media_protocol/requests.h"

namespace quorvin {

/// The properties of a packet; none when it is no XMP that can be read.
std::optional<Exiv2::XmpData> xmpOf(const std::string& packet);

/// Adds what it says to the probe. False when it is no XMP.
bool readXmp(const std::string& packet, MediaProbe& probe);

}  // namespace quorvin
