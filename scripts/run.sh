#!/usr/bin/env bash
# Builds the project and runs the main job: `tavrel demo` on the simulated bench compiled into the
# product (search, connect, autoscale, measure, plot, and a setup saved and reloaded).
set -euo pipefail
cd "$(dirname "$0")/.."
echo "run: configuring (build folder: build/)"
cmake --preset default >/dev/null
# Ninja's one-line progress ([n/total]) shows on a terminal; the first build takes a few minutes.
echo "run: building with $(nproc) jobs"
cmake --build --preset default -j "$(nproc)" | { grep -E '^\[[0-9]+/[0-9]+\]|error|warning' || true; } | awk '
  /^\[/ { split($1, a, /[\[\/\]]/); if (a[2] > 0 && a[2] % 25 == 0 || a[2] == a[3]) printf "run: built %s of %s steps\n", a[2], a[3]; next }
  { print }'
echo "run: tavrel demo"
./build/bin/tavrel demo --out build/tavrel-demo
