// Clustering of the added materials of a modification file: the plan that shares a target count
// over the parent materials, the analysis of the five values of each set, the one-dimensional
// k-means, and the new averaged materials that replace block 821.
#include "OnfMaterialsReducer.h"

#include "BrelonNumerics.h"
#include "OnfAddedMaterialDetail.h"
#include "OnfBlockSet.h"
#include "QSV_Failure.h"
#include "block/OnfBlockDetail.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>

namespace {

const char* const kTag = "|%P|BrelonOnfEngine|OnfMaterialsReducer";

constexpr QSV_OnfId kAddedMaterials = static_cast<QSV_OnfId>(821);
constexpr size_t kNumValues = 5;
constexpr size_t kMaxIterations = 20000;
// Value 1 of an added material is the Young modulus, value 3 the thermal conductivity: the two
// properties a set with several varying values is clustered by, in this order of preference.
constexpr size_t kYoungModulus = 1;
constexpr size_t kThermalConductivity = 3;

QSV_DataRecordItem::DataRecordItem FlagItem(size_t k) {
    return static_cast<QSV_DataRecordItem::DataRecordItem>(QSV_DataRecordItem::ItemAddMatFlag0 +
                                                           static_cast<int>(k));
}

QSV_DataRecordItem::DataRecordItem ValueItem(size_t k) {
    return static_cast<QSV_DataRecordItem::DataRecordItem>(QSV_DataRecordItem::ItemAddMatValue0 +
                                                           static_cast<int>(k));
}

size_t CountDistinct(std::vector<double>& values) {
    std::sort(values.begin(), values.end());
    size_t count = values.empty() ? 0 : 1;
    for (size_t i = 1; i < values.size(); ++i) {
        count += values[i] != values[i - 1] ? 1 : 0;
    }
    return count;
}

} // namespace

OnfMaterialsReducer::OnfMaterialsReducer(OnfBlockSet& blockSet) : m_BlockSet(blockSet) {}

OnfMaterialsReducer::OnfMaterialsReducer(const OnfMaterialsReducer& other)
    : m_BlockSet(other.m_BlockSet), m_Block(other.m_Block), m_NewRecords(other.m_NewRecords),
      m_MaterialSets(other.m_MaterialSets), m_MaxOldId(other.m_MaxOldId) {}

OnfMaterialsReducer::~OnfMaterialsReducer() = default;

void OnfMaterialsReducer::ClusterMaterials(size_t targetCount,
                                           BrelonRadixTrieMap<int, int>& idMap) {
    Initialize();
    idMap.Clear();
    std::map<int, CLUSTER_INFO> plans;
    PlanClustersDistribution(targetCount, plans);
    for (auto& set : m_MaterialSets) {
        const int parent = set.first;
        const auto found = plans.find(parent);
        const CLUSTER_INFO plan = found != plans.end() ? found->second : CLUSTER_INFO();
        if (plan.dimension <= 0 || plan.clusterSize > set.second.size()) {
            QSV_LOG(LOG_DETAIL, kTag, "No clustering will be performed for materials set %d",
                    parent);
            AddRecords(set.second, *m_Block, m_NewRecords);
        } else if (plan.dimension == 1) {
            const size_t k = static_cast<size_t>(
                std::find(plan.useValue, plan.useValue + kNumValues, true) - plan.useValue);
            QSV_LOG(LOG_DETAIL, kTag,
                    "Starting one-dimensional clustering of materials set %d by value %d", parent,
                    static_cast<int>(k));
            ClusterSet1D(set.second, k, plan, idMap);
        } else if (plan.useValue[kYoungModulus]) {
            QSV_LOG(LOG_DETAIL, kTag, "Clustering materials set %d by Young modulus", parent);
            ClusterSet1D(set.second, kYoungModulus, plan, idMap);
        } else if (plan.useValue[kThermalConductivity]) {
            QSV_LOG(LOG_DETAIL, kTag, "Clustering materials set %d by thermal conductivity",
                    parent);
            ClusterSet1D(set.second, kThermalConductivity, plan, idMap);
        } else {
            // Kept as the tools downstream expect it: in spite of the words, the set contributes
            // no record, so a rewritten block 821 no longer holds these materials.
            QSV_LOG(LOG_WARNING, kTag,
                    "Don't know how to cluster materials set for parent material %d, leaving all "
                    "data!",
                    parent);
        }
    }
    if (!m_NewRecords.empty() && m_Block != nullptr) {
        ReplaceMaterialRecords(m_NewRecords, *m_Block);
    }
}

