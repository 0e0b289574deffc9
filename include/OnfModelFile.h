// The model deck: the blocks that together describe a finite element model (coordinate systems,
// nodes, materials, layers, properties, elements, constraints, rigid elements, loads, contact,
// loadcases, connectors and CFD data), built up by a solver interface through Append... calls or
// read from an ONF file, then queried, changed and written.
#pragma once

#include "BrelonContainers.h"
#include "BrelonMatrix.h"
#include "BrelonNumerics.h"
#include "OnfBlockSet.h"
#include "OnfElement.h"
#include "OnfModelCs.h"

#include <cstddef>
#include <map>
#include <set>
#include <string>
#include <vector>

class OnfInitFile;

namespace OnfLoadcase {
// One loadcase (block 180): what it combines, by id of the records of other blocks.
struct LcData {
    int id = 0;
    // An empty name is stored as "temp_loadcase_name" followed by the id.
    std::string name;
    int analysisType = 0; // item 2
    int options[6] = {};  // items 9 to 14, kept as given
    // Items 15 to 20, each stored sorted without duplicates, with its size in items 3 to 8.
    std::vector<int> forceSets;         // ids of block 173
    std::vector<int> displacementSets;  // ids of block 175
    std::vector<int> constraints;       // ids of block 152
    std::vector<int> accelerations;     // ids of block 176
    std::vector<int> loadedNodeSets;    // ids of block 170
    std::vector<int> loadedElementSets; // ids of block 171
};
} // namespace OnfLoadcase

namespace OnfAcceleration {
// What an acceleration acts on (item 11 of block 176).
enum TargetType {
    TARGET_WHOLE_MODEL = 0,
    TARGET_NODE_GROUP = 1,    // the group named by the target name
    TARGET_ELEMENT_GROUP = 2, // the group named by the target name
    TARGET_NODE_IDS = 3,      // the listed node ids; the name reads "(empty)"
    TARGET_ELEMENT_IDS = 4    // the listed element ids; the name reads "(empty)"
};

// One acceleration or rotational load (block 176), item by item.
struct AccelData {
    int translationFlag = 0;                        // item 1
    BrelonMatrix<3, 1, double> translation;         // item 2, scaled by ScaleAccel's factor
    int rotationFlag = 0;                           // item 3
    BrelonMatrix<3, 1, double> angularVelocity;     // item 4, scaled by its square root
    int angularAccelerationFlag = 0;                // item 5
    BrelonMatrix<3, 1, double> angularAcceleration; // item 6, scaled by the factor
    int options[3] = {};                            // items 7 to 9
    BrelonMatrix<3, 1, double> rotationCentre;      // item 10
    TargetType targetType = TARGET_WHOLE_MODEL;     // item 11
    std::string targetName;                         // item 12, for the group targets
    std::vector<int> targets;                       // item 14, stored sorted; size in item 13
};
} // namespace OnfAcceleration

namespace OnfNodalForces {
// One nodal force (block 172).
struct NodalForce {
    int node = 0;          // item 1
    int cs = 0;            // item 2, the system of the components
    double values[6] = {}; // items 3 to 8: fx, fy, fz, mx, my, mz
};
} // namespace OnfNodalForces

namespace OnfNodalDisplacements {
// One prescribed nodal displacement (block 174).
struct NodalDisplacement {
    int node = 0;          // item 1
    int cs = 0;            // item 2, the system of the components
    double values[6] = {}; // items 3 to 8: ux, uy, uz, rx, ry, rz
};
} // namespace OnfNodalDisplacements

namespace OnfRbe {
// One rigid element: the degrees of freedom it couples and its two node sets.
struct RbeData {
    std::vector<int> dofs;
    std::vector<int> independentNodes; // the first set: keys in item 4 of block 164
    std::vector<int> dependentNodes;   // the second set: keys in item 2 of block 164
};
} // namespace OnfRbe

namespace OnfLaminateLayer {
// One laminate layer (block 125).
struct LayerData {
    int material = 0;     // item 1
    double thickness = 0; // item 2
    double angle = 0;     // item 3, fibre angle
};
} // namespace OnfLaminateLayer

