// Record access on both faces of a block: slots and ids, the id translations of the abstract
// interface and their failures, lists, and the block set's record handles.
#include "BrelonOnfIdMap.h"
#include "FailureExpect.h"
#include "OnfBlockSet.h"
#include "test_block_util.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

using onf_test::ExpectFailure;
using Item = OnfBlock::Item;
const Item kItem1 = static_cast<Item>(1);
const Item kItem2 = static_cast<Item>(2);
const Item kItem3 = static_cast<Item>(3);

OnfBlock& CustomBlock(OnfBlockSet& db, const std::string& format) {
    return static_cast<OnfBlock&>(
        db.CreateDataBlock(QSV_DataDescriptor(static_cast<QSV_OnfId>(5000)), 0, 0, format));
}

size_t Warranted(OnfBlock& block, int id, bool expectCreated = true) {
    bool created = false;
    const size_t index = block.GetWarrantedRecordIdx(id, created);
    EXPECT_EQ(created, expectCreated) << id;
    return index;
}

TEST(BlockLayout, RecordMapFollowsTheFormat) {
    OnfBlockSet db;
    struct Case {
        const char* format;
        std::vector<size_t> offsets;
        std::vector<int> types;
    };
    const Case cases[] = {
        {"", {0}, {BDT_INTEGER}},
        {"RRb", {0, 4, 12}, {BDT_INTEGER, BDT_REAL, BDT_REAL}},
        {"I|SF", {0, 4, 8}, {BDT_INTEGER, BDT_STRING, BDT_FLOAT}},
        {"iIrRfVTLODb",
         {0, 4, 8, 12, 20, 28, 32, 56, 104, 108, 112},
         {1, BDT_INTEGER, BDT_INTEGER, BDT_REAL, BDT_REAL, BDT_FLOAT, BDT_VECTOR, BDT_TENSOR,
          BDT_INT_LIST, BDT_ORDERED_LIST, BDT_DOUBLE_LIST}},
    };
    for (const Case& c : cases) {
        const OnfBlock& block = CustomBlock(db, c.format);
        ASSERT_EQ(block.GetNumRecordItems(), c.offsets.size()) << c.format;
        for (size_t item = 0; item < c.offsets.size(); ++item) {
            EXPECT_EQ(block.GetRecordMapEntry(item).m_Offset, c.offsets[item]) << c.format;
            EXPECT_EQ(block.GetRecordMapEntry(item).m_Type, c.types[item]) << c.format;
        }
    }
    EXPECT_EQ(OnfBlock::m_BasicTypesMap[static_cast<int>('i')], 10);
    EXPECT_EQ(OnfBlock::m_BasicTypesMap[static_cast<int>('r')], 11);
    EXPECT_EQ(OnfBlock::m_BasicTypesMap[static_cast<int>('b')], -1);
}

// A key character wider than the id field ("R|...") widens the key's room, and item 1 lies behind
// it: in the block's record map as in the abstract block's layout, so that both reach the same
// bytes. The key is written as it was read, as a number, and the record reads back unchanged.
TEST(BlockLayout, Item1LiesBehindAWideKey) {
    OnfBlockSet db;
    const OnfBlock& empty = CustomBlock(db, "R|Ib");
    EXPECT_EQ(empty.GetRecordMapEntry(1).m_Offset, 8u);
    EXPECT_EQ(empty.GetItemRecordOffset(1), 8u);
    EXPECT_EQ(empty.GetRecordDataSize(), 8u);

    OnfBlockSet read;
    onf_test::LoadText(read, onf_test::CustomBlockText("R|Ib", 2, "5, 7\n6, -8\n"));
    const OnfBlock& block = onf_test::FirstBlock(read);
    EXPECT_EQ(onf_test::Dump(block), "5:7;6:-8");
    const std::vector<std::string> lines = onf_test::WrittenLines(block);
    ASSERT_GE(lines.size(), 3u);
    EXPECT_EQ(lines[lines.size() - 3], "5, 7");
    EXPECT_EQ(lines[lines.size() - 2], "6, -8");
}

TEST(BlockRecords, EmptyAndDeletedRecords) {
    OnfBlockSet db;
    OnfBlock& block = db.AddEmptyBlock(static_cast<QSV_OnfId>(110));
    EXPECT_EQ(block.GetMinId(), -1);
    EXPECT_EQ(block.GetMaxId(), 0);
    EXPECT_EQ(block.GetMaxIndex(), -1);
    const size_t first = Warranted(block, 40);
    Warranted(block, 40, false);
    Warranted(block, 7);
    EXPECT_EQ(block.GetMinId(), 40);
    EXPECT_EQ(block.GetMaxId(), 7);
    EXPECT_TRUE(block.DeleteRecord(first));
    EXPECT_FALSE(block.DeleteRecord(first));
    EXPECT_FALSE(block.HasRecord(40));
    EXPECT_EQ(block.GetRecordIdx(40), -1);
    block.DeleteRecord(static_cast<size_t>(block.GetRecordIdx(7)));
    EXPECT_EQ(block.GetNumRecords(), 0u);
    EXPECT_EQ(block.GetMaxIndex(), -1);
    // The id map keeps its entry, so the same id finds the same slot again.
    EXPECT_EQ(Warranted(block, 40), first);
}

