#include "platform_linux/library/export/embedded_movie.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstring>

#include "core/platform/asset_resources.h"
#include "platform_linux/library/originals/original_file.h"
#include "platform_linux/library/values/pairing.h"

namespace quorvin {
namespace {

bool hasPart(int whole, std::int64_t offset, int part, std::int64_t size) {
  std::array<char, 1 << 16> one;
  std::array<char, 1 << 16> other;
  for (std::int64_t done = 0; done < size;) {
    const auto wanted = static_cast<std::size_t>(
        std::min<std::int64_t>(size - done, static_cast<std::int64_t>(one.size())));
    const ssize_t got = ::pread(part, one.data(), wanted, done);
    if (got <= 0 ||
        ::pread(whole, other.data(), static_cast<std::size_t>(got), offset + done) != got) {
      return false;
    }
    if (std::memcmp(one.data(), other.data(), static_cast<std::size_t>(got)) != 0) return false;
    done += got;
  }
  return true;
}

}  // namespace

void dropEmbeddedMovie(const LibraryFolder& library, MediaService& media,
                       std::vector<LeavingFile>& files) {
  const auto typed = [&files](PHAssetResourceType type) {
    return std::ranges::find_if(files, [type](const LeavingFile& file) {
      return file.resource->type == static_cast<std::int64_t>(type);
    });
  };
  const auto photo = typed(PHAssetResourceType::photo);
  const auto movie = typed(PHAssetResourceType::pairedVideo);
  if (photo == files.end() || movie == files.end() ||
      lowerExtension(movie->resource->name) != "mp4" ||
      movie->resource->size >= photo->resource->size) {
    return;
  }
  const FileDescriptor still = originalFile(library, photo->resource->path).open();
  const FileDescriptor moving = originalFile(library, movie->resource->path).open();
  if (!still || !moving) return;
  const auto probe = media.probe(still, photo->resource->name);
  if (probe && probe->embeddedMovieLength == movie->resource->size &&
      hasPart(still.get(), probe->embeddedMovieOffset, moving.get(), movie->resource->size)) {
    files.erase(movie);
  }
}

}  // namespace quorvin
