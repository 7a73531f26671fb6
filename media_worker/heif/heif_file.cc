#include "media_worker/heif/heif_file.h"

#include <cstddef>

#include "media_worker/heif/heif_parts.h"
#include "media_worker/heif/hevc_decoder.h"
#include "media_worker/heif/libheif_versions.h"
#include "media_worker/reading/decoding_memory.h"
#include "media_worker/reading/signature.h"

namespace quorvin {

const heif_reader* HeifFile::reader() {
  // By name, and not in their order: newer versions have further members, which stay empty.
  static const heif_reader kReader = [] {
    heif_reader made{};
    made.reader_api_version = 1;
    made.get_position = [](void* self) { return static_cast<HeifFile*>(self)->position_; };
    made.read = [](void* into, std::size_t size, void* self) {
      auto& file = *static_cast<HeifFile*>(self);
      const std::size_t got =
          file.file_.readAt(file.position_, {static_cast<std::uint8_t*>(into), size});
      file.position_ += static_cast<std::int64_t>(got);
      return got == size ? 0 : -1;
    };
    made.seek = [](std::int64_t position, void* self) {
      auto& file = *static_cast<HeifFile*>(self);
      if (position < 0 || position > file.file_.size()) return -1;
      file.position_ = position;
      return 0;
    };
    made.wait_for_file_size = [](std::int64_t size, void* self) {
      return size <= static_cast<HeifFile*>(self)->file_.size()
                 ? heif_reader_grow_status_size_reached
                 : heif_reader_grow_status_size_beyond_eof;
    };
    return made;
  }();
  return &kReader;
}

std::unique_ptr<HeifFile> HeifFile::open(const InputFile& file, int threads) {
  if (hasTooManyParts(file)) return nullptr;
  std::unique_ptr<HeifFile> opened(new HeifFile(file));
  opened->context_.reset(heif_context_alloc());
  heif_context* context = opened->context_.get();
  if (context == nullptr) return nullptr;
  heif_context_set_max_decoding_threads(context, threads);
  return succeeded(heif_context_read_from_reader(context, reader(), opened.get(), nullptr))
             ? std::move(opened)
             : nullptr;
}

HeifHandle HeifFile::primary() const {
  heif_image_handle* found = nullptr;
  return succeeded(heif_context_get_primary_image_handle(context_.get(), &found))
             ? HeifHandle(found)
             : nullptr;
}

int HeifFile::orientationOf(const heif_image_handle* primary) const {
  return quorvin::orientationOf(turnOfPicture(context_.get(), primary, file_));
}

std::int64_t memoryOfPicture(const InputFile& file, const heif_image_handle* picture) {
  const bool isAvif =
      pictureSignature(file.head(kSignatureLength)).type.identifier == "public.avif";
  return memoryOfHeif(
      std::int64_t{heif_image_handle_get_width(picture)} * heif_image_handle_get_height(picture),
      heif_image_handle_get_luma_bits_per_pixel(picture), isAvif,
      heif_image_handle_has_alpha_channel(picture) != 0);
}

}  // namespace quorvin
