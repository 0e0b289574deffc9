"""Models through meshio: cells by kind, ids and groups kept through other formats."""

import subprocess
import sys

import meshio
import numpy as np
import pytest

import brelononf
from brelononf._cells import ELEMENT_KINDS, SHAPES
from conftest import BRIDGE, BRIDGE_GROUPS, GROUPS, MODEL, RESULTS


def _summary(model):
    """What a conversion must keep, whatever order the target gives nodes and elements in:
    each node's id and position, each element's id, kind and node ids, the groups."""
    nodes = np.argsort(model.node_ids)
    elements = np.argsort(model.element_ids)
    element_nodes = [model.node_ids[model.connectivity[model.offsets[e]:model.offsets[e + 1]]]
                     for e in elements]
    return (model.node_ids[nodes].tolist(), model.global_coordinates[nodes].tolist(),
            model.element_ids[elements].tolist(), model.element_kinds[elements].tolist(),
            [n.tolist() for n in element_nodes],
            {n: sorted(v.tolist()) for n, v in model.node_groups.items()},
            {n: sorted(v.tolist()) for n, v in model.element_groups.items()})


@pytest.mark.parametrize("suffix", [".inp", ".msh", ".vtu"])
@pytest.mark.parametrize("model, groups", [(MODEL, GROUPS), (BRIDGE, BRIDGE_GROUPS)])
def test_conversion_keeps_positions_connectivity_ids_and_groups(tmp_path, suffix, model, groups):
    brelononf.convert(model, tmp_path / ("mesh" + suffix), groups=groups)
    brelononf.convert(tmp_path / ("mesh" + suffix), tmp_path / "back.onf")
    expected = brelononf.read_model(model)
    expected.set_groups(brelononf.read_groups(groups).nodes,
                        brelononf.read_groups(groups).elements)
    assert _summary(brelononf.read_model(tmp_path / "back.onf")) == _summary(expected)


def test_abaqus_element_types_keep_the_kinds(tmp_path):
    # A plane triangle, a rod and a collapsed hexahedron, which Abaqus writes as a plane-stress
    # triangle, a truss and a brick; the brick comes back as the kind it collapsed from.
    model = brelononf.Model(np.arange(1, 9), np.random.default_rng(2).random((8, 3)),
                            [4, 5, 6], [20, 46, 32], [0, 3, 5, 13],
                            [0, 1, 2, 0, 3] + list(range(8)))
    model.write(tmp_path / "kinds.onf")
    brelononf.convert(tmp_path / "kinds.onf", tmp_path / "kinds.inp")
    assert "*ELEMENT, TYPE=CPS3\n" in (tmp_path / "kinds.inp").read_text()
    brelononf.convert(tmp_path / "kinds.inp", tmp_path / "back.onf")
    back = brelononf.read_model(tmp_path / "back.onf")
    assert dict(zip(back.element_ids.tolist(), back.element_kinds.tolist())) == \
        {4: 20, 5: 46, 6: 3}


def test_kinds_become_cells_in_the_viewers_node_order_and_come_back():
    kinds = [k for k in sorted(SHAPES) if SHAPES[k].exact]
    sizes = [SHAPES[k].nodes for k in kinds]
    offsets = np.concatenate([[0], np.cumsum(sizes)])
    connectivity = np.concatenate([np.arange(n) for n in sizes])
    model = brelononf.Model(np.arange(1, 21), np.random.default_rng(1).random((20, 3)),
                            np.arange(1, len(kinds) + 1), kinds, offsets, connectivity)
    mesh = brelononf.to_meshio(model)
    cells = {kind: block.data[0].tolist()
             for kind, block in zip(np.concatenate(mesh.cell_data["onf:kind"]), mesh.cells)}
    assert cells[5] == [0, 2, 1, 3, 5, 4]  # a wedge's first face turned outwards
    assert cells[4][12:] == [16, 17, 18, 19, 12, 13, 14, 15]  # edges bottom, top, vertical
    assert cells[45] == [0, 2, 1]  # a 3-node spring lists its middle node last
    back = brelononf.from_meshio(mesh)
    order = np.argsort(back.element_ids)
    assert back.element_kinds[order].tolist() == kinds
    assert [back.connectivity[back.offsets[e]:back.offsets[e + 1]].tolist() for e in order] \
        == [list(range(n)) for n in sizes]


