// The block database contract: record layout from format texts, record views, the block set and
// patterns, and copies between two databases whose id maps give different indices. A small
// in-memory block and database stand in for the text database; they follow its index face:
// integer items with an id space come out as indices, go in as ids, lists hold indices.
#include "BrelonOnfIdMap.h"
#include "FailureExpect.h"
#include "OnfBlockSet.h"
#include "OnfBlockTextWriter.h"
#include "QSV_Database.h"
#include "QSV_Groups.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <functional>
#include <map>

namespace {

using onf_test::ExpectFailure;
using D = QSV_DataDescriptor;

const char* const TAG_BLOCK_SET = "|%P|BrelonDbConnector|QSV_DataBlockSet";

class MemBlock : public QSV_DataBlock {
public:
    MemBlock(const D& d, QSV_IdMapsPool& pool, std::vector<int>* saved = nullptr)
        : QSV_DataBlock(d), m_Pool(pool), m_Saved(saved) {}
    MemBlock(const D& d, const char* format, QSV_IdMapsPool& pool,
             std::vector<int>* saved = nullptr)
        : QSV_DataBlock(d, format), m_Pool(pool), m_Saved(saved) {}
    ~MemBlock() override { ++s_Destroyed; }

    bool HasRecord(size_t i) const override { return i < m_Ids.size() && m_Ids[i] != -1; }
    void SetRecord(size_t i, const QSV_DataRecord& record) override {
        if (i >= m_Ids.size()) {
            m_Ids.resize(i + 1, -1);
            m_Data.resize(i + 1);
        }
        const bool mapped = m_BlockIdType < ID_NONE && QSV_ID_TYPE_INFO[m_BlockIdType].keyKind == 0;
        m_Ids[i] = mapped ? m_Pool.GetIdMap(m_BlockIdType).GetId(i) : static_cast<int>(i);
        m_Data[i].assign(record.GetBuffer(), record.GetBuffer() + record.GetBufferSize());
    }
    void GetRecord(size_t i, QSV_ConstDataRecord& record) const override {
        std::memcpy(record.GetBuffer(), m_Data[i].data(), m_Data[i].size());
        for (size_t item = 1; item < GetNumItems(); ++item) {
            const QSV_IdType t = GetItemIdType(item);
            if (GetItemType(item) == BDT_INTEGER && t < ID_NONE &&
                QSV_ID_TYPE_INFO[t].keyKind == 0) {
                int v = 0;
                std::memcpy(&v, record.GetBuffer() + GetItemBufferOffset(item), 4);
                v = static_cast<int>(m_Pool.GetIdMap(t).GetIdx(v));
                std::memcpy(record.GetBuffer() + GetItemBufferOffset(item), &v, 4);
            }
        }
    }
    long long GetMaxIndex() const override {
        for (size_t i = m_Ids.size(); i-- > 0;) {
            if (m_Ids[i] != -1) {
                return static_cast<long long>(i);
            }
        }
        return -1;
    }
    size_t GetNumRecords() const override {
        return static_cast<size_t>(
            std::count_if(m_Ids.begin(), m_Ids.end(), [](int id) { return id != -1; }));
    }
    void Reserve(size_t) override {}
    void SetInteger(size_t, int) override {}
    int GetInteger(size_t) const override { return 0; }
    void SetScalar(size_t, double) override {}
    double GetScalar(size_t) const override { return 0; }
    void SetVector(size_t, const double*) override {}
    void GetVector(size_t, double*) const override {}
    void SetTensor(size_t, const double*) override {}
    void GetTensor(size_t, double*) const override {}
    void FlushAndDestroy() override {}
    size_t GetIntListLen(size_t li) const override { return m_IntLists[li].size(); }
    void GetIntList(size_t li, QSV_IntArray& out) const override { Out(m_IntLists[li], out); }
    void GetIntList(size_t li, int* out) const override { Out(m_IntLists[li], out); }
    using QSV_DataBlock::SetIntList;
    size_t SetIntList(const int* values, size_t n) override { return In(m_IntLists, values, n); }
    size_t GetDoubleListLen(size_t li) const override { return m_RealLists[li].size(); }
    void GetDoubleList(size_t li, QSV_DoubleArray& out) const override {
        Out(m_RealLists[li], out);
    }
    void GetDoubleList(size_t li, double* out) const override { Out(m_RealLists[li], out); }
    using QSV_DataBlock::SetDoubleList;
    size_t SetDoubleList(const double* values, size_t n) override {
        return In(m_RealLists, values, n);
    }
    void GetString(size_t handle, std::string& text) const override {
        text = m_Strings[handle - 1];
    }
    size_t SetString(const std::string& text) override {
        auto found = std::find(m_Strings.begin(), m_Strings.end(), text);
        if (found != m_Strings.end()) {
            return static_cast<size_t>(found - m_Strings.begin()) + 1;
        }
        m_Strings.push_back(text);
        return m_Strings.size();
    }
    void DeleteData() override {}
    bool GetStoredRecord(size_t i, QSV_ConstDataRecord& record) const override {
        if (m_HandsOutStored) {
            std::memcpy(record.GetBuffer(), m_Data[i].data(), m_Data[i].size());
        }
        return m_HandsOutStored;
    }
    bool GetStoredIntList(size_t li, QSV_IntArray& out) const override {
        out.Assign(m_IntLists[li].data(), m_IntLists[li].size());
        return m_HandsOutStored;
    }
    void SaveData() const override {
        if (m_Saved) {
            m_Saved->push_back(m_Descriptor.GetInteger(D::RI_ONF_ID));
        }
    }

    // A list into its slot, and out into an array or a buffer.
    template <typename T>
    static size_t In(std::vector<std::vector<T>>& lists, const T* values, size_t n) {
        lists.emplace_back(values, values + n);
        return lists.size() - 1;
    }
    template <typename T, typename Array>
    static void Out(const std::vector<T>& list, Array& out) {
        out.Assign(list.data(), list.size());
    }
    template <typename T>
    static void Out(const std::vector<T>& list, T* out) {
        std::copy(list.begin(), list.end(), out);
    }

    static int s_Destroyed;
    bool m_HandsOutStored = false;
    std::vector<int> m_Ids;
    std::vector<std::vector<unsigned char>> m_Data;
    std::vector<std::vector<int>> m_IntLists{1};
    std::vector<std::vector<double>> m_RealLists{1};
    std::vector<std::string> m_Strings;

private:
    QSV_IdMapsPool& m_Pool;
    std::vector<int>* m_Saved;
};
int MemBlock::s_Destroyed = 0;

class MemDatabase : public QSV_Database {
public:
    using QSV_Database::InitDb;
    void InitDb(QSV_DatabaseDefs::AccessMode, size_t, const std::wstring&,
                const QSV_IdMapsPool* pool) override {
        if (pool) {
            BrelonIdMapsUtil::merge_id_maps_pool(*pool, m_Pool);
        }
        m_IsInitialized = true;
    }
    void ReleaseDb(bool) override { m_DataBlockSet.Clear(); }
    QSV_DataBlock& CreateDataBlock(const D& d, int, long long, const std::string& format) override {
        auto* block = new MemBlock(d, format.c_str(), m_Pool);
        m_DataBlockSet.StoreDataBlockInstance(d, block);
        return *block;
    }
    QSV_DataBlock& CreateDataBlock(const D& d, size_t) override {
        auto* block = new MemBlock(d, m_Pool);
        m_DataBlockSet.StoreDataBlockInstance(d, block);
        return *block;
    }
    const QSV_IdMapsPool& GetIdMapsPool() const override { return m_Pool; }
    QSV_IdMapsPool& GetIdMapsPool() override { return m_Pool; }

