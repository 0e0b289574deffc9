// Sensitivity outputs of requests for blocks 641 to 643: decoding block 440 with its sets and
// orientations, merging identical sets, and writing the definitions back.
#include "OnfResultRequestFile.h"

#include "OnfResultRequestFileDetail.h"
#include "QSV_Failure.h"

#include <cstdio>
#include <memory>

using namespace onf_detail::rr;
using OnfSensitivity::SensitivityRequest;

namespace {
// Names of the values of the user output list, by value.
const char* const kUserOutputNames[] = {"None", "S", "PE"};
constexpr int kNumUserOutputs = 3;

// Output types whose results have no direction, so an orientation would mean nothing.
bool TakesNoOrientation(int type) {
    return type == 8 || type == 143 || type == 29;
}

// The order in which the sensitivity target blocks are visited everywhere.
const int kSensitivityTargets[] = {643, 641, 642};

// Replaces `name` by the set it was merged into, if any.
void RenameMergedSet(const std::map<std::string, std::string>& merged, std::string& name) {
    if (name.empty()) {
        return;
    }
    const std::map<std::string, std::string>::const_iterator found = merged.find(name);
    if (found != merged.end()) {
        name = found->second;
    }
}

// Walking `sets` in name order, maps every set whose content an earlier set has to that
// earlier set's name.
std::map<std::string, std::string> MergeEqualSets(const OnfResultRequestFile::SetMap& sets) {
    std::map<std::string, std::string> merged;
    std::map<std::vector<int>, const std::string*> firstOfContent;
    for (const OnfResultRequestFile::SetMap::value_type& entry : sets) {
        const std::pair<std::map<std::vector<int>, const std::string*>::iterator, bool> inserted =
            firstOfContent.emplace(entry.second.GetBounds(), &entry.first);
        if (!inserted.second) {
            merged.emplace(entry.first, *inserted.first->second);
        }
    }
    return merged;
}
} // namespace

// ---- Decoding -----------------------------------------------------------------------------------

// Builds the details of a sensitivity request from record `recordId` of block 440. Failures:
// "104923030917" for a missing record, and one without identifier for a user output value
// outside 0 to 2. Block 440 is fetched (found, or made empty), so that a file without it fails as
// a reference to a record it lacks, in the words of every other missing sensitivity record.
void OnfResultRequestFile::InitSensRrm(ResultRequest& request, int recordId) {
    const OnfBlock& block = AddEmptyBlock(kSensitivityBlock);
    const size_t index =
        SideRecordIndex(block, kSensitivityBlock, kSensitivityItems, recordId, "104923030917");
    std::unique_ptr<SensitivityRequest> details(new SensitivityRequest);
    block.GetString(index, SR_NAME, details->name);
    block.GetString(index, SR_LABEL, details->label);
    details->type = block.GetInt(index, SR_TYPE);
    details->qualifier = block.GetInt(index, SR_QUALIFIER);
    const std::vector<int>& outputs = block.GetIntList(index, SR_USER_OUTPUT_IDS);
    for (int value : outputs) {
        if (value < 0 || value >= kNumUserOutputs) {
            onf_detail::ThrowFailure(nullptr, kTag,
                                     "Invalid value found in onf block 440 for user_ouput_id");
        }
    }
    for (int value : outputs) {
        details->user_outputs.push_back(kUserOutputNames[value]);
    }
    if (block.GetInt(index, SR_HAS_NODE_SET) == 1) {
        block.GetString(index, SR_NODE_SET, details->node_set);
    }
    if (block.GetInt(index, SR_HAS_ELEMENT_SET) == 1) {
        block.GetString(index, SR_ELEMENT_SET, details->element_set);
    }
    const int systemType = block.GetInt(index, SR_CS_TYPE);
    if (systemType != -1 && !TakesNoOrientation(details->type) && !details->node_set.empty()) {
        const BrelonCoordinateSystem system(
            static_cast<BrelonCoordinateSystem::Type>(systemType),
            block.GetVector(index, SR_CS_ORIGIN), block.GetVector(index, SR_CS_AXIS_Z),
            block.GetVector(index, SR_CS_AXIS_X), BrelonCoordinateSystem::ANGLES_IN_DEGREES);
        AssignOrientation(system, *details);
    }
    details->substep = request.substep;
    details->time_flag = request.time_flag;
    details->time_value = request.time_value;
    request.details = std::move(details);
}

