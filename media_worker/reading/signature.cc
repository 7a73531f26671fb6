#include "media_worker/reading/signature.h"

#include <algorithm>
#include <array>
#include <initializer_list>

namespace quorvin {
namespace {

using namespace std::string_view_literals;

std::string_view text(std::span<const std::uint8_t> bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

bool isOneOf(std::string_view brand, std::initializer_list<std::string_view> brands) {
  return std::find(brands.begin(), brands.end(), brand) != brands.end();
}

/// Four-character brands behind the major one and its version, as far as the box and the bytes go.
std::string_view compatibleBrands(std::string_view head) {
  std::size_t size = 0;
  for (const char byte : head.substr(0, 4)) size = size << 8 | static_cast<unsigned char>(byte);
  size = std::min(size, head.size());
  return size > 16 ? head.substr(16, size - 16) : std::string_view();
}

bool hasCompatibleBrand(std::string_view head, std::initializer_list<std::string_view> brands) {
  for (auto rest = compatibleBrands(head); rest.size() >= 4; rest.remove_prefix(4)) {
    if (isOneOf(rest.substr(0, 4), brands)) return true;
  }
  return false;
}

PictureSignature brandSignature(std::string_view head, std::string_view brand) {
  const PictureSignature heic{PictureFormat::heif, {"public.heic", "heic"}};
  const PictureSignature avif{PictureFormat::heif, {"public.avif", "avif"}};
  if (isOneOf(brand, {"heic", "heix", "heim", "heis"})) return heic;
  if (isOneOf(brand, {"hevc", "hevx", "hevm", "hevs"})) {
    return {PictureFormat::heif, {"public.heics", "heics"}};
  }
  if (isOneOf(brand, {"avif", "avis"})) return avif;
  if (isOneOf(brand, {"mif1", "msf1", "mif2"})) {
    // Several phones name the general brand first.
    if (hasCompatibleBrand(head, {"heic", "heix"})) return heic;
    if (hasCompatibleBrand(head, {"avif", "avis"})) return avif;
    return {PictureFormat::heif, {"public.heif", "heif"}};
  }
  if (brand == "crx ") return {PictureFormat::raw, {"com.canon.cr3-raw-image", "cr3"}};
  if (brand == "jxl ") return {PictureFormat::jpegXl, {"public.jpeg-xl", "jxl"}};
  return {};
}

bool isBitmap(std::string_view head) {
  // "BM" begins many a text; the size of the second header tells them apart.
  constexpr std::array<char, 7> kHeaderSizes = {12, 40, 52, 56, 64, 108, 124};
  return head.starts_with("BM") && head.size() >= 26 && head.substr(15, 3) == "\0\0\0"sv &&
         std::find(kHeaderSizes.begin(), kHeaderSizes.end(), head[14]) != kHeaderSizes.end();
}

struct Prefix {
  std::string_view bytes;
  PictureSignature signature;
};

/// In the order in which they are tried: longer ones before the shorter that they begin with.
constexpr Prefix kPrefixes[] = {
    {"\xff\xd8\xff"sv, {PictureFormat::jpeg, {"public.jpeg", "jpg"}}},
    {"\x89PNG\r\n\x1a\n"sv, {PictureFormat::png, {"public.png", "png"}}},
    {"GIF87a"sv, {PictureFormat::gif, {"com.compuserve.gif", "gif"}}},
    {"GIF89a"sv, {PictureFormat::gif, {"com.compuserve.gif", "gif"}}},
    {"II*\0\x10\0\0\0CR\x02"sv, {PictureFormat::raw, {"com.canon.cr2-raw-image", "cr2"}}},
    {"II*\0"sv, {PictureFormat::tiff, {"public.tiff", "tiff"}}},
    {"MM\0*"sv, {PictureFormat::tiff, {"public.tiff", "tiff"}}},
    {"II+\0"sv, {PictureFormat::tiff, {"public.tiff", "tiff"}}},
    {"MM\0+"sv, {PictureFormat::tiff, {"public.tiff", "tiff"}}},
    {"IIRO"sv, {PictureFormat::raw, {"public.camera-raw-image", "orf"}}},
    {"IIRS"sv, {PictureFormat::raw, {"public.camera-raw-image", "orf"}}},
    {"MMOR"sv, {PictureFormat::raw, {"public.camera-raw-image", "orf"}}},
    {"IIU\0"sv, {PictureFormat::raw, {"public.camera-raw-image", "rw2"}}},
    {"\0MRM"sv, {PictureFormat::raw, {"public.camera-raw-image", "mrw"}}},
    {"FUJIFILMCCD-RAW "sv, {PictureFormat::raw, {"com.fuji.raw-image", "raf"}}},
    {"\0\0\0\x0cJXL \r\n\x87\n"sv, {PictureFormat::jpegXl, {"public.jpeg-xl", "jxl"}}},
    {"\xff\x0a"sv, {PictureFormat::jpegXl, {"public.jpeg-xl", "jxl"}}},
    {"\0\0\0\x0cjP  \r\n\x87\n"sv, {PictureFormat::jpeg2000, {"public.jpeg-2000", "jp2"}}},
    {"\xff\x4f\xff\x51"sv, {PictureFormat::jpeg2000, {"public.jpeg-2000", "j2k"}}},
};

/// What movies and sounds begin with, and where.
struct Mark {
  std::size_t position;
  std::string_view bytes;
};

constexpr Mark kMovieMarks[] = {
    {4, "ftyp"},
    {4, "moov"},
    {4, "mdat"},
    {4, "wide"},
    {8, "AVI "},
    {8, "WAVE"},
    {8, "AIFF"},
    {8, "AIFC"},
    {0, "OggS"},
    {0, "fLaC"},
    {0, "ID3"},
    {0, "FLV\x01"},
    {0, "#!AMR"},
    {0, "\x1a\x45\xdf\xa3"},
    {0, "\x30\x26\xb2\x75\x8e\x66\xcf\x11"},
    {0, "\0\0\1\xba"sv},
};

}  // namespace

bool isMovieSignature(std::span<const std::uint8_t> head) {
  const std::string_view bytes = text(head);
  return std::any_of(std::begin(kMovieMarks), std::end(kMovieMarks), [bytes](const Mark& mark) {
    return bytes.size() > mark.position && bytes.substr(mark.position).starts_with(mark.bytes);
  });
}

std::string_view majorBrand(std::span<const std::uint8_t> head) {
  const std::string_view bytes = text(head);
  return bytes.size() >= 12 && bytes.substr(4, 4) == "ftyp" ? bytes.substr(8, 4)
                                                            : std::string_view();
}

PictureSignature pictureSignature(std::span<const std::uint8_t> head) {
  const std::string_view bytes = text(head.first(std::min(head.size(), kSignatureLength)));
  for (const Prefix& prefix : kPrefixes) {
    if (bytes.starts_with(prefix.bytes)) return prefix.signature;
  }
  if (bytes.starts_with("RIFF") && bytes.size() >= 12 && bytes.substr(8, 4) == "WEBP") {
    return {PictureFormat::webp, {"org.webmproject.webp", "webp"}};
  }
  if (isBitmap(bytes)) return {PictureFormat::bmp, {"com.microsoft.bmp", "bmp"}};
  return brandSignature(bytes, majorBrand(head));
}

}  // namespace quorvin