    BrelonOnfIdMapsPool m_Pool;
};

D Descriptor(int number, int variant = -1, int iteration = -1) {
    D d(static_cast<QSV_OnfId>(number));
    if (variant >= 0) {
        d.SetInteger(D::RI_VARIANT, variant);
    }
    if (iteration >= 0) {
        d.SetInteger(D::RI_ITERATION, iteration);
    }
    return d;
}

} // namespace

// ---- Layout from a format text ------------------------------------------------------------------

TEST(DataBlockLayout, CustomFormatGivesTypesSizesAndOffsets) {
    struct Row {
        const char* format;
        std::vector<int> types;
        size_t dataSize;
        std::vector<size_t> bufferOffsets; // of items 1 upward
        bool keyInFormat;
    };
    const Row rows[] = {
        {"RRb", {BDT_REAL, BDT_REAL}, 16, {0, 8}, false},
        {"I|SF", {BDT_STRING, BDT_FLOAT}, 8, {0, 4}, true},
        {"S|bLb", {BDT_INT_LIST}, 4, {0}, true},
        {"", {}, 0, {}, false},
        {"IbVbTb", {BDT_INTEGER, BDT_VECTOR, BDT_TENSOR}, 76, {0, 4, 28}, false},
        {"ifrOD",
         {BDT_INTEGER, BDT_FLOAT, BDT_REAL, BDT_ORDERED_LIST, BDT_DOUBLE_LIST},
         24,
         {0, 4, 8, 16, 20},
         false},
        {"IxI", {BDT_INTEGER, 0, BDT_INTEGER}, 8, {0, 4, 4}, false}, // unknown: slot, no bytes
        {"SI|I", {BDT_INTEGER, BDT_INTEGER}, 8, {0, 4}, true},       // bar anywhere
        {"R|I", {BDT_INTEGER}, 8, {4}, true},                        // wide key widens the record
        {"b|b", {}, 0, {}, true},
    };
    BrelonOnfIdMapsPool pool;
    for (const Row& row : rows) {
        SCOPED_TRACE(row.format);
        MemBlock block(Descriptor(-1), row.format, pool);
        std::vector<int> types(block.GetItemTypes().begin(), block.GetItemTypes().end());
        EXPECT_EQ(types, row.types);
        EXPECT_EQ(block.GetNumItems(), row.types.size() + 1);
        EXPECT_EQ(block.GetRecordDataSize(), row.dataSize);
        EXPECT_EQ(block.HasKeyInFormat(), row.keyInFormat);
        EXPECT_EQ(block.GetBlockIdType(), ID_NONE);
        for (size_t item = 1; item < block.GetNumItems(); ++item) {
            EXPECT_EQ(block.GetItemBufferOffset(item), row.bufferOffsets[item - 1]) << item;
            EXPECT_EQ(block.GetItemIdType(item), ID_NONE);
        }
    }
}

// What the layout tells of each item beyond its place: reading (mandatory, list, reals, the
// catalogue entry of a string's id space) and writing (the marks behind it).
TEST(RecordLayout, ItemsKnowWhatReadingAndWritingNeed) {
    struct Row {
        const char* format;
        const char* chars;       // items' characters, key first
        const char* mandatory;   // 'm' or '-' by item
        const char* lists;       // list kind by item
        const char* behind;      // 'b' a `b` behind, '|' only a bar, 'M' a mandatory next, '-'
        std::vector<size_t> row; // m_RowItem of items 1 upward
    };
    const Row rows[] = {
        {"bIiRbLbVb", "IIiRLV", "mm-mmm", "000020", "b-Mbbb", {0, 1, 2, 3, 4}},
        {"S|bObDb", "SOD", "mmm", "013", "bbb", {1, 2}},
        {"|Ir|Sb", "IrS", "m-m", "000", "-|b", {1, 2}},
        {"fS", "IfS", "m-m", "000", "-M-", {0, 1}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.format);
        const QSV_RecordLayout layout(row.format);
        std::string chars, mandatory, lists, behind;
        std::vector<size_t> rowItems;
        for (size_t item = 0; item < layout.GetNumItems(); ++item) {
            const QSV_LayoutItem& it = layout[item];
            chars += it.m_Char;
            mandatory += it.m_Mandatory ? 'm' : '-';
            lists += static_cast<char>('0' + it.m_List);
            behind += it.m_BreakBehind       ? 'b'
                      : it.m_MarkBehind      ? '|'
                      : it.m_MandatoryBehind ? 'M'
                                             : '-';
            if (item > 0) {
                rowItems.push_back(it.m_RowItem);
            }
        }
        EXPECT_EQ(chars, row.chars);
        EXPECT_EQ(mandatory, row.mandatory);
        EXPECT_EQ(lists, row.lists);
        EXPECT_EQ(behind, row.behind);
        EXPECT_EQ(rowItems, row.row);
    }
    EXPECT_EQ(QSV_RecordLayout("IVTb")[2].m_NumReals, 3u);
    EXPECT_EQ(QSV_RecordLayout("IVTb")[3].m_NumReals, 6u);
}

TEST(DataBlockLayout, CatalogueRowsAgreeWithTheirFormats) {
    BrelonOnfIdMapsPool pool;
    for (QSV_OnfId id : QSV_OnfInfoPool::GetAllOnfIds()) {
        const QSV_OnfMetaData& row = QSV_OnfInfoPool::GetOnfInfo(id);
        MemBlock custom(Descriptor(id), row.m_FormatString.c_str(), pool);
        MemBlock catalogued(Descriptor(id), pool);
        SCOPED_TRACE(id);
        EXPECT_EQ(row.m_RecordDataSize, custom.GetRecordDataSize());
        EXPECT_EQ(catalogued.GetItemTypes(), custom.GetItemTypes());
        EXPECT_EQ(catalogued.GetBlockIdType(), row.m_BlockIdType);
        EXPECT_EQ(catalogued.GetFormatFlags(), row.m_Flags);
        // Every item has an id type entry, the key included.
        EXPECT_EQ(row.m_NumItems, custom.GetNumItems());
    }
}

