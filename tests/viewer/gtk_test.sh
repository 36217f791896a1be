#!/usr/bin/env bash
# Uses the viewer as a person does, on a display of its own: opens a run, clicks, drags, zooms,
# copies, saves, looks at the page before printing, closes, and finds everything in its place again;
# the same at twice the resolution and in dark. Pictures of the screen are compared by what they
# show where. Usage: gtk_test.sh VIEWER TERVALON [DIRECTORY for the pictures]
set -euo pipefail
viewer=$1
tervalon=$2
work=$(mktemp -d)
shots=${3:-$work}
mkdir -p "$shots"
pids=()
finish() {
  for pid in "${pids[@]}"; do kill "$pid" 2>/dev/null || true; done
  rm -rf "$work"
}
trap finish EXIT

export HOME=$work XDG_CONFIG_HOME=$work/config XDG_DATA_HOME=$work/data NO_AT_BRIDGE=1
export GSETTINGS_BACKEND=memory GTK_THEME=Adwaita
unset GDK_SCALE GDK_DPI_SCALE WAYLAND_DISPLAY DBUS_SESSION_BUS_ADDRESS
exec 3<>"$work/display"
Xvfb -displayfd 3 -screen 0 2200x1500x24 -nolisten tcp >"$work/xvfb.log" 2>&1 &
pids+=($!)

fail() {
  echo "FAILED: $*" >&2
  cat "$work/errors" >&2
  shot failed
  exit 1
}
# Repeats a command until it succeeds.
wait_for() {
  for _ in $(seq 100); do
    if "$@"; then return; fi
    sleep 0.1
  done
  fail "waited for: $*"
}
display_is_there() { [ -s "$work/display" ]; }
shot() { import -window root "$shots/$1.png"; }
# Takes a picture again until a command says that it shows what it should.
see() { # PICTURE COMMAND...
  for _ in $(seq 40); do
    shot "$1"
    if "${@:2}"; then return; fi
    sleep 0.2
  done
  fail "$1: not so: ${*:2}"
}
start() {
  "$viewer" "$@" 2>>"$work/errors" &
  program=$!
  pids+=($program)
  wait_for xdotool search --onlyvisible --pid $program --class tervalon-view >/dev/null
}
quit() {
  xdotool key ctrl+q
  wait_for gone
}
gone() { ! kill -0 $program 2>/dev/null; }
boxes() { xdotool search --onlyvisible --pid $program '' 2>/dev/null | wc -l; }
has_boxes() { [ "$(boxes)" -ge "$1" ]; }
has_fewer() { [ "$(boxes)" -lt "$1" ]; }
# Presses a key that opens a box.
open_box() { # KEY
  windows=$(boxes)
  xdotool key "$1"
  wait_for has_boxes $((windows + 1))
  sleep 0.3 # for the keyboard to be its own
}
# Places are pixels at 96 per inch.
scale=1
at() { xdotool mousemove $(($1 * scale)) $(($2 * scale)); }
click() { at "$1" "$2" && xdotool click "${3:-1}"; }
drag() { # BUTTON X Y X Y
  at "$2" "$3"
  xdotool mousedown "$1"
  at $((($2 + $4) / 2)) $((($3 + $5) / 2))
  at "$4" "$5"
  xdotool mouseup "$1"
}
# The share of pixels in WIDTHxHEIGHT+X+Y of a picture that differ by more than a tenth from its
# most frequent colour, in tenths of a percent.
ink() { # PICTURE GEOMETRY
  local ground
  ground=$(convert "$shots/$1.png" -crop "$2" +repage -format %c -depth 8 histogram:info:- |
    sort -rn | sed -n '1s/.*\(#[0-9A-F]*\).*/\1/p')
  convert "$shots/$1.png" -crop "$2" +repage -fuzz 10% -fill '#12fe34' -opaque "$ground" \
    -fuzz 0 -fill white +opaque '#12fe34' -fill black -opaque '#12fe34' \
    -format '%[fx:int(mean*1000)]' info:
}
# How bright a part is on the whole: 0 to 100.
ground() {
  convert "$shots/$1.png" -crop "$2" +repage -colorspace Gray -scale 1x1 -format '%[fx:int(mean*100)]' info:
}
# Everything in a picture of the frame at 1100 by 750, multiplied: menus, titles, both plots' axes,
# labels and traces, and nothing where nothing is.
layout() { # PICTURE SCALE
  local scaled parts=0 low high name
  while read -r name x y width height low high; do
    scaled=$((width * $2))x$((height * $2))+$((x * $2))+$((y * $2))
    parts=$(ink "$1" "$scaled")
    if [ "$parts" -lt "$low" ] || [ "$parts" -gt "$high" ]; then
      echo "$1: $name has $parts, not $low to $high" >&2
      return 1
    fi
  done <<PARTS
menus 0 0 300 24 40 400
beside-the-menus 400 0 600 24 0 0
first-title 0 30 300 28 20 300
times 20 325 1060 25 5 200
upper-axis 30 110 20 210 30 400
upper-trace 600 100 100 220 5 200
lower-axis 30 460 20 210 30 400
lower-trace 60 470 1000 200 1 100
masses 20 682 1060 20 5 200
between 60 440 300 12 0 0
PARTS
}

