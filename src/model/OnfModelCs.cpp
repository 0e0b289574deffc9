// The coordinate-system resolver of a model file.
#include "OnfModelCs.h"

#include "OnfBlockSet.h"
#include "QSV_Failure.h"

#include <cmath>

namespace {

const char* const kTag = "|%P|BrelonOnfEngine|OnfModelCs";
const QSV_OnfId kCsBlock = static_cast<QSV_OnfId>(100);
const QSV_OnfId kNodeBlock = static_cast<QSV_OnfId>(110);
// Every length test of the resolver: a length of exactly this value still counts.
const double kTolerance = 1e-16;

using Vec3 = BrelonMatrix<3, 1, double>;
namespace Item = QSV_DataRecordItem;

const OnfCoordSystem::CsType kBasicTypes[9] = {
    OnfCoordSystem::CS_CARTESIAN, OnfCoordSystem::CS_CYLINDRICAL, OnfCoordSystem::CS_SPHERICAL,
    OnfCoordSystem::CS_CARTESIAN, OnfCoordSystem::CS_CYLINDRICAL, OnfCoordSystem::CS_SPHERICAL,
    OnfCoordSystem::CS_CARTESIAN, OnfCoordSystem::CS_CYLINDRICAL, OnfCoordSystem::CS_SPHERICAL};

const BrelonCoordinateSystem::Type kSystemTypes[9] = {
    BrelonCoordinateSystem::CARTESIAN,   BrelonCoordinateSystem::CYLINDRICAL,
    BrelonCoordinateSystem::SPHERICAL,   BrelonCoordinateSystem::CARTESIAN,
    BrelonCoordinateSystem::CYLINDRICAL, BrelonCoordinateSystem::SPHERICAL,
    BrelonCoordinateSystem::CARTESIAN,   BrelonCoordinateSystem::CYLINDRICAL,
    BrelonCoordinateSystem::SPHERICAL};

bool IsTableType(OnfCoordSystem::CsType type) {
    return static_cast<unsigned>(type) < 9u;
}

bool IsNodeType(OnfCoordSystem::CsType type) {
    return type >= OnfCoordSystem::CS_NODES_CARTESIAN && type <= OnfCoordSystem::CS_NODES_SPHERICAL;
}

const char* DefTypeName(OnfCoordSystem::CsDefType type) {
    return static_cast<unsigned>(type) < 3u ? OnfCoordSystem::s_CsDefTypeNames[type] : "UNKNOWN";
}

Vec3 Difference(const Vec3& a, const Vec3& b) {
    return Vec3(a[0] - b[0], a[1] - b[1], a[2] - b[2]);
}

double Length(const Vec3& v) {
    return std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]);
}

Vec3 Scaled(const Vec3& v, double factor) {
    return Vec3(v[0] * factor, v[1] * factor, v[2] * factor);
}

Vec3 Cross(const Vec3& a, const Vec3& b) {
    return Vec3(a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]);
}

} // namespace

namespace OnfCoordSystem {

const char* const s_CsDefTypeNames[3] = {"X_XY", "X_XZ", "Z_XZ"};

CsType get_cs_basic_type(CsType type) {
    return IsTableType(type) ? kBasicTypes[type] : type;
}

BrelonCoordinateSystem::Type translate_cs_type(CsType type) {
    return IsTableType(type) ? kSystemTypes[type]
                             : static_cast<BrelonCoordinateSystem::Type>(static_cast<int>(type));
}

} // namespace OnfCoordSystem

OnfModelCs::OnfModelCs(OnfBlockSet& blockSet) : m_BlockSet(&blockSet) {}
OnfModelCs::OnfModelCs(const OnfModelCs& other) = default;
OnfModelCs::OnfModelCs(OnfModelCs&& other) noexcept = default;
OnfModelCs& OnfModelCs::operator=(const OnfModelCs& other) = default;
OnfModelCs& OnfModelCs::operator=(OnfModelCs&& other) noexcept = default;
OnfModelCs::~OnfModelCs() = default;

void OnfModelCs::AppendBufferedCs(const BufferedCs& cs) {
    m_Buffer.push_back(cs);
}

void OnfModelCs::DeclareCsResolved(int id) {
    m_Resolved.insert(id);
}

// ---- Resolution -------------------------------------------------------------------------------

