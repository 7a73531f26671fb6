#!/usr/bin/env bash
# make_media.sh DIR: generates the media that tests and the demo use.
#
#   DIR/good   what a phone and a desktop hold: photos, a live photo, bursts, videos, sound
#   DIR/bad    what breaks careless readers: damaged, truncated, renamed, oddly named files
#
# Does nothing when DIR is complete already; DIR appears only when it is.
set -euo pipefail

target=$1
stamp="$target/.made-by-$(cksum <"$0" | cut -d' ' -f1)"
[ -e "$stamp" ] && exit 0

mkdir -p "$(dirname "$target")"
work=$(mktemp -d "$target.XXXXXX")
trap 'rm -rf "$work"' EXIT
good=$work/good
bad=$work/bad
mkdir -p "$good/album" "$bad/folder"

run_ffmpeg() { ffmpeg -nostdin -v error -y "$@"; }

# picture FILE WIDTHxHEIGHT SEED: soft colours with grain, as a camera sees them.
picture() {
  local colours=(0x1d3557 0xe76f51 0x2a9d8f 0xf4a261 0x264653 0xe9c46a 0x8ab17d 0x6d597a)
  local a=${colours[$(($3 % 8))]} b=${colours[$((($3 + 3) % 8))]}
  run_ffmpeg -f lavfi \
    -i "gradients=s=$2:c0=$a:c1=$b:x0=0:y0=0:x1=$((400 + 90 * $3)):y1=900:d=1:r=1:seed=$3" \
    -vf "noise=alls=14:all_seed=$3,drawbox=x=iw/8:y=ih/8:w=iw/6:h=ih/6:color=white@0.6:t=fill" \
    -frames:v 1 -q:v 3 "$1"
}

# movie FILE SIZE RATE SECONDS [ffmpeg options]: a moving picture with a tone.
movie() {
  local file=$1 size=$2 rate=$3 seconds=$4
  shift 4
  run_ffmpeg -f lavfi -i "testsrc2=s=$size:r=$rate" -f lavfi -i "sine=frequency=440:r=48000" \
    -t "$seconds" -c:v libx264 -preset ultrafast -pix_fmt yuv420p -c:a aac "$@" "$file"
}

# --- photos
picture "$good/IMG_0001.jpg" 1600x1200 1
picture "$good/IMG_0002.jpg" 1200x1600 2
picture "$good/IMG_0003.JPG" 1600x900 3
picture "$good/album/IMG_0001.jpg" 800x600 4
picture "$good/NO_DATE.jpg" 640x480 5
picture "$good/Screenshot_20240102-030405.jpg" 720x1280 6
picture "$good/PANORAMA.jpg" 2400x600 7
for n in 1 2 3 4 5 6 7 8; do picture "$good/orientation_$n.jpg" 320x240 $((n + 10)); done
for n in 1 2 3 4 5; do picture "$good/BURST_00$n.jpg" 640x480 $((n + 20)); done
picture "$work/plain.png" 1200x900 30
picture "$work/live.png" 960x720 31
picture "$work/paired.jpg" 960x720 32
heif-enc -q 60 "$work/plain.png" -o "$good/IMG_0010.HEIC" >/dev/null
heif-enc -q 60 "$work/live.png" -o "$good/IMG_0011.HEIC" >/dev/null
heif-enc -A -q 50 "$work/live.png" -o "$good/still.avif" >/dev/null
run_ffmpeg -f lavfi -i "color=c=0x2a9d8f@0.4:s=300x200,format=rgba" -frames:v 1 "$good/transparent.png"
vips copy "$work/plain.png" "$good/drawing.webp[Q=80]"
vips copy "$work/live.png" "$good/scan.tif[compression=deflate]"
run_ffmpeg -f lavfi -i "testsrc2=s=160x120:r=5" -t 1 "$good/animation.gif"

# --- videos and sound
movie "$good/IMG_0011.MOV" 320x240 30 1
movie "$good/album/PAIR_MOTION.MOV" 320x240 30 1 -movflags use_metadata_tags \
  -metadata com.example.quicktime.content.identifier=7D2C0DB5-3C6B-4A55-9C1E-0A2F5A9E4B11
