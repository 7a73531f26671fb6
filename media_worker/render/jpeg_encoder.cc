#include "media_worker/render/jpeg_encoder.h"

#include <unistd.h>

// The library's header needs these first.
#include <cstddef>
#include <cstdio>
// clang-format off
#include <jpeglib.h>
#include <jerror.h>
// clang-format on

#include <array>
#include <cerrno>
#include <csetjmp>
#include <vector>

namespace quorvin {

namespace {

constexpr int kFullColourQuality = 90;

/// One compression. The library reports errors by a jump; nothing between `run` and the jump has a
/// destructor.
class Encoder {
 public:
  explicit Encoder(int descriptor) : descriptor_(descriptor) {
    state_.err = jpeg_std_error(&errors_);
    state_.client_data = this;
    errors_.error_exit = [](j_common_ptr state) {
      std::longjmp(static_cast<Encoder*>(state->client_data)->failed_, 1);
    };
    errors_.emit_message = [](j_common_ptr, int) {};
    destination_.init_destination = [](j_compress_ptr state) { of(state).startBuffer(); };
    // It is full, whatever the library has left of it.
    destination_.empty_output_buffer = [](j_compress_ptr state) -> boolean {
      of(state).flush(of(state).buffer_.size());
      return TRUE;
    };
    destination_.term_destination = [](j_compress_ptr state) {
      of(state).flush(of(state).buffer_.size() - of(state).destination_.free_in_buffer);
    };
  }
  Encoder(const Encoder&) = delete;
  Encoder& operator=(const Encoder&) = delete;
  ~Encoder() { jpeg_destroy_compress(&state_); }

  bool run(std::span<const std::uint8_t> pixels, const PixelLayout& layout, int quality,
           std::span<const std::uint8_t> profile) {
    row_.resize(static_cast<std::size_t>(layout.width) * 3);
    if (setjmp(failed_) != 0) return false;
    jpeg_create_compress(&state_);
    state_.dest = &destination_;
    state_.image_width = static_cast<JDIMENSION>(layout.width);
    state_.image_height = static_cast<JDIMENSION>(layout.height);
    state_.input_components = 3;
    state_.in_color_space = JCS_RGB;
    jpeg_set_defaults(&state_);
    jpeg_set_quality(&state_, quality, TRUE);
    if (quality >= kFullColourQuality) {
      state_.comp_info[0].h_samp_factor = 1;
      state_.comp_info[0].v_samp_factor = 1;
    }
    jpeg_start_compress(&state_, TRUE);
    if (!profile.empty()) {
      jpeg_write_icc_profile(&state_, profile.data(), static_cast<unsigned>(profile.size()));
    }
    const std::size_t rowBytes =
        static_cast<std::size_t>(layout.width) * static_cast<std::size_t>(layout.channels);
    while (state_.next_scanline < state_.image_height) {
      const auto from = pixels.subspan(state_.next_scanline * rowBytes, rowBytes);
      // The library reads rows only.
      JSAMPROW row = layout.channels == 4 ? onWhite(from) : const_cast<JSAMPROW>(from.data());
      jpeg_write_scanlines(&state_, &row, 1);
    }
    jpeg_finish_compress(&state_);
    return true;
  }

 private:
  static Encoder& of(j_compress_ptr state) { return *static_cast<Encoder*>(state->client_data); }

  JSAMPROW onWhite(std::span<const std::uint8_t> from) {
    for (std::size_t x = 0; x * 4 < from.size(); ++x) {
      const unsigned alpha = from[x * 4 + 3];
      for (std::size_t c = 0; c < 3; ++c) {
        row_[x * 3 + c] =
            static_cast<std::uint8_t>((from[x * 4 + c] * alpha + 255 * (255 - alpha) + 127) / 255);
      }
    }
    return row_.data();
  }

  void startBuffer() {
    destination_.next_output_byte = buffer_.data();
    destination_.free_in_buffer = buffer_.size();
  }

  void flush(std::size_t size) {
    for (std::size_t done = 0; done < size;) {
      const ssize_t written = ::write(descriptor_, buffer_.data() + done, size - done);
      if (written < 0 && errno == EINTR) continue;
      if (written <= 0) std::longjmp(failed_, 1);
      done += static_cast<std::size_t>(written);
    }
    startBuffer();
  }

  const int descriptor_;
  jpeg_compress_struct state_{};
  jpeg_error_mgr errors_{};
  jpeg_destination_mgr destination_{};
  std::jmp_buf failed_{};
  std::vector<std::uint8_t> row_;
  std::vector<std::uint8_t> buffer_ = std::vector<std::uint8_t>(256 << 10);
};

}  // namespace

bool encodeJpeg(std::span<const std::uint8_t> pixels, const PixelLayout& layout, int quality,
                std::span<const std::uint8_t> profile, int descriptor) {
  if (layout.width > JPEG_MAX_DIMENSION || layout.height > JPEG_MAX_DIMENSION) return false;
  return Encoder(descriptor).run(pixels, layout, quality, profile);
}

}  // namespace quorvin
