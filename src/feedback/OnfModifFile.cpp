// The modification file: construction, reading and writing, the special instructions, the
// look-up lists and the queries on single nodes and elements.
#include "OnfModifFile.h"

#include "BrelonLineInput.h"
#include "OnfAddedMaterialDetail.h"
#include "OnfBlockTextReader.h"
#include "OnfConstants.h"
#include "QSV_Failure.h"
#include "block/OnfBlockDetail.h"

#include <algorithm>
#include <cstring>

namespace {

const char* const kTag = "|%P|BrelonOnfEngine|OnfModifFile";

// The blocks of the file, in the order they are made and written.
const QSV_OnfId kModifBlocks[] = {
    static_cast<QSV_OnfId>(800), static_cast<QSV_OnfId>(810), static_cast<QSV_OnfId>(811),
    static_cast<QSV_OnfId>(812), static_cast<QSV_OnfId>(821), static_cast<QSV_OnfId>(825),
    static_cast<QSV_OnfId>(831), static_cast<QSV_OnfId>(840), static_cast<QSV_OnfId>(841),
    static_cast<QSV_OnfId>(842), static_cast<QSV_OnfId>(850), static_cast<QSV_OnfId>(876),
    static_cast<QSV_OnfId>(877), static_cast<QSV_OnfId>(878), static_cast<QSV_OnfId>(879),
    static_cast<QSV_OnfId>(880), static_cast<QSV_OnfId>(890)};

constexpr QSV_OnfId kSpecialInstructions = static_cast<QSV_OnfId>(800);
constexpr QSV_OnfId kNewNodePositions = static_cast<QSV_OnfId>(810);
constexpr QSV_OnfId kDeletedNodes = static_cast<QSV_OnfId>(812);
constexpr QSV_OnfId kAddedMaterials = static_cast<QSV_OnfId>(821);
constexpr QSV_OnfId kAddedPlies = static_cast<QSV_OnfId>(825);
constexpr QSV_OnfId kModifiedElements = static_cast<QSV_OnfId>(840);
constexpr QSV_OnfId kChildElements = static_cast<QSV_OnfId>(841);
constexpr QSV_OnfId kDeletedElements = static_cast<QSV_OnfId>(842);
constexpr QSV_OnfId kLoadMarkers = static_cast<QSV_OnfId>(879);
constexpr QSV_OnfId kAddedLoadcases = static_cast<QSV_OnfId>(880);
constexpr QSV_OnfId kElementModData = static_cast<QSV_OnfId>(890);

// Whether a block has a set record; a scan from the end that stops at the first one.
bool BlockHasRecord(const OnfBlock& block) {
    return block.GetMaxIndex() >= 0;
}

// Interval membership over the flat run bounds: a lower bound at an odd position lies inside a
// run, and so does a value equal to the bound found (the first value of a run).
bool IsInIntervals(const QSV_IntSetIntvl<int>& set, int value) {
    const std::vector<int>& bounds = set.GetBounds();
    const auto found = std::lower_bound(bounds.begin(), bounds.end(), value);
    if (found == bounds.end()) {
        return false;
    }
    const size_t position = static_cast<size_t>(found - bounds.begin());
    return (position & 1) != 0 || *found == value;
}

bool AnyIn(const QSV_IntSetIntvl<int>& set, const std::vector<int>& ids) {
    if (set.IsEmpty()) {
        return false;
    }
    return std::any_of(ids.begin(), ids.end(), [&set](int id) { return set.Has(id); });
}

// Adds the integer lists of item `item` of every record of `block` to `set`. The first non-empty
// list is assigned (sorted, duplicates dropped); later ones are sorted and added run by run, so a
// deck with a few large lists costs one insertion per run, not per id.
void GatherIdLists(const OnfBlock& block, QSV_DataRecordItem::DataRecordItem item,
                   QSV_IntSetIntvl<int>& set) {
    std::vector<int> sorted;
    onf_detail::ForEachRecord(block, [&](size_t index) {
        const std::vector<int>& list = block.GetIntList(index, item);
        if (list.empty()) {
            return;
        }
        if (set.IsEmpty()) {
            set = list;
            return;
        }
        sorted = list;
        std::sort(sorted.begin(), sorted.end());
        size_t start = 0;
        for (size_t k = 1; k <= sorted.size(); ++k) {
            // A run ends where the next value exceeds its predecessor plus one; duplicates stay.
            // The comparison is done in 64 bits so that INT_MAX has no successor to overflow to.
            if (k == sorted.size() ||
                static_cast<long long>(sorted[k]) > static_cast<long long>(sorted[k - 1]) + 1) {
                set.InsertRange(sorted[start], sorted[k - 1]);
                start = k;
            }
        }
    });
}

} // namespace