TEST(DataBlockLayout, UncataloguedNumberFailsForTheCatalogueForm) {
    BrelonOnfIdMapsPool pool;
    ExpectFailure([&] { MemBlock block(Descriptor(99999), pool); }, "",
                  "|%P|BrelonDbConnector|QSV_DataBlock",
                  "ONF block 99999 is not in the catalogue: a block of it needs a format text.");
}

// ---- Record views -------------------------------------------------------------------------------

TEST(DataRecord, TypedAccessAndItsFailures) {
    BrelonOnfIdMapsPool pool;
    MemBlock block(Descriptor(-1), "IFRbSbLbVb", pool);
    QSV_DataRecord record(block);
    record.SetInteger(1, -7);
    record.SetReal(2, 0.1); // F: narrowed to 32 bits
    record.SetReal(3, 0.1);
    record.SetString(4, "name");
    record.SetIntList(5, {3, 1, 2});
    const double v[3] = {1, 2, 3};
    record.SetVector(6, v);
    EXPECT_EQ(record.GetInteger(1), -7);
    EXPECT_EQ(record.GetReal(2), static_cast<double>(0.1f));
    EXPECT_EQ(record.GetReal(3), 0.1);
    EXPECT_EQ(record.GetString(4), "name");
    std::vector<int> list;
    record.GetIntList(5, list);
    EXPECT_EQ(list, (std::vector<int>{3, 1, 2}));
    record.SetIntList(5, {}); // no list: reference 0, no pool entry
    EXPECT_EQ(record.GetInteger(5), 0);
    EXPECT_EQ(block.m_IntLists.size(), 2u);

    const std::string tag = "|%P|BrelonDbConnector|QSV_DataRecord";
    ExpectFailure([&] { record.GetInteger(6); }, "", tag,
                  "Record item 6 of ONF block -1 is of type 5, which this access does not serve.");
    ExpectFailure([&] { record.SetInteger(7, 1); }, "", tag,
                  "Record item 7 does not exist: the records of ONF block -1 have 7 items.");
    ExpectFailure([&] { record.GetInteger(0); }, "", tag,
                  "Record item 0 does not exist: the records of ONF block -1 have 7 items.");

    MemBlock other(Descriptor(-1), "RR", pool);
    QSV_DataRecord small(other);
    ExpectFailure([&] { record = small; }, "", tag,
                  "A record view of 48 bytes cannot take the bytes of a record view of 16 bytes.");
}

TEST(DataRecord, EqualityComparesTheBytes) {
    BrelonOnfIdMapsPool pool;
    MemBlock block(Descriptor(-1), "ISb", pool);
    QSV_DataRecord a(block);
    QSV_DataRecord b(block);
    a.SetString(2, "x");
    b.SetString(2, "x"); // the same text gives the same handle
    EXPECT_TRUE(a == b);
    b.SetInteger(1, 1);
    EXPECT_TRUE(a != b);
}

TEST(DataBlockBase, IndicesRunsAndIntSets) {
    BrelonOnfIdMapsPool pool;
    MemBlock block(Descriptor(-1), "IbOb", pool);
    QSV_DataRecord record(block);
    for (size_t index : {0, 1, 2, 5, 7, 8}) {
        block.SetRecord(index, record);
    }
    block.m_Ids[7] = -1; // a deleted record
    EXPECT_EQ(block.GetRecordIndices().GetBounds(), (std::vector<int>{0, 2, 5, 5, 8, 8}));
    std::vector<size_t> indices;
    block.GetRecordIndices(indices);
    EXPECT_EQ(indices, (std::vector<size_t>{0, 1, 2, 5, 8}));
    EXPECT_EQ(block.End().GetIndex(), 9u);

    const size_t list = block.StoreIntSet(QSV_IntSetIntvl<int>(std::vector<int>{9, 3, 4, 3}));
    EXPECT_EQ(block.m_IntLists[list], (std::vector<int>{3, 4, 9}));
    EXPECT_EQ(block.RetrieveIntSet(list).GetBounds(), (std::vector<int>{3, 4, 9, 9}));
}

// ---- Block set, database base, patterns ---------------------------------------------------------

TEST(DataBlockSet, HoldsBlocksInDescriptorOrderAndFailsForUnknownOnes) {
    BrelonOnfIdMapsPool pool;
    std::vector<int> saved;
    QSV_DataBlockSet set;
    for (int number : {300, 100, 200}) {
        set.StoreDataBlockInstance(Descriptor(number),
                                   new MemBlock(Descriptor(number), "I", pool, &saved));
    }
    set.FlushToDisk();
    EXPECT_EQ(saved, (std::vector<int>{100, 200, 300}));

    ExpectFailure([&] { set.GetDataBlockInstance(Descriptor(150)); }, "", TAG_BLOCK_SET,
                  "The data block with ONF id 150 does not exist in the database.");
    ExpectFailure([&] { set.StoreDataBlockInstance(Descriptor(150), nullptr); }, "", TAG_BLOCK_SET,
                  "A null data block cannot be stored under ONF id 150.");

    const int destroyed = MemBlock::s_Destroyed;
    auto* replacement = new MemBlock(Descriptor(200), "RR", pool);
    set.StoreDataBlockInstance(Descriptor(200), replacement);
    set.StoreDataBlockInstance(Descriptor(200), replacement); // again: kept, not freed
    EXPECT_EQ(MemBlock::s_Destroyed, destroyed + 1);
    EXPECT_EQ(&set.GetDataBlockInstance(Descriptor(200)), replacement);
    EXPECT_FALSE(set.DeleteDataBlockInstance(Descriptor(150)));
    EXPECT_TRUE(set.DeleteDataBlockInstance(Descriptor(100)));
    EXPECT_EQ(set.GetNumBlocks(), 2u);
    set.Clear();
    EXPECT_EQ(MemBlock::s_Destroyed, destroyed + 4);
}

TEST(DataDescriptorPattern, SelectsBySetItemsIterationAndVariant) {
    QSV_DataDescriptorPattern all;
    QSV_DataDescriptorPattern of200(Descriptor(200));
    QSV_DataDescriptorPattern of200Variant1(Descriptor(200));
    of200Variant1.SetFirstInteger(0);
    of200Variant1.SetSecondInteger(1);
    D named = Descriptor(200);
    named.SetString(D::RI_MODEL, "wing");
    QSV_DataDescriptorPattern ofWing(named);

    struct Row {
        const QSV_DataDescriptorPattern* pattern;
        D descriptor;
        bool matches;
    };
    const Row rows[] = {
        {&all, Descriptor(7, 3, 2), true},
        {&of200, Descriptor(200, 4), true}, // unset items of the pattern match anything
        {&of200, Descriptor(210), false},
        {&of200Variant1, Descriptor(200, 1), true},
        {&of200Variant1, Descriptor(200, 2), false},
        {&of200Variant1, Descriptor(200, 1, 3), false}, // iteration 3, not 0
        {&of200Variant1, Descriptor(200), false},       // plain: variant 0
        {&ofWing, named, true},
        {&ofWing, Descriptor(200), false},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(row.pattern->Matches(row.descriptor), row.matches)
            << row.descriptor.GetInteger(D::RI_ONF_ID) << " variant "
            << row.descriptor.GetInteger(D::RI_VARIANT);
    }
    EXPECT_TRUE(all.IsEmpty());
    EXPECT_FALSE(of200.IsEmpty());
}

