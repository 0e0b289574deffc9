// Ply and material reduction of a modification file: a deck of realistic shape (hundreds of added
// materials under three parents, plies that repeat, split elements), the rewritten references,
// repeatability and the written file, then the edge cases of the clustering plan.
#include "LogCapture.h"
#include "test_modif_util.h"

#include <algorithm>
#include <cmath>
#include <map>

using namespace onf_test;
using QSV_LogMacros::LOG_DETAIL;
using QSV_LogMacros::LOG_WARNING;
using Values = std::vector<double>;

namespace {

// Materials 1001 to 1300 under parents 501 (150, 30 levels), 502 (100, 20) and 503 (50, 10).
// Value 0 varies without its flag; values 1 (Young modulus) and 3 vary with the level. Plies
// 1 to 40 repeat with period 12; elements 1 to 400 and children 10001 to 10060 use them all.
struct Deck {
    std::string text;
    std::map<int, Values> values;
    std::map<int, int> parent;
};

Deck MakeDeck() {
    Deck deck;
    std::vector<std::string> materials, plies, elements, children;
    const int sizes[3] = {150, 100, 50}, levels[3] = {30, 20, 10};
    for (int p = 0, id = 1001; p < 3; ++p) {
        for (int i = 0; i < sizes[p]; ++i, ++id) {
            const int level = (i * 7) % levels[p];
            deck.values[id] = {2.7e-9 * (1 + id * 1e-4), 7e4 + 1e3 * level + 5e4 * p, 0.33,
                               150 + 2.5 * level, 0};
            deck.parent[id] = 501 + p;
            materials.push_back(Material(id, 501 + p, {0, 1, 0, 1, 0}, deck.values[id]));
        }
    }
    const char* angles[4] = {"0.0", "45.0", "-45.0", "90.0"};
    for (int i = 1; i <= 40; ++i) {
        plies.push_back(std::to_string(i) + ", " + std::to_string(501 + i % 3) +
                        (i % 2 ? ", 0.25, " : ", 0.125, ") + angles[i % 4] + "\n");
    }
    for (int e = 1; e <= 400; ++e) {
        elements.push_back(Element(e, {1001 + (e * 7) % 300}, {1 + e % 40, 1 + (e * 3) % 40}));
    }
    for (int c = 10001; c <= 10060; ++c) {
        children.push_back(Child(c, 1001 + (c * 11) % 300, c % 400 + 1));
    }
    deck.text =
        Block(821, materials) + Block(825, plies) + Block(840, elements) + Block(841, children);
    return deck;
}

const std::vector<int>& List(const OnfModifFile& file, int element, int item) {
    return Blk(file, 840).GetIntList(Idx(file, 840, element), static_cast<OnfBlock::Item>(item));
}

std::vector<int> Ids(const OnfBlock& block) {
    std::vector<int> ids;
    block.GetIdSet(ids);
    std::sort(ids.begin(), ids.end());
    return ids;
}

std::unique_ptr<OnfModifFile> Reduced(const std::string& text, const std::string& name) {
    auto file = ReadModif(text, name);
    file->BuildModificationLists();
    file->ReducePlies();
    file->ReduceMaterials(12);
    return file;
}

} // namespace

