// The modification file: header and blocks, special instructions, look-up lists and queries,
// node positions, load markers, and the sets of identically modified elements.
#include "LogCapture.h"
#include "test_modif_util.h"

#include <type_traits>

using namespace onf_test;
using QSV_LogMacros::LOG_DETAIL;
using QSV_LogMacros::LOG_INFO;
using QSV_LogMacros::LOG_WARNING;

namespace {

// Moved, mapped and deleted nodes, deleted elements, load markers (force+A, force+moment,
// moment, B, force) and loadcases, and elements 1 to 6 whose modifications meet in buckets.
std::string QueryFile() {
    return Block(810, {"6, 1.5, 2.5, 3.5\n", "8, -1.0, 0.0, 0.25\n"}) +
           Block(811, {"5, 6\n", "7, 9\n"}) + Block(812, {"1, 2\n5, 7\n", "2, 3\n6, 6, 9\n"}) +
           Block(840, {Element(1, {10}, {}), Element(2, {10}, {}), Element(3, {1, 2}, {3}),
                       Element(4, {1}, {2, 3}), Element(5, {2, 1}, {3}), Element(6, {10}, {})}) +
           Block(841, {Child(201, 10, 1), Child(202, 99, 1), Child(203, 12, 7), Child(204, 13, 8),
                       Child(205, 1, 3)}) +
           Block(842, {"1, 4\n100, 101, 102, 104\n"}) +
           Block(879, {"1, 1, 1, 0, 1, 0\n", "2, 1, 1, 1, 0, 0\n", "3, 1, 0, 1, 0, 0\n",
                       "4, 1, 0, 0, 0, 1\n", "5, 1, 2, 0, 0, 0\n"}) +
           Block(880, {"1, 1, 2.0, LC_A\n", "2, 1, 3.0, LC_B\n"});
}

} // namespace

TEST(ModifFile, NewFileHasEveryBlockEmptyAndWritesItsHeaderOutsideBlocks) {
    const std::wstring path = TempFile("modif_empty.onf");
    OnfModifFile file(path);
    EXPECT_EQ(file.GetHeader(), "# ONF version 1.0\n# ONF modification file\n#\n");
    for (int number :
         {800, 810, 811, 812, 821, 825, 831, 840, 841, 842, 850, 876, 877, 878, 879, 880, 890}) {
        ASSERT_TRUE(file.HasBlock(static_cast<QSV_OnfId>(number))) << number;
        EXPECT_FALSE(file.IsBlockModified(static_cast<QSV_OnfId>(number))) << number;
    }
    EXPECT_FALSE(file.HasElemModData() || file.HasMatModData());
    EXPECT_THROW(file.IsBlockModified(static_cast<QSV_OnfId>(820)), QSV_Failure);
    LogCapture log;
    file.Write();
    EXPECT_TRUE(log.Has(LOG_INFO, "Writing ONF modification file " + ::testing::TempDir() +
                                      "modif_empty.onf"));
    // The version shows twice: the header is comment text behind the writer's "# ".
    EXPECT_EQ(ReadAll(path).rfind("#\n# ONF version 1.0\n# # ONF version 1.0\n# ONF modification "
                                  "file\n#\n\n#\n# DATA BLOCK 800",
                                  0),
              0u);
}

TEST(ModifFile, SpecialInstructionsSetOnlyTheirOwnFlagOnAnExactMatch) {
    struct Row {
        std::vector<std::string> texts;
        bool bailout, sfilm, sim;
    } rows[] = {
        {{"KEEP_SFILM"}, false, true, false},
        {{" KEEP_SFILM", "keep_sfilm", "KEEP_SFILM ", "FORCE_SIM"}, false, false, false},
        {{"FORCE_SIM_YES", "other", "MSC_NASTRAN_BAILOUT", "KEEP_SFILM"}, true, true, true},
    };
    for (const Row& row : rows) {
        OnfModifFile file(TempFile("unused.onf"));
        OnfBlock& block = file.GetBlock(static_cast<QSV_OnfId>(800));
        for (size_t i = 0; i < row.texts.size(); ++i) {
            bool created;
            block.SetRecordItem(block.GetWarrantedRecordIdx(static_cast<int>(i) + 1, created),
                                QSV_DataRecordItem::ItemInstructionText, row.texts[i]);
        }
        for (int pass = 0; pass < 2; ++pass) { // a second scan changes nothing
            file.ReadSpecialModInstruction();
            EXPECT_EQ(file.GetBailoutFlag(), row.bailout) << row.texts[0];
            EXPECT_EQ(file.GetSFilmFlag(), row.sfilm) << row.texts[0];
            EXPECT_EQ(file.GetSimFlag(), row.sim) << row.texts[0];
        }
    }
}

