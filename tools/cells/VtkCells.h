// Element kinds of a model as VTK cells: the one table by which `onf export` writes a model's
// elements and the Python package hands them to meshio. It lies beside the tools rather than in
// the engine, which knows nothing of viewers' cell types.
//
// An element lists its corners first, then its edge nodes. Solids number the first face so that
// its normal points into the element, as VTK has it for tetrahedra, pyramids and hexahedra; a
// VTK wedge wants the normal of its first face outwards, so wedges swap their second and third
// corners (and the edge nodes with them). The 20-node hexahedron lists its edge nodes bottom,
// vertical, top; VTK wants bottom, top, vertical. The 15-node wedge likewise.
//
// Collapsed kinds are written as the kind they collapse from: their repeated nodes make
// degenerate cells, which viewers draw as the collapsed shape. The 9-node plane triangle has no
// VTK cell with its node count; its corners make a linear triangle. A 3-node rod or spring runs
// through its middle node: the VTK quadratic edge lists that node last.
#pragma once

#include "OnfElement.h"

#include <cstdint>

namespace onf_tool {

// The VTK cell type numbers that elements are written as.
enum VtkCellType : uint8_t {
    VTK_EMPTY_CELL = 0, // an element kind that is not written
    VTK_VERTEX = 1,
    VTK_LINE = 3,
    VTK_TRIANGLE = 5,
    VTK_QUAD = 9,
    VTK_TETRA = 10,
    VTK_HEXAHEDRON = 12,
    VTK_WEDGE = 13,
    VTK_PYRAMID = 14,
    VTK_QUADRATIC_EDGE = 21,
    VTK_QUADRATIC_TRIANGLE = 22,
    VTK_QUADRATIC_QUAD = 23,
    VTK_QUADRATIC_TETRA = 24,
    VTK_QUADRATIC_HEXAHEDRON = 25,
    VTK_QUADRATIC_WEDGE = 26,
    VTK_QUADRATIC_PYRAMID = 27,
};

// How one element kind becomes a cell: the cell type, the nodes the element must have, and
// for each cell node the position of that node in the element's node list (null: the same
// order). A cell may use fewer nodes than the element has (the corners of a 9-node triangle).
struct VtkCellShape {
    VtkCellType cellType;
    uint8_t elementNodes;
    uint8_t cellNodes;
    const uint8_t* order;
};

namespace vtk_cells_detail {

inline constexpr uint8_t kHexa20[] = {0,  1,  2,  3,  4,  5,  6,  7,  8,  9,
                                      10, 11, 16, 17, 18, 19, 12, 13, 14, 15};
inline constexpr uint8_t kPenta6[] = {0, 2, 1, 3, 5, 4};
inline constexpr uint8_t kPenta15[] = {0, 2, 1, 3, 5, 4, 8, 7, 6, 14, 13, 12, 9, 11, 10};
inline constexpr uint8_t kChain3[] = {0, 2, 1};

inline constexpr VtkCellShape kNoShape = {VTK_EMPTY_CELL, 0, 0, nullptr};

// The shape of one element kind, a row of the table; kNoShape for a kind that no cell draws.
inline VtkCellShape ShapeRow(int type) {
    using namespace OnfElement;
    switch (type) {
    case ELEM_TETRA4:
        return {VTK_TETRA, 4, 4, nullptr};
    case ELEM_TETRA10:
        return {VTK_QUADRATIC_TETRA, 10, 10, nullptr};
    case ELEM_HEXA8:
    case ELEM_HEXA8_C7:
    case ELEM_HEXA8_C5_FACES:
    case ELEM_HEXA8_C5:
        return {VTK_HEXAHEDRON, 8, 8, nullptr};
    case ELEM_HEXA20:
    case ELEM_HEXA20_C7:
    case ELEM_HEXA20_C5_FACES:
    case ELEM_HEXA20_C5:
        return {VTK_QUADRATIC_HEXAHEDRON, 20, 20, kHexa20};
    case ELEM_PENTA6:
        return {VTK_WEDGE, 6, 6, kPenta6};
    case ELEM_PENTA15:
        return {VTK_QUADRATIC_WEDGE, 15, 15, kPenta15};
    case ELEM_PYRA5:
        return {VTK_PYRAMID, 5, 5, nullptr};
    case ELEM_PYRA13:
        return {VTK_QUADRATIC_PYRAMID, 13, 13, nullptr};
    case ELEM_SHELL_TRIA3:
    case ELEM_PLANE_TRIA3:
        return {VTK_TRIANGLE, 3, 3, nullptr};
    case ELEM_SHELL_TRIA6:
    case ELEM_PLANE_TRIA6:
        return {VTK_QUADRATIC_TRIANGLE, 6, 6, nullptr};
    case ELEM_PLANE_TRIA9:
        return {VTK_TRIANGLE, 9, 3, nullptr};
    case ELEM_SHELL_QUAD4:
    case ELEM_PLANE_QUAD4:
    case ELEM_SHELL_QUAD4_C3:
    case ELEM_PLANE_QUAD4_C3:
        return {VTK_QUAD, 4, 4, nullptr};
    case ELEM_SHELL_QUAD8:
    case ELEM_PLANE_QUAD8:
    case ELEM_SHELL_QUAD8_C3:
    case ELEM_PLANE_QUAD8_C3:
        return {VTK_QUADRATIC_QUAD, 8, 8, nullptr};
    case ELEM_BEAM2:
    case ELEM_SPRING2:
    case ELEM_ROD2:
        return {VTK_LINE, 2, 2, nullptr};
    case ELEM_BEAM3:
        return {VTK_QUADRATIC_EDGE, 3, 3, nullptr};
    case ELEM_SPRING3:
    case ELEM_ROD3:
        return {VTK_QUADRATIC_EDGE, 3, 3, kChain3};
    case ELEM_MASS1:
    case ELEM_POINT1:
        return {VTK_VERTEX, 1, 1, nullptr};
    default:
        return kNoShape;
    }
}

} // namespace vtk_cells_detail

// The shape of OnfElement::ElemType `type`; cellType VTK_EMPTY_CELL for the dummy element, for
// unused kinds and for numbers outside the table.
inline const VtkCellShape& VtkShapeOf(int type) {
    using namespace vtk_cells_detail;
    struct Table {
        VtkCellShape rows[OnfElement::NUM_ELEM_TYPES];
        Table() {
            for (int kind = 0; kind < OnfElement::NUM_ELEM_TYPES; ++kind) {
                rows[kind] = ShapeRow(kind);
            }
        }
    };
    static const Table table;
    if (type < 0 || type >= OnfElement::NUM_ELEM_TYPES) {
        return kNoShape;
    }
    return table.rows[type];
}

} // namespace onf_tool
