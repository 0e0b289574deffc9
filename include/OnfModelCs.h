// Coordinate systems of a model: the kinds a solver deck may define a system by, and the resolver
// that turns systems given by three nodes or by three points in another system into the
// coordinate-based records of block 100 (origin, Z and X direction in global terms).
//
// Every system a finished model holds refers to the global Cartesian system (id 0). Decks define
// systems in any order and by nodes whose own systems may still be unresolved, so definitions are
// buffered and resolved in dependency order just before the model is written.
#pragma once

#include "BrelonMatrix.h"
#include "BrelonNumerics.h"

#include <cstddef>
#include <set>
#include <string>
#include <vector>

class OnfBlock;
class OnfBlockSet;

namespace OnfCoordSystem {

// How a system is defined, in three rows of three: by numbers, by three nodes, by three points
// given in another system. Within a row the basic kinds Cartesian, cylindrical, spherical.
enum CsType {
    CS_CARTESIAN = 0,
    CS_CYLINDRICAL = 1,
    CS_SPHERICAL = 2,
    CS_NODES_CARTESIAN = 3,
    CS_NODES_CYLINDRICAL = 4,
    CS_NODES_SPHERICAL = 5,
    CS_POINTS_CARTESIAN = 6,
    CS_POINTS_CYLINDRICAL = 7,
    CS_POINTS_SPHERICAL = 8
};

// Which directions three points span, with a the unit vector from point 1 to point 2 and b the
// unit vector from point 1 to point 3: X_XY takes Z = a x b and X = a; X_XZ takes Z = b and
// X = a; Z_XZ takes Z = a and X = b. The origin is point 1.
enum CsDefType { CS_DEF_X_XY = 0, CS_DEF_X_XZ = 1, CS_DEF_Z_XZ = 2 };

// The basic kind (0 to 2) of a definition kind. A value outside 0 to 8 comes back unchanged, so
// that a damaged file cannot make the lookup read outside its table.
CsType get_cs_basic_type(CsType type);
// The coordinate-system kind of a definition kind; outside 0 to 8 the value is passed on as it is
// (BrelonCoordinateSystem reads unknown kinds as Cartesian).
BrelonCoordinateSystem::Type translate_cs_type(CsType type);

// "X_XY", "X_XZ", "Z_XZ", indexed by CsDefType.
extern const char* const s_CsDefTypeNames[3];

} // namespace OnfCoordSystem

// Resolves buffered coordinate-system definitions of one block set into block 100 and answers
// node positions in global terms. Holds a reference to its block set (the model file that owns
// it); copies refer to the same set. Failures are QSV_Failure with the tag
// "|%P|BrelonOnfEngine|OnfModelCs".
class OnfModelCs {
public:
    // One buffered definition. Node fields serve the node kinds (3 to 5), ref_cs and the points
    // the point kinds (6 to 8); the fields of the other form are zero.
    struct BufferedCs {
        int id = 0;
        OnfCoordSystem::CsType type = OnfCoordSystem::CS_CARTESIAN;
        std::string name;
        OnfCoordSystem::CsDefType def_type = OnfCoordSystem::CS_DEF_X_XY;
        int node1 = 0;
        int node2 = 0;
        int node3 = 0;
        // The system in which point1 to point3 are given.
        int ref_cs = 0;
        BrelonMatrix<3, 1, double> point1;
        BrelonMatrix<3, 1, double> point2;
        BrelonMatrix<3, 1, double> point3;
    };

    explicit OnfModelCs(OnfBlockSet& blockSet);
    OnfModelCs(const OnfModelCs& other);
    OnfModelCs(OnfModelCs&& other) noexcept;
    OnfModelCs& operator=(const OnfModelCs& other);
    OnfModelCs& operator=(OnfModelCs&& other) noexcept;
    ~OnfModelCs();

    // Appends a definition to the buffer; nothing is checked until ProcessBufferedCs.
    void AppendBufferedCs(const BufferedCs& cs);
    // Marks a system as given in global terms, so that others may be resolved through it.
    void DeclareCsResolved(int id);
    // Resolves every buffered definition in dependency order into a record of block 100 (basic
    // type, reference 0, name, origin, Z and X direction) and logs each at level 5. A dependency
    // cycle is logged at level 2 and the buffer order used instead. Fails on collinear or
    // coincident nodes or points and on a point in an unresolved system; the systems resolved
    // so far stay in block 100. The buffer is kept.
    void ProcessBufferedCs();
    // After a model was read: empties buffer and resolved set, checks that record index 0 of
    // block 100, if any, is the standard global system ("201112173242"), and declares every
    // system resolved; a system referring to another than the global one fails ("123744230512").
    void MarkAllCsResolved();
    // The system `id` of block 100 and its reference system. Fails with "The coordinate system
    // with id %d is not available." ("094354210512") for an unknown id.
    void GetCoordSysData(int id, BrelonCoordinateSystem& cs, int& ref_cs) const;
    // The position of node `node_id` in global Cartesian terms. Fails for an unknown node and for
    // a node in an unresolved system.
    BrelonMatrix<3, 1, double> GetNodeGlobalCoordinates(int node_id) const;
    // As GetNodeGlobalCoordinates, for the set record at `index` of block 110.
    BrelonMatrix<3, 1, double> GetNodeGlobalCoordinatesAtIdx(size_t index) const;

    // The buffered definitions, in buffer order.
    const std::vector<BufferedCs>& GetBufferedCs() const { return m_Buffer; }
    // The ids of all systems given in global terms, ascending.
    const std::set<int>& GetResolvedCs() const { return m_Resolved; }

private:
    void CheckForValidCs0Definition(const OnfBlock& block) const;
    // Positions in the buffer, in an order in which each system's dependencies come first.
    void FindCsResolveOrder(std::vector<size_t>& order) const;
    BrelonCoordinateSystem GenerateCsFromPoints(const BrelonMatrix<3, 1, double>& p1,
                                                const BrelonMatrix<3, 1, double>& p2,
                                                const BrelonMatrix<3, 1, double>& p3,
                                                OnfCoordSystem::CsDefType defType,
                                                BrelonCoordinateSystem::Type type) const;
    void GetCoordSysAtIdx(size_t index, BrelonCoordinateSystem& cs, int& ref_cs) const;
    // Item 1 of the node's record, 0 for an unknown node.
    int GetNodeDefCs(int node) const;
    BrelonMatrix<3, 1, double> GetPointInGlobalCs(const BrelonMatrix<3, 1, double>& point,
                                                  int cs) const;
    BrelonCoordinateSystem ResolveNodeBasedCs(const BufferedCs& cs,
                                              BrelonCoordinateSystem::Type type);
    BrelonCoordinateSystem ResolvePointBasedCs(const BufferedCs& cs,
                                               BrelonCoordinateSystem::Type type);
    // False when the points are coincident or collinear within a length of 1e-16.
    bool VerifyPointsForCs(const BrelonMatrix<3, 1, double>& p1,
                           const BrelonMatrix<3, 1, double>& p2,
                           const BrelonMatrix<3, 1, double>& p3) const;

    OnfBlockSet* m_BlockSet;
    std::vector<BufferedCs> m_Buffer;
    std::set<int> m_Resolved;
};
