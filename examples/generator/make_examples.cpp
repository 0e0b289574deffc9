// Writes the example files of the bridge (bridge.h) through the library, one file of each kind:
//
//   onf_make_examples FOLDER
//
// bridge_model.onf, bridge_groups.onf, bridge_init.onf, bridge_modification.onf,
// bridge_requests.onf, bridge_temporary.onf and bridge_results.onf. The output is the same on
// every run; scripts/make_examples.sh remakes examples/ with it.
#include "bridge.h"

#include "BrelonOnfEngine.h"

#include <cmath>
#include <cstdio>
#include <map>
#include <memory>
#include <set>
#include <stdexcept>

namespace onf_examples {

namespace {

using Vec3 = BrelonMatrix<3, 1, double>;

OnfBlock::Item ItemNr(int item) {
    return static_cast<OnfBlock::Item>(item);
}

QSV_OnfId BlockNr(int block) {
    return static_cast<QSV_OnfId>(block);
}

std::wstring Wide(const std::string& path) {
    return BrelonStringUtil::utf8_to_wide(path.c_str());
}

// Values that are zero but for rounding (a sine at pi) are written as zero.
double Clean(double value) {
    return std::fabs(value) < 1e-12 ? 0.0 : value;
}

Vec3 ToVec(const Point& p) {
    return Vec3(Clean(p.x), Clean(p.y), Clean(p.z));
}

std::string Format(const char* format, double value) {
    char text[64];
    std::snprintf(text, sizeof text, format, value);
    return text;
}

// ---- Model -------------------------------------------------------------------------------------

// Coordinate systems of the model, one of each way to define one.
enum SystemId { CS_LEFT_BEARING = 10, CS_RIGHT_BEARING = 20, CS_DECK = 30, CS_LOAD_POINT = 40 };

void AddMaterials(OnfModelFile& model) {
    const std::vector<bool> noFlags(5, false);
    // Values: density (t/mm^3), Young modulus (MPa), Poisson ratio, thermal conductivity, 0.
    model.AppendMaterial(MAT_STEEL, 1, "STEEL_S355", noFlags, {7.85e-9, 210000, 0.3, 50, 0});
    model.AppendMaterial(MAT_ELASTOMER, 1, "BEARING_ELASTOMER", noFlags,
                         {1.2e-9, 50, 0.45, 0.2, 0});
    model.AppendMaterial(MAT_CFRP, 2, "CFRP_UD", noFlags, {1.55e-9, 135000, 0.3, 5, 0});
}

void SetPropertyMaterial(OnfModelFile& model, int property, int material) {
    OnfBlock& properties = model.GetBlock(BlockNr(130));
    properties.SetRecordItem(static_cast<size_t>(properties.GetRecordIdx(property)), ItemNr(6),
                             material);
}

// Two solid properties with one layer each, and the deck's laminate of four plies.
void AddProperties(OnfModelFile& model) {
    model.AppendProperty(PART_DESIGN, OnfProperty::PROP_SOLID, "DESIGN_SPACE_SOLID", 1.0, 0.0, true,
                         0, nullptr);
    model.UpdatePropertyData(PART_DESIGN, MAT_STEEL);
    model.AppendProperty(PART_BEARING, OnfProperty::PROP_SOLID, "BEARING_PAD", 1.0, 0.0, true, 0,
                         nullptr);
    model.UpdatePropertyData(PART_BEARING, MAT_ELASTOMER);
    model.AppendProperty(PART_DECK, OnfProperty::PROP_SHELL, "DECK_LAMINATE", 4.0, 0.0, false, 0,
                         nullptr);
    std::vector<int> plies;
    for (const double angle : {0.0, 45.0, -45.0, 90.0}) {
        const int id = model.GetNextFreeLayerId();
        model.AppendLaminateLayer(id, {MAT_CFRP, 1.0, angle});
        plies.push_back(id);
    }
    model.SetPropertyLayers(PART_DECK, plies);
    SetPropertyMaterial(model, PART_DESIGN, MAT_STEEL);
    SetPropertyMaterial(model, PART_BEARING, MAT_ELASTOMER);
    SetPropertyMaterial(model, PART_DECK, MAT_CFRP);
}

int MaterialOf(PartId part) {
    return part == PART_DESIGN ? MAT_STEEL : part == PART_DECK ? MAT_CFRP : MAT_ELASTOMER;
}

// A cylindrical system on the left knife edge and a Cartesian one on the right, both spanned
// by nodes; the deck's system by numbers; a spherical one at the load point, spanned by points
// given in the deck's system. The buffered ones become coordinate-based at PreWriteConvert.
void AddSystems(OnfModelFile& model, const BridgeMesh& mesh) {
    model.BufferCoordSys(CS_LEFT_BEARING, OnfCoordSystem::CS_NODES_CYLINDRICAL, "LEFT_BEARING_AXIS",
                         OnfCoordSystem::CS_DEF_Z_XZ, mesh.leftApex.front(), mesh.leftApex.back(),
                         BridgeMesh::BoxNode(0, 0, 0));
    model.BufferCoordSys(CS_RIGHT_BEARING, OnfCoordSystem::CS_NODES_CARTESIAN, "RIGHT_BEARING",
                         OnfCoordSystem::CS_DEF_X_XY, mesh.rightApex.front(), mesh.rightApex.back(),
                         BridgeMesh::BoxNode(kNx, 0, 0));
    model.AppendCoordSys(CS_DECK, OnfCoordSystem::CS_CARTESIAN, 0, "DECK", Vec3(0, 0, kHeight),
                         Vec3(0, 0, 1), Vec3(1, 0, 0));
    const Vec3 centre(kLength / 2, kWidth / 2, 0);
    model.BufferCoordSys(CS_LOAD_POINT, OnfCoordSystem::CS_POINTS_SPHERICAL, "LOAD_POINT",
                         OnfCoordSystem::CS_DEF_X_XZ, CS_DECK, centre,
                         Vec3(centre[0] + 100, centre[1], 0), Vec3(centre[0], centre[1], 100));
    model.PreWriteConvert();
}

// The coordinates of a global point in a system, in that system's kind (angles in degrees),
// rounded to 1e-9 mm so that the file shows plain numbers.
Vec3 ToLocal(const BrelonCoordinateSystem& cs, const Point& p) {
    const double d[3] = {p.x - cs.origin[0], p.y - cs.origin[1], p.z - cs.origin[2]};
    const auto dot = [&d](const Vec3& axis) {
        return d[0] * axis[0] + d[1] * axis[1] + d[2] * axis[2];
    };
    const double x = dot(cs.xDirection), y = dot(cs.yDirection), z = dot(cs.zDirection);
    const double degrees = 180.0 / 3.14159265358979323846;
    Vec3 local(x, y, z);
    if (cs.type == BrelonCoordinateSystem::CYLINDRICAL) {
        local = Vec3(std::hypot(x, y), std::atan2(y, x) * degrees, z);
    } else if (cs.type == BrelonCoordinateSystem::SPHERICAL) {
        const double r = std::sqrt(x * x + y * y + z * z);
        local = Vec3(r, r > 0 ? std::acos(z / r) * degrees : 0.0, std::atan2(y, x) * degrees);
    }
    for (size_t i = 0; i < 3; ++i) {
        local[i] = Clean(std::round(local[i] * 1e9) / 1e9);
    }
    return local;
}

// Gives `nodes` in system `cs`: the definition system and the position in its terms.
void MoveToSystem(OnfModelFile& model, const BridgeMesh& mesh, const std::vector<int>& nodes,
                  int cs) {
    BrelonCoordinateSystem system;
    int reference = 0;
    model.GetCoordSysData(cs, system, reference);
    OnfBlock& block = model.GetBlock(BlockNr(110));
    for (const int node : nodes) {
        model.SetNodeCSDef(node, cs);
        block.SetRecordItem(static_cast<size_t>(block.GetRecordIdx(node)), ItemNr(3),
                            ToLocal(system, mesh.PositionOf(node)));
    }
}

// Nodes near each system are given in it; the nodes that span a system stay global.
void PlaceNodesInSystems(OnfModelFile& model, const BridgeMesh& mesh) {
    std::vector<int> left(mesh.leftApex.begin() + 1, mesh.leftApex.end() - 1);
    std::vector<int> right(mesh.rightApex.begin() + 1, mesh.rightApex.end() - 1);
    for (int j = 1; j <= kNy; ++j) {
        left.push_back(BridgeMesh::BoxNode(0, j, 0));
        right.push_back(BridgeMesh::BoxNode(kNx, j, 0));
    }
    MoveToSystem(model, mesh, left, CS_LEFT_BEARING);
    MoveToSystem(model, mesh, right, CS_RIGHT_BEARING);
    MoveToSystem(model, mesh, mesh.deckNodes, CS_DECK);
    MoveToSystem(model, mesh, {mesh.loadPoint}, CS_LOAD_POINT);
    for (const int node : mesh.leftApex) {
        model.SetNodeCSDisp(node, CS_LEFT_BEARING);
    }
    for (const int node : mesh.rightApex) {
        model.SetNodeCSDisp(node, CS_RIGHT_BEARING);
    }
}

void AddForces(OnfModelFile& model, const BridgeMesh& mesh) {
    BrelonRadixTrieMap<int, OnfNodalForces::NodalForce> traffic;
    for (const int node : mesh.trafficNodes) {
        OnfNodalForces::NodalForce force;
        force.node = node;
        force.values[2] = -kTrafficLoad / static_cast<double>(mesh.trafficNodes.size());
        traffic.Insert(node, force);
    }
    model.AppendNodalForces(1, "DECK_TRAFFIC", traffic);
    BrelonRadixTrieMap<int, OnfNodalForces::NodalForce> point;
    OnfNodalForces::NodalForce force;
    force.node = mesh.loadPoint;
    force.values[2] = -60000.0;
    point.Insert(mesh.loadPoint, force);
    model.AppendNodalForces(2, "POINT_LOAD", point);
    std::map<int, OnfNodalDisplacements::NodalDisplacement> settlement;
    for (const int node : mesh.rightApex) {
        settlement[node].node = node;
        settlement[node].values[2] = -2.0;
    }
    model.AppendPrescribedDisplacements(1, "RIGHT_BEARING_SETTLEMENT", settlement);
    model.AppendLoadedNodes(1, mesh.trafficNodes);
    model.AppendLoadedElements(1, mesh.trafficElements);
}

OnfLoadcase::LcData Loadcase(int id, const std::string& name) {
    OnfLoadcase::LcData loadcase;
    loadcase.id = id;
    loadcase.name = name;
    loadcase.analysisType = 1;
    loadcase.constraints = {1, 2};
    return loadcase;
}

// Pinned on the left knife edge, on rollers on the right; gravity; the load point tied to the
// deck by a rigid element; three loadcases.
void AddLoadsAndConstraints(OnfModelFile& model, const BridgeMesh& mesh) {
    AddForces(model, mesh);
    model.AppendSinglePointConstraint(1, {1, 2, 3}, mesh.leftApex);
    model.AppendSinglePointConstraint(2, {2, 3}, mesh.rightApex);
    OnfRbe::RbeData rbe;
    rbe.dofs = {1, 2, 3};
    rbe.independentNodes = {mesh.loadPoint};
    rbe.dependentNodes = mesh.loadPatchNodes;
    model.AppendRbe(1, rbe);
    OnfAcceleration::AccelData gravity;
    gravity.translationFlag = 1;
    gravity.translation = Vec3(0, 0, -9810.0);
    model.AppendAcceleration(1, gravity);
    OnfLoadcase::LcData traffic = Loadcase(1, "TRAFFIC");
    traffic.forceSets = {1};
    traffic.accelerations = {1};
    traffic.loadedNodeSets = {1};
    traffic.loadedElementSets = {1};
    model.AppendLoadcase(traffic);
    OnfLoadcase::LcData point = Loadcase(2, "POINT_LOAD");
    point.forceSets = {2};
    point.accelerations = {1};
    model.AppendLoadcase(point);
    OnfLoadcase::LcData settlement = Loadcase(3, "SETTLEMENT");
    settlement.displacementSets = {1};
    model.AppendLoadcase(settlement);
}

std::unique_ptr<OnfModelFile> BuildModel(const BridgeMesh& mesh, const std::string& path) {
    auto model = std::make_unique<OnfModelFile>(Wide(path), nullptr);
    model->SetUserHeader("The example bridge: a design space of steel hexahedra on two "
                         "knife-edge bearings (wedges),\n# under a deck of CFRP shells. "
                         "Remade by scripts/make_examples.sh.");
    AddMaterials(*model);
    AddProperties(*model);
    for (const MeshNode& node : mesh.GetNodes()) {
        model->AppendNode(node.id, 0, 0, node.position.x, node.position.y, node.position.z);
    }
    AddSystems(*model, mesh);
    PlaceNodesInSystems(*model, mesh);
    for (const MeshElement& element : mesh.GetElements()) {
        model->AppendElement(element.id, static_cast<OnfElement::ElemType>(element.kind),
                             element.part, 0, element.nodes, 0, 0, 0);
        model->SetElementMaterial(element.id, MaterialOf(element.part));
    }
    AddLoadsAndConstraints(*model, mesh);
    return model;
}

// Every node must come back from its system where the bridge has it.
void CheckGlobalPositions(const OnfModelFile& model, const BridgeMesh& mesh) {
    for (const MeshNode& node : mesh.GetNodes()) {
        const Vec3 global = model.GetNodeGlobalCoordinates(node.id);
        const double error = std::fabs(global[0] - node.position.x) +
                             std::fabs(global[1] - node.position.y) +
                             std::fabs(global[2] - node.position.z);
        if (!(error < 1e-6)) {
            throw std::runtime_error("node " + std::to_string(node.id) +
                                     " does not come back to its position");
        }
    }
}

// ---- Groups and size hints ---------------------------------------------------------------------

void WriteGroups(const BridgeMesh& mesh, const std::string& path) {
    OnfGroupsFile groups(Wide(path));
    groups.SetUserHeader("Groups of the example bridge in bridge_model.onf.");
    groups.AppendNodeGroup(1, "LEFT_BEARING", mesh.leftApex);
    groups.AppendNodeGroup(2, "RIGHT_BEARING", mesh.rightApex);
    groups.AppendNodeGroup(3, "DECK_NODES", mesh.deckNodes);
    groups.AppendNodeGroup(4, "TRAFFIC_NODES", mesh.trafficNodes);
    groups.AppendNodeGroup(5, "LOAD_POINT", {mesh.loadPoint});
    groups.AppendElementGroup(1, "DESIGN_SPACE", mesh.designElements);
    groups.AppendElementGroup(2, "DECK_SHELLS", mesh.deckElements);
    groups.AppendElementGroup(3, "TRAFFIC_SHELLS", mesh.trafficElements);
    groups.AppendElementGroup(4, "BEARINGS", mesh.bearingElements);
    groups.Write();
}

void WriteInit(const OnfModelFile& model, const std::string& path) {
    OnfInitFile init(Wide(path));
    init.SetUserHeader("Size hints of the example bridge in bridge_model.onf.");
    model.CollectInitData(init);
    init.Write();
}

// ---- Optimisation results ----------------------------------------------------------------------

template <class Item>
using Entry = ONFOptDataBlockEntry<Item>;

Entry<ONFOptResTitle> TitleEntry(int iteration) {
    Entry<ONFOptResTitle> entry(iteration, "Bridge topology optimisation");
    entry.PushBackItem(ONFOptResTitle("Iteration " + std::to_string(iteration)));
    entry.PushBackItem(ONFOptResTitle(Format("Compliance %.6g N mm", Compliance(iteration))));
    entry.PushBackItem(ONFOptResTitle(Format("Volume fraction %.3f", kVolumeFraction)));
    return entry;
}

void AddDensities(ONFOptResultFile& result, const BridgeMesh& mesh, int iteration) {
    Entry<ONFOptResElemScalar> density(iteration, "Density");
    for (const MeshElement& element : mesh.GetElements()) {
        if (element.part == PART_DESIGN) {
            density.PushBackItem(
                ONFOptResElemScalar(element.id, Density(iteration, mesh.CentroidOf(element))));
        }
    }
    result.GetOptDBElemScalar().PushBackEntry(density);
}

void AddDisplacements(ONFOptResultFile& result, const BridgeMesh& mesh, int iteration) {
    Entry<ONFOptResNodalDisp> displacement(iteration, "Displacement");
    for (const MeshNode& node : mesh.GetNodes()) {
        displacement.PushBackItem(
            ONFOptResNodalDisp(node.id, ToVec(Displacement(iteration, node.position))));
    }
    result.GetOptDBNodalDisp().PushBackEntry(displacement);
}

// The last iteration also has stresses in the design space and the bearings' reactions.
void AddFinalResults(ONFOptResultFile& result, const BridgeMesh& mesh, int iteration) {
    Entry<ONFOptResNodalScalar> stress(iteration, "Von Mises stress");
    for (const MeshNode& node : mesh.GetNodes()) {
        if (node.position.z >= 0 && node.id != mesh.loadPoint) {
            stress.PushBackItem(ONFOptResNodalScalar(node.id, VonMisesStress(node.position)));
        }
    }
    result.GetOptDBNodalScalar().PushBackEntry(stress);
    Entry<ONFOptResNodalVector> reaction(iteration, "Reaction force");
    const double share = kTrafficLoad / 2 / static_cast<double>(mesh.leftApex.size());
    for (const std::vector<int>* edge : {&mesh.leftApex, &mesh.rightApex}) {
        for (const int node : *edge) {
            reaction.PushBackItem(ONFOptResNodalVector(node, 0.0, 0.0, share));
        }
    }
    result.GetOptDBNodalVector().PushBackEntry(reaction);
}

void WriteResults(const BridgeMesh& mesh, const std::string& path) {
    ONFOptResultFile result(Wide(path));
    result.GetHeader() += "# Topology optimisation of the example bridge in bridge_model.onf: "
                          "densities of the design\n# space by iteration, displacements of the "
                          "first and last iteration, stresses and\n# reactions of the last.\n#\n";
    const std::vector<int>& iterations = Iterations();
    for (const int iteration : iterations) {
        result.GetOptDBTitle().PushBackEntry(TitleEntry(iteration));
        AddDensities(result, mesh, iteration);
    }
    AddDisplacements(result, mesh, iterations.front());
    AddDisplacements(result, mesh, iterations.back());
    AddFinalResults(result, mesh, iterations.back());
    result.GetOptDBElementGroup().AddItem(ONFElementGroup(1, "DESIGN_SPACE", mesh.designElements));
    std::vector<int> edges = mesh.leftApex;
    edges.insert(edges.end(), mesh.rightApex.begin(), mesh.rightApex.end());
    result.GetOptDBNodeGroup().AddItem(ONFNodeGroup(1, "BEARING_EDGES", edges));
    result.Write();
}

// ---- Modification ------------------------------------------------------------------------------

size_t NewRecord(OnfBlock& block, int id) {
    bool created = false;
    return block.GetWarrantedRecordIdx(id, created);
}

void SetList(OnfBlock& block, size_t record, int listItem, int sizeItem,
             const std::vector<int>& values) {
    block.SetRecordItem(record, ItemNr(listItem), values, ONF_INT_LIST_ORDERED);
    block.TransferSetSize(record, ItemNr(listItem), ItemNr(sizeItem));
}

// Densities of the last iteration in five classes, each an added material of scaled steel
// (stiffness with the cube of the density, mass with the density).
const int kFirstAddedMaterial = 101;
const int kNumClasses = 5;

int DensityClass(double density) {
    return std::min(kNumClasses - 1, static_cast<int>(density * kNumClasses));
}

void AddMaterialClasses(OnfModifFile& modif) {
    OnfBlock& materials = modif.GetBlock(BlockNr(821));
    for (int c = 0; c < kNumClasses; ++c) {
        const double rho = (c + 0.5) / kNumClasses;
        const size_t record = NewRecord(materials, kFirstAddedMaterial + c);
        materials.SetRecordItem(record, ItemNr(1), c + 1);
        materials.SetRecordItem(record, ItemNr(2), static_cast<int>(MAT_STEEL));
        materials.SetRecordItem(record, ItemNr(3), std::string("SIMP_P3"));
        materials.SetRecordItem(record, ItemNr(4), Format("STEEL_S355_RHO_%.1f", rho));
        const int flags[5] = {1, 1, 0, 0, 0};
        const double values[5] = {7.85e-9 * rho, 210000 * rho * rho * rho, 0.3, 50 * rho, 0};
        for (int i = 0; i < 5; ++i) {
            materials.SetRecordItem(record, ItemNr(5 + i), flags[i]);
            materials.SetRecordItem(record, ItemNr(10 + i), values[i]);
        }
    }
}

void ModifyElement(OnfBlock& modified, int element, int property, const std::vector<int>& materials,
                   const std::vector<int>& plies) {
    const size_t record = NewRecord(modified, element);
    modified.SetRecordItem(record, ItemNr(1), property);
    SetList(modified, record, 4, 2, materials);
    SetList(modified, record, 5, 3, plies);
}

// What the last iteration asks of the next solver run: void elements deleted with the nodes
// only they used, grey ones given a scaled material, the traffic shells an extra ply, the deck
// a 2 mm precamber, a factored copy of the traffic loadcase.
void WriteModification(const BridgeMesh& mesh, const std::string& path) {
    OnfModifFile modif(Wide(path));
    modif.SetUserHeader("What the last iteration of bridge_results.onf asks of the next "
                        "solver run of bridge_model.onf.");
    const int last = Iterations().back();
    AddMaterialClasses(modif);
    OnfBlock& modified = modif.GetBlock(BlockNr(840));
    std::vector<int> deleted;
    std::set<int> kept;
    std::set<int> dropped;
    for (const MeshElement& element : mesh.GetElements()) {
        const double density =
            element.part == PART_DESIGN ? Density(last, mesh.CentroidOf(element)) : 1.0;
        if (density < kVoidDensity) {
            deleted.push_back(element.id);
            dropped.insert(element.nodes.begin(), element.nodes.end());
            continue;
        }
        kept.insert(element.nodes.begin(), element.nodes.end());
        if (density < kSolidDensity) {
            ModifyElement(modified, element.id, PART_DESIGN,
                          {kFirstAddedMaterial + DensityClass(density)}, {});
        }
    }
    std::vector<int> orphans;
    for (const int node : dropped) {
        if (kept.count(node) == 0) {
            orphans.push_back(node);
        }
    }
    SetList(modif.GetBlock(BlockNr(842)), NewRecord(modif.GetBlock(BlockNr(842)), 1), 2, 1,
            deleted);
    SetList(modif.GetBlock(BlockNr(812)), NewRecord(modif.GetBlock(BlockNr(812)), 1), 2, 1,
            orphans);
    OnfBlock& plies = modif.GetBlock(BlockNr(825));
    const size_t ply = NewRecord(plies, 201);
    plies.SetRecordItem(ply, ItemNr(1), static_cast<int>(MAT_CFRP));
    plies.SetRecordItem(ply, ItemNr(2), 0.5);
    plies.SetRecordItem(ply, ItemNr(3), 0.0);
    for (const int element : mesh.trafficElements) {
        ModifyElement(modified, element, PART_DECK, {}, {201});
    }
    OnfBlock& moved = modif.GetBlock(BlockNr(810));
    for (const int node : mesh.deckNodes) {
        Point p = mesh.PositionOf(node);
        p.z += std::round(2000.0 * std::sin(3.14159265358979323846 * p.x / kLength)) / 1000.0;
        moved.SetRecordItem(NewRecord(moved, node), ItemNr(1), ToVec(p));
    }
    OnfBlock& instructions = modif.GetBlock(BlockNr(800));
    instructions.SetRecordItem(NewRecord(instructions, 1), ItemNr(1), std::string("KEEP_SFILM"));
    OnfBlock& markers = modif.GetBlock(BlockNr(879));
    const size_t marker = NewRecord(markers, 1);
    const int markerValues[5] = {1, 1, 0, 0, 0}; // loadcase 1: forces active
    for (int i = 0; i < 5; ++i) {
        markers.SetRecordItem(marker, ItemNr(1 + i), markerValues[i]);
    }
    OnfBlock& loadcases = modif.GetBlock(BlockNr(880));
    const size_t loadcase = NewRecord(loadcases, 4);
    loadcases.SetRecordItem(loadcase, ItemNr(1), 1);
    loadcases.SetRecordItem(loadcase, ItemNr(2), 1.35);
    loadcases.SetRecordItem(loadcase, ItemNr(3), std::string("TRAFFIC_ULS"));
    modif.Write();
}

// ---- Result requests ---------------------------------------------------------------------------

struct Request {
    int target, analysis, loadcase, substep, detail;
};

// A group of a name-keyed block (10030 node groups, 10032 element groups).
void AddNamedGroup(OnfResultRequestFile& requests, int block, const std::string& name,
                   const std::vector<int>& members) {
    QSV_IdDataBlock adapter(requests.GetBlock(BlockNr(block)), requests.GetIdMapsPool(), true);
    std::unique_ptr<QSV_IdDataRecord> record(adapter.CreateIdDataRecord());
    record->SetIntList(1, members);
    adapter.SetRecord(name, *record);
}

// A sensitivity output of block 440 over a node or an element group.
void AddSensitivity(OnfBlock& block, int id, const std::string& name, const std::string& label,
                    bool nodes, const std::string& set) {
    const size_t record = NewRecord(block, id);
    block.SetRecordItem(record, ItemNr(1), name);
    block.SetRecordItem(record, ItemNr(2), label);
    block.SetRecordItem(record, ItemNr(3), std::vector<int>{1}, ONF_INT_LIST_ORDERED); // "S"
    block.SetRecordItem(record, ItemNr(4), 1);
    block.SetRecordItem(record, ItemNr(5), 0);
    block.SetRecordItem(record, ItemNr(6), nodes ? 1 : 0);
    block.SetRecordItem(record, ItemNr(7), nodes ? 0 : 1);
    block.SetRecordItem(record, ItemNr(8), nodes ? set : std::string("-"));
    block.SetRecordItem(record, ItemNr(9), nodes ? std::string("-") : set);
    block.SetRecordItem(record, ItemNr(10), nodes ? 0 : -1); // node outputs in global axes
    block.SetRecordItem(record, ItemNr(11), Vec3(0, 0, 0));
    block.SetRecordItem(record, ItemNr(12), Vec3(0, 0, 1));
    block.SetRecordItem(record, ItemNr(13), Vec3(1, 0, 0));
}

// Displacements, reactions, stresses, energies and densities, a user variable, the global
// matrices and two sensitivities, written as they stand: the file object's own Write keeps
// only sensitivity requests.
void WriteRequests(const BridgeMesh& mesh, const std::string& path) {
    OnfResultRequestFile requests(Wide(path));
    requests.SetUserHeader("Results the optimiser of the example bridge wants from the solver.");
    const Request rows[] = {{500, -1, -1, -1, 0}, {503, -1, -1, -1, 0}, {600, 1, 1, -1, 0},
                            {603, -1, -1, -1, 0}, {610, -1, -3, -1, 0}, {620, -1, 1, -1, 1},
                            {589, -1, -1, -1, 1}, {642, -1, 1, -1, 1},  {641, -1, 1, -1, 2}};
    OnfBlock& block = requests.GetBlock(BlockNr(400));
    int id = 1;
    for (const Request& row : rows) {
        const size_t record = NewRecord(block, id++);
        const int values[6] = {row.target, row.analysis, row.loadcase, row.substep, 1, 0};
        for (int i = 0; i < 6; ++i) {
            block.SetRecordItem(record, ItemNr(1 + i), values[i]);
        }
        block.SetRecordItem(record, ItemNr(7),
                            row.detail > 0 ? std::vector<int>{row.detail} : std::vector<int>{},
                            ONF_INT_LIST_ORDERED);
        block.SetRecordItem(record, ItemNr(8), 0.0);
    }
    OnfBlock& variables = requests.GetBlock(BlockNr(420));
    const size_t variable = NewRecord(variables, 1);
    variables.SetRecordItem(variable, ItemNr(1), 1);
    variables.SetRecordItem(variable, ItemNr(2), 0);
    variables.SetRecordItem(variable, ItemNr(3), std::string("FATIGUE_DAMAGE"));
    OnfBlock& matrices = requests.AddEmptyBlock(BlockNr(430));
    const size_t selection = NewRecord(matrices, 1);
    const int selected[5] = {1, 1, 0, 0, 0}; // stiffness and mass
    for (int i = 0; i < 5; ++i) {
        matrices.SetRecordItem(selection, ItemNr(1 + i), selected[i]);
    }
    OnfBlock& sensitivities = requests.AddEmptyBlock(BlockNr(440));
    AddSensitivity(sensitivities, 1, "COMPLIANCE", "C_TRAFFIC", false, "DESIGN_SPACE");
    AddSensitivity(sensitivities, 2, "DECK_DEFLECTION", "W_DECK", true, "TRAFFIC_NODES");
    AddNamedGroup(requests, 10030, "TRAFFIC_NODES", mesh.trafficNodes);
    AddNamedGroup(requests, 10032, "DESIGN_SPACE", mesh.designElements);
    OnfBlockTextWriter writer(Wide(path).c_str(), OnfBlockTextWriter::WRITE_NEW);
    requests.WriteSet(writer);
    writer.Flush();
}

// ---- Temporary file ----------------------------------------------------------------------------

// What the steps of one job hand each other: solver loadcases 101 to 103 as the optimiser's
// 1 to 3, two matrix steps, the bearings as the special matrix set, response aliases.
void WriteTemporary(const BridgeMesh& mesh, const std::string& path) {
    OnfTemporaryFile scratch;
    scratch.SetUserHeader("Scratch data of one optimisation job of the example bridge.");
    scratch.AppendLcResReq(1, 101, 1, 0);
    scratch.AppendLcResReq(2, 102, 1, 0);
    scratch.AppendLcResReq(3, 103, 0, 1);
    scratch.AppendMarloLc(1, 101, 1, 0, 0);
    scratch.AppendMarloLc(2, 102, 1, 0, 0);
    scratch.AppendMatrixStep(1, L"bridge_model.onf", 1);
    scratch.AppendMatrixStep(2, L"bridge_model.onf", 0);
    scratch.AddSpecialMatrixElemSet(QSV_IntSetIntvl<int>(mesh.bearingElements));
    scratch.AppendDRespNameMap("COMPLIANCE", {"\"C_TRAFFIC\"", "C1"});
    scratch.AppendDRespNameMap("VOLUME_FRACTION", {"VF"});
    scratch.Write(Wide(path));
}

void WriteAll(const std::string& folder) {
    const BridgeMesh mesh;
    const std::string base = folder + "/bridge_";
    std::unique_ptr<OnfModelFile> model = BuildModel(mesh, base + "model.onf");
    CheckGlobalPositions(*model, mesh);
    model->Write();
    WriteInit(*model, base + "init.onf");
    model.reset(new OnfModelFile(Wide(base + "model.onf"), nullptr));
    model->Read();
    CheckGlobalPositions(*model, mesh);
    WriteGroups(mesh, base + "groups.onf");
    WriteResults(mesh, base + "results.onf");
    WriteModification(mesh, base + "modification.onf");
    WriteRequests(mesh, base + "requests.onf");
    WriteTemporary(mesh, base + "temporary.onf");
}

} // namespace

} // namespace onf_examples

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s FOLDER\n", argv[0]);
        return 2;
    }
    try {
        onf_examples::WriteAll(argv[1]);
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "%s: %s\n", argv[0], failure.what());
        return 1;
    }
    return 0;
}
