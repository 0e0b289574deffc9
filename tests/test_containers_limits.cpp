// The pools and containers at their edges: the record array's chunking, moves and failed
// allocations; every text of a pool after copies, moves and assignments (each pool keeps taking
// texts afterwards, also once the other one is gone), texts whose hashes agree, positions one
// past the end; the packed lists and list entries after Clear and assignment.
#include "AllocationFaults.h"
#include "BrelonContainers.h"
#include "BrelonOnfIdMap.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace {

// Records `first` to `first + count - 1` lie side by side, as records of one chunk do. Chunks are
// separate blocks of the heap, so records of two chunks never do.
bool SideBySide(BrelonMemRecArray& records, size_t first, size_t count) {
    auto* start = static_cast<unsigned char*>(records.RecordData(first));
    for (size_t i = 1; i < count; ++i) {
        if (records.RecordData(first + i) != start + i * records.RecordSize()) {
            return false;
        }
    }
    return true;
}

void AddRecords(BrelonMemRecArray& records, int count) {
    for (int i = 0; i < count; ++i) {
        const int value = int(records.NumRecords());
        std::memcpy(records.AddNewRecord(), &value, sizeof value);
    }
}

// Each record holds its own index.
void ExpectNumbered(const BrelonMemRecArray& records, size_t count) {
    ASSERT_EQ(records.NumRecords(), count);
    for (size_t i = 0; i < count; ++i) {
        int value = -1;
        std::memcpy(&value, records.RecordData(i), sizeof value);
        ASSERT_EQ(value, int(i));
    }
}

TEST(MemRecArrayEdges, ChunksFollowTheRequestOnceNoRecordIsLeft) {
    BrelonMemRecArray records(1024, 0, 0);
    records.SetNumRecPerChunk(8); // no records yet: applies to the first chunk
    AddRecords(records, 16);
    EXPECT_TRUE(SideBySide(records, 0, 8));
    EXPECT_TRUE(SideBySide(records, 8, 8));
    EXPECT_FALSE(SideBySide(records, 0, 9));
    records.SetNumRecPerChunk(16); // records exist: waits for Clear
    AddRecords(records, 8);
    EXPECT_FALSE(SideBySide(records, 16, 9));
    records.Clear();
    AddRecords(records, 32);
    EXPECT_TRUE(SideBySide(records, 0, 16));
    EXPECT_FALSE(SideBySide(records, 0, 17));
    ExpectNumbered(records, 32);
}

// A move hands the records over and leaves an empty array that takes records again; a move
// assignment swaps the two arrays whole, record size and chunking included.
TEST(MemRecArrayEdges, MovesHandOverRecordsAndChunking) {
    BrelonMemRecArray source(8, 0, 2);
    AddRecords(source, 5);
    BrelonMemRecArray moved(std::move(source));
    EXPECT_EQ(source.NumRecords(), 0u);
    AddRecords(source, 3);
    ExpectNumbered(source, 3);
    ExpectNumbered(moved, 5);
    BrelonMemRecArray sized(8, 4, 2); // its records in the first buffer, which moves away
    BrelonMemRecArray took(std::move(sized));
    AddRecords(sized, 3);
    ExpectNumbered(sized, 3);
    EXPECT_EQ(took.NumRecords(), 4u);

    BrelonMemRecArray target(1024, 0, 0);
    target.SetNumRecPerChunk(64);
    AddRecords(target, 70);
    target = std::move(moved);
    EXPECT_EQ(target.RecordSize(), 8u);
    AddRecords(target, 600);
    ExpectNumbered(target, 605);
    EXPECT_EQ(moved.RecordSize(), 1024u);
    AddRecords(moved, 100);
    ExpectNumbered(moved, 170);
    moved.Clear();
    AddRecords(moved, 65);
    EXPECT_TRUE(SideBySide(moved, 0, 64));
    EXPECT_FALSE(SideBySide(moved, 0, 65));
}

// A copy that runs out of memory part way throws std::bad_alloc, frees what it took and leaves
// the source as it was; so does a chunk the system refuses.
TEST(MemRecArrayEdges, FailedAllocationsThrowAndLeaveNothingBehind) {
    BrelonMemRecArray source(8, 0, 1);
    AddRecords(source, 3000);
    const size_t failures = onf_test::ForEachFailingAllocation(
        [&] {
            BrelonMemRecArray copy(source);
            ExpectNumbered(copy, 3000);
        },
        [&] { ExpectNumbered(source, 3000); });
    EXPECT_GT(failures, 0u);
    EXPECT_THROW(BrelonMemRecArray(SIZE_MAX / 4, 1, 1), std::bad_alloc);
    // A count whose bytes wrap round to a few is refused as well, in a chunk too.
    EXPECT_THROW(BrelonMemRecArray(16, SIZE_MAX / 16 + 2, 1), std::bad_alloc);
    BrelonMemRecArray wraps(16, 0, SIZE_MAX / 16 + 2);
    EXPECT_THROW(wraps.AddNewRecord(), std::bad_alloc);
}