shows() { [ "$(ink "$1" "$2")" -ge "$3" ]; } # PICTURE GEOMETRY INK
# Two pictures, but for some pixels.
differs() { # PICTURE PICTURE PIXELS
  local different
  different=$(compare -metric AE -fuzz 5% "$shots/$1.png" "$shots/$2.png" null: 2>&1 || true)
  [ "${different%%.*}" -ge "$3" ]
}
same() { ! differs "$1" "$2" 3000; }

wait_for display_is_there
DISPLAY=:$(cat "$work/display")
export DISPLAY
"$tervalon" simulate "$work/DEMO.RAW"
find "$work/DEMO.RAW" -printf '%p %s %T@\n' | sort >"$work/before"

# A run, its spectrum by a click, a trace by a click on its peak.
start "$work/DEMO.RAW"
see begun shows begun 1000x600+50+60 3
click 648 400
at 900 20
see one layout one 1
# The first column of the spectrum with a line in it.
peak=$(convert "$shots/one.png" -crop 1000x1+60+600 +repage -threshold 60% txt:- |
  sed -n 's/^\([0-9]*\),.*black.*/\1/p' | head -1)
click $((60 + ${peak:-0})) 600
see two shows two 100x80+600+230 6
[ "$(ink two 100x80+100+230)" -lt 5 ] || fail "more than a trace of the mass"

# The mean of a peak less what is beside it: both are marked in the chromatogram.
is_marked() { [ "$(ground three 20x60+835+120)" -lt "$(ground three 20x60+930+120)" ]; }
drag 1 620 170 680 171
sleep 0.3
drag 3 830 170 860 171
sleep 0.4
see three is_marked
[ "$(ink three 20x60+835+120)" -eq 0 ] || fail "the background is not one colour"

# Zoom below the axis, back by a double click; the wheel; all of the keys that change a view.
drag 1 400 340 700 341
see zoomed differs zoomed three 3000
at 500 340 && xdotool click --repeat 2 --delay 50 1
sleep 0.5
at 835 400
xdotool key ctrl+plus Right Up Down BackSpace BackSpace BackSpace BackSpace
sleep 0.5
at 900 20
see back same back three

# What leaves: the clipboard, a picture, a table; the page before it is printed.
xdotool key ctrl+c
copied() { xclip -selection clipboard -o "$@" 2>/dev/null; }
has_picture() { [ "$(copied -t image/png | identify -format %w - 2>/dev/null)" -gt 1000 ] 2>/dev/null; }
wait_for has_picture
for name in picture.png picture.pdf; do
  open_box ctrl+s
  xdotool key ctrl+a
  xdotool type "$work/$name"
  xdotool key Return
  wait_for test -s "$work/$name"
  wait_for has_fewer $((windows + 1))
done
[ "$(identify -format %w "$work/picture.png")" -gt 1000 ] || fail "a small picture"
open_box ctrl+shift+p
is_page() { [ "$(ground preview 300x200+250+300)" -gt 90 ]; }
see preview is_page
xdotool key Escape
wait_for has_fewer $((windows + 1))

# A mass that is typed; tables, and the one in the clipboard.
click 900 90
open_box ctrl+t
xdotool key End && xdotool type ',311.08'
xdotool key Return
wait_for has_fewer $((windows + 1))
xdotool key ctrl+4
sleep 0.5
xdotool key ctrl+c
has_text() { copied | grep -c 'seven compounds' >/dev/null; }
wait_for has_text
xdotool key ctrl+w
sleep 0.3

# Windows that are moved come back; nothing was written into the run.
drag 1 400 45 430 95
drag 1 400 395 340 340
sleep 0.5
at 1090 740
sleep 0.3
shot moved
quit
find "$work/DEMO.RAW" -printf '%p %s %T@\n' | sort | diff "$work/before" - ||
  fail "something was written into the run"
start
at 1090 740
see again same again moved

# A run that goes is said once, in one box; Return closes it, and the program goes on.
windows=$(boxes)
mv "$work/DEMO.RAW" "$work/GONE.RAW"
wait_for has_boxes $((windows + 1))
sleep 1.5
[ "$(boxes)" -le $((windows + 2)) ] || fail "said more than once"
xdotool key Return
mv "$work/GONE.RAW" "$work/DEMO.RAW"
sleep 1.5
quit

# As large again, and in dark: the same picture.
rm -r "$work/config"
export GDK_SCALE=2
scale=2
start "$work/DEMO.RAW"
see begun shows begun 2000x1200+100+120 3
click 648 400
at 900 20
see large layout large 2
quit
rm -r "$work/config"
unset GDK_SCALE
scale=1
export GTK_THEME=Adwaita:dark
start "$work/DEMO.RAW"
see begun shows begun 1000x600+50+60 3
click 648 400
at 900 20
see dark layout dark 1
[ "$(ground dark 1000x600+50+100)" -lt 25 ] || fail "dark is bright"
[ "$(ground one 1000x600+50+100)" -gt 90 ] || fail "what is not dark is"
quit

if grep -E 'CRITICAL|WARNING' "$work/errors"; then fail "the window system complains"; fi
echo "as it should be"
