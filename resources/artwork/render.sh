#!/bin/sh
# SPDX-License-Identifier: MIT
# Draws the pictures anew from their sources. Needs rsvg-convert and ImageMagick.
set -eu
cd "$(dirname "$0")"
resources=..

# draw SOURCE TARGET WIDTH HEIGHT
draw() {
  rsvg-convert --width "$3" --height "$4" "$1" --output "$2"
  convert "$2" -strip -define png:exclude-chunk=date,time "$2"
}

# draw_for_screens NAME FOLDER WIDTH HEIGHT: in the resolutions that screens come in
draw_for_screens() {
  draw "$1.svg" "$2/$1.png" "$3" "$4"
  draw "$1.svg" "$2/$1@2x.png" $(($3 * 2)) $(($4 * 2))
  draw "$1.svg" "$2/$1@3x.png" $(($3 * 3)) $(($4 * 3))
}

draw_for_screens VX-310 "$resources" 296 132
draw_for_screens StripTexture "$resources" 64 64
draw vx310-panel.svg "$resources/vx310-panel.png" 256 256

# The icon for desktops, in the sizes that they ask for.
for size in 16 22 24; do draw vx310-panel-small.svg "$resources/icons/$size.png" "$size" "$size"; done
for size in 32 48 64 128 512; do draw vx310-panel.svg "$resources/icons/$size.png" "$size" "$size"; done

for scale in 1 2 3; do
  suffix=$([ "$scale" = 1 ] || echo "@${scale}x")
  rsvg-convert --zoom "$scale" None.svg | convert png:- -alpha off -colors 256 -type Palette "BMP3:$resources/None$suffix.bmp"
done