// A block keyed by ids that the database's id map numbered late holds slots from its first record's
// index on, not from 0; records further down widen it and keep what the others hold.
TEST(BlockRecords, RecordsFarUpTheIdMapHoldOnlyTheirWindow) {
    OnfBlockSet db;
    for (int id = 1; id <= 1000; ++id) {
        db.GetIdMapsPool().GetIdMap(ID_NODE).FetchIdx(id);
    }
    OnfBlock& block = db.AddEmptyBlock(static_cast<QSV_OnfId>(110));
    const size_t last = Warranted(block, 1000);
    EXPECT_EQ(block.GetFirstIndex(), last);
    EXPECT_EQ(*block.Begin(), last);
    block.SetRecordItem(last, kItem1, 7);
    for (const int id : {500, 999, 1}) {
        block.SetRecordItem(Warranted(block, id), kItem1, id);
    }
    EXPECT_EQ(block.GetFirstIndex(), 0u);
    std::vector<int> ids;
    block.GetIdSet(ids);
    EXPECT_EQ(ids, (std::vector<int>{1, 500, 999, 1000}));
    EXPECT_EQ(block.GetInt(last, kItem1), 7);
    EXPECT_EQ(block.GetInt(static_cast<size_t>(block.GetRecordIdx(500)), kItem1), 500);
    EXPECT_FALSE(block.HasRecord(static_cast<size_t>(997))); // node 998 has none
    block.Clear();
    EXPECT_EQ(Warranted(block, 700), 699u);
    EXPECT_EQ(block.GetNumRecords(), 1u);
}

TEST(BlockRecords, DirectIndexedIds) {
    OnfBlockSet db;
    OnfBlock& block = CustomBlock(db, "Ib");
    EXPECT_EQ(Warranted(block, 5), 5u);
    EXPECT_EQ(block.GetNumRecords(), 1u);
    EXPECT_FALSE(block.HasRecord(static_cast<size_t>(4)));
    EXPECT_TRUE(block.HasRecord(5));
    EXPECT_EQ(block.GetRecordIdx(6), -1);
    EXPECT_EQ(block.GetRecordIdx(-3), -1);
    ExpectFailure([&] { Warranted(block, -3); }, "", "|%P|BrelonOnfEngine|OnfBlock",
                  "The id -3 cannot be used in ONF block -1, whose records are indexed by their "
                  "ids.");
    QSV_IntSetIntvl<int> set;
    for (int id : {9, 7, 8, 1}) {
        block.SetRecordItem(Warranted(block, id), kItem1, id);
    }
    block.SetRecordItem(5, kItem1, 5);
    block.GetIdSet(set, kItem1);
    EXPECT_EQ(set.GetBounds(), (std::vector<int>{1, 1, 5, 5, 7, 9}));
    std::vector<int> ids;
    block.GetIdSet(ids);
    EXPECT_EQ(ids, (std::vector<int>{1, 5, 7, 8, 9}));
}

TEST(BlockRecords, KeyThatTheIdMapGaveAnotherRecordFails) {
    OnfBlockSet db;
    OnfBlock& nodes = db.AddEmptyBlock(static_cast<QSV_OnfId>(110));
    const size_t a = Warranted(nodes, 5);
    Warranted(nodes, 7);
    ExpectFailure([&] { nodes.SetRecordItem(a, QSV_DataRecordItem::ITEM_ID, 7); }, "",
                  "|%P|BrelonOnfEngine|OnfBlock",
                  "The container for Onf block 110 (ONF_NODES) already has a record with id = 7");
    EXPECT_EQ(nodes.GetId(a), 7); // written before the test
}

