#include "BrelonContainers.h"

#include <new>

BrelonMemRecArray::BrelonMemRecArray(size_t recordSize, size_t numRecords,
                                     size_t recordsPerChunk)
    : m_RecordSize(recordSize == 0 ? 1 : recordSize), // a zero size still gives distinct slots
      m_PerChunk(0), m_RequestedPerChunk(recordsPerChunk) {
    m_PerChunk = ChunkRecords(recordsPerChunk);
    if (numRecords > std::numeric_limits<size_t>::max() / m_RecordSize) {
        throw std::bad_alloc();
    }
    m_First.Grow(numRecords * m_RecordSize);
    m_NumFirst = numRecords;
    m_NumRecords = numRecords;
}

BrelonMemRecArray::BrelonMemRecArray(const BrelonMemRecArray& other)
    : m_RecordSize(other.m_RecordSize), m_PerChunk(other.m_PerChunk),
      m_RequestedPerChunk(other.m_RequestedPerChunk) {
    // The copy holds all records in its first buffer; only their bytes are copied.
    m_First.Grow(other.m_NumRecords * m_RecordSize);
    size_t done = std::min(other.m_NumFirst, other.m_NumRecords);
    if (done > 0) {
        std::memcpy(m_First.Data(), other.m_First.Data(), done * m_RecordSize);
    }
    for (size_t chunk = 0; done < other.m_NumRecords; ++chunk) {
        const size_t records = std::min(other.m_NumRecords - done, m_PerChunk);
        std::memcpy(m_First.Data() + done * m_RecordSize, other.m_Chunks[chunk].Data(),
                    records * m_RecordSize);
        done += records;
    }
    m_NumFirst = other.m_NumRecords;
    m_NumRecords = other.m_NumRecords;
}

BrelonMemRecArray::BrelonMemRecArray(BrelonMemRecArray&& other) noexcept
    : m_RecordSize(other.m_RecordSize), m_NumRecords(other.m_NumRecords),
      m_PerChunk(other.m_PerChunk), m_RequestedPerChunk(other.m_RequestedPerChunk),
      m_First(std::move(other.m_First)), m_NumFirst(other.m_NumFirst),
      m_Chunks(std::move(other.m_Chunks)) {
    other.m_Chunks.clear();
    other.m_NumRecords = 0;
    other.m_NumFirst = 0;
}

BrelonMemRecArray& BrelonMemRecArray::operator=(const BrelonMemRecArray& other) {
    if (this != &other) {
        BrelonMemRecArray copy(other);
        *this = std::move(copy);
    }
    return *this;
}

BrelonMemRecArray& BrelonMemRecArray::operator=(BrelonMemRecArray&& other) noexcept {
    std::swap(m_RecordSize, other.m_RecordSize);
    std::swap(m_NumRecords, other.m_NumRecords);
    std::swap(m_PerChunk, other.m_PerChunk);
    std::swap(m_RequestedPerChunk, other.m_RequestedPerChunk);
    m_First.Swap(other.m_First);
    std::swap(m_NumFirst, other.m_NumFirst);
    m_Chunks.swap(other.m_Chunks);
    return *this;
}

BrelonMemRecArray::~BrelonMemRecArray() = default;

size_t BrelonMemRecArray::ChunkRecords(size_t requested) const {
    const size_t minimum = std::max<size_t>(1, MIN_CHUNK_BYTES / m_RecordSize);
    return std::max(requested, minimum);
}

void BrelonMemRecArray::AddChunk() {
    if (m_PerChunk > std::numeric_limits<size_t>::max() / m_RecordSize) {
        throw std::bad_alloc();
    }
    onf_detail::LargeBuffer chunk(m_PerChunk * m_RecordSize);
    m_Chunks.push_back(std::move(chunk));
}

void* BrelonMemRecArray::AddNewRecord() {
    if (m_NumRecords == m_NumFirst + m_Chunks.size() * m_PerChunk) {
        AddChunk();
    }
    return RecordData(m_NumRecords++);
}

void BrelonMemRecArray::SetNumRecPerChunk(size_t recordsPerChunk) {
    m_RequestedPerChunk = recordsPerChunk;
    if (m_Chunks.empty()) {
        m_PerChunk = ChunkRecords(recordsPerChunk);
    }
}

void BrelonMemRecArray::Clear() {
    m_First.Free();
    m_Chunks.clear();
    m_NumFirst = 0;
    m_NumRecords = 0;
    m_PerChunk = ChunkRecords(m_RequestedPerChunk);
}
