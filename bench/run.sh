#!/usr/bin/env bash
# Builds the benchmarks and prints their tables. Run them on an otherwise idle machine and compare
# ratios within one run: absolute times vary from machine to machine.
set -euo pipefail
cd "$(dirname "$0")/.."
cmake --preset default >/dev/null
cmake --build --preset default -j "$(nproc)" --target bench_search bench_document bench_waveform tavrel-sim >/dev/null
./build/bin/bench_search
echo
./build/bin/bench_document
echo
# The waveform benchmark starts tavrel-sim from beside itself and runs /usr/bin/python3 (Debian's
# pyvisa-py and numpy) for the comparison. The argument is the number of repetitions.
./build/bin/bench_waveform 30
