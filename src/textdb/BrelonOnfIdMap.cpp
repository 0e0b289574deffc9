#include "BrelonOnfIdMap.h"

#include "QSV_Failure.h"
#include "containers/SizeCast.h"

#include <limits>
#include <memory>

namespace {
const char* const kTag = "|%P|BrelonUtilities|QSV_Failure";
constexpr size_t kReservedIndices = 1024;
constexpr size_t kNamesChunk = 0x10000;

int32_t StringIdsOf(QSV_IdType type) {
    const unsigned t = static_cast<unsigned>(type);
    return t < QSV_IdMapsPool::NUM_ID_MAPS ? QSV_ID_TYPE_INFO[t].keyKind : 0;
}
} // namespace

const int BrelonOnfIdMap::ID_UNUSED = std::numeric_limits<int>::min();

BrelonOnfIdMap::BrelonOnfIdMap(QSV_IdType type)
    : QSV_IdMap(type), m_StringIds(StringIdsOf(type)), m_IdToIdx(&m_IdxToId), m_Names(kNamesChunk) {
    m_IdxToId.reserve(kReservedIndices);
}

// The copied trie reads the identities of this map, not of the source.
BrelonOnfIdMap::BrelonOnfIdMap(const BrelonOnfIdMap& other)
    : QSV_IdMap(other), m_StringIds(other.m_StringIds), m_IdToIdx(other.m_IdToIdx),
      m_IdxToId(other.m_IdxToId), m_Names(other.m_Names), m_NameToIdx(other.m_NameToIdx) {
    m_IdToIdx.SetIds(&m_IdxToId);
}

BrelonOnfIdMap& BrelonOnfIdMap::operator=(const BrelonOnfIdMap& other) {
    if (this != &other) {
        QSV_IdMap::operator=(other);
        m_StringIds = other.m_StringIds;
        m_IdToIdx = other.m_IdToIdx;
        m_IdToIdx.SetIds(&m_IdxToId);
        m_IdxToId = other.m_IdxToId;
        m_Names = other.m_Names;
        m_NameToIdx = other.m_NameToIdx;
    }
    return *this;
}

BrelonOnfIdMap::~BrelonOnfIdMap() = default;

bool BrelonOnfIdMap::HasId(const std::string& name) const {
    return m_Names.FindString(name) > 0;
}

bool BrelonOnfIdMap::HasId(int id) const {
    return m_IdToIdx.Has(id);
}

bool BrelonOnfIdMap::HasName(const std::string& name) const {
    return HasId(name);
}

void BrelonOnfIdMap::GetId(size_t idx, std::string& name) const {
    if (!HasIdx(idx)) {
        onf_detail::ThrowFailure(
            "080520112916", kTag,
            "Attempting to get the ID for a non-existing index %Iu from an ID-map of type %d!", idx,
            static_cast<int>(m_Type));
    }
    // On an integer map the slot holds an identity, which names no pool position in general.
    const int position = m_IdxToId[idx];
    if (position < 0 || !m_Names.HasStringAtIdx(static_cast<size_t>(position))) {
        onf_detail::ThrowFailure("171606061118", kTag, "No string ID for index %Iu exists.", idx);
    }
    const size_t at = static_cast<size_t>(position);
    name.assign(m_Names.GetStringAtIdx(at), m_Names.GetLengthAtIdx(at));
}

int BrelonOnfIdMap::GetId(size_t idx) const {
    if (!HasIdx(idx)) {
        onf_detail::ThrowFailure(
            "042699081318", kTag,
            "Attempting to get the ID for a non-existing index %Iu from an ID-map of type %d!", idx,
            static_cast<int>(m_Type));
    }
    return m_IdxToId[idx];
}

void BrelonOnfIdMap::GetName(size_t idx, std::string& name) const {
    GetId(idx, name);
}

// The identity goes into the index vector first, where the trie reads it; a trie that cannot take
// it takes the vector's slot back, so that a failed allocation leaves the map as it was.
size_t BrelonOnfIdMap::AddId(int id) {
    const size_t idx = m_IdxToId.size();
    m_IdxToId.push_back(id);
    bool inserted = false;
    try {
        m_IdToIdx.Insert(id, idx, inserted);
    } catch (...) {
        m_IdxToId.pop_back();
        throw;
    }
    if (!inserted) {
        onf_detail::ThrowFailure("042166081318", kTag,
                                 "Attempting to add ID = %d twice to an ID-map of type %d!", id,
                                 static_cast<int>(m_Type));
    }
    return idx;
}

void BrelonOnfIdMap::CreateId(const std::string& name, size_t idx) {
    const size_t position = static_cast<size_t>(m_Names.AddString(name)) - 1;
    if (position < m_NameToIdx.size()) {
        if (m_NameToIdx[position] != idx) {
            // The existing identity reported is the name that the target index holds, or an
            // empty text when that index holds none.
            std::string existing;
            if (HasIdx(idx) && m_IdxToId[idx] >= 0 &&
                m_Names.HasStringAtIdx(static_cast<size_t>(m_IdxToId[idx]))) {
                existing = m_Names.GetStringAtIdx(static_cast<size_t>(m_IdxToId[idx]));
            }
            onf_detail::ThrowFailure("050820044400", kTag,
                                     "Index %Iu in ID-map %d is already associated to a "
                                     "different ID!\nExisting ID: %s, attempted to establish "
                                     "ID: %s",
                                     idx, static_cast<int>(m_Type), existing.c_str(), name.c_str());
        }
        return;
    }
    const int stored = onf_detail::size_to_int(position);
    AllocateIndex(idx);
    m_NameToIdx.push_back(idx);
    m_IdxToId[idx] = stored;
}

