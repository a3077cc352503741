#!/usr/bin/env bash
# Builds the project and runs every test.
set -euo pipefail
cd "$(dirname "$0")/.."
cmake --preset default
cmake --build --preset default -j "$(nproc)"
ctest --preset default
