"""The worked examples of docs/python.md run as written, one after the other."""

import re

import pytest

from conftest import SOURCE


def test_the_documented_examples_run(tmp_path, monkeypatch):
    pytest.importorskip("vtkmodules")
    text = (SOURCE / "docs" / "python.md").read_text()
    blocks = re.findall(r"```python\n(.*?)```", text, re.S)
    assert len(blocks) >= 8
    # The examples name files relative to the repository's root and write beside them.
    for folder in ("examples", "tests", "python"):
        (tmp_path / folder).symlink_to(SOURCE / folder)
    monkeypatch.chdir(tmp_path)
    namespace = {}
    for number, code in enumerate(blocks, 1):
        exec(compile(code, "docs/python.md, example %d" % number, "exec"), namespace)
