"""A ParaView reader of ONF models, with their groups and optimisation results.

Load it in ParaView through Tools > Manage Plugins, `paraview --plugins=<this file>` or the
folder of this file in PV_PLUGIN_PATH; the package brelononf must be importable by ParaView's
Python. Open a model file (.onf); name a groups file and an optimisation result file in the
reader's properties. Each design iteration of the results is a time step.

The grid holds the nodes in global coordinates as points and the elements as cells, with the
package's arrays: "onf:id" (point and cell data), "onf:kind", "onf:property", "onf:material",
"onf:group:<name>" (1 for members), and each selected result by its title, as of the time
step's design iteration (NaN where an id has no value then).

Outside ParaView the module runs under plain VTK: the ParaView decorators, which only describe
the reader to ParaView, are then stand-ins that leave the class as it is.
"""

import weakref

import numpy as np
from vtkmodules.util import numpy_support
from vtkmodules.vtkCommonCore import VTK_ID_TYPE, vtkDataArraySelection, vtkPoints
from vtkmodules.vtkCommonDataModel import vtkCellArray, vtkUnstructuredGrid
from vtkmodules.vtkCommonExecutionModel import vtkStreamingDemandDrivenPipeline

try:
    from paraview.util.vtkAlgorithm import (VTKPythonAlgorithmBase, smdomain, smhint,
                                            smproperty, smproxy)
except ImportError:
    from vtkmodules.util.vtkAlgorithm import VTKPythonAlgorithmBase

    class _StandIn:
        """Any decorator of ParaView's, with any arguments: the function as it is."""

        def __getattr__(self, name):
            return lambda *args, **kwargs: (lambda function: function)

    smdomain = smhint = smproperty = smproxy = _StandIn()

import brelononf
from brelononf._cells import SHAPES
from brelononf._mesh import ID, cell_blocks, element_data, group_data, result_data


def _vtk_array(name, values):
    array = numpy_support.numpy_to_vtk(np.ascontiguousarray(values), deep=1)
    array.SetName(name)
    return array


def _joined(per_block, empty_shape):
    return np.concatenate(per_block) if per_block else np.zeros(empty_shape)


def model_grid(model, groups=None):
    """The model as a vtkUnstructuredGrid with its ids, kinds, properties, materials and
    groups; also the cell blocks, whose order the grid's cells follow."""
    blocks = cell_blocks(model, viewer=True)
    grid = vtkUnstructuredGrid()
    points = vtkPoints()
    points.SetData(_vtk_array("Points", model.global_coordinates))
    grid.SetPoints(points)
    sizes = [nodes.shape[1] for _, _, nodes in blocks for _ in range(len(nodes))]
    offsets = np.zeros(len(sizes) + 1, np.int64)
    np.cumsum(sizes, out=offsets[1:])
    connectivity = _joined([nodes.reshape(-1) for _, _, nodes in blocks], 0).astype(np.int64)
    types = _joined([np.full(len(nodes), SHAPES[kind].vtk, np.uint8)
                     for kind, _, nodes in blocks], 0).astype(np.uint8)
    cells = vtkCellArray()
    cells.SetData(numpy_support.numpy_to_vtk(offsets, deep=1, array_type=VTK_ID_TYPE),
                  numpy_support.numpy_to_vtk(connectivity, deep=1, array_type=VTK_ID_TYPE))
    grid.SetCells(numpy_support.numpy_to_vtk(types, deep=1), cells)
    grid.GetPointData().AddArray(_vtk_array(ID, model.node_ids))
    _, point_flags, _, cell_flags = group_data(model, groups, blocks)
    _add_data(grid, point_flags, {**element_data(model, blocks), **cell_flags})
    return grid, blocks


def _add_data(grid, point_data, cell_data):
    for name, values in point_data.items():
        grid.GetPointData().AddArray(_vtk_array(name, values))
    for name, per_block in cell_data.items():
        grid.GetCellData().AddArray(_vtk_array(name, _joined(per_block, 0)))


def _modified_callback(algorithm):
    """An observer that marks the algorithm modified, without keeping it alive."""
    reference = weakref.ref(algorithm)

    def modified(*_):
        if reference() is not None:
            reference().Modified()

    return modified


@smproxy.reader(name="BrelonOnfReader", label="ONF model", extensions="onf",
                file_description="ONF model files")
