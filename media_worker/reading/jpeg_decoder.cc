#include "media_worker/reading/jpeg_decoder.h"

// The library's header needs these first.
#include <cstddef>
#include <cstdio>
// clang-format off
#include <jpeglib.h>
#include <jerror.h>
// clang-format on

#include <algorithm>
#include <csetjmp>
#include <memory>
#include <vector>

namespace quorvin {

namespace {

constexpr std::int64_t kMaximumJpegSize = 512 << 20;

/// One decompression. The library reports errors by a jump.
class JpegDecoder {
 public:
  JpegDecoder() {
    state_.err = jpeg_std_error(&errors_);
    state_.client_data = this;
    errors_.error_exit = [](j_common_ptr state) {
      std::longjmp(static_cast<JpegDecoder*>(state->client_data)->failed_, 1);
    };
    errors_.emit_message = [](j_common_ptr state, int level) {
      if (level < 0) static_cast<JpegDecoder*>(state->client_data)->warn(state->err->msg_code);
    };
  }
  JpegDecoder(const JpegDecoder&) = delete;
  JpegDecoder& operator=(const JpegDecoder&) = delete;
  ~JpegDecoder() { jpeg_destroy_decompress(&state_); }

  /// Decodes as many rows as there are into memory that it allocates.
  void run(std::span<const std::uint8_t> file, int shrink) {
    begin(file, [this, shrink] {
      if (state_.num_components != 1 && state_.num_components != 3) return;
      state_.out_color_space = state_.num_components == 1 ? JCS_GRAYSCALE : JCS_RGB;
      state_.scale_num = 1;
      state_.scale_denom = static_cast<unsigned>(shrink);
      jpeg_start_decompress(&state_);
      rowBytes_ =
          std::size_t{state_.output_width} * static_cast<unsigned>(state_.output_components);
      pixels_.reset(new (std::nothrow) std::uint8_t[rowBytes_ * state_.output_height]);
      if (pixels_ == nullptr) return;
      while (state_.output_scanline < state_.output_height) {
        JSAMPROW row = pixels_.get() + state_.output_scanline * rowBytes_;
        jpeg_read_scanlines(&state_, &row, 1);
      }
      jpeg_finish_decompress(&state_);
    });
  }

  /// As `run`, to the components as they are coded.
  void runToPlanes(std::span<const std::uint8_t> file, int shrink) {
    begin(file, [this, shrink] {
      if (state_.num_components != 3 || state_.jpeg_color_space != JCS_YCbCr) return;
      state_.raw_data_out = TRUE;
      state_.scale_num = 1;
      state_.scale_denom = static_cast<unsigned>(shrink);
      jpeg_start_decompress(&state_);
      allotPlanes();
      while (state_.output_scanline < state_.output_height) readRowOfBlocks();
      jpeg_finish_decompress(&state_);
    });
  }

  /// Reads no further than the first rows of the first pass.
  void tryFirstRows(std::span<const std::uint8_t> file) {
    begin(file, [this] {
      state_.buffered_image = TRUE;
      jpeg_start_decompress(&state_);
      int step = jpeg_consume_input(&state_);
      while (step == JPEG_REACHED_SOS) step = jpeg_consume_input(&state_);
      damaged_ = damaged_ || step == JPEG_SUSPENDED || step == JPEG_REACHED_EOI;
    });
  }

  bool isDamaged() const { return damaged_; }

  /// What was decoded, the rest grey; null when that is nothing.
  ImagePtr take() {
    if (pixels_ == nullptr || state_.output_scanline == 0) return nullptr;
    std::fill(pixels_.get() + state_.output_scanline * rowBytes_,
              pixels_.get() + state_.output_height * rowBytes_, std::uint8_t{128});
    const std::shared_ptr<const std::uint8_t[]> owner(std::move(pixels_));
    ImagePtr image = imageOfRows(owner, owner.get(), state_.output_width, state_.output_height,
                                 state_.output_components, rowBytes_);
    if (image && state_.output_components == 1) image->Type = VIPS_INTERPRETATION_B_W;
    return image;
  }

  /// What was decoded, the rest grey; none when that is nothing.
  std::optional<std::array<JpegPlane, 3>> takePlanes() {
    if (planes_[0].samples.empty() || state_.output_scanline == 0) return std::nullopt;
    return std::move(planes_);
  }

