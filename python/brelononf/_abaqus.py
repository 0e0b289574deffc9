"""Ids through Abaqus input files.

An Abaqus file numbers its nodes and elements itself, so it can hold a model's ids. meshio's
writer numbers them 1, 2, ... in its own order and its reader forgets the numbers; these two
functions put the ids of "onf:id" into the file that meshio wrote, and take them out of a file
into "onf:id" after meshio read it.
"""

import logging
import re

import numpy as np

_LOG = logging.getLogger("brelononf")
_KEYWORD = re.compile(r"\*\s*([A-Za-z]+)")


def _keyword(line):
    """The keyword of a keyword line ("NODE", "ELEMENT", ...), None for a data or comment line."""
    if not line.startswith("*") or line.startswith("**"):
        return None
    match = _KEYWORD.match(line)
    return match.group(1).upper() if match else ""


def _renumber(line, numbers, first_only=False):
    """The line with its integer fields (or only its first) replaced by numbers[field - 1]."""
    fields = line.rstrip("\n").split(",")
    count = 1 if first_only else len(fields)
    for k in range(count):
        text = fields[k].strip()
        if text:
            fields[k] = str(numbers[int(text) - 1])
    return ",".join(fields) + "\n"


def write_ids(path, mesh):
    """Renumbers the nodes and elements of the Abaqus file that meshio wrote of `mesh` with the
    mesh's "onf:id" data; without such data the file stays as it is."""
    node_ids = mesh.point_data.get("onf:id")
    cell_ids = mesh.cell_data.get("onf:id")
    if node_ids is None or cell_ids is None:
        return
    element_ids = np.concatenate([np.asarray(c).reshape(-1) for c in cell_ids])
    with open(path) as f:
        lines = f.readlines()
    section = None
    for i, line in enumerate(lines):
        keyword = _keyword(line)
        if keyword is not None:
            section = keyword
        elif section == "NODE" and line.strip():
            lines[i] = _renumber(line, node_ids, first_only=True)
        elif section == "ELEMENT" and line.strip():
            first, _, rest = line.partition(",")
            lines[i] = "%d,%s" % (element_ids[int(first) - 1], _renumber(rest, node_ids))
        elif section in ("NSET", "ELSET") and line.strip():
            lines[i] = _renumber(line, node_ids if section == "NSET" else element_ids)
    with open(path, "w") as f:
        f.writelines(lines)


def _integers(lines):
    return [int(field) for line in lines for field in line.split(",") if field.strip()]


def read_ids(path, mesh):
    """Puts the node and element numbers of the Abaqus file at `path` into the "onf:id" data of
    `mesh`, which meshio read from it. Where the numbers do not match the mesh (a file of
    several node sections, say), the mesh stays as it is, with a warning."""
    node_lines, element_sections, section = [], [], None
    with open(path) as f:
        for line in f:
            keyword = _keyword(line)
            if keyword is not None:
                section = keyword
                if keyword == "ELEMENT":
                    element_sections.append([])
            elif section == "NODE" and line.strip():
                node_lines.append(line.partition(",")[0])
            elif section == "ELEMENT" and line.strip():
                element_sections[-1].append(line)
    node_ids = np.array(_integers(node_lines), dtype=np.int32)
    cell_ids = []
    for block, lines in zip(mesh.cells, element_sections):
        numbers = np.array(_integers(lines), dtype=np.int64)
        cell_ids.append(numbers.reshape(-1, block.data.shape[1] + 1)[:, 0].astype(np.int32))
    if len(node_ids) != len(mesh.points) or len(cell_ids) != len(mesh.cells) or any(
            len(ids) != len(block.data) for ids, block in zip(cell_ids, mesh.cells)):
        _LOG.warning("the node and element numbers of %s do not match what was read; "
                     "they are not kept", path)
        return
    mesh.point_data["onf:id"] = node_ids
    mesh.cell_data["onf:id"] = cell_ids
