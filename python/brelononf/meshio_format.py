"""Models as meshio meshes, and the meshio format "onf" (registered when this module is
imported, which `import brelononf` does where meshio is installed).

A mesh made of a model holds the nodes as points (in global coordinates) and the elements as one
cell block per element kind. Ids stay as point and cell data "onf:id"; the element kinds,
properties and materials as cell data "onf:kind", "onf:property", "onf:material" (and the flags
as "onf:flags" where any is set). Each group is a point or cell set and also a 0/1 array
"onf:group:<name>" of point or cell data, so that it survives formats that keep data but no sets.
Results are point and cell data named after their titles, NaN where an id has no value.
"""

import logging

import meshio
import numpy as np

from ._cells import DEFAULT_KINDS, SHAPES, element_nodes
from ._mesh import (FLAGS, GROUP, ID, KIND, MATERIAL, PROPERTY, cell_blocks, element_data,
                    group_data, result_data)
from ._model import Model, read_model

_LOG = logging.getLogger("brelononf")

# meshio 5.0's table of cell dimensions lacks the quadratic wedge and pyramid, which its
# readers and writers know; without them no cell block of either can be made.
meshio._mesh.topological_dimension.setdefault("wedge15", 3)
meshio._mesh.topological_dimension.setdefault("pyramid13", 3)


# ---- Model to mesh ------------------------------------------------------------------------------


def to_meshio(model, groups=None, results=None, iterations="last", sets=True):
    """The model as a meshio.Mesh (see the module's text), with the groups the model holds and
    those of `groups`, and the fields of `results`: the last entry of each field, with
    `iterations="all"` every entry, named "<title> (<iteration>)", or with a number the entries
    as of that design iteration. With `sets` False, groups are "onf:group:" data only, for
    formats that would fold sets into one array."""
    blocks = cell_blocks(model)
    cells = [meshio.CellBlock(SHAPES[kind].meshio, nodes) for kind, _, nodes in blocks]
    mesh = meshio.Mesh(model.global_coordinates, cells, point_data={ID: model.node_ids},
                       cell_data=element_data(model, blocks))
    point_sets, point_flags, cell_sets, cell_flags = group_data(model, groups, blocks)
    mesh.point_data.update(point_flags)
    mesh.cell_data.update(cell_flags)
    if sets:
        mesh.point_sets, mesh.cell_sets = point_sets, cell_sets
    if results is not None:
        point_data, cell_data = result_data(model, results, blocks, iterations)
        mesh.point_data.update(point_data)
        mesh.cell_data.update(cell_data)
    return mesh


# ---- Mesh to model ------------------------------------------------------------------------------


def _integers(values, name):
    """Ids or numbers of a data array, which some formats keep as reals."""
    values = np.asarray(values)
    if values.dtype.kind == "f":
        if not np.isfinite(values).all() or (values != np.round(values)).any():
            raise ValueError("data '%s' holds values that are no integers" % name)
    return values.astype(np.int32)


def _block_data(mesh, name, block, cells):
    """Data `name` of cell block `block`, None where the mesh has none."""
    data = mesh.cell_data.get(name)
    if data is None or len(data) <= block or len(data[block]) != cells:
        return None
    return np.asarray(data[block])


def _block_kinds(mesh, index, block):
    """The element kind of each cell: "onf:kind" where it fits the cell type, else the type's
    default kind; None for a cell type that makes no element."""
    default = DEFAULT_KINDS.get(block.type)
    given = _block_data(mesh, KIND, index, len(block.data))
    if given is None:
        return None if default is None else np.full(len(block.data), default, np.int32)
    kinds = _integers(given.reshape(-1), KIND)
    fits = np.array([SHAPES.get(int(k)) is not None and SHAPES[int(k)].exact and
                     SHAPES[int(k)].meshio == block.type for k in np.unique(kinds)])
    if not fits.all():
        return None if default is None else np.full(len(block.data), default, np.int32)
    return kinds


