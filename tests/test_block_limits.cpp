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

// A copied record keeps the key that its slot holds in the target block; the references it makes
// go over by their ids onto the target's maps, and a block keyed by names keeps the target's name.
TEST(BlockEdges, CopiedRecordsKeepTheTargetKeyAndCarryReferencesById) {
    OnfBlockSet from;
    OnfBlockSet to;
    for (int id : {99, 20, 10, 30}) {
        to.GetIdMapsPool().GetIdMap(ID_NODE).FetchIdx(id);
    }
    OnfBlock& source = from.AddEmptyBlock(static_cast<QSV_OnfId>(140));
    bool created = false;
    const size_t sourceIndex = source.GetWarrantedRecordIdx(7, created);
    source.SetRecordItem(sourceIndex, QSV_DataRecordItem::ELEM_ITEM_NODES,
                         std::vector<int>{30, 10, 20}, ONF_INT_LIST_ORDERED);
    source.SetRecordItem(sourceIndex, QSV_DataRecordItem::ELEM_ITEM_PROPERTY, 77);
    OnfBlock& target = to.AddEmptyBlock(static_cast<QSV_OnfId>(140));
    const size_t targetIndex = target.GetWarrantedRecordIdx(8, created);
    target.CopyRecord(source, sourceIndex, targetIndex, 0);
    EXPECT_EQ(target.GetId(targetIndex), 8);
    EXPECT_EQ(target.GetIntList(targetIndex, QSV_DataRecordItem::ELEM_ITEM_NODES),
              (std::vector<int>{30, 10, 20}));
    EXPECT_EQ(target.GetInt(targetIndex, QSV_DataRecordItem::ELEM_ITEM_PROPERTY), 77);

    LoadText(from, "   -1\n10030\n1\nLEFT\n1, 2, 3\n   -1\n");
    OnfBlock& named = from.GetBlock(static_cast<QSV_OnfId>(10030));
    OnfBlock& namedTarget = to.AddEmptyBlock(static_cast<QSV_OnfId>(10030));
    QSV_IdMap& names = to.GetIdMapsPool().GetIdMap(named.GetBlockIdType());
    const size_t slot = names.FetchIdx(std::string("RIGHT"));
    const size_t nameIndex = from.GetIdMapsPool().GetIdMap(named.GetBlockIdType()).GetIdx("LEFT");
    namedTarget.CopyRecord(named, nameIndex, slot, 0);
    ASSERT_TRUE(namedTarget.HasRecord(slot));
    EXPECT_EQ(namedTarget.GetIntList(slot, static_cast<OnfBlock::Item>(1)),
              (std::vector<int>{1, 2, 3}));
    EXPECT_FALSE(names.HasId(std::string("LEFT")));
}

} // namespace
