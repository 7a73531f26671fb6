#include "testing/media/probe_test_media.h"

#include <gtest/gtest.h>
#include <libheif/heif.h>
#include <sys/mman.h>
#include <unistd.h>
#include <vips/vips.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>

#include "media_worker/libraries.h"
#include "media_worker/metadata/metadata_dates.h"
#include "media_worker/probe/probe.h"
#include "posix/file_descriptor.h"

namespace quorvin {
namespace {

class Libraries : public testing::Environment {
 public:
  void SetUp() override { startLibraries(); }
};

[[maybe_unused]] const testing::Environment* const kLibraries =
    testing::AddGlobalTestEnvironment(new Libraries);

FileDescriptor memoryFile(const Bytes& bytes) {
  FileDescriptor file(::memfd_create("media", MFD_CLOEXEC));
  std::size_t written = 0;
  while (written < bytes.size()) {
    const ssize_t count = ::write(file.get(), bytes.data() + written, bytes.size() - written);
    if (count <= 0) break;
    written += static_cast<std::size_t>(count);
  }
  EXPECT_EQ(written, bytes.size());
  return file;
}

/// Opens the picture in memory, has it changed and takes it back.
template <class Change>
Bytes changed(const Bytes& picture, Change&& change) {
  try {
    const auto image = Exiv2::ImageFactory::open(picture.data(), static_cast<long>(picture.size()));
    image->readMetadata();
    change(*image);
    image->writeMetadata();
    Exiv2::BasicIo& io = image->io();
    io.open();
    Bytes result(io.size());
    result.resize(static_cast<std::size_t>(io.read(result.data(), static_cast<long>(io.size()))));
    return result;
  } catch (const std::exception& error) {
    ADD_FAILURE() << error.what();
    return {};
  }
}

std::string xmpPacket(const std::string& description) {
  return "<?xpacket begin=\"\xef\xbb\xbf\" id=\"W5M0MpCehiHzreSzNTczkc9d\"?>"
         "<x:xmpmeta xmlns:x=\"adobe:ns:meta/\">"
         "<rdf:RDF xmlns:rdf=\"http://www.w3.org/1999/02/22-rdf-syntax-ns#\">"
         "<rdf:Description rdf:about=\"\" " +
         description + "</rdf:Description></rdf:RDF></x:xmpmeta><?xpacket end=\"w\"?>";
}

void append(Bytes& bytes, std::uint64_t value, int size) {
  for (int shift = (size - 1) * 8; shift >= 0; shift -= 8) {
    bytes.push_back(static_cast<std::uint8_t>(value >> shift));
  }
}

struct HeifFree {
  void operator()(heif_context* object) const { heif_context_free(object); }
  void operator()(heif_image* object) const { heif_image_release(object); }
  void operator()(heif_image_handle* object) const { heif_image_handle_release(object); }
  void operator()(heif_encoder* object) const { heif_encoder_release(object); }
  void operator()(heif_encoding_options* object) const { heif_encoding_options_free(object); }
};
template <class T>
using HeifPtr = std::unique_ptr<T, HeifFree>;

HeifPtr<heif_image> gradient(int width, int height) {
  heif_image* image = nullptr;
  heif_image_create(width, height, heif_colorspace_RGB, heif_chroma_interleaved_RGB, &image);
  heif_image_add_plane(image, heif_channel_interleaved, width, height, 8);
  int stride = 0;
  std::uint8_t* rows = heif_image_get_plane(image, heif_channel_interleaved, &stride);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width * 3; ++x) {
      rows[y * stride + x] = static_cast<std::uint8_t>(x + y * 3);
    }
  }
  return HeifPtr<heif_image>(image);
}

}  // namespace

Result<MediaProbe> probeBytes(const Bytes& bytes, const std::string& name) {
  return probeFile(memoryFile(bytes).get(), name);
}

MediaProbe probed(const Bytes& bytes, const std::string& name) {
  const auto probe = probeBytes(bytes, name);
  if (probe) return *probe;
  ADD_FAILURE() << name << ": " << probe.error().localizedDescription;
  return {};
}

std::string refusal(const Bytes& bytes, const std::string& name) {
  const auto probe = probeBytes(bytes, name);
  return probe ? "" : probe.error().localizedDescription;
}

Bytes concatenated(std::initializer_list<Bytes> parts) {
  Bytes result;
  for (const Bytes& part : parts) result.insert(result.end(), part.begin(), part.end());
  return result;
}

Bytes bytesOf(const std::string& text) {
  return {text.begin(), text.end()};
}

Bytes firstBytes(const Bytes& bytes, std::size_t count) {
  return {bytes.begin(),
          bytes.begin() + static_cast<std::ptrdiff_t>(std::min(count, bytes.size()))};
}

Bytes savedPicture(const std::string& format, int width, int height) {
  VipsImage* floats = nullptr;
  VipsImage* image = nullptr;
  void* buffer = nullptr;
  std::size_t size = 0;
  const bool saved =
      vips_zone(&floats, width, height, nullptr) == 0 &&
      vips_linear1(floats, &image, 127, 128, "uchar", TRUE, nullptr) == 0 &&
      vips_image_write_to_buffer(image, format.c_str(), &buffer, &size, nullptr) == 0;
  EXPECT_TRUE(saved) << vips_error_buffer();
  if (image != nullptr) g_object_unref(image);
  if (floats != nullptr) g_object_unref(floats);
  const auto* bytes = static_cast<const std::uint8_t*>(buffer);
  Bytes result(bytes, bytes + size);
  g_free(buffer);
  return result;
}

