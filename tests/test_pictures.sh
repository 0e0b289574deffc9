#!/usr/bin/env bash
# The picture command (scripts/make_pictures.sh) renders both README pictures into a scratch
# folder, and neither is blank. Exits 77 (skipped) where VTK or a virtual X server is missing.
# Usage: test_pictures.sh PATH_TO_ONF SOURCE_DIR
set -u
onf="$1" src="$2"
if ! /usr/bin/python3 -c 'import vtkmodules.vtkRenderingOpenGL2' 2>/dev/null ||
    ! command -v xvfb-run >/dev/null 2>&1; then
    echo "SKIP: no python3-vtk9 or xvfb-run (ONF_WITH_PICTURES=1 bash scripts/setup.sh)"
    exit 77
fi
work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT
bash "$src/scripts/make_pictures.sh" "$work" "$onf" || { echo "FAIL the picture command"; exit 1; }
# A picture is not blank when many colours fill a good part of it.
/usr/bin/python3 - "$work/bridge_model.png" "$work/bridge_density.png" <<'PY' || exit 1
import sys
from vtkmodules.vtkIOImage import vtkPNGReader
from vtkmodules.util.numpy_support import vtk_to_numpy
for path in sys.argv[1:]:
    reader = vtkPNGReader()
    reader.SetFileName(path)
    reader.Update()
    pixels = vtk_to_numpy(reader.GetOutput().GetPointData().GetScalars())[:, :3]
    colours = len({tuple(p) for p in pixels[::7]})
    drawn = (pixels.min(axis=1) < 250).mean()
    print("%s: %d pixels, %d colours, %.0f%% drawn" % (path, len(pixels), colours, 100 * drawn))
    assert colours > 50 and drawn > 0.15, "blank picture " + path
PY
echo "all checks passed"
