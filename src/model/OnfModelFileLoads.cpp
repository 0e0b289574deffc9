// The model file: loadcases, loads, constraints, rigid elements, contact and CFD data.
#include "OnfModelFile.h"

#include "OnfModelFileDetail.h"
#include "QSV_Failure.h"
#include "block/OnfBlockDetail.h"

#include <cstdint>
#include <memory>

using onf_detail::BlockId;
using onf_detail::ItemNr;
using onf_detail::kModelTag;

namespace {

// Ids of the single forces and displacements are unique across every model of the process, so
// that decks merged later never clash. Not guarded: a process builds its models on one thread.
onf_detail::LoadItemIds s_LoadItemIds;

// Fails before a set is made when a counter at `next` cannot give `count` more 32-bit ids.
void CheckLoadItemIdsLeft(long long next, size_t count, const char* what) {
    if (count > 0) {
        onf_detail::FirstFreeId(next - 1, count, kModelTag, what);
    }
}

// 32-bit wrap-around, as the keys of constraint and rigid-element sets are defined.
int WrappedKey(size_t runningNumber, int factor, int hash) {
    const uint32_t key = static_cast<uint32_t>(runningNumber) * static_cast<uint32_t>(factor) +
                         static_cast<uint32_t>(hash);
    return static_cast<int>(key);
}

// Writes a force or displacement record: node, system and six components.
template <typename Entry>
void SetLoadItem(OnfBlock& block, size_t index, const Entry& entry) {
    block.SetRecordItem(index, ItemNr(1), entry.node);
    block.SetRecordItem(index, ItemNr(2), entry.cs);
    for (int k = 0; k < 6; ++k) {
        block.SetRecordItem(index, ItemNr(3 + k), entry.values[k]);
    }
}

// Adds the ids to item 3 of a load set and stores its size in item 1.
void CloseLoadSet(OnfBlock& block, size_t index, const std::vector<int>& ids) {
    block.ExtendIntList(index, ItemNr(3), ids);
    block.TransferSetSize(index, ItemNr(3), ItemNr(1));
}

} // namespace

onf_detail::LoadItemIds& onf_detail::ProcessLoadItemIds() {
    return s_LoadItemIds;
}

bool OnfModelFile::AppendLoadcase(const OnfLoadcase::LcData& data) {
    OnfBlock& block = GetBlock(BlockId(onf_detail::ONF_LOADCASES));
    bool created = false;
    const size_t index = block.GetWarrantedRecordIdx(data.id, created);
    if (!created) {
        return false;
    }
    const std::string name =
        data.name.empty() ? "temp_loadcase_name" + std::to_string(data.id) : data.name;
    block.SetRecordItem(index, ItemNr(1), name);
    block.SetRecordItem(index, ItemNr(2), data.analysisType);
    const std::vector<int>* lists[6] = {&data.forceSets,      &data.displacementSets,
                                        &data.constraints,    &data.accelerations,
                                        &data.loadedNodeSets, &data.loadedElementSets};
    for (int k = 0; k < 6; ++k) {
        block.SetRecordItem(index, ItemNr(9 + k), data.options[k]);
        block.SetRecordItem(index, ItemNr(15 + k), *lists[k], ONF_INT_LIST_SORTED);
        block.TransferSetSize(index, ItemNr(15 + k), ItemNr(3 + k));
    }
    return true;
}

bool OnfModelFile::AppendAcceleration(int id, const OnfAcceleration::AccelData& data) {
    OnfBlock& block = GetBlock(BlockId(onf_detail::ONF_ACCELERATIONS));
    bool created = false;
    const size_t index = block.GetWarrantedRecordIdx(id, created);
    if (!created) {
        return false;
    }
    block.SetRecordItem(index, ItemNr(1), data.translationFlag);
    block.SetRecordItem(index, ItemNr(2), data.translation);
    block.SetRecordItem(index, ItemNr(3), data.rotationFlag);
    block.SetRecordItem(index, ItemNr(4), data.angularVelocity);
    block.SetRecordItem(index, ItemNr(5), data.angularAccelerationFlag);
    block.SetRecordItem(index, ItemNr(6), data.angularAcceleration);
    for (int k = 0; k < 3; ++k) {
        block.SetRecordItem(index, ItemNr(7 + k), data.options[k]);
    }
    block.SetRecordItem(index, ItemNr(10), data.rotationCentre);
    block.SetRecordItem(index, ItemNr(11), static_cast<int>(data.targetType));
    switch (data.targetType) {
    case OnfAcceleration::TARGET_NODE_GROUP:
    case OnfAcceleration::TARGET_ELEMENT_GROUP:
        block.SetRecordItem(index, ItemNr(12), data.targetName);
        break;
    case OnfAcceleration::TARGET_NODE_IDS:
    case OnfAcceleration::TARGET_ELEMENT_IDS:
        block.SetRecordItem(index, ItemNr(12), std::string("(empty)"));
        break;
    default:
        break;
    }
    block.SetRecordItem(index, ItemNr(14), data.targets, ONF_INT_LIST_SORTED);
    block.TransferSetSize(index, ItemNr(14), ItemNr(13));
    return true;
}

