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

namespace {

const int kParents[3] = {501, 502, 503};
const int kSetSizes[3] = {150, 100, 50};
const int kLevels[3] = {30, 20, 10}; // distinct Young moduli of each set

struct Deck {
    std::string text;
    std::map<int, std::vector<double>> values; // material id -> values 0 to 4
    std::map<int, int> parent;                 // material id -> parent
};

// Materials 1001 to 1300; value 0 varies without its flag; values 1 (Young modulus) and 3 vary
// together over a set's levels. 40 plies that repeat with period 12; elements 1 to 400 and
// children 10001 to 10060 refer to all of them.
Deck MakeDeck() {
    Deck deck;
    std::vector<std::string> materials, plies, elements, children;
    int id = 1001;
    for (int p = 0; p < 3; ++p) {
        for (int i = 0; i < kSetSizes[p]; ++i, ++id) {
            const int level = (i * 7) % kLevels[p];
            const std::vector<double> v = {2.7e-9 * (1 + id * 1e-4),
                                           70000.0 + 1000 * level + 5e4 * p, 0.33,
                                           150 + 2.5 * level, 0};
            deck.values[id] = v;
            deck.parent[id] = kParents[p];
            materials.push_back(Material(id, kParents[p], {0, 1, 0, 1, 0}, v));
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
    return Blk(file, 840).GetIntList(Idx(file, 840, element),
                                     static_cast<QSV_DataRecordItem::DataRecordItem>(item));
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
    EXPECT_TRUE(log.Has(LOG_DETAIL, "The number of plies was reduced from 40 to 12"));
    EXPECT_TRUE(log.Has(LOG_DETAIL, "Parent material ID = 501 may need clustering."));
    EXPECT_TRUE(log.Has(LOG_DETAIL, "Suggested cluster size:        6"));
    EXPECT_TRUE(log.Has(LOG_DETAIL, "Required clustering dimension: 2"));
    EXPECT_TRUE(log.Has(LOG_DETAIL, "Clustering materials set 502 by Young modulus"));
    EXPECT_TRUE(log.Has(LOG_DETAIL, "Number of original values:            150"));
    EXPECT_TRUE(log.Has(LOG_DETAIL, "Number of distinct original values:   30"));
    EXPECT_TRUE(log.Has(LOG_DETAIL, "Number of materials after clustering: 6"));

    // Plies: every reference goes to the first ply of equal values; block 825 keeps all 40.
    EXPECT_EQ(Blk(*file, 825).GetNumRecords(), 40u);
    for (int e = 1; e <= 400; ++e) {
        const std::vector<int> expected = {1 + (e % 40) % 12, 1 + ((e * 3) % 40) % 12};
        ASSERT_EQ(List(*file, e, 5), expected) << e;
    }
    // Materials: 6, 4 and 2 clusters in the order of the parents, above every old id.
    const OnfBlock& materials = Blk(*file, 821);
    std::vector<int> newIds(12);
    for (int i = 0; i < 12; ++i) {
        newIds[i] = 1301 + i;
    }
    ASSERT_EQ(Ids(materials), newIds);
    std::map<int, std::vector<int>> members; // new id -> old ids, ascending
    for (int e = 1; e <= 400; ++e) {
        members[List(*file, e, 4).at(0)].push_back(1001 + (e * 7) % 300);
    }
    for (auto& entry : members) {
        std::sort(entry.second.begin(), entry.second.end());
        entry.second.erase(std::unique(entry.second.begin(), entry.second.end()),
                           entry.second.end());
    }
    size_t total = 0;
    std::map<int, std::vector<std::pair<double, double>>> ranges; // parent -> E range by cluster
    for (const auto& entry : members) {
        const int newId = entry.first;
        const std::vector<int>& olds = entry.second;
        total += olds.size();
        OnfAddMaterial::AddMat mat;
        mat.flags.assign(5, 0);
        mat.values.assign(5, 0.0);
        file->GetAddedMat(materials, Idx(*file, 821, newId), mat);
        const int parent = deck.parent.at(olds.front());
        const int p = parent - 501;
        EXPECT_GE(newId, 1301 + (p == 0 ? 0 : p == 1 ? 6 : 10));
        EXPECT_LT(newId, 1301 + (p == 0 ? 6 : p == 1 ? 10 : 12));
        EXPECT_EQ(mat.parentMaterial, parent);
        EXPECT_EQ(mat.name, "CLUST_MAT_" + std::to_string(newId));
        EXPECT_EQ(mat.text, "T" + std::to_string(p == 0 ? 1001 : p == 1 ? 1151 : 1251));
        EXPECT_EQ(mat.flags, (std::vector<int>{0, 1, 0, 1, 0}));
        double sumE = 0, sumK = 0, minE = 1e300, maxE = -1e300;
        for (int old : olds) {
            EXPECT_EQ(deck.parent.at(old), parent);
            sumE += deck.values.at(old)[1];
            sumK += deck.values.at(old)[3];
            minE = std::min(minE, deck.values.at(old)[1]);
            maxE = std::max(maxE, deck.values.at(old)[1]);
        }
        EXPECT_DOUBLE_EQ(mat.values[1], sumE / olds.size());
        EXPECT_DOUBLE_EQ(mat.values[3], sumK / olds.size());
        EXPECT_EQ(mat.values[0], deck.values.at(olds.back())[0]); // not in use: the last member's
        EXPECT_EQ(mat.values[2], 0.33);
        ranges[parent].push_back({minE, maxE});
    }
    EXPECT_EQ(total, 300u);
    for (auto& entry : ranges) { // one-dimensional clusters do not interleave
        std::sort(entry.second.begin(), entry.second.end());
        for (size_t i = 1; i < entry.second.size(); ++i) {
            EXPECT_LT(entry.second[i - 1].second, entry.second[i].first) << entry.first;
        }
    }
    // Child elements follow the same map as the elements.
    const OnfBlock& children = Blk(*file, 841);
    for (int c = 10001; c <= 10060; ++c) {
        const int material =
            children.GetInt(Idx(*file, 841, c), QSV_DataRecordItem::ItemChildMaterial);
        const std::vector<int>& olds = members[material];
        EXPECT_TRUE(std::binary_search(olds.begin(), olds.end(), 1001 + (c * 11) % 300)) << c;
    }
}

TEST(ModifReduce, ReductionRepeatsExactlyAndItsFileReadsBackEqual) {
    const Deck deck = MakeDeck();
    auto first = Reduced(deck.text, "deck_b.onf");
    auto second = Reduced(deck.text, "deck_c.onf");
    first->Write();
    second->Write();
    const std::string written = ReadAll(TempFile("deck_b.onf"));
    EXPECT_EQ(written, ReadAll(TempFile("deck_c.onf")));
    auto back = ReadModif(written, "deck_d.onf");
    back->Write();
    EXPECT_EQ(ReadAll(TempFile("deck_d.onf")), written);
    EXPECT_EQ(Blk(*back, 821).GetNumRecords(), 12u);
    EXPECT_EQ(List(*back, 17, 5), List(*first, 17, 5));
    EXPECT_EQ(List(*back, 17, 4), List(*first, 17, 4));
}

TEST(ModifReduce, PliesMergeOnlyWhenEveryItemButTheIdIsEqual) {
    LogCapture log;
    auto empty = ReadModif(Block(840, {Element(1, {}, {1})}), "plies_empty.onf");
    empty->ReducePlies();
    EXPECT_TRUE(log.lines.size() == 2u); // the two reading lines, nothing from the reduction

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
    const int oldList = elements.GetInt(Idx(*file, 840, 100), QSV_DataRecordItem::ItemElemPlies);
    const int keptList = elements.GetInt(Idx(*file, 840, 101), QSV_DataRecordItem::ItemElemPlies);
    file->ReducePlies();
    EXPECT_TRUE(log.Has(LOG_DETAIL, "The number of plies was reduced from 7 to 4"));
    EXPECT_EQ(List(*file, 100, 5), (std::vector<int>{4, 5, 4}));
    EXPECT_EQ(List(*file, 101, 5), (std::vector<int>{5}));
    EXPECT_EQ(List(*file, 102, 5), (std::vector<int>{5, 11, 12})); // -0.0 equals 0.0
    EXPECT_EQ(plies.GetNumRecords(), 7u);
    // A changed list gets an entry of its own; the old one stays, an unchanged one is kept.
    EXPECT_NE(elements.GetInt(Idx(*file, 840, 100), QSV_DataRecordItem::ItemElemPlies), oldList);
    EXPECT_EQ(elements.GetIntList(static_cast<size_t>(oldList)), (std::vector<int>{7, 5, 9}));
    EXPECT_EQ(elements.GetInt(Idx(*file, 840, 101), QSV_DataRecordItem::ItemElemPlies), keptList);
}

TEST(ModifReduce, ClusteringPlanCasesKeepClusterOrDropSetsAsLogged) {
    auto mats = [](int first, int count, int parent, std::vector<int> flags,
                   std::vector<double> (*values)(int)) {
        std::vector<std::string> records;
        for (int id = first; id < first + count; ++id) {
            records.push_back(Material(id, parent, flags, values(id)));
        }
        return records;
    };
    auto same = [](int) { return std::vector<double>{0, 5, 0, 0, 0}; };
    auto byId = [](int id) {
        return std::vector<double>{id * 1.0, id * 2.0, id * 3.0, id * 4.0, 0};
    };
    auto rising = [](int id) { return std::vector<double>{0, 1.0 + (id - 1) * 1e-13, 0, 0, 0}; };
    auto concat = [](std::vector<std::string> a, const std::vector<std::string>& b) {
        a.insert(a.end(), b.begin(), b.end());
        return a;
    };
    std::vector<int> p2Ids(10);
    for (int i = 0; i < 10; ++i) {
        p2Ids[i] = 45 + i;
    }
    p2Ids.insert(p2Ids.begin(), {1, 2});
    struct Row {
        const char* name;
        std::vector<std::string> records;
        int target;
        std::vector<std::pair<QSV_LogMacros::LogMsgType, std::string>> logs;
        std::vector<int> ids;
    } rows[] = {
        {"one value collapses",
         mats(1, 3, 9, {0, 1, 0, 0, 0}, same),
         0,
         {{LOG_DETAIL, "Suggested cluster size:        1"},
          {LOG_DETAIL, "Starting one-dimensional clustering of materials set 9 by value 1"}},
         {4}},
        {"scaled below two",
         concat(mats(1, 2, 1, {0, 1, 0, 0, 0}, byId), mats(3, 40, 2, {0, 1, 0, 0, 0}, byId)),
         10,
         {{LOG_DETAIL, "No clustering will be performed for materials set 1"}},
         p2Ids},
        {"target above size",
         mats(1, 4, 1, {0, 1, 0, 0, 0}, byId),
         100,
         {{LOG_DETAIL, "No clustering will be performed for materials set 1"}},
         {1, 2, 3, 4}},
        {"thermal conductivity",
         mats(1, 6, 1, {1, 0, 0, 1, 0}, byId),
         2,
         {{LOG_DETAIL, "Clustering materials set 1 by thermal conductivity"}},
         {7, 8}},
        {"no known value",
         concat(mats(1, 4, 1, {1, 0, 1, 0, 0}, byId), mats(5, 4, 2, {0, 1, 0, 0, 0}, byId)),
         4,
         {{LOG_WARNING,
           "Don't know how to cluster materials set for parent material 1, leaving all data!"}},
         {9, 10}},
        {"similar min and max",
         mats(1, 2, 1, {0, 1, 0, 0, 0}, rising),
         0,
         {{LOG_DETAIL,
           "Problem interpolating material property 2 of the added materials\nfor parent "
           "material with id = 1: min and max values are very similar,\nmin = 1, max = 1"}},
         {3, 4}},
    };
    for (const Row& row : rows) {
        LogCapture log;
        auto file = ReadModif(Block(821, row.records), "plan.onf");
        file->ReduceMaterials(row.target);
        for (const auto& line : row.logs) {
            EXPECT_TRUE(log.Has(line.first, line.second)) << row.name << ": " << line.second;
        }
        EXPECT_EQ(Ids(Blk(*file, 821)), row.ids) << row.name;
    }
}

TEST(ModifReduce, AFlagThatStopsPartWayMakesItsValueUnusable) {
    // Set 1: flags 0, 1, 1 (complete, clustered on value 1); set 2: flags 1, 1, 0 (incomplete).
    std::vector<std::string> records = {Material(1, 1, {0, 0, 0, 0, 0}, {0, 1, 0, 0, 0}),
                                        Material(2, 1, {0, 1, 0, 0, 0}, {0, 2, 0, 0, 0}),
                                        Material(3, 1, {0, 1, 0, 0, 0}, {0, 10, 0, 0, 0}),
                                        Material(4, 2, {0, 1, 0, 0, 0}, {0, 4, 0, 0, 0}),
                                        Material(5, 2, {0, 1, 0, 0, 0}, {0, 5, 0, 0, 0}),
                                        Material(6, 2, {0, 0, 0, 0, 0}, {0, 6, 0, 0, 0})};
    LogCapture log;
    auto file = ReadModif(Block(821, records) + Block(841, {Child(300, 1, 9)}), "flags.onf");
    file->ReduceMaterials(2);
    EXPECT_TRUE(
        log.Has(LOG_DETAIL, "Starting one-dimensional clustering of materials set 1 by value 1"));
    EXPECT_TRUE(log.Has(LOG_DETAIL, "Parent material ID = 2 requires no clustering."));
    EXPECT_TRUE(log.Has(LOG_DETAIL, "No clustering will be performed for materials set 2"));
    EXPECT_EQ(Ids(Blk(*file, 821)), (std::vector<int>{4, 5, 6, 7, 8}));
    // Material 1 (value 1.0) clusters with the smaller of the two flagged values.
    const int child =
        Blk(*file, 841).GetInt(Idx(*file, 841, 300), QSV_DataRecordItem::ItemChildMaterial);
    EXPECT_EQ(child, 7);
    EXPECT_DOUBLE_EQ(
        Blk(*file, 821).GetReal(Idx(*file, 821, 7), QSV_DataRecordItem::ItemAddMatValue1), 1.5);
}
