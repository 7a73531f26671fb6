// Reads any bytes as each side of a media worker's socket does: as a request, and as a reply. What
// is read at all is within its bounds, and says the same when it is said again.
#include <fcntl.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "codec/standard_message_codec.h"
#include "fuzz/require.h"
#include "fuzz/same_value.h"
#include "media_protocol/sealed_memory.h"
#include "media_protocol/wire.h"
#include "platform_linux/media/worker_replies.h"

namespace quorvin {
namespace {

/// What `read` makes of the map says the same when `tell` has made a map of it.
template <class Read, class Tell>
void checkSaidAgain(const Map& map, Read read, Tell tell) {
  const auto first = read(map);
  if (!first) return;
  const Map told = tell(*first);
  const auto again = read(told);
  require(again.has_value(), "what was understood can be told");
  require(sameValue(Value(told), Value(tell(*again))), "what is told again says the same");
}

void checkRequest(const Map& map) {
  checkSaidAgain(map, requestFromMap, requestToMap);
}

/// A sealed memory of some pixels.
FileDescriptor fewPixels() {
  constexpr std::size_t kSize = 12;
  static const FileDescriptor memory = [] {
    FileDescriptor made = makeMemoryFile(kSize);
    require(made && sealMemoryFile(made), "there is a memory");
    return made;
  }();
  return FileDescriptor(::fcntl(memory.get(), F_DUPFD_CLOEXEC, 0));
}

bool isOneLine(const std::string& text) {
  return text.size() <= kLongestText && text.find('\n') == std::string::npos;
}

void checkProbe(const Map& map) {
  checkSaidAgain(map, probeFromMap, probeToMap);
  const auto probe = probeReply(map, {});
  if (!probe) return;
  require(probe->extension.find_first_of("./") == std::string::npos, "it can end a file's name");
  require(probe->orientation >= 1 && probe->orientation <= 8, "it stands in some way");
  require(std::isfinite(probe->duration) && probe->duration >= 0, "it takes some time");
  require(probe->embeddedMovieOffset >= 0 && probe->embeddedMovieLength >= 0, "it is in the file");
  require(isOneLine(probe->contentIdentifier) && isOneLine(probe->burstIdentifier),
          "no text is long");
}

void checkImage(const Map& map) {
  checkSaidAgain(map, layoutFromMap, layoutToMap);
  const auto image = imageReply({.targetWidth = 4, .targetHeight = 4}, map, fewPixels());
  if (!image) return;
  const RenderedImage& seen = **image;
  require(seen.width() > 0 && seen.width() <= 4 && seen.height() > 0 && seen.height() <= 4,
          "it is no larger than was asked");
  require(seen.width() * seen.height() * seen.channels() + seen.profileSize() == 12,
          "its pixels are all there");
}

void checkReply(const Map& map) {
  checkProbe(map);
  checkImage(map);
  checkSaidAgain(map, containersFromMap, containersToMap);
  checkSaidAgain(map, progressFromMap, progressToMap);
  checkSaidAgain(map, descriptionFromMap, descriptionToMap);
  checkSaidAgain(map, errorFromMap, errorToMap);
  if (const auto error = errorFromMap(map)) {
    require(isOneLine(error->reason), "an error is one line");
  }
  exportDoneReply(map, {});
}

}  // namespace
}  // namespace quorvin

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const auto message = quorvin::decodeMessage(std::span(data, size));
  const auto* map = message ? message->as<quorvin::Map>() : nullptr;
  if (map == nullptr) return 0;
  quorvin::checkRequest(*map);
  quorvin::checkReply(*map);
  return 0;
}
