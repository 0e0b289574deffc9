"""Element kinds of a model as cells of meshio and VTK.

An element lists its corners first, then its edge nodes. Solids number the first face so that
its normal points into the element, as VTK (and meshio, which follows VTK's node order) has it
for tetrahedra, pyramids and hexahedra; a VTK wedge wants the normal of its first face outwards,
so wedges swap their second and third corners (and the edge nodes with them). The 20-node
hexahedron lists its edge nodes bottom, vertical, top; VTK wants bottom, top, vertical. The
15-node wedge likewise. A 3-node rod or spring runs through its middle node; the quadratic edge
lists that node last.

Collapsed kinds become the cell they collapse from: their repeated nodes make degenerate cells,
which viewers draw as the collapsed shape. The 9-node plane triangle has no cell with its node
count: a viewer draws its corners as a triangle, a conversion leaves it out rather than lose six
of its nodes. The dummy element has no shape.
"""

from collections import namedtuple

import numpy as np

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

_HEXA20 = (0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 16, 17, 18, 19, 12, 13, 14, 15)
_PENTA6 = (0, 2, 1, 3, 5, 4)
_PENTA15 = (0, 2, 1, 3, 5, 4, 8, 7, 6, 14, 13, 12, 9, 11, 10)
_CHAIN3 = (0, 2, 1)


def _shape(meshio, vtk, nodes, order=None, exact=True):
    return CellShape(meshio, vtk, nodes, order, exact)


SHAPES = {
    1: _shape("tetra", 10, 4),
    2: _shape("tetra10", 24, 10),
    3: _shape("hexahedron", 12, 8),
    4: _shape("hexahedron20", 25, 20, _HEXA20),
    5: _shape("wedge", 13, 6, _PENTA6),
    6: _shape("wedge15", 26, 15, _PENTA15),
    7: _shape("pyramid", 14, 5),
    8: _shape("pyramid13", 27, 13),
    22: _shape("triangle", 5, 9, (0, 1, 2), exact=False),
    41: _shape("line", 3, 2),
    42: _shape("line3", 21, 3),
    45: _shape("line3", 21, 3, _CHAIN3),
    43: _shape("vertex", 1, 1),
}
for _kind in (10, 20):
    SHAPES[_kind] = _shape("triangle", 5, 3)
for _kind in (11, 21):
    SHAPES[_kind] = _shape("triangle6", 22, 6)
for _kind in (12, 23, 36, 38):
    SHAPES[_kind] = _shape("quad", 9, 4)
for _kind in (13, 24, 37, 39):
    SHAPES[_kind] = _shape("quad8", 23, 8)
for _kind in (30, 31, 32):
    SHAPES[_kind] = SHAPES[3]
for _kind in (33, 34, 35):
    SHAPES[_kind] = SHAPES[4]
for _kind, _like in ((44, 41), (46, 41), (47, 45), (49, 43)):
    SHAPES[_kind] = SHAPES[_like]
del _kind, _like

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
