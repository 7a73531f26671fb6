#!/usr/bin/env bash
# make_photographs.sh DIR: writes photograph.jpg, photograph_preview.jpg, photograph.heic and
# photograph_preview.heic into DIR; those called so hold a small preview as cameras make them. They
# have 4032 x 3024 pixels. Nine of them side by side are large.jpg and large_progressive.jpg.
# Their spectrum is that of photographs: fractal surfaces for the scene, with the fine noise of a
# sensor, so that decoders have as many coefficients to read as in a picture from a telephone.
set -euo pipefail

folder=$1
mkdir -p "$folder"
folder=$(realpath "$folder")
[ -s "$folder/large.jpg" ] && exit 0 # the last to be put there

echo "Making photographs in $folder"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"

# Light at full size, colour at a quarter of it, as in nature colour changes more slowly.
vips fractsurf light.v 4032 3024 2.2
for band in a b; do
  vips fractsurf small.v 1008 756 2.1
  vips resize small.v "$band.v" 4 --kernel linear
done
vips gaussnoise noise.v 4032 3024 --mean 0 --sigma 1.6
deviation() { vips deviate "$1"; }
vips linear light.v l.v "$(awk -v d="$(deviation light.v)" 'BEGIN { print 18 / d }')" 55
vips linear a.v ca.v "$(awk -v d="$(deviation a.v)" 'BEGIN { print 8 / d }')" 0
vips linear b.v cb.v "$(awk -v d="$(deviation b.v)" 'BEGIN { print 8 / d }')" 0
vips add l.v noise.v noisy.v
vips bandjoin "noisy.v ca.v cb.v" lab.v
vips copy lab.v tagged.v --interpretation lab
vips colourspace tagged.v scene.v srgb
vips jpegsave scene.v photograph.jpg --Q 92
vips pngsave scene.v scene.png --compression 1
cp photograph.jpg photograph_preview.jpg
vipsthumbnail photograph.jpg --size 160x120 -o preview.jpg
exiftool -q -overwrite_original '-ThumbnailImage<=preview.jpg' -ExifImageWidth=4032 \
  -ExifImageHeight=3024 '-DateTimeOriginal=2017:05:01 12:34:56' \
  '-ModifyDate=2017:05:01 12:34:56' photograph_preview.jpg
heif-enc -q 55 -o photograph.heic scene.png >/dev/null
heif-enc -q 55 -t 320 -o photograph_preview.heic scene.png >/dev/null
vips replicate photograph.jpg nine.v 3 3
vips crop nine.v large.v 0 0 11600 8620 # 100 megapixels
# As cameras have them, with a colour for every four pixels.
vips jpegsave large.v large.jpg --Q 92 --subsample-mode on
vips jpegsave large.v large_progressive.jpg --Q 92 --subsample-mode on --interlace
mv photograph_preview.jpg photograph.heic photograph_preview.heic "$folder/"
mv photograph.jpg "$folder/"
mv large_progressive.jpg large.jpg "$folder/"
