// Replaces the materials that an optimisation run added (block 821 of a modification file) by a
// limited number of clustered materials. The added materials of each parent material form a set;
// a target count is shared out over the sets in proportion to how varied they are, each set is
// clustered in one dimension on one chosen value, and every cluster becomes one new material
// "CLUST_MAT_<id>" whose values are the averages of its members.
//
// Lifetime: the reducer holds a reference to its block set and a pointer to block 821 of it; it
// must not outlive the set. Meant to run once on a file object: the new records it collects are
// never cleared. Not thread-safe.
#pragma once

#include "BrelonContainers.h"

#include <cstddef>
#include <map>
#include <set>
#include <string>
#include <vector>

class OnfBlock;
class OnfBlockSet;

// Replaces the added materials of a modification file by a limited number of clustered materials
// with averaged values, and tells the caller which old id became which new one.
class OnfMaterialsReducer {
public:
    // One added material, item by item.
    struct MaterialRecord {
        int id = 0;                 // item 0
        int ref = 0;                // item 1
        int parentMaterial = 0;     // item 2
        std::string name;           // item 4
        std::string text;           // item 3
        std::vector<int> flags;     // items 5 to 9; non-zero: the value varies
        std::vector<double> values; // items 10 to 14
    };

    // What is known of one of the five values within one set of added materials.
    struct MATERIALS_SET_VAL_INFO {
        size_t numDistinctValues = 0; // different values among the records whose flag is set
        bool isComplete = true;       // false once a zero flag follows a set one
        double minValue = 1e200;      // smallest value of the set, flag or no flag
        double maxValue = -1e200;     // largest value of the set, flag or no flag
        double lineA = 0.0;           // the line through (min, 0) and (max, 1); kept, not read
        double lineB = 0.0;
    };

    // The plan for one parent material.
    struct CLUSTER_INFO {
        MATERIALS_SET_VAL_INFO valueInfo[5];
        bool useValue[5] = {false, false, false, false, false};
        int dimension = 0;      // number of values in use
        size_t clusterSize = 0; // number of clusters wanted
    };

    // The new materials made for one set: ids firstId, firstId + 1, ... by cluster.
    struct ReducedMaterialsSet {
        struct Entry {
            size_t recordIdx = 0;  // index into the reducer's new records
            size_t numMembers = 0; // old materials that fell into the cluster
        };
        int firstId = 0;
        std::vector<Entry> entries;
    };

    // A reducer over the block set's block 821, which is looked up when clustering starts.
    explicit OnfMaterialsReducer(OnfBlockSet& blockSet);
    // Copies the new records and the sets; shares the block set and the block pointer.
    OnfMaterialsReducer(const OnfMaterialsReducer& other);
    OnfMaterialsReducer& operator=(const OnfMaterialsReducer&) = delete;
    virtual ~OnfMaterialsReducer();

    // Clusters the added materials of every parent towards `targetCount` materials in all,
    // rewrites block 821 when anything was collected, and fills `idMap` (cleared first) with old
    // material id to new material id. Raises no failure; sets that cannot be clustered are logged.
    void ClusterMaterials(size_t targetCount, BrelonRadixTrieMap<int, int>& idMap);

private:
    void Initialize();
    void PlanClustersDistribution(size_t targetCount, std::map<int, CLUSTER_INFO>& plans) const;
    void AnalyzeAvailableValues(int parentId, const std::set<size_t>& records,
                                MATERIALS_SET_VAL_INFO (&info)[5]) const;
    void ClusterSet1D(std::set<size_t>& records, size_t valueIdx, const CLUSTER_INFO& plan,
                      BrelonRadixTrieMap<int, int>& idMap);
    void PrepareNewSet1D(const std::set<size_t>& records, const CLUSTER_INFO& plan,
                         const std::vector<double>& centers, const std::vector<size_t>& assignment,
                         ReducedMaterialsSet& newSet, BrelonRadixTrieMap<int, int>& idMap);
    void InitializeNewSet(const std::set<size_t>& records, ReducedMaterialsSet& newSet);
    void AccumulateMaterialValues(const std::set<size_t>& records, const CLUSTER_INFO& plan,
                                  const std::vector<size_t>& assignment,
                                  ReducedMaterialsSet& newSet, BrelonRadixTrieMap<int, int>& idMap);
    void AverageMaterialValues(const CLUSTER_INFO& plan, ReducedMaterialsSet& newSet);
    void AddRecords(const std::set<size_t>& records, const OnfBlock& block,
                    std::vector<MaterialRecord>& out);
    void AddRecord(size_t recordIdx, const OnfBlock& block, std::vector<MaterialRecord>& out);
    void GetRecord(size_t recordIdx, const OnfBlock& block, MaterialRecord& record);
    void SetRecord(const MaterialRecord& record, size_t recordIdx, OnfBlock& block);
    void GetValues(const OnfBlock& block, size_t recordIdx, std::vector<double>& values) const;
    void SetValues(const std::vector<double>& values, OnfBlock& block, size_t recordIdx) const;
    void GetFlags(const OnfBlock& block, size_t recordIdx, std::vector<int>& flags) const;
    void SetFlags(const std::vector<int>& flags, OnfBlock& block, size_t recordIdx) const;
    void ReplaceMaterialRecords(const std::vector<MaterialRecord>& records, OnfBlock& block);
    // The id the first of `count` new materials of the next set gets: above every id of block
    // 821 and every new material made so far. Fails where the last would pass 32 bits.
    int NextFreeId(size_t count) const;

    OnfBlockSet& m_BlockSet;
    OnfBlock* m_Block = nullptr;
    std::vector<MaterialRecord> m_NewRecords;
    std::map<int, std::set<size_t>> m_MaterialSets;
    int m_MaxOldId = 0; // largest id of block 821 when clustering started
};
