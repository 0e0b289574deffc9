// The catalogue of ONF blocks: every block number the suite knows, with its name, record format,
// the id space of each record item and a line for users. docs/catalogue.md is printed from it.
//
// How to read a row
// -----------------
// format   One character a record item, left to right: I integer, R real (64 bits), F float,
//          S string, V three reals, T six reals, L integer list in the given order, O sorted
//          integer list without duplicates, D real list; lower case marks an optional item.
//          The key is implicit (not in the format) unless the format starts with "I|" or "S|".
//          `b` ends a line when the block is written.
// idTypes  One letter for each record item, the key first:
//            -  no id space          n  nodes               e  elements
//            c  coordinate systems   p  properties          m  materials
//            y  layers and plies     l  loadcases           L  load sets
//            i  load items           k  connections         g  group ids
//            B  ONF block numbers    N  node group names    E  element group names
//
// Rules every format follows (the catalogue test checks each of them)
// ------------------------------------------------------------------
// - It ends in `b`: a written record's last line is ended by its format, nothing else ends it.
// - A `b` stands in front of every list: lists are written straight to the file, line by line,
//   so the values gathered for the current line must be out first, and a reader expects a list
//   to start on a line of its own.
// - An optional item never starts a line: a reader moves to the next line only in front of a
//   mandatory value, so an optional value at the start of a line would be read as the next record.
// - A string item takes, when read, the id space of the item in front of it (the key for item 1)
//   unless the format names its key. So in a format without a key the item in front of a string
//   has the string's own id space, which is no id space everywhere here. Block 180 has a named
//   key ("I|") because its string is item 1 and its key, a loadcase, has an id space.
//
// Which blocks have an id space for their key
// -------------------------------------------
// A key without an id space makes the block directly indexed: the key is the record's index and
// the record array grows to the largest key. That suits control blocks whose keys are small
// running numbers (requests 400 to 440, instructions 800, the temporary file's running records,
// matrix rows and mode numbers of results), and it is required for 400 and 440, whose records are
// stored by index. Every block whose keys a solver deck or a user chooses (nodes, elements,
// properties, materials, layers, coordinate systems, loadcases, load and constraint sets, groups,
// results keyed by node or element) has an id space, so that a key of 2000000000 costs one map
// entry and not two billion records. Blocks that share an id space share one id map; they share
// it where their keys name the same kind of object (all node results with the nodes, 178 and 179
// with one contact surface id, 840 and 841 with the elements).
//
// Which items have an id space
// ----------------------------
// An integer item or list with an id space is given as an index on the abstract face of a block,
// and every id in such a list gets an index after loading. Items that refer to nodes, elements,
// properties, materials, layers, coordinate systems and to other records of the same file carry
// an id space. Items that only look like references stay without one: the reference system of a
// coordinate system (always the global one in a finished model), the parent material of an added
// material (a material of another file), the targets of requests and group names held as text.
#include "catalogue/OnfCatalogueTable.h"

