"""The worked examples of docs/python.md and the README's example run as written."""

import re

import pytest

from conftest import SOURCE


@pytest.mark.parametrize("document, examples", [("docs/python.md", 9), ("README.md", 1)])
def test_the_documented_examples_run(tmp_path, monkeypatch, document, examples):
    pytest.importorskip("vtkmodules")
    text = (SOURCE / document).read_text()
    blocks = re.findall(r"```python\n(.*?)```", text, re.S)
    assert len(blocks) == examples
    # The examples name files relative to the repository's root and write beside them.
    for folder in ("examples", "tests", "python"):
        (tmp_path / folder).symlink_to(SOURCE / folder)
    monkeypatch.chdir(tmp_path)
    namespace = {}
    for number, code in enumerate(blocks, 1):
        exec(compile(code, "%s, example %d" % (document, number), "exec"), namespace)