namespace OnfProperty {
// The kind of a property (item 1 of block 130).
enum PropType {
    PROP_UNDEFINED = 0,
    PROP_PLANE_STRAIN = 1,
    PROP_PLANE_STRESS = 2,
    PROP_AXISYMMETRIC = 3,
    PROP_SOLID = 4,
    PROP_SHELL = 5,
    PROP_SHEAR_PANEL = 6,
    PROP_BEAM_2D = 7,
    PROP_BEAM_3D = 8
};
} // namespace OnfProperty

// The model file. The constructor makes every block except 1200 and 10032 (made on first use)
// and the global system "CS_0". Append... operations answer true when a record was made (or the
// call was skipped because reading FEM data is off) and false when the id existed already, in
// which case nothing changes; exceptions are told with each. Failures are QSV_Failure with the
// tag "|%P|BrelonOnfEngine|OnfModelFile" unless they come from a lower layer. One thread.
class OnfModelFile : public OnfBlockSet {
public:
    // An empty model named `fileName`; `pool`, if given, is merged into the own id maps.
    OnfModelFile(const std::wstring& fileName, const QSV_IdMapsPool* pool);
    ~OnfModelFile() override;

    // ---- File ------------------------------------------------------------------------------
    // Reads the file over the blocks held (a block of the file replaces the own one), then
    // declares every system of block 100 resolved (failures as MarkAllCsResolved).
    void Read();
    // Writes every block to the file, replacing it; logs "Writing ONF input file %s" (level 4).
    void Write() const;
    // Removes every block and list; the model must be rebuilt block by block after it.
    void Clear();
    // Resolves the buffered coordinate systems into block 100; call it ahead of Write.
    void PreWriteConvert();
    // Merges the id maps of `source` and copies every block of it, empty ones too, record by
    // record; records of the same id are overwritten.
    void LoadFromDb(const QSV_Database& source);
    void SetFilename(const std::wstring& fileName);
    const std::wstring& GetFilename() const { return m_FileName; }
    // Names the deck being added for the warning on unknown elements and re-arms that warning.
    void SetNewModelName(const std::wstring& name);
    // Off for the later decks of a multi-deck run: nodes, systems, materials and properties are
    // then skipped, and elements only join flags or become dummies.
    void SetReadFEMData(bool read);
    bool GetReadFEMData() const { return m_ReadFEMData; }
    OnfBlockSet& GetModel() { return *this; }
    const OnfBlockSet& GetModel() const { return *this; }

    // ---- Nodes and elements ----------------------------------------------------------------
    bool AppendNode(int id, int csDef, int csDisp, double x, double y, double z);
    // The fourth argument is not used: material 0 is stored. More than 20 nodes fail
    // ("301111140545"), leaving the new record without nodes, except for ELEM_DUMMY, whose list
    // is cut to its first 20 and its node count to 20. A known id whose
    // type, node count, property or material differ is logged as a collision and counted; the
    // answer is false. With reading FEM data off, an unknown id becomes a dummy (warned once per
    // SetNewModelName) and a known one ORs its flags; the answer is true.
    bool AppendElement(int id, OnfElement::ElemType type, int property, int material,
                       const std::vector<int>& nodes, int flag1, int flag2, int flag3);
    size_t GetNumNodes() const;
    size_t GetNumElement() const;
    int GetNumColidedElements() const { return m_NumColidedElements; }
    // Faces of the element's type (0 for kinds without a face count); an unknown element fails
    // in GetConstObject.
    int GetNumElemFaces(int element) const;

    // ---- Coordinate systems ----------------------------------------------------------------
    // Makes "CS_0", "CS_1", "CS_2" (ids and types 0, 1, 2) for the true arguments, each declared
    // resolved; existing records stay.
    void CreateDefaultCoordSystem(bool first, bool second, bool third);
    // A system given in global terms: type, reference system, name, origin, Z and X direction.
    bool AppendCoordSys(int id, OnfCoordSystem::CsType type, int refCs, const std::string& name,
                        const BrelonMatrix<3, 1, double>& origin,
                        const BrelonMatrix<3, 1, double>& zDirection,
                        const BrelonMatrix<3, 1, double>& xDirection);
    // Buffers a system given by three points in `refCs`; PreWriteConvert resolves it. Takes the
    // id in block 100 at once and warns (level 2) when it was defined before.
    bool BufferCoordSys(int id, OnfCoordSystem::CsType type, const std::string& name,
                        OnfCoordSystem::CsDefType defType, int refCs,
                        const BrelonMatrix<3, 1, double>& point1,
                        const BrelonMatrix<3, 1, double>& point2,
                        const BrelonMatrix<3, 1, double>& point3);
    // As above, for a system given by three nodes.
    bool BufferCoordSys(int id, OnfCoordSystem::CsType type, const std::string& name,
                        OnfCoordSystem::CsDefType defType, int node1, int node2, int node3);
    size_t GetNumCoordSystem() const;
    // Forwarded to the resolver (see OnfModelCs).
    void GetCoordSysData(int id, BrelonCoordinateSystem& cs, int& refCs) const;
    BrelonMatrix<3, 1, double> GetNodeGlobalCoordinates(int node) const;
    BrelonMatrix<3, 1, double> GetNodeGlobalCoordinatesAtIdx(size_t index) const;
    OnfModelCs& GetModelCs() { return m_ModelCs; }
    const OnfModelCs& GetModelCs() const { return m_ModelCs; }