void BrelonOnfIdMap::CreateId(int id, size_t idx) {
    AllocateIndex(idx);
    int& slot = m_IdxToId[idx];
    if (slot == ID_UNUSED) {
        slot = id;
    } else if (slot != id) {
        onf_detail::ThrowFailure("053019035633", kTag,
                                 "Index %Iu in ID-map %d is already associated to a different "
                                 "ID!\nExisting ID: %d, attempted to establish ID: %d",
                                 idx, static_cast<int>(m_Type), slot, id);
    }
    bool inserted = false;
    const size_t existing = m_IdToIdx.Insert(id, idx, inserted);
    if (!inserted && existing != idx) {
        onf_detail::ThrowFailure("053019040522", kTag,
                                 "Attempting to add ID = %d multiple times, but with a different "
                                 "index.\nID-map is of type %d\nExisting index: %Iu, attempted to "
                                 "overwrite with index: %Iu",
                                 id, static_cast<int>(m_Type), existing, idx);
    }
}

size_t BrelonOnfIdMap::AddName(const std::string& name) {
    return FetchIdx(name);
}

bool BrelonOnfIdMap::HasIdx(size_t idx) const {
    return idx < m_IdxToId.size() && m_IdxToId[idx] != ID_UNUSED;
}

size_t BrelonOnfIdMap::GetIdx(const std::string& name) const {
    const Brelon_SP_STRING_ID handle = m_Names.FindString(name);
    const size_t position = static_cast<size_t>(handle) - 1;
    if (handle <= 0 || position >= m_NameToIdx.size()) {
        onf_detail::ThrowFailure("171607061118", kTag, "No index for string ID %s exists.",
                                 name.c_str());
    }
    return m_NameToIdx[position];
}

size_t BrelonOnfIdMap::GetIdx(int id) const {
    return m_IdToIdx.Find(id);
}

size_t BrelonOnfIdMap::FetchIdx(const std::string& name) {
    const size_t position = static_cast<size_t>(m_Names.AddString(name)) - 1;
    if (position < m_NameToIdx.size()) {
        return m_NameToIdx[position];
    }
    const int stored = onf_detail::size_to_int(position);
    const size_t idx = m_IdxToId.size();
    m_NameToIdx.push_back(idx);
    m_IdxToId.push_back(stored);
    return idx;
}

size_t BrelonOnfIdMap::FetchIdx(int id) {
    const size_t idx = m_IdToIdx.Find(id);
    return idx != BrelonIdIndexTrie::NOT_FOUND ? idx : AddId(id);
}

void BrelonOnfIdMap::CopyTo(QSV_IdMap& other) const {
    if (&other == this) {
        return;
    }
    if (HasStringIds()) {
        std::string name;
        for (size_t idx = 0; idx < m_IdxToId.size(); ++idx) {
            const int position = m_IdxToId[idx];
            if (position == ID_UNUSED || position < 0 ||
                !m_Names.HasStringAtIdx(static_cast<size_t>(position))) {
                continue;
            }
            const size_t at = static_cast<size_t>(position);
            name.assign(m_Names.GetStringAtIdx(at), m_Names.GetLengthAtIdx(at));
            other.CreateId(name, idx);
        }
        return;
    }
    // The trie walks its keys in ascending order, so the copy needs no sort.
    m_IdToIdx.ForEach([&other](int id, size_t idx) { other.CreateId(id, idx); });
}

void BrelonOnfIdMap::ReserveStorage(size_t count) {
    m_IdxToId.reserve(count);
}

void BrelonOnfIdMap::AllocateIndex(size_t idx) {
    if (idx >= m_IdxToId.size()) {
        m_IdxToId.resize(idx + 1, ID_UNUSED);
    }
}

// ---------------------------------------------------------------------------------------------
// BrelonOnfIdMapsPool

BrelonOnfIdMapsPool::BrelonOnfIdMapsPool() {
    std::unique_ptr<BrelonOnfIdMap> maps[NUM_ID_MAPS];
    for (size_t type = 0; type < NUM_ID_MAPS; ++type) {
        maps[type] = std::make_unique<BrelonOnfIdMap>(static_cast<QSV_IdType>(type));
    }
    for (size_t type = 0; type < NUM_ID_MAPS; ++type) {
        m_IdMaps[type] = maps[type].release();
    }
}

// The base copy would share the source's maps; the pool makes copies of its own instead.
BrelonOnfIdMapsPool::BrelonOnfIdMapsPool(const BrelonOnfIdMapsPool& other) : QSV_IdMapsPool() {
    std::unique_ptr<BrelonOnfIdMap> maps[NUM_ID_MAPS];
    for (size_t type = 0; type < NUM_ID_MAPS; ++type) {
        maps[type] =
            std::make_unique<BrelonOnfIdMap>(other.GetOnfIdMap(static_cast<QSV_IdType>(type)));
    }
    for (size_t type = 0; type < NUM_ID_MAPS; ++type) {
        m_IdMaps[type] = maps[type].release();
    }
}

// The maps keep their addresses, since blocks hold pointers to them: only their contents change.
BrelonOnfIdMapsPool& BrelonOnfIdMapsPool::operator=(const BrelonOnfIdMapsPool& other) {
    if (this != &other) {
        for (size_t type = 0; type < NUM_ID_MAPS; ++type) {
            const QSV_IdType t = static_cast<QSV_IdType>(type);
            GetOnfIdMap(t) = other.GetOnfIdMap(t);
        }
    }
    return *this;
}

BrelonOnfIdMapsPool::~BrelonOnfIdMapsPool() {
    for (QSV_IdMap*& map : m_IdMaps) {
        delete map;
        map = nullptr;
    }
}