TEST(Database, FetchesCreatesFindsAndDeletesThroughTheSet) {
    MemDatabase db;
    QSV_DataBlock& first = db.FetchDataBlock(Descriptor(200, 1), 0, 0, "IbLb");
    EXPECT_EQ(&db.FetchDataBlock(Descriptor(200, 1), 0, 0, "RR"), &first);
    db.FetchDataBlock(Descriptor(200, 2), 0, 0, "I");
    db.FetchDataBlock(Descriptor(140), 0);
    EXPECT_EQ(db.FindBlocks(QSV_DataDescriptorPattern()).size(), 3u);
    EXPECT_EQ(db.GetDataBlocks(QSV_DataDescriptorPattern(Descriptor(200))).size(), 2u);
    EXPECT_EQ(db.DeleteDataBlocks(QSV_DataDescriptorPattern(Descriptor(200))), 2u);
    EXPECT_TRUE(db.HasBlock(Descriptor(140)));
    EXPECT_FALSE(db.HasBlock(Descriptor(200, 1)));

    BrelonOnfIdMapsPool given;
    given.GetIdMap(ID_NODE).FetchIdx(42);
    db.InitDb(given, QSV_DatabaseDefs::ACCESS_READ_WRITE, 1024, L"");
    EXPECT_TRUE(db.IsInitialized());
    EXPECT_TRUE(db.GetIdMapsPool().GetIdMap(ID_NODE).HasId(42));
}

// ---- Id adapters and copies between databases ---------------------------------------------------

namespace {

// Two databases whose id maps give the same ids different indices.
struct TwoDatabases : ::testing::Test {
    MemDatabase from;
    MemDatabase to;
    void SetUp() override {
        for (int id : {10, 20, 30}) {
            from.m_Pool.GetIdMap(ID_NODE).FetchIdx(id);
        }
        for (int id : {99, 30, 20, 10}) {
            to.m_Pool.GetIdMap(ID_NODE).FetchIdx(id);
        }
        to.m_Pool.GetIdMap(ID_ELEMENT).FetchIdx(1000);
    }
    // Writes element 7 with nodes 30, 10, 20 into block 140 of `from`.
    void WriteElement() {
        QSV_IdDataBlock writer(from.FetchDataBlock(Descriptor(140), 0), from.m_Pool, true);
        QSV_IdDataRecord record(writer.GetBlock());
        record.SetInteger(1, 5);
        record.SetInteger(3, 77); // property, an item with an id space
        record.SetIntList(8, {30, 10, 20});
        writer.SetRecord(7, record);
    }
};

} // namespace

TEST_F(TwoDatabases, CopyRebasesKeysReferencesAndListsOntoTheTargetMaps) {
    WriteElement();
    const QSV_DataBlock& source = from.GetDataBlock(Descriptor(140));
    ASSERT_NE(source.GetItemIdType(8), ID_NONE);
    ASSERT_NE(source.GetItemIdType(3), ID_NONE);
    // The source's index face: the list holds the source's node indices.
    const auto& sourceBlock = static_cast<const MemBlock&>(source);
    EXPECT_EQ(sourceBlock.m_IntLists.back(), (std::vector<int>{2, 0, 1}));

    EXPECT_EQ(BrelonDatabaseUtils::copy_datablocks(from, to, QSV_DataDescriptorPattern()), 1u);
    const auto& target = static_cast<const MemBlock&>(to.GetDataBlock(Descriptor(140)));
    const size_t index = to.m_Pool.GetIdMap(ID_ELEMENT).GetIdx(7);
    EXPECT_EQ(index, 1u); // 1000 had index 0 there
    EXPECT_EQ(target.m_Ids[index], 7);
    EXPECT_EQ(target.m_IntLists.back(), (std::vector<int>{1, 3, 2}));

    // Read back by id, both sides give the same id record.
    QSV_ConstIdDataBlock readFrom(source, from.m_Pool);
    QSV_ConstIdDataBlock readTo(target, to.m_Pool);
    QSV_ConstIdDataRecord a(source);
    QSV_ConstIdDataRecord b(target);
    ASSERT_TRUE(readFrom.GetRecord(7, a));
    ASSERT_TRUE(readTo.GetRecord(7, b));
    EXPECT_EQ(b.GetIntList(8), (std::vector<int>{30, 10, 20}));
    EXPECT_EQ(b.GetInteger(3), 77);
    EXPECT_EQ(b.GetKeyId(), 7);
    EXPECT_TRUE(a == b);
    EXPECT_FALSE(readTo.GetRecord(8, b));
}

TEST_F(TwoDatabases, AnIdTheMapLacksSurvivesOnlyThroughStoredValues) {
    auto& block = static_cast<MemBlock&>(from.FetchDataBlock(Descriptor(140), 0));
    from.m_Pool.GetIdMap(ID_ELEMENT).FetchIdx(7);
    QSV_DataRecord raw(block);
    raw.SetInteger(4, 12);   // a material that no map knows
    raw.SetIntList(8, {31}); // node ids as the block stores them, unknown to the map
    block.SetRecord(0, raw);
    for (bool stored : {false, true}) {
        block.m_HandsOutStored = stored;
        BrelonDatabaseUtils::copy_datablocks(from, to, QSV_DataDescriptorPattern());
        auto& target = static_cast<MemBlock&>(to.GetDataBlock(Descriptor(140)));
        QSV_ConstIdDataRecord copied(target);
        ASSERT_TRUE(QSV_ConstIdDataBlock(target, to.m_Pool).GetRecord(7, copied));
        EXPECT_EQ(copied.GetInteger(4), stored ? 12 : -1);
        EXPECT_EQ(copied.GetIntList(8), std::vector<int>{stored ? 31 : -1});
    }
}

