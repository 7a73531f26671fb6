#include "tests/hostile/hostile_movies.h"

#include <algorithm>

namespace quorvin {

namespace {

ByteWriter sampleDescription(const MovieShape& shape) {
  ByteWriter entry;
  entry.zeros(6).big(1, 2).zeros(16);
  entry.big(static_cast<std::uint64_t>(shape.width), 2);
  entry.big(static_cast<std::uint64_t>(shape.height), 2);
  entry.big(0x00480000, 4)
      .big(0x00480000, 4)
      .zeros(4)
      .big(1, 2)
      .zeros(32)
      .big(24, 2)
      .big(0xffff, 2);
  return ByteWriter().big(0, 4).big(1, 4).box(shape.codec, entry);
}

ByteWriter sampleTables(const MovieShape& shape, std::size_t place) {
  ByteWriter places;
  places.big(0, 4).big(shape.places, 4);
  for (std::uint32_t i = 0; i < shape.places; ++i) places.big(place, 4);
  return ByteWriter()
      .box("stsd", sampleDescription(shape))
      .box("stts", ByteWriter().big(0, 4).big(1, 4).big(shape.samples, 4).big(1, 4))
      .box("stsc", ByteWriter().big(0, 4).big(1, 4).big(1, 4).big(1, 4).big(1, 4))
      .box("stsz", ByteWriter().big(0, 4).big(shape.sample.size(), 4).big(shape.samples, 4))
      .box("stco", places);
}

}  // namespace

Bytes movieBeginning() {
  return ByteWriter().box("ftyp", ByteWriter().text("qt  ").big(0, 4).text("qt  ")).bytes();
}

Bytes movieOf(const MovieShape& shape) {
  const Bytes beginning = movieBeginning();
  const std::uint64_t duration = shape.duration != 0 ? shape.duration : shape.samples;
  ByteWriter reference;
  reference.big(0, 4).big(1, 4);
  if (shape.dataReference.empty()) {
    reference.box("url ", ByteWriter().big(1, 4));
  } else {
    reference.append(shape.dataReference);
  }
  const Bytes matrix =
      ByteWriter().big(0x10000, 4).zeros(12).big(0x10000, 4).zeros(12).big(0x40000000, 4).bytes();
  ByteWriter information;
  information.box("vmhd", ByteWriter().big(1, 4).zeros(8))
      .box("dinf", ByteWriter().box("dref", reference))
      .box("stbl", sampleTables(shape, beginning.size() + 8));
  ByteWriter media;
  media.box("mdhd",
            ByteWriter().big(0x01000000, 4).zeros(16).big(shape.rate, 4).big(duration, 8).zeros(4));
  media.box("hdlr", ByteWriter().zeros(4).text("mhlrvide").zeros(13)).box("minf", information);
  ByteWriter track;
  track.box("tkhd", ByteWriter()
                        .big(0x01000003, 4)
                        .zeros(16)
                        .big(1, 4)
                        .zeros(4)
                        .big(duration, 8)
                        .zeros(16)
                        .append(matrix)
                        .big(static_cast<std::uint64_t>(shape.width) << 16, 4)
                        .big(static_cast<std::uint64_t>(shape.height) << 16, 4));
  track.append(shape.trackBoxes.bytes()).box("mdia", media);
  ByteWriter movie;
  movie.box("mvhd", ByteWriter()
                        .big(0x01000000, 4)
                        .zeros(16)
                        .big(shape.rate, 4)
                        .big(duration, 8)
                        .big(0x10000, 4)
                        .big(0x0100, 2)
                        .zeros(10)
                        .append(matrix)
                        .zeros(24)
                        .big(2, 4));
  movie.append(shape.movieBoxes.bytes()).box("trak", track);
  return ByteWriter()
      .append(beginning)
      .box("mdat", ByteWriter().append(shape.sample))
      .box("moov", movie)
      .bytes();
}

Bytes nested(const std::string& type, std::size_t depth, const Bytes& beside) {
  const std::size_t step = 8 + beside.size();
  ByteWriter boxes;
  for (std::size_t left = depth; left > 0; --left) {
    boxes.big(left * step, 4).text(type).append(beside);
  }
  return boxes.bytes();
}

}  // namespace quorvin
