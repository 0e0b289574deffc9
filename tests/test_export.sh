#!/usr/bin/env bash
# End-to-end test of `onf export` on the example cantilever.
# Usage: test_export.sh xml|meshio PATH_TO_ONF SOURCE_DIR
#   xml:    the written XML, the summary line, exit codes and usage errors;
#   meshio: the file as an independent reader sees it; exits 77 (skipped) without that reader.
set -u
mode="$1" onf="$2" src="$3"
model="$src/examples/model_full.onf"
groups="$src/examples/groups.onf"
results="$src/tests/data/export/model_full_results.onf"
work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT
failures=0
fail() { echo "FAIL $*"; failures=$((failures + 1)); }

# run EXPECTED_CODE ARGS...: runs the command, output in $work/out and $work/err.
run() {
    local code="$1"
    shift
    "$onf" "$@" >"$work/out" 2>"$work/err"
    local got=$?
    [ "$got" = "$code" ] || fail "onf $*: exit code $got, expected $code"
}

xml_checks() {
    local vtu="$work/model.vtu"
    run 0 export "$model" "$vtu" --groups "$groups" --results "$results" --ascii
    echo "$vtu: 12 points, 2 cells, 7 point arrays, 8 cell arrays" | diff -u - "$work/out" ||
        fail "summary line"
    for line in '<Piece NumberOfPoints="12" NumberOfCells="2">' \
        '<DataArray type="UInt8" Name="group:TIP" format="ascii">' \
        '0 0 1 0 0 1 0 0 1 0 0 1' \
        '<DataArray type="Float64" Name="Density" format="ascii">' \
        'nan 0.5' \
        '<DataArray type="UInt8" Name="valid:Density" format="ascii">' '0 1' \
        '0 0 0 0 0 0 0 0 -0.25 0 0 0' '0 0 1 0 0 1 0 0 1 0 0 1' \
        '0 1 4 3 6 7 10 9 1 2 5 4' \
        '<DataArray type="UInt8" Name="types" format="ascii">' \
        '12 12' '</VTKFile>'; do
        grep -qxF -- "$line" <(sed 's/^ *//' "$vtu") || fail "no line '$line' in the XML"
    done

    # Values that refer to no node of the model: written all the same, exit code 1.
    printf '   -1\n710\n1\n1\nT\n1\n99, 1.0\n   -1\n' >"$work/stray.onf"
    run 1 export "$model" "$work/stray.vtu" --results "$work/stray.onf"
    grep -qF "result 'T': 1 value refers to nodes not in the grid" "$work/err" ||
        fail "no warning about the stray value"
    [ -s "$work/stray.vtu" ] || fail "the file with warnings was not written"

    # A model that cannot be read: exit code 2, nothing written.
    run 2 export "$work/missing.onf" "$work/none.vtu"
    [ ! -e "$work/none.vtu" ] || fail "a file was written for a missing model"
    for args in "export" "export $model" "export $model a.vtu --groups" "export $model a.vtu --x"; do
        # shellcheck disable=SC2086
        run 2 $args
        grep -q "^onf export: .* (see 'onf help export')$" "$work/err" || fail "'$args': no usage line"
    done
}

meshio_checks() {
    local python=""
    for candidate in python3 /usr/bin/python3; do
        if command -v "$candidate" >/dev/null 2>&1 && "$candidate" -c 'import meshio' 2>/dev/null; then
            python="$candidate"
            break
        fi
    done
    if [ -z "$python" ]; then
        echo "SKIP: no python3 with meshio (Debian package python3-meshio)"
        exit 77
    fi
    run 0 export "$model" "$work/model.vtu" --groups "$groups" --results "$results"
    "$python" - "$work/model.vtu" <<'PY' || fail "meshio disagrees"
import math, sys
import meshio
mesh = meshio.read(sys.argv[1])
assert len(mesh.points) == 12, len(mesh.points)
assert [(c.type, len(c.data)) for c in mesh.cells] == [("hexahedron", 2)], mesh.cells
assert list(mesh.points[5]) == [100.0, 40.0, 0.0], mesh.points[5]
assert list(mesh.point_data["NodeId"]) == list(range(1, 13))
assert list(mesh.point_data["group:CLAMPED_END"]) == [1, 0, 0] * 4
assert list(mesh.cell_data["group:TIP_ELEMENT"][0]) == [0, 1]
density = mesh.cell_data["Density"][0]
assert math.isnan(density[0]) and density[1] == 0.5, density
assert mesh.point_data["Displacement"].shape == (12, 3)
# A vector without a value is 0, never NaN (a viewer warps by it); the validity array tells.
assert not any(math.isnan(v) for row in mesh.point_data["Displacement"] for v in row)
assert list(mesh.point_data["valid:Displacement"]) == [0, 0, 1] * 4
print("meshio reads 12 points and 2 hexahedra")
PY
}

case "$mode" in
xml) xml_checks ;;
meshio) meshio_checks ;;
*) echo "unknown mode $mode"; exit 2 ;;
esac
if [ "$failures" -gt 0 ]; then
    echo "$failures failures"
    exit 1
fi
