#include "BrelonContainers.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

namespace {

// ---------------------------------------------------------------------------------------------
// BrelonMemRecArray

bool AllZero(const void* data, size_t size) {
    const unsigned char* bytes = static_cast<const unsigned char*>(data);
    return std::all_of(bytes, bytes + size, [](unsigned char b) { return b == 0; });
}

TEST(MemRecArray, RecordsStartZeroedAndNeverMove) {
    for (size_t perChunk : {size_t(0), size_t(1), size_t(3), size_t(1000)}) {
        BrelonMemRecArray records(24, 5, perChunk);
        ASSERT_EQ(records.NumRecords(), 5u);
        std::vector<void*> addresses;
        for (size_t i = 0; i < 5; ++i) {
            EXPECT_TRUE(AllZero(records.RecordData(i), 24));
            std::memset(records.RecordData(i), int(i + 1), 24);
            addresses.push_back(records.RecordData(i));
        }
        for (size_t i = 0; i < 2000; ++i) {
            void* added = records.AddNewRecord();
            EXPECT_TRUE(AllZero(added, 24));
            std::memset(added, 0x5A, 24);
            addresses.push_back(added);
        }
        ASSERT_EQ(records.NumRecords(), 2005u);
        for (size_t i = 0; i < addresses.size(); ++i) {
            ASSERT_EQ(records.RecordData(i), addresses[i]) << "per chunk " << perChunk;
            const unsigned char expected = i < 5 ? static_cast<unsigned char>(i + 1) : 0x5A;
            ASSERT_EQ(*static_cast<unsigned char*>(addresses[i]), expected);
        }
    }
}

TEST(MemRecArray, CopyClearAndChunkChange) {
    BrelonMemRecArray records(8, 0, 2);
    for (int i = 0; i < 7; ++i) {
        std::memcpy(records.AddNewRecord(), &i, sizeof i);
    }
    BrelonMemRecArray copy(records);
    records.Clear();
    EXPECT_EQ(records.NumRecords(), 0u);
    ASSERT_EQ(copy.NumRecords(), 7u);
    for (int i = 0; i < 7; ++i) {
        EXPECT_EQ(*static_cast<const int*>(copy.RecordData(size_t(i))), i);
    }
    // A chunk change applies to the chunks made after a Clear; new records still read as zero.
    records.SetNumRecPerChunk(100000);
    EXPECT_TRUE(AllZero(records.AddNewRecord(), 8));
    records = copy;
    EXPECT_EQ(*static_cast<const int*>(records.RecordData(6)), 6);
}

// ---------------------------------------------------------------------------------------------
// Large buffers: the heap's path, mapped ordinary pages and mapped huge pages must behave alike.

using onf_detail::LargeArray;
using onf_detail::LargeBuffer;

// Runs `body` once for each way of getting memory, and restores the defaults after.
template <typename Body>
void ForEachMemoryPath(Body body) {
    const struct {
        const char* name;
        bool mapping, huge;
    } paths[] = {{"heap", false, false}, {"pages", true, false}, {"huge pages", true, true}};
    const bool hugeByDefault = LargeBuffer::GetHugePages();
    for (const auto& path : paths) {
        LargeBuffer::SetMapping(path.mapping);
        LargeBuffer::SetHugePages(path.huge);
        SCOPED_TRACE(path.name);
        body(path.mapping, path.huge);
    }
    LargeBuffer::SetMapping(true);
    LargeBuffer::SetHugePages(hugeByDefault);
}

TEST(LargeBuffer, GrowsKeepingContentWithZeroBehindIt) {
    ForEachMemoryPath([](bool mapping, bool huge) {
        LargeBuffer buffer(100); // starts on the heap whatever the path
        EXPECT_FALSE(buffer.IsMapped());
        ASSERT_TRUE(AllZero(buffer.Data(), 100));
        std::memset(buffer.Data(), 7, 100);
        // Heap to its final place, then (when mapped) a mapping to a larger one.
        for (const size_t size : {LargeBuffer::MAPPED_BYTES + 1, 3 * LargeBuffer::MAPPED_BYTES}) {
            const size_t before = buffer.Capacity();
            buffer.Data()[before - 1] = 9;
            buffer.Grow(size);
            ASSERT_GE(buffer.Capacity(), size);
            EXPECT_EQ(buffer.IsMapped(), mapping);
            EXPECT_EQ(buffer.AsksHugePages(), huge);
            EXPECT_EQ(buffer.Data()[0], 7);
            EXPECT_EQ(buffer.Data()[50], 7);
            EXPECT_EQ(buffer.Data()[before - 1], 9);
            EXPECT_TRUE(AllZero(buffer.Data() + before, buffer.Capacity() - before));
            if (huge) {
                EXPECT_EQ(reinterpret_cast<uintptr_t>(buffer.Data()) % LargeBuffer::HUGE_PAGE_BYTES,
                          0u);
            }
        }
        const size_t capacity = buffer.Capacity();
        buffer.Grow(10); // smaller: nothing changes
        EXPECT_EQ(buffer.Capacity(), capacity);
        LargeBuffer moved(std::move(buffer));
        EXPECT_EQ(buffer.Data(), nullptr);
        EXPECT_EQ(moved.Data()[0], 7);
        moved.Free();
        EXPECT_EQ(moved.Capacity(), 0u);
        // More than the address space holds, on each path.
        EXPECT_THROW(LargeBuffer(size_t(1) << 50), std::bad_alloc);
        EXPECT_THROW(LargeBuffer(SIZE_MAX - 10), std::bad_alloc); // rounding up would wrap
        EXPECT_EQ(LargeBuffer(LargeBuffer::MAPPED_BYTES).IsMapped(), mapping);
        EXPECT_FALSE(LargeBuffer(LargeBuffer::MAPPED_BYTES - 1).IsMapped());
    });
}

TEST(LargeBuffer, DiscardZeroesWholePagesInsideTheRangeOnly) {
    ForEachMemoryPath([](bool mapping, bool huge) {
        const size_t granule = huge ? LargeBuffer::HUGE_PAGE_BYTES : size_t(4096);
        LargeBuffer buffer(5 * LargeBuffer::HUGE_PAGE_BYTES);
        std::memset(buffer.Data(), 1, buffer.Capacity());
        // From just behind the first granule's start to just before the fourth's end.
        buffer.Discard(1, 4 * granule - 1);
        EXPECT_EQ(buffer.Data()[0], 1);
        EXPECT_EQ(buffer.Data()[granule - 1], 1); // partly covered: kept
        EXPECT_EQ(buffer.Data()[granule], mapping ? 0 : 1);
        EXPECT_EQ(buffer.Data()[3 * granule - 1], mapping ? 0 : 1);
        EXPECT_EQ(buffer.Data()[3 * granule], 1);
        EXPECT_EQ(buffer.Data()[4 * granule], 1);
        buffer.Discard(5, 4);                       // empty: nothing
        buffer.Discard(0, 100 * buffer.Capacity()); // cut at the end
        EXPECT_EQ(buffer.Data()[buffer.Capacity() - 1], mapping ? 0 : 1);
        buffer.Data()[0] = 3; // a discarded page takes writes again
        EXPECT_EQ(buffer.Data()[0], 3);
    });
}

TEST(LargeBuffer, ArrayGrowsAcrossPathsAndStaysZeroBehindItsSize) {
    ForEachMemoryPath([](bool, bool) {
        LargeArray<int> values;
        const size_t count = LargeBuffer::MAPPED_BYTES / sizeof(int) * 3 + 5;
        for (size_t i = 0; i < count; ++i) {
            values.PushBack(static_cast<int>(i));
        }
        const int more[] = {-1, -2};
        values.Append(more, 2);
        ASSERT_EQ(values.Size(), count + 2);
        for (size_t i = 0; i < count; i += 4099) {
            ASSERT_EQ(values[i], static_cast<int>(i));
        }
        EXPECT_EQ(values[count + 1], -2);
        values.Resize(3);
        values.Resize(10);
        EXPECT_EQ(values[2], 2);
        EXPECT_EQ(values[3], 0); // shrinking zeroed what it dropped
        LargeArray<int> moved(std::move(values));
        EXPECT_EQ(values.Size(), 0u);
        EXPECT_EQ(moved.Size(), 10u);
        // Growth one value at a time is geometric: the array moves a few dozen times, not once
        // a value (which would make packing lists quadratic).
        LargeArray<unsigned char> bytes;
        size_t moves = 0;
        for (size_t i = 0; i < 100000; ++i) {
            const size_t capacity = bytes.Capacity();
            bytes.ReserveMore(1);
            bytes.Append(reinterpret_cast<const unsigned char*>("x"), 1);
            moves += bytes.Capacity() != capacity ? 1 : 0;
        }
        EXPECT_LE(moves, 40u);
    });
}

// ---------------------------------------------------------------------------------------------
// BrelonStringsPool

TEST(StringsPool, InternsWithOneBasedHandles) {
    BrelonStringsPool pool(16); // small chunks: many strings cross chunk ends
    EXPECT_STREQ(pool.GetString(0), "");
    EXPECT_STREQ(pool.GetString(-3), "");
    EXPECT_STREQ(pool.GetString(1), "");
    EXPECT_EQ(pool.FindString("a"), 0);

    std::vector<const char*> stored;
    for (int i = 0; i < 3000; ++i) {
        const std::string text = "name_" + std::to_string(i);
        ASSERT_EQ(pool.AddString(text), i + 1);
        stored.push_back(pool.GetString(i + 1));
    }
    const std::string longText(1000, 'x'); // longer than a chunk
    EXPECT_EQ(pool.AddString(longText.c_str()), 3001);
    EXPECT_EQ(pool.AddString("name_17"), 18);
    EXPECT_EQ(pool.AddString(std::string("name_17")), 18);
    EXPECT_EQ(pool.FindString(longText), 3001);
    EXPECT_EQ(pool.Size(), 3001u);
    // Texts that differ after a NUL are different strings.
    EXPECT_NE(pool.AddString(std::string("ab\0c", 4)), pool.AddString(std::string("ab\0d", 4)));

    for (int i = 0; i < 3000; ++i) {
        ASSERT_EQ(pool.GetString(i + 1), stored[size_t(i)]) << "a string moved";
        ASSERT_EQ(pool.GetStringAtIdx(size_t(i)), stored[size_t(i)]);
    }
    EXPECT_TRUE(pool.HasStringAtIdx(3000));
    EXPECT_FALSE(pool.HasStringAtIdx(3003));
    EXPECT_EQ(pool.GetStringAtIdx(3003), nullptr);
    EXPECT_EQ(pool.AddString(static_cast<const char*>(nullptr)), pool.AddString(""));
}

TEST(StringsPool, CopyIsIndependent) {
    auto source = std::make_unique<BrelonStringsPool>(0x10000);
    source->AddString("alpha");
    source->AddString("beta");
    BrelonStringsPool copy(*source);
    source.reset();
    EXPECT_STREQ(copy.GetString(2), "beta");
    EXPECT_EQ(copy.FindString("alpha"), 1);
    EXPECT_EQ(copy.AddString("gamma"), 3);
    EXPECT_EQ(copy.AddString("beta"), 2);
    BrelonStringsPool assigned;
    assigned = copy;
    copy.Clear();
    EXPECT_EQ(assigned.FindString("gamma"), 3);
    EXPECT_EQ(copy.FindString("gamma"), 0);
}

// ---------------------------------------------------------------------------------------------
// Small containers

TEST(SmallContainers, CountedArraysListsAndEntries) {
    QSV_IntArray ints;
    ints.Resize(3);
    ints[0] = 7;
    ints.Resize(10);
    EXPECT_EQ(ints.Size(), 10u);
    EXPECT_EQ(ints[0], 7);
    EXPECT_EQ(ints[9], 0);
    ints.Resize(1);
    ints.Resize(2); // shrinking then growing inside the capacity must not bring back old values
    EXPECT_EQ(ints[1], 0);

    BrelonOnfIntListEntry entry(std::make_unique<std::vector<int>>(std::vector<int>{4, 5}),
                                nullptr);
    BrelonOnfIntListEntry copy(entry);
    (*entry.ids)[0] = 9;
    EXPECT_EQ((*copy.ids)[0], 4);
    EXPECT_EQ(copy.indices, nullptr);
}

// The values of a packed list as a vector; {-1} for a list the pool does not hold.
std::vector<int> PackedIds(const BrelonPackedIntListsPool& pool, size_t reference) {
    BrelonPackedIntListsPool::Values values;
    if (!pool.GetIds(reference, values)) {
        return {-1};
    }
    return std::vector<int>(values.data, values.data + values.size);
}

TEST(PackedIntLists, RunsOfReferencesIndicesAndDrops) {
    BrelonPackedIntListsPool pool;
    const int a[] = {1, 2, 3};
    const int b[] = {7};
    pool.AddList(1, a, 3);
    pool.AddList(2, nullptr, 0);
    pool.AddList(3, b, 1);
    pool.AddList(10, a + 1, 2); // a gap in the references starts a new run
    EXPECT_THROW(pool.AddList(9, a, 1), std::invalid_argument);
    EXPECT_EQ(pool.NumLists(), 4u);
    EXPECT_EQ(PackedIds(pool, 0), std::vector<int>{-1});
    EXPECT_EQ(PackedIds(pool, 1), (std::vector<int>{1, 2, 3}));
    EXPECT_EQ(PackedIds(pool, 2), std::vector<int>{});
    EXPECT_EQ(PackedIds(pool, 3), std::vector<int>{7});
    for (size_t missing : {size_t(4), size_t(9), size_t(11)}) {
        EXPECT_EQ(PackedIds(pool, missing), std::vector<int>{-1}) << missing;
    }
    EXPECT_EQ(PackedIds(pool, 10), (std::vector<int>{2, 3}));

    // Indices only for the lists given them; the others keep none.
    BrelonPackedIntListsPool::Values indices;
    EXPECT_FALSE(pool.GetIndices(3, indices));
    int* out = pool.SetIndices(3);
    ASSERT_NE(out, nullptr);
    out[0] = 70;
    ASSERT_TRUE(pool.GetIndices(3, indices));
    EXPECT_EQ(indices.size, 1u);
    EXPECT_EQ(indices.data[0], 70);
    EXPECT_FALSE(pool.GetIndices(1, indices));
    EXPECT_EQ(pool.SetIndices(4), nullptr);

    // A dropped list is gone in both forms; its neighbours stay.
    pool.Drop(3);
    EXPECT_EQ(PackedIds(pool, 3), std::vector<int>{-1});
    EXPECT_FALSE(pool.GetIndices(3, indices));
    EXPECT_EQ(pool.SetIndices(3), nullptr);
    EXPECT_EQ(PackedIds(pool, 1), (std::vector<int>{1, 2, 3}));
    EXPECT_GT(pool.GetBytes(), 0u);
    pool.Clear();
    EXPECT_EQ(pool.NumLists(), 0u);
    EXPECT_EQ(PackedIds(pool, 1), std::vector<int>{-1});
    pool.AddList(0, b, 1); // after Clear the references start anew
    EXPECT_EQ(PackedIds(pool, 0), std::vector<int>{7});
}

TEST(SmallContainers, IntSetBitArrayDenseAndSparse) {
    const std::vector<std::vector<int>> inputs = {
        {}, {5}, {3, 1, 2, 3, 10}, {1, 2000000000}, {-7, 0, 7}, {INT_MIN, INT_MAX}};
    for (const std::vector<int>& input : inputs) {
        IntSetBitArray bits(input);
        const std::set<int> expected(input.begin(), input.end());
        EXPECT_EQ(bits.Size(), expected.size());
        for (int probe : {INT_MIN, INT_MIN + 1, -8, -7, -1, 0, 1, 2, 3, 4, 9, 10, 11, 1999999999,
                          2000000000, INT_MAX - 1, INT_MAX}) {
            EXPECT_EQ(bits.HasItem(probe), expected.count(probe) > 0) << probe;
        }
    }
}

// ---------------------------------------------------------------------------------------------
// QSV_IntSetIntvl

using IntSet = QSV_IntSetIntvl<int>;

TEST(IntSetIntvl, InsertMergesNeighbourRuns) {
    struct Case {
        std::vector<int> inserts;
        std::vector<int> bounds;
    };
    const Case cases[] = {
        {{5, 7, 6}, {5, 7}},
        {{5, 7, 6, 6, 5}, {5, 7}},
        {{1, 3, 5, 2, 4}, {1, 5}},
        {{10, 8, 9, 1}, {1, 1, 8, 10}},
        {{INT_MAX, INT_MIN, INT_MAX - 1, INT_MIN + 1},
         {INT_MIN, INT_MIN + 1, INT_MAX - 1, INT_MAX}},
        {{-1, 1, 0}, {-1, 1}},
    };
    for (const Case& c : cases) {
        IntSet set;
        for (int v : c.inserts) {
            set.Insert(v);
        }
        EXPECT_EQ(set.GetBounds(), c.bounds);
        EXPECT_EQ(IntSet(c.inserts).GetBounds(), c.bounds);
    }
}

TEST(IntSetIntvl, InsertRangeJoinsRuns) {
    IntSet set(std::vector<int>{1, 2, 5, 9, 10, 20});
    set.InsertRange(3, 4); // joins 1-2 and 5
    EXPECT_EQ(set.GetBounds(), (std::vector<int>{1, 5, 9, 10, 20, 20}));
    set.InsertRange(12, 18); // touches neither
    EXPECT_EQ(set.GetBounds(), (std::vector<int>{1, 5, 9, 10, 12, 18, 20, 20}));
    set.InsertRange(7, 19); // swallows two runs and touches 20
    EXPECT_EQ(set.GetBounds(), (std::vector<int>{1, 5, 7, 20}));
    set.InsertRange(30, 29); // empty
    EXPECT_EQ(set.Size(), 19u);
    IntSet all;
    all.InsertRange(INT_MIN, INT_MAX);
    EXPECT_EQ(all.Size(), size_t(1) << 32);
    EXPECT_TRUE(all.Has(INT_MIN) && all.Has(0) && all.Has(INT_MAX));
    QSV_IntSetIntvl<int64_t> huge;
    huge.InsertRange(INT64_MIN, INT64_MAX);
    EXPECT_EQ(huge.Size(), SIZE_MAX);
}

// Random operations against std::set: Insert, InsertRange, Has, Size, values, and the
// intersection and difference of two sets.
TEST(IntSetIntvl, AgreesWithReferenceOnRandomOperations) {
    std::mt19937 rng(12345);
    for (int round = 0; round < 300; ++round) {
        const int span = round % 3 == 0 ? 20 : 200;
        std::uniform_int_distribution<int> value(-span, span);
        IntSet a, b;
        std::set<int> refA, refB;
        for (int step = 0; step < 40; ++step) {
            IntSet& set = step % 2 ? a : b;
            std::set<int>& ref = step % 2 ? refA : refB;
            int first = value(rng);
            if (step % 3 == 0) {
                const int last = first + int(rng() % 6);
                set.InsertRange(first, last);
                for (int v = first; v <= last; ++v) {
                    ref.insert(v);
                }
            } else {
                set.Insert(first);
                ref.insert(first);
            }
        }
        std::vector<int> values;
        a.GetValues(values);
        ASSERT_EQ(values, std::vector<int>(refA.begin(), refA.end()));
        ASSERT_EQ(a.Size(), refA.size());
        for (int v = -span - 2; v <= span + 8; ++v) {
            ASSERT_EQ(a.Has(v), refA.count(v) > 0);
        }
        ASSERT_EQ(a, IntSet(values));

        std::vector<int> meet, rest;
        std::set_intersection(refA.begin(), refA.end(), refB.begin(), refB.end(),
                              std::back_inserter(meet));
        std::set_difference(refA.begin(), refA.end(), refB.begin(), refB.end(),
                            std::back_inserter(rest));
        IntSet both = a;
        both.Intersect(b);
        ASSERT_EQ(both, IntSet(meet)) << "round " << round;
        IntSet diff = a;
        diff.Subtract(b);
        ASSERT_EQ(diff, IntSet(rest)) << "round " << round;
    }
}

TEST(IntSetIntvl, IntersectAndSubtractEdges) {
    const IntSet low(std::vector<int>{1, 2, 3});
    const IntSet high(std::vector<int>{10, 11});
    const IntSet empty;
    IntSet r = low;
    r.Intersect(high);
    EXPECT_TRUE(r.IsEmpty());
    r = low;
    r.Intersect(empty);
    EXPECT_TRUE(r.IsEmpty());
    r = low;
    r.Subtract(high);
    EXPECT_EQ(r, low);
    r.Subtract(r);
    EXPECT_TRUE(r.IsEmpty());
    // One run of the subtrahend that spans two runs of the set.
    IntSet runs(std::vector<int>{1, 2, 3, 5, 6, 7});
    IntSet cut;
    cut.InsertRange(2, 6);
    runs.Subtract(cut);
    EXPECT_EQ(runs.GetBounds(), (std::vector<int>{1, 1, 7, 7}));
    EXPECT_EQ(runs.GetFirst(), 1);
    EXPECT_EQ(runs.GetLast(), 7);
}

// ---------------------------------------------------------------------------------------------
// BrelonRadixTrieMap

using Trie = BrelonRadixTrieMap<int, int>;

TEST(RadixTrie, LevelBoundaries) {
    const std::pair<int64_t, int> levels[] = {
        {0, 0},        {255, 0},       {256, 1},     {65535, 1}, {65536, 2},
        {0xFFFFFF, 2}, {0x1000000, 3}, {INT_MAX, 3}, {-1, 3},    {INT_MIN, 3}};
    for (const auto& [key, level] : levels) {
        EXPECT_EQ(Trie::LevelOf(static_cast<int>(key)), level) << key;
    }
    Trie trie;
    trie.Insert(0, 1);
    trie.Insert(255, 2);
    EXPECT_EQ(trie.NumNodes(), 1u); // one node serves keys 0 to 255
    trie.Insert(256, 3);
    EXPECT_EQ(trie.NumNodes(), 2u); // level 1: a root, whose reference holds the one key
    trie.Insert(1 << 24, 4);
    EXPECT_EQ(trie.NumNodes(), 3u); // level 3: a root alone
    trie.Insert(257, 5);
    EXPECT_EQ(trie.NumNodes(), 4u); // 256 and 257 share their first byte: a node below it
}

// Keys crowded under three prefixes fill nodes through every size, and keys alone under a prefix
// are pushed down when a second comes: every key keeps its value, and its neighbours that were
// never inserted are not found.
TEST(RadixTrie, NodesGrowAndSplitWithoutLosingAKey) {
    Trie trie;
    std::map<uint32_t, int> reference;
    std::mt19937 rng(11);
    for (int i = 0; i < 20000; ++i) {
        const uint32_t near = 0x12340000u + (rng() % 3) * 0x100u + rng() % (1u + rng() % 256);
        const uint32_t key = rng() % 4 == 0 ? static_cast<uint32_t>(rng()) : near;
        bool inserted = false;
        trie.Insert(static_cast<int>(key), i, inserted);
        EXPECT_EQ(inserted, reference.emplace(key, i).second);
    }
    for (const auto& [key, value] : reference) {
        const int* found = trie.Find(static_cast<int>(key));
        ASSERT_NE(found, nullptr) << key;
        EXPECT_EQ(*found, value);
        EXPECT_EQ(trie.Has(static_cast<int>(key + 1)), reference.count(key + 1) == 1) << key + 1;
    }
}

TEST(RadixTrie, FindInsertAndPrefixes) {
    Trie trie;
    bool inserted = false;
    EXPECT_EQ(trie.Insert(0x010203, 10, inserted), 0u);
    EXPECT_TRUE(inserted);
    EXPECT_EQ(trie.Insert(0x010203, 99, inserted), 0u); // an existing key keeps its pair
    EXPECT_FALSE(inserted);
    EXPECT_EQ(*trie.Find(0x010203), 10);
    // Prefixes and keys that share nodes with the inserted key are absent.
    for (int absent : {0x01, 0x0102, 0x010200, 0x010204, 0x01020300, 0x03, 0x0203}) {
        EXPECT_EQ(trie.Find(absent), nullptr) << absent;
        EXPECT_FALSE(trie.Has(absent));
    }
    trie[-5] = 7;
    trie[0x010203] += 1;
    EXPECT_EQ(trie.Size(), 2u);
    EXPECT_EQ(*trie.Find(0x010203), 11);
    const Trie copy = trie;
    trie.Clear();
    EXPECT_TRUE(trie.IsEmpty());
    EXPECT_EQ(trie.Find(-5), nullptr);
    EXPECT_EQ(*copy.Find(-5), 7);
    EXPECT_EQ(copy.begin()->first, 0x010203);
}

// Dense keys inserted in ascending order get dense payloads (their pairs' places), so their nodes
// of the last byte fold into runs: every key is found, iterated and kept as before, and so are keys
// inserted later beside the runs and a node whose payloads do not follow its keys.
TEST(RadixTrie, DenseKeysFoldIntoRunsAndKeepEveryKey) {
    constexpr int kFirst = 1000;
    constexpr int kCount = 200000;
    Trie trie;
    for (int key = kFirst; key < kFirst + kCount; ++key) {
        trie.Insert(key, key * 3);
    }
    for (int key = 5000000 + 255; key >= 5000000; --key) {
        trie.Insert(key, key); // descending: payloads against the keys' order
    }
    bool inserted = true;
    EXPECT_EQ(trie.Insert(kFirst + 777, 1, inserted), 777u); // the pair's place
    EXPECT_FALSE(inserted);
    EXPECT_FALSE(trie.Has(kFirst - 1));
    EXPECT_FALSE(trie.Has(kFirst + kCount));
    trie.Insert(kFirst + kCount + 300, 7);
    trie.Insert(kFirst - 1, 8);
    int expected = kFirst - 1;
    size_t visited = 0;
    for (const auto& pair : trie) {
        if (visited == 0) {
            EXPECT_EQ(pair.second, 8);
        } else if (pair.first < kFirst + kCount) {
            ASSERT_EQ(pair.first, expected);
            ASSERT_EQ(pair.second, expected * 3);
        }
        expected = pair.first + 1;
        ++visited;
    }
    EXPECT_EQ(visited, kCount + 256u + 2u);
    EXPECT_EQ(*trie.Find(kFirst + kCount + 300), 7);
    EXPECT_EQ(*trie.Find(5000000 + 17), 5000000 + 17);
    const Trie copy = trie;
    EXPECT_EQ(*copy.Find(kFirst + 123456), (kFirst + 123456) * 3);
}

// Only a node of the last byte folds: 256 keys one apart in the byte above, each alone under its
// byte with payloads in a row, stay keys of their own, and the keys between them stay absent.
TEST(RadixTrie, KeysSpreadOverTheByteAboveDoNotFold) {
    Trie trie;
    for (int i = 0; i < 256; ++i) {
        trie.Insert(0x10000 + i * 256, i);
    }
    EXPECT_FALSE(trie.Has(0x10000 + 1));
    EXPECT_FALSE(trie.Has(0x10000 + 5 * 256 + 7));
    EXPECT_EQ(*trie.Find(0x10000 + 5 * 256), 5);
    trie.Insert(0x10000 + 1, 777);
    EXPECT_EQ(trie.Size(), 257u);
    EXPECT_EQ(*trie.Find(0x10000 + 1), 777);
}

TEST(RadixTrie, IteratesInUnsignedOrder) {
    std::mt19937 rng(7);
    Trie trie;
    std::map<uint32_t, int> reference;
    const int fixed[] = {0, 255, 256, 65535, 65536, 1 << 24, INT_MAX, -1, INT_MIN};
    for (int i = 0; i < 5000; ++i) {
        const int key = i < 9 ? fixed[i] : static_cast<int>(rng() >> (rng() % 32));
        const int negated = i % 7 == 0 ? -key : key;
        trie.Insert(negated, i);
        reference.emplace(static_cast<uint32_t>(negated), i);
    }
    ASSERT_EQ(trie.Size(), reference.size());
    auto expected = reference.begin();
    for (const auto& pair : trie) {
        ASSERT_EQ(static_cast<uint32_t>(pair.first), expected->first);
        ASSERT_EQ(pair.second, expected->second);
        ++expected;
    }
    EXPECT_EQ(expected, reference.end());
    std::vector<int> visited;
    trie.ForEach([&visited](int key, int&) { visited.push_back(key); });
    ASSERT_EQ(visited.size(), reference.size());
    EXPECT_EQ(visited.back(), -1); // negative keys come last
}

} // namespace