movie "$good/MOVIE.mov" 640x360 30 2 -metadata creation_time=2023-07-14T10:20:30Z
movie "$good/CLIP.mp4" 480x360 25 2 -metadata creation_time=2023-07-15T11:00:00Z
movie "$good/SLOWMO.mov" 320x240 120 2 -metadata creation_time=2023-07-16T12:00:00Z
movie "$work/upright.mp4" 320x240 30 1
# A quarter turn: by an option from FFmpeg 6 on, before that by a tag.
if [ "$(ffmpeg -hide_banner -h full 2>/dev/null | grep -c -e '^-display_rotation')" != 0 ]; then
  run_ffmpeg -display_rotation 90 -i "$work/upright.mp4" -c copy "$good/TURNED.mp4"
else
  run_ffmpeg -i "$work/upright.mp4" -c copy -metadata:s:v:0 rotate=90 "$good/TURNED.mp4"
fi
run_ffmpeg -i "$work/upright.mp4" -c copy "$good/capture.mkv"
run_ffmpeg -f lavfi -i "sine=frequency=330:r=44100" -t 2 -c:a aac \
  -metadata creation_time=2023-07-17T08:00:00Z "$good/memo.m4a"
picture "$work/cover.jpg" 300x300 40
run_ffmpeg -f lavfi -i "sine=frequency=220:r=44100" -i "$work/cover.jpg" -map 0:a -map 1:v -t 2 \
  -c:a libmp3lame -c:v copy -disposition:v attached_pic "$good/song.mp3"

# --- metadata, in one run of exiftool
# A still whose Exif block holds nothing but the maker note that pairs a still with its video: 12 bytes of
# header, a byte order, and one entry of tag 0x0011, an ASCII text of 37 bytes at offset 32.
{
  printf '\xff\xd8\xff\xe1\x00\x79Exif\x00\x00'
  printf 'MM\x00\x2a\x00\x00\x00\x08\x00\x01\x87\x69\x00\x04\x00\x00\x00\x01\x00\x00\x00\x1a\x00\x00\x00\x00'
  printf '\x00\x01\x92\x7c\x00\x07\x00\x00\x00\x45\x00\x00\x00\x2c\x00\x00\x00\x00'
  printf '\x41\x70\x70\x6c\x65\x20\x69\x4f\x53\x00\x00\x01MM'
  printf '\x00\x01\x00\x11\x00\x02\x00\x00\x00\x25\x00\x00\x00\x20\x00\x00\x00\x00'
  printf '7D2C0DB5-3C6B-4A55-9C1E-0A2F5A9E4B11\x00'
  tail -c +3 "$work/paired.jpg"
} >"$good/PAIR_STILL.jpg"
date_of() { printf -- '-DateTimeOriginal=%s\n-OffsetTimeOriginal=%s\n-SubSecTimeOriginal=%s\n' "$@"; }
apply() { printf '%s\n-overwrite_original\n-q\n-execute\n' "$1"; }
{
  date_of '2023:07:14 18:30:15' '+02:00' 123
  printf -- '-GPSLatitude=48.2\n-GPSLatitudeRef=N\n-GPSLongitude=16.37\n-GPSLongitudeRef=E\n'
  printf -- '-Make=Example\n-Model=Camera One\n'
  apply "$good/IMG_0001.jpg"
  date_of '2023:07:14 18:31:00' '+02:00' 5
  apply "$good/IMG_0002.jpg"
  date_of '2022:12:31 23:59:59' '-05:00' 999
  apply "$good/IMG_0003.JPG"
  date_of '2021:03:04 05:06:07' '+00:00' 000
  apply "$good/album/IMG_0001.jpg"
  date_of '2023:08:01 09:00:00' '+02:00' 0
  apply "$good/IMG_0010.HEIC"
  date_of '2023:08:02 09:00:00' '+02:00' 0
  apply "$good/IMG_0011.HEIC"
  date_of '2023:08:04 12:00:00' '+02:00' 0
  printf -- '-XMP-GPano:ProjectionType=cylindrical\n'
  apply "$good/PANORAMA.jpg"
  for n in 1 2 3 4 5 6 7 8; do
    date_of "2020:01:0$n 12:00:00" '+00:00' 0
    printf -- '-Orientation#=%s\n' "$n"
    apply "$good/orientation_$n.jpg"
  done
  for n in 1 2 3 4 5; do
    date_of '2023:09:01 12:00:00' '+02:00' "$n"
    printf -- '-XMP-GCamera:BurstID=burst-of-five\n'
    [ "$n" = 3 ] && printf -- '-XMP-GCamera:BurstPrimary=1\n'
    apply "$good/BURST_00$n.jpg"
  done
} >"$work/metadata.args"
exiftool -@ "$work/metadata.args"
# Files whose metadata has no date take it from their modification.
touch -d '2019-05-06T07:08:09Z' "$good/NO_DATE.jpg"
touch -d '2024-01-02T03:04:05Z' "$good"/Screenshot_*.jpg
touch -d '2023-08-03T09:00:00Z' "$good/PAIR_STILL.jpg" "$good/album/PAIR_MOTION.MOV"
touch -d '2023-08-05T15:00:00Z' "$good"/{animation.gif,scan.tif,drawing.webp,transparent.png,still.avif}
touch -d '2023-08-06T16:00:00Z' "$good"/{capture.mkv,TURNED.mp4,song.mp3}