Bytes withTags(const Bytes& picture, const Tags& exif, const Tags& xmp) {
  return changed(picture, [&exif, &xmp](Exiv2::Image& image) {
    for (const auto& [key, value] : exif) image.exifData()[key] = value;
    for (const auto& [key, value] : xmp) image.xmpData()[key] = value;
  });
}

Bytes withXmpPacket(const Bytes& picture, const std::string& description) {
  return changed(picture, [&description](Exiv2::Image& image) {
    image.setXmpPacket(xmpPacket(description));
    image.writeXmpFromPacket(true);
  });
}

Bytes withMakerNote(const Bytes& picture, const Bytes& note) {
  return changed(picture, [&note](Exiv2::Image& image) {
    const Exiv2::DataValue value(note.data(), static_cast<long>(note.size()));
    image.exifData().add(Exiv2::ExifKey("Exif.Photo.MakerNote"), &value);
  });
}

Bytes makerNote(const std::vector<NoteEntry>& entries) {
  Bytes note = {0x41, 0x70, 0x70, 0x6c, 0x65, 0x20, 0x69, 0x4f, 0x53, 0x00, 0x00, 0x01, 'M', 'M'};
  Bytes texts;
  const std::size_t textsBegin = note.size() + 2 + entries.size() * 12 + 4;
  append(note, entries.size(), 2);
  for (const NoteEntry& entry : entries) {
    append(note, entry.tag, 2);
    append(note, entry.type, 2);
    if (entry.type == 2) {
      append(note, entry.text.size() + 1, 4);
      append(note, textsBegin + texts.size(), 4);
      texts.insert(texts.end(), entry.text.begin(), entry.text.end());
      texts.push_back(0);
    } else {
      append(note, 1, 4);
      append(note, static_cast<std::uint32_t>(entry.number) << (entry.type == 3 ? 16 : 0), 4);
    }
  }
  append(note, 0, 4);
  note.insert(note.end(), texts.begin(), texts.end());
  return note;
}

Bytes heicPicture(const HeicOptions& options) {
  const HeifPtr<heif_context> context(heif_context_alloc());
  const HeifPtr<heif_image> image = gradient(options.width, options.height);
  heif_encoder* found = nullptr;
  heif_context_get_encoder_for_format(context.get(), heif_compression_HEVC, &found);
  const HeifPtr<heif_encoder> encoder(found);
  const HeifPtr<heif_encoding_options> encoding(heif_encoding_options_alloc());
  encoding->image_orientation = static_cast<heif_orientation>(options.orientation);
  heif_image_handle* handle = nullptr;
  const heif_error error =
      heif_context_encode_image(context.get(), image.get(), found, encoding.get(), &handle);
  EXPECT_EQ(error.code, heif_error_Ok) << error.message;
  const HeifPtr<heif_image_handle> picture(handle);
  if (!options.exif.empty()) {
    heif_context_add_exif_metadata(context.get(), handle, options.exif.data(),
                                   static_cast<int>(options.exif.size()));
  }
  if (!options.xmp.empty()) {
    const std::string packet = xmpPacket(options.xmp);
    heif_context_add_XMP_metadata(context.get(), handle, packet.data(),
                                  static_cast<int>(packet.size()));
  }
  if (options.thumbnail) {
    heif_image_handle* thumbnail = nullptr;
    heif_context_encode_thumbnail(context.get(), image.get(), handle, found, nullptr, 32,
                                  &thumbnail);
    const HeifPtr<heif_image_handle> owned(thumbnail);
  }
  Bytes result;
  heif_writer writer{1, [](heif_context*, const void* data, std::size_t size, void* into) {
                       const auto* bytes = static_cast<const std::uint8_t*>(data);
                       static_cast<Bytes*>(into)->assign(bytes, bytes + size);
                       return heif_error{heif_error_Ok, heif_suberror_Unspecified, ""};
                     }};
  heif_context_write(context.get(), &writer, &result);
  return result;
}

Bytes ffmpegOutput(const std::string& arguments, const std::string& extension) {
  char folder[] = "/tmp/quorvin-probe-XXXXXX";
  if (::mkdtemp(folder) == nullptr) return {};
  const std::string path = std::string(folder) + "/media." + extension;
  const int status =
      std::system(("ffmpeg -nostdin -v error -threads 1 " + arguments + " " + path).c_str());
  std::ifstream file(path, std::ios::binary);
  Bytes bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  std::filesystem::remove_all(folder);
  EXPECT_EQ(status, 0) << "ffmpeg " << arguments;
  EXPECT_FALSE(bytes.empty()) << "ffmpeg " << arguments;
  return bytes;
}

Bytes movie(const std::string& arguments, const std::string& extension) {
  return ffmpegOutput("-f lavfi -i testsrc=s=64x48:r=10:d=1 -pix_fmt yuv420p " + arguments,
                      extension);
}

std::int64_t utc(const std::string& text) {
  const auto date = parseDate(text);
  const auto nanoseconds = date ? toNanoseconds(*date) : std::nullopt;
  EXPECT_TRUE(nanoseconds && date->offset) << text;
  return nanoseconds.value_or(0);
}

}  // namespace quorvin

/// The encoder behind the HEIC pictures of the tests keeps some memory of each.
extern "C" __attribute__((visibility("default"))) const char* __lsan_default_suppressions() {
  return "leak:libx265\n";
}
