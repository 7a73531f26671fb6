// How movies and sounds are named.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "media_protocol/requests.h"
#include "media_worker/reading/signature.h"

namespace quorvin {

/// `demuxer` is the name under which FFmpeg reads the container; `head` are its first bytes.
ContentType movieType(std::string_view demuxer, std::span<const std::uint8_t> head, MediaKind kind);

}  // namespace quorvin
