// Record helpers that the block sources and the file kinds built on blocks share. Private to the
// engine.
#pragma once

#include "OnfBlock.h"
#include "QSV_Failure.h"

#include <climits>
#include <cstddef>
#include <cstring>

class TextLinesProvider;

namespace onf_detail {

// Record storage that a block read from a file may hold: a floor, and so many bytes for every
// byte of its body text (its lines and their line ends). Records cost their format's size
// whatever their lines hold, so without this a long format of optional items and lines of one
// character each would make a block far larger than its file.
constexpr size_t kRecordBudgetFloor = size_t(1) << 20;
constexpr size_t kRecordBudgetFactor = 64;

// The budget above for `bodyBytes` bytes of body text.
inline size_t RecordBudget(size_t bodyBytes) {
    return kRecordBudgetFloor + kRecordBudgetFactor * bodyBytes;
}

// Bytes of the lines that `lines` hands out, one line end counted for each, read from its first
// line on; `lines` is left rewound.
size_t BodyBytes(TextLinesProvider& lines);

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
    for (long long index = static_cast<long long>(block.GetFirstIndex()); index <= last; ++index) {
        if (block.HasRecord(static_cast<size_t>(index))) {
            visit(static_cast<size_t>(index));
        }
    }
}

// The first of `count` ids that follow `highest`, for records numbered above the ids in use.
// Where 32 bits do not hold them all, fails (tag `tag`) before anything is made: wrapping would
// give negative ids, which may be taken already or read as slots without a record. `what` names
// one record; an "s" makes it plural. `count` is at least 1.
inline int FirstFreeId(long long highest, size_t count, const char* tag, const char* what) {
    if (count <= static_cast<size_t>(INT_MAX) &&
        highest <= INT_MAX - static_cast<long long>(count)) {
        return static_cast<int>(highest + 1);
    }
    if (count == 1) {
        ThrowFailure(nullptr, tag,
                     "No id is left for a new %s: the highest id in use is %lld, the largest a "
                     "32-bit id can be.",
                     what, highest);
    }
    ThrowFailure(nullptr, tag,
                 "No ids are left for %Iu new %ss: they would follow id %lld, and the largest a "
                 "32-bit id can be is %d.",
                 count, what, highest, INT_MAX);
}

// The id that follows `highest` (see FirstFreeId).
inline int NextFreeId(int highest, const char* tag, const char* what) {
    return FirstFreeId(highest, 1, tag, what);
}

} // namespace onf_detail