# --- bad files
: >"$bad/empty.jpg"
head -c 20000 "$good/IMG_0001.jpg" >"$bad/truncated.jpg"
head -c 9000 "$good/IMG_0010.HEIC" >"$bad/truncated.heic"
head -c 600 "$good/MOVIE.mov" >"$bad/truncated.mov"
head -c 30 "$good/transparent.png" >"$bad/header_only.png"
cp "$good/IMG_0010.HEIC" "$bad/heic_named.jpg"
cp "$good/IMG_0002.jpg" "$bad/jpeg_named.mov"
cp "$good/CLIP.mp4" "$bad/movie_named.heic"
printf 'This is a text.\n' >"$bad/text.jpg"
printf 'ffconcat version 1.0\nfile /etc/hostname\n' >"$bad/script.mov"
printf '#EXTM3U\n#EXTINF:1,\n/etc/hostname\n' >"$bad/playlist.mp4"
printf '<svg xmlns="http://www.w3.org/2000/svg" width="9" height="9"/>' >"$bad/vector.jpg"
head -c 50000 /dev/urandom >"$bad/noise.heic"
{ head -c 3000 "$good/IMG_0003.JPG"; head -c 4000 /dev/zero; tail -c 9000 "$good/IMG_0003.JPG"; } >"$bad/hole.jpg"
vips black "$work/huge.v" 30000 30000
vips copy "$work/huge.v" "$bad/huge.png[compression=9,bitdepth=1]"
long=$(printf 'n%.0s' {1..251})
cp "$good/orientation_1.jpg" "$bad/$long.jpg"
picture "$bad/$(printf 'bytes \x01\x7f "quoted" \\ * ? $(x) `y` ; & | <> \t end').jpg" 64x48 50
picture "$bad/plain.jpg" 64x48 51
mv "$bad/plain.jpg" "$bad/$(printf 'not\xff\xfeutf8.jpg')"
picture "$bad/year_1903.jpg" 64x48 52
picture "$bad/year_2100.jpg" 64x48 53
picture "$bad/broken_exif.jpg" 64x48 54
picture "$bad/no_month.jpg" 64x48 55
{
  date_of '1903:01:02 03:04:05' '+00:00' 0
  apply "$bad/year_1903.jpg"
  date_of '2100:01:02 03:04:05' '+00:00' 0
  apply "$bad/year_2100.jpg"
  date_of '2021:01:01 00:00:00' '+00:00' 0
  apply "$bad/broken_exif.jpg"
  date_of '2021:01:01 00:00:00' '+00:00' 0
  apply "$bad/no_month.jpg"
} >"$work/metadata.args"
exiftool -@ "$work/metadata.args"
# An Exif block whose directory points far outside, and a month that is none.
LC_ALL=C sed -i 's/Exif\x00\x00MM\x00[*]\x00\x00\x00\x08/Exif\x00\x00MM\x00\x2a\x7f\xff\xff\xf0/' \
  "$bad/broken_exif.jpg"
LC_ALL=C sed -i 's/2021:01:01 00:00:00/2021:13:41 25:61:61/' "$bad/no_month.jpg"
ln -s .. "$bad/folder/loop"
ln -s missing "$bad/folder/dangling.jpg"
mkfifo "$bad/folder/pipe.jpg"

rm -rf "$target"
mkdir "$target"
mv "$good" "$bad" "$target"
touch "$stamp"
