// The small containers: packed integer lists, list entries and the membership test.
#include "BrelonContainers.h"

// ---------------------------------------------------------------------------------------------
// BrelonPackedIntListsPool

BrelonPackedIntListsPool::BrelonPackedIntListsPool() : m_Starts(1, 0) {}

BrelonPackedIntListsPool::~BrelonPackedIntListsPool() = default;

size_t BrelonPackedIntListsPool::AddList(const int* values, size_t count) {
    m_Starts.reserve(m_Starts.size() + 1);
    if (count > 0) {
        m_Values.insert(m_Values.end(), values, values + count);
    }
    m_Starts.push_back(m_Values.size());
    return m_Starts.size() - 2;
}

void BrelonPackedIntListsPool::Clear() {
    m_Values.clear();
    m_Starts.assign(1, 0);
}

// ---------------------------------------------------------------------------------------------
// BrelonOnfIntListEntry

namespace {
std::unique_ptr<std::vector<int>> CopyList(const std::unique_ptr<std::vector<int>>& list) {
    return list ? std::make_unique<std::vector<int>>(*list) : nullptr;
}
} // namespace

BrelonOnfIntListEntry::BrelonOnfIntListEntry(const BrelonOnfIntListEntry& other)
    : ids(CopyList(other.ids)), indices(CopyList(other.indices)) {}

BrelonOnfIntListEntry& BrelonOnfIntListEntry::operator=(const BrelonOnfIntListEntry& other) {
    if (this != &other) {
        std::unique_ptr<std::vector<int>> newIds = CopyList(other.ids);
        indices = CopyList(other.indices);
        ids = std::move(newIds);
    }
    return *this;
}

// ---------------------------------------------------------------------------------------------
// IntSetBitArray

IntSetBitArray::IntSetBitArray(const std::vector<int>& items) {
    if (items.empty()) {
        return;
    }
    const auto bounds = std::minmax_element(items.begin(), items.end());
    const uint64_t range =
        static_cast<uint64_t>(static_cast<int64_t>(*bounds.second) - *bounds.first) + 1;
    const uint64_t words = (range + 63) / 64;
    // Bits while they cost at most about twice the sorted vector (64 bits for each input value
    // plus a little); otherwise the input is sparse and a sorted vector is smaller.
    if (words <= items.size() + 16) {
        m_Min = *bounds.first;
        m_Range = range;
        m_Bits.assign(static_cast<size_t>(words), 0);
        for (int item : items) {
            const uint64_t offset = static_cast<uint64_t>(static_cast<int64_t>(item) - m_Min);
            uint64_t& word = m_Bits[static_cast<size_t>(offset / 64)];
            const uint64_t bit = uint64_t(1) << (offset % 64);
            m_Count += (word & bit) == 0 ? 1 : 0;
            word |= bit;
        }
        return;
    }
    m_Sorted = items;
    std::sort(m_Sorted.begin(), m_Sorted.end());
    m_Sorted.erase(std::unique(m_Sorted.begin(), m_Sorted.end()), m_Sorted.end());
    m_Sorted.shrink_to_fit();
    m_Count = m_Sorted.size();
}

bool IntSetBitArray::HasItem(int item) const {
    if (!m_Bits.empty()) {
        const uint64_t offset = static_cast<uint64_t>(static_cast<int64_t>(item) - m_Min);
        return offset < m_Range &&
               ((m_Bits[static_cast<size_t>(offset / 64)] >> (offset % 64)) & 1);
    }
    return std::binary_search(m_Sorted.begin(), m_Sorted.end(), item);
}