TEST(ModifFile, ModificationListsAnswerTheQueriesOnNodesAndElements) {
    LogCapture log;
    auto file = ReadModif(QueryFile(), "modif_query.onf");
    ASSERT_GE(log.lines.size(), 2u);
    EXPECT_TRUE(log.Has(LOG_INFO, "Reading modification instructions from ONF file:"));
    EXPECT_EQ(log.lines[1].message, ::testing::TempDir() + "modif_query.onf");
    EXPECT_EQ(log.lines[1].tag, "|%P|BrelonOnfEngine|OnfModifFile");
    EXPECT_TRUE(file->GetElementChildren(1).empty()); // nothing built yet
    file->BuildModificationLists();
    EXPECT_TRUE(log.Has(LOG_DETAIL, "Building modification lists"));

    // {5, 7} and {6, 6, 9}: the second list is added run by run.
    EXPECT_EQ(file->GetDelNodeSet().GetBounds(), (std::vector<int>{5, 7, 9, 9}));
    EXPECT_EQ(file->GetDelElemSet().GetBounds(), (std::vector<int>{100, 102, 104, 104}));
    const bool deleted[] = {false, true, true, true, false, true, false}; // nodes 4 to 10
    for (int node = 4; node <= 10; ++node) {
        EXPECT_EQ(file->IsDelNode(node), deleted[node - 4]) << node;
        EXPECT_EQ(file->IsDelElem(node + 95), deleted[node - 4]) << node + 95;
    }
    EXPECT_TRUE(file->AnyElementDeleted({1, 2, 102}) && file->HasAnyDelElem());
    EXPECT_FALSE(file->AnyElementDeleted({}) || file->AnyElementDeleted({1, 103}));
    EXPECT_TRUE(file->AnyElementModified({50, 6}) && file->AnyElementHasChildren({99, 7}));
    EXPECT_FALSE(file->AnyElementModified({7, 100}) || file->AnyElementHasChildren({2, 4, 201}));
    EXPECT_EQ(file->GetElementChildren(1),
              (std::vector<size_t>{Idx(*file, 841, 201), Idx(*file, 841, 202)}));
    EXPECT_TRUE(file->GetElementChildren(2).empty());
    EXPECT_TRUE(file->HasElemModData() && file->HasMatModData()); // deleted elements count
    EXPECT_FALSE(file->IsBlockModified(static_cast<QSV_OnfId>(821)));
    EXPECT_EQ(file->GetNumAddLoadcases(), 2u);

    const bool onlyForceOrMoment[] = {false, true, true, false, true};
    for (int id = 1; id <= 5; ++id) {
        EXPECT_EQ(file->IsOnlyForceOrMomentActiv(Idx(*file, 879, id)), onlyForceOrMoment[id - 1]);
    }
    auto unmarked = ReadModif(Block(879, {"0, 1, 0, 0, 0, 0\n"}), "modif_879.onf");
    try {
        unmarked->IsOnlyForceOrMomentActiv(0);
        FAIL() << "no failure";
    } catch (const QSV_Failure& failure) {
        EXPECT_EQ(failure.GetMessage(),
                  "No marker is set within OnfBlock 879, this is an internal error.");
        EXPECT_EQ(failure.GetId(), "114467180711");
        EXPECT_EQ(failure.GetLogTag(), "|%P|BrelonOnfEngine|OnfModifFile");
    }
}

// Client code binds these members by their exact types.
static_assert(std::is_same_v<decltype(&OnfModifFile::GetNewNodePosition),
                             BrelonMatrix<3, 1, double> (OnfModifFile::*)(int, bool&)>);