void OnfMaterialsReducer::Initialize() {
    m_MaterialSets.clear();
    m_Block =
        m_BlockSet.HasBlock(kAddedMaterials) ? &m_BlockSet.GetBlock(kAddedMaterials) : nullptr;
    m_MaxOldId = 0;
    if (m_Block == nullptr) {
        return;
    }
    // The largest id is taken rather than that of the last record (GetMaxId), so that a block
    // whose ids do not ascend gets no new id that one of its own materials already holds.
    m_MaxOldId = m_Block->GetMaxId();
    onf_detail::ForEachRecord(*m_Block, [this](size_t index) {
        m_MaxOldId = std::max(m_MaxOldId, m_Block->GetId(index));
        m_MaterialSets[m_Block->GetInt(index, QSV_DataRecordItem::ItemAddMatParent)].insert(index);
    });
}

void OnfMaterialsReducer::PlanClustersDistribution(size_t targetCount,
                                                   std::map<int, CLUSTER_INFO>& plans) const {
    size_t total = 0;
    for (const auto& set : m_MaterialSets) {
        CLUSTER_INFO plan;
        AnalyzeAvailableValues(set.first, set.second, plan.valueInfo);
        for (size_t k = 0; k < kNumValues; ++k) {
            const MATERIALS_SET_VAL_INFO& info = plan.valueInfo[k];
            if (info.numDistinctValues >= 1 && info.isComplete) {
                plan.useValue[k] = true;
                plan.clusterSize = std::max(plan.clusterSize, info.numDistinctValues);
                ++plan.dimension;
            }
        }
        total += plan.clusterSize;
        plans[set.first] = plan;
    }
    if (total == 0) {
        return;
    }
    for (auto& entry : plans) {
        CLUSTER_INFO& plan = entry.second;
        // The target is shared in proportion to each set's most varied value, rounded to the
        // nearest with halves up. A set of one distinct value keeps its single cluster.
        if (plan.clusterSize > 1) {
            const double share = static_cast<double>(plan.clusterSize) /
                                     static_cast<double>(total) * static_cast<double>(targetCount) +
                                 0.5;
            plan.clusterSize = static_cast<size_t>(share);
            if (plan.clusterSize < 2) {
                plan = CLUSTER_INFO();
            }
        }
        QSV_LOG(LOG_DETAIL, kTag, "Parent material ID = %d %s.", entry.first,
                plan.dimension < 1 ? "requires no clustering" : "may need clustering");
        if (plan.clusterSize != 0) {
            QSV_LOG(LOG_DETAIL, kTag, "Suggested cluster size:        %lu",
                    static_cast<unsigned long>(plan.clusterSize));
            QSV_LOG(LOG_DETAIL, kTag, "Required clustering dimension: %d", plan.dimension);
        }
    }
}

void OnfMaterialsReducer::AnalyzeAvailableValues(int parentId, const std::set<size_t>& records,
                                                 MATERIALS_SET_VAL_INFO (&info)[5]) const {
    for (MATERIALS_SET_VAL_INFO& value : info) {
        value = MATERIALS_SET_VAL_INFO();
    }
    std::vector<double> flagged[kNumValues];
    std::vector<int> flags;
    std::vector<double> values;
    for (size_t record : records) {
        GetFlags(*m_Block, record, flags);
        GetValues(*m_Block, record, values);
        for (size_t k = 0; k < kNumValues; ++k) {
            // A zero flag only counts against completeness after a set one: the order of the
            // records matters, and a value that starts to vary part-way stays usable.
            if (flags[k] != 0) {
                flagged[k].push_back(values[k]);
            } else if (!flagged[k].empty()) {
                info[k].isComplete = false;
            }
            info[k].minValue = std::min(info[k].minValue, values[k]);
            info[k].maxValue = std::max(info[k].maxValue, values[k]);
        }
    }
    for (size_t k = 0; k < kNumValues; ++k) {
        MATERIALS_SET_VAL_INFO& value = info[k];
        value.numDistinctValues = CountDistinct(flagged[k]);
        if ((value.minValue == 0.0 && value.maxValue == 0.0) || value.minValue == value.maxValue) {
            continue;
        }
        if (!Interpolations::FindLine2D(value.minValue, 0.0, value.maxValue, 1.0, value.lineA,
                                        value.lineB)) {
            QSV_LOG(LOG_DETAIL, kTag,
                    "Problem interpolating material property %Iu of the added materials\nfor "
                    "parent material with id = %d: min and max values are very similar,\nmin = "
                    "%g, max = %g",
                    k + 1, parentId, value.minValue, value.maxValue);
        }
    }
}