TEST_F(TwoDatabases, NamesTextsAndRealListsTravelByValue) {
    // A block keyed by names, its list in element ids.
    {
        QSV_IdDataBlock writer(from.FetchDataBlock(Descriptor(10032), 0), from.m_Pool, true);
        QSV_IdDataRecord record(writer.GetBlock());
        record.SetIntList(1, {5, 6});
        writer.SetRecord("faces", record);
    }
    // A custom block: strings through the block's pool, a real list.
    {
        QSV_DataBlock& block = from.FetchDataBlock(Descriptor(-5), 0, 0, "SbDb");
        static_cast<MemBlock&>(block).SetString("taken first");
        QSV_IdDataBlock writer(block, from.m_Pool, true);
        QSV_IdDataRecord record(block);
        record.SetString(1, "skin");
        record.SetDoubleList(2, {0.5, 1.5});
        writer.SetRecord(3, record);
    }
    EXPECT_EQ(BrelonDatabaseUtils::copy_datablocks(from, to, QSV_DataDescriptorPattern()), 2u);

    const QSV_DataBlock& named = to.GetDataBlock(Descriptor(10032));
    QSV_ConstIdDataRecord groupRecord(named);
    ASSERT_TRUE(QSV_ConstIdDataBlock(named, to.m_Pool).GetRecord("faces", groupRecord));
    EXPECT_EQ(groupRecord.GetIntList(1), (std::vector<int>{5, 6}));
    EXPECT_EQ(groupRecord.GetKeyName(), "faces");

    const auto& custom = static_cast<const MemBlock&>(to.GetDataBlock(Descriptor(-5)));
    EXPECT_EQ(custom.GetFormatString(), "SbDb");
    EXPECT_EQ(custom.m_Strings, std::vector<std::string>{"skin"}); // handle 1 there, 2 here
    QSV_ConstIdDataRecord customRecord(custom);
    ASSERT_TRUE(QSV_ConstIdDataBlock(custom, to.m_Pool).GetRecord(3, customRecord));
    EXPECT_EQ(customRecord.GetString(1), "skin");
    EXPECT_EQ(customRecord.GetDoubleList(2), (std::vector<double>{0.5, 1.5}));
}

TEST_F(TwoDatabases, EmptyBlocksArePassedOverUnlessAskedFor) {
    from.FetchDataBlock(Descriptor(140), 0);
    EXPECT_EQ(BrelonDatabaseUtils::copy_datablocks(from, to, QSV_DataDescriptorPattern()), 0u);
    EXPECT_FALSE(to.HasBlock(Descriptor(140)));
    EXPECT_EQ(BrelonDatabaseUtils::copy_datablocks(from, to, QSV_DataDescriptorPattern(), 1), 1u);
    EXPECT_TRUE(to.HasBlock(Descriptor(140)));
    EXPECT_EQ(BrelonDatabaseUtils::copy_datablocks(from, from, QSV_DataDescriptorPattern(), 1), 0u);
}

// An integer item with an id space enters its id into the map when the writer creates ids, from
// 0 up; a negative value refers to nothing.
TEST_F(TwoDatabases, IntegerReferencesEnterTheirMapFromZeroWhenIdsAreCreated) {
    QSV_DataBlock& block = from.FetchDataBlock(Descriptor(140), 0);
    const QSV_IdMap& properties = from.m_Pool.GetIdMap(block.GetItemIdType(3));
    QSV_IdDataRecord record(block);
    record.SetIntList(8, {10});
    record.SetInteger(3, -1);
    QSV_IdDataBlock(block, from.m_Pool, true).SetRecord(7, record);
    record.SetInteger(3, 0);
    QSV_IdDataBlock(block, from.m_Pool, true).SetRecord(7, record);
    EXPECT_TRUE(properties.HasId(0));
    EXPECT_FALSE(properties.HasId(-1));
    record.SetInteger(3, 5);
    QSV_IdDataBlock(block, from.m_Pool, false).SetRecord(7, record);
    EXPECT_FALSE(properties.HasId(5));
}

TEST_F(TwoDatabases, WithoutCreatingIdsAnUnknownIdFails) {
    QSV_DataBlock& block = to.FetchDataBlock(Descriptor(140), 0);
    QSV_IdDataBlock writer(block, to.m_Pool, false);
    QSV_IdDataRecord record(block);
    const std::string tag = "|%P|BrelonDbConnector|QSV_IdDataBlock";
    ExpectFailure([&] { writer.SetRecord(8, record); }, "", tag,
                  "ID 8 is not known to the ID-map of type 2.");
    record.SetIntList(8, {10, 11});
    ExpectFailure([&] { writer.SetRecord(1000, record); }, "", tag,
                  "ID 11 is not known to the ID-map of type 0.");
    MemBlock plain(Descriptor(-1), "I", to.m_Pool);
    QSV_IdDataBlock plainWriter(plain, to.m_Pool, true);
    QSV_IdDataRecord plainRecord(plain);
    ExpectFailure([&] { plainWriter.SetRecord(-2, plainRecord); }, "", tag,
                  "Record id -2 cannot address a record of ONF block -1, which has no ID-map.");
    ExpectFailure([&] { plainWriter.SetRecord("a", plainRecord); }, "", tag,
                  "Record name 'a' cannot address a record of ONF block -1, which has no ID-map.");
}

TEST(IdDataRecord, AssignmentBetweenLayoutsTakesItemsOfTheSameType) {
    BrelonOnfIdMapsPool pool;
    MemBlock wide(Descriptor(-1), "IRSbLb", pool);
    MemBlock narrow(Descriptor(-2), "ISbLb", pool);
    QSV_IdDataRecord source(wide);
    source.SetInteger(1, 4);
    source.SetReal(2, 2.5);
    source.SetString(3, "kept apart");
    source.SetIntList(4, {1});
    source.SetKeyId(9);
    QSV_IdDataRecord target(narrow);
    target.SetString(2, "own");
    target = source;
    EXPECT_EQ(target.GetInteger(1), 4);
    EXPECT_EQ(target.GetString(2), "own"); // item 2 is a real in the source
    EXPECT_EQ(target.GetKeyId(), 9);
    ExpectFailure([&] { target.GetReal(2); }, "", "|%P|BrelonDbConnector|QSV_IdDataRecord",
                  "Record item 2 of ONF block -2 is of type 4, which this access does not serve.");
    // An item that ends both records' bytes is taken as well.
    MemBlock named(Descriptor(-3), "SI", pool);
    MemBlock numbered(Descriptor(-4), "II", pool);
    QSV_IdDataRecord last(named);
    last.SetInteger(2, 8);
    QSV_IdDataRecord into(numbered);
    into = last;
    EXPECT_EQ(into.GetInteger(2), 8);
    // Texts and lists travel between layouts as values.
    MemBlock real(Descriptor(-5), "RSLD", pool);
    MemBlock integer(Descriptor(-6), "ISLD", pool);
    QSV_IdDataRecord values(real);
    values.SetKeyName("named");
    values.SetString(2, "text");
    values.SetIntList(3, {3});
    values.SetDoubleList(4, {0.25});
    QSV_IdDataRecord took(integer);
    took = values;
    EXPECT_EQ(took.GetString(2), "text");
    EXPECT_EQ(took.GetIntList(3), (std::vector<int>{3}));
    EXPECT_EQ(took.GetDoubleList(4), (std::vector<double>{0.25}));
    EXPECT_TRUE(took.HasKeyName());
    took.SetKeyId(3); // a number replaces the name
    EXPECT_FALSE(took.HasKeyName());
}

// ---- Groups -------------------------------------------------------------------------------------

