#!/usr/bin/env bash
# Builds the project and runs every test; then the same under AddressSanitizer and
# UndefinedBehaviorSanitizer (clang), with a short run of every fuzzer over its corpus.
# TAVREL_SKIP_SANITIZERS=1 runs the first part only.
set -euo pipefail
cd "$(dirname "$0")/.."
echo "== build and test (gcc)"
cmake --preset default
cmake --build --preset default -j "$(nproc)"
ctest --preset default
if [ "${TAVREL_SKIP_SANITIZERS:-0}" = 1 ]; then exit 0; fi
echo "== build and test under AddressSanitizer and UndefinedBehaviorSanitizer (clang), with the fuzzers"
cmake --preset asan
cmake --build --preset asan -j "$(nproc)"
ctest --preset asan
