#!/usr/bin/env bash
# Regenerates the program icon from its source: assets/app.svg -> assets/app.png (256x256,
# transparent), assets/app.ico (16, 24, 32, 48, 64 and 256 pixels; the 256 image is stored
# PNG-compressed) and the icon theme's sizes, assets/hicolor/<N>x<N>/apps/tavrin.png (16, 32, 48,
# 64, 128 and 256), which the Linux install puts into share/icons/hicolor. Run by hand after
# editing the SVG; the build does not call it.
# Needs the Debian packages librsvg2-bin (rsvg-convert) and icoutils (icotool):
#   apt-get install -y --no-install-recommends librsvg2-bin icoutils
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
svg="$root/assets/app.svg"
png="$root/assets/app.png"
ico="$root/assets/app.ico"

for tool in rsvg-convert icotool; do
    command -v "$tool" >/dev/null || { echo "make-icon.sh: $tool is missing (see the header)" >&2; exit 1; }
done

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

sizes=(16 24 32 48 64 256)
args=()
for size in "${sizes[@]}"; do
    rsvg-convert --width "$size" --height "$size" --format png "$svg" --output "$work/$size.png"
    if [ "$size" -ge 256 ]; then
        args+=(--raw="$work/$size.png")
    else
        args+=("$work/$size.png")
    fi
done

cp "$work/256.png" "$png"
icotool --create --output="$ico" "${args[@]}"

for size in 16 32 48 64 128 256; do
    folder="$root/assets/hicolor/${size}x${size}/apps"
    mkdir -p "$folder"
    rsvg-convert --width "$size" --height "$size" --format png "$svg" --output "$folder/tavrin.png"
done

echo "wrote $png, $root/assets/hicolor and $ico:"
icotool --list "$ico"
