#include "testing/media/probes.h"

#include <gtest/gtest.h>

#include <exiv2/exiv2.hpp>

#include "media_worker/metadata/metadata_dates.h"
#include "media_worker/probe/probe.h"

namespace quorvin {
namespace {

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

void append(Bytes& bytes, std::uint64_t value, int size) {
  for (int shift = (size - 1) * 8; shift >= 0; shift -= 8) {
    bytes.push_back(static_cast<std::uint8_t>(value >> shift));
  }
}

}  // namespace

std::string xmpPacket(const std::string& description) {
  return "<?xpacket begin=\"\xef\xbb\xbf\" id=\"W5M0MpCehiHzreSzNTczkc9d\"?>"
         "<x:xmpmeta xmlns:x=\"adobe:ns:meta/\">"
         "<rdf:RDF xmlns:rdf=\"http://www.w3.org/1999/02/22-rdf-syntax-ns#\">"
         "<rdf:Description rdf:about=\"\" " +
         description + "</rdf:Description></rdf:RDF></x:xmpmeta><?xpacket end=\"w\"?>";
}

Result<MediaProbe> probeBytes(const Bytes& bytes, const std::string& name) {
  return probeFile(fileOf(bytes).get(), name);
}

MediaProbe probed(const Bytes& bytes, const std::string& name) {
  const auto probe = probeBytes(bytes, name);
  if (probe) return *probe;
  ADD_FAILURE() << name << ": " << probe.error().sentence();
  return {};
}

MediaProbe probedAs(const ProbedContent& content, const Bytes& bytes, const std::string& name) {
  MediaProbe probe = probed(bytes, name);
  EXPECT_EQ(probe.kind, content.kind) << name;
  EXPECT_EQ(probe.uniformTypeIdentifier, content.identifier) << name;
  EXPECT_EQ(probe.extension, content.extension) << name;
  EXPECT_EQ(probe.pixelWidth, content.width) << name;
  EXPECT_EQ(probe.pixelHeight, content.height) << name;
  EXPECT_EQ(probe.orientation, 1) << name;
  return probe;
}

std::string refusal(const Bytes& bytes, const std::string& name) {
  const auto probe = probeBytes(bytes, name);
  return probe ? "" : probe.error().sentence();
}

Bytes savedPicture(const std::string& format, int width, int height) {
  return saved(gradient(width, height), format);
}

Bytes withTags(const Bytes& picture, const Tags& exif, const Tags& xmp) {
  return changed(picture, [&exif, &xmp](Exiv2::Image& image) {
    for (const auto& [key, value] : exif) image.exifData()[key] = value;
    for (const auto& [key, value] : xmp) image.xmpData()[key] = value;
  });
}

Bytes withExifPreview(const Bytes& picture, const Bytes& preview) {
  return changed(picture, [&preview](Exiv2::Image& image) {
    Exiv2::ExifThumb(image.exifData()).setJpegThumbnail(preview.data(), preview.size());
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

Bytes smallHeic(const HeifOptions& options) {
  return heif(gradient(64, 48), options);
}

Bytes smallMovie(const std::string& arguments, const std::string& extension) {
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
