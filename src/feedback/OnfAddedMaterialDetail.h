// Reading one record of the added materials (block 821), shared by the modification file and
// its materials reducer, which hold the record in two public structures of the same fields.
// Private to the engine.
#pragma once

#include "OnfBlock.h"

#include <cstddef>

namespace onf_detail {

// Items 0 to 14 of record `recordIdx` of block 821 into `record` (fields id, ref,
// parentMaterial, name, text, flags, values). Flags and values are written in place: the caller
// sizes both vectors, and a vector shorter than five takes what fits.
template <typename Record>
void ReadAddedMaterial(const OnfBlock& block, size_t recordIdx, Record& record) {
    using namespace QSV_DataRecordItem;
    record.id = block.GetId(recordIdx);
    record.ref = block.GetInt(recordIdx, ItemAddMatRef);
    record.parentMaterial = block.GetInt(recordIdx, ItemAddMatParent);
    block.GetString(recordIdx, ItemAddMatName, record.name);
    block.GetString(recordIdx, ItemAddMatText, record.text);
    for (size_t k = 0; k < 5 && k < record.flags.size(); ++k) {
        record.flags[k] = block.GetInt(recordIdx, static_cast<DataRecordItem>(ItemAddMatFlag0 + k));
    }
    for (size_t k = 0; k < 5 && k < record.values.size(); ++k) {
        record.values[k] =
            block.GetReal(recordIdx, static_cast<DataRecordItem>(ItemAddMatValue0 + k));
    }
}

} // namespace onf_detail