bool OnfModelFile::AppendNodalForces(
    int id, const std::string& name,
    const BrelonRadixTrieMap<int, OnfNodalForces::NodalForce>& forces) {
    OnfBlock& sets = GetBlock(BlockId(onf_detail::ONF_FORCE_SETS));
    long long& next = s_LoadItemIds.nextForce;
    if (!sets.HasRecord(id)) {
        CheckLoadItemIdsLeft(next, forces.Size(), "nodal force");
    }
    bool created = false;
    const size_t setIndex = sets.GetWarrantedRecordIdx(id, created);
    if (!created) {
        return false;
    }
    sets.SetRecordItem(setIndex, ItemNr(2), name);
    OnfBlock& items = GetBlock(BlockId(onf_detail::ONF_FORCE_ITEMS));
    std::vector<int> ids;
    bool lastCreated = false;
    for (auto it = forces.begin(); it != forces.end(); ++it) {
        const size_t index = items.GetWarrantedRecordIdx(static_cast<int>(next), lastCreated);
        if (!lastCreated) {
            continue;
        }
        SetLoadItem(items, index, it->second);
        ids.push_back(static_cast<int>(next++));
    }
    CloseLoadSet(sets, setIndex, ids);
    return lastCreated;
}

bool OnfModelFile::AppendPrescribedDisplacements(
    int id, const std::string& name,
    const std::map<int, OnfNodalDisplacements::NodalDisplacement>& displacements) {
    OnfBlock& sets = GetBlock(BlockId(onf_detail::ONF_DISP_SETS));
    long long& next = s_LoadItemIds.nextDisplacement;
    if (!sets.HasRecord(id)) {
        CheckLoadItemIdsLeft(next, displacements.size(), "prescribed displacement");
    }
    bool created = false;
    const size_t setIndex = sets.GetWarrantedRecordIdx(id, created);
    if (!created) {
        return false;
    }
    sets.SetRecordItem(setIndex, ItemNr(2), name);
    OnfBlock& items = GetBlock(BlockId(onf_detail::ONF_DISP_ITEMS));
    std::vector<int> ids;
    for (const auto& entry : displacements) {
        bool itemCreated = false;
        const size_t index = items.GetWarrantedRecordIdx(static_cast<int>(next), itemCreated);
        SetLoadItem(items, index, entry.second);
        ids.push_back(static_cast<int>(next++));
    }
    CloseLoadSet(sets, setIndex, ids);
    return true;
}

bool OnfModelFile::AppendIdSet(QSV_OnfId blockId, int id, const std::vector<int>& values) {
    OnfBlock& block = GetBlock(blockId);
    bool created = false;
    const size_t index = block.GetWarrantedRecordIdx(id, created);
    if (!created) {
        return false;
    }
    block.SetRecordItem(index, ItemNr(2), values, ONF_INT_LIST_SORTED);
    block.TransferSetSize(index, ItemNr(2), ItemNr(1));
    return true;
}

bool OnfModelFile::AppendLoadedNodes(int id, const std::vector<int>& nodes) {
    return AppendIdSet(BlockId(onf_detail::ONF_LOADED_NODES), id, nodes);
}

bool OnfModelFile::AppendLoadedElements(int id, const std::vector<int>& elements) {
    return AppendIdSet(BlockId(onf_detail::ONF_LOADED_ELEMENTS), id, elements);
}

bool OnfModelFile::AppendConnectorNodes(int id, const std::vector<int>& nodes) {
    return AppendIdSet(BlockId(onf_detail::ONF_CONNECTORS), id, nodes);
}

