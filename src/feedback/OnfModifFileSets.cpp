// The modification file's grouping of modified elements into sets of identical modification,
// the rewriting of element references after a merge, and the ply reduction.
#include "OnfModifFile.h"

#include "BrelonNumerics.h"
#include "QSV_Failure.h"
#include "block/OnfBlockDetail.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <set>

namespace {

const char* const kTag = "|%P|BrelonOnfEngine|OnfModifFile";

constexpr QSV_OnfId kAddedPlies = static_cast<QSV_OnfId>(825);
constexpr QSV_OnfId kModifiedElements = static_cast<QSV_OnfId>(840);
constexpr QSV_OnfId kChildElements = static_cast<QSV_OnfId>(841);

// Buckets of the set and ply hashes: a power of two, so the mask is the count minus one.
constexpr size_t kNumBuckets = 0x10000;
constexpr size_t kBucketMask = kNumBuckets - 1;

void UpdateWithList(BrelonCrc32& crc, const std::vector<int>& list) {
    if (!list.empty()) {
        crc.Update(list.data(), list.size() * sizeof(int));
    }
}

bool SameModification(const OnfModifFile::ModifiedElset& a, const OnfModifFile::ModifiedElset& b) {
    return a.addedMaterials == b.addedMaterials && a.plies == b.plies;
}

// The absolute value with 32-bit wrap-around: the smallest int stays as it is.
int WrappedAbs(uint32_t value) {
    const uint32_t magnitude = (value & 0x80000000u) != 0 ? 0u - value : value;
    int result;
    std::memcpy(&result, &magnitude, sizeof result);
    return result;
}

// ---- Plies ------------------------------------------------------------------------------------

// The bytes of an item's value that take part in its identity: what the comparison below looks
// at, so that records it calls equal always meet in one bucket.
size_t ValueBytes(BlockDataType type) {
    switch (type) {
    case BDT_REAL:
    case BDT_OPT_REAL:
        return sizeof(double);
    case BDT_VECTOR:
        return 3 * sizeof(double);
    case BDT_TENSOR:
        return 6 * sizeof(double);
    default:
        return sizeof(int32_t);
    }
}

// Hashes the tag and value of items 1 to the last. Reals that compare equal must hash alike, so a
// negative zero is hashed as a positive one.
uint32_t PlyHash(const std::vector<DataRecordEntry>& items) {
    BrelonCrc32 crc;
    for (size_t item = 1; item < items.size(); ++item) {
        DataRecordEntry entry = items[item];
        crc.Update(&entry.m_Type, sizeof entry.m_Type);
        const BlockDataType type = entry.m_Type;
        if (type == BDT_REAL || type == BDT_OPT_REAL || type == BDT_VECTOR || type == BDT_TENSOR) {
            double values[6];
            const size_t count = ValueBytes(type) / sizeof(double);
            std::memcpy(values, entry.m_Value, count * sizeof(double));
            for (size_t k = 0; k < count; ++k) {
                values[k] = values[k] == 0.0 ? 0.0 : values[k];
            }
            std::memcpy(entry.m_Value, values, count * sizeof(double));
        } else if (type == BDT_FLOAT) {
            float value;
            std::memcpy(&value, entry.m_Value, sizeof value);
            value = value == 0.0f ? 0.0f : value;
            std::memcpy(entry.m_Value, &value, sizeof value);
        }
        crc.Update(entry.m_Value, ValueBytes(type));
    }
    return crc.m_Crc;
}

template <typename T>
bool SameValues(const DataRecordEntry& a, const DataRecordEntry& b, size_t count) {
    T x[6];
    T y[6];
    std::memcpy(x, a.m_Value, count * sizeof(T));
    std::memcpy(y, b.m_Value, count * sizeof(T));
    for (size_t k = 0; k < count; ++k) {
        // Exact comparison; a NaN is never equal, not even to itself.
        if (!(x[k] == y[k])) {
            return false;
        }
    }
    return true;
}

bool SameItem(const DataRecordEntry& a, const DataRecordEntry& b) {
    if (a.m_Type != b.m_Type || static_cast<int>(a.m_Type) > 11) {
        return false;
    }
    switch (a.m_Type) {
    case BDT_INTEGER:
    case BDT_OPT_INTEGER:
    case BDT_STRING: // equal texts share one pool handle
    case BDT_ORDERED_LIST:
    case BDT_INT_LIST:
    case BDT_DOUBLE_LIST: // the list reference, not its contents
        return SameValues<int32_t>(a, b, 1);
    case BDT_REAL:
    case BDT_OPT_REAL:
        return SameValues<double>(a, b, 1);
    case BDT_FLOAT:
        return SameValues<float>(a, b, 1);
    case BDT_VECTOR:
        return SameValues<double>(a, b, 3);
    case BDT_TENSOR:
        return SameValues<double>(a, b, 6);
    default:
        return false;
    }
}

// Records are equal when every item but the id is; only the items both records have count.
bool SamePly(const std::vector<DataRecordEntry>& a, const std::vector<DataRecordEntry>& b) {
    const size_t m = std::min(a.size(), b.size());
    if (m == 0) {
        return false;
    }
    for (size_t item = 1; item < m; ++item) {
        if (!SameItem(a[item], b[item])) {
            return false;
        }
    }
    return true;
}

} // namespace

