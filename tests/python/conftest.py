"""Shared fixtures of the package's tests: the example files and a way to write small files."""

import os
import pathlib
import textwrap

import pytest

SOURCE = pathlib.Path(os.environ.get("ONF_SOURCE_DIR", pathlib.Path(__file__).parents[2]))
SOURCE = SOURCE.resolve()
EXAMPLES = SOURCE / "examples"
MODEL = EXAMPLES / "model_full.onf"
GROUPS = EXAMPLES / "groups.onf"
RESULTS = SOURCE / "tests" / "data" / "export" / "model_full_results.onf"
# The bridge: 2676 nodes and 2096 elements of four kinds, ids with gaps, nodes in five systems,
# and results over six design iterations.
BRIDGE = EXAMPLES / "bridge_model.onf"
BRIDGE_GROUPS = EXAMPLES / "bridge_groups.onf"
BRIDGE_RESULTS = EXAMPLES / "bridge_results.onf"


@pytest.fixture
def write_onf(tmp_path):
    """write_onf(text, name="file.onf"): the path of a file holding `text` (dedented)."""

    def write(text, name="file.onf"):
        path = tmp_path / name
        path.write_text(textwrap.dedent(text).lstrip("\n"))
        return path

    return write

