// What differs between the versions of Exiv2: 0.27 (Debian 12) and 0.28 (Debian 13).
#pragma once

#include <cstddef>
#include <cstdint>
#include <exiv2/exiv2.hpp>
#include <memory>
#include <string>
#include <utility>

namespace quorvin {

#if EXIV2_TEST_VERSION(0, 28, 0)

using Exiv2Count = std::size_t;     ///< of bytes
using Exiv2Offset = std::int64_t;   ///< what seeking takes
using Exiv2Position = std::size_t;  ///< what telling gives
using Exiv2Path = const std::string&;

inline std::unique_ptr<Exiv2::Image> openExiv2Image(std::unique_ptr<Exiv2::BasicIo> io) {
  return Exiv2::ImageFactory::open(std::move(io));
}

inline Exiv2::byte* bytesOf(Exiv2::DataBuf& buffer) {
  return buffer.data();
}
inline void cutTo(Exiv2::DataBuf& buffer, Exiv2Count size) {
  buffer.resize(size);
}

inline std::int64_t integerOf(const Exiv2::Exifdatum& datum) {
  return datum.toInt64();
}

/// HEIF and its kin are read unasked.
inline void enableHeif() {}

#else

using Exiv2Count = long;
using Exiv2Offset = long;
using Exiv2Position = long;
using Exiv2Path = std::string;

// This version hands out the old standard smart pointer.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
inline std::unique_ptr<Exiv2::Image> openExiv2Image(std::unique_ptr<Exiv2::BasicIo> io) {
  Exiv2::BasicIo::AutoPtr handedOver(io.release());
  return std::unique_ptr<Exiv2::Image>(Exiv2::ImageFactory::open(handedOver).release());
}
#pragma GCC diagnostic pop

inline Exiv2::byte* bytesOf(Exiv2::DataBuf& buffer) {
  return buffer.pData_;
}
inline void cutTo(Exiv2::DataBuf& buffer, Exiv2Count size) {
  buffer.size_ = size;
}

inline std::int64_t integerOf(const Exiv2::Exifdatum& datum) {
  return datum.toLong();
}

/// HEIF and its kin are read on demand.
inline void enableHeif() {
  Exiv2::enableBMFF(true);
}

#endif

}  // namespace quorvin
