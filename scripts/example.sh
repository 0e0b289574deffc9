#!/usr/bin/env bash
# Builds the onf command and runs it on the bundled example files (the README's main job).
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo
cmake --build build --target onf
for file in examples/*.onf; do
    echo "== onf blocks $file"
    ./build/onf blocks "$file"
done
