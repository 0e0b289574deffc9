// Every operation that numbers new records above the ids in use, driven to the largest 32-bit id:
// one step below it succeeds with that id, at it the operation fails in words before it changes
// anything, and no id wraps to a negative one (the suite runs under UBSan in CI).
#include "FailureExpect.h"
#include "OnfGroupsFile.h"
#include "OnfModelFile.h"
#include "OnfModifFile.h"
#include "model/OnfModelFileDetail.h"

#include <gtest/gtest.h>

#include <climits>
#include <fstream>
#include <string>

namespace {

using onf_test::ExpectFailure;

const char* const kModelTag = "|%P|BrelonOnfEngine|OnfModelFile";
const std::string kNoneLeft =
    "the highest id in use is 2147483647, the largest a 32-bit id can be.";

std::wstring Put(const std::string& name, const std::string& text) {
    const std::string path = testing::TempDir() + "id_limits_" + name;
    std::ofstream(path, std::ios::binary) << text;
    return std::wstring(path.begin(), path.end());
}

const OnfBlock& Block(const OnfBlockSet& set, int number) {
    return set.GetBlock(static_cast<QSV_OnfId>(number));
}

TEST(IdLimits, LayersOfPropertiesStopAtTheLargestId) {
    OnfModelFile model(L"unused.onf", nullptr);
    int layer = 0;
    // While there is no layer the caller's base counts.
    ExpectFailure(
        [&] { model.AppendProperty(7, OnfProperty::PROP_SHELL, "p", 1, 1, true, INT_MAX, &layer); },
        "", kModelTag, "No id is left for a new layer: " + kNoneLeft);
    EXPECT_FALSE(Block(model, 130).HasRecord(7)); // no property without its layer
    ASSERT_TRUE(
        model.AppendProperty(7, OnfProperty::PROP_SHELL, "p", 1, 1, true, INT_MAX - 1, &layer));
    EXPECT_EQ(layer, INT_MAX);
    ExpectFailure([&] { model.GetNextFreeLayerId(); }, "", kModelTag,
                  "No id is left for a new layer: " + kNoneLeft);
    ExpectFailure(
        [&] { model.AppendProperty(8, OnfProperty::PROP_SHELL, "q", 1, 1, true, 0, nullptr); }, "",
        kModelTag, "No id is left for a new layer: " + kNoneLeft);
    EXPECT_FALSE(Block(model, 130).HasRecord(8));
    EXPECT_TRUE(model.AppendProperty(8, OnfProperty::PROP_SHELL, "q", 1, 1, false, 0, nullptr));
}

// The counters of single forces and displacements are shared by the process: each is set near
// the limit here and given back afterwards.
TEST(IdLimits, ForceAndDisplacementCountersStopBeforeMakingTheSet) {
    onf_detail::LoadItemIds& counters = onf_detail::ProcessLoadItemIds();
    const onf_detail::LoadItemIds saved = counters;
    OnfModelFile model(L"unused.onf", nullptr);
    BrelonRadixTrieMap<int, OnfNodalForces::NodalForce> forces;
    forces[1].node = 1;
    forces[2].node = 2;
    std::map<int, OnfNodalDisplacements::NodalDisplacement> displacements;
    displacements[1].node = 1;
    displacements[2].node = 2;

    counters.nextForce = INT_MAX;
    counters.nextDisplacement = INT_MAX;
    ExpectFailure([&] { model.AppendNodalForces(5, "f", forces); }, "", kModelTag,
                  "No ids are left for 2 new nodal forces: they would follow id 2147483646, and "
                  "the largest a 32-bit id can be is 2147483647.");
    ExpectFailure([&] { model.AppendPrescribedDisplacements(5, "d", displacements); }, "",
                  kModelTag,
                  "No ids are left for 2 new prescribed displacements: they would follow id "
                  "2147483646, and the largest a 32-bit id can be is 2147483647.");
    EXPECT_FALSE(Block(model, 173).HasRecord(5));
    EXPECT_FALSE(Block(model, 175).HasRecord(5));

    forces.Clear();
    forces[1].node = 1;
    displacements.erase(2);
    EXPECT_TRUE(model.AppendNodalForces(5, "f", forces));
    EXPECT_TRUE(model.AppendPrescribedDisplacements(5, "d", displacements));
    EXPECT_TRUE(Block(model, 172).HasRecord(INT_MAX));
    EXPECT_TRUE(Block(model, 174).HasRecord(INT_MAX));
    ExpectFailure([&] { model.AppendNodalForces(6, "f", forces); }, "", kModelTag,
                  "No id is left for a new nodal force: " + kNoneLeft);
    ExpectFailure([&] { model.AppendPrescribedDisplacements(6, "d", displacements); }, "",
                  kModelTag, "No id is left for a new prescribed displacement: " + kNoneLeft);
    EXPECT_FALSE(model.AppendNodalForces(5, "f", forces)); // an existing set needs no id
    counters = saved;
}

// A node group and an element group of one name get copies under new ids.
TEST(IdLimits, GroupCopiesForSharedNamesStopAtTheLargestId) {
    OnfModelFile model(L"unused.onf", nullptr);
    for (const int highest : {INT_MAX - 1, INT_MAX}) {
        OnfGroupsFile groups(L"unused.onf");
        groups.AppendNodeGroup(highest, "shared", {1});
        groups.AppendElementGroup(highest, "shared", {2});
        if (highest < INT_MAX) {
            groups.CheckIdenticalNames(&model);
            EXPECT_TRUE(Block(groups, 200).HasRecord(INT_MAX));
            EXPECT_TRUE(Block(groups, 210).HasRecord(INT_MAX));
            continue;
        }
        ExpectFailure([&] { groups.CheckIdenticalNames(&model); }, "",
                      "|%P|BrelonOnfEngine|OnfGroupsFile",
                      "No id is left for a new node group: " + kNoneLeft);
    }
}

// Blocks of one number merged on reading: a repeated id is renumbered above the highest.
TEST(IdLimits, MergedBlocksRenumberUpToTheLargestId) {
    const std::string block = "   -1\n200\n1\n2147483647, 1\nA\n1\n   -1\n"
                              "   -1\n200\n1\n2147483647, 1\nB\n2\n   -1\n";
    const std::wstring path = Put("merged.onf", block);
    OnfGroupsFile groups(path);
    ExpectFailure([&] { groups.Read(); }, "", "|%P|BrelonOnfEngine|BrelonOnfTxtDatabase",
                  "Error in ONF-file " + testing::TempDir() +
                      "id_limits_merged.onf, block 200:\nIts record 2147483647 repeats an id of "
                      "an earlier block of its number, and no id above 2147483647 is left to "
                      "give it.");

    OnfGroupsFile below(Put("merged_below.onf", "   -1\n200\n1\n2147483646, 1\nA\n1\n   -1\n"
                                                "   -1\n200\n1\n2147483646, 1\nB\n2\n   -1\n"));
    below.Read();
    EXPECT_TRUE(Block(below, 200).HasRecord(INT_MAX));
}

// Clustered materials take ids above every material of block 821, all or none.
TEST(IdLimits, ClusteredMaterialsNeedAllTheirIdsBelowTheLimit) {
    for (const int highest : {INT_MAX - 2, INT_MAX - 1}) {
        std::string text = "   -1\n821\n6\n";
        for (int id = highest - 5; id <= highest; ++id) {
            const std::string value = std::to_string(id - highest + 6);
            text += std::to_string(id) + ", 7, 1, T, M\n1, 0, 0, 1, 0\n" + value + ", " + value +
                    ", " + value + ", " + value + ", " + value + "\n";
        }
        OnfModifFile file(Put("materials.onf", text + "   -1\n"));
        file.Read();
        if (highest < INT_MAX - 1) {
            file.ReduceMaterials(2); // two clusters: ids 2147483646 and 2147483647
            EXPECT_TRUE(Block(file, 821).HasRecord(INT_MAX));
            continue;
        }
        ExpectFailure([&] { file.ReduceMaterials(2); }, "",
                      "|%P|BrelonOnfEngine|OnfMaterialsReducer",
                      "No ids are left for 2 new materials: they would follow id 2147483646, and "
                      "the largest a 32-bit id can be is 2147483647.");
        EXPECT_EQ(Block(file, 821).GetNumRecords(), 6u);
    }
}

} // namespace
