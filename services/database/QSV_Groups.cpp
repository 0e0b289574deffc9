// Named groups and the map that holds them by item type and name.
#include "QSV_Groups.h"

bool QSV_GroupDescriptor::operator<(const QSV_GroupDescriptor& other) const {
    if (m_ItemType != other.m_ItemType) {
        return m_ItemType < other.m_ItemType;
    }
    return m_Name < other.m_Name;
}

bool QSV_GroupDescriptor::operator==(const QSV_GroupDescriptor& other) const {
    return m_ItemType == other.m_ItemType && m_Name == other.m_Name;
}

QSV_GroupMap::QSV_GroupMap(const QSV_GroupMap& other) {
    *this = other;
}

QSV_GroupMap& QSV_GroupMap::operator=(const QSV_GroupMap& other) {
    if (this == &other) {
        return *this;
    }
    std::map<QSV_ItemType, GroupsByName> copy;
    for (const auto& byType : other.m_Groups) {
        GroupsByName& groups = copy[byType.first];
        for (const auto& entry : byType.second) {
            groups.emplace(entry.first, std::make_unique<QSV_Group>(*entry.second));
        }
    }
    m_Groups.swap(copy);
    return *this;
}

void QSV_GroupMap::AddGroup(const QSV_Group& group) {
    m_Groups[group.GetItemType()][group.GetName()] = std::make_unique<QSV_Group>(group);
}

const QSV_GroupMap::GroupsByName& QSV_GroupMap::GetGroups(QSV_ItemType type) const {
    static const GroupsByName empty;
    auto it = m_Groups.find(type);
    return it == m_Groups.end() ? empty : it->second;
}

const QSV_Group* QSV_GroupMap::FindGroup(QSV_ItemType type, const std::string& name) const {
    const GroupsByName& groups = GetGroups(type);
    auto it = groups.find(name);
    return it == groups.end() ? nullptr : it->second.get();
}

std::vector<QSV_ItemType> QSV_GroupMap::GetItemTypes() const {
    std::vector<QSV_ItemType> types;
    for (const auto& byType : m_Groups) {
        if (!byType.second.empty()) {
            types.push_back(byType.first);
        }
    }
    return types;
}

size_t QSV_GroupMap::size() const {
    size_t count = 0;
    for (const auto& byType : m_Groups) {
        count += byType.second.size();
    }
    return count;
}
