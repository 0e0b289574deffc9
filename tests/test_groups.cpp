// The groups file: name checks on appending, suite groups, the repair of repeated names on
// reading, copies for names that a node and an element group share, and files read back equal.
#include "LogCapture.h"
#include "OnfGroupsFile.h"
#include "QSV_Failure.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <fstream>
#include <tuple>

namespace {

using namespace QSV_DataRecordItem;
using QSV_LogMacros::LOG_INFO;
using QSV_LogMacros::LOG_WARNING;
using Strings = std::vector<std::string>;
using Ints = std::vector<int>;

const QSV_OnfId kNodes = static_cast<QSV_OnfId>(200);
const QSV_OnfId kElements = static_cast<QSV_OnfId>(210);

std::wstring WriteFile(const std::string& name, const std::string& text) {
    const std::string path = testing::TempDir() + "groups_" + name + ".onf";
    std::ofstream(path, std::ios::binary) << text;
    return std::wstring(path.begin(), path.end());
}

// A group block of (id, name, member list text) records.
std::string GroupBlock(QSV_OnfId block, const std::vector<std::array<std::string, 3>>& groups) {
    std::string text = "   -1\n" + std::to_string(block) + "\n" + std::to_string(groups.size());
    for (const auto& g : groups) {
        text += "\n" + g[0] + ", 1\n" + g[1] + "\n" + g[2];
    }
    return text + "\n   -1\n";
}

Strings Names(const OnfGroupsFile& file, QSV_OnfId block) {
    const OnfBlock& groups = file.GetBlock(block);
    Strings names;
    for (long long i = 0; i <= groups.GetMaxIndex(); ++i) {
        if (groups.HasRecord(static_cast<size_t>(i))) {
            names.push_back(groups.GetString(static_cast<size_t>(i), GROUP_ITEM_NAME));
        }
    }
    return names;
}

const Ints& Members(const OnfGroupsFile& file, QSV_OnfId block, int id) {
    return OnfBlock::GetIntList(file.GetConstObject(block, id), GROUP_ITEM_MEMBERS);
}

TEST(GroupsFile, AppendingChecksTheSequenceOfANameAndTheId) {
    OnfGroupsFile file(L"unused.onf");
    onf_test::LogCapture log;
    for (QSV_OnfId block : {kNodes, kElements}) {
        const bool nodes = block == kNodes;
        auto append = [&](int id, const std::string& name, const Ints& members) {
            nodes ? file.AppendNodeGroup(id, name, members)
                  : file.AppendElementGroup(id, name, members);
        };
        const size_t lines = log.lines.size();
        append(1, "A", {3, 1, 2});
        append(2, "A", {3, 1, 2});
        EXPECT_EQ(log.lines.size(), lines);
        EXPECT_EQ(OnfBlock::GetInt(file.GetConstObject(block, 1), GROUP_ITEM_SIZE), 3);
        try {
            append(5, "A", {1, 2, 3});
            ADD_FAILURE() << "the same members in another order were accepted";
        } catch (const QSV_Failure& failure) {
            EXPECT_EQ(failure.GetMessage(),
                      nodes ? "Duplicated node group 'A', having different node sequence"
                            : "Duplicated element group 'A', having different element sequence");
            EXPECT_EQ(failure.GetLogTag(), "|%P|BrelonOnfEngine|OnfGroupsFile");
            EXPECT_EQ(failure.GetId(), "");
        }
        setenv("BRELON_ACCEPT_INCONSISTENT_GROUPS", "yes", 1);
        append(5, "A", {1, 2, 3});
        unsetenv("BRELON_ACCEPT_INCONSISTENT_GROUPS");
        append(1, "B", {2});
        EXPECT_EQ(Names(file, block), Strings{"A"});
        EXPECT_EQ(Members(file, block, 1), (Ints{3, 1, 2}));
    }
    EXPECT_EQ(log.Count(LOG_WARNING, " Node Group 'B' was not inserted into the database "), 1u);
    EXPECT_EQ(log.Count(LOG_WARNING, " Element Group 'B' was not inserted into the database "), 1u);
}

TEST(GroupsFile, SuiteGroupsTakeIdsFromZeroAndMemberIdsFromThePool) {
    BrelonOnfIdMapsPool pool;
    for (int id : {10, 20, 30}) {
        pool.GetIdMap(ID_NODE).AddId(id);
        pool.GetIdMap(ID_ELEMENT).AddId(id + 1);
    }
    QSV_GroupMap groups;
    groups.AddGroup(QSV_Group("N2", ITEM_TYPE_NODE, {2, 0}));
    groups.AddGroup(QSV_Group("N1", ITEM_TYPE_NODE, {1}));
    groups.AddGroup(QSV_Group("E1", ITEM_TYPE_ELEMENT, {0, 1, 2}));
    OnfGroupsFile file(L"unused.onf", pool);
    file.AppendGroups(groups, pool);
    file.AppendGroup(7, QSV_Group("X", static_cast<QSV_ItemType>(1), {0}), pool);

    EXPECT_EQ(file.GetHeader(), "ONF groups file");
    EXPECT_EQ(OnfGroupsFile(L"unused.onf").GetHeader(), "ONF groups file");
    EXPECT_EQ(Names(file, kNodes), (Strings{"N1", "N2"}));
    EXPECT_EQ(Members(file, kNodes, 1), (Ints{30, 10}));
    EXPECT_EQ(Members(file, kElements, 0), (Ints{11, 21, 31}));
    EXPECT_EQ(file.GetGroupMaxId(kNodes) + file.GetGroupMaxId(kElements), 1);
}

TEST(GroupsFile, ReadRenamesRepeatedNamesOnlyInAFileOfMoreThanTwoBlocks) {
    OnfGroupsFile file(WriteFile(
        "rename", GroupBlock(kNodes, {{"1", "A", "1"}, {"2", "A_001", "2"}, {"3", "A", "3"}}) +
                      GroupBlock(kNodes, {{"1", "A", "4"}, {"9", "B", "5"}}) +
                      GroupBlock(kElements, {{"1", "A", "1"}, {"2", "A", "2"}})));
    onf_test::LogCapture log;
    file.Read();
    // The second block's ids were indexed when it was loaded: 9 before the renumbered 4.
    EXPECT_EQ(Names(file, kNodes), (Strings{"A", "A_001", "A_002", "B", "A_003"}));
    EXPECT_EQ(Members(file, kNodes, 4), Ints{4});
    EXPECT_EQ(Names(file, kElements), (Strings{"A", "A_001"}));
    EXPECT_TRUE(log.Has(LOG_WARNING, "Duplicated group name 'A' found. The group name will be "
                                     "replaced by 'A_002'"));
    EXPECT_TRUE(log.Has(QSV_LogMacros::LOG_DETAIL, "element group names"));

    OnfGroupsFile plain(WriteFile("plain", GroupBlock(kNodes, {{"1", "A", "1"}, {"2", "A", "2"}}) +
                                               GroupBlock(kElements, {})));
    plain.Read();
    EXPECT_EQ(Names(plain, kNodes), (Strings{"A", "A"}));
}

TEST(GroupsFile, ANameRepeatedThousandsOfTimesGetsDistinctNames) {
    std::vector<std::array<std::string, 3>> many;
    for (int id = 1; id <= 1200; ++id) {
        many.push_back({std::to_string(id), "R", "1"});
    }
    OnfGroupsFile file(WriteFile("many", GroupBlock(kNodes, many) + GroupBlock(kElements, {}) +
                                             GroupBlock(kElements, {})));
    onf_test::LogCapture log;
    file.Read();
    const Strings names = Names(file, kNodes);
    ASSERT_EQ(names.size(), 1200u);
    EXPECT_EQ((Strings{names[1], names[999], names[1000], names[1199]}),
              (Strings{"R_001", "R_999", "R_1000", "R_1199"}));
}

TEST(GroupsFile, ANameOfBothKindsGetsACopyOfEachGroup) {
    OnfGroupsFile file(L"unused.onf");
    file.AppendNodeGroup(4, "W", {1, 2});
    file.AppendNodeGroup(5, "\"Q\"", {3});
    file.AppendNodeGroup(6, "only_nodes", {4});
    file.AppendElementGroup(2, "W", {7});
    file.AppendElementGroup(3, "\"Q\"", {8, 9});
    file.CheckIdenticalNames(nullptr);
    onf_test::LogCapture log;
    static int model; // the walk needs a model only to be present
    file.CheckIdenticalNames(reinterpret_cast<OnfModelFile*>(&model));
    // Node ids go on from the last one. The element block's last id in index order is 3, but
    // both kinds share one id space, so the second copy finds 4 taken and takes 5.
    const std::tuple<QSV_OnfId, int, std::string, Ints> copies[] = {
        {kNodes, 7, "W_NODE", {1, 2}},
        {kNodes, 8, "\"Q_NODE\"", {3}},
        {kElements, 4, "W_ELEM", {7}},
        {kElements, 5, "\"Q_ELEM\"", {8, 9}},
    };
    for (const auto& [block, id, name, members] : copies) {
        EXPECT_EQ(OnfBlock::GetString(file.GetConstObject(block, id), GROUP_ITEM_NAME), name);
        EXPECT_EQ(Members(file, block, id), members);
    }
    EXPECT_EQ(file.GetBlock(kNodes).GetNumRecords(), 5u);
    EXPECT_EQ(file.GetBlock(kElements).GetNumRecords(), 4u);
    EXPECT_TRUE(log.Has(LOG_INFO, "Creating a copy of elements group \"\"Q\"\" as \"\"Q_ELEM\"\""));
    EXPECT_TRUE(log.Has(LOG_INFO, "Creating a copy of nodes group \"W\" as \"W_NODE\""));
    EXPECT_EQ(log.lines.size(), 4u);
}

TEST(GroupsFile, WrittenGroupsReadBackEqualAndCopyFromAnotherDatabase) {
    const std::wstring name = WriteFile("roundtrip", "");
    OnfGroupsFile source(name);
    source.AppendNodeGroup(1, "left side", {5, 3, 9});
    source.AppendNodeGroup(8, "empty", {});
    source.AppendElementGroup(2, "\"quoted\"", {100, 200});
    onf_test::LogCapture log;
    source.Write();
    EXPECT_TRUE(
        log.Has(LOG_INFO, "Writing ONF group file " + std::string(name.begin(), name.end())));
    OnfGroupsFile read(name);
    read.Read();
    OnfGroupsFile copied(L"unused.onf");
    copied.LoadFromDb(source, -1);
    for (const OnfGroupsFile* file : {&read, &copied}) {
        EXPECT_EQ(Names(*file, kNodes), (Strings{"left side", "empty"}));
        EXPECT_EQ(Names(*file, kElements), Strings{"\"quoted\""});
        EXPECT_EQ(Members(*file, kNodes, 1), (Ints{5, 3, 9}));
        EXPECT_TRUE(Members(*file, kNodes, 8).empty());
        EXPECT_EQ(Members(*file, kElements, 2), (Ints{100, 200}));
    }
}

} // namespace
