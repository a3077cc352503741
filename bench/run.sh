#!/usr/bin/env bash
# Builds the benchmarks and prints their tables: the search, then the speed of waveform transfers and
# small queries, ending in one table of every figure with its target, "met" or "NOT met" (a short
# soak's verdict its last row). Run them on an otherwise idle machine and compare ratios within one
# run: absolute times vary from machine to machine, and the readers in one run take turns so that a
# busy machine weighs on all of them alike.
set -euo pipefail
cd "$(dirname "$0")/.."
cmake --preset default >/dev/null
cmake --build --preset default -j "$(nproc)" --target bench_search bench_document bench_waveform bench_lan bench_view soak tavrel-sim >/dev/null
echo "bench/run.sh on $(date -u '+%Y-%m-%d %H:%M UTC'), $(nproc) processor cores"
echo
./build/bin/bench_search
echo
./build/bin/bench_document
echo
# The waveform benchmark starts tavrel-sim from beside itself and runs /usr/bin/python3 (Debian's
# pyvisa-py, pyserial and numpy) for the comparison. The argument is the number of repetitions.
./build/bin/bench_waveform 30
# Its last row: a short soak, the control against tavrel-sim whose faults come and go (bench/Soak.cpp;
# "soak --seconds 600" for the full figures).
./build/bin/soak --seconds 20 --row
echo
# The same waveform over each LAN protocol.
./build/bin/bench_lan 12
echo
# tavrel-view's frames: acquisition, transfer, conversion and drawing, with and without measurements.
./build/bin/bench_view 20
