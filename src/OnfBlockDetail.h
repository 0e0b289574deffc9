// Record helpers that the block sources and the file kinds built on blocks share. Private to the
// engine.
#pragma once

#include "OnfBlock.h"

#include <cstddef>

namespace onf_detail {

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
