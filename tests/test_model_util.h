// Helpers of the model file tests: failure checks and short access to block items.
#pragma once

#include "OnfModelFile.h"
#include "QSV_Failure.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace onf_test {

const char* const kModelTag = "|%P|BrelonOnfEngine|OnfModelFile";
const char* const kCsTag = "|%P|BrelonOnfEngine|OnfModelCs";

// Runs `action`, which must fail with exactly this identifier ("" for none), tag and message.
template <typename F>
void ExpectFailure(F&& action, const std::string& id, const std::string& tag,
                   const std::string& message) {
    try {
        action();
        ADD_FAILURE() << "no failure, expected: " << message;
    } catch (const QSV_Failure& failure) {
        EXPECT_EQ(failure.GetMessage(), message);
        EXPECT_EQ(failure.GetLogTag(), tag);
        EXPECT_EQ(failure.GetId(), id);
    }
}

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
