#include "BrelonOnfIdMap.h"
#include "FailureExpect.h"
#include "QSV_Failure.h"
#include "containers/SizeCast.h"

#include <gtest/gtest.h>

#include <climits>
#include <functional>
#include <random>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace {

using onf_test::ExpectFailure;

const char* const kTag = "|%P|BrelonUtilities|QSV_Failure";
constexpr size_t kAbsent = static_cast<size_t>(-1);

// The first id space with string identities, or ID_NONE when the catalogue has none.
QSV_IdType StringIdType() {
    for (int t = 0; t < 16; ++t) {
        if (QSV_ID_TYPE_INFO[t].keyKind != 0) {
            return static_cast<QSV_IdType>(t);
        }
    }
    return ID_NONE;
}

// Records the CreateId calls that reach it, then binds as usual.
class RecordingMap : public BrelonOnfIdMap {
public:
    using BrelonOnfIdMap::BrelonOnfIdMap;
    void CreateId(int id, size_t idx) override {
        ids.emplace_back(id, idx);
        BrelonOnfIdMap::CreateId(id, idx);
    }
    void CreateId(const std::string& name, size_t idx) override {
        names.emplace_back(name, idx);
        BrelonOnfIdMap::CreateId(name, idx);
    }
    std::vector<std::pair<int, size_t>> ids;
    std::vector<std::pair<std::string, size_t>> names;
};

TEST(IdMap, FailureTable) {
    BrelonOnfIdMap map(ID_ELEMENT);
    map.AddId(4);
    ExpectFailure([&] { map.AddId(4); }, "042166081318", kTag,
                  "Attempting to add ID = 4 twice to an ID-map of type 2!");
    EXPECT_EQ(map.GetNumIndices(), 2u); // the failed AddId leaves its slot behind
    EXPECT_EQ(map.GetIdx(4), 0u);

    map.CreateId(5, 6);
    ExpectFailure([&] { map.CreateId(8, 6); }, "053019035633", kTag,
                  "Index 6 in ID-map 2 is already associated to a different ID!\n"
                  "Existing ID: 5, attempted to establish ID: 8");
    EXPECT_FALSE(map.HasId(8));

    map.CreateId(7, 3);
    map.CreateId(7, 3); // the same pair again is harmless
    ExpectFailure([&] { map.CreateId(7, 4); }, "053019040522", kTag,
                  "Attempting to add ID = 7 multiple times, but with a different index.\n"
                  "ID-map is of type 2\nExisting index: 3, attempted to overwrite with index: 4");
    EXPECT_EQ(map.GetId(4), 7); // the slot took the id before the trie refused it
    EXPECT_EQ(map.GetIdx(7), 3u);

    ExpectFailure([&] { map.GetId(9); }, "042699081318", kTag,
                  "Attempting to get the ID for a non-existing index 9 from an ID-map of type 2!");
    std::string name;
    ExpectFailure([&] { map.GetId(2, name); }, "080520112916", kTag,
                  "Attempting to get the ID for a non-existing index 2 from an ID-map of type 2!");
    ExpectFailure([&] { map.GetName(0, name); }, "171606061118", kTag,
                  "No string ID for index 0 exists.");
    ExpectFailure([&] { map.GetIdx(std::string("zz")); }, "171607061118", kTag,
                  "No index for string ID zz exists.");

    BrelonOnfIdMap names(ID_NODE);
    names.CreateId("b", 1);
    names.CreateId("a", 0);
    names.CreateId("a", 0);
    ExpectFailure([&] { names.CreateId("a", 1); }, "050820044400", kTag,
                  "Index 1 in ID-map 0 is already associated to a different ID!\n"
                  "Existing ID: b, attempted to establish ID: a");
}

