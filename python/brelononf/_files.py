"""Groups files and optimisation result files as numpy arrays, and reading a file by its kind."""

import logging

import numpy as np

from . import _core
from ._blocks import read_blocks
from ._kinds import file_kind, path_bytes, require_kind
from ._model import read_model_as_is

_LOG = logging.getLogger("brelononf")


def _by_name(groups, what):
    """Name to members of (id, name, members) triples; of two groups with one name the first
    stays, with a warning (a groups file repairs such names only where it merged blocks)."""
    named = {}
    for group_id, name, members in groups:
        if name in named:
            _LOG.warning("%s group '%s' (id %d) has the name of an earlier one and is left out",
                         what, name, group_id)
            continue
        named[name] = members
    return named


class Groups:
    """Named groups: `nodes` and `elements` map each group's name to the ids of its members.
    Read from a file, the arrays are read-only views of what the engine holds, without a copy."""

    def __init__(self, nodes=None, elements=None):
        self.nodes = dict(nodes or {})
        self.elements = dict(elements or {})

    def __repr__(self):
        return "Groups(%d node groups, %d element groups)" % (len(self.nodes), len(self.elements))


def read_groups(path):
    """The groups file at `path` as Groups, read as the engine's groups file reads it: repeated
    blocks merged, clashing names of a merged file renamed. Raises OnfError with the engine's
    text for a file that cannot be read, and for a file of another kind."""
    require_kind(path, "groups")
    return _read_groups_as_is(path)


def _read_groups_as_is(path):
    groups = _core.read_groups(path_bytes(path))
    return Groups(_by_name(groups["node"], "node"), _by_name(groups["element"], "element"))


class ResultField:
    """One result of an optimisation result file: the entries of one block that share a title.

    `block` is 710 (nodal scalar), 720 (nodal vector), 730 (nodal displacement) or 740 (element
    scalar); `location` "node" or "element". `iterations` holds the entries' ids, the design
    iterations, in the order of the file; `ids` the sorted node or element ids that any
    iteration gives a value for; `values` is (iterations x ids x components), NaN where an
    iteration has no value for an id."""

    _LOCATIONS = {710: "node", 720: "node", 730: "node", 740: "element"}

    def __init__(self, block, title, iterations, ids, values):
        self.block = block
        self.title = title
        self.location = self._LOCATIONS[block]
        self.iterations = iterations
        self.ids = ids
        self.values = values

    def __repr__(self):
        return "ResultField(%d '%s', %d iterations, %d ids)" % (
            self.block, self.title, len(self.iterations), len(self.ids))

    @property
    def components(self):
        return self.values.shape[2]

    def at(self, iteration):
        """The values (ids x components) of the last entry of `iteration`; KeyError if none."""
        rows = np.flatnonzero(self.iterations == iteration)
        if not len(rows):
            raise KeyError("'%s' has no iteration %d" % (self.title, iteration))
        return self.values[rows[-1]]


class Results:
    """An optimisation result file: `titles` as (iteration, title, lines), `fields` as
    ResultField, and the groups it refers to as `node_groups` and `element_groups` (name to ids,
    read-only views of what the engine holds)."""

    def __init__(self, titles, fields, node_groups, element_groups):
        self.titles = titles
        self.fields = fields
        self.node_groups = node_groups
        self.element_groups = element_groups

    def __repr__(self):
        return "Results(%d fields)" % len(self.fields)

    def field(self, title, block=None):
        """The field of this title (and block, where two blocks share a title)."""
        found = [f for f in self.fields if f.title == title and block in (None, f.block)]
        if len(found) != 1:
            raise KeyError("%d fields are titled '%s'" % (len(found), title))
        return found[0]


def read_results(path):
    """The optimisation result file at `path` as Results. Raises OnfError with the engine's text
    for a file that cannot be read, and for a block that a result file does not hold."""
    read = _core.read_results(path_bytes(path))
    fields = [ResultField(f["block"], f["title"], f["iterations"], f["ids"], f["values"])
              for f in read["fields"]]
    return Results([tuple(t) for t in read["titles"]], fields,
                   _by_name(read["node_groups"], "node"),
                   _by_name(read["element_groups"], "element"))


def read(path):
    """The file at `path` by its kind: a Model, Groups or Results, or for any other kind the
    list of its Blocks."""
    kind = file_kind(path)
    if kind == "model":
        return read_model_as_is(path)
    if kind == "groups":
        return _read_groups_as_is(path)
    if kind == "result":
        return read_results(path)
    return read_blocks(path)
