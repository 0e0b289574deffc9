// Comparison of two databases by content, for the tests that write a file and read it back.
#pragma once

#include "OnfBlock.h"
#include "QSV_Database.h"

#include <gtest/gtest.h>

#include <memory>

namespace onf_test {

// Same blocks, and in each the same records compared by key through the id adapters, so that
// record order, indices and pool handles of the two databases do not matter.
inline void ExpectSameContent(const QSV_Database& expected, const QSV_Database& actual) {
    const QSV_DataDescriptorPattern all;
    ASSERT_EQ(expected.FindBlocks(all), actual.FindBlocks(all));
    for (const QSV_DataDescriptor& descriptor : expected.FindBlocks(all)) {
        const QSV_DataBlock& a = expected.GetDataBlock(descriptor);
        const QSV_DataBlock& b = actual.GetDataBlock(descriptor);
        SCOPED_TRACE(static_cast<const OnfBlock&>(a).GetBlockId());
        ASSERT_EQ(a.GetNumRecords(), b.GetNumRecords());
        QSV_ConstIdDataBlock readA(a, expected.GetIdMapsPool());
        QSV_ConstIdDataBlock readB(b, actual.GetIdMapsPool());
        std::unique_ptr<QSV_ConstIdDataRecord> recordA(readA.CreateIdDataRecord());
        std::unique_ptr<QSV_ConstIdDataRecord> recordB(readB.CreateIdDataRecord());
        for (auto it = a.Begin(); it.IsValid(); ++it) {
            ASSERT_TRUE(readA.GetRecordByIndex(*it, *recordA));
            const bool found = recordA->HasKeyName()
                                   ? readB.GetRecord(recordA->GetKeyName(), *recordB)
                                   : readB.GetRecord(recordA->GetKeyId(), *recordB);
            ASSERT_TRUE(found) << "record " << recordA->GetKeyId();
            EXPECT_TRUE(*recordA == *recordB) << "record " << recordA->GetKeyId();
        }
    }
}

} // namespace onf_test
