"""Blocks of any ONF file: their records as tables of numpy arrays and as structured arrays."""

import numpy as np

from . import _core
from ._kinds import path_bytes

# BlockDataType values of the record items.
_INTEGER, _REAL, _FLOAT, _STRING, _VECTOR, _TENSOR = 1, 2, 3, 4, 5, 6
_SORTED_LIST, _LIST, _REAL_LIST = 7, 8, 9
_LIST_TYPES = (_SORTED_LIST, _LIST, _REAL_LIST)
# The dtype and the values a record holds of each fixed-size type.
_FIXED = {
    _INTEGER: (np.int32, ()),
    _REAL: (np.float64, ()),
    _FLOAT: (np.float32, ()),
    _VECTOR: (np.float64, (3,)),
    _TENSOR: (np.float64, (6,)),
}


def list_items(table, column, row):
    """The values of list column `column` of record `row` of a table."""
    offsets = table[column + "_offsets"]
    return table[column][offsets[row]:offsets[row + 1]]


def table_rows(table):
    """The number of records of a table: the length of its key column."""
    key = "id" if "id" in table else "key"
    return len(table[key])


class Block:
    """One block of an ONF file.

    `number` is the block number as the file gives it (-1 for NON_ONF), `name` its catalogue name
    (or the title of a result file's own block), `descriptor` the items that key the block in a
    database ({"ONF_ID": 130} for a plain block; NON_ONF blocks have no "ONF_ID"), `format` the
    format string its records follow. `table` holds the records as columns in the engine's record
    order: one array per item, named after the catalogue's item names ("id" or "key" first), a
    list item as its values one after the other plus "<name>_offsets". `status` is "loaded",
    "unknown" (a number the catalogue lacks, and no format: no records) or "replaced" (a later
    block of the file with the same descriptor holds the records)."""

    def __init__(self, number, table=None, descriptor=None, format="", name="",
                 status="loaded", declared_records=None):
        self.number = number
        self.table = table
        self.descriptor = dict(descriptor) if descriptor is not None else {"ONF_ID": number}
        self.format = format
        self.name = name
        self.status = status
        self.declared_records = declared_records

    def __repr__(self):
        size = "no records" if self.table is None else "%d records" % len(self)
        return "Block(%d %s, %s)" % (self.number, self.name or "", size)

    def __len__(self):
        return 0 if self.table is None else table_rows(self.table)

    @property
    def is_plain(self):
        """True for a block keyed by its number alone."""
        return self.descriptor == {"ONF_ID": self.number}

    @property
    def records(self):
        """The records as a structured array (a copy) of the items of fixed size: integers,
        reals, texts, vectors and tensors. List items are in `table`."""
        if self.table is None:
            return None
        fields = [name for name in self.table
                  if not name.endswith("_offsets") and name + "_offsets" not in self.table]
        dtype = [(name, self.table[name].dtype, self.table[name].shape[1:]) for name in fields]
        records = np.empty(len(self), dtype=dtype)
        for name in fields:
            records[name] = self.table[name]
        return records

    def list(self, column, row):
        """The values of list item `column` of record `row`."""
        return list_items(self.table, column, row)

    def schema(self):
        """(column name, BlockDataType) of each item of the block's records, the key first."""
        return _core.schema(self.descriptor, self.format)

    def checked_table(self):
        """The table with every column in the dtype the engine stores (ValueError or TypeError
        for a column that does not fit), as the writers take it."""
        return checked_table(self.schema(), self.table)


def _integers(values, name):
    array = np.asarray(values)
    if array.size and array.dtype.kind not in "iub":
        raise TypeError("column '%s' holds %s values, not integers" % (name, array.dtype))
    if array.size and (array.min() < -2**31 or array.max() >= 2**31):
        raise ValueError("column '%s' holds values outside 32-bit integers" % name)
    return np.ascontiguousarray(array, dtype=np.int32)


def _reals(values, name, dtype, shape):
    array = np.asarray(values)
    if array.size and array.dtype.kind not in "fiub":
        raise TypeError("column '%s' holds %s values, not numbers" % (name, array.dtype))
    array = np.ascontiguousarray(array, dtype=dtype)
    if array.shape[1:] != shape:
        raise ValueError("column '%s' has records of shape %s, not %s"
                         % (name, array.shape[1:], shape))
    return array


def checked_table(schema, table):
    """`table` with each column of `schema` converted to the dtype its item is stored in."""
    checked = {}
    for name, item_type in schema:
        if name not in table:
            raise KeyError("the table has no column '%s'" % name)
        if item_type in _LIST_TYPES:
            if item_type == _REAL_LIST:
                checked[name] = _reals(table[name], name, np.float64, ())
            else:
                checked[name] = _integers(table[name], name)
            offsets = table.get(name + "_offsets")
            if offsets is None:
                raise KeyError("the table has no column '%s_offsets'" % name)
            checked[name + "_offsets"] = np.ascontiguousarray(offsets, dtype=np.int64)
        elif item_type == _STRING:
            checked[name] = np.asarray(table[name], dtype=str)
        elif item_type == _INTEGER:
            checked[name] = _integers(table[name], name)
        else:
            dtype, shape = _FIXED[item_type]
            checked[name] = _reals(table[name], name, dtype, shape)
    return checked


def read_blocks(path):
    """Every block of the ONF file at `path`, in file order, as Block objects. Blocks are loaded
    as a text database loads them; see Block for those that hold no records. Raises OnfError
    with the engine's text for a file that cannot be read."""
    return [Block(b["number"], b.get("table"), b["descriptor"], b["format"], b["name"],
                  b["status"], b["declared_records"])
            for b in _core.read_blocks(path_bytes(path))]
