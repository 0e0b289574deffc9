#include "BrelonContainers.h"

#include <algorithm>
#include <memory>
#include <stdexcept>
#include <string_view>

namespace {
constexpr size_t kDefaultChunk = 4096;
constexpr size_t kMinIndex = 64;
const char kEmpty[] = "";

uint32_t HashOf(const char* text, size_t length) {
    return static_cast<uint32_t>(std::hash<std::string_view>()(std::string_view(text, length)));
}
} // namespace

BrelonStringsPool::BrelonStringsPool(size_t chunkSize)
    : m_ChunkSize(chunkSize == 0 ? kDefaultChunk : chunkSize) {}

BrelonStringsPool::BrelonStringsPool(const BrelonStringsPool& other)
    : m_ChunkSize(other.m_ChunkSize) {
    CopyFrom(other);
}

BrelonStringsPool::BrelonStringsPool(BrelonStringsPool&& other) noexcept
    : m_ChunkSize(other.m_ChunkSize), m_Chunks(std::move(other.m_Chunks)), m_Free(other.m_Free),
      m_FreeBytes(other.m_FreeBytes), m_Strings(std::move(other.m_Strings)),
      m_Lengths(std::move(other.m_Lengths)), m_Hashes(std::move(other.m_Hashes)),
      m_Index(std::move(other.m_Index)) {
    other.Clear();
}

BrelonStringsPool& BrelonStringsPool::operator=(const BrelonStringsPool& other) {
    if (this != &other) {
        BrelonStringsPool copy(other);
        *this = std::move(copy);
    }
    return *this;
}

BrelonStringsPool& BrelonStringsPool::operator=(BrelonStringsPool&& other) noexcept {
    std::swap(m_ChunkSize, other.m_ChunkSize);
    m_Chunks.swap(other.m_Chunks);
    std::swap(m_Free, other.m_Free);
    std::swap(m_FreeBytes, other.m_FreeBytes);
    m_Strings.swap(other.m_Strings);
    m_Lengths.swap(other.m_Lengths);
    m_Hashes.swap(other.m_Hashes);
    m_Index.swap(other.m_Index);
    return *this;
}

BrelonStringsPool::~BrelonStringsPool() = default;

// A copy packs all texts into one chunk of the exact size; handles and the index stay as they
// are, since they do not depend on where the bytes lie.
void BrelonStringsPool::CopyFrom(const BrelonStringsPool& other) {
    size_t total = 0;
    for (uint32_t length : other.m_Lengths) {
        total += length + 1;
    }
    m_Strings.reserve(other.m_Strings.size());
    if (total > 0) {
        m_Chunks.emplace_back(new char[total]);
        char* out = m_Chunks.back().get();
        for (size_t i = 0; i < other.m_Strings.size(); ++i) {
            std::memcpy(out, other.m_Strings[i], other.m_Lengths[i] + 1);
            m_Strings.push_back(out);
            out += other.m_Lengths[i] + 1;
        }
    }
    m_Lengths = other.m_Lengths;
    m_Hashes = other.m_Hashes;
    m_Index = other.m_Index;
}

Brelon_SP_STRING_ID BrelonStringsPool::AddString(const char* text) {
    if (text == nullptr) {
        text = kEmpty;
    }
    return Add(text, std::strlen(text));
}

Brelon_SP_STRING_ID BrelonStringsPool::AddString(const std::string& text) {
    return Add(text.data(), text.size());
}