def test_elements_without_a_cell_are_left_out_with_a_warning(caplog):
    model = brelononf.Model([1, 2, 3], np.eye(3), [1, 2, 3], [40, 22, 10], [0, 1, 10, 13],
                            [0, 0, 1, 2, 0, 1, 2, 0, 1, 2, 0, 1, 2])
    mesh = brelononf.to_meshio(model)
    assert [b.type for b in mesh.cells] == ["triangle"]
    assert mesh.cell_data["onf:id"][0].tolist() == [3]
    assert "kind 22 (PLANE_TRIA9)" in caplog.text and "kind 40 (DUMMY)" in caplog.text
    assert ELEMENT_KINDS[40] == "DUMMY"


def test_a_mesh_of_another_tool_becomes_a_model(caplog):
    # Plane points, no onf data, and a cell type that makes no element.
    mesh = meshio.Mesh(np.array([[0.0, 0.0], [1.0, 0.0], [1.0, 1.0], [0.0, 1.0], [0.5, 0.5]]),
                       [("triangle", np.array([[0, 1, 4], [1, 2, 4]])),
                        ("quad9", np.arange(9).reshape(1, 9) % 5), ("line", np.array([[2, 3]]))],
                       cell_sets={"FIRST": [np.array([0]), np.array([], int), np.array([0])]})
    model = brelononf.from_meshio(mesh)
    assert model.node_ids.tolist() == [1, 2, 3, 4, 5]
    assert model.coordinates[2].tolist() == [1.0, 1.0, 0.0]
    assert model.element_ids.tolist() == [1, 2, 3] and model.element_kinds.tolist() == [10, 10, 41]
    assert model.connectivity.tolist() == [0, 1, 4, 1, 2, 4, 2, 3]
    assert model.element_groups["FIRST"].tolist() == [1, 3]
    assert "1 cells of type 'quad9' make no element" in caplog.text


def test_results_become_point_and_cell_data():
    model = brelononf.read_model(MODEL)
    results = brelononf.read_results(RESULTS)
    last = brelononf.to_meshio(model, results=results)
    assert np.isnan(last.cell_data["Density"][0][0]) and last.cell_data["Density"][0][1] == 0.5
    assert last.point_data["Displacement"].shape == (12, 3)
    every = brelononf.to_meshio(model, results=results, iterations="all")
    assert every.cell_data["Density (1)"][0].tolist() == [1.0, 1.0]
    assert "Strain energy (2)" in every.point_data
    with pytest.raises(ValueError):
        brelononf.to_meshio(model, results=results, iterations="first")


def test_meshio_reads_and_writes_onf_files(tmp_path):
    mesh = meshio.read(MODEL)
    assert mesh.point_data["onf:id"].tolist() == list(range(1, 13))
    mesh.points[:, 0] += 1000.0
    meshio.write(tmp_path / "moved.onf", mesh)
    moved = brelononf.read_model(tmp_path / "moved.onf")
    assert moved.coordinates[2].tolist() == [1100.0, 0.0, 0.0]


def test_the_convert_command(tmp_path):
    command = [sys.executable, "-m", "brelononf", "convert"]
    done = subprocess.run(command + [str(MODEL), str(tmp_path / "m.inp"), "--groups",
                                     str(GROUPS)], capture_output=True, text=True)
    assert done.returncode == 0, done.stderr
    assert "*NSET, NSET=TIP\n3,6,9,12\n" in (tmp_path / "m.inp").read_text()
    failed = subprocess.run(command + [str(tmp_path / "none.onf"), str(tmp_path / "x.vtu")],
                            capture_output=True, text=True)
    assert failed.returncode == 2
    assert failed.stderr.startswith('brelononf convert: error: Loading of file "')
