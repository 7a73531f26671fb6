#include "testing/media/coded_films.h"
#include "testing/media/probes.h"
#include "tests/hostile/hostile_files.h"

namespace quorvin {

namespace {

Bytes tagged(const char* format) {
  return withTags(savedPicture(format, 24, 16),
                  {{"Exif.Image.Make", "maker"},
                   {"Exif.Photo.DateTimeOriginal", "2017:05:01 12:34:56"},
                   {"Exif.GPSInfo.GPSDateStamp", "2017:05:01"}},
                  {{"Xmp.xmp.CreateDate", "2017-05-01T12:34:56"}});
}

Bytes shortFilm(const std::string& codecs, const std::string& extension) {
  return ffmpegOutput(
      "-f lavfi -i testsrc2=s=32x24:r=5:d=0.6 -f lavfi -i sine=d=0.6 -pix_fmt yuv420p "
      "-c:a aac -b:a 16k " +
          codecs,
      extension);
}

Bytes shortSound(const std::string& extension) {
  return ffmpegOutput("-f lavfi -i sine=d=0.2:r=8000", extension);
}

Bytes frame(const std::string& extension) {
  return ffmpegOutput("-f lavfi -i testsrc2=s=24x16 -frames:v 1", extension);
}

}  // namespace

std::vector<HostileFile> genuineFiles() {
  return {
      {"tagged.jpg", withMakerNote(tagged(".jpg"), makerNote({{0x000b, 2, "burst", 0},
                                                              {0x0011, 2, "content", 0}}))},
      {"passes.jpg", savedPicture(".jpg[interlace]", 24, 16)},
      {"tagged.png", tagged(".png")},
      {"passes.png", savedPicture(".png[interlace]", 24, 16)},
      {"tagged.webp", tagged(".webp")},
      {"lossless.webp", savedPicture(".webp[lossless]", 24, 16)},
      {"tagged.tif", tagged(".tif")},
      {"tiles.tif",
       savedPicture(".tif[compression=lzw,tile,tile-width=16,tile-height=16]", 24, 16)},
      {"still.gif", savedPicture(".gif", 24, 16)},
      {"moving.gif", ffmpegOutput("-f lavfi -i testsrc2=s=24x16:r=5:d=0.6", "gif")},
      {"turned.heic", heif(gradient(16, 16), {.orientation = 6, .thumbnailSize = 8})},
      {"tiles.heic", tiledHeic(gradient(128, 64), 64, 1)},
      {"deep.heic", heif(gradient(16, 16), {.tenBits = true})},
      {"still.avif", heif(gradient(16, 16), {.avif = true})},
      {"still.bmp", frame("bmp")},
      {"still.jp2", frame("jp2")},
      {"film.mov", video({gradient(16, 16), gradient(16, 16)}, {.orientation = 6})},
      {"sound.mov", shortFilm("-c:v libx264 -preset ultrafast", "mov")},
      {"fragments.mp4",
       shortFilm("-c:v libx264 -preset ultrafast -movflags frag_keyframe+empty_moov", "mp4")},
      {"film.mkv", shortFilm("-c:v libx264 -preset ultrafast", "mkv")},
      {"film.avi", shortFilm("-c:v mpeg4", "avi")},
      {"sound.m4a", shortSound("m4a")},
      {"sound.mp3", shortSound("mp3")},
      {"sound.wav", shortSound("wav")},
      {"sound.flac", shortSound("flac")},
      {"sound.ogg", shortSound("ogg")},
  };
}

}  // namespace quorvin