void OnfModelCs::FindCsResolveOrder(std::vector<size_t>& order) const {
    order.clear();
    BrelonDirectedGraph graph;
    for (int id : m_Resolved) {
        graph.AddVertex(id);
    }
    for (const BufferedCs& cs : m_Buffer) {
        graph.AddVertex(cs.id);
    }
    for (const BufferedCs& cs : m_Buffer) {
        if (IsNodeType(cs.type)) {
            graph.AddDirectedEdge(GetNodeDefCs(cs.node1), cs.id);
            graph.AddDirectedEdge(GetNodeDefCs(cs.node2), cs.id);
            graph.AddDirectedEdge(GetNodeDefCs(cs.node3), cs.id);
        } else {
            graph.AddDirectedEdge(cs.ref_cs, cs.id);
        }
    }
    std::vector<int> sorted;
    if (!graph.GenerateTopologicalSort(sorted)) {
        QSV_LOG(LOG_WARNING, kTag,
                "The dependencies among some coordinate systems in the original input deck\n"
                "could not be resolved! Please remove any cyclic dependencies.");
        for (size_t i = 0; i < m_Buffer.size(); ++i) {
            order.push_back(i);
        }
        return;
    }
    // A deck holds few systems: a linear search of the buffer for each id is enough.
    for (int id : sorted) {
        if (m_Resolved.count(id) != 0) {
            continue;
        }
        for (size_t i = 0; i < m_Buffer.size(); ++i) {
            if (m_Buffer[i].id == id) {
                order.push_back(i);
                break;
            }
        }
    }
}

void OnfModelCs::ProcessBufferedCs() {
    if (m_Buffer.empty()) {
        return;
    }
    std::vector<size_t> order;
    FindCsResolveOrder(order);
    for (size_t position : order) {
        const BufferedCs& cs = m_Buffer[position];
        const BrelonCoordinateSystem::Type systemType = OnfCoordSystem::translate_cs_type(cs.type);
        const OnfCoordSystem::CsType basicType = OnfCoordSystem::get_cs_basic_type(cs.type);
        const BrelonCoordinateSystem system = IsNodeType(cs.type)
                                                  ? ResolveNodeBasedCs(cs, systemType)
                                                  : ResolvePointBasedCs(cs, systemType);
        OnfBlock& block = m_BlockSet->GetBlock(kCsBlock);
        bool created = false;
        const size_t index = block.GetWarrantedRecordIdx(cs.id, created);
        block.SetRecordItem(index, Item::CS_ITEM_NAME, cs.name);
        block.SetRecordItem(index, Item::CS_ITEM_TYPE, static_cast<int>(basicType));
        block.SetRecordItem(index, Item::CS_ITEM_REF_CS, 0);
        block.SetRecordItem(index, Item::CS_ITEM_ORIGIN, system.origin);
        block.SetRecordItem(index, Item::CS_ITEM_Z_DIR, system.zDirection);
        block.SetRecordItem(index, Item::CS_ITEM_X_DIR, system.xDirection);
        m_Resolved.insert(cs.id);
        QSV_LOG(LOG_DETAIL, kTag,
                "Changed coordinate system %s from nodal/point definition: %s to coordinate "
                "based of type: %s",
                cs.name.c_str(), DefTypeName(cs.def_type), system.GetTypeString());
    }
}

BrelonCoordinateSystem OnfModelCs::ResolveNodeBasedCs(const BufferedCs& cs,
                                                      BrelonCoordinateSystem::Type type) {
    const Vec3 p1 = GetNodeGlobalCoordinates(cs.node1);
    const Vec3 p2 = GetNodeGlobalCoordinates(cs.node2);
    const Vec3 p3 = GetNodeGlobalCoordinates(cs.node3);
    if (!VerifyPointsForCs(p1, p2, p3)) {
        onf_detail::ThrowFailure(
            nullptr, kTag,
            "Error resolving coordinate system \"%s\":\nthis coordinate system is defined by "
            "nodes %d, %d and %d,\nbut these nodes are either collinear, or some of them are "
            "coincident.\nGlobal Cartesian coordinates of the nodes:\n"
            "%6d :  [%12lf, %12lf, %12lf]\n%6d :  [%12lf, %12lf, %12lf]\n"
            "%6d :  [%12lf, %12lf, %12lf]\n",
            cs.name.c_str(), cs.node1, cs.node2, cs.node3, cs.node1, p1[0], p1[1], p1[2], cs.node2,
            p2[0], p2[1], p2[2], cs.node3, p3[0], p3[1], p3[2]);
    }
    return GenerateCsFromPoints(p1, p2, p3, cs.def_type, type);
}