TEST(ModifReduce, RealisticDeckClustersMaterialsMergesPliesAndRewritesReferences) {
    const Deck deck = MakeDeck();
    LogCapture log;
    auto file = Reduced(deck.text, "deck_a.onf");
    for (const char* line :
         {"The number of plies was reduced from 40 to 12", "Suggested cluster size:        6",
          "Required clustering dimension: 2", "Clustering materials set 502 by Young modulus",
          "Number of distinct original values:   30", "Number of materials after clustering: 6"}) {
        EXPECT_TRUE(log.Has(LOG_DETAIL, line)) << line;
    }
    // Plies: every reference goes to the first ply of equal values; block 825 keeps all 40.
    EXPECT_EQ(Blk(*file, 825).GetNumRecords(), 40u);
    for (int e = 1; e <= 400; ++e) {
        ASSERT_EQ(List(*file, e, 5), (std::vector<int>{1 + e % 40 % 12, 1 + e * 3 % 40 % 12}));
    }
    // Materials: 6, 4 and 2 clusters (1301 to 1306, 1307 to 1310, 1311, 1312), each the average
    // of its members, which share a parent and a contiguous range of the clustered value.
    const OnfBlock& materials = Blk(*file, 821);
    ASSERT_EQ(Ids(materials), (std::vector<int>{1301, 1302, 1303, 1304, 1305, 1306, 1307, 1308,
                                                1309, 1310, 1311, 1312}));
    std::map<int, std::set<int>> members; // new id -> old ids
    for (int e = 1; e <= 400; ++e) {
        members[List(*file, e, 4).at(0)].insert(1001 + (e * 7) % 300);
    }
    std::map<int, std::vector<std::pair<double, double>>> ranges; // parent -> E range by cluster
    for (const auto& [newId, olds] : members) {
        OnfAddMaterial::AddMat mat;
        mat.flags.assign(5, 0);
        mat.values.assign(5, 0.0);
        file->GetAddedMat(materials, Idx(*file, 821, newId), mat);
        const int p = deck.parent.at(*olds.begin()) - 501;
        EXPECT_EQ(newId < 1307 ? 0 : newId < 1311 ? 1 : 2, p) << newId;
        EXPECT_EQ(mat.parentMaterial, 501 + p);
        EXPECT_EQ(mat.name, "CLUST_MAT_" + std::to_string(newId));
        // Text and flags come from the first record of the set.
        EXPECT_EQ(mat.text, "T" + std::to_string(p == 0 ? 1001 : p == 1 ? 1151 : 1251));
        double sumE = 0, sumK = 0, lo = 1e300, hi = -1e300;
        for (int old : olds) {
            const Values& v = deck.values.at(old);
            EXPECT_EQ(deck.parent.at(old), 501 + p);
            sumE += v[1], sumK += v[3], lo = std::min(lo, v[1]), hi = std::max(hi, v[1]);
        }
        EXPECT_DOUBLE_EQ(mat.values[1], sumE / olds.size());
        EXPECT_DOUBLE_EQ(mat.values[3], sumK / olds.size());
        EXPECT_EQ(mat.values[0], deck.values.at(*olds.rbegin())[0]); // unused: the last member's
        ranges[p].push_back({lo, hi});
    }
    for (auto& entry : ranges) {
        std::sort(entry.second.begin(), entry.second.end());
        for (size_t i = 1; i < entry.second.size(); ++i) {
            EXPECT_LT(entry.second[i - 1].second, entry.second[i].first) << entry.first;
        }
    }
    // Child elements follow the same map as the elements.
    for (int c = 10001; c <= 10060; ++c) {
        const int material =
            Blk(*file, 841).GetInt(Idx(*file, 841, c), static_cast<OnfBlock::Item>(4));
        EXPECT_EQ(members[material].count(1001 + (c * 11) % 300), 1u) << c;
    }
}

TEST(ModifReduce, ReductionRepeatsExactlyAndItsFileReadsBackEqual) {
    const Deck deck = MakeDeck();
    auto first = Reduced(deck.text, "deck_b.onf");
    Reduced(deck.text, "deck_c.onf")->Write();
    first->Write();
    const std::string written = ReadAll(TempFile("deck_b.onf"));
    EXPECT_EQ(written, ReadAll(TempFile("deck_c.onf")));
    auto back = ReadModif(written, "deck_d.onf");
    back->Write();
    EXPECT_EQ(ReadAll(TempFile("deck_d.onf")), written);
    EXPECT_EQ(Blk(*back, 821).GetNumRecords(), 12u);
    EXPECT_EQ(List(*back, 17, 4), List(*first, 17, 4));
    EXPECT_EQ(List(*back, 17, 5), List(*first, 17, 5));
}

TEST(ModifReduce, PliesMergeOnlyWhenEveryItemButTheIdIsEqual) {
    LogCapture log;
    ReadModif(Block(840, {Element(1, {}, {1})}), "plies_empty.onf")->ReducePlies();
    EXPECT_EQ(log.lines.size(), 2u); // the two lines of reading, none of the reduction

    auto file =
        ReadModif(Block(825, {"4, 501, 0.25, 45.0\n", "5, 501, 0.25, 0.0\n", "7, 501, 0.25, 45.0\n",
                              "9, 501, 0.25, 45.0\n", "11, 501, 0.25, 30.0\n",
                              "12, 501, 0.25, 30.0\n", "13, 501, 0.25, -0.0\n"}) +
                      Block(840, {Element(100, {}, {7, 5, 9}), Element(101, {}, {5}),
                                  Element(102, {}, {13, 11, 12})}),
                  "plies.onf");
    OnfBlock& plies = file->GetBlock(static_cast<QSV_OnfId>(825));
    for (int id : {11, 12}) { // a NaN is never equal, not even to itself
        plies.SetRecordItem(Idx(*file, 825, id), static_cast<OnfBlock::Item>(3), std::nan(""));
    }
    const OnfBlock& elements = Blk(*file, 840);
    const auto listRef = [&](int id) {
        return elements.GetInt(Idx(*file, 840, id), QSV_DataRecordItem::ItemElemPlies);
    };
    const int changedRef = listRef(100), keptRef = listRef(101);
    file->ReducePlies();
    EXPECT_TRUE(log.Has(LOG_DETAIL, "The number of plies was reduced from 7 to 4"));
    EXPECT_EQ(List(*file, 100, 5), (std::vector<int>{4, 5, 4}));
    EXPECT_EQ(List(*file, 102, 5), (std::vector<int>{5, 11, 12})); // -0.0 equals 0.0
    EXPECT_EQ(plies.GetNumRecords(), 7u);
    // A changed list gets an entry of its own; the old one stays, an unchanged one is kept.
    EXPECT_NE(listRef(100), changedRef);
    EXPECT_EQ(elements.GetIntList(static_cast<size_t>(changedRef)), (std::vector<int>{7, 5, 9}));
    EXPECT_EQ(listRef(101), keptRef);
}