void OnfMaterialsReducer::ClusterSet1D(std::set<size_t>& records, size_t valueIdx,
                                       const CLUSTER_INFO& plan,
                                       BrelonRadixTrieMap<int, int>& idMap) {
    std::vector<double> input;
    input.reserve(records.size());
    for (size_t record : records) {
        input.push_back(m_Block->GetReal(record, ValueItem(valueIdx)));
    }
    KMeansPlusPlus1D kmeans(input);
    kmeans.SeedCentersAdvanced(plan.clusterSize);
    std::vector<double> centers;
    std::vector<size_t> assignment;
    KMeansPlusPlus1D::CLUSTERING_INFO info{};
    kmeans.CreateClusters(kMaxIterations, centers, assignment, info);
    QSV_LOG(LOG_DETAIL, kTag, "Number of original values:            %lu",
            static_cast<unsigned long>(info.numValues));
    QSV_LOG(LOG_DETAIL, kTag, "Number of distinct original values:   %lu",
            static_cast<unsigned long>(info.numDistinctValues));
    QSV_LOG(LOG_DETAIL, kTag, "Number of materials after clustering: %lu",
            static_cast<unsigned long>(info.numClusters));
    QSV_LOG(LOG_DETAIL, kTag, "Quality measure (0=bad .. 1=best):    %lf",
            KMeansPlusPlus1D::CalculateQualityFactor(info));
    QSV_LOG(LOG_DETAIL, kTag, "Iterations needed by k-means:         %lu",
            static_cast<unsigned long>(info.numIterations));
    if (!centers.empty()) {
        centers.front() = info.firstCenter;
        centers.back() = info.lastCenter;
    }
    ReducedMaterialsSet newSet;
    PrepareNewSet1D(records, plan, centers, assignment, newSet, idMap);
}

void OnfMaterialsReducer::PrepareNewSet1D(const std::set<size_t>& records, const CLUSTER_INFO& plan,
                                          const std::vector<double>& centers,
                                          const std::vector<size_t>& assignment,
                                          ReducedMaterialsSet& newSet,
                                          BrelonRadixTrieMap<int, int>& idMap) {
    // The centres only give the number of clusters; the new values are the members' averages.
    newSet.entries.resize(centers.size());
    newSet.firstId = NextFreeId(newSet.entries.size());
    InitializeNewSet(records, newSet);
    AccumulateMaterialValues(records, plan, assignment, newSet, idMap);
    AverageMaterialValues(plan, newSet);
}

// The block is untouched until every set is done, and the new records of earlier sets count in,
// so the ids of later sets lie above those of earlier ones and above every old id. Where the
// set's last id would pass the largest 32-bit id, the set fails before any record is made:
// wrapped ids would be negative and could repeat old ones.
int OnfMaterialsReducer::NextFreeId(size_t count) const {
    const long long highest = static_cast<long long>(m_Block != nullptr ? m_MaxOldId : 0) +
                              static_cast<long long>(m_NewRecords.size());
    return onf_detail::FirstFreeId(highest, std::max<size_t>(count, 1), kTag, "material");
}

void OnfMaterialsReducer::InitializeNewSet(const std::set<size_t>& records,
                                           ReducedMaterialsSet& newSet) {
    // Every new material starts as a copy of the set's first record, flags included.
    const size_t templateIdx = *records.begin();
    for (size_t i = 0; i < newSet.entries.size(); ++i) {
        MaterialRecord record;
        GetRecord(templateIdx, *m_Block, record);
        record.id = newSet.firstId + static_cast<int>(i);
        char name[32];
        std::snprintf(name, sizeof name, "CLUST_MAT_%d", record.id);
        record.name = name;
        record.values.assign(kNumValues, 0.0);
        m_NewRecords.push_back(std::move(record));
        newSet.entries[i].recordIdx = m_NewRecords.size() - 1;
        newSet.entries[i].numMembers = 0;
    }
}

