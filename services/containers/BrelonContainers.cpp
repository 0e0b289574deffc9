// The small containers: packed integer lists, list entries and the membership test.
#include "BrelonContainers.h"

#include <stdexcept>

// ---------------------------------------------------------------------------------------------
// BrelonPackedIntListsPool

BrelonPackedIntListsPool::BrelonPackedIntListsPool() = default;

BrelonPackedIntListsPool::~BrelonPackedIntListsPool() = default;

void BrelonPackedIntListsPool::AddList(size_t reference, const int* values, size_t count) {
    if (!m_Runs.empty()) {
        const Run& last = m_Runs.back();
        if (reference < last.first + last.state.Size()) {
            throw std::invalid_argument("packed integer lists are added in ascending order");
        }
    }
    // A run goes on while the references follow each other and its offsets fit 32 bits.
    const bool newRun = m_Runs.empty() ||
                        reference != m_Runs.back().first + m_Runs.back().state.Size() ||
                        m_Runs.back().ids.Size() + count > UINT32_MAX;
    if (newRun) {
        m_Runs.emplace_back();
        Run& run = m_Runs.back();
        run.first = reference;
        try {
            run.starts.PushBack(0);
        } catch (...) {
            m_Runs.pop_back();
            throw;
        }
    }
    Run& run = m_Runs.back();
    const size_t numIds = run.ids.Size();
    try {
        run.starts.ReserveMore(1);
        run.state.ReserveMore(1);
        run.ids.Append(values, count);
    } catch (...) {
        run.ids.Resize(numIds);
        if (newRun) {
            m_Runs.pop_back();
        }
        throw;
    }
    run.starts.PushBack(static_cast<uint32_t>(run.ids.Size()));
    run.state.PushBack(LIST_IDS);
}

const BrelonPackedIntListsPool::Run* BrelonPackedIntListsPool::FindRun(size_t reference,
                                                                       size_t& k) const {
    // The run of the last load is asked for most.
    auto run = m_Runs.end();
    if (!m_Runs.empty() && reference < m_Runs.back().first) {
        run = std::upper_bound(m_Runs.begin(), m_Runs.end(), reference,
                               [](size_t r, const Run& candidate) { return r < candidate.first; });
    }
    if (run == m_Runs.begin()) {
        return nullptr;
    }
    --run;
    k = reference - run->first;
    if (reference < run->first || k >= run->state.Size() || run->state[k] == LIST_DROPPED) {
        return nullptr;
    }
    return &*run;
}

BrelonPackedIntListsPool::Run* BrelonPackedIntListsPool::FindRun(size_t reference, size_t& k) {
    return const_cast<Run*>(
        static_cast<const BrelonPackedIntListsPool*>(this)->FindRun(reference, k));
}

bool BrelonPackedIntListsPool::GetIds(size_t reference, Values& ids) const {
    size_t k = 0;
    const Run* run = FindRun(reference, k);
    if (run == nullptr) {
        return false;
    }
    ids.data = run->ids.Data() + run->starts[k];
    ids.size = run->starts[k + 1] - run->starts[k];
    return true;
}

bool BrelonPackedIntListsPool::GetIndices(size_t reference, Values& indices) const {
    size_t k = 0;
    const Run* run = FindRun(reference, k);
    if (run == nullptr || run->state[k] != LIST_INDICES) {
        return false;
    }
    indices.data = run->indices.Data() + run->starts[k];
    indices.size = run->starts[k + 1] - run->starts[k];
    return true;
}

int* BrelonPackedIntListsPool::SetIndices(size_t reference) {
    size_t k = 0;
    Run* run = FindRun(reference, k);
    if (run == nullptr) {
        return nullptr;
    }
    if (run->indices.Size() < run->ids.Size()) {
        run->indices.Resize(run->ids.Size());
    }
    run->state[k] = LIST_INDICES;
    return run->indices.Data() + run->starts[k];
}

void BrelonPackedIntListsPool::Drop(size_t reference) {
    size_t k = 0;
    if (Run* run = FindRun(reference, k)) {
        run->state[k] = LIST_DROPPED;
    }
}

void BrelonPackedIntListsPool::Clear() noexcept {
    std::vector<Run>().swap(m_Runs);
}

size_t BrelonPackedIntListsPool::NumLists() const {
    size_t count = 0;
    for (const Run& run : m_Runs) {
        count += run.state.Size();
    }
    return count;
}

size_t BrelonPackedIntListsPool::GetBytes() const {
    size_t bytes = m_Runs.capacity() * sizeof(Run);
    for (const Run& run : m_Runs) {
        bytes += run.starts.Capacity() * sizeof(uint32_t) + run.ids.Capacity() * sizeof(int) +
                 run.indices.Capacity() * sizeof(int) + run.state.Capacity();
    }
    return bytes;
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
