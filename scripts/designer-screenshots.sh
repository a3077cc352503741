#!/usr/bin/env bash
# Makes docs/designer/*.png: Qt's form designer with examples/form/MainForm.ui open, the control
# selected (its properties in the property editor), then its property pages from the task menu.
# Needs a build (build/plugins/designer) and xvfb, xdotool and imagemagick (apt-get install them; only
# this script uses them).
set -euo pipefail
cd "$(dirname "$0")/.."
for tool in Xvfb xdotool import; do
  command -v "$tool" >/dev/null || { echo "designer-screenshots: $tool is missing (xvfb, xdotool, imagemagick)"; exit 1; }
done
display=:97
Xvfb "$display" -screen 0 1400x900x24 >/dev/null 2>&1 &
xvfb=$!
trap 'kill $xvfb $designer 2>/dev/null || true' EXIT
export DISPLAY=$display LC_ALL=C.UTF-8 QT_PLUGIN_PATH=$PWD/build/plugins
# Work on a copy, so that nothing the designer does reaches the example.
work=$(mktemp -d)
cp examples/form/MainForm.ui "$work/"
/usr/lib/qt6/bin/designer "$work/MainForm.ui" >/dev/null 2>&1 &
designer=$!
sleep 6
# The designer's main window is the largest one it has.
window=$(for w in $(xdotool search --name '^Qt Designer$'); do
  echo "$(xdotool getwindowgeometry "$w" | awk '/Geometry/ {split($2, s, "x"); print s[1] * s[2]}') $w"
done | sort -n | tail -1 | cut -d' ' -f2)
xdotool windowsize "$window" 1400 900
sleep 1.5
# Select the control in the object inspector, show it alone in the widget box, scroll its properties.
xdotool mousemove 949 178 click 1; sleep 0.5
xdotool mousemove 128 91 click 1; sleep 0.3; xdotool type Tavrel; sleep 0.5
xdotool mousemove 960 480 click 1; sleep 0.3; xdotool key End; sleep 1
mkdir -p docs/designer
import -window root docs/designer/designer-form.png
# Its task menu, then "Property Pages…".
xdotool mousemove 476 133 click 3; sleep 1
xdotool mousemove 553 143 click 1; sleep 2
import -window root docs/designer/designer-pages.png
echo "designer-screenshots: wrote docs/designer/designer-form.png and designer-pages.png"