BrelonCoordinateSystem OnfModelCs::ResolvePointBasedCs(const BufferedCs& cs,
                                                       BrelonCoordinateSystem::Type type) {
    const Vec3 p1 = GetPointInGlobalCs(cs.point1, cs.ref_cs);
    const Vec3 p2 = GetPointInGlobalCs(cs.point2, cs.ref_cs);
    const Vec3 p3 = GetPointInGlobalCs(cs.point3, cs.ref_cs);
    if (!VerifyPointsForCs(p1, p2, p3)) {
        onf_detail::ThrowFailure(
            nullptr, kTag,
            "Error resolving coordinate system \"%s\":\nthis coordinate system is defined by "
            "three points expressed in terms\nof coordinate system %d, but these points are "
            "either collinear,\nor some of them are coincident.\nGlobal Cartesian coordinates "
            "of the points:\n     [%12lf, %12lf, %12lf]\n     [%12lf, %12lf, %12lf]\n"
            "     [%12lf, %12lf, %12lf]\n",
            cs.name.c_str(), cs.ref_cs, p1[0], p1[1], p1[2], p2[0], p2[1], p2[2], p3[0], p3[1],
            p3[2]);
    }
    return GenerateCsFromPoints(p1, p2, p3, cs.def_type, type);
}

bool OnfModelCs::VerifyPointsForCs(const Vec3& p1, const Vec3& p2, const Vec3& p3) const {
    const Vec3 a = Difference(p2, p1);
    const Vec3 b = Difference(p3, p1);
    const double lengthA = Length(a);
    const double lengthB = Length(b);
    // Asked as "tolerance above length": a length of exactly the tolerance passes.
    if (kTolerance > lengthA || kTolerance > lengthB) {
        return false;
    }
    const Vec3 normal = Cross(Scaled(a, 1.0 / lengthA), Scaled(b, 1.0 / lengthB));
    return !(kTolerance > Length(normal));
}

BrelonCoordinateSystem OnfModelCs::GenerateCsFromPoints(const Vec3& p1, const Vec3& p2,
                                                        const Vec3& p3,
                                                        OnfCoordSystem::CsDefType defType,
                                                        BrelonCoordinateSystem::Type type) const {
    const Vec3 a = Difference(p2, p1);
    const Vec3 b = Difference(p3, p1);
    const double lengthA = Length(a);
    const double lengthB = Length(b);
    // VerifyPointsForCs stands ahead of every call; these checks guard this function on its own.
    if (kTolerance > lengthA) {
        onf_detail::ThrowFailure(nullptr, kTag,
                                 "Error creating coordinate system:\nthe first two nodes "
                                 "intended to spawn the coordinate system\nare coincident!");
    }
    if (kTolerance > lengthB) {
        onf_detail::ThrowFailure(nullptr, kTag,
                                 "Error creating coordinate system:\nnodes 2 and 3 intended to "
                                 "spawn the coordinate system\nare coincident!");
    }
    const Vec3 unitA = Scaled(a, 1.0 / lengthA);
    const Vec3 unitB = Scaled(b, 1.0 / lengthB);
    const BrelonCoordinateSystem::CoordConvention convention =
        BrelonCoordinateSystem::ANGLES_IN_DEGREES;
    switch (defType) {
    case OnfCoordSystem::CS_DEF_X_XY:
        return BrelonCoordinateSystem(type, p1, Cross(unitA, unitB), unitA, convention);
    case OnfCoordSystem::CS_DEF_X_XZ:
        return BrelonCoordinateSystem(type, p1, unitB, unitA, convention);
    case OnfCoordSystem::CS_DEF_Z_XZ:
        return BrelonCoordinateSystem(type, p1, unitA, unitB, convention);
    }
    return BrelonCoordinateSystem();
}

// ---- Reading systems and nodes ----------------------------------------------------------------

void OnfModelCs::MarkAllCsResolved() {
    m_Buffer.clear();
    m_Resolved.clear();
    // A model whose block 100 was removed has no systems to declare.
    if (!m_BlockSet->HasBlock(kCsBlock)) {
        return;
    }
    const OnfBlock& block = m_BlockSet->GetBlock(kCsBlock);
    CheckForValidCs0Definition(block);
    for (auto it = block.Begin(); it.IsValid(); ++it) {
        const int refCs = block.GetInt(*it, Item::CS_ITEM_REF_CS);
        const int id = block.GetId(*it);
        if (refCs != 0) {
            onf_detail::ThrowFailure("123744230512", kTag,
                                     "Coordinate system with id = %d does not reference the\n"
                                     "global Cartesian coordinate system but rather the "
                                     "coordinate\nsystem with id = %d.",
                                     id, refCs);
        }
        m_Resolved.insert(id);
    }
}