namespace onf_detail {

namespace {

constexpr uint32_t kModel = ONF_FLAG_MODEL;
constexpr uint32_t kGroups = ONF_FLAG_GROUPS;
constexpr uint32_t kInit = ONF_FLAG_INIT;
constexpr uint32_t kRequest = ONF_FLAG_REQUEST;
constexpr uint32_t kModif = ONF_FLAG_MODIF;
constexpr uint32_t kTemporary = ONF_FLAG_TEMPORARY;
constexpr uint32_t kResult = ONF_FLAG_RESULT;

// clang-format off
const CatalogueRowDef kRows[] = {
    // Init file.
    {97, "ONF_INIT_SIZES", "IIIb", "B---", kInit,
     "first id, last id, record count",
     "Size hints: for the ONF block named by the key, its first and last record id and its record count"},

    // Model file: coordinate systems, nodes, materials, layers, properties, elements.
    {100, "ONF_COORD_SYSTEMS", "IISbVbVbVb", "c------", kModel,
     "type, reference system, name, origin, z direction, x direction",
     "Coordinate systems in global terms: basic type (0 Cartesian, 1 cylindrical, 2 spherical), origin and axes"},
    {110, "ONF_NODES", "IIVb", "ncc-", kModel,
     "definition system, displacement system, position",
     "Nodes: systems of definition and of displacement, and the position in the definition system"},
    {120, "ONF_MATERIALS", "ISbIIIIIbRRRRRb", "m------------", kModel,
     "type, name, flag 0, flag 1, flag 2, flag 3, flag 4, value 0, value 1, value 2, value 3, value 4",
     "Materials: type, name, five 0/1 flags and five values (value 1 Young modulus, value 3 thermal conductivity)"},
    {125, "ONF_LAYERS", "IRRb", "ym--", kModel,
     "material, thickness, angle",
     "Laminate layers: material, thickness and fibre angle"},
    {130, "ONF_PROPERTIES", "IISRRIbLb", "p-----my", kModel,
     "type, number of layers, name, first value, second value, material, layers",
     "Properties: type, name, two values, material and the layers in stacking order"},
    {140, "ONF_ELEMENTS", "IIIIIIIbLb", "e--pm---n", kModel,
     "type, number of nodes, property, material, flag 1, flag 2, flag 3, nodes",
     "Elements: type, property, material, three flags and the nodes in element order"},

    // Model file: constraints, loads, contact, loadcases, connectors.
    {151, "ONF_SPC_SETS", "IbLbOb", "k--n", kModel,
     "number of nodes, degrees of freedom, nodes",
     "Single point constraint sets: constrained degrees of freedom and the nodes that share them"},
    {152, "ONF_SPCS", "IbOb", "k-k", kModel,
     "number of sets, constraint sets",
     "Single point constraints: the sets of block 151 that make up each constraint"},
    {164, "ONF_RBES", "IbLbIbLb", "k-k-k", kModel,
     "number of dependent sets, dependent node sets, number of independent sets, independent node sets",
     "Rigid elements: their dependent and independent node sets of block 165"},
    {165, "ONF_RBE_SETS", "IbLbOb", "k--n", kModel,
     "number of nodes, degrees of freedom, nodes",
     "Rigid element node sets: degrees of freedom and the nodes that share them"},
    {170, "ONF_LOADED_NODES", "IbOb", "L-n", kModel,
     "number of nodes, nodes",
     "Loaded node sets"},
    {171, "ONF_LOADED_ELEMENTS", "IbOb", "L-e", kModel,
     "number of elements, elements",
     "Loaded element sets"},
    {172, "ONF_FORCE_ITEMS", "IIRRRRRRb", "inc------", kModel,
     "node, coordinate system, fx, fy, fz, mx, my, mz",
     "Nodal forces: node, system of the components, force and moment"},
    {173, "ONF_FORCE_SETS", "ISbLb", "L--i", kModel,
     "number of forces, name, forces",
     "Nodal force sets: name and the forces of block 172"},
    {174, "ONF_DISP_ITEMS", "IIRRRRRRb", "inc------", kModel,
     "node, coordinate system, ux, uy, uz, rx, ry, rz",
     "Prescribed nodal displacements: node, system of the components, translation and rotation"},
    {175, "ONF_DISP_SETS", "ISbLb", "L--i", kModel,
     "number of displacements, name, displacements",
     "Prescribed displacement sets: name and the displacements of block 174"},
    {176, "ONF_ACCELERATIONS", "IVbIVbIVbIIIVbISIbOb", "L--------------", kModel,
     "translation flag, translational acceleration, rotation flag, angular velocity, "
     "angular acceleration flag, angular acceleration, option 1, option 2, option 3, "
     "rotation centre, target type, target name, number of targets, targets",
     "Accelerations and rotational loads, with the group or ids they act on"},
    {177, "ONF_CONVECTION_SETS", "RRIbLbLb", "L-----", kModel,
     "film coefficient, ambient temperature, number of faces, elements, faces",
     "Convection sets: coefficient, ambient temperature and the element faces"},
    {178, "ONF_CONTACT_FIRST", "IbOb", "k--", kModel,
     "number of ids, ids",
     "Contact surfaces: ids of the first side"},
    {179, "ONF_CONTACT_SECOND", "IbOb", "k--", kModel,
     "number of ids, ids",
     "Contact surfaces: ids of the second side"},
    {180, "ONF_LOADCASES", "I|SIbIIIIIIbIIIIIIbObObObObObOb", "l--------------LLkLLL", kModel,
     "name, analysis type, number of force sets, number of displacement sets, "
     "number of constraints, number of accelerations, number of loaded node sets, "
     "number of loaded element sets, option 1, option 2, option 3, option 4, option 5, "
     "option 6, force sets, displacement sets, constraints, accelerations, "
     "loaded node sets, loaded element sets",
     "Loadcases: name, analysis type and the loads and constraints that they combine"},
    {181, "ONF_CONNECTORS", "IbOb", "k-n", kModel,
     "number of nodes, nodes",
     "Connectors: the nodes they join"},
    {1200, "ONF_CFD_BOUNDARIES", "ISb", "---", kModel,
     "value, name",
     "Fluid boundaries of a CFD model, by running number"},

    // Groups file (and the groups of an optimisation result file).
    {200, "ONF_NODE_GROUPS", "IbSbLb", "g--n", kGroups,
     "number of nodes, name, nodes",
     "Node groups: name and members"},
    {210, "ONF_ELEMENT_GROUPS", "IbSbLb", "g--e", kGroups,
     "number of elements, name, elements",
     "Element groups: name and members"},

    // Result request file: what results a solver run is to deliver.
    {400, "ONF_RESULT_REQUESTS", "IIIIIIbLbRb", "---------", kRequest,
     "target block, analysis type, loadcase, substep, mark, time flag, detail reference, time",
     "Result requests: the result block wanted, for which analysis, loadcase and substep"},
    {410, "ONF_RESULT_OPTIONS", "SSb", "---", kRequest,
     "option, value",
     "Options of a result request file, as keyword and value"},
    {420, "ONF_USER_VARIABLES", "IISb", "----", kRequest,
     "kind, number, name",
     "User variables of requests for block 620: kind 1 by name, kind 2 by number"},
    {430, "ONF_MATRIX_SELECTIONS", "IIIIIb", "------", kRequest,
     "stiffness, mass, damping, geometric stiffness, load vectors",
     "Global matrices of requests for block 589: a non-zero item k selects matrix k"},
    {440, "ONF_SENSITIVITY_DEFINITIONS", "SSbLbIIIISSIbVbVbVb", "--------------", kRequest,
     "name, label, user outputs, type, qualifier, has node set, has element set, node set, "
     "element set, system type, origin, z axis, x axis",
     "Sensitivity outputs of requests for blocks 641 to 643: name, type, sets and orientation"},

    // Results: the blocks that a result request can name (520 describes results and is not
    // requested itself).
    {500, "ONF_RES_DISPLACEMENTS", "VVb", "n--", kResult,
     "translation, rotation",
     "Nodal displacements"},
    {501, "ONF_RES_VELOCITIES", "VVb", "n--", kResult,
     "translational velocity, angular velocity",
     "Nodal velocities"},
    {502, "ONF_RES_ACCELERATIONS", "VVb", "n--", kResult,
     "translational acceleration, angular acceleration",
     "Nodal accelerations"},
    {503, "ONF_RES_REACTION_FORCES", "VVb", "n--", kResult,
     "force, moment",
     "Nodal reaction forces and moments"},
    {504, "ONF_RES_APPLIED_LOADS", "VVb", "n--", kResult,
     "force, moment",
     "Applied nodal loads"},
    {505, "ONF_RES_TEMPERATURES", "Rb", "n-", kResult,
     "temperature",
     "Nodal temperatures"},
    {506, "ONF_RES_NODAL_HEAT_FLUX", "Vb", "n-", kResult,
     "heat flux",
     "Nodal heat flux"},
    {510, "ONF_RES_EIGENVECTORS", "VVb", "n--", kResult,
     "translation, rotation",
     "Mode shapes, one block a mode"},
    {511, "ONF_RES_EIGENVALUES", "RRRb", "----", kResult,
     "eigenvalue, frequency, generalised mass",
     "Eigenvalues by mode number"},
    {512, "ONF_RES_MODAL_PARTICIPATION", "VVb", "---", kResult,
     "translational factors, rotational factors",
     "Modal participation factors by mode number"},
    {515, "ONF_RES_BUCKLING_FACTORS", "Rb", "--", kResult,
     "load factor",
     "Buckling load factors by mode number"},
    {520, "ONF_RES_SUBCASE_INFO", "IIRSb", "l----", kResult,
     "analysis type, number of substeps, end time, title",
     "Loadcases of a result set: analysis type, substeps, end time and title (not requested itself)"},
    {540, "ONF_RES_CONTACT_PRESSURES", "RRb", "n--", kResult,
     "pressure, shear stress",
     "Nodal contact pressure and friction stress"},
    {541, "ONF_RES_CONTACT_GAPS", "Rb", "n-", kResult,
     "gap",
     "Nodal contact gaps"},
    {589, "ONF_RES_GLOBAL_MATRICES", "SIIb", "----", kResult,
     "name, dimension, number of nonzeros",
     "Global matrices written by a run, by matrix number 1 to 5"},
    {590, "ONF_RES_STIFFNESS_MATRIX", "IIIbLbDb", "------", kResult,
     "node, degree of freedom, number of entries, columns, values",
     "Global stiffness matrix, one record a row"},
    {591, "ONF_RES_MASS_MATRIX", "IIIbLbDb", "------", kResult,
     "node, degree of freedom, number of entries, columns, values",
     "Global mass matrix, one record a row"},
    {592, "ONF_RES_DAMPING_MATRIX", "IIIbLbDb", "------", kResult,
     "node, degree of freedom, number of entries, columns, values",
     "Global damping matrix, one record a row"},
    {600, "ONF_RES_ELEM_STRESSES", "TRb", "e--", kResult,
     "stress tensor, equivalent stress",
     "Element stresses"},
    {601, "ONF_RES_ELEM_STRAINS", "TRb", "e--", kResult,
     "strain tensor, equivalent strain",
     "Element strains"},
    {602, "ONF_RES_ELEM_PLASTIC_STRAINS", "TRb", "e--", kResult,
     "plastic strain tensor, equivalent plastic strain",
     "Element plastic strains"},
    {603, "ONF_RES_ELEM_STRAIN_ENERGY", "RRb", "e--", kResult,
     "strain energy, strain energy density",
     "Element strain energy"},
    {604, "ONF_RES_ELEM_FORCES", "VVb", "e--", kResult,
     "force, moment",
     "Element force and moment resultants"},
    {605, "ONF_RES_ELEM_TEMPERATURES", "Rb", "e-", kResult,
     "temperature",
     "Element temperatures"},
    {606, "ONF_RES_ELEM_HEAT_FLUX", "Vb", "e-", kResult,
     "heat flux",
     "Element heat flux"},
    {607, "ONF_RES_ELEM_KINETIC_ENERGY", "RRb", "e--", kResult,
     "kinetic energy, kinetic energy density",
     "Element kinetic energy"},
    {608, "ONF_RES_ELEM_NODAL_STRESSES", "IbDb", "e--", kResult,
     "number of nodes, stress components",
     "Element stresses at the nodes: six components for each node in element order"},
    {609, "ONF_RES_SHELL_STRESSES", "TTb", "e--", kResult,
     "top stress tensor, bottom stress tensor",
     "Shell stresses at the top and bottom surface"},
    {610, "ONF_RES_ELEM_DENSITIES", "Rb", "e-", kResult,
     "relative density",
     "Relative element densities of a topology design"},
    {620, "ONF_RES_USER_VARIABLES", "IRb", "e--", kResult,
     "variable number, value",
     "Element user variables"},
    {630, "ONF_RES_ELEM_FATIGUE", "RRb", "e--", kResult,
     "damage, life",
     "Element fatigue damage and life"},
    {640, "ONF_RES_SENS_RESPONSES", "SIRb", "----", kResult,
     "name, type, value",
     "Values of the design responses whose sensitivities follow, by running number"},
    {641, "ONF_RES_SENS_NODAL", "Rb", "n-", kResult,
     "sensitivity",
     "Nodal sensitivities of a design response"},
    {642, "ONF_RES_SENS_ELEMENT", "Rb", "e-", kResult,
     "sensitivity",
     "Element sensitivities of a design response"},
    {643, "ONF_RES_SENS_SHAPE", "Vb", "n-", kResult,
     "gradient",
     "Shape sensitivities: gradient of a design response by node position"},
    {670, "ONF_RES_FREQ_RESPONSE", "VVVVb", "n----", kResult,
     "real translation, imaginary translation, real rotation, imaginary rotation",
     "Complex nodal displacements of a frequency response"},
    {690, "ONF_RES_GLOBAL_ENERGIES", "RRRb", "l---", kResult,
     "strain energy, kinetic energy, external work",
     "Global energies by loadcase"},

    // Modification file.
    {800, "ONF_SPECIAL_INSTRUCTIONS", "Sb", "--", kModif,
     "instruction",
     "Special instructions for the next solver run, one keyword a record"},
    {810, "ONF_NEW_NODE_POSITIONS", "Vb", "n-", kModif,
     "position",
     "Nodes moved by the optimiser, with their new position"},
    {811, "ONF_NODE_MAPPING", "Ib", "nn", kModif,
     "mapped node",
     "Nodes whose new position is that of another node"},
    {812, "ONF_DELETED_NODES", "IbLb", "--n", kModif,
     "number of nodes, nodes",
     "Nodes deleted by the optimiser"},
    {821, "ONF_ADDED_MATERIALS", "IISSbIIIIIbRRRRRb", "m--------------", kModif,
     "reference, parent material, text, name, flag 0, flag 1, flag 2, flag 3, flag 4, "
     "value 0, value 1, value 2, value 3, value 4",
     "Materials added by the optimiser: parent material and the values that vary (flag set)"},
    {825, "ONF_ADDED_PLIES", "IRRb", "ym--", kModif,
     "material, thickness, angle",
     "Plies added by the optimiser"},
    {831, "ONF_ADDED_PROPERTIES", "IIRIbLb", "p----y", kModif,
     "type, parent property, thickness, number of plies, plies",
     "Properties added by the optimiser"},
    {840, "ONF_MODIFIED_ELEMENTS", "IIIbLbLb", "ep--my", kModif,
     "property, number of added materials, number of plies, added materials, plies",
     "Elements modified by the optimiser: the added materials and plies they use"},
    {841, "ONF_CHILD_ELEMENTS", "IIIIIbLb", "e-p-men", kModif,
     "type, property, number of nodes, added material, parent element, nodes",
     "Child elements of split elements: material, parent and nodes"},
    {842, "ONF_DELETED_ELEMENTS", "IbLb", "--e", kModif,
     "number of elements, elements",
     "Elements deleted by the optimiser"},
    {850, "ONF_MODIFIED_SECTIONS", "IIbDb", "p---", kModif,
     "section type, number of dimensions, dimensions",
     "Beam sections changed by the optimiser"},
    {876, "ONF_MODIFIED_FORCES", "IIVVb", "--n--", kModif,
     "load set, node, force, moment",
     "Nodal forces changed by the optimiser"},
    {877, "ONF_MODIFIED_PRESSURES", "IIRb", "--e-", kModif,
     "load set, element, pressure",
     "Element pressures changed by the optimiser"},
    {878, "ONF_MODIFIED_TEMPERATURES", "IIRb", "--n-", kModif,
     "load set, node, temperature",
     "Nodal temperatures changed by the optimiser"},
    {879, "ONF_LOAD_MARKERS", "IIIIIb", "------", kModif,
     "loadcase, force marker, moment marker, other marker A, other marker B",
     "Load activation markers: which kinds of load of a loadcase are active (0 not set)"},
    {880, "ONF_ADDED_LOADCASES", "IRSb", "l---", kModif,
     "base loadcase, factor, name",
     "Loadcases added by the optimiser, as a scaled copy of a base loadcase"},
    {890, "ONF_ELEMENT_MOD_DATA", "IRRb", "e---", kModif,
     "kind, thickness, offset",
     "Further element modification data"},

    // Temporary exchange file of one optimisation job.
    {900, "ONF_LC_REQUEST_MAP", "IIIb", "l---", kTemporary,
     "request loadcase, result request A, result request B",
     "Solver loadcase (key) to optimiser loadcase, with its result requests"},
    {901, "ONF_MARLO_LOADCASES", "IIIIb", "l----", kTemporary,
     "value A, value B, value C, value D",
     "Marlo loadcase descriptions"},
    {910, "ONF_MATRIX_STEPS", "IISb", "----", kTemporary,
     "step, kind, model name",
     "Matrix steps of a run: step, request loadcase or 0 for an element matrix step, model"},
    {940, "ONF_SPECIAL_MATRIX_ELEMENTS", "bOb", "--", kTemporary,
     "elements",
     "Special element sets for matrix output"},
    {950, "ONF_DRESP_ALIASES", "SSb", "---", kTemporary,
     "name, alias",
     "Design response names and their aliases"},

    // Named groups: node groups of a result request, element groups of a result request and CFD
    // face groups of a model.
    {10030, "ONF_NAMED_NODE_GROUPS", "S|bLb", "Nn", kRequest,
     "nodes",
     "Node groups keyed by name"},
    {10032, "ONF_CFD_FACE_GROUPS", "S|bLb", "Ee", kModel | kRequest,
     "elements",
     "Element groups keyed by name: CFD face groups of a model, element sets of a result request"},
};
// clang-format on

} // namespace

const CatalogueRowDef* GetCatalogueRows(size_t& count) {
    count = sizeof(kRows) / sizeof(kRows[0]);
    return kRows;
}

QSV_IdType CatalogueIdTypeOfLetter(char letter) {
    switch (letter) {
    case 'n':
        return ID_NODE;
    case 'c':
        return ID_COORD_SYSTEM;
    case 'e':
        return ID_ELEMENT;
    case 'p':
        return ID_PROPERTY;
    case 'm':
        return ID_MATERIAL;
    case 'y':
        return ID_LAYER;
    case 'l':
        return ID_LOADCASE;
    case 'N':
        return ID_NODE_GROUP_NAME;
    case 'E':
        return ID_ELEMENT_GROUP_NAME;
    case 'L':
        return ID_LOAD;
    case 'i':
        return ID_LOAD_ITEM;
    case 'k':
        return ID_CONNECTION;
    case 'g':
        return ID_GROUP;
    case 'B':
        return ID_ONF_BLOCK;
    default:
        return ID_NONE;
    }
}

} // namespace onf_detail
