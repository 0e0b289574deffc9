// The id maps of the text database: one map between user identities and dense indices for each
// item family, and the pool of the 16 maps that a database owns.
#pragma once

#include "BrelonContainers.h"
#include "QSV_IdMap.h"

#include <cstddef>
#include <string>
#include <vector>

// The map of one id space, with integer or string identities (as QSV_ID_TYPE_INFO tells for its
// type). Integer identities are found through a byte-wise trie, names through a strings pool.
// Indices handed out by AddId and FetchIdx are dense; CreateId may place an identity further out,
// leaving free slots between. Nothing is ever removed. All failures are QSV_Failure with the tag
// "|%P|BrelonUtilities|QSV_Failure"; a pool position past the int range throws
// std::overflow_error.
class BrelonOnfIdMap : public QSV_IdMap {
public:
    // Marks a free index. An identity equal to it cannot be told from a free slot.
    static const int ID_UNUSED;

    explicit BrelonOnfIdMap(QSV_IdType type);
    BrelonOnfIdMap(const BrelonOnfIdMap& other);
    BrelonOnfIdMap& operator=(const BrelonOnfIdMap& other);
    ~BrelonOnfIdMap() override;

    // Pool search.
    bool HasId(const std::string& name) const override;
    // Trie lookup.
    bool HasId(int id) const override;
    bool HasName(const std::string& name) const override;
    // The name at `idx`. Fails "080520112916" when the index is not in use, "171606061118" when
    // no name stands at its pool position.
    void GetId(size_t idx, std::string& name) const override;
    // The entry at `idx` (on a string map, the name's pool position). Fails "042699081318" when
    // the index is not in use.
    int GetId(size_t idx) const override;
    void GetName(size_t idx, std::string& name) const override;
    // Appends `id` at the next index and returns it. Fails "042166081318" when `id` is known; the
    // index vector has grown by one by then and stays so.
    size_t AddId(int id) override;
    // Binds a name to `idx` (overwriting the slot). Repeating a pair does nothing; a known name
    // with another index fails "050820044400".
    void CreateId(const std::string& name, size_t idx) override;
    // Binds `id` to `idx`, growing the vector with free slots. A slot that holds another identity
    // fails "053019035633"; `id` known with another index fails "053019040522" after the slot has
    // taken `id`. Repeating a pair does nothing.
    void CreateId(int id, size_t idx) override;
    size_t AddName(const std::string& name) override;
    // `idx` lies inside the vector and its slot is not free.
    bool HasIdx(size_t idx) const override;
    // Fails "171607061118" for an unknown name.
    size_t GetIdx(const std::string& name) const override;
    // (size_t)-1 for an unknown identity.
    size_t GetIdx(int id) const override;
    // The name's index; a new name takes the next index.
    size_t FetchIdx(const std::string& name) override;
    // The identity's index; a new identity goes through AddId.
    size_t FetchIdx(int id) override;
    // String map: CreateId(name, index) for every used index, ascending. Integer map:
    // CreateId(id, index) for every identity, in ascending key order (negative ones last).
    void CopyTo(QSV_IdMap& other) const override;

    // Whether the map has string identities.
    bool HasStringIds() const { return m_StringIds != 0; }
    // Number of slots of the index vector, free ones included.
    size_t GetNumIndices() const { return m_IdxToId.size(); }
    // The trie of integer identities, for lookups without a virtual call; it lives as long as
    // the map.
    const BrelonIdIndexTrie* GetIdTrie() const { return &m_IdToIdx; }

protected:
    // Reserves the index vector.
    void ReserveStorage(size_t count) override;

private:
    // Grows the index vector with free slots so that it holds `idx`.
    void AllocateIndex(size_t idx);

    int32_t m_StringIds;
    // Each integer identity to its index, the index held in the trie itself: the identity of an
    // index stands in m_IdxToId, which the trie reads, so no (identity, index) pair is stored.
    BrelonIdIndexTrie m_IdToIdx;
    std::vector<int> m_IdxToId;
    BrelonStringsPool m_Names;
    std::vector<size_t> m_NameToIdx;
};

// The 16 id maps of a database, one for each QSV_IdType, made in the constructor in type order
// and freed in the destructor. A copy gets maps of its own, copied from the source's, so that no
// two pools ever own the same map; assignment copies the maps' contents into the own maps.
class BrelonOnfIdMapsPool : public QSV_IdMapsPool {
public:
    BrelonOnfIdMapsPool();
    BrelonOnfIdMapsPool(const BrelonOnfIdMapsPool& other);
    BrelonOnfIdMapsPool& operator=(const BrelonOnfIdMapsPool& other);
    ~BrelonOnfIdMapsPool() override;

    // The map of a type, as its own class. Fails as GetIdMap does.
    BrelonOnfIdMap& GetOnfIdMap(QSV_IdType type) {
        return static_cast<BrelonOnfIdMap&>(GetIdMap(type));
    }
    const BrelonOnfIdMap& GetOnfIdMap(QSV_IdType type) const {
        return static_cast<const BrelonOnfIdMap&>(GetIdMap(type));
    }
};
