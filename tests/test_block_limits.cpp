// Blocks at the edges of their abstract face: the field data of every kind of first item.
#include "OnfBlockSet.h"
#include "test_block_util.h"

#include <gtest/gtest.h>

namespace {

using onf_test::CustomBlockText;
using onf_test::FirstBlock;
using onf_test::LoadText;

// Item 1 of every record in index order, as reals: one value for an integer, real or float,
// three for a vector, six for a tensor, none for other items.
TEST(BlockEdges, FieldDataTakesItemOneOfEveryRecord) {
    const struct {
        const char* format;
        size_t count;
        const char* body;
        std::vector<double> field;
    } cases[] = {
        {"IRb", 2, "1, 7, 0.5\n3, -2, 1\n", {7, -2}},
        {"Rb", 2, "1, 0.25\n2, -4\n", {0.25, -4}},
        {"Fb", 1, "1, 1.5\n", {1.5}},
        {"Vb", 1, "1, 1, 2, 3\n", {1, 2, 3}},
        {"Tb", 1, "1, 1, 2, 3, 4, 5, 6\n", {1, 2, 3, 4, 5, 6}},
        {"Sb", 1, "1, name\n", {}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.format);
        OnfBlockSet db;
        LoadText(db, CustomBlockText(c.format, c.count, c.body));
        EXPECT_EQ(FirstBlock(db).GetFieldData(), c.field);
    }
}

// Two entries are equal when type and all value bytes agree.
TEST(BlockEdges, EntriesCompareTypeAndValue) {
    DataRecordEntry a;
    a.m_Value[0] = 1;
    DataRecordEntry b = a;
    EXPECT_TRUE(a == b);
    b.m_Value[47] = 1;
    EXPECT_FALSE(a == b);
    b = a;
    b.m_Type = BDT_REAL;
    EXPECT_FALSE(a == b);
}

} // namespace
