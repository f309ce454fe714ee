#!/bin/bash
# Remakes the pictures of README.md and docs/guide.md with frond, from the sample plate:
#
#   guide_pictures.sh           writes them to docs/images
#   guide_pictures.sh --check   writes them to build/guide and compares them with docs/images
#
# Needs a build of the preset linux, or FROND with the path of another frond, and vips (package libvips-tools).
# screenshots.sh makes the pictures of the dialog.
set -euo pipefail
cd "$(dirname "$0")/.."
frond=$(realpath "${FROND:-build/linux/frond}")
committed=$PWD/docs/images
images=$committed
work=$PWD/build/guide

command -v vips >/dev/null || { echo "guide_pictures.sh: vips is missing: install libvips-tools" >&2; exit 1; }
rm -rf "$work"
mkdir -p "$work"
case ${1:-} in
"") ;;
--check) images=$work/images ;;
*)
    echo "usage: guide_pictures.sh [--check]" >&2
    exit 2
    ;;
esac
mkdir -p "$images/guide"
cd "$work"

"$frond" sample --size 960x640 green
"$frond" sample --size 960x640 --blue blue
"$frond" sample --size 960x640 --backdrop pure pure
"$frond" sample --size 960x640 --hair blown blown

# key SETTINGS: keys the green plate, or the plate that the first word names. Sets `result` to the picture's name.
key() {
    local plate=green words
    read -ra words <<<"$1"
    case ${words[0]:-} in blue | pure | blown) plate=${words[0]} words=("${words[@]:1}") ;; esac
    result=keyed-$(tr -c 'a-z0-9\n' _ <<<"$1").png
    [ -e "$result" ] || "$frond" key $plate/photo.png --over green/background.png --quiet -o "$result" "${words[@]}"
}

# write_jpeg PICTURE FILE
write_jpeg() {
    vips jpegsave "$1" "$2" --Q 86 --subsample-mode on --strip
}

# strip NAME CROP WIDTH SETTINGS...: writes one panel for each of the settings: the crop WIDTHxHEIGHT+X+Y, scaled to the
# width. Settings that end in .png name a picture.
strip() {
    local name=$1 width=$3 settings panels=() columns rows left top
    IFS=x+ read -r columns rows left top <<<"$2"
    shift 3
    for settings in "$@"; do
        case $settings in *.png) result=$settings ;; *) key "$settings" ;; esac
        panels+=("panel-${#panels[@]}.v")
        vips colourspace "$result" eight.v srgb # 8 bits
        vips extract_band eight.v colour.v 0 --n 3
        vips crop colour.v crop.v "$left" "$top" "$columns" "$rows"
        vips resize crop.v "${panels[-1]}" "$(awk "BEGIN { print $width / $columns }")"
    done
    vips arrayjoin "${panels[*]}" strip.v --across $# --shim 6
    write_jpeg strip.v "$images/guide/$name.jpg"
}

whole=960x640+0+0
head=260x240+400+100
hair=208x200+370+90
veil=300x300+185+310
bust=400x330+300+80

# For README.md.
key "--original"
write_jpeg "$result" "$images/photo.jpg"
key ""
write_jpeg "$result" "$images/keyed.jpg"

# What each control does: low, default, high.
strip remove-backdrop $whole 312 "--remove-green 0" "" "--remove-green 120"
strip remove-hair $hair 312 "--remove-green 0" "" "--remove-green 120"
strip restore-dark $head 312 "--restore-black 0" "" "--restore-black 100"
strip alter-green $veil 312 "--alter-green 60" "" "--alter-green 140"
strip select-transparency $veil 312 "--select-transparency 50" "" "--select-transparency 150"
strip scale-transparency $veil 312 "--scale-transparency 20" "" "--scale-transparency 160"
strip background-level $veil 312 "--background-level 70" "" "--background-level 130"
strip blend-edges 120x105+520+180 420 "--no-blend" ""
strip show-selected $whole 460 "" "--no-blend --show-matte"
strip blue-logic $whole 312 "blue --original" "blue" "blue --blue"

"$frond" key green/photo.png --over green/background.png --quiet --transparent -o cut-out.png --matte matte.png
printf 'P5 2 2 255\n\214\262\262\214' >pixels.pgm # two greys, each twice
vips zoom pixels.pgm tile.v 16 16
vips replicate tile.v checker.v 30 20
vips composite2 checker.v cut-out.png seen.png over
vips colourspace matte.png matte-colour.png srgb
strip transparency $whole 460 seen.png matte-colour.png