OnfModifFile::OnfModifFile(const std::wstring& fileName)
    : m_FileName(fileName), m_MaterialsReducer(*this), m_HashToIdxMap(0x10000),
      m_StringsPool(0x10000) {
    m_FileHeader.append(ONF_COMMENT_MARK).append(" ").append(const_onf_version).append("\n");
    m_FileHeader.append(ONF_COMMENT_MARK).append(" ").append(const_onf_mod_file).append("\n");
    m_FileHeader.append(ONF_COMMENT_MARK).append("\n");
    InitDb(QSV_DatabaseDefs::ACCESS_READ_WRITE, 1024, std::wstring(), nullptr);
    SetHeader(m_FileHeader);
    for (QSV_OnfId id : kModifBlocks) {
        AddEmptyBlock(id);
    }
}

OnfModifFile::~OnfModifFile() {
    ReleaseDb(false);
    delete m_ParentElements;
    m_ParentElements = nullptr;
    m_NodesMapping = nullptr;
}

void OnfModifFile::Read() {
    QSV_LOG(LOG_INFO, kTag, "Reading modification instructions from ONF file:");
    QSV_LOG(LOG_INFO, kTag, "%s", BrelonStringUtil::wide_to_utf8(m_FileName.c_str()).c_str());
    ReadFile(m_FileName, LOAD_REPLACE_BLOCKS);
}

void OnfModifFile::Write() const {
    QSV_LOG(LOG_INFO, kTag, "Writing ONF modification file %s",
            BrelonStringUtil::wide_to_utf8(m_FileName.c_str()).c_str());
    WriteFile(m_FileName);
}

void OnfModifFile::ReadSpecialModInstruction() {
    const OnfBlock& block = GetBlock(kSpecialInstructions);
    onf_detail::ForEachRecord(block, [&](size_t index) {
        // Whole-text, case-sensitive comparison: a blank in front of a keyword makes it another
        // instruction, which the engine does not know and passes over.
        const char* text = block.GetString(index, QSV_DataRecordItem::ItemInstructionText);
        if (std::strcmp(text, "MSC_NASTRAN_BAILOUT") == 0) {
            m_BailoutFlag = true;
        } else if (std::strcmp(text, "KEEP_SFILM") == 0) {
            m_SFilmFlag = true;
        } else if (std::strcmp(text, "FORCE_SIM_YES") == 0) {
            m_SimFlag = true;
        }
    });
}

void OnfModifFile::BuildModificationLists() {
    QSV_LOG(LOG_DETAIL, kTag, "Building modification lists");
    const OnfBlock& children = GetBlock(kChildElements);
    onf_detail::ForEachRecord(children, [&](size_t index) {
        m_ElementChildren[children.GetInt(index, QSV_DataRecordItem::ItemChildParent)].push_back(
            index);
    });
    if (!m_ElementChildren.IsEmpty()) {
        std::vector<int> parents;
        parents.reserve(m_ElementChildren.Size());
        m_ElementChildren.ForEach(
            [&parents](int parent, const std::vector<size_t>&) { parents.push_back(parent); });
        // A repeated call replaces the parent set; the earlier one is freed, not leaked.
        delete m_ParentElements;
        m_ParentElements = nullptr;
        m_ParentElements = new IntSetBitArray(parents);
    }
    if (m_ModifiedElements.IsEmpty()) {
        GetBlock(kModifiedElements).GetIdSet(m_ModifiedElements, QSV_DataRecordItem::ITEM_ID);
    }
    if (m_DeletedNodes.IsEmpty()) {
        GatherIdLists(GetBlock(kDeletedNodes), QSV_DataRecordItem::ItemDeletedIds, m_DeletedNodes);
    }
    if (m_DeletedElements.IsEmpty()) {
        GatherIdLists(GetBlock(kDeletedElements), QSV_DataRecordItem::ItemDeletedIds,
                      m_DeletedElements);
    }
}

bool OnfModifFile::IsDelElem(int elementId) const {
    return IsInIntervals(m_DeletedElements, elementId);
}

bool OnfModifFile::IsDelNode(int nodeId) const {
    return IsInIntervals(m_DeletedNodes, nodeId);
}

bool OnfModifFile::AnyElementDeleted(const std::vector<int>& elementIds) const {
    return AnyIn(m_DeletedElements, elementIds);
}

bool OnfModifFile::AnyElementModified(const std::vector<int>& elementIds) const {
    return AnyIn(m_ModifiedElements, elementIds);
}

bool OnfModifFile::AnyElementHasChildren(const std::vector<int>& elementIds) const {
    return std::any_of(elementIds.begin(), elementIds.end(),
                       [this](int id) { return m_ElementChildren.Has(id); });
}

