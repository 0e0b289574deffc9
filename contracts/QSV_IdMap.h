// The id map bases: a map between the user identities of one item family (integers or names)
// and dense indices, and a pool of one map for each id space.
#pragma once

#include "QSV_OnfCatalogue.h"

#include <cstddef>
#include <string>

// The two-way relation of one id space between user identities and dense indices. Abstract: the
// text database's maps implement it. Virtual operations are declared in their slot order.
class QSV_IdMap {
public:
    explicit QSV_IdMap(QSV_IdType type) : m_Type(type) {}
    QSV_IdMap(const QSV_IdMap& other) = default;
    virtual ~QSV_IdMap();

    // Room for `count` indices; calls the implementation's ReserveStorage.
    virtual void Reserve(size_t count);
    // Whether the name is known.
    virtual bool HasId(const std::string& name) const = 0;
    // Whether the integer identity is known.
    virtual bool HasId(int id) const = 0;
    // Alias of HasId(const std::string&).
    virtual bool HasName(const std::string& name) const = 0;
    // The name at an index; fails when the index or its name does not exist.
    virtual void GetId(size_t idx, std::string& name) const = 0;
    // The integer identity at an index; fails when the index is not in use.
    virtual int GetId(size_t idx) const = 0;
    // Alias of GetId(size_t, std::string&).
    virtual void GetName(size_t idx, std::string& name) const = 0;
    // Gives the identity the next index; fails when the identity is known already.
    virtual size_t AddId(int id) = 0;
    // Binds a name to a given index; fails when the name is bound to another index.
    virtual void CreateId(const std::string& name, size_t idx) = 0;
    // Binds an identity to a given index; fails when either is bound to something else.
    virtual void CreateId(int id, size_t idx) = 0;
    // Alias of FetchIdx(const std::string&).
    virtual size_t AddName(const std::string& name) = 0;
    // Whether an index is in use.
    virtual bool HasIdx(size_t idx) const = 0;
    // The index of a name; fails when the name is unknown.
    virtual size_t GetIdx(const std::string& name) const = 0;
    // The index of an identity, or (size_t)-1 when unknown; never fails.
    virtual size_t GetIdx(int id) const = 0;
    // The index of a name, adding the name when it is new.
    virtual size_t FetchIdx(const std::string& name) = 0;
    // The index of an identity, adding the identity when it is new.
    virtual size_t FetchIdx(int id) = 0;
    // Binds every (identity, index) pair of this map in `other` with CreateId.
    virtual void CopyTo(QSV_IdMap& other) const = 0;

    QSV_IdType GetType() const { return m_Type; }

protected:
    QSV_IdMap& operator=(const QSV_IdMap& other) = default;
    // What Reserve does for an implementation; the base reserves nothing.
    virtual void ReserveStorage(size_t count);

    QSV_IdType m_Type;
};

// One id map for each QSV_IdType, 0 to 15, in an array that follows the virtual table pointer
// and that blocks read directly. The base owns nothing: the derived pool makes and frees the maps.
class QSV_IdMapsPool {
public:
    static constexpr size_t NUM_ID_MAPS = 16;

    virtual ~QSV_IdMapsPool();

    // The map of an id space. Fails (QSV_Failure) for a type outside 0 to 15 or without a map.
    QSV_IdMap& GetIdMap(QSV_IdType type) {
        const unsigned t = static_cast<unsigned>(type);
        if (t >= NUM_ID_MAPS || m_IdMaps[t] == nullptr) {
            ThrowNoIdMap(type);
        }
        return *m_IdMaps[t];
    }
    const QSV_IdMap& GetIdMap(QSV_IdType type) const {
        return const_cast<QSV_IdMapsPool*>(this)->GetIdMap(type);
    }

    // Indexed by QSV_IdType; null where a pool has no map.
    QSV_IdMap* m_IdMaps[NUM_ID_MAPS];

protected:
    QSV_IdMapsPool();
    // Copies the array of map pointers, not the maps.
    QSV_IdMapsPool(const QSV_IdMapsPool& other);
    QSV_IdMapsPool& operator=(const QSV_IdMapsPool& other);

private:
    [[noreturn]] static void ThrowNoIdMap(QSV_IdType type);
};

namespace BrelonIdMapsUtil {
// Copies every map of `from` into the map of the same type in `to` (QSV_IdMap::CopyTo), type
// by type from 0 to 15. Maps that either pool lacks are passed over. Fails as CreateId does when
// an identity or index of `from` is bound to something else in `to`.
void merge_id_maps_pool(const QSV_IdMapsPool& from, QSV_IdMapsPool& to);
} // namespace BrelonIdMapsUtil