void OnfMaterialsReducer::AccumulateMaterialValues(const std::set<size_t>& records,
                                                   const CLUSTER_INFO& plan,
                                                   const std::vector<size_t>& assignment,
                                                   ReducedMaterialsSet& newSet,
                                                   BrelonRadixTrieMap<int, int>& idMap) {
    std::vector<double> values;
    size_t position = 0;
    for (size_t record : records) {
        const size_t cluster = assignment[position++];
        if (cluster >= newSet.entries.size()) {
            continue; // the clustering promises a valid cluster for every value
        }
        if (m_Block != nullptr) {
            idMap[m_Block->GetId(record)] = newSet.firstId + static_cast<int>(cluster);
        }
        GetValues(*m_Block, record, values);
        MaterialRecord& target = m_NewRecords[newSet.entries[cluster].recordIdx];
        // A value in use is summed for the average; one not in use ends as the last member's.
        for (size_t k = 0; k < kNumValues; ++k) {
            target.values[k] = plan.useValue[k] ? target.values[k] + values[k] : values[k];
        }
        ++newSet.entries[cluster].numMembers;
    }
}

void OnfMaterialsReducer::AverageMaterialValues(const CLUSTER_INFO& plan,
                                                ReducedMaterialsSet& newSet) {
    for (const ReducedMaterialsSet::Entry& entry : newSet.entries) {
        if (entry.numMembers == 0) {
            continue; // a cluster without members keeps its zeros
        }
        MaterialRecord& record = m_NewRecords[entry.recordIdx];
        for (size_t k = 0; k < kNumValues; ++k) {
            if (plan.useValue[k]) {
                record.values[k] /= static_cast<double>(entry.numMembers);
            }
        }
    }
}

void OnfMaterialsReducer::AddRecords(const std::set<size_t>& records, const OnfBlock& block,
                                     std::vector<MaterialRecord>& out) {
    for (size_t record : records) {
        AddRecord(record, block, out);
    }
}

void OnfMaterialsReducer::AddRecord(size_t recordIdx, const OnfBlock& block,
                                    std::vector<MaterialRecord>& out) {
    out.emplace_back();
    GetRecord(recordIdx, block, out.back());
}

void OnfMaterialsReducer::GetRecord(size_t recordIdx, const OnfBlock& block,
                                    MaterialRecord& record) {
    record.flags.resize(kNumValues);
    record.values.resize(kNumValues);
    onf_detail::ReadAddedMaterial(block, recordIdx, record);
}

void OnfMaterialsReducer::SetRecord(const MaterialRecord& record, size_t recordIdx,
                                    OnfBlock& block) {
    using namespace QSV_DataRecordItem;
    block.SetRecordItem(recordIdx, ItemAddMatRef, record.ref);
    block.SetRecordItem(recordIdx, ItemAddMatParent, record.parentMaterial);
    block.SetRecordItem(recordIdx, ItemAddMatName, record.name);
    block.SetRecordItem(recordIdx, ItemAddMatText, record.text);
    SetFlags(record.flags, block, recordIdx);
    SetValues(record.values, block, recordIdx);
}

void OnfMaterialsReducer::GetValues(const OnfBlock& block, size_t recordIdx,
                                    std::vector<double>& values) const {
    values.resize(kNumValues);
    for (size_t k = 0; k < kNumValues; ++k) {
        values[k] = block.GetReal(recordIdx, ValueItem(k));
    }
}

void OnfMaterialsReducer::SetValues(const std::vector<double>& values, OnfBlock& block,
                                    size_t recordIdx) const {
    for (size_t k = 0; k < kNumValues && k < values.size(); ++k) {
        block.SetRecordItem(recordIdx, ValueItem(k), values[k]);
    }
}

void OnfMaterialsReducer::GetFlags(const OnfBlock& block, size_t recordIdx,
                                   std::vector<int>& flags) const {
    flags.resize(kNumValues);
    for (size_t k = 0; k < kNumValues; ++k) {
        flags[k] = block.GetInt(recordIdx, FlagItem(k));
    }
}

void OnfMaterialsReducer::SetFlags(const std::vector<int>& flags, OnfBlock& block,
                                   size_t recordIdx) const {
    for (size_t k = 0; k < kNumValues && k < flags.size(); ++k) {
        block.SetRecordItem(recordIdx, FlagItem(k), flags[k]);
    }
}

void OnfMaterialsReducer::ReplaceMaterialRecords(const std::vector<MaterialRecord>& records,
                                                 OnfBlock& block) {
    block.SetUserHeader(std::string());
    block.Clear();
    for (const MaterialRecord& record : records) {
        bool created = false;
        const size_t index = block.GetWarrantedRecordIdx(record.id, created);
        SetRecord(record, index, block);
    }
}
