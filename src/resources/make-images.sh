#!/bin/bash
# Makes the PNG, ICO and GIF files of this folder from the drawings in sources/. The results are committed, so a build
# does not need the tools: scripts/install-deps.sh art
set -euo pipefail
cd "$(dirname "$0")"
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT

# png NAME SIZE TARGET
png() { rsvg-convert -w "$2" -h "$2" "sources/$1.svg" -o "$tmp/raw.png" && convert "$tmp/raw.png" -strip "PNG32:$3"; }

# Large enough for 192 dpi at every size in use; the user of a picture always gives the size to show.
for name in min2 max2 normal error warning success question; do
    png "$name" 96 "images/$name.png"
done

# Style sheets stretch this one without an area filter: an exact double of the 19 pixel badge stays smooth.
png RedNum 38 images/RedNum.png
png RedNum 76 images/RedNum@2x.png

for name in VtSoftMgr logo3; do
    sizes=()
    for size in 16 24 32 48 64 128; do
        png "$name" "$size" "$tmp/$name-$size.png"
        sizes+=("$tmp/$name-$size.png")
    done
    convert "${sizes[@]}" "images/$name.ico"
done

# A GIF pixel is either opaque or not there: edges are blended with the colour of the window that shows the spinner.
frames=()
for ((i = 0; i < 24; i++)); do
    frame="$tmp/frame-$i.png"
    sed "s/ANGLE/$((i * 15))/" sources/progress.svg | rsvg-convert -w 96 -h 96 -o "$tmp/raw.png"
    convert "$tmp/raw.png" \( -clone 0 -background '#f8f8f8' -flatten \) \
        \( -clone 0 -alpha extract -threshold 12% \) -delete 0 -alpha off -compose CopyOpacity -composite "$frame"
    frames+=("$frame")
done
convert -delay 4 -loop 0 -dispose Background "${frames[@]}" +dither -colors 64 +map image/progress.gif
