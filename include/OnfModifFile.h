// The modification file: what an optimisation run wants changed in the model before the next
// solver run. Added materials (821) and plies (825), moved (810) and deleted (812) nodes, modified
// (840), split (841) and deleted (842) elements, load markers (879), added loadcases (880) and
// free-text special instructions (800); blocks 811, 831, 850, 876, 877, 878 and 890 are carried.
//
// Order of use: construct, Read, ReadSpecialModInstruction, BuildModificationLists, then queries,
// GenerateModifGroups / FillInAddedElements, ReducePlies and ReduceMaterials, and Write if
// anything changed. The look-up lists are not refreshed by the reductions: they hold record
// indices, which stay valid because the reductions rewrite items in place.
//
// One thread only: even the const grouping operations reuse the mutable hash buckets.
#pragma once

#include "BrelonContainers.h"
#include "BrelonMatrix.h"
#include "OnfBlockSet.h"
#include "OnfMaterialsReducer.h"

#include <cstddef>
#include <set>
#include <string>
#include <vector>

namespace OnfAddMaterial {
// The caller's view of one record of block 821.
struct AddMat {
    int id = 0;                 // item 0
    int ref = 0;                // item 1
    int parentMaterial = 0;     // item 2
    std::string name;           // item 4
    std::string text;           // item 3
    std::vector<int> flags;     // items 5 to 9; must hold five elements before GetAddedMat
    std::vector<double> values; // items 10 to 14; must hold five elements before GetAddedMat
};
} // namespace OnfAddMaterial

// The modification file: what an optimisation run wants changed in the model before the next
// solver run, with the look-up lists, queries, element-set splitting and the ply and material
// reductions built on its blocks 800 to 890.
class OnfModifFile : public OnfBlockSet {
public:
    // One set of elements that all received exactly the same modification.
    struct ModifiedElset {
        int hashKey = 0; // masked hash of the two lists (see FillInAddedElements for the extra set)
        int hashRank = 0;                // 1-based position in its hash bucket when it was made
        std::set<int> elements;          // element ids, ascending
        std::vector<int> addedMaterials; // item 4 of block 840
        std::vector<int> plies;          // item 5 of block 840
    };

    // An empty file object on `fileName`: header text set and all seventeen blocks present and
    // empty. Nothing is read until Read.
    explicit OnfModifFile(const std::wstring& fileName);
    // Writes nothing.
    ~OnfModifFile() override;
    OnfModifFile(const OnfModifFile&) = delete;
    OnfModifFile& operator=(const OnfModifFile&) = delete;

    // Loads the file; blocks of the file replace the empty ones. Reading failures pass through.
    void Read();
    // Writes the whole file anew.
    void Write() const;
    // Sets the flags of the special instructions of block 800 (exact, case-sensitive texts).
    // Flags are only ever set; unknown texts are ignored.
    void ReadSpecialModInstruction();
    // Builds the children map, the parent set, and the sets of modified, deleted nodes and
    // deleted elements. Meant to run once, after Read: a second call appends children again.
    void BuildModificationLists();

    bool GetBailoutFlag() const { return m_BailoutFlag; }
    bool GetSFilmFlag() const { return m_SFilmFlag; }
    bool GetSimFlag() const { return m_SimFlag; }
    const QSV_IntSetIntvl<int>& GetDelElemSet() const { return m_DeletedElements; }
    const QSV_IntSetIntvl<int>& GetDelNodeSet() const { return m_DeletedNodes; }
    bool IsDelElem(int elementId) const;
    bool IsDelNode(int nodeId) const;
    bool HasAnyDelElem() const { return !m_DeletedElements.IsEmpty(); }
    // True at the first listed id that is deleted (modified, split); false for an empty list.
    bool AnyElementDeleted(const std::vector<int>& elementIds) const;
    bool AnyElementModified(const std::vector<int>& elementIds) const;
    bool AnyElementHasChildren(const std::vector<int>& elementIds) const;
    // Record indices of block 841 of the element's children, in record order; an empty vector
    // for an element without children. Valid until the next BuildModificationLists.
    const std::vector<size_t>& GetElementChildren(int elementId) const;