TEST(BlockRecords, AbstractFaceSpeaksInIndices) {
    OnfBlockSet db;
    OnfBlock& nodes = db.AddEmptyBlock(static_cast<QSV_OnfId>(110)); // items 1, 2: systems
    const size_t index = Warranted(nodes, 5);
    nodes.SetRecordItem(index, kItem1, 42);
    nodes.SetRecordItem(index, kItem2, 43);
    QSV_DataRecord record(nodes);
    nodes.GetRecord(index, record);
    EXPECT_EQ(record.GetInteger(1), 0); // the systems' indices
    EXPECT_EQ(record.GetInteger(2), 1);
    record.SetInteger(1, 77);
    nodes.SetRecord(index, record); // stored as given, no translation back
    EXPECT_EQ(nodes.GetInt(index, kItem1), 77);
    nodes.SetInteger(index, 1); // the index of system 43
    EXPECT_EQ(nodes.GetInt(index, kItem1), 43);
    EXPECT_EQ(nodes.GetInteger(index), 1);

    const int values[] = {4, 5, 6};
    const size_t list = nodes.SetIntList(values, 3);
    EXPECT_EQ(nodes.GetIntListLen(list), 3u);
    QSV_IntArray array;
    nodes.GetIntList(list, array);
    EXPECT_EQ(std::vector<int>(array.Data(), array.Data() + array.Size()),
              (std::vector<int>{4, 5, 6}));
    const double reals[] = {0.5, 1.5};
    const size_t realList = nodes.SetDoubleList(reals, 2);
    EXPECT_EQ(nodes.GetDoubleListLen(realList), 2u);
    std::string text;
    nodes.GetString(nodes.SetString("label"), text);
    EXPECT_EQ(text, "label");
}

TEST(BlockRecords, ScalarFamilyKeepsIdsConsistent) {
    OnfBlockSet db;
    OnfBlock& block = CustomBlock(db, "Rb");
    block.SetScalar(10, 2.5);
    EXPECT_EQ(block.GetScalar(10), 2.5);
    EXPECT_EQ(block.GetId(10), 10);
    EXPECT_EQ(block.GetNumRecords(), 1u);
    Warranted(block, 3);
    // The lost percent sign of the message shows the index where the stored id should be.
    block.SetRecordItem(3, QSV_DataRecordItem::ITEM_ID, 8);
    ExpectFailure([&] { block.SetScalar(3, 1.0); }, "052719042098", "|%P|BrelonOnfEngine|OnfBlock",
                  "ID-mapping seems to deliver a different ID for record with index Iu\nID from "
                  "ID-mapping: 3\nID already stored in record: 3");
    OnfBlock& keys = CustomBlock(db, "b");
    ExpectFailure([&] { keys.SetScalar(1, 1.0); }, "", "|%P|BrelonOnfEngine|OnfBlock",
                  "ONF block -1 has no item 1 that can hold 4 bytes.");
}

TEST(BlockLists, ExtendAndTransferSize) {
    OnfBlockSet db;
    OnfBlock& block = CustomBlock(db, "IbObLb");
    const size_t index = Warranted(block, 1);
    for (int value : {5, 3, 5, 9}) {
        block.ExtendIntList(index, kItem2, value);
        block.ExtendIntList(index, kItem3, value);
    }
    block.ExtendIntList(index, kItem3, std::vector<int>{1, 2});
    EXPECT_EQ(block.GetIntList(index, kItem2), (std::vector<int>{3, 5, 9}));
    EXPECT_EQ(block.GetIntList(index, kItem3), (std::vector<int>{5, 3, 5, 9, 1, 2}));
    block.TransferSetSize(index, kItem3, kItem1);
    EXPECT_EQ(block.GetInt(index, kItem1), 6);
    block.SetRecordItem(index, kItem2, std::vector<int>{4, 4, 2}, ONF_INT_LIST_SORTED);
    block.SetRecordItem(index, kItem3, std::vector<int>{4, 4, 2}, ONF_INT_LIST_ORDERED);
    EXPECT_EQ(block.GetIntList(index, kItem2), (std::vector<int>{2, 4}));
    EXPECT_EQ(block.GetIntList(index, kItem3), (std::vector<int>{4, 4, 2}));
    // After the database cleared its lists a held reference reads as no list.
    const size_t held = static_cast<size_t>(block.GetInt(index, kItem3));
    db.Clear();
    EXPECT_TRUE(CustomBlock(db, "IbLb").GetIntList(held).empty());
}

// The abstract face's list of a list reference: indices where it has them, else ids.
std::vector<int> AbstractList(const OnfBlock& block, size_t list) {
    QSV_IntArray array;
    block.GetIntList(list, array);
    return std::vector<int>(array.Data(), array.Data() + array.Size());
}

