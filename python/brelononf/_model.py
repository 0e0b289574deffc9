"""Model files as numpy arrays: nodes, elements, and every other block as a table."""

import numpy as np

from . import _core
from ._blocks import Block, list_items
from ._kinds import path_bytes, require_kind

NODES, ELEMENTS, NODE_GROUPS, ELEMENT_GROUPS = 110, 140, 200, 210


def _groups_table(number, groups):
    """The table of groups block `number` holding `groups` (name to member ids), ids 1, 2, ..."""
    key, count, name, members = [column for column, _ in _core.schema({"ONF_ID": number})]
    names = list(groups)
    lists = [np.asarray(groups[group], dtype=np.int32) for group in names]
    offsets = np.zeros(len(names) + 1, dtype=np.int64)
    np.cumsum([len(values) for values in lists], out=offsets[1:])
    return {key: np.arange(1, len(names) + 1, dtype=np.int32),
            count: (offsets[1:] - offsets[:-1]).astype(np.int32),
            name: np.asarray(names, dtype=str),
            members: np.concatenate(lists) if lists else np.zeros(0, np.int32),
            members + "_offsets": offsets}


def _groups_of_table(table):
    """Name to member ids (views of the table's values) of a groups block's table."""
    members = [name for name in table if table.get(name + "_offsets") is not None][0]
    return {str(name): list_items(table, members, row) for row, name in enumerate(table["name"])}


def _block_table(number):
    """A property of Model: the table of plain block `number`, None where the model has none."""
    return property(lambda model: model.tables.get(number), doc="The table of block %d." % number)