# A sheet, and the starting points: the defaults, and the settings of the starting point.
"$frond" sheet green/photo.png --over green/background.png --start hair --vary remove-green=20,40 \
    --vary alter-green=85,100 --crop 330x240+355+80 --quiet -o sheet.png
write_jpeg sheet.png "$images/guide/sheet.jpg"
strip start-hair 240x200+360+85 420 "" "--start hair"
strip start-veil $veil 420 "" "--start veil"
strip start-body 300x300+500+230 420 "" "--start body"
# A product: a box with a hole, a black bottle and a steel ball that reflect the backdrop, and a cable.
cat >product.svg <<END
<svg xmlns="http://www.w3.org/2000/svg" width="960" height="640">
<linearGradient id="glass"><stop stop-color="#0c0c0e"/><stop offset=".3" stop-color="#6f9a76"/>
<stop offset=".42" stop-color="#141416"/><stop offset="1" stop-color="#060607"/></linearGradient>
<radialGradient id="steel" cx=".38" cy=".3" r=".8"><stop stop-color="#f2f4f5"/><stop offset=".5" stop-color="#74887a"/>
<stop offset="1" stop-color="#2c5a34"/></radialGradient>
<path d="M150 250h230v270h-230z M250 320a24 24 0 1 0 .1 0z" fill="#cdc9c1" fill-rule="evenodd"/>
<path d="M150 430h230v18h-230z" fill="#202225"/>
<path d="M478 520V330Q478 290 505 272V190H545V272Q572 290 572 330V520Z" fill="url(#glass)"/>
<circle cx="720" cy="445" r="75" fill="url(#steel)"/>
<path d="M380 480C430 560 450 560 480 520M572 500C620 560 640 560 665 495" fill="none" stroke="#17181a" stroke-width="3"/>
</svg>
END
vips gaussnoise noise.v 960 640 --mean 0 --sigma 4 --seed 1
vips xyz at.v 960 640
vips extract_band at.v across.v 0
vips linear across.v shade.v -- -0.04 20 # darker to the right
vips add noise.v shade.v uneven.v
vips linear uneven.v plain.v "1 1 1" "70 170 80" --uchar
vips copy plain.v plain-colour.v --interpretation srgb
vips svgload product.svg product.v
vips composite2 plain-colour.v product.v product-alpha.v over
vips extract_band product-alpha.v product.png 0 --n 3
for settings in "" "--start product"; do
    # shellcheck disable=SC2086
    "$frond" key product.png --over green/background.png --quiet -o "keyed-product${settings:+-start}.png" $settings
done
strip start-product 300x200+430+380 420 keyed-product.png keyed-product-start.png

# Faults, before and after the cure.
strip fix-green-veil $veil 420 "" "--alter-green 80"
strip fix-holes $head 420 "--restore-black 0" "--restore-black 20"
strip fix-thin-hair $hair 420 "--remove-green 120" "--remove-green 20"
strip fix-backdrop-left $whole 460 "--remove-green 10" "--remove-green 40"
strip fix-purple $veil 420 "--alter-green 40" "--alter-green 90"
strip fix-see-through $head 420 "--select-transparency 50" "--select-transparency 100"
strip fix-veil-eaten $veil 420 "--remove-green 120" "--remove-green 40"
strip fix-patches 330x330+100+310 420 "pure" "pure --lift 3"
strip fix-light-hair 200x130+480+50 400 "blown --remove-green 0" "blown --remove-green 20" "blown --remove-green 40"
strip fix-depth $bust 460 "--depth 16" "--depth 8"

[ "$images" != "$committed" ] || exit 0
status=0
for picture in $({ cd "$committed" && ls -- *.jpg guide/*.jpg; cd "$images" && ls -- *.jpg guide/*.jpg; } | sort -u); do
    # Another version of the JPEG encoder may round differently.
    difference=$("$frond" compare "$images/$picture" "$committed/$picture" 2>&1 | sed -n 's/^mean absolute error *\([0-9.]*\).*/\1/p') || true
    awk -v d="${difference:-256}" 'BEGIN { exit d > 0.1 }' && continue
    echo "docs/images/$picture differs from what frond makes; run scripts/guide_pictures.sh" >&2
    status=1
done
exit $status