size_t OnfModifFile::HashValue(const ModifiedElset& set, size_t mask) {
    // Both lists feed one running state: a value moved from the end of one list to the start of
    // the other keeps the hash, and the full comparison keeps such sets apart.
    BrelonCrc32 crc;
    UpdateWithList(crc, set.addedMaterials);
    UpdateWithList(crc, set.plies);
    return static_cast<size_t>(crc.m_Crc) & mask;
}

void OnfModifFile::ClearHashToIdxMap() const {
    for (std::vector<size_t>& bucket : m_HashToIdxMap) {
        bucket.clear();
    }
}

void OnfModifFile::GenerateModifGroups(const QSV_IntSetIntvl<int>& groupElements,
                                       QSV_IntSetIntvl<int>& remainingElements,
                                       std::vector<ModifiedElset>& modifiedSets) const {
    QSV_IntSetIntvl<int> modified = m_ModifiedElements;
    modified.Intersect(groupElements);
    remainingElements = groupElements;
    remainingElements.Subtract(modified);
    ClearHashToIdxMap();
    modifiedSets.clear();
    if (modified.IsEmpty()) {
        return;
    }
    const OnfBlock& block = GetBlock(kModifiedElements);
    modified.ForEach([&](int id) {
        const long long index = block.GetRecordIdx(id);
        if (index < 0) {
            return; // the set comes from this block's ids, so every id has its record
        }
        ModifiedElset candidate;
        candidate.elements.insert(id);
        candidate.addedMaterials = block.GetIntList(static_cast<size_t>(index),
                                                    QSV_DataRecordItem::ItemElemAddedMaterials);
        candidate.plies =
            block.GetIntList(static_cast<size_t>(index), QSV_DataRecordItem::ItemElemPlies);
        const size_t hash = HashValue(candidate, kBucketMask);
        std::vector<size_t>& bucket = m_HashToIdxMap[hash];
        for (size_t setIndex : bucket) {
            if (SameModification(modifiedSets[setIndex], candidate)) {
                modifiedSets[setIndex].elements.insert(id);
                return;
            }
        }
        bucket.push_back(modifiedSets.size());
        candidate.hashKey = static_cast<int>(hash);
        candidate.hashRank = static_cast<int>(bucket.size());
        modifiedSets.push_back(std::move(candidate));
    });
}

