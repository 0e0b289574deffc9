"""Ids, element types and sets through Abaqus input files.

An Abaqus file numbers its nodes and elements itself, so it can hold a model's ids. meshio's
writer numbers them 1, 2, ... in its own order, names each element block after the last of the
Abaqus types it reads as that cell (a triangle becomes a rigid "R3D3"), and writes a set that
spans several blocks as one section a block, of which its reader keeps the last. `write_model_file`
mends the file meshio wrote: the ids of "onf:id", the Abaqus type of each element kind, one
section a set. `read_ids` takes the numbers of a file into "onf:id", and the element kinds its
types stand for into "onf:kind", after meshio read it.
"""

import logging
import re

import numpy as np

_LOG = logging.getLogger("brelononf")
_KEYWORD = re.compile(r"\*\s*([A-Za-z]+)")

# Element kinds (see ELEMENT_KINDS) by the Abaqus type they are written as; a type reads back as
# the first of its kinds (springs have no type of their own here and come back as rods).
_TYPES = {
    "C3D4": (1,), "C3D10": (2,), "C3D8": (3, 30, 31, 32), "C3D20": (4, 33, 34, 35),
    "C3D6": (5,), "C3D15": (6,), "S3": (10,), "STRI65": (11,), "S4": (12, 36),
    "S8R": (13, 37), "CPS3": (20,), "CPE6": (21,), "CPS4": (23, 38), "B31": (41,), "B32": (42,),
    "T3D2": (46, 44), "T3D3": (47, 45),
}
_TYPE_OF_KIND = {kind: name for name, kinds in _TYPES.items() for kind in kinds}
_PER_LINE = 8


def _keyword(line):
    """The keyword of a keyword line ("NODE", "ELEMENT", ...), None for a data or comment line."""
    if not line.startswith("*") or line.startswith("**"):
        return None
    match = _KEYWORD.match(line)
    return match.group(1).upper() if match else ""


def _numbers(line):
    return [int(field) for field in line.split(",") if field.strip()]


def _set_lines(header, members):
    rows = [members[k:k + _PER_LINE] for k in range(0, len(members), _PER_LINE)]
    return [header] + [",".join(str(m) for m in row) + "\n" for row in rows]


def write_model_file(path, mesh):
    """Mends the Abaqus file that meshio wrote of `mesh` (see the module's text). A mesh without
    "onf:id" data keeps meshio's numbers."""
    node_ids = mesh.point_data.get("onf:id")
    cell_ids = mesh.cell_data.get("onf:id")
    if node_ids is None or cell_ids is None:
        node_ids = np.arange(1, len(mesh.points) + 1)
        element_ids = np.arange(1, sum(len(block.data) for block in mesh.cells) + 1)
    else:
        element_ids = np.concatenate([np.asarray(c).reshape(-1) for c in cell_ids])
    kinds = [int(np.asarray(k).reshape(-1)[0]) if len(k) else 0
             for k in mesh.cell_data.get("onf:kind", [[]] * len(mesh.cells))]
    with open(path) as f:
        lines = f.readlines()
    out, element_sets, section, block = [], {}, None, -1
    for line in lines:
        keyword = _keyword(line)
        if keyword is not None:
            section = keyword
            if keyword == "ELEMENT":
                block += 1
                name = _TYPE_OF_KIND.get(kinds[block] if block < len(kinds) else 0)
                line = "*ELEMENT, TYPE=%s\n" % name if name else line
            elif keyword == "ELSET":
                section = line.partition("=")[2].strip()
                if section not in element_sets:
                    element_sets[section] = []
                    out.append(("ELSET", section))  # where the merged set goes
                continue
        elif not line.strip():
            pass
        elif section == "NODE":
            first, _, rest = line.partition(",")
            line = "%d,%s" % (node_ids[int(first) - 1], rest)
        elif section == "ELEMENT":
            numbers = _numbers(line)
            line = ",".join([str(element_ids[numbers[0] - 1])] +
                            [str(node_ids[n - 1]) for n in numbers[1:]]) + "\n"
        elif section == "NSET":
            line = ",".join(str(node_ids[n - 1]) for n in _numbers(line)) + "\n"
        elif section in element_sets:
            element_sets[section].extend(int(element_ids[n - 1]) for n in _numbers(line))
            continue
        out.append(line)
    with open(path, "w") as f:
        for entry in out:
            if isinstance(entry, tuple):
                f.writelines(_set_lines("*ELSET, ELSET=%s\n" % entry[1], element_sets[entry[1]]))
            else:
                f.write(entry)


def _kinds(types, mesh):
    """The element kind of each cell block by its Abaqus type; the cell type's own kind where
    the type names none of the kinds."""
    from ._cells import DEFAULT_KINDS
    kinds = [_TYPES.get(name, (DEFAULT_KINDS.get(block.type, 0),))[0]
             for name, block in zip(types, mesh.cells)]
    return [np.full(len(block.data), kind, dtype=np.int32)
            for kind, block in zip(kinds, mesh.cells)]


def read_ids(path, mesh):
    """Puts the node and element numbers of the Abaqus file at `path` into the "onf:id" data of
    `mesh`, which meshio read from it, and the kinds of its element types into "onf:kind".
    Where the numbers do not match the mesh (a file of several node sections, say), the mesh
    stays as it is, with a warning."""
    node_lines, element_sections, types, section = [], [], [], None
    with open(path) as f:
        for line in f:
            keyword = _keyword(line)
            if keyword is not None:
                section = keyword
                if keyword == "ELEMENT":
                    element_sections.append([])
                    types.append(line.upper().partition("TYPE=")[2].split(",")[0].strip())
            elif section == "NODE" and line.strip():
                node_lines.append(line.partition(",")[0])
            elif section == "ELEMENT" and line.strip():
                element_sections[-1].append(line)
    node_ids = np.array([int(n) for n in node_lines], dtype=np.int32)
    cell_ids = []
    for block, lines in zip(mesh.cells, element_sections):
        numbers = np.array([n for line in lines for n in _numbers(line)], dtype=np.int64)
        cell_ids.append(numbers.reshape(-1, block.data.shape[1] + 1)[:, 0].astype(np.int32))
    if len(node_ids) != len(mesh.points) or len(cell_ids) != len(mesh.cells) or any(
            len(ids) != len(block.data) for ids, block in zip(cell_ids, mesh.cells)):
        _LOG.warning("the node and element numbers of %s do not match what was read; "
                     "they are not kept", path)
        return
    mesh.point_data["onf:id"] = node_ids
    mesh.cell_data["onf:id"] = cell_ids
    mesh.cell_data["onf:kind"] = _kinds(types, mesh)
