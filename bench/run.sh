#!/usr/bin/env bash
# Builds the benchmarks and prints their tables. Run them on an otherwise idle machine and compare
# ratios within one run: absolute times vary from machine to machine.
set -euo pipefail
cd "$(dirname "$0")/.."
cmake --preset default >/dev/null
cmake --build --preset default -j "$(nproc)" --target bench_search >/dev/null
./build/bin/bench_search
