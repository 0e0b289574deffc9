#!/usr/bin/env bash
# Configures, builds and runs every test (the README's test command). The benchmarks are built
# too, so that they keep compiling, but not run: timings live in bench/, never in tests.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DONF_WERROR=ON -DONF_BUILD_BENCH=ON
cmake --build build
ctest --test-dir build --output-on-failure -LE fuzz -j 2