class _Elements:
    """Elements gathered from the cell blocks, in block order."""

    def __init__(self):
        self.parts = {name: [] for name in ("ids", "kinds", "properties", "materials", "flags",
                                            "nodes", "counts")}
        self.cell_rows = []  # per cell block: element row of each cell, -1 if it made none

    def add(self, mesh, index, block, kinds):
        cells = len(block.data)
        start = sum(len(kinds) for kinds in self.parts["kinds"])
        self.cell_rows.append(np.arange(start, start + cells))
        ids = _block_data(mesh, ID, index, cells)
        self.parts["ids"].append(None if ids is None else _integers(ids.reshape(-1), ID))
        self.parts["kinds"].append(kinds)
        for part, name in (("properties", PROPERTY), ("materials", MATERIAL)):
            data = _block_data(mesh, name, index, cells)
            self.parts[part].append(np.zeros(cells, np.int32) if data is None
                                    else _integers(data.reshape(-1), name))
        flags = _block_data(mesh, FLAGS, index, cells)
        self.parts["flags"].append(np.zeros((cells, 3), np.int32) if flags is None
                                   else _integers(flags, FLAGS).reshape(cells, 3))
        nodes = np.asarray(block.data, dtype=np.int64)
        for kind in np.unique(kinds):
            same = kinds == kind
            self.parts["nodes"].append((np.flatnonzero(same) + start,
                                        element_nodes(SHAPES[int(kind)], nodes[same])))
        self.parts["counts"].append(np.full(cells, nodes.shape[1], np.int64))

    def skip(self, cells):
        self.cell_rows.append(np.full(cells, -1))

    def ids(self):
        """The ids of the cells, numbering those without one on from the largest given."""
        given = [p for p in self.parts["ids"] if p is not None]
        next_id = max((int(p.max()) for p in given if len(p)), default=0) + 1
        ids = []
        for part, kinds in zip(self.parts["ids"], self.parts["kinds"]):
            if part is None:
                part = np.arange(next_id, next_id + len(kinds), dtype=np.int32)
                next_id += len(kinds)
            ids.append(part)
        return np.concatenate(ids) if ids else np.zeros(0, np.int32)

    def connectivity(self):
        counts = np.concatenate(self.parts["counts"]) if self.parts["counts"] else \
            np.zeros(0, np.int64)
        offsets = np.zeros(len(counts) + 1, np.int64)
        np.cumsum(counts, out=offsets[1:])
        connectivity = np.zeros(offsets[-1], np.int64)
        for rows, nodes in self.parts["nodes"]:
            connectivity[offsets[rows][:, None] + np.arange(nodes.shape[1])] = nodes
        return offsets, connectivity

    def joined(self, part, empty):
        return np.concatenate(self.parts[part]) if self.parts[part] else empty


def _groups(ids, sets, data, set_rows, flag_rows):
    """Name to member ids of a mesh's sets and its 0/1 arrays "onf:group:<name>": `set_rows`
    gives the rows (into `ids`) of a set's members, `flag_rows` those of an array's ones."""
    groups = {}
    for name, members in sets.items():
        if ":" not in name:  # a format's own sets ("gmsh:bounding_entities") are no groups
            groups[name] = ids[set_rows(members)]
    for name, flags in data.items():
        if name.startswith(GROUP):
            groups.setdefault(name[len(GROUP):], ids[flag_rows(flags)])
    return groups


def from_meshio(mesh):
    """The Model of a meshio.Mesh: points become nodes (system 0, ids from "onf:id" or 1, 2,
    ...), cells of the types that make elements become elements (kinds, ids, properties,
    materials and flags from the "onf:" data where given), point and cell sets and the
    "onf:group:" arrays become groups. Other cells and data are left out, with a warning."""
    points = np.asarray(mesh.points, dtype=np.float64)
    if points.shape[1] < 3:
        points = np.hstack([points, np.zeros((len(points), 3 - points.shape[1]))])
    node_ids = (_integers(mesh.point_data[ID].reshape(-1), ID) if ID in mesh.point_data
                else np.arange(1, len(points) + 1, dtype=np.int32))
    elements = _Elements()
    for index, block in enumerate(mesh.cells):
        kinds = _block_kinds(mesh, index, block)
        if kinds is None:
            _LOG.warning("%d cells of type '%s' make no element and are left out",
                         len(block.data), block.type)
            elements.skip(len(block.data))
        else:
            elements.add(mesh, index, block, kinds)
    element_ids = elements.ids()
    offsets, connectivity = elements.connectivity()
    dropped = [n for n in list(mesh.point_data) + list(mesh.cell_data) if not n.startswith("onf:")]
    if dropped:
        _LOG.info("data a model cannot hold is left out: %s", ", ".join(sorted(set(dropped))))
    model = Model(node_ids, points, element_ids, elements.joined("kinds", np.zeros(0, np.int32)),
                  offsets, connectivity,
                  elements.joined("properties", np.zeros(0, np.int32)),
                  elements.joined("materials", np.zeros(0, np.int32)),
                  elements.joined("flags", np.zeros((0, 3), np.int32)))
    # Cell data and sets go cell block by cell block; a cell's element row, -1 for none.
    cell_row = np.concatenate(elements.cell_rows + [np.zeros(0, np.int64)])
    starts = np.cumsum([0] + [len(block.data) for block in mesh.cells])

    def set_cells(members):
        cells = np.concatenate([starts[b] + np.asarray(m, np.int64) for b, m in enumerate(members)]
                               + [np.zeros(0, np.int64)])
        rows = cell_row[cells]
        return rows[rows >= 0]

    def flag_cells(flags):
        rows = cell_row[np.flatnonzero(np.concatenate([np.ravel(f) for f in flags]))]
        return rows[rows >= 0]

    node_groups = _groups(node_ids, mesh.point_sets, mesh.point_data,
                          lambda members: np.asarray(members, np.int64),
                          lambda flags: np.flatnonzero(np.ravel(flags)))
    element_groups = _groups(element_ids, mesh.cell_sets, mesh.cell_data, set_cells, flag_cells)
    model.set_groups(node_groups, element_groups)
    return model


# ---- The format "onf" -------------------------------------------------------------------------


def _read(filename):
    return to_meshio(read_model(filename))


def _write(filename, mesh, **_):
    from_meshio(mesh).write(filename)


meshio.register_format("onf", [".onf"], _read, {"onf": _write})
