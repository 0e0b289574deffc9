"""The ParaView reader under plain VTK: the bridge's points and cells, its groups, and one time
step per design iteration of its optimisation."""

import sys

import numpy as np
import pytest

import brelononf
from conftest import BRIDGE, BRIDGE_GROUPS, BRIDGE_RESULTS, SOURCE

pytest.importorskip("vtkmodules")
sys.path.insert(0, str(SOURCE / "python" / "paraview"))
from brelononf_reader import BrelonOnfReader  # noqa: E402
from vtkmodules.util.numpy_support import vtk_to_numpy  # noqa: E402
from vtkmodules.vtkCommonExecutionModel import vtkStreamingDemandDrivenPipeline  # noqa: E402


def _reader(results=BRIDGE_RESULTS):
    reader = BrelonOnfReader()
    reader.SetFileName(str(BRIDGE))
    reader.SetGroupsFileName(str(BRIDGE_GROUPS))
    reader.SetResultsFileName(str(results) if results else "")
    return reader


def _array(data, name):
    array = data.GetArray(name)
    return None if array is None else vtk_to_numpy(array)


def test_the_model_as_points_and_cells():
    model = brelononf.read_model(BRIDGE)
    reader = _reader(results=None)
    reader.Update()
    grid = reader.GetOutputDataObject(0)
    assert grid.GetNumberOfPoints() == 2676 and grid.GetNumberOfCells() == 2096
    assert vtk_to_numpy(grid.GetPoints().GetData()).tobytes() == \
        model.global_coordinates.tobytes()
    types = [grid.GetCellType(c) for c in range(grid.GetNumberOfCells())]
    # Hexahedra, wedges, triangles, quadrilaterals, as many as the model has of each kind.
    assert {t: types.count(t) for t in set(types)} == {12: 1920, 13: 8, 5: 16, 9: 152}
    cell = grid.GetCell(0).GetPointIds()
    first = model.connectivity[model.offsets[0]:model.offsets[1]]
    assert [cell.GetId(k) for k in range(8)] == first.tolist()
    assert _array(grid.GetCellData(), "onf:id")[:3].tolist() == [1, 2, 3]
    on_bearing = _array(grid.GetPointData(), "onf:group:LEFT_BEARING")
    assert on_bearing.sum() == len(brelononf.read_groups(BRIDGE_GROUPS).nodes["LEFT_BEARING"])
    assert not reader.GetOutputInformation(0).Has(vtkStreamingDemandDrivenPipeline.TIME_STEPS())


def test_one_time_step_per_design_iteration():
    reader = _reader()
    reader.UpdateInformation()
    info = reader.GetOutputInformation(0)
    assert info.Get(vtkStreamingDemandDrivenPipeline.TIME_STEPS()) == (0, 5, 10, 20, 30, 45)
    density = brelononf.read_results(BRIDGE_RESULTS).field("Density")
    for step, iteration in ((5.0, 5), (12.0, 10), (45.0, 45)):
        reader.UpdateTimeStep(step)
        grid = reader.GetOutputDataObject(0)
        shown = _array(grid.GetCellData(), "Density")
        assert shown[:1920].tolist() == density.at(iteration)[:, 0].tolist()
        assert np.isnan(shown[1920:]).all()  # no densities outside the design space
        stress = _array(grid.GetPointData(), "Von Mises stress")
        assert np.isnan(stress).all() == (step < 45)  # stresses of the last iteration only


def test_results_left_out_of_the_selection_are_not_read_into_the_grid():
    reader = _reader()
    reader.UpdateInformation()
    reader.GetResultSelection().DisableArray("Density")
    reader.UpdateTimeStep(0.0)
    grid = reader.GetOutputDataObject(0)
    assert _array(grid.GetCellData(), "Density") is None
    assert _array(grid.GetPointData(), "Displacement").shape == (2676, 3)
