// Which of FFmpeg's decoders a file may have run.
#pragma once

struct AVCodecContext;
struct AVFormatContext;

namespace quorvin {

/// The decoders' names in FFmpeg's form, a list with commas between them: those of the codecs that
/// cameras, telephones, recorders and programs for videos write, and no others. FFmpeg has some
/// four hundred more, of games and of laboratories, that hardly anybody looks after.
const char* wantedDecoders();

/// From then on the context opens no other decoder. False when memory runs out.
bool allowWantedDecoders(AVCodecContext& context);
bool allowWantedDecoders(AVFormatContext& context);

}  // namespace quorvin
