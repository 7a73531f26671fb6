// Looks for a movie in any still, wherever XMP says that it is. What is found lies in the file and
// begins as a movie does.
#include <fuzzer/FuzzedDataProvider.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <vector>

#include "fuzz/memory_file.h"
#include "fuzz/require.h"
#include "media_worker/probe/probe_motion_photo.h"

namespace quorvin {
namespace {

std::optional<AnnouncedMovie> anyAnnouncement(FuzzedDataProvider& data) {
  if (data.ConsumeBool()) return std::nullopt;
  const auto any = [&data] {
    return data.ConsumeBool() ? data.ConsumeIntegralInRange<std::int64_t>(0, 4096)
                              : data.ConsumeIntegral<std::int64_t>();
  };
  const AnnouncedMovie movie{any(), any()};
  // Nothing else is announced.
  if (movie.length <= 0 || movie.fromEnd < movie.length) return std::nullopt;
  return movie;
}

void check(FuzzedDataProvider& data) {
  const std::optional<AnnouncedMovie> announced = anyAnnouncement(data);
  const auto bytes = data.ConsumeRemainingBytes<std::uint8_t>();
  const FileDescriptor descriptor = memoryFile(bytes);
  const auto file = InputFile::open(descriptor.get());
  if (!file) return;
  const auto movie = findEmbeddedMovie(*file, announced);
  if (!movie) return;
  require(movie->offset >= 0 && movie->length >= 8 && movie->offset <= file->size() - movie->length,
          "the movie lies in the file");
  require(std::memcmp(bytes.data() + movie->offset + 4, "ftyp", 4) == 0, "it begins as one");
}

}  // namespace
}  // namespace quorvin

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzedDataProvider provider(data, size);
  quorvin::check(provider);
  return 0;
}