TEST(GroupMap, HoldsOwnedCopiesByItemTypeInNameOrder) {
    QSV_GroupMap map;
    map.AddGroup(QSV_Group("b", ITEM_TYPE_NODE, {1, 2}));
    map.AddGroup(QSV_Group("a", ITEM_TYPE_NODE, {3}));
    map.AddGroup(QSV_Group("b", ITEM_TYPE_ELEMENT, {4}));
    map.AddGroup(QSV_Group("b", ITEM_TYPE_NODE, {5, 6, 7})); // the last one counts
    std::vector<std::string> names;
    for (const auto& entry : map.GetGroups(ITEM_TYPE_NODE)) {
        names.push_back(entry.second->GetName());
    }
    EXPECT_EQ(names, (std::vector<std::string>{"a", "b"}));
    EXPECT_EQ(map.FindGroup(ITEM_TYPE_NODE, "b")->size(), 3u);
    EXPECT_EQ(map.size(), 3u);

    QSV_GroupMap copy(map);
    map.Clear();
    EXPECT_EQ((*copy.FindGroup(ITEM_TYPE_ELEMENT, "b"))[0], 4);
    EXPECT_TRUE(map.GetGroups(ITEM_TYPE_NODE).empty());

    EXPECT_TRUE(QSV_GroupDescriptor("z", ITEM_TYPE_ELEMENT) <
                QSV_GroupDescriptor("a", ITEM_TYPE_NODE));
    EXPECT_TRUE(QSV_GroupDescriptor("a", ITEM_TYPE_NODE) <
                QSV_GroupDescriptor("b", ITEM_TYPE_NODE));
}

// ---- Copies between two text databases ----------------------------------------------------------

namespace {

using Item = QSV_DataRecordItem::DataRecordItem;

// Two block sets whose node maps give the same ids different indices.
struct TwoTextDatabases : ::testing::Test {
    OnfBlockSet from;
    OnfBlockSet to;
    void SetUp() override {
        from.InitDb(QSV_DatabaseDefs::ACCESS_READ_WRITE, 1024, L"", nullptr);
        to.InitDb(QSV_DatabaseDefs::ACCESS_READ_WRITE, 1024, L"", nullptr);
        for (int id : {10, 20, 30}) {
            from.GetIdMapsPool().GetIdMap(ID_NODE).FetchIdx(id);
        }
        for (int id : {99, 30, 20, 10}) {
            to.GetIdMapsPool().GetIdMap(ID_NODE).FetchIdx(id);
        }
    }
    // The set as ONF text, without a file header.
    static std::string Text(const OnfBlockSet& set) {
        FILE* stream = std::tmpfile();
        {
            OnfBlockTextWriter writer(stream);
            set.WriteSet(writer);
        }
        std::fflush(stream);
        std::rewind(stream);
        std::string text;
        char buffer[4096];
        for (size_t n; (n = std::fread(buffer, 1, sizeof buffer, stream)) > 0;) {
            text.append(buffer, n);
        }
        std::fclose(stream);
        return text;
    }
};

} // namespace

TEST_F(TwoTextDatabases, CopyKeepsIdsListsAndStringsDespiteOtherIndices) {
    bool created = false;
    OnfBlock& elements = from.AddEmptyBlock(static_cast<QSV_OnfId>(140));
    const size_t e = elements.GetWarrantedRecordIdx(7, created);
    elements.SetRecordItem(e, QSV_DataRecordItem::ELEM_ITEM_TYPE, 5);
    elements.SetRecordItem(e, QSV_DataRecordItem::ELEM_ITEM_PROPERTY, 77);
    // A typed write enters the material into its map; a reference the map lacks would cross
    // only through a block that hands out its stored record.
    elements.SetRecordItem(e, QSV_DataRecordItem::ELEM_ITEM_MATERIAL, 0);
    elements.SetRecordItem(e, QSV_DataRecordItem::ELEM_ITEM_NODES, std::vector<int>{30, 10, 20},
                           ONF_INT_LIST_ORDERED);
    elements.TransferSetSize(e, QSV_DataRecordItem::ELEM_ITEM_NODES,
                             QSV_DataRecordItem::ELEM_ITEM_NUM_NODES);
    OnfBlock& groups = from.AddEmptyBlock(static_cast<QSV_OnfId>(200));
    const size_t g = groups.GetWarrantedRecordIdx(1, created);
    groups.SetRecordItem(g, QSV_DataRecordItem::GROUP_ITEM_NAME, std::string("left"));
    groups.SetRecordItem(g, QSV_DataRecordItem::GROUP_ITEM_MEMBERS, std::vector<int>{30, 10},
                         ONF_INT_LIST_ORDERED);
    groups.TransferSetSize(g, QSV_DataRecordItem::GROUP_ITEM_MEMBERS,
                           QSV_DataRecordItem::GROUP_ITEM_SIZE);
    {
        QSV_IdDataBlock faces(from.FetchDataBlock(Descriptor(10032), 0), from.GetIdMapsPool(),
                              true);
        QSV_IdDataRecord record(faces.GetBlock());
        record.SetIntList(1, {5, 6});
        faces.SetRecord("faces", record);
    }
    from.AddEmptyBlock(static_cast<QSV_OnfId>(210));
    // Lists written through the typed face are held in ids only; the index face needs them in
    // indices as well.
    from.UpdateForExport();

    EXPECT_EQ(BrelonDatabaseUtils::copy_datablocks(from, to, QSV_DataDescriptorPattern()), 3u);
    EXPECT_FALSE(to.HasBlock(static_cast<QSV_OnfId>(210)));
    EXPECT_EQ(BrelonDatabaseUtils::copy_datablocks(from, to, QSV_DataDescriptorPattern(), 1), 4u);

    const OnfBlock& copied = to.GetBlock(static_cast<QSV_OnfId>(140));
    const long long index = copied.GetRecordIdx(7);
    ASSERT_GE(index, 0);
    const size_t at = static_cast<size_t>(index);
    EXPECT_EQ(copied.GetIntList(at, QSV_DataRecordItem::ELEM_ITEM_NODES),
              (std::vector<int>{30, 10, 20}));
    EXPECT_EQ(copied.GetInt(at, QSV_DataRecordItem::ELEM_ITEM_PROPERTY), 77);
    QSV_ConstDataRecord view(copied);
    copied.GetRecord(at, view);
    std::vector<int> indices;
    view.GetIntList(QSV_DataRecordItem::ELEM_ITEM_NODES, indices);
    EXPECT_EQ(indices, (std::vector<int>{1, 3, 2}));

    const OnfBlock& copiedGroups = to.GetBlock(static_cast<QSV_OnfId>(200));
    const size_t gi = static_cast<size_t>(copiedGroups.GetRecordIdx(1));
    EXPECT_STREQ(copiedGroups.GetString(gi, QSV_DataRecordItem::GROUP_ITEM_NAME), "left");
    EXPECT_EQ(copiedGroups.GetIntList(gi, QSV_DataRecordItem::GROUP_ITEM_MEMBERS),
              (std::vector<int>{30, 10}));

    // Both sets write the same text.
    EXPECT_EQ(Text(to), Text(from));
}

