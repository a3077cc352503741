#!/usr/bin/env bash
# Builds the project and runs the main job: `tavrel demo` on the simulated bench compiled into the
# product (search, connect, autoscale, measure, plot, and a setup saved and reloaded).
set -euo pipefail
cd "$(dirname "$0")/.."
cmake --preset default >/dev/null
cmake --build --preset default -j "$(nproc)" >/dev/null
./build/bin/tavrel demo --out build/tavrel-demo
