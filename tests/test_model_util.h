// Helpers of the model file tests: failure checks and short access to block items.
#pragma once

#include "FailureExpect.h"
#include "OnfModelFile.h"
#include "QSV_Failure.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace onf_test {

const char* const kModelTag = "|%P|BrelonOnfEngine|OnfModelFile";
const char* const kCsTag = "|%P|BrelonOnfEngine|OnfModelCs";

inline OnfBlock::Item It(int item) {
    return static_cast<OnfBlock::Item>(item);
}

inline QSV_OnfId Bl(int block) {
    return static_cast<QSV_OnfId>(block);
}

// Item `item` of record `id` of block `block`; the record must exist.
inline int Int(const OnfBlockSet& set, int block, int id, int item) {
    return OnfBlock::GetInt(set.GetConstObject(Bl(block), id), It(item));
}

inline double Real(const OnfBlockSet& set, int block, int id, int item) {
    return OnfBlock::GetReal(set.GetConstObject(Bl(block), id), It(item));
}

inline std::string Text(const OnfBlockSet& set, int block, int id, int item) {
    return OnfBlock::GetString(set.GetConstObject(Bl(block), id), It(item));
}

inline std::vector<int> List(const OnfBlockSet& set, int block, int id, int item) {
    return OnfBlock::GetIntList(set.GetConstObject(Bl(block), id), It(item));
}

inline BrelonMatrix<3, 1, double> Vec(const OnfBlockSet& set, int block, int id, int item) {
    return OnfBlock::GetVector(set.GetConstObject(Bl(block), id), It(item));
}

} // namespace onf_test