// Equal systems share one name; a new system is named by the count of systems so far, so the
// names run from "OPT_ORI_1" across the whole file.
void OnfResultRequestFile::AssignOrientation(const BrelonCoordinateSystem& system,
                                             SensitivityRequest& request) {
    for (const OrientationMap::value_type& entry : m_Orientations) {
        if (entry.second == system) {
            request.orientation = entry.first;
            return;
        }
    }
    char name[64];
    std::snprintf(name, sizeof name, "OPT_ORI_%d", static_cast<int>(m_Orientations.size() + 1));
    m_Orientations.emplace(name, system);
    request.orientation = name;
}

// Requests over sets of equal content all name the first of them in name order. The group
// blocks and GetSensitivityRequestsSets keep every set under its own name.
void OnfResultRequestFile::ReduceSensitivitySets() {
    SetMap nodeSets;
    SetMap elementSets;
    GetSensitivityRequestsSets(nodeSets, elementSets);
    const std::map<std::string, std::string> mergedNodeSets = MergeEqualSets(nodeSets);
    const std::map<std::string, std::string> mergedElementSets = MergeEqualSets(elementSets);
    if (mergedNodeSets.empty() && mergedElementSets.empty()) {
        return;
    }
    for (int target : kSensitivityTargets) {
        const RequestMap::iterator found = m_Rrm.find(static_cast<QSV_OnfId>(target));
        if (found == m_Rrm.end()) {
            continue;
        }
        for (ResultRequest& request : found->second) {
            SensitivityRequest* details = dynamic_cast<SensitivityRequest*>(request.details.get());
            if (details != nullptr) {
                RenameMergedSet(mergedNodeSets, details->node_set);
                RenameMergedSet(mergedElementSets, details->element_set);
            }
        }
    }
}

// ---- Queries ------------------------------------------------------------------------------------

bool OnfResultRequestFile::HasSensitivityRequests() const {
    for (int target : kSensitivityTargets) {
        if (m_Rrm.count(static_cast<QSV_OnfId>(target)) != 0) {
            return true;
        }
    }
    return false;
}

void OnfResultRequestFile::GetSensitivityRequests(
    int loadcase, std::vector<const SensitivityRequest*>& out) const {
    out.clear();
    for (int target : kSensitivityTargets) {
        const RequestMap::const_iterator found = m_Rrm.find(static_cast<QSV_OnfId>(target));
        if (found == m_Rrm.end()) {
            continue;
        }
        for (const ResultRequest& request : found->second) {
            if (request.loadcase == loadcase) {
                out.push_back(dynamic_cast<const SensitivityRequest*>(request.details.get()));
            }
        }
    }
}

namespace {
// The names in item `setItem` of every record of block 440 whose flag `flagItem` is not 0; true if
// there was any. A flag other than 0 counts here, though decoding takes a set only at a flag of 1.
bool CollectRequestedSets(const OnfBlock& block, OnfBlock::Item flagItem, OnfBlock::Item setItem,
                          std::set<std::string>& names) {
    CheckLayout(block, kSensitivityBlock, kSensitivityItems);
    bool any = false;
    std::string name;
    for (QSV_DataBlock::IndexIterator it = block.Begin(); it.IsValid(); ++it) {
        if (block.GetInt(*it, flagItem) != 0) {
            block.GetString(*it, setItem, name);
            names.insert(name);
            any = true;
        }
    }
    return any;
}
} // namespace

bool OnfResultRequestFile::IsNdGrpRequested(std::set<std::string>& names) const {
    return CollectRequestedSets(GetBlock(kSensitivityBlock), SR_HAS_NODE_SET, SR_NODE_SET, names);
}

bool OnfResultRequestFile::IsElGrpRequested(std::set<std::string>& names) const {
    return CollectRequestedSets(GetBlock(kSensitivityBlock), SR_HAS_ELEMENT_SET, SR_ELEMENT_SET,
                                names);
}