    // Uses `mapping` (item 1: the node whose position to take) in GetNewNodePosition. Not owned:
    // the caller keeps the block alive while it is set.
    void SetNodesMapping(const OnfBlock& mapping);
    // The new position of a node from block 810, through the node mapping if one is set;
    // `found` false and the zero vector for a node that was not moved. Non-const by contract:
    // client code binds it as a member of a modifiable file object.
    BrelonMatrix<3, 1, double> GetNewNodePosition(int nodeId, bool& found);

    // Any of blocks 821, 842, 825, 890 has a record.
    bool HasElemModData() const;
    // Any of blocks 821, 842 has a record.
    bool HasMatModData() const;
    // The block has a record. A block the file object does not hold fails in the block lookup.
    bool IsBlockModified(QSV_OnfId blockId) const;
    size_t GetNumAddLoadcases() const;
    // For record index `recordIdx` of block 879: a force or moment marker is set and neither
    // other marker is. Fails with "No marker is set within OnfBlock 879, this is an internal
    // error." ("114467180711") when all four markers are zero.
    bool IsOnlyForceOrMomentActiv(size_t recordIdx) const;
    // Copies one record of `block` (laid out as block 821) into `mat`; its flags and values
    // must already hold five elements each and are written in place.
    void GetAddedMat(const OnfBlock& block, size_t recordIdx, OnfAddMaterial::AddMat& mat) const;

    // Clusters the added materials towards `targetCount` (below 1: the number of added
    // materials) and redirects the references of blocks 840 and 841. Meant to run once.
    void ReduceMaterials(int targetCount);
    // Redirects the ply references of block 840 from plies equal in all but their id to the
    // first of them. Block 825 keeps every record.
    void ReducePlies();

    // Splits `groupElements` into sets of modified elements with identical modifications
    // (`modifiedSets`, in the order of their smallest element) and the unmodified rest
    // (`remainingElements`). Both results are replaced.
    void GenerateModifGroups(const QSV_IntSetIntvl<int>& groupElements,
                             QSV_IntSetIntvl<int>& remainingElements,
                             std::vector<ModifiedElset>& modifiedSets) const;
    // Adds the children of split elements to the sets: a child of a set's element joins when its
    // material is one of the set's; all children of `remainingElements` form one extra set.
    void FillInAddedElements(const QSV_IntSetIntvl<int>& remainingElements,
                             std::vector<ModifiedElset>& modifiedSets) const;

private:
    static size_t HashValue(const ModifiedElset& set, size_t mask);
    void ClearHashToIdxMap() const;
    // Replaces in item `item` of every record of block 840 (and item 4 of block 841 when `item`
    // is 4) each id that `idMap` holds by its mapped id. A changed list gets a new list entry.
    void ReplaceModElemItems(const BrelonRadixTrieMap<int, int>& idMap,
                             QSV_DataRecordItem::DataRecordItem item);

    std::wstring m_FileName;
    std::string m_FileHeader;
    bool m_SimFlag = false;
    bool m_SFilmFlag = false;
    bool m_BailoutFlag = false;
    OnfMaterialsReducer m_MaterialsReducer;
    BrelonRadixTrieMap<int, std::vector<size_t>> m_ElementChildren;
    std::vector<size_t> m_NoChildren;
    IntSetBitArray* m_ParentElements = nullptr;
    mutable std::vector<std::vector<size_t>> m_HashToIdxMap;
    QSV_IntSetIntvl<int> m_ModifiedElements;
    QSV_IntSetIntvl<int> m_DeletedNodes;
    QSV_IntSetIntvl<int> m_DeletedElements;
    const OnfBlock* m_NodesMapping = nullptr;
    BrelonStringsPool m_StringsPool;
};
