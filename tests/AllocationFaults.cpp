// Replaces the global operator new and delete of a test program (see AllocationFaults.h).
#include "AllocationFaults.h"

#include <cstdlib>

namespace {
size_t g_Live = 0;
size_t g_FailIn = 0; // allocations until the one that fails; 0: none fails
} // namespace

size_t onf_test::LiveAllocations() {
    return g_Live;
}

void onf_test::FailAllocation(size_t n) {
    g_FailIn = n;
}

void* operator new(size_t size) {
    if (g_FailIn != 0 && --g_FailIn == 0) {
        throw std::bad_alloc();
    }
    void* block = std::malloc(size == 0 ? 1 : size);
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    ++g_Live;
    return block;
}

void operator delete(void* block) noexcept {
    if (block != nullptr) {
        --g_Live;
        std::free(block);
    }
}

void operator delete(void* block, size_t) noexcept {
    operator delete(block);
}

// A calloc of more than the address space answers null rather than stopping the program, so
// that a test can see the engine turn it into std::bad_alloc also under AddressSanitizer.
extern "C" const char* __asan_default_options() {
    return "allocator_may_return_null=1";
}