    // ---- Loads and boundary conditions -------------------------------------------------------
    bool AppendLoadcase(const OnfLoadcase::LcData& data);
    bool AppendAcceleration(int id, const OnfAcceleration::AccelData& data);
    // A force set (block 173) whose forces (block 172) take ids from a counter shared by every
    // model of the process. True only if the set and its last force were new (false for an
    // empty map, though the set is made); a force whose id exists already is passed over. Fails
    // before making the set when the counter has no 32-bit id left for each force.
    bool AppendNodalForces(int id, const std::string& name,
                           const BrelonRadixTrieMap<int, OnfNodalForces::NodalForce>& forces);
    // As AppendNodalForces with blocks 175 and 174 and a counter of their own; every entry is
    // written, over an existing record too. True if the set was new.
    bool AppendPrescribedDisplacements(
        int id, const std::string& name,
        const std::map<int, OnfNodalDisplacements::NodalDisplacement>& displacements);
    bool AppendLoadedNodes(int id, const std::vector<int>& nodes);
    bool AppendLoadedElements(int id, const std::vector<int>& elements);
    bool AppendConnectorNodes(int id, const std::vector<int>& nodes);
    // Adds nodes with these degrees of freedom to constraint `id` (block 152) through a set of
    // block 151 keyed 100 * (constraints before the call) + hash of the dofs. Where that set
    // exists already, only the nodes are added to it, also for a new constraint, which then
    // refers to no set. Always true.
    bool AppendSinglePointConstraint(int id, const std::vector<int>& dofs,
                                     const std::vector<int>& nodes);
    // Adds the two node sets of a rigid element to record `id` of block 164, keyed
    // 200 * (its running number) + hash of the dofs, plus 100 for the dependent set. Fails when
    // the in-memory RBE map disagrees with block 164 ("120319092811", "120319093244"), which an
    // RBE read from a file always does. Always true otherwise.
    bool AppendRbe(int id, const OnfRbe::RbeData& data);
    // Makes or extends the node set `key` of `block` (dofs kept as given, nodes sorted). False
    // for an empty node list.
    bool AppendRbeNodes(int key, const std::vector<int>& dofs, const std::vector<int>& nodes,
                        OnfBlock& block);
    bool AppendConvectionSet(int id, const std::vector<int>& elements,
                             const std::vector<int>& faces, double filmCoefficient,
                             double ambientTemperature);
    // Writes the two sides into blocks 178 and 179, each only where that record is new.
    bool AppendContactSurface(int id, const QSV_IntSetIntvl<int>& first,
                              const QSV_IntSetIntvl<int>& second);
    // Makes or overwrites the element group `name` of block 10032.
    bool AppendCFDFaceGroup(const char* name, const QSV_IntSetIntvl<int>& ids);
    // Makes block 1200 if missing and a record with id = its record count + 1; where that id is
    // taken (after a deletion), the record stays as it is. True in both cases.
    bool AppendCFDFluidBoundary(int value, const char* name);
    size_t GetNumLoadcase() const;
    size_t GetNumAccelerations() const;
    size_t GetNumNodalForces() const;
    size_t GetNumPrescribedDisplacements() const;
    size_t GetNumLoadedNodes() const;
    size_t GetNumLoadedElements() const;
    size_t GetNumRBE() const;