TEST(ModifFile, NewNodePositionFollowsTheMappingAndFallsBackToTheNodeItself) {
    auto file = ReadModif(QueryFile(), "modif_nodes.onf");
    bool found = false;
    EXPECT_EQ(file->GetNewNodePosition(6, found)[2], 3.5);
    EXPECT_TRUE(found);
    const BrelonMatrix<3, 1, double> none = file->GetNewNodePosition(5, found);
    EXPECT_TRUE(!found && none[0] == 0.0 && none[1] == 0.0 && none[2] == 0.0);

    file->SetNodesMapping(Blk(*file, 811));
    LogCapture log;
    EXPECT_EQ(file->GetNewNodePosition(5, found)[0], 1.5); // 5 takes the position of 6
    EXPECT_TRUE(found);
    EXPECT_TRUE(log.Has(LOG_DETAIL, "Processing GetNewNodePosition for orig node = 5"));
    EXPECT_TRUE(log.Has(LOG_DETAIL, "Processing Position for orig node = 5 changed with the one "
                                    "corresponding of node = 6"));
    EXPECT_EQ(file->GetNewNodePosition(8, found)[2], 0.25); // no mapping record: its own
    EXPECT_TRUE(found);
    EXPECT_TRUE(log.Has(LOG_WARNING, "For node_id = 8 there is no corresponding node in the "
                                     "table-mapping file."));
    file->GetNewNodePosition(7, found); // mapped to 9, which did not move
    EXPECT_FALSE(found);
}

TEST(ModifFile, ModifiedSetsSplitAGroupByExactModificationAndTakeInChildren) {
    auto file = ReadModif(QueryFile(), "modif_sets.onf");
    file->BuildModificationLists();
    QSV_IntSetIntvl<int> remaining;
    std::vector<OnfModifFile::ModifiedElset> sets;
    file->GenerateModifGroups(std::vector<int>{1, 2, 3, 4, 5, 6, 7, 8, 20}, remaining, sets);
    EXPECT_EQ(remaining.GetBounds(), (std::vector<int>{7, 8, 20, 20}));
    ASSERT_EQ(sets.size(), 4u);
    EXPECT_EQ(sets[0].addedMaterials, (std::vector<int>{10}));
    EXPECT_EQ(sets[2].plies, (std::vector<int>{2, 3}));
    // {1, 2}+{3} and {1}+{2, 3} feed the hash the same bytes: one bucket, two sets. {2, 1}+{3}
    // is another modification again.
    EXPECT_EQ(sets[1].hashKey, sets[2].hashKey);
    EXPECT_EQ((std::vector<int>{sets[0].hashRank, sets[1].hashRank, sets[2].hashRank}),
              (std::vector<int>{1, 1, 2}));

    file->FillInAddedElements(remaining, sets);
    ASSERT_EQ(sets.size(), 5u);
    const std::vector<std::set<int>> elements = {{1, 2, 6, 201}, {3, 205}, {4}, {5}, {203, 204}};
    for (size_t i = 0; i < sets.size(); ++i) {
        EXPECT_EQ(sets[i].elements, elements[i]) << i; // 202 has a material its set lacks
    }
    // All children of unmodified parents form one set, with the first child's material alone.
    EXPECT_EQ(sets[4].addedMaterials, (std::vector<int>{12}));
    EXPECT_TRUE(sets[4].plies.empty());
    EXPECT_EQ(sets[4].hashKey, 203 * 204);
    EXPECT_EQ(sets[4].hashRank, 407);

    // The results are replaced: an empty group leaves nothing, an unmodified one itself.
    file->GenerateModifGroups(QSV_IntSetIntvl<int>(), remaining, sets);
    EXPECT_TRUE(remaining.IsEmpty() && sets.empty());
    file->GenerateModifGroups(std::vector<int>{50, 51, 52}, remaining, sets);
    EXPECT_EQ(remaining.GetBounds(), (std::vector<int>{50, 52}));
    EXPECT_TRUE(sets.empty());
    // Without children nothing is added.
    auto plain = ReadModif(Block(840, {Element(1, {10}, {})}), "modif_plain.onf");
    plain->BuildModificationLists();
    plain->GenerateModifGroups(std::vector<int>{1, 2}, remaining, sets);
    plain->FillInAddedElements(remaining, sets);
    ASSERT_EQ(sets.size(), 1u);
    EXPECT_EQ(sets[0].elements, (std::set<int>{1}));
}