void OnfModelCs::CheckForValidCs0Definition(const OnfBlock& block) const {
    if (!block.HasRecord(size_t(0))) {
        return;
    }
    // Exact comparisons: the global system is written with these very numbers.
    const bool valid = block.GetInt(0, Item::CS_ITEM_TYPE) == 0 &&
                       block.GetVector(0, Item::CS_ITEM_ORIGIN) == Vec3(0.0, 0.0, 0.0) &&
                       block.GetVector(0, Item::CS_ITEM_Z_DIR) == Vec3(0.0, 0.0, 1.0) &&
                       block.GetVector(0, Item::CS_ITEM_X_DIR) == Vec3(1.0, 0.0, 0.0);
    if (!valid) {
        onf_detail::ThrowFailure("201112173242", kTag,
                                 "The coordinate system with ID 0 must be a standard Cartesian "
                                 "coordinate system.");
    }
}

void OnfModelCs::GetCoordSysData(int id, BrelonCoordinateSystem& cs, int& ref_cs) const {
    const long long index = m_BlockSet->GetBlock(kCsBlock).GetRecordIdx(id);
    if (index < 0) {
        onf_detail::ThrowFailure("094354210512", kTag,
                                 "The coordinate system with id %d is not available.", id);
    }
    GetCoordSysAtIdx(static_cast<size_t>(index), cs, ref_cs);
}

void OnfModelCs::GetCoordSysAtIdx(size_t index, BrelonCoordinateSystem& cs, int& ref_cs) const {
    const OnfBlock& block = m_BlockSet->GetBlock(kCsBlock);
    const auto type = static_cast<OnfCoordSystem::CsType>(block.GetInt(index, Item::CS_ITEM_TYPE));
    ref_cs = block.GetInt(index, Item::CS_ITEM_REF_CS);
    cs = BrelonCoordinateSystem(
        OnfCoordSystem::translate_cs_type(type), block.GetVector(index, Item::CS_ITEM_ORIGIN),
        block.GetVector(index, Item::CS_ITEM_Z_DIR), block.GetVector(index, Item::CS_ITEM_X_DIR),
        BrelonCoordinateSystem::ANGLES_IN_DEGREES);
}

int OnfModelCs::GetNodeDefCs(int node) const {
    const OnfBlock& block = m_BlockSet->GetBlock(kNodeBlock);
    const long long index = block.GetRecordIdx(node);
    return index < 0 ? 0 : block.GetInt(static_cast<size_t>(index), Item::NODE_ITEM_CS);
}

Vec3 OnfModelCs::GetPointInGlobalCs(const Vec3& point, int cs) const {
    if (cs == 0) {
        return point;
    }
    if (m_Resolved.count(cs) == 0) {
        onf_detail::ThrowFailure(
            nullptr, kTag,
            "An attempt was made to read the coordinates of a point,\nbut the reference "
            "coordinate system with id = %d is unresolved.\nCoordinates of the point:\n"
            "    [%12lf, %12lf, %12lf]\n\nPlease try to adjust the order of coordinate system "
            "definitions\nand/or to remove any cyclic dependencies among them in your input "
            "deck!",
            cs, point[0], point[1], point[2]);
    }
    // One step suffices: every resolved system is given in global terms.
    BrelonCoordinateSystem system;
    int refCs = 0;
    GetCoordSysData(cs, system, refCs);
    return system.ExpressInParentCartesianSystem(point);
}

Vec3 OnfModelCs::GetNodeGlobalCoordinates(int node_id) const {
    const long long index = m_BlockSet->GetBlock(kNodeBlock).GetRecordIdx(node_id);
    if (index < 0) {
        onf_detail::ThrowFailure(nullptr, kTag,
                                 "Failed to retrieve information about node with id %d", node_id);
    }
    return GetNodeGlobalCoordinatesAtIdx(static_cast<size_t>(index));
}

Vec3 OnfModelCs::GetNodeGlobalCoordinatesAtIdx(size_t index) const {
    const OnfBlock& block = m_BlockSet->GetBlock(kNodeBlock);
    return GetPointInGlobalCs(block.GetVector(index, Item::NODE_ITEM_COORDS),
                              block.GetInt(index, Item::NODE_ITEM_CS));
}