TEST(ModifReduce, ClusteringPlanKeepsClustersOrDropsSetsAsItLogs) {
    // `count` materials from id `first` under `parent`; value k of material id is v[k] * id.
    const auto mats = [](int first, int count, int parent, std::vector<int> flags, Values v) {
        std::vector<std::string> records;
        for (int id = first; id < first + count; ++id) {
            Values values(5);
            std::transform(v.begin(), v.end(), values.begin(), [id](double x) { return x * id; });
            records.push_back(Material(id, parent, flags, values));
        }
        return records;
    };
    const auto join = [](std::vector<std::string> a, const std::vector<std::string>& b) {
        a.insert(a.end(), b.begin(), b.end());
        return a;
    };
    // Reduces the materials towards `target`, expects one log line that tells the plan, and the
    // ids of block 821 afterwards.
    const auto check = [](const std::vector<std::string>& records, int target,
                          QSV_LogMacros::LogMsgType level, const std::string& line,
                          const std::vector<int>& ids) {
        LogCapture log;
        auto file = ReadModif(Block(821, records) + Block(841, {Child(300, 1, 9)}), "plan.onf");
        file->ReduceMaterials(target);
        EXPECT_TRUE(log.Has(level, line)) << line;
        EXPECT_EQ(Ids(Blk(*file, 821)), ids) << line;
        return file;
    };
    const std::vector<int> e1 = {0, 1, 0, 0, 0};
    const Values all = {1, 1, 1, 1, 1};
    check(mats(1, 3, 9, e1, {0, 0, 0, 0, 0}), 0, LOG_DETAIL, "Suggested cluster size:        1",
          {4});
    // Scaled to 0: kept; the ids of the next set count the kept records in.
    check(join(mats(1, 2, 1, e1, all), mats(3, 40, 2, e1, all)), 10, LOG_DETAIL,
          "No clustering will be performed for materials set 1",
          {1, 2, 45, 46, 47, 48, 49, 50, 51, 52, 53, 54});
    check(mats(1, 4, 1, e1, all), 100, LOG_DETAIL, // scaled above the set's size
          "No clustering will be performed for materials set 1", {1, 2, 3, 4});
    check(mats(1, 6, 1, {1, 0, 0, 1, 0}, all), 2, LOG_DETAIL,
          "Clustering materials set 1 by thermal conductivity", {7, 8});
    check(join(mats(1, 4, 1, {1, 0, 1, 0, 0}, all), mats(5, 4, 2, e1, all)), 4, LOG_WARNING,
          "Don't know how to cluster materials set for parent material 1, leaving all data!",
          {9, 10}); // and set 1 is gone from the rewritten block
    check({Material(1, 1, e1, {0, 1, 0, 0, 0}), Material(2, 1, e1, {0, 1 + 1e-13, 0, 0, 0})}, 0,
          LOG_DETAIL,
          "Problem interpolating material property 2 of the added materials\nfor parent material "
          "with id = 1: min and max values are very similar,\nmin = 1, max = 1",
          {3, 4});
    // Set 1 has flags 0, 1, 1 (complete), set 2 flags 1, 1, 0 (incomplete, so not clustered).
    std::vector<std::string> late =
        join(mats(1, 3, 1, e1, {0, 1, 0, 0, 0}), mats(4, 3, 2, e1, {0, 1, 0, 0, 0}));
    late[0] = Material(1, 1, {0, 0, 0, 0, 0}, {0, 1, 0, 0, 0});
    late[2] = Material(3, 1, e1, {0, 10, 0, 0, 0});
    late[5] = Material(6, 2, {0, 0, 0, 0, 0}, {0, 6, 0, 0, 0});
    auto file = check(late, 2, LOG_DETAIL, "Parent material ID = 2 requires no clustering.",
                      {4, 5, 6, 7, 8});
    // Material 1 (1.0, flag 0) clusters with 2.0, not with 10.0.
    EXPECT_EQ(Blk(*file, 841).GetInt(Idx(*file, 841, 300), QSV_DataRecordItem::ItemChildMaterial),
              7);
    EXPECT_EQ(Blk(*file, 821).GetReal(Idx(*file, 821, 7), QSV_DataRecordItem::ItemAddMatValue1),
              1.5);
}
