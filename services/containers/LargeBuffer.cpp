// Large buffers: heap memory for small sizes, mapped memory (huge pages when asked) for large ones.
#include "BrelonContainers.h"

#include <atomic>
#include <sys/mman.h>
#include <unistd.h>

namespace onf_detail {

namespace {

// Off unless turned on. Measured on the virtual machines the suite runs on, a fresh huge page
// costs more system time per byte than the ordinary pages the system recycles: normalizing a
// 600 MB model took 3.2 to 3.5 s of system time with huge pages and 1.5 to 1.7 s without, at the
// same peak memory and the same user time, and the 150 MB model gained nothing from them.
std::atomic<bool> s_HugePages{false};
std::atomic<bool> s_Mapping{true};

size_t PageBytes() {
    static const size_t bytes = [] {
        const long size = ::sysconf(_SC_PAGESIZE);
        return size > 0 ? static_cast<size_t>(size) : size_t(4096);
    }();
    return bytes;
}

size_t RoundUp(size_t value, size_t granule) {
    if (value > std::numeric_limits<size_t>::max() - granule) {
        throw std::bad_alloc();
    }
    return (value + granule - 1) / granule * granule;
}

unsigned char* MapOrThrow(size_t length) {
    void* data =
        ::mmap(nullptr, length, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (data == MAP_FAILED) {
        throw std::bad_alloc();
    }
    return static_cast<unsigned char*>(data);
}

// `length` (a multiple of the huge page) zeroed bytes at an address aligned to the huge page,
// which the system can back with huge pages only when the mapping is aligned so. The slack
// mapped around the aligned range for that goes back at once. A system that refuses the advice
// backs the range with ordinary pages.
unsigned char* MapHuge(size_t length) {
    const size_t slack = LargeBuffer::HUGE_PAGE_BYTES;
    if (length > std::numeric_limits<size_t>::max() - slack) {
        throw std::bad_alloc();
    }
    unsigned char* raw = MapOrThrow(length + slack);
    const auto address = reinterpret_cast<uintptr_t>(raw);
    unsigned char* aligned = raw + (RoundUp(address, slack) - address);
    if (aligned > raw) {
        ::munmap(raw, static_cast<size_t>(aligned - raw));
    }
    const size_t tail = slack - static_cast<size_t>(aligned - raw);
    if (tail > 0) {
        ::munmap(aligned + length, tail);
    }
#ifdef MADV_HUGEPAGE
    ::madvise(aligned, length, MADV_HUGEPAGE);
#endif
    return aligned;
}

} // namespace

void LargeBuffer::SetHugePages(bool enabled) {
    s_HugePages = enabled;
}

bool LargeBuffer::GetHugePages() {
    return s_HugePages;
}

void LargeBuffer::SetMapping(bool enabled) {
    s_Mapping = enabled;
}

void LargeBuffer::Grow(size_t capacity) {
    if (capacity <= m_Capacity) {
        return;
    }
    if (!m_Mapped && (capacity < MAPPED_BYTES || !s_Mapping)) {
        // Through operator new, as every other allocation of the engine, so that the fault
        // injection of the tests reaches it too.
        auto* data = static_cast<unsigned char*>(::operator new(capacity));
        if (m_Data != nullptr) {
            std::memcpy(data, m_Data, m_Capacity);
        }
        std::memset(data + m_Capacity, 0, capacity - m_Capacity);
        ::operator delete(m_Data);
        m_Data = data;
        m_Capacity = capacity;
        return;
    }
    const bool huge = s_HugePages;
    const size_t length = RoundUp(capacity, huge ? HUGE_PAGE_BYTES : PageBytes());
    unsigned char* data = huge ? MapHuge(length) : MapOrThrow(length);
    if (m_Mapped) {
#ifdef MREMAP_FIXED
        // The old pages move to the front of the new mapping, in place of its zero pages.
        if (::mremap(m_Data, m_Capacity, m_Capacity, MREMAP_MAYMOVE | MREMAP_FIXED, data) ==
            MAP_FAILED) {
            std::memcpy(data, m_Data, m_Capacity);
            ::munmap(m_Data, m_Capacity);
        }
#else
        std::memcpy(data, m_Data, m_Capacity);
        ::munmap(m_Data, m_Capacity);
#endif
    } else if (m_Data != nullptr) {
        std::memcpy(data, m_Data, m_Capacity);
        ::operator delete(m_Data);
    }
    m_Data = data;
    m_Capacity = length;
    m_Mapped = true;
    m_Huge = huge;
}

void LargeBuffer::Discard(size_t from, size_t to) {
    if (!m_Mapped) {
        return;
    }
    // Whole huge pages only in a buffer of huge pages: a part of one would be split off and
    // its memory given back only later.
    const size_t granule = m_Huge ? HUGE_PAGE_BYTES : PageBytes();
    to = std::min(to, m_Capacity);
    if (from >= to || from > std::numeric_limits<size_t>::max() - granule) {
        return;
    }
    const size_t begin = RoundUp(from, granule);
    const size_t end = to / granule * granule;
    if (begin < end) {
        ::madvise(m_Data + begin, end - begin, MADV_DONTNEED);
    }
}

void LargeBuffer::Free() noexcept {
    if (m_Mapped) {
        ::munmap(m_Data, m_Capacity);
    } else {
        ::operator delete(m_Data);
    }
    m_Data = nullptr;
    m_Capacity = 0;
    m_Mapped = false;
    m_Huge = false;
}

} // namespace onf_detail