 private:
  /// Reads the header, then does the rest. Nothing in it has a destructor, for errors jump here.
  template <class Rest>
  void begin(std::span<const std::uint8_t> file, const Rest& rest) {
    if (setjmp(failed_) != 0) {
      damaged_ = true;
      return;
    }
    jpeg_create_decompress(&state_);
    jpeg_mem_src(&state_, file.data(), file.size());
    jpeg_read_header(&state_, TRUE);
    rest();
  }

  /// Whole blocks come, also where the picture ends within one.
  void allotPlanes() {
    constexpr std::uint8_t kGrey = 128;
    for (std::size_t c = 0; c < planes_.size(); ++c) {
      const jpeg_component_info& component = state_.comp_info[c];
      JpegPlane& plane = planes_[c];
      plane.width = static_cast<int>(component.downsampled_width);
      plane.height = static_cast<int>(component.downsampled_height);
      plane.stride = static_cast<int>(component.width_in_blocks) * component.DCT_scaled_size;
      const std::size_t rows = std::size_t{state_.total_iMCU_rows} * rowsAtOnce(component);
      plane.samples.assign(static_cast<std::size_t>(plane.stride) * rows, kGrey);
    }
  }

  static std::size_t rowsAtOnce(const jpeg_component_info& component) {
    return static_cast<std::size_t>(component.v_samp_factor * component.DCT_scaled_size);
  }

  void readRowOfBlocks() {
    // At most four blocks of eight rows.
    std::array<std::array<JSAMPROW, 32>, 3> rows;
    std::array<JSAMPARRAY, 3> planes;
    for (std::size_t c = 0; c < planes.size(); ++c) {
      const std::size_t count = rowsAtOnce(state_.comp_info[c]);
      std::uint8_t* const first =
          planes_[c].samples.data() +
          rowsOfBlocks_ * count * static_cast<std::size_t>(planes_[c].stride);
      for (std::size_t row = 0; row < count; ++row) {
        rows[c][row] = first + row * static_cast<std::size_t>(planes_[c].stride);
      }
      planes[c] = rows[c].data();
    }
    const auto most =
        static_cast<JDIMENSION>(state_.max_v_samp_factor * state_.min_DCT_scaled_size);
    jpeg_read_raw_data(&state_, planes.data(), most);
    ++rowsOfBlocks_;
  }

  void warn(int code) {
    damaged_ = damaged_ || code == JWRN_JPEG_EOF || code == JWRN_HIT_MARKER ||
               code == JWRN_HUFF_BAD_CODE || code == JWRN_MUST_RESYNC;
  }

  jpeg_decompress_struct state_{};
  jpeg_error_mgr errors_{};
  std::jmp_buf failed_{};
  bool damaged_ = false;
  std::size_t rowBytes_ = 0;
  std::unique_ptr<std::uint8_t[]> pixels_;
  std::array<JpegPlane, 3> planes_;
  std::size_t rowsOfBlocks_ = 0;
};

}  // namespace

ImagePtr decodeJpeg(const InputFile& file, int shrink, bool failOnDamage) {
  if (file.size() > kMaximumJpegSize) return nullptr;
  return decodeJpeg(file.head(static_cast<std::size_t>(file.size())), shrink, failOnDamage);
}

ImagePtr decodeJpeg(std::span<const std::uint8_t> file, int shrink, bool failOnDamage) {
  JpegDecoder decoder;
  decoder.run(file, shrink);
  if (failOnDamage && decoder.isDamaged()) return nullptr;
  return decoder.take();
}

std::optional<std::array<JpegPlane, 3>> decodeJpegPlanes(const InputFile& file, int shrink,
                                                         bool failOnDamage) {
  if (file.size() > kMaximumJpegSize) return std::nullopt;
  const auto bytes = file.head(static_cast<std::size_t>(file.size()));
  JpegDecoder decoder;
  decoder.runToPlanes(bytes, shrink);
  if (failOnDamage && decoder.isDamaged()) return std::nullopt;
  return decoder.takePlanes();
}

bool firstRowsOfPassesDecode(const InputFile& file) {
  if (file.size() > kMaximumJpegSize) return false;
  const auto bytes = file.head(static_cast<std::size_t>(file.size()));
  JpegDecoder decoder;
  decoder.tryFirstRows(bytes);
  return !decoder.isDamaged();
}

}  // namespace quorvin
