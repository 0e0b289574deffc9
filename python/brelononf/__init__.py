"""ONF files as numpy arrays.

    import brelononf
    model = brelononf.read_model("model.onf")      # nodes, elements, tables of the other blocks
    model.coordinates[model.node_ids == 7]          # a node's position as written
    results = brelononf.read_results("result.onf")  # (iterations x ids x components) per field
    mesh = brelononf.to_meshio(model, results=results)

Failures of the engine are raised as OnfError, with the engine's text, identifier and log tag.
The engine's log lines go to the logger "brelononf": errors and warnings at their levels,
progress at INFO, detail at DEBUG and trace at level 5 (named TRACE).
"""

import importlib.util
import logging

from ._core import OnfError
from ._blocks import Block, read_blocks
from ._cells import ELEMENT_KINDS
from ._files import Groups, Results, ResultField, read, read_groups, read_results
from ._kinds import KIND_NAMES, file_kind
from ._model import Model, read_model

logging.addLevelName(5, "TRACE")

# With meshio installed, importing the package registers the format "onf" with meshio.
if importlib.util.find_spec("meshio") is not None:
    from .meshio_format import from_meshio, to_meshio
    from ._convert import convert

__all__ = [
    "Block", "ELEMENT_KINDS", "Groups", "KIND_NAMES", "Model", "OnfError", "ResultField",
    "Results", "convert", "file_kind", "from_meshio", "read", "read_blocks", "read_groups",
    "read_model", "read_results", "to_meshio",
]
