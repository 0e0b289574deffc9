#!/usr/bin/env bash
# End-to-end test of `onf export MODEL --series OUT.pvd --results RESULTS`: the collection file
# and every step as an independent reader sees them (VTK's XML reader, or meshio), and a failed
# series that leaves the earlier one as it was. Exits 77 (skipped) without either reader.
# Usage: test_export_series.sh PATH_TO_ONF SOURCE_DIR
. "$(dirname "$0")/test_onf_cli_lib.sh" "$1"
src="$(cd "$2" && pwd)"
cd "$work" || exit 1
python=/usr/bin/python3
if ! "$python" -c 'import vtkmodules.vtkIOXML' 2>/dev/null && ! "$python" -c 'import meshio' 2>/dev/null; then
    echo "SKIP: no reader of .vtu files (Debian package python3-vtk9 or python3-meshio)"
    exit 77
fi

# read_series PVD CHECKS: reads the collection and each step, then runs the Python CHECKS with
# `steps`, a list of (timestep, point arrays, cell arrays) with arrays as name -> list of values.
read_series() {
    "$python" - "$1" <<PY
import math, os, sys
import xml.etree.ElementTree as ET
pvd = sys.argv[1]
root = ET.parse(pvd).getroot()
assert root.get("type") == "Collection", root.attrib
steps = []
def read(path):
    try:
        from vtkmodules.vtkIOXML import vtkXMLUnstructuredGridReader
        from vtkmodules.util.numpy_support import vtk_to_numpy
    except ImportError:
        import meshio
        mesh = meshio.read(path)
        cells = {name: [v for block in data for v in block] for name, data in mesh.cell_data.items()}
        return len(mesh.points), {n: list(a) for n, a in mesh.point_data.items()}, cells
    reader = vtkXMLUnstructuredGridReader()
    reader.SetFileName(path)
    reader.Update()
    grid = reader.GetOutput()
    def arrays(data):
        return {data.GetArrayName(i): list(vtk_to_numpy(data.GetArray(i)))
                for i in range(data.GetNumberOfArrays())}
    return grid.GetNumberOfPoints(), arrays(grid.GetPointData()), arrays(grid.GetCellData())
for dataset in root.iter("DataSet"):
    points, point_data, cell_data = read(os.path.join(os.path.dirname(pvd), dataset.get("file")))
    steps.append((float(dataset.get("timestep")), points, point_data, cell_data))
names = [(list(s[2]), list(s[3])) for s in steps]
assert all(n == names[0] for n in names), "the steps hold different arrays: %s" % names
$2
print("%s: %d steps read" % (pvd, len(steps)))
PY
}

# The cantilever's two iterations: a density of both elements at 1, of element 2 at 2; a
# displacement of two nodes at 1 and of four at 2; a strain energy at 2 only.
model="$src/examples/model_full.onf"
results="$src/tests/data/export/model_full_results.onf"
echo "series/cantilever.pvd: 2 steps of 12 points and 2 cells" >cantilever.expected
mkdir series
expect "series" 0 cantilever.expected /dev/null -- export "$model" --series series/cantilever.pvd \
    --results "$results" --groups "$src/examples/groups.onf"
read_series series/cantilever.pvd '
assert [s[0] for s in steps] == [1.0, 2.0], [s[0] for s in steps]
(_, n1, p1, c1), (_, n2, p2, c2) = steps
assert n1 == n2 == 12
assert c1["Density"] == [1.0, 1.0] and c1["valid:Density"] == [1, 1], c1
assert math.isnan(c2["Density"][0]) and c2["Density"][1] == 0.5 and c2["valid:Density"] == [0, 1], c2
assert all(math.isnan(v) for v in p1["Strain energy"]) and p1["valid:Strain energy"] == [0] * 12
assert p2["valid:Strain energy"] == [0, 0, 1] * 3 + [0, 0, 0], p2
disp = [list(v) for v in p1["Displacement"]]
assert disp[2] == [0, 0, -0.5] and disp[0] == [0, 0, 0], disp
assert p1["valid:Displacement"] == [0, 0, 1, 0, 0, 1] + [0] * 6, p1
assert p2["valid:Displacement"] == [0, 0, 1] * 4, p2
assert p1["group:TIP"] == [0, 0, 1] * 4
' || fail "series of the cantilever"

# The example bridge: six iterations, densities over the design space only.
expect "series of the bridge" 0 "" /dev/null -- export "$src/examples/bridge_model.onf" \
    --series bridge.pvd --results "$src/examples/bridge_results.onf"
read_series bridge.pvd '
assert [s[0] for s in steps] == [0, 5, 10, 20, 30, 45], [s[0] for s in steps]
for _, points, point_data, cell_data in steps:
    assert points == 2676 and sum(cell_data["valid:Density"]) == 1920
    assert sum(math.isnan(v) for v in cell_data["Density"]) == 2096 - 1920
    assert not any(math.isnan(v) for row in point_data["Displacement"] for v in row)
assert sum(steps[-1][2]["valid:Displacement"]) == 2676 and sum(steps[1][2]["valid:Displacement"]) == 0
' || fail "series of the bridge"

# A series that fails on its way leaves the earlier one as it was, and no partial file.
cp series/cantilever.pvd kept.pvd
cp series/cantilever/iteration_1.vtu kept.vtu
rm series/cantilever/iteration_2.vtu
mkdir series/cantilever/iteration_2.vtu
expect "failing series" 2 /dev/null "" -- export "$model" --series series/cantilever.pvd --results "$results"
grep -q "^$model: error: cannot write series/cantilever/iteration_2.vtu: Is a directory$" "$work/err" ||
    fail "failing series: $(cat "$work/err")"
cmp -s kept.pvd series/cantilever.pvd || fail "failing series: the collection file changed"
cmp -s kept.vtu series/cantilever/iteration_1.vtu || fail "failing series: a step changed"
[ -z "$(find series -name '.*')" ] || fail "failing series: a partial step is left"
expect "series into a missing folder" 2 /dev/null "" -- export "$model" --series no/such.pvd \
    --results "$results"
[ ! -e no ] || fail "series into a missing folder: something was made"
for args in "--series s.pvd" "out.vtu --series s.pvd --results $results" \
    "--series s.pvd --results $results --all-results"; do
    # shellcheck disable=SC2086
    expect "usage: $args" 2 /dev/null "" -- export "$model" $args
    grep -q "^onf export: .* (see 'onf help export')$" "$work/err" || fail "usage: $args: no usage line"
done

finish