TEST(IdMap, IntegerIdentities) {
    BrelonOnfIdMap map(ID_NODE);
    EXPECT_EQ(map.GetIdx(12), kAbsent); // no failure, unlike a name
    EXPECT_EQ(map.FetchIdx(12), 0u);
    EXPECT_EQ(map.FetchIdx(-3), 1u);
    EXPECT_EQ(map.FetchIdx(12), 0u);
    EXPECT_EQ(map.AddId(70000), 2u);
    EXPECT_TRUE(map.HasId(-3));
    EXPECT_FALSE(map.HasId(3));
    EXPECT_EQ(map.GetId(1), -3);

    // A gap: indices between the old end and the new slot are free.
    map.CreateId(5, 10);
    for (size_t idx = 3; idx < 10; ++idx) {
        EXPECT_FALSE(map.HasIdx(idx)) << idx;
    }
    EXPECT_TRUE(map.HasIdx(10));
    EXPECT_FALSE(map.HasIdx(11));
    EXPECT_EQ(map.AddId(6), 11u);
    EXPECT_EQ(map.FetchIdx(99), 12u);

    // The identity ID_UNUSED binds in the trie but leaves its slot looking free.
    map.CreateId(BrelonOnfIdMap::ID_UNUSED, 20);
    EXPECT_EQ(BrelonOnfIdMap::ID_UNUSED, INT_MIN);
    EXPECT_FALSE(map.HasIdx(20));
    EXPECT_TRUE(map.HasId(INT_MIN));
    EXPECT_EQ(map.GetIdx(INT_MIN), 20u);
}

TEST(IdMap, NameIdentities) {
    BrelonOnfIdMap map(ID_ELEMENT);
    EXPECT_EQ(map.FetchIdx(std::string("wing")), 0u);
    EXPECT_EQ(map.AddName("spar"), 1u);
    EXPECT_EQ(map.FetchIdx(std::string("wing")), 0u);
    EXPECT_TRUE(map.HasName("spar"));
    EXPECT_FALSE(map.HasId(std::string("rib")));
    map.CreateId("rib", 5);
    EXPECT_EQ(map.GetIdx(std::string("rib")), 5u);
    EXPECT_FALSE(map.HasIdx(4));
    EXPECT_EQ(map.FetchIdx(std::string("skin")), 6u);
    std::string name;
    map.GetName(5, name);
    EXPECT_EQ(name, "rib");
    EXPECT_EQ(map.GetId(6), 3); // a name's slot holds its pool position
}

TEST(IdMap, CopyToWalksKeysAscending) {
    BrelonOnfIdMap source(ID_NODE);
    for (int id : {300, -2, 5, 70000, 0x1000000}) {
        source.AddId(id);
    }
    source.CreateId(1, 9);
    RecordingMap target(ID_NODE);
    source.CopyTo(target);
    const std::vector<std::pair<int, size_t>> expected = {{1, 9},     {5, 2},         {300, 0},
                                                          {70000, 3}, {0x1000000, 4}, {-2, 1}};
    EXPECT_EQ(target.ids, expected);
    EXPECT_TRUE(target.names.empty());
    EXPECT_EQ(target.GetIdx(-2), 1u);
    EXPECT_FALSE(target.HasIdx(5));

    RecordingMap empty(ID_NODE);
    BrelonOnfIdMap(ID_NODE).CopyTo(empty);
    EXPECT_TRUE(empty.ids.empty());
}

TEST(IdMap, CopyToOfNamesFollowsIndices) {
    const QSV_IdType type = StringIdType();
    if (type == ID_NONE) {
        GTEST_SKIP() << "the catalogue has no id space with names";
    }
    BrelonOnfIdMap source(type);
    source.CreateId("late", 4);
    source.FetchIdx(std::string("first"));
    source.CreateId("early", 0);
    RecordingMap target(type);
    source.CopyTo(target);
    const std::vector<std::pair<std::string, size_t>> expected = {
        {"early", 0}, {"late", 4}, {"first", 5}};
    EXPECT_EQ(target.names, expected);
    EXPECT_TRUE(target.ids.empty());
}