    // ---- Properties, materials and layers ----------------------------------------------------
    // Flags 0 to 4 go to items 3 to 7 as 0 or 1, values 0 to 4 to items 8 to 12; missing entries
    // count as false and 0.
    bool AppendMaterial(int id, int type, const std::string& name, const std::vector<bool>& flags,
                        const std::vector<double>& values);
    bool AppendLaminateLayer(int id, const OnfLaminateLayer::LayerData& data);
    // With `withLayer`, also makes a layer of thickness `second` (id: the id of the last layer in
    // index order + 1, or layerBase + 1 while there is no layer; told through `layerId` if not
    // null) and makes it the property's one layer. Fails, adding nothing, when that id would
    // pass the largest 32-bit id.
    bool AppendProperty(int id, OnfProperty::PropType type, const std::string& name, double first,
                        double second, bool withLayer, int layerBase, int* layerId);
    // Properties 1 to 6 and 8, each with a layer, named "Def_prop_...".
    void CreateDefaultProperties();
    // The id of the last layer in index order + 1; fails when that would pass 32 bits.
    int GetNextFreeLayerId() const;
    // Adds the id of every property; the set is not cleared first.
    void GetPropertyIDs(std::set<int>& ids) const;
    // The property's layers in stacking order; empty for an unknown property.
    void GetPropertyLayers(int property, std::vector<int>& layers) const;
    // Replaces the layers of a property; nothing for an unknown property.
    void SetPropertyLayers(int property, const std::vector<int>& layers);

    // ---- Queries and updates -----------------------------------------------------------------
    // The element's nodes in element order; empty for an unknown element.
    void GetElementNodes(int element, std::vector<int>& nodes) const;
    // Every node of the known elements of `elements`.
    void GetElementsNodes(const QSV_IntSetIntvl<int>& elements, QSV_IntSetIntvl<int>& nodes) const;
    // The elements, in index order, with a node in `nodes` or, with `allNodes`, with all their
    // nodes there (an element that repeats a node never qualifies then).
    void GetNodeElements(const QSV_IntSetIntvl<int>& nodes, std::vector<int>& elements,
                         bool allNodes) const;
    void GetNodeElements(const QSV_IntSetIntvl<int>& nodes, QSV_IntSetIntvl<int>& elements,
                         bool allNodes) const;
    // Items 3 and 4 of an element; nothing with reading FEM data off. An unknown element fails
    // in GetOnfObject.
    void SetElementProperty(int element, int property);
    void SetElementMaterial(int element, int material);
    // Items 1 and 2 of a node; nothing with reading FEM data off. An unknown node fails with
    // "Node with ID %d is not available." ("161015150210").
    void SetNodeCSDef(int node, int cs);
    void SetNodeCSDisp(int node, int cs);
    // Renames the target group of every acceleration with this target type and name.
    void RenameGroup(const std::string& oldName, OnfAcceleration::TargetType type,
                     const std::string& newName);
    // Scales the acceleration's translation and angular acceleration by `factor` and its
    // angular velocity by the square root. An unknown id fails in GetOnfObject.
    void ScaleAccel(int id, double factor);
    // Gives the one layer of a single-layer property its material if it has none yet; another
    // material than the one it has is warned about (level 2) and ignored.
    void UpdatePropertyData(int property, int material);
    // One record of block 97 of `init` for each non-empty block: first and last id in index
    // order and the record count.
    void CollectInitData(OnfInitFile& init) const;

private:
    std::string GetMaterialName(int material) const;
    std::string GetPropertyName(int property) const;
    void AddModelBlocks();
    void LogElementCollision(int id, size_t index, OnfElement::ElemType type, int numNodes,
                             int property) const;
    void AppendUnknownLaterElement(int id, size_t index);
    void SetNewElement(size_t index, OnfElement::ElemType type, int property,
                       const std::vector<int>& nodes, int flag1, int flag2, int flag3);
    bool AppendIdSet(QSV_OnfId block, int id, const std::vector<int>& values);
    bool TakeBufferedCsId(const OnfModelCs::BufferedCs& cs);
    void SetNodeItem(int node, int item, int value);

    OnfModelCs m_ModelCs;
    bool m_ReadFEMData = true;
    std::wstring m_FileName;
    int m_WarningsLeft = 1;
    std::wstring m_NewModelName;
    int m_NumColidedElements = 0;
    // RBE id to the running number its keys were made with; only RBEs appended in this object.
    BrelonRadixTrieMap<int, size_t> m_RbeMap;
};