// Lists read from a file lie packed until they change: every way of reading them must give what
// the file says, in ids and in indices, before and after a caller asks for a vector, and a change
// must keep the values that were there.
TEST(BlockLists, ListsReadFromAFileAnswerEveryFormUntilTheyChange) {
    using V = std::vector<int>;
    OnfBlockSet db;
    onf_test::LoadText(db, onf_test::BlockText(110, 2, "10, 0, 0, 0, 0, 0\n20, 0, 0, 0, 0, 0\n") +
                               onf_test::BlockText(140, 3,
                                                   "1, 3, 3, 1, 0, 0, 0, 0\n20, 10, 30\n"
                                                   "2, 3, 0, 1, 0, 0, 0, 0\n\n"
                                                   "3, 3, 2, 1, 0, 0, 0, 0\n10-20:10\n"));
    OnfBlock& elements = db.GetBlock(static_cast<QSV_OnfId>(140));
    const QSV_IdMap& nodes = db.GetIdMapsPool().GetIdMap(static_cast<QSV_IdType>(0));
    const auto kNodes = static_cast<Item>(QSV_DataRecordItem::ELEM_ITEM_NODES);
    const int node30 = static_cast<int>(nodes.GetIdx(30)); // no node record: an index all the same
    EXPECT_EQ(node30, 2);
    const V ids[] = {{20, 10, 30}, {}, {10, 20}};
    const V indices[] = {{1, 0, node30}, {}, {0, 1}};
    for (size_t index = 0; index < 3; ++index) {
        const size_t list = static_cast<size_t>(elements.GetInt(index, kNodes));
        const OnfIntListView view = elements.GetIntListView(index, kNodes);
        EXPECT_EQ(V(view.begin(), view.end()), ids[index]);
        EXPECT_EQ(AbstractList(elements, list), indices[index]);
        EXPECT_EQ(elements.GetIntListLen(list), ids[index].size());
        QSV_IntArray stored;
        EXPECT_TRUE(elements.GetStoredIntList(list, stored));
        EXPECT_EQ(V(stored.Data(), stored.Data() + stored.Size()), ids[index]);
        // A vector is made once on request; the indices stay.
        const std::vector<int>& vector = elements.GetIntList(list);
        EXPECT_EQ(vector, ids[index]);
        EXPECT_EQ(&elements.GetIntList(index, kNodes), &vector);
        EXPECT_EQ(AbstractList(elements, list), indices[index]);
    }
    // A change keeps what the list held, in both forms, and touches no other list.
    elements.ExtendIntList(2, kNodes, 40);
    EXPECT_EQ(elements.GetIntList(2, kNodes), (V{10, 20, 40}));
    elements.UpdateIdIntLists();
    const size_t list2 = static_cast<size_t>(elements.GetInt(2, kNodes));
    EXPECT_EQ(AbstractList(elements, list2), (V{0, 1, static_cast<int>(nodes.GetIdx(40))}));
    const size_t list0 = static_cast<size_t>(elements.GetInt(0, kNodes));
    EXPECT_EQ(AbstractList(elements, list0), indices[0]);
    elements.TransferSetSize(2, kNodes, static_cast<Item>(2));
    EXPECT_EQ(elements.GetInt(2, static_cast<Item>(2)), 3);
    // Written as read: the lists come out of wherever they lie.
    const std::vector<std::string> lines = onf_test::WrittenLines(elements);
    EXPECT_NE(std::find(lines.begin(), lines.end(), "20, 10, 30"), lines.end());
    EXPECT_NE(std::find(lines.begin(), lines.end(), "10, 20, 40"), lines.end());
    // The database's Clear takes the packed lists with the entries.
    db.Clear();
    EXPECT_EQ(db.GetHelpers()->m_PackedIntLists.NumLists(), 0u);
}

TEST(BlockSet, RecordHandles) {
    OnfBlockSet db;
    OnfBlock& nodes = db.AddEmptyBlock(static_cast<QSV_OnfId>(110));
    EXPECT_EQ(&db.AddEmptyBlock(static_cast<QSV_OnfId>(110)), &nodes);
    const size_t index = Warranted(nodes, 12);
    nodes.SetRecordItem(index, kItem3, 1.0, 2.0, 3.0);
    const OnfObject object = db.GetOnfObject(static_cast<QSV_OnfId>(110), 12);
    EXPECT_EQ(object.m_Block, &nodes);
    EXPECT_EQ(object.m_Index, index);
    const OnfConstObject constObject = db.GetConstObject(static_cast<QSV_OnfId>(110), 12);
    EXPECT_EQ(OnfBlock::GetVector(constObject, kItem3)(2), 3.0);
    nodes.DeleteRecord(index);
    const char* tag = "|%P|BrelonOnfEngine|OnfBlockSet";
    const char* message = "The item with id 12 was not located in block 110.";
    ExpectFailure([&] { db.GetOnfObject(static_cast<QSV_OnfId>(110), 12); }, "155856310811", tag,
                  message);
    ExpectFailure([&] { db.GetConstObject(static_cast<QSV_OnfId>(110), 12); }, "155455310811", tag,
                  message);
    db.RemoveBlock(static_cast<QSV_OnfId>(110));
    EXPECT_FALSE(db.HasBlock(static_cast<QSV_OnfId>(110)));
    EXPECT_NE(db.GetHelpers(), nullptr);
}

} // namespace