void OnfModifFile::FillInAddedElements(const QSV_IntSetIntvl<int>& remainingElements,
                                       std::vector<ModifiedElset>& modifiedSets) const {
    if (m_ParentElements == nullptr) {
        return;
    }
    const OnfBlock& children = GetBlock(kChildElements);
    for (ModifiedElset& set : modifiedSets) {
        // Children joined here are not visited in turn: the walk is over the set as it was.
        const std::vector<int> parents(set.elements.begin(), set.elements.end());
        for (int parent : parents) {
            for (size_t child : GetElementChildren(parent)) {
                const int material = children.GetInt(child, QSV_DataRecordItem::ItemChildMaterial);
                if (std::find(set.addedMaterials.begin(), set.addedMaterials.end(), material) !=
                    set.addedMaterials.end()) {
                    set.elements.insert(children.GetId(child));
                }
            }
        }
    }
    std::set<size_t> orphans;
    remainingElements.ForEach([&](int element) {
        const std::vector<size_t>& found = GetElementChildren(element);
        orphans.insert(found.begin(), found.end());
    });
    if (orphans.empty()) {
        return;
    }
    // One set for all children of unmodified parents. It carries the material of the first child
    // record alone, whatever the others have: its members are told apart by their own records.
    ModifiedElset extra;
    extra.addedMaterials.push_back(
        children.GetInt(*orphans.begin(), QSV_DataRecordItem::ItemChildMaterial));
    for (size_t child : orphans) {
        extra.elements.insert(children.GetId(child));
    }
    // Its two keys are no hash of its lists but the product and sum of its ids (32-bit wrap).
    uint32_t product = 1;
    uint32_t sum = 0;
    for (int element : extra.elements) {
        product *= static_cast<uint32_t>(element);
        sum += static_cast<uint32_t>(element);
    }
    extra.hashKey = WrappedAbs(product);
    extra.hashRank = WrappedAbs(sum);
    modifiedSets.push_back(std::move(extra));
}

void OnfModifFile::ReplaceModElemItems(const BrelonRadixTrieMap<int, int>& idMap,
                                       QSV_DataRecordItem::DataRecordItem item) {
    if (idMap.IsEmpty()) {
        return;
    }
    OnfBlock& elements = GetBlock(kModifiedElements);
    std::vector<int> values;
    onf_detail::ForEachRecord(elements, [&](size_t index) {
        const OnfIntListView list = elements.GetIntListView(index, item);
        values.assign(list.begin(), list.end());
        bool changed = false;
        for (int& value : values) {
            if (const int* mapped = idMap.Find(value)) {
                changed = changed || *mapped != value;
                value = *mapped;
            }
        }
        // A changed list gets an entry of its own; the old entry stays in the pool, as lists are
        // never freed singly.
        if (changed) {
            elements.SetRecordItem(index, item, values, ONF_INT_LIST_ORDERED);
        }
    });
    if (item != QSV_DataRecordItem::ItemElemAddedMaterials) {
        return; // child elements refer to materials only
    }
    OnfBlock& children = GetBlock(kChildElements);
    onf_detail::ForEachRecord(children, [&](size_t index) {
        const int material = children.GetInt(index, QSV_DataRecordItem::ItemChildMaterial);
        if (const int* mapped = idMap.Find(material)) {
            children.SetRecordItem(index, QSV_DataRecordItem::ItemChildMaterial, *mapped);
        }
    });
}

void OnfModifFile::ReducePlies() {
    const OnfBlock& plies = GetBlock(kAddedPlies);
    const size_t numPlies = plies.GetNumRecords();
    if (numPlies == 0) {
        return;
    }
    std::vector<std::vector<int>> buckets(kNumBuckets);
    BrelonRadixTrieMap<int, int> idMap;
    size_t numRepresentatives = 0;
    std::vector<DataRecordEntry> items;
    std::vector<DataRecordEntry> candidate;
    onf_detail::ForEachRecord(plies, [&](size_t index) {
        plies.GetRecord(index, items);
        std::vector<int>& bucket = buckets[PlyHash(items) & kBucketMask];
        bool merged = false;
        for (int representative : bucket) {
            plies.GetRecord(static_cast<size_t>(plies.GetRecordIdx(representative)), candidate);
            if (SamePly(items, candidate)) {
                idMap[plies.GetId(index)] = representative;
                merged = true;
                break;
            }
        }
        if (!merged) {
            bucket.push_back(plies.GetId(index));
            ++numRepresentatives;
        }
    });
    QSV_LOG(LOG_DETAIL, kTag, "The number of plies was reduced from %Iu to %Iu", numPlies,
            numRepresentatives);
    ReplaceModElemItems(idMap, QSV_DataRecordItem::ItemElemPlies);
}