bool OnfModelFile::AppendSinglePointConstraint(int id, const std::vector<int>& dofs,
                                               const std::vector<int>& nodes) {
    OnfBlock& constraints = GetBlock(BlockId(onf_detail::ONF_SPCS));
    OnfBlock& sets = GetBlock(BlockId(onf_detail::ONF_SPC_SETS));
    // Calls with no new constraint in between share the running number, so equal dofs share a
    // set; each new constraint opens new sets.
    const size_t runningNumber = constraints.GetNumRecords();
    bool constraintCreated = false;
    const size_t constraintIndex = constraints.GetWarrantedRecordIdx(id, constraintCreated);
    const int key = WrappedKey(runningNumber, 100, BrelonFemUtil::hash_dof_vector(dofs));
    bool setCreated = false;
    const size_t setIndex = sets.GetWarrantedRecordIdx(key, setCreated);
    if (!setCreated) {
        sets.ExtendIntList(setIndex, ItemNr(3), nodes);
        sets.TransferSetSize(setIndex, ItemNr(3), ItemNr(1));
        return true;
    }
    sets.SetRecordItem(setIndex, ItemNr(2), dofs, ONF_INT_LIST_ORDERED);
    sets.SetRecordItem(setIndex, ItemNr(3), nodes, ONF_INT_LIST_SORTED);
    sets.TransferSetSize(setIndex, ItemNr(3), ItemNr(1));
    if (constraintCreated) {
        constraints.SetRecordItem(constraintIndex, ItemNr(1), 1);
        constraints.SetRecordItem(constraintIndex, ItemNr(2), std::vector<int>{key},
                                  ONF_INT_LIST_SORTED);
    } else {
        constraints.ExtendIntList(constraintIndex, ItemNr(2), key);
        constraints.TransferSetSize(constraintIndex, ItemNr(2), ItemNr(1));
    }
    return true;
}

bool OnfModelFile::AppendRbe(int id, const OnfRbe::RbeData& data) {
    if (!m_ReadFEMData) {
        return true;
    }
    OnfBlock& rbes = GetBlock(BlockId(onf_detail::ONF_RBES));
    size_t runningNumber = rbes.GetNumRecords();
    bool created = false;
    const size_t index = rbes.GetWarrantedRecordIdx(id, created);
    if (created) {
        bool inserted = false;
        m_RbeMap.Insert(id, runningNumber, inserted);
        if (!inserted) {
            onf_detail::ThrowFailure("120319092811", kModelTag,
                                     "RBE with id %d already contained in the internal "
                                     "data-structures, and it shouldn't be!",
                                     id);
        }
    } else {
        const size_t* known = m_RbeMap.Find(id);
        if (known == nullptr) {
            onf_detail::ThrowFailure("120319093244", kModelTag,
                                     "RBE with id %d not found in the internal data-structures!",
                                     id);
        }
        runningNumber = *known;
    }
    const int key = WrappedKey(runningNumber, 200, BrelonFemUtil::hash_dof_vector(data.dofs));
    const int dependentKey = static_cast<int>(static_cast<uint32_t>(key) + 100u);
    OnfBlock& sets = GetBlock(BlockId(onf_detail::ONF_RBE_SETS));
    const bool independentAdded = AppendRbeNodes(key, data.dofs, data.independentNodes, sets);
    const bool dependentAdded = AppendRbeNodes(dependentKey, data.dofs, data.dependentNodes, sets);
    if (independentAdded) {
        rbes.ExtendIntList(index, ItemNr(4), key);
        rbes.TransferSetSize(index, ItemNr(4), ItemNr(3));
    }
    if (dependentAdded) {
        rbes.ExtendIntList(index, ItemNr(2), dependentKey);
        rbes.TransferSetSize(index, ItemNr(2), ItemNr(1));
    }
    return true;
}

bool OnfModelFile::AppendRbeNodes(int key, const std::vector<int>& dofs,
                                  const std::vector<int>& nodes, OnfBlock& block) {
    if (nodes.empty()) {
        return false;
    }
    bool created = false;
    const size_t index = block.GetWarrantedRecordIdx(key, created);
    if (created) {
        block.SetRecordItem(index, ItemNr(2), dofs, ONF_INT_LIST_ORDERED);
        block.SetRecordItem(index, ItemNr(3), nodes, ONF_INT_LIST_SORTED);
    } else {
        block.ExtendIntList(index, ItemNr(3), nodes);
    }
    block.TransferSetSize(index, ItemNr(3), ItemNr(1));
    return true;
}