// Texts from one byte to several chunks of 16 bytes long, all different.
std::vector<std::string> Texts(const std::string& tag) {
    std::vector<std::string> texts;
    for (size_t length : {0, 1, 7, 8, 15, 16, 17, 40}) {
        texts.push_back(tag + std::string(length, char('a' + length % 26)));
    }
    return texts;
}

void Fill(BrelonStringsPool& pool, const std::vector<std::string>& texts) {
    for (const std::string& text : texts) {
        pool.AddString(text);
    }
}

// The pool holds exactly `texts`, in this order, each readable as a C string.
void ExpectHolds(const BrelonStringsPool& pool, const std::vector<std::string>& texts) {
    ASSERT_EQ(pool.Size(), texts.size());
    for (size_t i = 0; i < texts.size(); ++i) {
        const auto handle = static_cast<Brelon_SP_STRING_ID>(i + 1);
        EXPECT_STREQ(pool.GetString(handle), texts[i].c_str()) << i;
        EXPECT_EQ(pool.GetLengthAtIdx(i), texts[i].size()) << i;
        EXPECT_EQ(pool.FindString(texts[i]), handle) << i;
    }
    EXPECT_EQ(pool.GetStringAtIdx(texts.size()), nullptr);
    EXPECT_EQ(pool.GetLengthAtIdx(texts.size()), 0u);
}

