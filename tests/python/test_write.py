"""Writing models from arrays: every value back to the same bits, and arrays that do not fit."""

import numpy as np
import pytest

import brelononf
from conftest import MODEL


def _same_bits(first, second):
    """Two models hold the same values, bit for bit, in every array and table."""
    for name in ("node_ids", "coordinates", "node_systems", "node_displacement_systems",
                 "element_ids", "element_kinds", "element_properties", "element_materials",
                 "element_flags", "offsets", "connectivity"):
        a, b = getattr(first, name), getattr(second, name)
        assert a.dtype == b.dtype and a.tobytes() == b.tobytes(), name
    assert [(b.number, b.descriptor) for b in first.blocks] == \
        [(b.number, b.descriptor) for b in second.blocks]
    for a, b in zip(first.blocks, second.blocks):
        assert a.table.keys() == b.table.keys()
        for column in a.table:
            assert a.table[column].tobytes() == b.table[column].tobytes(), (a.number, column)


def test_a_read_model_writes_back_to_the_same_values_and_text(tmp_path):
    model = brelononf.read_model(MODEL)
    model.write(tmp_path / "first.onf")
    again = brelononf.read_model(tmp_path / "first.onf")
    _same_bits(model, again)
    again.write(tmp_path / "second.onf")
    assert (tmp_path / "first.onf").read_bytes() == (tmp_path / "second.onf").read_bytes()


def test_reals_come_back_to_the_same_bits(tmp_path):
    rng = np.random.default_rng(16)
    bits = rng.integers(0, 2**64, size=(400, 3), dtype=np.uint64, endpoint=False)
    values = bits.view(np.float64)
    values[~np.isfinite(values)] = 1.0
    values[:4] = [[-0.0, 5e-324, 2.2250738585072014e-308], [1e308, -1e-300, 0.1],
                  [1 / 3, 2 / 3, 1e-5], [123456789.125, 1e21, 1e22]]
    count = len(values)
    model = brelononf.Model(np.arange(1, count + 1), values, [], [], [0], [])
    model.write(tmp_path / "reals.onf")
    back = brelononf.read_model(tmp_path / "reals.onf").coordinates
    assert back.tobytes() == values.tobytes()


def test_a_changed_model_is_written_as_changed(tmp_path):
    model = brelononf.read_model(MODEL)
    model.coordinates[model.node_ids == 12] = [1.5, -2.5, 3.25]
    model.element_materials[:] = 7
    model.properties["name"][0] = "THICKER"
    model.set_groups(node_groups={"ENDS": [1, 12]})
    model.write(tmp_path / "changed.onf")
    back = brelononf.read_model(tmp_path / "changed.onf")
    assert back.coordinates[-1].tolist() == [1.5, -2.5, 3.25]
    assert back.element_materials.tolist() == [7, 7]
    assert back.properties["name"].tolist() == ["THICKER"]
    assert {k: v.tolist() for k, v in back.node_groups.items()} == {"ENDS": [1, 12]}


def test_a_model_made_of_arrays(tmp_path):
    # Two triangles on four nodes, ids far from 1, 2, ...; node 30 is referred to by no element.
    model = brelononf.Model([10, 20, 30, 40], [[0, 0, 0], [1, 0, 0], [9, 9, 9], [0, 1, 0]],
                            element_ids=[501, 502], element_kinds=[10, 10], offsets=[0, 3, 6],
                            connectivity=[0, 1, 3, 1, 3, 0], element_properties=[2, 2])
    model.set_groups(element_groups={"BOTH": [501, 502]})
    model.write(tmp_path / "made.onf")
    back = brelononf.read_model(tmp_path / "made.onf")
    assert back.element_node_ids.tolist() == [10, 20, 40, 20, 40, 10]
    assert back.connectivity.tolist() == [0, 1, 3, 1, 3, 0]
    assert back.coordinate_systems["name"].tolist() == ["CS_0"]
    assert back.element_groups["BOTH"].tolist() == [501, 502]


def test_a_block_of_every_item_type_keeps_its_values(tmp_path, write_onf):
    # A custom block (its own format, a descriptor without a number) of integers, reals, a float,
    # a text, a vector, a tensor, a list, a sorted list and a list of reals.
    path = write_onf("""
           -1
           -2
        LABEL = every item type
        LOADCASE = 4
           -2
           -3
        FORMAT = I|IRFSVTbLbObDb
           -3
        NON_ONF
        2
        7, -3, 0.1, 0.1, "a, b", 1, 2, 3, 1, 2, 3, 4, 5, 6
        5, 4, 3
        9, 3
        0.5, 0.25
        8, 0, 1e300, 3.5, plain, 0, 0, 0, 0, 0, 0, 0, 0, 0
        1
        2
        1.5
           -1
        """)
    custom = brelononf.read_blocks(path)[0]
    assert custom.records["item3"].dtype == np.float32
    assert custom.list("item8", 0).tolist() == [3, 9]  # sorted as the block holds it
    model = brelononf.read_model(MODEL)
    model.blocks.append(custom)
    model.write(tmp_path / "with_custom.onf")
    back = [b for b in brelononf.read_model(tmp_path / "with_custom.onf").blocks
            if b.descriptor == custom.descriptor]
    assert len(back) == 1 and back[0].format == "I|IRFSVTbLbObDb"
    for column, values in custom.table.items():
        assert back[0].table[column].tobytes() == values.tobytes(), column


def test_texts_that_are_no_utf8_keep_their_bytes(tmp_path, write_onf):
    path = tmp_path / "latin1.onf"
    path.write_bytes(b"   -1\n   120\n1\n1, 1, ST\xc4HL\n0, 0, 0, 0, 0\n1, 2, 3, 4, 5\n   -1\n")
    model = brelononf.read_model(path)
    assert model.materials["name"].tolist() == ["ST\udcc4HL"]
    model.write(tmp_path / "again.onf")
    assert b"1, 1, ST\xc4HL\n" in (tmp_path / "again.onf").read_bytes()


def _model():
    return brelononf.Model([1, 2], [[0, 0, 0], [1, 0, 0]], [1], [41], [0, 2], [0, 1])


@pytest.mark.parametrize("change, error, words", [
    (lambda m: setattr(m, "node_ids", np.array([1.5, 2.5])), TypeError, "not integers"),
    (lambda m: setattr(m, "node_ids", np.array([1, 2**40])), ValueError, "32-bit"),
    (lambda m: setattr(m, "node_ids", np.array([1, 1])), ValueError, "holds the id 1 twice"),
    (lambda m: setattr(m, "coordinates", np.zeros((2, 2))), ValueError, "shape"),
    (lambda m: setattr(m, "offsets", np.array([0, 3])), ValueError, "outside the list"),
    (lambda m: setattr(m, "offsets", np.array([0, 1, 2])), ValueError, "not one more than"),
    (lambda m: setattr(m, "connectivity", np.array([0, -1])), ValueError, "refers to no node"),
    (lambda m: m.blocks.append(brelononf.Block(120, {"id": [1]})), KeyError, "type"),
    (lambda m: m.blocks.append(brelononf.Block(120, {}, {"ONF_ID": 120, "LOADKASE": 1})),
     ValueError, "no descriptor key"),
])
def test_arrays_that_do_not_fit_are_refused(tmp_path, change, error, words):
    model = _model()
    change(model)
    with pytest.raises(error, match=words):
        model.write(tmp_path / "refused.onf")
