"""Element kinds of a model as cells of meshio and VTK.

The cells are those `onf export` writes (the extension hands over its table): an element's nodes
in the order VTK and meshio want them, collapsed kinds as the kind they collapse from (their
repeated nodes make degenerate cells, which viewers draw as the collapsed shape). The 9-node
plane triangle has no cell with its node count: a viewer draws its corners as a triangle, a
conversion leaves it out rather than lose six of its nodes. The dummy element has no shape.
"""

from collections import namedtuple

import numpy as np

from . import _core

#: Element kind number to its name (item 1 of the element block).
ELEMENT_KINDS = {
    1: "TETRA4", 2: "TETRA10", 3: "HEXA8", 4: "HEXA20", 5: "PENTA6", 6: "PENTA15", 7: "PYRA5",
    8: "PYRA13", 10: "SHELL_TRIA3", 11: "SHELL_TRIA6", 12: "SHELL_QUAD4", 13: "SHELL_QUAD8",
    20: "PLANE_TRIA3", 21: "PLANE_TRIA6", 22: "PLANE_TRIA9", 23: "PLANE_QUAD4",
    24: "PLANE_QUAD8", 30: "HEXA8_C7", 31: "HEXA8_C5_FACES", 32: "HEXA8_C5", 33: "HEXA20_C7",
    34: "HEXA20_C5_FACES", 35: "HEXA20_C5", 36: "SHELL_QUAD4_C3", 37: "SHELL_QUAD8_C3",
    38: "PLANE_QUAD4_C3", 39: "PLANE_QUAD8_C3", 40: "DUMMY", 41: "BEAM2", 42: "BEAM3",
    43: "MASS1", 44: "SPRING2", 45: "SPRING3", 46: "ROD2", 47: "ROD3", 49: "POINT1",
}

#: How an element kind becomes a cell: meshio's cell type, VTK's cell type number, the nodes
#: the element has, and for each cell node its position in the element's node list (None: the
#: same order). `exact` is False where the cell keeps only part of the element's nodes.
CellShape = namedtuple("CellShape", "meshio vtk nodes order exact")

#: meshio's name of each VTK cell type that elements become.
_MESHIO_TYPES = {
    1: "vertex", 3: "line", 5: "triangle", 9: "quad", 10: "tetra", 12: "hexahedron", 13: "wedge",
    14: "pyramid", 21: "line3", 22: "triangle6", 23: "quad8", 24: "tetra10", 25: "hexahedron20",
    26: "wedge15", 27: "pyramid13",
}


def _shape(vtk, nodes, order):
    exact = len(order) == nodes
    if exact and order == tuple(range(nodes)):
        order = None
    return CellShape(_MESHIO_TYPES[vtk], vtk, nodes, order, exact)


SHAPES = {kind: _shape(*row) for kind, row in _core.CELL_SHAPES.items()}

#: The kind an element of a meshio cell type becomes when nothing says otherwise.
DEFAULT_KINDS = {
    "vertex": 49, "line": 41, "line3": 42, "triangle": 10, "triangle6": 11, "quad": 12,
    "quad8": 13, "tetra": 1, "tetra10": 2, "hexahedron": 3, "hexahedron20": 4, "wedge": 5,
    "wedge15": 6, "pyramid": 7, "pyramid13": 8,
}


def cell_nodes(shape, element_nodes):
    """The cells' nodes (cells x cell nodes) of elements' nodes (elements x element nodes)."""
    return element_nodes if shape.order is None else element_nodes[:, list(shape.order)]


def element_nodes(shape, cell_nodes):
    """The inverse of cell_nodes, for the shapes that keep every node."""
    if shape.order is None:
        return cell_nodes
    inverse = np.argsort(shape.order)
    return cell_nodes[:, inverse]