TEST(IdMapsPool, OwnsOneMapPerTypeAndCopiesDeeply) {
    auto pool = std::make_unique<BrelonOnfIdMapsPool>();
    for (int t = 0; t < 16; ++t) {
        ASSERT_EQ(pool->m_IdMaps[t]->GetType(), t);
        EXPECT_EQ(&pool->GetIdMap(static_cast<QSV_IdType>(t)), pool->m_IdMaps[t]);
    }
    pool->GetIdMap(ID_NODE).AddId(11);
    pool->GetIdMap(ID_NODE).AddId(70000); // alone under its prefix: the trie reads its id
    BrelonOnfIdMapsPool copy(*pool);
    EXPECT_NE(copy.m_IdMaps[0], pool->m_IdMaps[0]);
    pool->GetIdMap(ID_NODE).AddId(12);
    pool.reset(); // the copy must neither share nor double-free the maps, nor read their ids
    EXPECT_TRUE(copy.GetIdMap(ID_NODE).HasId(11));
    EXPECT_EQ(copy.GetIdMap(ID_NODE).GetIdx(70000), 1u);
    EXPECT_FALSE(copy.GetIdMap(ID_NODE).HasId(12));

    BrelonOnfIdMapsPool assigned;
    const QSV_IdMap* before = assigned.m_IdMaps[0];
    assigned = copy;
    EXPECT_EQ(assigned.m_IdMaps[0], before); // blocks keep valid pointers across assignment
    EXPECT_TRUE(assigned.GetIdMap(ID_NODE).HasId(11));

    ExpectFailure([&] { assigned.GetIdMap(static_cast<QSV_IdType>(16)); }, "", kTag,
                  "No ID-map of type 16 exists in the pool.");
}

// Whatever the pattern of the ids, an id costs a bounded number of bytes: dense ids fold into
// runs, ids 7 apart nodes just too full for a sparse one, ids 256 apart one node each, and
// random ids scatter over the whole range.
TEST(IdMap, AnIdCostsBoundedBytesWhateverThePattern) {
    std::mt19937 random(3);
    const std::pair<const char*, std::function<int(int)>> patterns[] = {
        {"dense", [](int i) { return i; }},
        {"7 apart", [](int i) { return 7 * i; }},
        {"256 apart", [](int i) { return 256 * i; }},
        {"random", [&random](int) { return static_cast<int>(random()); }}};
    constexpr int kIds = 200000;
    for (const auto& [name, idOf] : patterns) {
        BrelonOnfIdMap map(ID_NODE);
        for (int i = 0; i < kIds; ++i) {
            map.FetchIdx(idOf(i));
        }
        const double bytes = double(map.GetIdTrie()->MemoryBytes() + 4 * map.GetNumIndices());
        EXPECT_LT(bytes / kIds, 64.0) << name;
        if (idOf(1) == 1) { // dense ids, given dense indices, fold into runs of 256
            EXPECT_LT(map.GetIdTrie()->MemoryBytes(), 32768u);
        }
    }
}

TEST(IdMapsPool, MergeCopiesEveryMap) {
    BrelonOnfIdMapsPool from, to;
    from.GetIdMap(ID_NODE).AddId(100);
    from.GetIdMap(ID_NODE).AddId(200);
    from.GetIdMap(ID_ELEMENT).CreateId(7, 3);
    to.GetIdMap(ID_NODE).CreateId(100, 0);
    BrelonIdMapsUtil::merge_id_maps_pool(from, to);
    EXPECT_EQ(to.GetIdMap(ID_NODE).GetIdx(200), 1u);
    EXPECT_EQ(to.GetIdMap(ID_ELEMENT).GetIdx(7), 3u);
    BrelonIdMapsUtil::merge_id_maps_pool(from, to); // merging again changes nothing
    EXPECT_EQ(to.GetIdMap(ID_NODE).GetIdx(200), 1u);

    BrelonOnfIdMapsPool clash;
    clash.GetIdMap(ID_NODE).AddId(200);
    ExpectFailure([&] { BrelonIdMapsUtil::merge_id_maps_pool(from, clash); }, "053019035633", kTag,
                  "Index 0 in ID-map 0 is already associated to a different ID!\n"
                  "Existing ID: 200, attempted to establish ID: 100");
}

TEST(IdMap, SizeCastOverflow) {
    EXPECT_EQ(onf_detail::size_to_int(0x7FFFFFFF), INT_MAX);
    try {
        onf_detail::size_to_int(0x80000000u);
        ADD_FAILURE() << "no overflow";
    } catch (const std::overflow_error& error) {
        EXPECT_STREQ(error.what(), "Overflow error while casting from unsigned long to int");
    }
}

} // namespace
