#!/usr/bin/env bash
# Remakes the example files of the bridge (examples/bridge_*.onf) with their generator,
# examples/generator, which writes them through the library, and checks each one. Commit what
# it changes: the test examples_current fails while examples/ and the generator disagree.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build --target onf_make_examples onf
./build/onf_make_examples examples
./build/onf check examples/bridge_*.onf
