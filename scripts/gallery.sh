#!/bin/bash
# Makes pictures of every kind that tervalon plot draws, and of data at the edge of what is sensible, and
# one page that shows them: build/gallery/index.html. Look at all of them after a change of plots.
#
#   scripts/gallery.sh [PROGRAM]      # without, that of the release preset, which is built
#
# Those of README.md are copies: cp build/gallery/readme_*.png docs/pictures
set -euo pipefail
cd "$(dirname "$0")/.."
program=${1:-build/release/bin/tervalon}
if [ $# -eq 0 ]; then
  cmake --preset release >/dev/null
  cmake --build --preset release --target tervalon_tool
fi
program=$(realpath "$program")
rm -rf build/gallery
mkdir -p build/gallery
cd build/gallery
export TZ=UTC

"$program" simulate DEMO.RAW
"$program" simulate OTHER.RAW --seed 7 --scans 60
"$program" simulate FEW.RAW --scans 1
python3 ../../scripts/gallery_data.py edges.mzML
"$program" import edges.mzML -o EDGES.RAW >import.log || { cat import.log; exit 1; }

page=index.html
cat >$page <<'HTML'
<!doctype html><meta charset="utf-8"><title>Pictures of tervalon plot</title>
<style>body{font-family:sans-serif;margin:2em;background:#f4f4f4}figure{display:inline-block;margin:1em;
vertical-align:top}img,object{max-width:960px;border:1px solid #bbb;background:#fff}code{font-size:90%}</style>
<h1>Pictures of <code>tervalon plot</code></h1>
HTML

# draw FILE ARGUMENT...
draw() {
  local file=$1
  shift
  "$program" plot "$@" -o "$file" >/dev/null 2>"$file.log" || { echo "$file: $(cat "$file.log")"; exit 1; }
  local shown="<img src=\"$file\" alt=\"\">"
  case $file in *.pdf) shown="<object data=\"$file\" type=\"application/pdf\" width=960 height=620></object>" ;; esac
  local said
  said=$(sed 's/&/\&amp;/g; s/</\&lt;/g' "$file.log")
  printf '<figure>%s<figcaption><code>plot %s -o %s</code><br>%s</figcaption></figure>\n' "$shown" \
    "$(printf '%q ' "$@" | sed 's/&/\&amp;/g; s/</\&lt;/g')" "$file" "$said" >>$page
  rm "$file.log"
}

heading() { echo "<h2>$1</h2>" >>$page; }

heading "Chromatograms"
draw tic.png DEMO.RAW
draw tic.svg DEMO.RAW --grid
draw tic.pdf DEMO.RAW --filled
draw traces.png DEMO.RAW --trace TIC,BPI,AN1 --counts
draw overlaid.png DEMO.RAW --trace 195.09,311.08,556.28,523.28,455.29,609.28 --layout overlaid
draw normalised.png DEMO.RAW --trace 195.09,311.08,556.28,523.28,455.29,609.28 --layout overlaid --normalise
draw twelve.png DEMO.RAW --trace 195,196,311,312,455,456,523,524,556,557,609,610 --layout overlaid
draw eleven_panels.png DEMO.RAW --trace TIC,BPI,195,311,455,523,556,609,AN1,AN2,637
draw rows.png DEMO.RAW --rows 3 --filled
draw rows_dont_fit.png DEMO.RAW --rows 5 --size 700x330
draw marked.png DEMO.RAW --mark 4.4-4.95 --mark 1.1-1.6 --name 4.67=verapamil --name 1.33=caffeine
draw zoomed.png DEMO.RAW --range 4.6-4.75
draw log.png DEMO.RAW --y-scale log --grid
draw sqrt.png DEMO.RAW --y-scale sqrt --grid --counts
draw dark.png DEMO.RAW --theme dark --grid --filled --trace TIC,BPI --layout overlaid
draw print.png DEMO.RAW --theme print --trace TIC,195,311,455,523,556 --layout overlaid
heading "Spectra"
draw spectrum.png DEMO.RAW -t 4.67
draw magnified.png DEMO.RAW -t 4.67 --magnify 460-800x50 --magnify 100-450x200
draw three_scans.png DEMO.RAW --scan 130,135,141
draw continuum.png DEMO.RAW -f 2 -t 4.67
draw isotopes.png DEMO.RAW -t 4.67 --range 454-460
draw counts.png DEMO.RAW -t 4.67 --counts --grid
draw y_range.png DEMO.RAW -t 4.67 --y-range 0-5
draw spectrum_log.png DEMO.RAW -t 4.67 --y-scale log
draw spectrum_sqrt.svg DEMO.RAW -t 4.67 --y-scale sqrt --theme dark
draw spectrum_rows.png DEMO.RAW -s 135 --rows 2
draw named.svg DEMO.RAW -t 4.67 --name 455.29=verapamil --range 400-700 --text-size 12
draw pages.pdf DEMO.RAW --scan 139-142 --pages
heading "Found peaks"
draw peaks.png DEMO.RAW --peaks
draw peaks_rows.png DEMO.RAW --peaks --rows 3 --y-scale sqrt --theme dark
draw peaks_overlaid.svg DEMO.RAW --trace TIC,455.29 --peaks --threshold 2% --baseline valleys --layout overlaid --grid --range 4-6
draw peaks_of_noise.png DEMO.RAW --trace 470_900 --peaks --baseline tangent --counts
draw centroids.png DEMO.RAW -f 2 -t 4.67 --centroids --threshold 1% --range 454.5-459
heading "Several runs and functions"
draw mirrored.png DEMO.RAW OTHER.RAW -t 4.67 --layout mirrored
draw mirrored_traces.svg DEMO.RAW OTHER.RAW --layout mirrored --filled
draw difference.png DEMO.RAW OTHER.RAW --layout difference
draw runs.png DEMO.RAW OTHER.RAW --layout overlaid
draw functions.png DEMO.RAW --functions 1,2,3
heading "Three dimensions, and maps"
draw depth.png DEMO.RAW -f 2 --scan 130-150 --layout 3d
draw depth_filled.png DEMO.RAW -f 2 --scan 130-150 --layout 3d --filled --range 450-460 --theme dark
draw depth_sticks.svg DEMO.RAW --scan 130-145 --layout 3d
draw depth_traces.png DEMO.RAW --trace 195,311,455,523,556,609 --layout 3d --filled
draw map.png DEMO.RAW --map
draw map_print.png DEMO.RAW --map --theme print --range 4-6 --y-range 400-700
draw map_dark.svg DEMO.RAW --map --theme dark -f 2 --size 1400x900
heading "Edges"
draw one_scan.png FEW.RAW
draw no_data.png DEMO.RAW -t 4.67 --range 2000-3000
draw empty_scan.png EDGES.RAW -s 1
draw one_point.png EDGES.RAW -s 2
draw huge.png EDGES.RAW -s 3 --counts
draw tiny_values.png EDGES.RAW -s 4 --counts
draw four_hundred.png EDGES.RAW -s 5
draw profile_as_centroids.png EDGES.RAW -s 6
draw negative.png DEMO.RAW --trace 850-195.09
draw both_signs.png DEMO.RAW --trace 455.29-195.09
draw small.png DEMO.RAW --size 240x160
draw large_text.png DEMO.RAW -t 4.67 --text-size 16 --grid
draw poster.png DEMO.RAW -t 4.67 --size 3600x2250 --resolution 360
draw long_title.png DEMO.RAW --title "A title that is a good deal longer than the picture is wide, as happens when a whole protocol is copied into it, with all of its solvents"
draw other_script.svg DEMO.RAW --title "Ωmega, Прогон 7, 試料 A, 50 µL, 40 °C" --name 4.67=維拉帕米
heading "In README.md"
small=(--size 720x450 --resolution 80)
draw readme_chromatogram.png DEMO.RAW --trace TIC,455.29,195.09 --layout overlaid --mark 4.4-5 --name 4.67=verapamil "${small[@]}"
draw readme_spectrum.png DEMO.RAW -s 135 --magnify 90-300x2 --name 455.29=verapamil "${small[@]}"
draw readme_depth.png DEMO.RAW -f 2 --scan 130-150 --layout 3d --filled --range 450-460 --theme dark "${small[@]}"
draw readme_map.png DEMO.RAW --map -f 2 "${small[@]}"
echo "$PWD/$page"
