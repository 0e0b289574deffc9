// Record helpers that the block sources and the file kinds built on blocks share. Private to the
// engine.
#pragma once

#include "OnfBlock.h"

#include <cstddef>
#include <cstring>

namespace onf_detail {

// A value into and out of a record. Items lie packed without alignment, so every access goes
// byte-wise through a copy.
template <typename T>
void StoreValue(unsigned char* where, T value) {
    std::memcpy(where, &value, sizeof value);
}

template <typename T>
T LoadValue(const unsigned char* where) {
    T value;
    std::memcpy(&value, where, sizeof value);
    return value;
}

// Visits the set records of `block` in index order, up to the last one it holds when the visit
// starts: records that `visit` appends behind it are not visited.
template <typename Visit>
void ForEachRecord(const OnfBlock& block, Visit visit) {
    const long long last = block.GetMaxIndex();
    for (long long index = 0; index <= last; ++index) {
        if (block.HasRecord(static_cast<size_t>(index))) {
            visit(static_cast<size_t>(index));
        }
    }
}

} // namespace onf_detail
