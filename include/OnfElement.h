// Element kinds of a model (item 1 of block 140) and the table of their node counts.
#pragma once

#include <cstdint>

namespace OnfElement {

// The kind of an element. Solids (1 to 8), shells (10 to 13), plane and axisymmetric elements
// (20 to 24), collapsed forms of hexahedra and quadrilaterals whose corners coincide in part
// (30 to 39), the dummy element (40) and line and point elements (41 to 49). The number in a
// name is the number of nodes. Values not listed are unused and have a zero row in the table.
enum ElemType {
    ELEM_UNDEFINED = 0,
    ELEM_TETRA4 = 1,
    ELEM_TETRA10 = 2,
    ELEM_HEXA8 = 3,
    ELEM_HEXA20 = 4,
    ELEM_PENTA6 = 5,
    ELEM_PENTA15 = 6,
    ELEM_PYRA5 = 7,
    ELEM_PYRA13 = 8,
    ELEM_SHELL_TRIA3 = 10,
    ELEM_SHELL_TRIA6 = 11,
    ELEM_SHELL_QUAD4 = 12,
    ELEM_SHELL_QUAD8 = 13,
    ELEM_PLANE_TRIA3 = 20,
    ELEM_PLANE_TRIA6 = 21,
    ELEM_PLANE_TRIA9 = 22,
    ELEM_PLANE_QUAD4 = 23,
    ELEM_PLANE_QUAD8 = 24,
    ELEM_HEXA8_C7 = 30,       // 8 nodes on 7 corners
    ELEM_HEXA8_C5_FACES = 31, // 8 nodes on 5 corners, with faces
    ELEM_HEXA8_C5 = 32,       // 8 nodes on 5 corners: the collapsed form of ELEM_HEXA8
    ELEM_HEXA20_C7 = 33,      // the collapsed form of ELEM_HEXA20
    ELEM_HEXA20_C5_FACES = 34,
    ELEM_HEXA20_C5 = 35,
    ELEM_SHELL_QUAD4_C3 = 36, // the collapsed form of ELEM_SHELL_QUAD4
    ELEM_SHELL_QUAD8_C3 = 37,
    ELEM_PLANE_QUAD4_C3 = 38,
    ELEM_PLANE_QUAD8_C3 = 39,
    // A placeholder: any number of nodes in a deck, at most 20 kept; also what a later deck's
    // element unknown to the first deck becomes.
    ELEM_DUMMY = 40,
    ELEM_BEAM2 = 41,
    ELEM_BEAM3 = 42,
    ELEM_MASS1 = 43,
    ELEM_SPRING2 = 44,
    ELEM_SPRING3 = 45,
    ELEM_ROD2 = 46,
    ELEM_ROD3 = 47,
    ELEM_POINT1 = 49,
    NUM_ELEM_TYPES = 50
};

// One row of the table: nodes, corner nodes and the kind of the collapsed form (0 for none).
struct ElemTypeInfo {
    uint8_t numNodes;
    uint8_t numCornerNodes;
    int32_t collapsedType;
};

// Indexed by ElemType; rows of unused values are zero, ELEM_DUMMY's too.
extern const ElemTypeInfo s_ElemTypeInfo[50];

} // namespace OnfElement
