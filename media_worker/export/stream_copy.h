// Streams of a movie whose packets are taken as they are.
#pragma once

#include "media_protocol/requests.h"

struct AVFormatContext;
struct AVStream;

namespace quorvin {

/// Makes `copy` a stream that takes the packets of `source` as they are.
bool describeCopy(const AVStream& source, AVFormatContext& movie, AVStream& copy);

/// Whether the stream plays by default, for whom it is meant, and its language.
void copyRole(const AVStream& source, const AVFormatContext& movie, AVStream& copy);

/// Whether the container takes the packets of the stream as they are.
bool canHoldCopyOf(const AVStream& source, VideoContainer container);

}  // namespace quorvin