const std::vector<size_t>& OnfModifFile::GetElementChildren(int elementId) const {
    if (m_ParentElements == nullptr || !m_ParentElements->HasItem(elementId)) {
        return m_NoChildren;
    }
    const std::vector<size_t>* children = m_ElementChildren.Find(elementId);
    return children != nullptr ? *children : m_NoChildren;
}

void OnfModifFile::SetNodesMapping(const OnfBlock& mapping) {
    m_NodesMapping = &mapping;
}

BrelonMatrix<3, 1, double> OnfModifFile::GetNewNodePosition(int nodeId, bool& found) {
    int lookupId = nodeId;
    if (m_NodesMapping != nullptr) {
        QSV_LOG(LOG_DETAIL, kTag, "Processing GetNewNodePosition for orig node = %d", nodeId);
        const long long mapped = m_NodesMapping->GetRecordIdx(nodeId);
        if (mapped >= 0) {
            lookupId = m_NodesMapping->GetInt(static_cast<size_t>(mapped),
                                              static_cast<QSV_DataRecordItem::DataRecordItem>(1));
            QSV_LOG(LOG_DETAIL, kTag,
                    "Processing Position for orig node = %d changed with the one corresponding "
                    "of node = %d",
                    nodeId, lookupId);
        } else {
            QSV_LOG(LOG_WARNING, kTag,
                    "For node_id = %d there is no corresponding node in the table-mapping file.",
                    nodeId);
        }
    }
    const OnfBlock& positions = GetBlock(kNewNodePositions);
    const long long index = positions.GetRecordIdx(lookupId);
    found = index >= 0;
    if (!found) {
        return BrelonMatrix<3, 1, double>();
    }
    return positions.GetVector(static_cast<size_t>(index), QSV_DataRecordItem::ItemNewPosition);
}

bool OnfModifFile::HasElemModData() const {
    return BlockHasRecord(GetBlock(kAddedMaterials)) ||
           BlockHasRecord(GetBlock(kDeletedElements)) || BlockHasRecord(GetBlock(kAddedPlies)) ||
           BlockHasRecord(GetBlock(kElementModData));
}

bool OnfModifFile::HasMatModData() const {
    return BlockHasRecord(GetBlock(kAddedMaterials)) || BlockHasRecord(GetBlock(kDeletedElements));
}

bool OnfModifFile::IsBlockModified(QSV_OnfId blockId) const {
    // A block number the file object does not hold is a caller's mistake, not an unmodified
    // block: the block lookup fails for it, as every other block lookup does.
    return BlockHasRecord(GetBlock(blockId));
}

size_t OnfModifFile::GetNumAddLoadcases() const {
    return GetBlock(kAddedLoadcases).GetNumRecords();
}

bool OnfModifFile::IsOnlyForceOrMomentActiv(size_t recordIdx) const {
    const OnfBlock& block = GetBlock(kLoadMarkers);
    const int force = block.GetInt(recordIdx, QSV_DataRecordItem::ItemMarkerForce);
    const int moment = block.GetInt(recordIdx, QSV_DataRecordItem::ItemMarkerMoment);
    const int otherA = block.GetInt(recordIdx, QSV_DataRecordItem::ItemMarkerOtherA);
    const int otherB = block.GetInt(recordIdx, QSV_DataRecordItem::ItemMarkerOtherB);
    if (force == 0 && moment == 0 && otherA == 0 && otherB == 0) {
        onf_detail::ThrowFailure("114467180711", kTag,
                                 "No marker is set within OnfBlock 879, this is an internal "
                                 "error.");
    }
    return (force != 0 || moment != 0) && otherA == 0 && otherB == 0;
}

void OnfModifFile::GetAddedMat(const OnfBlock& block, size_t recordIdx,
                               OnfAddMaterial::AddMat& mat) const {
    // Written in place: the caller sized both vectors, and a short one takes what fits.
    onf_detail::ReadAddedMaterial(block, recordIdx, mat);
}

void OnfModifFile::ReduceMaterials(int targetCount) {
    const OnfBlock& materials = GetBlock(kAddedMaterials);
    if (!BlockHasRecord(materials) && !BlockHasRecord(GetBlock(kDeletedNodes)) &&
        !BlockHasRecord(GetBlock(kDeletedElements))) {
        return;
    }
    BrelonRadixTrieMap<int, int> idMap;
    const size_t target =
        targetCount < 1 ? materials.GetNumRecords() : static_cast<size_t>(targetCount);
    m_MaterialsReducer.ClusterMaterials(target, idMap);
    ReplaceModElemItems(idMap, QSV_DataRecordItem::ItemElemAddedMaterials);
}
