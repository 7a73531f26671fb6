#!/usr/bin/env bash
# make_videos.sh DIR: writes large.mov, 100 MB, and scene.mov, some seconds of 1920 x 1080, into DIR.
set -euo pipefail

folder=$1
mkdir -p "$folder"
folder=$(realpath "$folder")
[ -s "$folder/scene.mov" ] && exit 0 # the last to be put there

echo "Making videos in $folder"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"

# movie FILE SECONDS NOISE [ffmpeg options]: moving shapes with the noise of a sensor, and a tone.
movie() {
  ffmpeg -nostdin -v error -f lavfi -i "testsrc2=s=1920x1080:r=30" \
    -f lavfi -i "aevalsrc=0.3*sin(880*PI*t)|0.3*sin(660*PI*t):s=48000" -t "$2" \
    -vf "noise=alls=$3:allf=t" -c:v libx264 -pix_fmt yuv420p -c:a aac "${@:4}" "$1"
}

movie large.mov 14 30 -preset ultrafast -b:v 56M
movie scene.mov 4 2 -preset veryfast -crf 20
mv large.mov "$folder/"
mv scene.mov "$folder/"
