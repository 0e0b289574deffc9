"""Meshes of several cell types in Gmsh files.

meshio's writer of Gmsh 4.1 files needs, for more than one cell type, the entities of a geometry
(point data "gmsh:dim_tags", cell data "gmsh:geometrical" and "gmsh:physical"), which a model
does not have; and its reader takes node data in the order of the node numbers but the points in
the order of the file, which the writer groups by entity. `add_entities` makes up the entities
and puts the points in that order, so that a mesh comes back as it went.
"""

import numpy as np


def _reorder_points(mesh, order):
    """Puts the points of a mesh in the order `order` (old rows by new row)."""
    new_row = np.empty(len(order), dtype=np.int64)
    new_row[order] = np.arange(len(order))
    mesh.points = mesh.points[order]
    for block in mesh.cells:
        block.data = new_row[block.data]
    for name, values in mesh.point_data.items():
        mesh.point_data[name] = np.asarray(values)[order]
    for name, rows in mesh.point_sets.items():
        mesh.point_sets[name] = new_row[rows]


def add_entities(mesh):
    """Gives a mesh of several cell types what meshio's Gmsh writer needs for it: entities of a
    geometry, which a model does not have. Each cell block becomes an entity and a physical group
    of its own; each node belongs to the entity of the highest-dimensional block that uses it,
    except that a block all of whose nodes went to others takes one of them (an entity without
    nodes would not be written), and nodes of no cell make one more entity."""
    if "gmsh:dim_tags" in mesh.point_data or len(mesh.cells) < 2:
        return
    tags = np.zeros((len(mesh.points), 2), dtype=int)
    tags[:, 1] = len(mesh.cells) + 1
    order = sorted(range(len(mesh.cells)), key=lambda b: mesh.cells[b].dim)
    for block in order:
        tags[np.unique(mesh.cells[block].data)] = [mesh.cells[block].dim, block + 1]
    for block in order:
        if (tags[:, 1] == block + 1).any():
            continue
        nodes = np.unique(mesh.cells[block].data)
        owners, counts = np.unique(tags[:, 1], return_counts=True)
        shared = dict(zip(owners, counts))
        spare = [n for n in nodes if shared[tags[n, 1]] > 1]
        if not spare:
            raise ValueError("the %s cells cannot be given nodes of their own in a Gmsh file"
                             % mesh.cells[block].type)
        tags[spare[0]] = [mesh.cells[block].dim, block + 1]
    order = np.lexsort((tags[:, 1], tags[:, 0]))
    _reorder_points(mesh, order)
    mesh.point_data["gmsh:dim_tags"] = tags[order]
    for name in ("gmsh:geometrical", "gmsh:physical"):
        mesh.cell_data[name] = [np.full(len(cells.data), block, dtype=np.int32)
                                for block, cells in enumerate(mesh.cells, 1)]