// ---- Edges of the block base ----------------------------------------------------------------

// Items 0 and one past the last have no place in a record buffer; ids and types past the last
// item are none; an access wider than its item fails even where the buffer would hold it.
TEST(DataBlockEdges, ItemsOutsideTheLayoutHaveNoPlace) {
    BrelonOnfIdMapsPool pool;
    MemBlock block(Descriptor(-1), "IR", pool);
    ASSERT_EQ(block.GetNumItems(), 3u);
    for (size_t item : {size_t(0), size_t(3)}) {
        EXPECT_EQ(block.GetItemBufferOffset(item), 0u) << item;
    }
    EXPECT_EQ(block.GetItemRecordOffset(3), 0u);
    EXPECT_EQ(block.GetItemSize(3), 0u);
    EXPECT_EQ(block.GetItemType(3), static_cast<BlockDataType>(0));
    MemBlock nodes(Descriptor(110), pool);
    EXPECT_EQ(nodes.GetItemIdType(nodes.GetNumItems()), ID_NONE);

    // A derived view reaches an item's bytes; it may not take more than the item holds.
    struct BytesView : QSV_DataRecord {
        using QSV_ConstDataRecord::ItemBytes;
        using QSV_DataRecord::QSV_DataRecord;
    } view(block);
    EXPECT_EQ(view.ItemBytes(2, 8), view.GetBuffer() + 4);
    ExpectFailure([&] { view.ItemBytes(1, 8); }, "", "|%P|BrelonDbConnector|QSV_DataRecord",
                  "Record item 1 of ONF block -1 does not fit into a record of 12 bytes.");
}

// Walks and index sets start at slot 0, skip empty slots up to the bound they were given, and
// every iterator past the end equals End().
TEST(DataBlockEdges, WalksFromSlotZeroToTheBound) {
    BrelonOnfIdMapsPool pool;
    MemBlock block(Descriptor(-1), "I", pool);
    QSV_DataRecord record(block);
    for (size_t index : {0, 1, 2}) {
        block.SetRecord(index, record);
    }
    EXPECT_EQ(block.GetRecordIndices().GetBounds(), (std::vector<int>{0, 2}));
    QSV_IntSetIntvl<int> reused(std::vector<int>{7});
    block.GetRecordIndices(reused);
    EXPECT_EQ(reused.GetBounds(), (std::vector<int>{0, 2}));
    EXPECT_FALSE(QSV_DataBlock::IndexIterator(block, 3, 3).IsValid());
    EXPECT_TRUE(QSV_DataBlock::IndexIterator(block, 10, 2) == block.End());
}

// A view copied holds bytes of its own; Clear zeroes them; every typed access refuses items of
// another type, lists and texts included; views the block makes are of its layout.
TEST(DataRecordEdges, CopiesClearsAndEveryTypedAccess) {
    BrelonOnfIdMapsPool pool;
    MemBlock block(Descriptor(-1), "ITDS", pool);
    QSV_DataRecord record(block);
    record.SetInteger(1, 5);
    const double tensor[6] = {1, 2, 3, 4, 5, 6};
    record.SetTensor(2, tensor);
    record.SetDoubleList(3, {0.5, -1});
    const QSV_ConstDataRecord copy(record);
    record.SetInteger(1, 6);
    EXPECT_EQ(copy.GetInteger(1), 5);
    double back[6] = {};
    copy.GetTensor(2, back);
    EXPECT_TRUE(std::equal(back, back + 6, tensor));
    std::vector<double> reals;
    copy.GetDoubleList(3, reals);
    EXPECT_EQ(reals, (std::vector<double>{0.5, -1}));
    EXPECT_EQ(copy.GetString(4), "");
    record.Clear();
    EXPECT_EQ(record.GetInteger(1), 0);
    record.GetDoubleList(3, reals); // no list: whatever the vector held goes
    EXPECT_TRUE(reals.empty());
    QSV_ConstDataRecord assigned(record);
    assigned = copy;
    EXPECT_EQ(assigned.GetInteger(1), 5);

    const std::string tag = "|%P|BrelonDbConnector|QSV_DataRecord";
    const std::string wrong = "Record item 1 of ONF block -1 is of type 1, which this access "
                              "does not serve.";
    std::vector<int> ints;
    ExpectFailure([&] { record.GetString(1); }, "", tag, wrong);
    ExpectFailure([&] { record.GetIntList(1, ints); }, "", tag, wrong);
    ExpectFailure([&] { record.GetDoubleList(1, reals); }, "", tag, wrong);
    ExpectFailure([&] { record.SetString(1, "x"); }, "", tag, wrong);
    ExpectFailure([&] { record.SetIntList(1, {1}); }, "", tag, wrong);
    ExpectFailure([&] { record.SetDoubleList(1, {1.0}); }, "", tag, wrong);

    std::unique_ptr<QSV_DataRecord> made(block.CreateDataRecord());
    std::unique_ptr<QSV_ConstDataRecord> madeConst(
        static_cast<const MemBlock&>(block).CreateDataRecord());
    EXPECT_EQ(made->GetBufferSize(), record.GetBufferSize());
    EXPECT_EQ(madeConst->GetBufferSize(), record.GetBufferSize());
}

// A pattern of variant 0 takes plain blocks and no other variant; a database deletes one block by
// its descriptor; the base of a block keeps no stored form of records or lists.
TEST(DatabaseEdges, VariantZeroSingleDeletesAndNoStoredForm) {
    QSV_DataDescriptorPattern variant0(Descriptor(200));
    variant0.SetSecondInteger(0);
    EXPECT_TRUE(variant0.Matches(Descriptor(200)));
    EXPECT_TRUE(variant0.Matches(Descriptor(200, 0)));
    EXPECT_FALSE(variant0.Matches(Descriptor(200, 1)));

    MemDatabase db;
    db.FetchDataBlock(Descriptor(200, 1), 0, 0, "I");
    db.FetchDataBlock(Descriptor(200, 2), 0, 0, "I");
    db.DeleteDataBlock(Descriptor(200, 1));
    EXPECT_FALSE(db.HasBlock(Descriptor(200, 1)));
    EXPECT_TRUE(db.HasBlock(Descriptor(200, 2)));

    BrelonOnfIdMapsPool pool;
    MemBlock block(Descriptor(-1), "IL", pool);
    QSV_DataRecord record(block);
    QSV_IntArray list;
    EXPECT_FALSE(block.QSV_DataBlock::GetStoredRecord(0, record));
    EXPECT_FALSE(block.QSV_DataBlock::GetStoredIntList(0, list));
}

