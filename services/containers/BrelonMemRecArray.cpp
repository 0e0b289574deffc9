#include "BrelonContainers.h"

#include <cstdlib>
#include <new>

BrelonMemRecArray::BrelonMemRecArray(size_t recordSize, size_t numRecords,
                                     size_t recordsPerChunk)
    : m_RecordSize(recordSize == 0 ? 1 : recordSize), // a zero size still gives distinct slots
      m_PerChunk(0), m_RequestedPerChunk(recordsPerChunk) {
    m_PerChunk = ChunkRecords(recordsPerChunk);
    m_Chunks.reserve(numRecords / m_PerChunk + 1);
    while (m_Chunks.size() * m_PerChunk < numRecords) {
        AddChunk();
    }
    m_NumRecords = numRecords;
}

BrelonMemRecArray::BrelonMemRecArray(const BrelonMemRecArray& other)
    : m_RecordSize(other.m_RecordSize), m_PerChunk(other.m_PerChunk),
      m_RequestedPerChunk(other.m_RequestedPerChunk) {
    // Only the chunks that hold records are copied, and only their used bytes.
    try {
        size_t left = other.m_NumRecords;
        for (size_t chunk = 0; left > 0; ++chunk) {
            AddChunk();
            const size_t records = std::min(left, m_PerChunk);
            std::memcpy(m_Chunks[chunk], other.m_Chunks[chunk], records * m_RecordSize);
            left -= records;
        }
    } catch (...) {
        FreeChunks();
        throw;
    }
    m_NumRecords = other.m_NumRecords;
}

BrelonMemRecArray::BrelonMemRecArray(BrelonMemRecArray&& other) noexcept
    : m_RecordSize(other.m_RecordSize), m_NumRecords(other.m_NumRecords),
      m_PerChunk(other.m_PerChunk), m_RequestedPerChunk(other.m_RequestedPerChunk),
      m_Chunks(std::move(other.m_Chunks)) {
    other.m_Chunks.clear();
    other.m_NumRecords = 0;
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
    m_Chunks.swap(other.m_Chunks);
    return *this;
}

BrelonMemRecArray::~BrelonMemRecArray() {
    FreeChunks();
}

size_t BrelonMemRecArray::ChunkRecords(size_t requested) const {
    const size_t minimum = std::max<size_t>(1, MIN_CHUNK_BYTES / m_RecordSize);
    return std::max(requested, minimum);
}

void BrelonMemRecArray::AddChunk() {
    // calloc: the zero pages of the system stay untouched until the caller writes a record.
    void* chunk = std::calloc(m_PerChunk, m_RecordSize);
    if (chunk == nullptr) {
        throw std::bad_alloc();
    }
    try {
        m_Chunks.push_back(static_cast<unsigned char*>(chunk));
    } catch (...) {
        std::free(chunk);
        throw;
    }
}

void BrelonMemRecArray::FreeChunks() {
    for (unsigned char* chunk : m_Chunks) {
        std::free(chunk);
    }
    m_Chunks.clear();
}

void* BrelonMemRecArray::AddNewRecord() {
    if (m_NumRecords == m_Chunks.size() * m_PerChunk) {
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
    FreeChunks();
    m_NumRecords = 0;
    m_PerChunk = ChunkRecords(m_RequestedPerChunk);
}