std::vector<std::string> Joined(std::vector<std::string> a, const std::vector<std::string>& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

TEST(StringsPoolEdges, CopiesKeepEveryTextAndGoOnAlone) {
    auto source = std::make_unique<BrelonStringsPool>(16);
    Fill(*source, Texts("s"));
    BrelonStringsPool copy(*source);
    BrelonStringsPool assigned(4096);
    assigned.AddString("replaced");
    assigned = *source;
    source.reset();
    ExpectHolds(copy, Texts("s"));
    Fill(copy, Texts("c"));
    ExpectHolds(copy, Joined(Texts("s"), Texts("c")));
    ExpectHolds(assigned, Texts("s"));
}

// A move leaves the moved-from pool empty and usable; the two pools never share storage, so each
// keeps its texts when the other adds more or is destroyed.
TEST(StringsPoolEdges, MovesHandOverStorageAndLeaveAnEmptyPool) {
    BrelonStringsPool source(16);
    Fill(source, Texts("s"));
    auto moved = std::make_unique<BrelonStringsPool>(std::move(source));
    Fill(source, Texts("t"));
    Fill(*moved, Texts("m"));
    moved.reset();
    ExpectHolds(source, Texts("t"));

    auto other = std::make_unique<BrelonStringsPool>(16);
    Fill(*other, Texts("o"));
    BrelonStringsPool target(16);
    target.AddString("x"); // room left in its chunk unlike the other's
    target = std::move(*other);
    Fill(target, Texts("y"));
    Fill(*other, Texts("z"));
    other.reset();
    ExpectHolds(target, Joined(Texts("o"), Texts("y")));
    target.Clear();
    ExpectHolds(target, {});
    // Texts it held before come back as new ones, enough of them to grow the index again.
    Fill(target, Joined(Texts("o"), Texts("d")));
    ExpectHolds(target, Joined(Texts("o"), Texts("d")));
}

// A text the pool cannot take for want of memory leaves it holding what it held, empty or where
// its vectors must grow (room it made on the way may stay).
TEST(StringsPoolEdges, AFailedAdditionLeavesThePoolAsItWas) {
    for (const std::vector<std::string>& texts :
         {std::vector<std::string>(), Joined(Texts("p"), Texts("q"))}) {
        BrelonStringsPool pool(16);
        Fill(pool, texts);
        size_t n = 1;
        for (;; ++n) {
            onf_test::FailAllocation(n);
            try {
                pool.AddString("new text");
                break;
            } catch (const std::bad_alloc&) {
                onf_test::FailAllocation(0);
                ExpectHolds(pool, texts);
            }
        }
        onf_test::FailAllocation(0);
        EXPECT_GT(n, 1u);
        ExpectHolds(pool, Joined(texts, {"new text"}));
    }
}

// Texts whose 32-bit hashes agree are still different strings.
TEST(StringsPoolEdges, TextsWithEqualHashesStayApart) {
    std::unordered_map<uint32_t, std::string> seen;
    std::string first;
    std::string second;
    for (int i = 0; second.empty(); ++i) {
        std::string text = "name_" + std::to_string(i);
        auto hash = static_cast<uint32_t>(std::hash<std::string_view>()(text));
        auto [it, added] = seen.emplace(hash, text);
        if (!added) {
            first = it->second;
            second = text;
        }
    }
    BrelonStringsPool pool;
    EXPECT_EQ(pool.AddString(first), 1);
    EXPECT_EQ(pool.AddString(second), 2);
    EXPECT_EQ(pool.FindString(first), 1);
    EXPECT_EQ(pool.FindString(second), 2);
}

// Sparse input in any order and with repeats, and dense input that fills its last word of bits.
TEST(SmallContainerEdges, MembershipOfUnsortedRepeatedAndWordWideInput) {
    const IntSetBitArray sparse(std::vector<int>{2000000000, 5, -3, 5, 2000000000});
    EXPECT_EQ(sparse.Size(), 3u);
    for (int item : {-3, 5, 2000000000}) {
        EXPECT_TRUE(sparse.HasItem(item)) << item;
    }
    EXPECT_FALSE(sparse.HasItem(4));
    const IntSetBitArray dense(std::vector<int>{63, 0});
    EXPECT_TRUE(dense.HasItem(63));
    EXPECT_FALSE(dense.HasItem(64));
}

TEST(SmallContainerEdges, ClearAndAssignmentStartAfresh) {
    BrelonPackedIntListsPool lists;
    const int values[] = {1, 2, 3};
    lists.AddList(5, values, 3);
    lists.Clear();
    EXPECT_EQ(lists.NumLists(), 0u);
    lists.AddList(0, values + 1, 2);
    BrelonPackedIntListsPool::Values list;
    ASSERT_TRUE(lists.GetIds(0, list));
    ASSERT_EQ(list.size, 2u);
    EXPECT_EQ(list.data[0], 2);

    BrelonOnfIntListEntry source(std::make_unique<std::vector<int>>(std::vector<int>{4, 5}),
                                 std::make_unique<std::vector<int>>(std::vector<int>{0, 1}));
    BrelonOnfIntListEntry target;
    target = source;
    (*source.ids)[0] = 9;
    (*source.indices)[0] = 9;
    EXPECT_EQ(*target.ids, (std::vector<int>{4, 5}));
    EXPECT_EQ(*target.indices, (std::vector<int>{0, 1}));
    const BrelonOnfIntListEntry& same = target;
    target = same;
    EXPECT_EQ(*target.ids, (std::vector<int>{4, 5}));
}

// A pool of maps that has only some id spaces, as a client's pool may: the base copies share its
// maps, and merging copies identities only between spaces that both pools have.
struct SomeMaps : QSV_IdMapsPool {
    SomeMaps() {
        m_IdMaps[0] = &nodes;
        m_IdMaps[2] = &elements;
    }
    SomeMaps(const SomeMaps& other) = default;
    SomeMaps& operator=(const SomeMaps& other) = default;
    BrelonOnfIdMap nodes{static_cast<QSV_IdType>(0)};
    BrelonOnfIdMap elements{static_cast<QSV_IdType>(2)};
};

TEST(IdMapsPoolEdges, CopiesShareMapsAndMergesTakeTheSpacesBothHave) {
    SomeMaps some;
    some.nodes.AddId(7);
    const SomeMaps copy(some);
    EXPECT_EQ(copy.m_IdMaps[0], &some.nodes);
    SomeMaps assigned;
    assigned = some;
    EXPECT_EQ(assigned.m_IdMaps[2], &some.elements);

    BrelonOnfIdMapsPool full;
    full.GetIdMap(static_cast<QSV_IdType>(5)).AddId(3);
    BrelonIdMapsUtil::merge_id_maps_pool(some, full);
    BrelonIdMapsUtil::merge_id_maps_pool(full, some);
    EXPECT_TRUE(full.GetIdMap(static_cast<QSV_IdType>(0)).HasId(7));
    BrelonIdMapsUtil::merge_id_maps_pool(some, some);
    EXPECT_EQ(some.nodes.GetNumIndices(), 1u);
}

} // namespace
