"""The ParaView reader under plain VTK: points, cells, groups, one time step per iteration."""

import sys

import numpy as np
import pytest

from conftest import GROUPS, MODEL, RESULTS, SOURCE

pytest.importorskip("vtkmodules")
sys.path.insert(0, str(SOURCE / "python" / "paraview"))
from brelononf_reader import BrelonOnfReader  # noqa: E402
from vtkmodules.util.numpy_support import vtk_to_numpy  # noqa: E402
from vtkmodules.vtkCommonExecutionModel import vtkStreamingDemandDrivenPipeline  # noqa: E402


def _reader(results=RESULTS):
    reader = BrelonOnfReader()
    reader.SetFileName(str(MODEL))
    reader.SetGroupsFileName(str(GROUPS))
    reader.SetResultsFileName(str(results) if results else "")
    return reader


def _array(data, name):
    array = data.GetArray(name)
    return None if array is None else vtk_to_numpy(array)


def test_the_model_as_points_and_cells():
    reader = _reader(results=None)
    reader.Update()
    grid = reader.GetOutputDataObject(0)
    assert grid.GetNumberOfPoints() == 12 and grid.GetNumberOfCells() == 2
    assert vtk_to_numpy(grid.GetPoints().GetData())[8].tolist() == [100.0, 0.0, 30.0]
    assert [grid.GetCellType(c) for c in range(2)] == [12, 12]  # hexahedra
    cell = grid.GetCell(0).GetPointIds()
    assert [cell.GetId(k) for k in range(8)] == [0, 1, 4, 3, 6, 7, 10, 9]
    assert _array(grid.GetPointData(), "onf:group:TIP").tolist() == [0, 0, 1] * 4
    assert _array(grid.GetCellData(), "onf:id").tolist() == [1, 2]


def test_one_time_step_per_design_iteration():
    reader = _reader()
    reader.UpdateInformation()
    info = reader.GetOutputInformation(0)
    assert info.Get(vtkStreamingDemandDrivenPipeline.TIME_STEPS()) == (1.0, 2.0)
    values = {}
    for step in (1.0, 2.0):
        reader.UpdateTimeStep(step)
        grid = reader.GetOutputDataObject(0)
        values[step] = (_array(grid.GetCellData(), "Density"),
                        _array(grid.GetPointData(), "Strain energy"))
    assert values[1.0][0].tolist() == [1.0, 1.0]
    # No strain energy before iteration 2.
    assert np.isnan(values[1.0][1]).all()
    assert np.isnan(values[2.0][0][0]) and values[2.0][0][1] == 0.5
    assert values[2.0][1][2] == 1.5


def test_results_left_out_of_the_selection_are_not_read_into_the_grid():
    reader = _reader()
    reader.UpdateInformation()
    reader.GetResultSelection().DisableArray("Density")
    reader.UpdateTimeStep(2.0)
    grid = reader.GetOutputDataObject(0)
    assert _array(grid.GetCellData(), "Density") is None
    assert _array(grid.GetPointData(), "Displacement").shape == (12, 3)
