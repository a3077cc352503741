#!/usr/bin/env bash
# Builds the project and runs the main job: the tavrel tool on the sample host document.
set -euo pipefail
cd "$(dirname "$0")/.."
cmake --preset default >/dev/null
cmake --build --preset default -j "$(nproc)" >/dev/null
doc="${TMPDIR:-/tmp}/tavrel-sample-host.json"
cp samples/host-document.json "$doc"
echo "== tavrel doc show $doc"
./build/bin/tavrel doc show "$doc"
echo "== tavrel doc set $doc Address COM2::Baud=19200"
./build/bin/tavrel doc set "$doc" Address "COM2::Baud=19200"
echo "== tavrel --json address server-form COM2::Baud=19200"
./build/bin/tavrel --json address server-form "COM2::Baud=19200"
