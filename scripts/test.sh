#!/usr/bin/env bash
# Configures, builds and runs every test (the README's test command).
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DONF_WERROR=ON
cmake --build build
ctest --test-dir build --output-on-failure -LE fuzz -j 2
