#include "testing/media/probes.h"
#include "tests/hostile/hostile_files.h"
#include "tests/hostile/hostile_movies.h"
#include "tests/hostile/hostile_pictures.h"

namespace quorvin {

namespace {

constexpr std::size_t kDeep = 20'000;
constexpr std::uint32_t kEndless = 0xffffffff;
constexpr int kExif = 0xe1;
constexpr int kProfile = 0xe2;
constexpr unsigned kProfileParts = 100;

Bytes exifBlock(const Bytes& directories) {
  return concatenated({{'E', 'x', 'i', 'f', 0, 0}, directories});
}

Bytes photoWithExif(const Bytes& directories) {
  return jpegWith(savedPicture(".jpg"), jpegSegment(kExif, exifBlock(directories)));
}

Bytes photoWithPacket(const std::string& packet) {
  return jpegWith(
      savedPicture(".jpg"),
      jpegSegment(kExif,
                  concatenated({bytesOf("http://ns.adobe.com/xap/1.0/"), {0}, bytesOf(packet)})));
}

Bytes photoWithProfiles() {
  ByteWriter segments;
  for (unsigned i = 1; i <= kProfileParts; ++i) {
    segments.append(jpegSegment(kProfile, ByteWriter()
                                              .text("ICC_PROFILE")
                                              .zeros(1)
                                              .big(i, 1)
                                              .big(kProfileParts, 1)
                                              .zeros(65'000)
                                              .bytes()));
  }
  return jpegWith(savedPicture(".jpg"), segments.bytes());
}

std::string elementsInEachOther(std::size_t depth) {
  std::string text;
  for (std::size_t i = 0; i < depth; ++i) text += "<a>";
  return text;
}

/// Each entity is ten of the one before.
std::string laughingPacket() {
  std::string text = "<?xml version='1.0'?><!DOCTYPE x [<!ENTITY a0 'ha'>";
  for (int i = 1; i < 20; ++i) {
    text += "<!ENTITY a" + std::to_string(i) + " '";
    for (int k = 0; k < 10; ++k) text += "&a" + std::to_string(i - 1) + ";";
    text += "'>";
  }
  return text + "]><x:xmpmeta xmlns:x='adobe:ns:meta/'>&a19;</x:xmpmeta>";
}

/// A text from the file's own directories.
std::string packetOfAnotherFile() {
  return "<?xml version='1.0'?><!DOCTYPE x [<!ENTITY a SYSTEM 'file:///etc/hostname'>]>"
         "<x:xmpmeta xmlns:x='adobe:ns:meta/'>&a;</x:xmpmeta>";
}

std::string manyProperties(int count) {
  std::string properties;
  for (int i = 0; i < count; ++i) {
    const std::string name = "dc:a" + std::to_string(i);
    properties += "<" + name + ">x</" + name + ">";
  }
  return xmpPacket("xmlns:dc='http://purl.org/dc/elements/1.1/'>" + properties);
}

/// Directories one after another, each of which is empty.
Bytes chainOfDirectories(std::size_t count) {
  ByteWriter file;
  file.text("II").little(42, 2).little(8, 4);
  for (std::size_t i = 1; i <= count; ++i) file.zeros(2).little(8 + 6 * i, 4);
  return file.zeros(6).bytes();
}

ByteWriter emptyTracks(std::size_t count) {
  return ByteWriter().repeat(ByteWriter().box("trak", {}).bytes(), count);
}

ByteWriter table(const char* type, std::uint32_t count) {
  return ByteWriter().box(type, ByteWriter().zeros(4).big(count, 4).zeros(64));
}

Bytes editsWithoutLength(std::uint32_t count) {
  ByteWriter edits;
  edits.zeros(4).big(count, 4);
  edits.repeat(ByteWriter().zeros(8).big(0x10000, 4).bytes(), count);
  return ByteWriter().box("edts", ByteWriter().box("elst", edits)).bytes();
}

Bytes chunksWithNothing(const char* type, std::size_t count) {
  return ByteWriter().repeat(pngChunk(type, {}), count).bytes();
}

Bytes waveSaying(std::uint32_t channels, std::uint32_t rate, std::uint32_t size) {
  return ByteWriter()
      .text("RIFF")
      .little(size, 4)
      .text("WAVEfmt ")
      .little(16, 4)
      .little(1, 2)
      .little(channels, 2)
      .little(rate, 4)
      .little(rate, 4)
      .little(0, 2)
      .little(16, 2)
      .text("data")
      .little(size, 4)
      .zeros(2'000)
      .bytes();
}

Bytes taggedSound(const char* frame, std::uint32_t size) {
  return ByteWriter()
      .text("ID3")
      .big(0x0400, 2)
      .zeros(1)
      .big(0x7f7f7f7f, 4)
      .text(frame)
      .big(size, 4)
      .zeros(100'000)
      .bytes();
}

}  // namespace

std::vector<HostileFile> mazes() {
  const Bytes sample = blackPng(16, 16, 2);
  const Bytes fourBytes(4);
  const Bytes moov = nested("moov", kDeep);
  const MovieShape plain{.sample = sample};
  const auto movieWith = [&plain](const ByteWriter& movieBoxes, const ByteWriter& trackBoxes) {
    MovieShape shape = plain;
    shape.movieBoxes = movieBoxes;
    shape.trackBoxes = trackBoxes;
    return movieOf(shape);
  };
  const Bytes heicBeginning =
      ByteWriter().box("ftyp", ByteWriter().text("heic").zeros(4).text("mif1heic")).bytes();
  return {
      {"directory_in_a_circle.tif", tiff({{256, 4, 1, 16}, {257, 4, 1, 16}}, {}, 8)},
      {"directories_in_each_other.tif", tiff({{330, 4, 1, 8}, {34665, 4, 1, 8}})},
      {"chain_of_directories.tif", chainOfDirectories(50'000)},
      {"endless_strips.tif", tiff({{256, 4, 1, 16},
                                   {257, 4, 1, 16},
                                   {258, 3, kEndless, 8},
                                   {273, 4, kEndless, 8},
                                   {278, 4, 1, 0},
                                   {279, 4, kEndless, 8}})},
      {"endless_samples.tif",
       tiff({{256, 4, 1, 16}, {257, 4, 1, 16}, {277, 3, 1, 65'535}, {258, 3, 65'535, 8}})},
      {"endless_tiles.tif", tiff({{256, 4, 1, 0x7fffffff},
                                  {257, 4, 1, 0x7fffffff},
                                  {322, 4, 1, 1},
                                  {323, 4, 1, 1},
                                  {324, 4, 1, 8},
                                  {325, 4, 1, 8}})},
      {"exif_in_a_circle.jpg", photoWithExif(tiff({{271, 2, 4, 'x'}}, {}, 8))},
      {"exif_in_itself.jpg", photoWithExif(tiff({{34665, 4, 1, 8}, {34853, 4, 1, 8}}))},
      {"exif_of_exif.jpg", photoWithExif(tiff({{34665, 4, 1, 26}}, tiff({{34665, 4, 1, 8}})))},
      {"endless_exif_text.jpg",
       photoWithExif(tiff({{271, 2, kEndless, 8}, {272, 2, 1, kEndless}}))},
      {"endless_exif_note.jpg",
       photoWithExif(tiff({{34665, 4, 1, 26}}, tiff({{37500, 7, kEndless, 8}})))},
      {"endless_exif_thumbnail.jpg",
       photoWithExif(tiff({}, tiff({{513, 4, 1, 8}, {514, 4, 1, kEndless}}), 14))},
      {"exif_chain.jpg", photoWithExif(chainOfDirectories(10'000))},
      {"empty_exif.jpg", jpegWith(savedPicture(".jpg"), jpegSegment(kExif, exifBlock({})))},
      {"empty_segments.jpg",
       jpegWith(savedPicture(".jpg"),
                ByteWriter().repeat(jpegSegment(kExif, {}), 100'000).bytes())},
      {"much_metadata.jpg",
       jpegWith(savedPicture(".jpg"),
                ByteWriter().repeat(jpegSegment(kExif, Bytes(65'000, 'x')), 60).bytes())},
      {"much_profile.jpg", photoWithProfiles()},
      {"nested_packet.jpg", photoWithPacket(elementsInEachOther(20'000))},
      {"laughing_packet.jpg", photoWithPacket(laughingPacket())},
      {"nested_side_file.xmp", bytesOf(elementsInEachOther(100'000))},
      {"laughing_side_file.xmp", bytesOf(laughingPacket())},
      {"side_file_of_another_file.xmp", bytesOf(packetOfAnotherFile())},
      {"many_properties.xmp", bytesOf(manyProperties(1'900))},
      {"too_many_properties.xmp", bytesOf(manyProperties(50'000))},
      {"nested_side_file.json", bytesOf(R"({"photoTakenTime": )" + std::string(1'000'000, '['))},
      {"packet_of_another_file.jpg", photoWithPacket(packetOfAnotherFile())},
      {"nested_packet.png", pngWith(pngChunk("iTXt", ByteWriter()
                                                         .text("XML:com.adobe.xmp")
                                                         .zeros(5)
                                                         .text(elementsInEachOther(1'000'000))
                                                         .bytes()))},
      {"empty_chunks.png", pngWith(chunksWithNothing("IDAT", 100'000))},
      {"empty_texts.png", pngWith(chunksWithNothing("tEXt", 100'000))},
      {"enormous_exif.png", pngWith(pngChunk("eXIf", Bytes(1'000'000, 'I')))},
      {"endless_frames.png",
       pngWith(pngChunk("acTL", ByteWriter().big(0x7fffffff, 4).zeros(4).bytes()))},
      {"nested_movie.mov", concatenated({movieBeginning(), moov})},
      {"deeply_nested_movie.mov", concatenated({movieBeginning(), nested("moov", 500'000)})},
      {"nested_tracks.mov", movieWith(ByteWriter().append(nested("trak", kDeep)), {})},
      {"nested_texts.mov", movieWith(ByteWriter().append(nested("udta", kDeep)), {})},
      {"nested_meta.mov", movieWith(ByteWriter().append(nested("meta", kDeep, fourBytes)), {})},
      {"many_tracks.mov", movieWith(emptyTracks(50'000), {})},
      {"many_edits.mov", movieWith({}, ByteWriter().append(editsWithoutLength(20'000)))},
      {"endless_edits.mov", movieWith({}, ByteWriter().box("edts", table("elst", kEndless)))},
      {"endless_keys.mov", movieWith(ByteWriter().box("meta", table("keys", kEndless)), {})},
      {"much_text.mov", movieWith(ByteWriter().box("udta", ByteWriter().zeros(4'000'000)), {})},
      {"endless_samples.mov", movieOf({.sample = sample, .samples = kEndless, .places = 1})},
      {"empty_samples.mov", movieOf({.sample = {}, .samples = 0x7fffffff, .places = 1'000})},
      {"no_samples.mov", movieOf({.sample = sample, .samples = 0, .places = 0})},
      {"no_time.mov", movieOf({.sample = sample, .rate = 0})},
      {"empty_fragments.mp4",
       concatenated({movieOf(plain),
                     ByteWriter().repeat(ByteWriter().box("moof", {}).bytes(), 30'000).bytes()})},
      {"endless_box.mov",
       concatenated({movieBeginning(),
                     ByteWriter().big(1, 4).text("moov").big(~std::uint64_t{0}, 8).bytes()})},
      {"box_of_nothing.mov",
       concatenated({movieBeginning(), ByteWriter().big(4, 4).text("moov").zeros(64).bytes()})},
      {"nested_meta.heic", concatenated({heicBeginning, nested("meta", kDeep, fourBytes)})},
      {"nested_properties.heic",
       concatenated(
           {heicBeginning, ByteWriter()
                               .box("meta", ByteWriter().zeros(4).append(nested("iprp", kDeep)))
                               .bytes()})},
      {"endless_items.heic",
       concatenated({heicBeginning, ByteWriter()
                                        .box("meta", ByteWriter()
                                                         .zeros(4)
                                                         .append(table("iinf", kEndless).bytes())
                                                         .append(table("iloc", kEndless).bytes())
                                                         .append(table("iref", kEndless).bytes()))
                                        .bytes()})},
      {"endless.wav", waveSaying(2, 44'100, kEndless)},
      {"many_channels.wav", waveSaying(65'535, kEndless, kEndless)},
      {"no_channels.wav", waveSaying(0, 0, 2'000)},
      {"endless_tag.mp3", taggedSound("APIC", kEndless)},
      {"endless_text.mp3", taggedSound("TIT2", 0x7f7f7f7f)},
  };
}

}  // namespace quorvin