// An id record holds every kind of item and refuses items of another type; equality looks at each
// part; a record read into one that held another record keeps nothing of it.
TEST(IdDataRecordEdges, EveryItemKindEqualityAndReuse) {
    BrelonOnfIdMapsPool pool;
    MemBlock block(Descriptor(-1), "IFRVTSLD", pool);
    QSV_IdDataRecord record(block);
    const double vector[3] = {1, 2, 3};
    const double tensor[6] = {1, 2, 3, 4, 5, 6};
    record.SetInteger(1, 4);
    record.SetReal(2, 0.1);
    record.SetReal(3, 0.1);
    record.SetVector(4, vector);
    record.SetTensor(5, tensor);
    record.SetString(6, "text");
    record.SetIntList(7, {1, 2});
    record.SetDoubleList(8, {0.5});
    record.SetKeyName("key");
    EXPECT_EQ(record.GetReal(2), static_cast<double>(0.1f));
    EXPECT_EQ(record.GetReal(3), 0.1);
    double back[6] = {};
    record.GetVector(4, back);
    EXPECT_TRUE(std::equal(vector, vector + 3, back));
    record.GetTensor(5, back);
    EXPECT_TRUE(std::equal(tensor, tensor + 6, back));
    EXPECT_TRUE(record.HasKeyName());
    EXPECT_EQ(record.GetKeyName(), "key");

    using Change = std::function<void(QSV_IdDataRecord&)>;
    const Change changes[] = {
        [](QSV_IdDataRecord& r) { r.SetKeyName("other"); },
        [](QSV_IdDataRecord& r) { r.SetKeyId(0); },
        [](QSV_IdDataRecord& r) { r.SetInteger(1, 5); },
        [](QSV_IdDataRecord& r) { r.SetString(6, "other"); },
        [](QSV_IdDataRecord& r) { r.SetIntList(7, {2}); },
        [](QSV_IdDataRecord& r) { r.SetDoubleList(8, {}); },
    };
    for (const Change& change : changes) {
        QSV_IdDataRecord copy(block);
        copy = record;
        EXPECT_TRUE(copy == record);
        change(copy);
        EXPECT_FALSE(copy == record);
    }
    QSV_IdDataRecord numbered(block);
    numbered.SetKeyId(1);
    QSV_IdDataRecord other(numbered);
    other.SetKeyId(2);
    EXPECT_FALSE(other == numbered);

    const std::string tag = "|%P|BrelonDbConnector|QSV_IdDataRecord";
    const std::string wrong = "Record item 1 of ONF block -1 is of type 1, which this access "
                              "does not serve.";
    const std::function<void()> refused[] = {
        [&] { record.GetReal(1); },         [&] { record.GetVector(1, back); },
        [&] { record.GetTensor(1, back); }, [&] { record.GetString(1); },
        [&] { record.GetIntList(1); },      [&] { record.GetDoubleList(1); },
        [&] { record.SetReal(1, 1); },      [&] { record.SetVector(1, back); },
        [&] { record.SetTensor(1, back); }, [&] { record.SetString(1, ""); },
        [&] { record.SetIntList(1, {}); },  [&] { record.SetDoubleList(1, {}); },
    };
    for (const auto& access : refused) {
        ExpectFailure(access, "", tag, wrong);
    }
    ExpectFailure([&] { record.GetInteger(2); }, "", tag,
                  "Record item 2 of ONF block -1 is of type 3, which this access does not serve.");

    QSV_IdDataBlock adapter(block, pool, true);
    adapter.SetRecord(1, record);
    QSV_IdDataRecord plain(block);
    plain.SetKeyId(2);
    adapter.SetRecord(2, plain);
    QSV_IdDataRecord read(block);
    ASSERT_TRUE(adapter.GetRecord(1, read));
    ASSERT_TRUE(adapter.GetRecord(2, read));
    EXPECT_EQ(read.GetInteger(1), 0);
    EXPECT_EQ(read.GetString(6), "");
    EXPECT_TRUE(read.GetIntList(7).empty());
    EXPECT_TRUE(read.GetDoubleList(8).empty());
    EXPECT_FALSE(read.HasKeyName());
    EXPECT_FALSE(adapter.GetRecord("name", read)); // a block of no id space knows no names
    MemBlock groups(Descriptor(10030), pool);      // keyed by names
    QSV_IdDataRecord group(groups);
    EXPECT_FALSE(QSV_IdDataBlock(groups, pool, true).GetRecord("no such group", group));

    // Records read from two blocks compare by their values, not by where each block keeps its
    // texts and lists.
    MemBlock first(Descriptor(-7), "SLD", pool);
    MemBlock second(Descriptor(-8), "SLD", pool);
    QSV_IdDataBlock intoFirst(first, pool, true);
    QSV_IdDataBlock intoSecond(second, pool, true);
    QSV_IdDataRecord put(first);
    put.SetString(1, "x");
    put.SetIntList(2, {5});
    put.SetDoubleList(3, {1.5});
    intoFirst.SetRecord(2, put);
    put.SetString(1, "y");
    put.SetIntList(2, {6});
    put.SetDoubleList(3, {2.5});
    intoFirst.SetRecord(1, put);
    intoSecond.SetRecord(1, put);
    QSV_IdDataRecord fromFirst(first);
    QSV_IdDataRecord fromSecond(second);
    ASSERT_TRUE(intoFirst.GetRecord(1, fromFirst));
    ASSERT_TRUE(intoSecond.GetRecord(1, fromSecond));
    EXPECT_TRUE(fromFirst == fromSecond);

    // A record laid out for another block takes the layout of the block it is read from.
    MemBlock narrow(Descriptor(-2), "II", pool);
    QSV_IdDataRecord foreign(narrow);
    ASSERT_TRUE(adapter.GetRecord(1, foreign));
    EXPECT_EQ(foreign.GetInteger(1), 4);
    EXPECT_EQ(foreign.GetString(6), "text");
    EXPECT_EQ(foreign.GetIntList(7), (std::vector<int>{1, 2}));
}

// Group descriptors order strictly and compare by type and name; a map lists the item types it
// holds groups of.
TEST(GroupMapEdges, DescriptorsOrderStrictlyAndMapsListTheirTypes) {
    const QSV_GroupDescriptor node("a", ITEM_TYPE_NODE);
    EXPECT_FALSE(node < node);
    EXPECT_TRUE(node == QSV_GroupDescriptor("a", ITEM_TYPE_NODE));
    EXPECT_FALSE(node == QSV_GroupDescriptor("b", ITEM_TYPE_NODE));
    EXPECT_FALSE(node == QSV_GroupDescriptor("a", ITEM_TYPE_ELEMENT));

    QSV_GroupMap map;
    EXPECT_TRUE(map.GetItemTypes().empty());
    map.AddGroup(QSV_Group("n", ITEM_TYPE_NODE, {1}));
    map.AddGroup(QSV_Group("e", ITEM_TYPE_ELEMENT, {2}));
    EXPECT_EQ(map.GetItemTypes(), (std::vector<QSV_ItemType>{ITEM_TYPE_ELEMENT, ITEM_TYPE_NODE}));
}
