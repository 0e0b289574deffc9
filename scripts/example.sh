#!/usr/bin/env bash
# Builds the onf command and runs it on the bundled example files (the README's main job):
# the blocks of each file, a check of each (exit code 0 clean, 1 warnings, 2 failures) and
# a summary of what each holds.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo
cmake --build build --target onf
for file in examples/*.onf; do
    echo "== onf blocks $file"
    ./build/onf blocks "$file"
done
echo "== onf check examples/*.onf"
status=0
./build/onf check examples/*.onf || status=$?
echo "(onf check exit code: $status)"
echo "== onf info examples/*.onf"
./build/onf info examples/*.onf || echo "(onf info exit code: $?)"
