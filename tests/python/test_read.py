"""Reading files into arrays: models, groups, results, any block, and the kind of a file."""

import gc

import numpy as np
import pytest

import brelononf
from conftest import EXAMPLES, GROUPS, MODEL, RESULTS


def test_model_nodes_elements_and_tables():
    model = brelononf.read_model(MODEL)
    assert model.node_ids.tolist() == list(range(1, 13))
    assert model.coordinates[8].tolist() == [100.0, 0.0, 30.0]
    assert model.node_displacement_systems[2] == 10
    # Element 1 lists nodes 1, 2, 5, 4, 7, 8, 11, 10: rows one less.
    assert model.offsets.tolist() == [0, 8, 16]
    assert model.connectivity[:8].tolist() == [0, 1, 4, 3, 6, 7, 10, 9]
    assert model.element_kinds.tolist() == [3, 3]
    assert model.element_properties.tolist() == [1, 1]
    assert model.properties["name"].tolist() == ["SOLID_STEEL"]
    assert model.materials["value_1"].tolist() == [210000.0]
    assert brelononf.Block(130, model.properties).list("layers", 0).tolist() == [1]
    assert model.table(173)["name"].tolist() == ["TIP_LOAD"]
    assert model.coordinate_systems["name"].tolist() == ["CS_0", "HUB_CYLINDRICAL", "TIP_FACE"]


def test_global_coordinates_follow_each_nodes_system(write_onf):
    # System 5 sits at (100, 0, 0) with its z axis along global x and its x axis along global y:
    # its point (1, 2, 3) is (100 + 3, 1, 2) in global terms.
    path = write_onf("""
           -1
           100
        2
        0, 0, 0, CS_0
        0, 0, 0
        0, 0, 1
        1, 0, 0
        5, 0, 0, TURNED
        100, 0, 0
        1, 0, 0
        0, 1, 0
           -1
           -1
           110
        2
        1, 0, 0, 1, 2, 3
        2, 5, 0, 1, 2, 3
           -1
        """)
    model = brelononf.read_model(path)
    assert model.coordinates.tolist() == [[1, 2, 3], [1, 2, 3]]
    assert model.global_coordinates.tolist() == [[1, 2, 3], [103, 1, 2]]
    assert model.node_systems.tolist() == [0, 5]


def test_element_nodes_the_model_lacks_are_minus_one(write_onf):
    path = write_onf("""
           -1
           110
        1
        1, 0, 0, 0, 0, 0
           -1
           -1
           140
        1
        7, 41, 2, 0, 0, 0, 0, 0
        1, 99
           -1
        """)
    model = brelononf.read_model(path)
    assert model.connectivity.tolist() == [0, -1]
    assert model.element_node_ids.tolist() == [1, 99]


def test_groups_are_views_that_keep_their_file_alive():
    groups = brelononf.read_groups(GROUPS)
    tip = groups.nodes["TIP"]
    assert {name: ids.tolist() for name, ids in groups.elements.items()} == {
        "ALL_HEXAHEDRA": [1, 2], "TIP_ELEMENT": [2]}
    assert not tip.flags.owndata and not tip.flags.writeable
    del groups
    gc.collect()
    assert tip.tolist() == [3, 6, 9, 12]


def test_results_as_iterations_by_ids_by_components():
    results = brelononf.read_results(RESULTS)
    assert results.titles == [(2, "Cantilever, iteration 2", ["tip bending"])]
    displacement = results.field("Displacement")
    assert (displacement.block, displacement.location) == (730, "node")
    assert displacement.iterations.tolist() == [1, 2]
    assert displacement.ids.tolist() == [3, 6, 9, 12]
    assert displacement.values.shape == (2, 4, 3)
    # Iteration 1 has no values for nodes 9 and 12.
    assert np.isnan(displacement.values[0, 2:]).all()
    assert displacement.at(2)[:, 2].tolist() == [-0.25] * 4
    density = results.field("Density", block=740)
    assert density.values[:, :, 0].tolist()[0] == [1.0, 1.0]
    with pytest.raises(KeyError):
        density.at(7)


def test_an_id_twice_in_an_entry_keeps_the_last_value(write_onf):
    path = write_onf("""
           -1
        740
        1
        4
        Density
        3
        5, 0.25
        3, 1.0
        5, 0.5
           -1
        """)
    field = brelononf.read_results(path).fields[0]
    assert field.ids.tolist() == [3, 5]
    assert field.values[0, :, 0].tolist() == [1.0, 0.5]


def test_blocks_of_any_file_as_structured_records(write_onf):
    custom = brelononf.read_blocks(EXAMPLES / "custom_blocks.onf")
    assert [b.descriptor.get("LOADCASE") for b in custom] == [1, 2, None]
    assert "ONF_ID" not in custom[0].descriptor and custom[0].name == "NON_ONF"
    records = custom[1].records
    assert records.dtype.names == ("id", "item1", "item2")
    assert records["item1"].tolist() == [305.0, 296.5, 331.25, 280.0]
    assert custom[2].list("item2", 1).tolist() == [1103, 1104]

    path = write_onf("""
           -1
        4711
        1
        1, 2
           -1
           -1
           97
        1
        110, 1, 12, 12
           -1
           -1
           97
        1
        140, 1, 2, 2
           -1
        """)
    blocks = brelononf.read_blocks(path)
    assert [(b.number, b.status) for b in blocks] == [
        (4711, "unknown"), (97, "replaced"), (97, "loaded")]
    assert blocks[0].records is None and blocks[0].declared_records == 1
    assert blocks[2].records.tolist() == [(140, 1, 2, 2)]


def test_a_block_that_fails_to_load_fails_the_read(write_onf):
    path = write_onf("   -1\n4711\n0\n   -1\n   -1\n   110\n1\n1, 0, 0, 1, 2\n   -1\n")
    with pytest.raises(brelononf.OnfError, match="some values are missing") as raised:
        brelononf.read_blocks(path)
    assert raised.value.identifier == "221112190655"


@pytest.mark.parametrize("numbers, header, kind", [
    ([100, 110, 200], "", "model"),
    ([97], "", "init"),
    ([800], "", "modification"),
    ([900], "", "temporary"),
    ([400], "", "requests"),
    ([200, 710], "", "result"),
    ([100, 400], "", "generic"),
    ([200, 210], "", "groups"),
    ([200], "ONF optimisation result file", "result"),
    ([200], "ONF model input file", "model"),
    ([4711], "", "generic"),
])
def test_file_kind_as_onf_decides_it(write_onf, numbers, header, kind):
    text = "#\n# %s\n" % header + "".join("   -1\n%d\n0\n   -1\n" % n for n in numbers)
    assert brelononf.file_kind(write_onf(text)) == kind


def test_read_dispatches_by_kind():
    assert isinstance(brelononf.read(MODEL), brelononf.Model)
    assert isinstance(brelononf.read(GROUPS), brelononf.Groups)
    assert isinstance(brelononf.read(RESULTS), brelononf.Results)
    assert isinstance(brelononf.read(EXAMPLES / "custom_blocks.onf"), list)