class BrelonOnfReader(VTKPythonAlgorithmBase):
    """Reads an ONF model with a groups file and an optimisation result file (both optional)."""

    def __init__(self):
        VTKPythonAlgorithmBase.__init__(self, nInputPorts=0, nOutputPorts=1,
                                        outputType="vtkUnstructuredGrid")
        self._files = {"model": "", "groups": "", "results": ""}
        self._grid = None  # the model's grid and cell blocks, made once per set of files
        self._results = None
        self._selection = vtkDataArraySelection()
        self._selection.AddObserver("ModifiedEvent", _modified_callback(self))

    def _set_file(self, key, name):
        if name != self._files[key]:
            self._files[key] = name or ""
            self._grid = None
            self._results = None
            self.Modified()

    @smproperty.stringvector(name="FileName")
    @smdomain.filelist()
    @smhint.filechooser(extensions="onf", file_description="ONF model files")
    def SetFileName(self, name):
        self._set_file("model", name)

    @smproperty.stringvector(name="GroupsFileName", default_values="")
    @smdomain.filelist()
    @smhint.filechooser(extensions="onf", file_description="ONF groups files")
    def SetGroupsFileName(self, name):
        self._set_file("groups", name)

    @smproperty.stringvector(name="ResultsFileName", default_values="")
    @smdomain.filelist()
    @smhint.filechooser(extensions="onf", file_description="ONF optimisation result files")
    def SetResultsFileName(self, name):
        self._set_file("results", name)

    @smproperty.dataarrayselection(name="Results")
    def GetResultSelection(self):
        return self._selection

    @smproperty.doublevector(name="TimestepValues", information_only="1",
                             si_class="vtkSITimeStepsProperty")
    def GetTimestepValues(self):
        steps = self._time_steps()
        return steps if steps else None

    def _read_results(self):
        if self._results is None and self._files["results"]:
            self._results = brelononf.read_results(self._files["results"])
            for field in self._results.fields:
                if not self._selection.ArrayExists(field.title):
                    self._selection.AddArray(field.title)
        return self._results

    def _time_steps(self):
        """The design iterations of the results, ascending, as the times of the steps."""
        results = self._read_results()
        if results is None:
            return []
        iterations = set()
        for field in results.fields:
            iterations.update(int(i) for i in field.iterations)
        return [float(i) for i in sorted(iterations)]

    def RequestInformation(self, request, inInfoVec, outInfoVec):
        executive = vtkStreamingDemandDrivenPipeline
        info = outInfoVec.GetInformationObject(0)
        info.Remove(executive.TIME_STEPS())
        info.Remove(executive.TIME_RANGE())
        steps = self._time_steps()
        for step in steps:
            info.Append(executive.TIME_STEPS(), step)
        if steps:
            info.Append(executive.TIME_RANGE(), steps[0])
            info.Append(executive.TIME_RANGE(), steps[-1])
        return 1

    def _iteration(self, info):
        """The design iteration of the time the pipeline asks for: the last one at or before
        it, the first one before all."""
        steps = self._time_steps()
        executive = vtkStreamingDemandDrivenPipeline
        if not steps or not info.Has(executive.UPDATE_TIME_STEP()):
            return int(steps[-1]) if steps else None
        time = info.Get(executive.UPDATE_TIME_STEP())
        before = [step for step in steps if step <= time + 1e-9]
        return int(before[-1] if before else steps[0])

    def RequestData(self, request, inInfoVec, outInfoVec):
        if self._grid is None:
            model = brelononf.read_model(self._files["model"])
            groups = brelononf.read_groups(self._files["groups"]) if self._files["groups"] \
                else None
            self._grid = (model, *model_grid(model, groups))
        model, grid, blocks = self._grid
        output = vtkUnstructuredGrid.GetData(outInfoVec, 0)
        output.ShallowCopy(grid)
        results = self._read_results()
        if results is not None:
            chosen = [f for f in results.fields if self._selection.ArrayIsEnabled(f.title)]
            iteration = self._iteration(outInfoVec.GetInformationObject(0))
            selected = brelononf.Results(results.titles, chosen, {}, {})
            _add_data(output, *result_data(model, selected, blocks, iteration))
            output.GetInformation().Set(output.DATA_TIME_STEP(), float(iteration))
        return 1
