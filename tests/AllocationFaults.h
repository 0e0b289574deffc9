// Allocation accounting for tests: a program that links AllocationFaults.cpp replaces the global
// operator new and delete, so that a test can count the blocks an action leaves behind and make
// the n-th allocation of an action fail.
#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <new>

namespace onf_test {

// Blocks allocated through operator new and not freed yet.
size_t LiveAllocations();

// Makes the n-th allocation through operator new from now on throw std::bad_alloc (n >= 1);
// 0 lets every allocation through again.
void FailAllocation(size_t n);

// Runs `action` with its first, then its second, ... allocation failing, until it runs through.
// Each failing run must throw std::bad_alloc and leave no block behind; `check` runs after each
// failing run to see that what the action worked on is as it was. Answers the number of runs
// that failed.
template <typename Action, typename Check>
size_t ForEachFailingAllocation(Action action, Check check) {
    for (size_t n = 1;; ++n) {
        const size_t live = LiveAllocations();
        FailAllocation(n);
        try {
            action();
            FailAllocation(0);
            return n - 1;
        } catch (const std::bad_alloc&) {
            FailAllocation(0);
        }
        EXPECT_EQ(LiveAllocations(), live)
            << "blocks left behind when allocation " << n << " failed";
        check();
    }
}

} // namespace onf_test