Brelon_SP_STRING_ID BrelonStringsPool::Add(const char* text, size_t length) {
    if (length > UINT32_MAX - 1) {
        throw std::length_error("BrelonStringsPool: string too long");
    }
    const uint32_t hash = HashOf(text, length);
    const size_t found = Lookup(text, length, hash);
    if (found != 0) {
        return static_cast<Brelon_SP_STRING_ID>(found);
    }
    if (m_Strings.size() >= static_cast<size_t>(INT32_MAX)) {
        throw std::length_error("BrelonStringsPool: too many strings");
    }
    if ((m_Strings.size() + 1) * 2 > m_Index.size()) {
        GrowIndex();
    }
    // Room for one more string in each vector first, so that a failed allocation leaves them of
    // one length: the pushes below cannot fail half-way.
    const size_t more = std::max<size_t>(16, 2 * m_Strings.size());
    for (auto* positions : {&m_Lengths, &m_Hashes}) {
        if (positions->size() == positions->capacity()) {
            positions->reserve(more);
        }
    }
    if (m_Strings.size() == m_Strings.capacity()) {
        m_Strings.reserve(more);
    }
    const char* stored = Store(text, length);
    m_Strings.push_back(stored);
    m_Lengths.push_back(static_cast<uint32_t>(length));
    m_Hashes.push_back(hash);
    const size_t mask = m_Index.size() - 1;
    size_t slot = hash & mask;
    while (m_Index[slot] != 0) {
        slot = (slot + 1) & mask;
    }
    m_Index[slot] = static_cast<uint32_t>(m_Strings.size());
    return static_cast<Brelon_SP_STRING_ID>(m_Strings.size());
}

// The handle of the text, or 0. Linear probing over a table at most half full.
size_t BrelonStringsPool::Lookup(const char* text, size_t length, uint64_t hash) const {
    if (m_Index.empty()) {
        return 0;
    }
    const size_t mask = m_Index.size() - 1;
    for (size_t slot = hash & mask; m_Index[slot] != 0; slot = (slot + 1) & mask) {
        const size_t position = m_Index[slot] - 1;
        if (m_Hashes[position] == static_cast<uint32_t>(hash) && m_Lengths[position] == length &&
            std::memcmp(m_Strings[position], text, length) == 0) {
            return m_Index[slot];
        }
    }
    return 0;
}

char* BrelonStringsPool::Store(const char* text, size_t length) {
    const size_t need = length + 1;
    char* out;
    if (need > m_FreeBytes) {
        // The chunk is owned before the list of chunks may grow, so that a failure there frees it.
        const bool ownChunk = need > m_ChunkSize / 2;
        std::unique_ptr<char[]> chunk(new char[ownChunk ? need : m_ChunkSize]);
        m_Chunks.push_back(std::move(chunk));
        if (ownChunk) {
            // A long text gets a chunk of its own; the current chunk keeps serving short ones.
            out = m_Chunks.back().get();
            std::memcpy(out, text, length);
            out[length] = '\0';
            return out;
        }
        m_Free = m_Chunks.back().get();
        m_FreeBytes = m_ChunkSize;
    }
    out = m_Free;
    std::memcpy(out, text, length);
    out[length] = '\0';
    m_Free += need;
    m_FreeBytes -= need;
    return out;
}

void BrelonStringsPool::GrowIndex() {
    const size_t size = std::max(kMinIndex, m_Index.size() * 2);
    std::vector<uint32_t> index(size, 0);
    const size_t mask = size - 1;
    for (size_t position = 0; position < m_Strings.size(); ++position) {
        size_t slot = m_Hashes[position] & mask;
        while (index[slot] != 0) {
            slot = (slot + 1) & mask;
        }
        index[slot] = static_cast<uint32_t>(position + 1);
    }
    m_Index.swap(index);
}

const char* BrelonStringsPool::GetString(Brelon_SP_STRING_ID handle) const {
    if (handle <= 0 || static_cast<size_t>(handle) > m_Strings.size()) {
        return kEmpty;
    }
    return m_Strings[static_cast<size_t>(handle) - 1];
}

Brelon_SP_STRING_ID BrelonStringsPool::FindString(const std::string& text) const {
    if (text.size() > UINT32_MAX - 1) {
        return 0;
    }
    return static_cast<Brelon_SP_STRING_ID>(
        Lookup(text.data(), text.size(), HashOf(text.data(), text.size())));
}

const char* BrelonStringsPool::GetStringAtIdx(size_t position) const {
    return position < m_Strings.size() ? m_Strings[position] : nullptr;
}

size_t BrelonStringsPool::GetLengthAtIdx(size_t position) const {
    return position < m_Lengths.size() ? m_Lengths[position] : 0;
}

void BrelonStringsPool::Clear() {
    m_Chunks.clear();
    m_Free = nullptr;
    m_FreeBytes = 0;
    m_Strings.clear();
    m_Lengths.clear();
    m_Hashes.clear();
    m_Index.clear();
}
