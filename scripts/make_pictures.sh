#!/usr/bin/env bash
# Remakes the README's pictures from the example bridge: the model by property
# (bridge_model.png) and the density of the last design iteration (bridge_density.png).
# `onf export` writes the model and the series of the optimisation, and VTK renders them
# (Debian's python3-vtk9 under xvfb-run, installed when missing).
#
# Usage: make_pictures.sh [OUT_FOLDER [ONF]]
#   OUT_FOLDER  where the PNGs go (default docs/images)
#   ONF         the onf command to use (default: build/onf, built here)
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
out="$(mkdir -p "${1:-$root/docs/images}" && cd "${1:-$root/docs/images}" && pwd)"
onf="${2:-}"
ONF_WITH_PICTURES=1 bash "$root/scripts/setup.sh"
if [ -z "$onf" ]; then
    cmake -S "$root" -B "$root/build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
    cmake --build "$root/build" --target onf >/dev/null
    onf="$root/build/onf"
fi
work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT
examples="$root/examples"
"$onf" -q export "$examples/bridge_model.onf" "$work/model.vtu" --groups "$examples/bridge_groups.onf"
"$onf" -q export "$examples/bridge_model.onf" --series "$work/bridge.pvd" \
    --results "$examples/bridge_results.onf"
last="$(sed -n 's/.*file="\([^"]*\)".*/\1/p' "$work/bridge.pvd" | tail -n 1)"
xvfb-run -a /usr/bin/python3 "$root/scripts/render_pictures.py" "$work/model.vtu" "$work/$last" "$out"
echo "$out/bridge_model.png"
echo "$out/bridge_density.png"