class Model:
    """A model file as arrays.

    Nodes, in the order of the node block: `node_ids`, `coordinates` (n x 3, as written, in each
    node's definition system), `global_coordinates` (n x 3, in the global Cartesian system),
    `node_systems` and `node_displacement_systems` (coordinate system ids).

    Elements, in the order of the element block: `element_ids`, `element_kinds` (the model's
    element kinds, see ELEMENT_KINDS), `element_properties`, `element_materials`,
    `element_flags` (m x 3), and their nodes as `offsets` (m + 1) and `connectivity`: the nodes of
    element e are rows connectivity[offsets[e]:offsets[e + 1]] of the node arrays (-1 for a node
    the model lacks). `element_node_ids` holds them as ids, as read; writing takes the ids from
    `connectivity` and `node_ids`, and from `element_node_ids` only where connectivity is -1.

    Every other block is in `blocks` (Block objects); `tables` gives the tables of the plain ones
    by number, and `coordinate_systems`, `materials`, `layers`, `properties` those of blocks 100,
    120, 125, 130. Groups that the model file holds (blocks 200, 210) are in `node_groups` and
    `element_groups` (name to member ids)."""

    def __init__(self, node_ids, coordinates, element_ids, element_kinds, offsets, connectivity,
                 element_properties=None, element_materials=None, element_flags=None,
                 node_systems=None, node_displacement_systems=None, global_coordinates=None,
                 element_node_ids=None, blocks=None):
        self.node_ids = np.asarray(node_ids, dtype=np.int32)
        n = len(self.node_ids)
        self.coordinates = np.asarray(coordinates, dtype=np.float64).reshape(n, 3)
        self.node_systems = _or_zeros(node_systems, n)
        self.node_displacement_systems = _or_zeros(node_displacement_systems, n)
        self.global_coordinates = (self.coordinates if global_coordinates is None
                                   else np.asarray(global_coordinates, dtype=np.float64))
        self.element_ids = np.asarray(element_ids, dtype=np.int32)
        m = len(self.element_ids)
        self.element_kinds = np.asarray(element_kinds, dtype=np.int32)
        self.element_properties = _or_zeros(element_properties, m)
        self.element_materials = _or_zeros(element_materials, m)
        self.element_flags = (np.zeros((m, 3), np.int32) if element_flags is None
                              else np.asarray(element_flags, dtype=np.int32))
        self.offsets = np.asarray(offsets, dtype=np.int64)
        self.connectivity = np.asarray(connectivity, dtype=np.int64)
        self.element_node_ids = element_node_ids
        self.blocks = list(blocks or [])

    def __repr__(self):
        return "Model(%d nodes, %d elements, %d other blocks)" % (
            len(self.node_ids), len(self.element_ids), len(self.blocks))

    @classmethod
    def _from_engine(cls, read):
        nodes, elements = read["nodes"], read["elements"]
        flags = np.stack([elements["flag_1"], elements["flag_2"], elements["flag_3"]], axis=1)
        others = [Block(b["number"], b["table"], b["descriptor"], b["format"], b["name"])
                  for b in read["blocks"]
                  if b["descriptor"] not in ({"ONF_ID": NODES}, {"ONF_ID": ELEMENTS})]
        return cls(nodes["id"], nodes["position"], elements["id"], elements["type"],
                   elements["nodes_offsets"], read["connectivity"], elements["property"],
                   elements["material"], flags, nodes["definition_system"],
                   nodes["displacement_system"], read["global_coordinates"], elements["nodes"],
                   others)

    # ---- Tables of the other blocks -----------------------------------------------------------

    @property
    def tables(self):
        """Number to table of every plain block other than nodes and elements."""
        return {b.number: b.table for b in self.blocks if b.is_plain}

    def table(self, number):
        """The table of plain block `number`; KeyError when the model has none."""
        return self.tables[number]

    coordinate_systems = _block_table(100)
    materials = _block_table(120)
    layers = _block_table(125)
    properties = _block_table(130)

    @property
    def node_groups(self):
        """Name to node ids of the node groups the model file holds (block 200)."""
        table = self.tables.get(NODE_GROUPS)
        return {} if table is None else _groups_of_table(table)

    @property
    def element_groups(self):
        """Name to element ids of the element groups the model file holds (block 210)."""
        table = self.tables.get(ELEMENT_GROUPS)
        return {} if table is None else _groups_of_table(table)

    def set_groups(self, node_groups=None, element_groups=None):
        """Makes the model hold these groups (name to member ids) in blocks 200 and 210, in
        place of those it holds; None leaves a kind as it is."""
        for number, groups in ((NODE_GROUPS, node_groups), (ELEMENT_GROUPS, element_groups)):
            if groups is None:
                continue
            self.blocks = [b for b in self.blocks if not (b.is_plain and b.number == number)]
            self.blocks.append(Block(number, _groups_table(number, groups),
                                     name=_core.block_name(number)))

    # ---- Writing ------------------------------------------------------------------------------

    def _element_nodes_to_write(self):
        ids = self.node_ids[np.clip(self.connectivity, 0, None)] if len(self.node_ids) else \
            np.zeros(len(self.connectivity), np.int32)
        dangling = self.connectivity < 0
        if dangling.any():
            if self.element_node_ids is None or len(self.element_node_ids) != len(ids):
                raise ValueError("connectivity refers to no node at %d places, and "
                                 "element_node_ids does not say which" % dangling.sum())
            ids = np.where(dangling, self.element_node_ids, ids)
        return ids

    def _node_table(self):
        return {"id": self.node_ids, "definition_system": self.node_systems,
                "displacement_system": self.node_displacement_systems,
                "position": self.coordinates}

    def _element_table(self):
        counts = self.offsets[1:] - self.offsets[:-1]
        return {"id": self.element_ids, "type": self.element_kinds,
                "number_of_nodes": counts, "property": self.element_properties,
                "material": self.element_materials, "flag_1": self.element_flags[:, 0],
                "flag_2": self.element_flags[:, 1], "flag_3": self.element_flags[:, 2],
                "nodes": self._element_nodes_to_write(), "nodes_offsets": self.offsets}

    def write(self, path):
        """Writes the model file: nodes, elements and every block of `blocks`; the model's
        default blocks that `blocks` lacks are written empty (block 100 with the global system
        "CS_0"). Values read from a file are written to the same bits. Raises OnfError with the
        engine's text when the file cannot be written, ValueError or TypeError for arrays that
        do not fit the blocks."""
        if len(self.offsets) != len(self.element_ids) + 1:
            raise ValueError("offsets has %d entries, not one more than the %d elements"
                             % (len(self.offsets), len(self.element_ids)))
        entries = [_entry(Block(NODES, self._node_table())),
                   _entry(Block(ELEMENTS, self._element_table()))]
        entries += [_entry(b) for b in self.blocks if b.table is not None]
        _core.write_model(path_bytes(path), entries)


def _or_zeros(values, n):
    return np.zeros(n, np.int32) if values is None else np.asarray(values, dtype=np.int32)


def _entry(block):
    return {"descriptor": block.descriptor, "format": block.format,
            "table": block.checked_table()}


def read_model(path):
    """The model file at `path` as a Model. Raises OnfError with the engine's text for a file
    that cannot be read, and for a file of another kind (a groups file, say)."""
    require_kind(path, "model")
    return read_model_as_is(path)


def read_model_as_is(path):
    """read_model without the look at the file's kind, for a caller that has looked."""
    return Model._from_engine(_core.read_model(path_bytes(path)))
