// Named groups of nodes or elements as the suite hands them around: a group is a list of member
// indices (indices of the id map of its item type's id space) with a name and an item type.
#pragma once

#include "QSV_OnfCatalogue.h"

#include <cstddef>
#include <map>
#include <memory>
#include <string>
#include <vector>

// A list of integers (ids or indices, as its owner says), in the given order.
class QSV_IdList {
public:
    QSV_IdList() = default;
    explicit QSV_IdList(const std::vector<int>& ids) : m_Ids(ids) {}
    virtual ~QSV_IdList() = default;

    size_t size() const { return m_Ids.size(); }
    bool empty() const { return m_Ids.empty(); }
    // No range check: `i` must be below size().
    int operator[](size_t i) const { return m_Ids[i]; }
    const std::vector<int>& GetIds() const { return m_Ids; }
    void SetIds(const std::vector<int>& ids) { m_Ids = ids; }
    void Append(int id) { m_Ids.push_back(id); }
    void Clear() { m_Ids.clear(); }
    std::vector<int>::const_iterator begin() const { return m_Ids.begin(); }
    std::vector<int>::const_iterator end() const { return m_Ids.end(); }

protected:
    std::vector<int> m_Ids;
};

// A named group: members are indices of the id map of the item type's id space
// (QSV_ItemTypeInfo::INFO[type].idType).
class QSV_Group : public QSV_IdList {
public:
    QSV_Group(const std::string& name, QSV_ItemType type, const std::vector<int>& members)
        : QSV_IdList(members), m_Name(name), m_ItemType(type) {}

    const std::string& GetName() const { return m_Name; }
    QSV_ItemType GetItemType() const { return m_ItemType; }

private:
    std::string m_Name;
    QSV_ItemType m_ItemType;
};

// Names a group of one item type. Ordered by item type, then by name (byte-wise).
class QSV_GroupDescriptor {
public:
    QSV_GroupDescriptor(const std::string& name, QSV_ItemType type)
        : m_Name(name), m_ItemType(type) {}

    const std::string& GetName() const { return m_Name; }
    QSV_ItemType GetItemType() const { return m_ItemType; }
    bool operator<(const QSV_GroupDescriptor& other) const;
    bool operator==(const QSV_GroupDescriptor& other) const;
    bool operator!=(const QSV_GroupDescriptor& other) const { return !(*this == other); }

private:
    std::string m_Name;
    QSV_ItemType m_ItemType;
};

// Groups by item type, each item type an ordered map from group name to the group. The map owns
// copies of the groups it was given; copying the map copies them.
class QSV_GroupMap {
public:
    using GroupsByName = std::map<std::string, std::unique_ptr<QSV_Group>>;

    QSV_GroupMap() = default;
    QSV_GroupMap(const QSV_GroupMap& other);
    QSV_GroupMap& operator=(const QSV_GroupMap& other);
    QSV_GroupMap(QSV_GroupMap&&) noexcept = default;
    QSV_GroupMap& operator=(QSV_GroupMap&&) noexcept = default;

    // Stores a copy of `group` under its item type and name. A group of the same item type and
    // name added before is replaced: the last one added counts.
    void AddGroup(const QSV_Group& group);
    // The groups of `type` in name order; an empty map for a type without groups. The
    // reference stays valid until the map changes.
    const GroupsByName& GetGroups(QSV_ItemType type) const;
    // The group of that type and name, or null.
    const QSV_Group* FindGroup(QSV_ItemType type, const std::string& name) const;
    bool HasGroup(QSV_ItemType type, const std::string& name) const {
        return FindGroup(type, name) != nullptr;
    }
    // The item types that hold groups, ascending.
    std::vector<QSV_ItemType> GetItemTypes() const;
    // Groups of all item types.
    size_t size() const;
    bool empty() const { return size() == 0; }
    void Clear() { m_Groups.clear(); }

private:
    std::map<QSV_ItemType, GroupsByName> m_Groups;
};