bool OnfModelFile::AppendConvectionSet(int id, const std::vector<int>& elements,
                                       const std::vector<int>& faces, double filmCoefficient,
                                       double ambientTemperature) {
    OnfBlock& block = GetBlock(BlockId(onf_detail::ONF_CONVECTION_SETS));
    bool created = false;
    const size_t index = block.GetWarrantedRecordIdx(id, created);
    if (!created) {
        return false;
    }
    block.SetRecordItem(index, ItemNr(1), filmCoefficient);
    block.SetRecordItem(index, ItemNr(2), ambientTemperature);
    block.SetRecordItem(index, ItemNr(4), elements, ONF_INT_LIST_ORDERED);
    block.SetRecordItem(index, ItemNr(5), faces, ONF_INT_LIST_ORDERED);
    block.TransferSetSize(index, ItemNr(4), ItemNr(3));
    return true;
}

bool OnfModelFile::AppendContactSurface(int id, const QSV_IntSetIntvl<int>& first,
                                        const QSV_IntSetIntvl<int>& second) {
    const onf_detail::ModelBlock blocks[2] = {onf_detail::ONF_CONTACT_FIRST,
                                              onf_detail::ONF_CONTACT_SECOND};
    const QSV_IntSetIntvl<int>* sides[2] = {&first, &second};
    std::vector<int> ids;
    for (int k = 0; k < 2; ++k) {
        OnfBlock& block = GetBlock(BlockId(blocks[k]));
        bool created = false;
        const size_t index = block.GetWarrantedRecordIdx(id, created);
        if (!created) {
            continue;
        }
        sides[k]->GetValues(ids);
        block.SetRecordItem(index, ItemNr(1), static_cast<int>(ids.size()));
        block.SetRecordItem(index, ItemNr(2), ids, ONF_INT_LIST_SORTED);
    }
    return true;
}

bool OnfModelFile::AppendCFDFaceGroup(const char* name, const QSV_IntSetIntvl<int>& ids) {
    if (!m_ReadFEMData) {
        return true;
    }
    std::vector<int> values;
    ids.GetValues(values);
    QSV_DataBlock& block =
        FetchDataBlock(QSV_DataDescriptor(BlockId(onf_detail::ONF_CFD_FACE_GROUPS)), size_t(0));
    QSV_IdDataBlock adapter(block, GetIdMapsPool(), true);
    std::unique_ptr<QSV_IdDataRecord> record(adapter.CreateIdDataRecord());
    record->SetIntList(1, values);
    adapter.SetRecord(std::string(name), *record);
    return true;
}

bool OnfModelFile::AppendCFDFluidBoundary(int value, const char* name) {
    if (!m_ReadFEMData) {
        return true;
    }
    OnfBlock& block = AddEmptyBlock(BlockId(onf_detail::ONF_CFD_BOUNDARIES));
    // The next id by count, not by the highest id: boundaries are running numbers.
    const int id = static_cast<int>(block.GetNumRecords()) + 1;
    bool created = false;
    const size_t index = block.GetWarrantedRecordIdx(id, created);
    if (created) {
        block.SetRecordItem(index, ItemNr(1), value);
        block.SetRecordItem(index, ItemNr(2), std::string(name));
    }
    return true;
}

size_t OnfModelFile::GetNumLoadcase() const {
    return GetBlock(BlockId(onf_detail::ONF_LOADCASES)).GetNumRecords();
}

size_t OnfModelFile::GetNumAccelerations() const {
    return GetBlock(BlockId(onf_detail::ONF_ACCELERATIONS)).GetNumRecords();
}

size_t OnfModelFile::GetNumNodalForces() const {
    return GetBlock(BlockId(onf_detail::ONF_FORCE_SETS)).GetNumRecords();
}

size_t OnfModelFile::GetNumPrescribedDisplacements() const {
    return GetBlock(BlockId(onf_detail::ONF_DISP_SETS)).GetNumRecords();
}

size_t OnfModelFile::GetNumLoadedNodes() const {
    return GetBlock(BlockId(onf_detail::ONF_LOADED_NODES)).GetNumRecords();
}

size_t OnfModelFile::GetNumLoadedElements() const {
    return GetBlock(BlockId(onf_detail::ONF_LOADED_ELEMENTS)).GetNumRecords();
}

size_t OnfModelFile::GetNumRBE() const {
    return GetBlock(BlockId(onf_detail::ONF_RBES)).GetNumRecords();
}
