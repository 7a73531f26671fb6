// HEIF files, opened with libheif over a descriptor.
#pragma once

#include <libheif/heif.h>

#include <cstdint>
#include <memory>

#include "media_worker/reading/input_file.h"

namespace quorvin {

/// Frees what libheif allots.
struct HeifFree {
  void operator()(heif_context* object) const { heif_context_free(object); }
  void operator()(heif_image_handle* object) const { heif_image_handle_release(object); }
  void operator()(const heif_image* object) const { heif_image_release(object); }
  void operator()(heif_decoding_options* object) const { heif_decoding_options_free(object); }
  void operator()(heif_color_profile_nclx* object) const { heif_nclx_color_profile_free(object); }
};
template <class T>
using HeifPtr = std::unique_ptr<T, HeifFree>;
using HeifHandle = HeifPtr<heif_image_handle>;

inline bool succeeded(const heif_error& error) {
  return error.code == heif_error_Ok;
}

/// A file whose header is read. Its handles die before it. One thread at a time.
class HeifFile {
 public:
  /// Null when the header cannot be read, or claims more than is ever decoded. The descriptor of
  /// `file` outlives the result. Tiles are decoded on so many threads, or in order on this one.
  static std::unique_ptr<HeifFile> open(const InputFile& file, int threads);
  HeifFile(const HeifFile&) = delete;
  HeifFile& operator=(const HeifFile&) = delete;

  /// Null when there is none.
  HeifHandle primary() const;
  /// The Exif orientation, 1 to 8, of the primary picture as stored.
  int orientationOf(const heif_image_handle* primary) const;

 private:
  explicit HeifFile(const InputFile& file) : file_(file) {}

  static const heif_reader* reader();

  const InputFile file_;
  std::int64_t position_ = 0;
  HeifPtr<heif_context> context_;
};

/// Bytes that decoding the picture takes.
std::int64_t memoryOfPicture(const InputFile& file, const heif_image_handle* picture);

}  // namespace quorvin
