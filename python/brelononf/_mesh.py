"""A model as a mesh: cells of its elements, its groups and results as point and cell data.
Shared by the meshio format and the ParaView reader, which build their meshes from it."""

import logging

import numpy as np

from ._cells import ELEMENT_KINDS, SHAPES, cell_nodes

ID = "onf:id"
KIND = "onf:kind"
PROPERTY = "onf:property"
MATERIAL = "onf:material"
FLAGS = "onf:flags"
GROUP = "onf:group:"

_LOG = logging.getLogger("brelononf")


class IdRows:
    """The rows of ids in an id array (-1 for an id it lacks)."""

    def __init__(self, ids):
        self._order = np.argsort(ids, kind="stable")
        self._sorted = np.asarray(ids)[self._order]

    def rows(self, ids):
        ids = np.asarray(ids)
        at = np.searchsorted(self._sorted, ids)
        found = at < len(self._sorted)
        found[found] = self._sorted[at[found]] == ids[found]
        return np.where(found, self._order[np.minimum(at, len(self._order) - 1)], -1)


def cell_blocks(model, viewer=False):
    """(kind, element rows, cell nodes) for each kind that makes cells, by kind number. With
    `viewer`, kinds whose cell keeps only part of the nodes are drawn too. Elements that cannot
    become cells are left out with a warning: the dummy element, kinds without a shape, a wrong
    node count, a node the model lacks."""
    counts = np.diff(model.offsets)
    blocks = []
    for kind in np.unique(model.element_kinds):
        rows = np.flatnonzero(model.element_kinds == kind)
        shape = SHAPES.get(int(kind))
        if shape is None or not (shape.exact or viewer):
            _LOG.warning("%d elements of kind %d (%s) have no cell and are left out",
                         len(rows), kind, ELEMENT_KINDS.get(int(kind), "unknown"))
            continue
        fits = counts[rows] == shape.nodes
        nodes = np.full((len(rows), shape.nodes), -1, dtype=np.int64)
        starts = model.offsets[rows[fits]]
        nodes[fits] = model.connectivity[starts[:, None] + np.arange(shape.nodes)]
        fits &= (nodes >= 0).all(axis=1)
        if not fits.all():
            _LOG.warning("%d elements of kind %d have a wrong node count or a node the model "
                         "lacks and are left out", (~fits).sum(), kind)
        if fits.any():
            blocks.append((int(kind), rows[fits], cell_nodes(shape, nodes[fits])))
    return blocks


def element_data(model, blocks):
    """Cell data of the elements' ids, kinds, properties, materials (and flags, where any is
    set), one array per cell block each."""
    data = {}
    for name, values in ((ID, model.element_ids), (KIND, model.element_kinds),
                         (PROPERTY, model.element_properties),
                         (MATERIAL, model.element_materials)):
        data[name] = [values[rows] for _, rows, _ in blocks]
    if model.element_flags.any():
        data[FLAGS] = [model.element_flags[rows] for _, rows, _ in blocks]
    return data


def _member_rows(lookup, members, what, name):
    rows = lookup.rows(members)
    if (rows < 0).any():
        _LOG.warning("%s group '%s': %d members are not in the mesh", what, name,
                     (rows < 0).sum())
    return rows[rows >= 0]


def group_data(model, groups, blocks):
    """The groups the model holds and those of `groups` (a Groups, or None) as
    (point sets, 0/1 point data, cell sets, 0/1 cell data), the data named "onf:group:<name>"."""
    nodes = dict(model.node_groups)
    elements = dict(model.element_groups)
    if groups is not None:
        nodes.update(groups.nodes)
        elements.update(groups.elements)
    point_sets, point_data, cell_sets, cell_data = {}, {}, {}, {}
    node_rows = IdRows(model.node_ids)
    for name, members in nodes.items():
        rows = _member_rows(node_rows, members, "node", name)
        point_sets[name] = rows
        flags = np.zeros(len(model.node_ids), np.uint8)
        flags[rows] = 1
        point_data[GROUP + name] = flags
    element_rows = IdRows(model.element_ids)
    for name, members in elements.items():
        member = np.zeros(len(model.element_ids), bool)
        member[_member_rows(element_rows, members, "element", name)] = True
        cell_sets[name] = [np.flatnonzero(member[rows]) for _, rows, _ in blocks]
        cell_data[GROUP + name] = [member[rows].astype(np.uint8) for _, rows, _ in blocks]
    return point_sets, point_data, cell_sets, cell_data


def _chosen_entries(field, iterations):
    """(array name, entry row or None) of the entries of a field to show."""
    count = len(field.iterations)
    if iterations == "last":
        return [(field.title, count - 1)] if count else []
    if iterations == "all":
        return [("%s (%d)" % (field.title, it), row) for row, it in enumerate(field.iterations)]
    # As of a design iteration: the last entry at or before it, none before the first.
    rows = np.flatnonzero(field.iterations <= iterations)
    if not len(rows):
        return [(field.title, None)]
    latest = field.iterations[rows].max()
    return [(field.title, rows[field.iterations[rows] == latest][-1])]


def result_data(model, results, blocks, iterations="last"):
    """The fields of `results` as (point data, cell data), NaN where an id has no value.
    `iterations` is "last" (each field's last entry, named by its title), "all" (every entry,
    named "<title> (<iteration>)") or a design iteration (the entry as of that iteration)."""
    if isinstance(iterations, str) and iterations not in ("last", "all"):
        raise ValueError("iterations is 'last', 'all' or a design iteration, not %r"
                         % (iterations,))
    point_data, cell_data = {}, {}
    node_rows, element_rows = IdRows(model.node_ids), IdRows(model.element_ids)
    for field in results.fields:
        on_nodes = field.location == "node"
        rows = (node_rows if on_nodes else element_rows).rows(field.ids)
        size = len(model.node_ids) if on_nodes else len(model.element_ids)
        for name, row in _chosen_entries(field, iterations):
            values = np.full((size, field.components), np.nan)
            if row is not None:
                values[rows[rows >= 0]] = field.values[row][rows >= 0]
            values = values[:, 0] if field.components == 1 else values
            if on_nodes:
                point_data[name] = values
            else:
                cell_data[name] = [values[element] for _, element, _ in blocks]
    return point_data, cell_data
