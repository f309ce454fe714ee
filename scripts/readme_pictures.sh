#!/bin/sh
# Makes the README's two pictures anew, after a build of the preset linux: docs/images/photo.jpg and keyed.jpg.
set -eu
cd "$(dirname "$0")/.."
frond=build/linux/frond
plate=build/readme

mkdir -p docs/images
"$frond" sample --size 960x640 "$plate"
"$frond" key "$plate/photo.png" --over "$plate/background.png" --quiet --original -o docs/images/photo.jpg
"$frond" key "$plate/photo.png" --over "$plate/background.png" --quiet -o docs/images/keyed.jpg
