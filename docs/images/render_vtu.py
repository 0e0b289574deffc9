#!/usr/bin/env python3
"""Draws the cells of a grid written by `onf export` in 3D and saves a PNG.

Usage: render_vtu.py GRID.vtu OUT.png [CELL_ARRAY]

Faces are shaded by CELL_ARRAY when given (NaN cells grey), points flagged by every point
array named "group:..." are marked. Needs python3-meshio and python3-matplotlib.
"""
import sys

import matplotlib

matplotlib.use("Agg")
import matplotlib.pyplot as plt  # noqa: E402
import meshio  # noqa: E402
import numpy as np  # noqa: E402
from mpl_toolkits.mplot3d.art3d import Line3DCollection, Poly3DCollection  # noqa: E402

# The faces of each cell kind by its corner nodes; quadratic kinds use their corners.
FACES = {
    "hexahedron": [[0, 1, 2, 3], [4, 5, 6, 7], [0, 1, 5, 4], [1, 2, 6, 5], [2, 3, 7, 6], [3, 0, 4, 7]],
    "wedge": [[0, 1, 2], [3, 4, 5], [0, 1, 4, 3], [1, 2, 5, 4], [2, 0, 3, 5]],
    "tetra": [[0, 1, 2], [0, 1, 3], [1, 2, 3], [2, 0, 3]],
    "pyramid": [[0, 1, 2, 3], [0, 1, 4], [1, 2, 4], [2, 3, 4], [3, 0, 4]],
    "quad": [[0, 1, 2, 3]],
    "triangle": [[0, 1, 2]],
    "line": [[0, 1]],
}
CORNERS_OF = {"hexahedron20": "hexahedron", "wedge15": "wedge", "tetra10": "tetra",
              "pyramid13": "pyramid", "quad8": "quad", "triangle6": "triangle", "line3": "line"}


def main():
    grid, out = sys.argv[1], sys.argv[2]
    shade = sys.argv[3] if len(sys.argv) > 3 else None
    mesh = meshio.read(grid)
    points = mesh.points
    faces, values = [], []
    for block_no, block in enumerate(mesh.cells):
        kind = CORNERS_OF.get(block.type, block.type)
        data = mesh.cell_data[shade][block_no] if shade else np.zeros(len(block.data))
        for cell, value in zip(block.data, data):
            for face in FACES.get(kind, []):
                faces.append(points[cell[face]])
                values.append(value)
    fig = plt.figure(figsize=(8, 5), dpi=120)
    ax = fig.add_subplot(projection="3d")
    colours = []
    cmap = plt.get_cmap("viridis")
    finite = [v for v in values if not np.isnan(v)]
    low, high = (min(finite), max(finite)) if finite else (0.0, 1.0)
    for v in values:
        if np.isnan(v):
            colours.append((0.8, 0.8, 0.8, 0.6))
        else:
            colours.append(cmap(0.5 if high == low else (v - low) / (high - low), alpha=0.55))
    ax.add_collection3d(Poly3DCollection(faces, facecolors=colours, edgecolors="none"))
    ax.add_collection3d(Line3DCollection(
        [np.vstack([f, f[:1]]) for f in faces], colors="black", linewidths=0.8))
    for name, flags in mesh.point_data.items():
        if name.startswith("group:"):
            marked = points[np.asarray(flags) == 1]
            ax.scatter(marked[:, 0], marked[:, 1], marked[:, 2], s=30, label=name[6:])
    if shade:
        mappable = plt.cm.ScalarMappable(cmap=cmap, norm=plt.Normalize(low, high))
        fig.colorbar(mappable, ax=ax, shrink=0.6, pad=0.12, label=shade + " (grey: no value)")
    span = points.max(axis=0) - points.min(axis=0)
    ax.set_box_aspect(np.maximum(span, span.max() * 0.05))
    lo, hi = points.min(axis=0), points.max(axis=0)
    ax.set_xlim(lo[0], hi[0]); ax.set_ylim(lo[1], hi[1]); ax.set_zlim(lo[2], hi[2])
    ax.set_xlabel("x"); ax.set_ylabel("y"); ax.set_zlabel("z")
    ax.view_init(elev=22, azim=-60)
    ax.legend(loc="upper left")
    ax.set_title(f"{len(points)} points, {sum(len(b.data) for b in mesh.cells)} cells")
    fig.savefig(out, bbox_inches="tight")


if __name__ == "__main__":
    main()