namespace {
// The wanted groups of a group block (keyed by names of its id map), by name.
void CollectSets(const OnfBlock& block, const QSV_IdMapsPool& pool,
                 const std::set<std::string>& wanted, OnfResultRequestFile::SetMap& sets) {
    CheckLayout(block, block.GetBlockId(), kGroupItems);
    const QSV_IdMap& names = pool.GetIdMap(block.GetBlockIdType());
    std::string name;
    for (QSV_DataBlock::IndexIterator it = block.Begin(); it.IsValid(); ++it) {
        names.GetId(*it, name);
        if (wanted.count(name) != 0) {
            sets[name] = block.GetIntList(*it, GROUP_ITEMS);
        }
    }
}
} // namespace

void OnfResultRequestFile::GetSensitivityRequestsSets(SetMap& nodeSets, SetMap& elementSets) const {
    nodeSets.clear();
    elementSets.clear();
    if (!HasBlock(kSensitivityBlock)) {
        return;
    }
    std::set<std::string> wantedElementSets;
    std::set<std::string> wantedNodeSets;
    const bool elements = IsElGrpRequested(wantedElementSets);
    const bool nodes = IsNdGrpRequested(wantedNodeSets);
    // A group block that a caller removed holds no sets.
    if (elements && HasBlock(kElementGroupBlock) &&
        GetBlock(kElementGroupBlock).GetBlockIdType() != ID_NONE) {
        CollectSets(GetBlock(kElementGroupBlock), GetIdMapsPool(), wantedElementSets, elementSets);
    }
    if (nodes && HasBlock(kNodeGroupBlock) &&
        GetBlock(kNodeGroupBlock).GetBlockIdType() != ID_NONE) {
        CollectSets(GetBlock(kNodeGroupBlock), GetIdMapsPool(), wantedNodeSets, nodeSets);
    }
}

const OnfResultRequestFile::OrientationMap&
OnfResultRequestFile::GetSensitivityRequestsOrientations() const {
    return m_Orientations;
}

// ---- Writing ------------------------------------------------------------------------------------

// Equal definitions are stored once and shared by every request that needs them.
size_t OnfResultRequestFile::AddRRSensRecord(OnfBlockSet& set,
                                             const SensitivityRequest& request) const {
    OnfBlock& block = set.AddEmptyBlock(kSensitivityBlock);
    std::unique_ptr<QSV_DataRecord> record(block.CreateDataRecord());
    FillRRSensRecord(*record, request);
    const size_t index = FindRecord(block, *record);
    if (index >= block.GetNumRecords()) {
        block.SetRecord(index, *record);
    }
    return index;
}

// Label and user outputs are not written, and the system is the caller's `coordinate_system`
// (a request read from a file has none, whatever its orientation).
void OnfResultRequestFile::FillRRSensRecord(QSV_DataRecord& record,
                                            const SensitivityRequest& request) const {
    record.SetString(SR_NAME, request.name);
    record.SetInteger(SR_TYPE, request.type);
    record.SetInteger(SR_QUALIFIER, request.qualifier);
    record.SetInteger(SR_HAS_NODE_SET, request.node_set.empty() ? 0 : 1);
    record.SetInteger(SR_HAS_ELEMENT_SET, request.element_set.empty() ? 0 : 1);
    record.SetString(SR_NODE_SET, request.node_set.empty() ? std::string("-") : request.node_set);
    record.SetString(SR_ELEMENT_SET,
                     request.element_set.empty() ? std::string("-") : request.element_set);
    const BrelonCoordinateSystem* system = request.coordinate_system;
    const double origin[3] = {0.0, 0.0, 0.0};
    const double axisZ[3] = {0.0, 0.0, 1.0};
    const double axisX[3] = {1.0, 0.0, 0.0};
    record.SetInteger(SR_CS_TYPE, system != nullptr ? static_cast<int>(system->type) : -1);
    record.SetVector(SR_CS_ORIGIN, system != nullptr ? &system->origin[0] : origin);
    record.SetVector(SR_CS_AXIS_Z, system != nullptr ? &system->zDirection[0] : axisZ);
    record.SetVector(SR_CS_AXIS_X, system != nullptr ? &system->xDirection[0] : axisX);
}
