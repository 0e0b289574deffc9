// The groups file: appending with its name checks, suite groups, the repair of repeated names on
// reading, copies for names that a node and an element group share, and files read back equal.
#include "LogCapture.h"
#include "OnfGroupsFile.h"
#include "QSV_Failure.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

namespace {

using onf_test::LogCapture;
using QSV_LogMacros::LOG_INFO;
using QSV_LogMacros::LOG_WARNING;
using namespace QSV_DataRecordItem;

const QSV_OnfId kNodes = static_cast<QSV_OnfId>(200);
const QSV_OnfId kElements = static_cast<QSV_OnfId>(210);
const std::string kTag = "|%P|BrelonOnfEngine|OnfGroupsFile";

std::wstring TempFile(const std::string& name) {
    const std::string path = testing::TempDir() + "groups_" + name + ".onf";
    return std::wstring(path.begin(), path.end());
}

void WriteText(const std::wstring& name, const std::string& text) {
    std::ofstream(std::string(name.begin(), name.end()), std::ios::binary) << text;
}

// A group block; each group is (id, name, members as list text).
struct GroupText {
    int id;
    std::string name;
    std::string members;
};
std::string GroupBlock(QSV_OnfId block, const std::vector<GroupText>& groups) {
    std::string text =
        "   -1\n" + std::to_string(block) + "\n" + std::to_string(groups.size()) + "\n";
    for (const GroupText& g : groups) {
        text += std::to_string(g.id) + ", 1\n" + g.name + "\n" + g.members + "\n";
    }
    return text + "   -1\n";
}

// Names of the block's groups in index order.
std::vector<std::string> Names(const OnfGroupsFile& file, QSV_OnfId block) {
    const OnfBlock& groups = file.GetBlock(block);
    std::vector<std::string> names;
    for (long long i = 0; i <= groups.GetMaxIndex(); ++i) {
        if (groups.HasRecord(static_cast<size_t>(i))) {
            names.push_back(groups.GetString(static_cast<size_t>(i), GROUP_ITEM_NAME));
        }
    }
    return names;
}

const std::vector<int>& Members(const OnfGroupsFile& file, QSV_OnfId block, int id) {
    return OnfBlock::GetIntList(file.GetConstObject(block, id), GROUP_ITEM_MEMBERS);
}

// The walk of CheckIdenticalNames needs a model only to be present.
OnfModelFile* SomeModel() {
    static int model;
    return reinterpret_cast<OnfModelFile*>(&model);
}

TEST(GroupsFile, SameNameNeedsTheSameSequenceInTheSameOrder) {
    OnfGroupsFile file(L"unused.onf");
    LogCapture log;
    file.AppendNodeGroup(1, "A", {3, 1, 2});
    file.AppendNodeGroup(2, "A", {3, 1, 2});
    EXPECT_EQ(file.GetBlock(kNodes).GetNumRecords(), 1u);
    EXPECT_TRUE(log.lines.empty());
    EXPECT_EQ(Members(file, kNodes, 1), (std::vector<int>{3, 1, 2}));
    EXPECT_EQ(OnfBlock::GetInt(file.GetConstObject(kNodes, 1), GROUP_ITEM_SIZE), 3);

    const struct {
        QSV_OnfId block;
        std::string message;
    } cases[] = {
        {kNodes, "Duplicated node group 'A', having different node sequence"},
        {kElements, "Duplicated element group 'A', having different element sequence"},
    };
    file.AppendElementGroup(1, "A", {3, 1, 2});
    for (const auto& c : cases) {
        try {
            if (c.block == kNodes) {
                file.AppendNodeGroup(5, "A", {1, 2, 3});
            } else {
                file.AppendElementGroup(5, "A", {1, 2, 3});
            }
            ADD_FAILURE() << "no failure for " << c.message;
        } catch (const QSV_Failure& failure) {
            EXPECT_EQ(failure.GetMessage(), c.message);
            EXPECT_EQ(failure.GetLogTag(), kTag);
            EXPECT_EQ(failure.GetId(), "");
        }
    }
    setenv("BRELON_ACCEPT_INCONSISTENT_GROUPS", "yes", 1);
    file.AppendNodeGroup(5, "A", {1, 2, 3});
    unsetenv("BRELON_ACCEPT_INCONSISTENT_GROUPS");
    EXPECT_EQ(Members(file, kNodes, 1), (std::vector<int>{3, 1, 2}));
    EXPECT_FALSE(file.GetBlock(kNodes).HasRecord(5));
}

TEST(GroupsFile, AnIdInUseDropsTheGroupWithAWarning) {
    OnfGroupsFile file(L"unused.onf");
    file.AppendNodeGroup(1, "A", {1});
    file.AppendElementGroup(1, "E", {1});
    LogCapture log;
    file.AppendNodeGroup(1, "B", {2});
    file.AppendElementGroup(1, "F", {2});
    EXPECT_EQ(log.Count(LOG_WARNING, " Node Group 'B' was not inserted into the database "), 1u);
    EXPECT_EQ(log.Count(LOG_WARNING, " Element Group 'F' was not inserted into the database "), 1u);
    EXPECT_EQ(Names(file, kNodes), std::vector<std::string>{"A"});
    EXPECT_EQ(Names(file, kElements), std::vector<std::string>{"E"});
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

    EXPECT_EQ(Names(file, kNodes), (std::vector<std::string>{"N1", "N2"}));
    EXPECT_EQ(Members(file, kNodes, 0), std::vector<int>{20});
    EXPECT_EQ(Members(file, kNodes, 1), (std::vector<int>{30, 10}));
    EXPECT_EQ(Members(file, kElements, 0), (std::vector<int>{11, 21, 31}));
    EXPECT_EQ(file.GetGroupMaxId(kNodes), 1);
    EXPECT_EQ(file.GetGroupMaxId(kElements), 0);
    EXPECT_EQ(file.GetBlock(kNodes).GetNumRecords() + file.GetBlock(kElements).GetNumRecords(), 3u);
}

TEST(GroupsFile, ReadRenamesRepeatedNamesOnlyInAFileOfMoreThanTwoBlocks) {
    const std::wstring name = TempFile("rename");
    WriteText(name, GroupBlock(kNodes, {{1, "A", "1"}, {2, "A_001", "2"}, {3, "A", "3"}}) +
                        GroupBlock(kNodes, {{1, "A", "4"}, {9, "B", "5"}}) +
                        GroupBlock(kElements, {{1, "A", "1"}, {2, "A", "2"}}));
    OnfGroupsFile file(name);
    LogCapture log;
    file.Read();
    // The second block's ids were indexed when it was loaded: 9 before the renumbered 4.
    EXPECT_EQ(Names(file, kNodes), (std::vector<std::string>{"A", "A_001", "A_002", "B", "A_003"}));
    EXPECT_TRUE(log.Has(QSV_LogMacros::LOG_DETAIL, "Checking for duplicated group names"));
    EXPECT_TRUE(log.Has(QSV_LogMacros::LOG_DETAIL, "element group names"));
    EXPECT_EQ(Names(file, kElements), (std::vector<std::string>{"A", "A_001"}));
    EXPECT_EQ(log.Count(LOG_WARNING, "Duplicated group name 'A' found. The group name will be "
                                     "replaced by 'A_002'"),
              1u);
    // The clashing id 1 of the second block took the highest id plus 1.
    EXPECT_EQ(Members(file, kNodes, 4), std::vector<int>{4});

    WriteText(name, GroupBlock(kNodes, {{1, "A", "1"}, {2, "A", "2"}}) +
                        GroupBlock(kElements, {{1, "A", "1"}}));
    OnfGroupsFile plain(name);
    plain.Read();
    EXPECT_EQ(Names(plain, kNodes), (std::vector<std::string>{"A", "A"}));
}

TEST(GroupsFile, ANameRepeatedThousandsOfTimesGetsDistinctNames) {
    std::vector<GroupText> many;
    for (int id = 1; id <= 1200; ++id) {
        many.push_back({id, "R", std::to_string(id)});
    }
    const std::wstring name = TempFile("many");
    WriteText(name,
              GroupBlock(kNodes, many) + GroupBlock(kElements, {}) + GroupBlock(kElements, {}));
    OnfGroupsFile file(name);
    LogCapture log;
    file.Read();
    const std::vector<std::string> names = Names(file, kNodes);
    ASSERT_EQ(names.size(), 1200u);
    EXPECT_EQ(names[1], "R_001");
    EXPECT_EQ(names[999], "R_999");
    EXPECT_EQ(names[1000], "R_1000");
    EXPECT_EQ(names[1199], "R_1199");
}

TEST(GroupsFile, ANameOfBothKindsGetsACopyOfEachGroup) {
    OnfGroupsFile file(L"unused.onf");
    file.AppendNodeGroup(4, "W", {1, 2});
    file.AppendNodeGroup(5, "\"Q\"", {3});
    file.AppendNodeGroup(6, "only_nodes", {4});
    file.AppendElementGroup(2, "W", {7});
    file.AppendElementGroup(3, "\"Q\"", {8, 9});
    file.CheckIdenticalNames(nullptr);
    EXPECT_EQ(file.GetBlock(kNodes).GetNumRecords(), 3u);

    LogCapture log;
    file.CheckIdenticalNames(SomeModel());
    // Node ids go on from the last one. The element block's last id in index order is 3, but
    // the ids of both kinds share one index space, so the second copy finds 4 taken.
    const struct {
        QSV_OnfId block;
        int id;
        std::string name;
        std::vector<int> members;
    } copies[] = {
        {kNodes, 7, "W_NODE", {1, 2}},
        {kNodes, 8, "\"Q_NODE\"", {3}},
        {kElements, 4, "W_ELEM", {7}},
        {kElements, 5, "\"Q_ELEM\"", {8, 9}},
    };
    for (const auto& c : copies) {
        const OnfConstObject copy = file.GetConstObject(c.block, c.id);
        EXPECT_EQ(OnfBlock::GetString(copy, GROUP_ITEM_NAME), c.name);
        EXPECT_EQ(OnfBlock::GetIntList(copy, GROUP_ITEM_MEMBERS), c.members);
    }
    EXPECT_EQ(file.GetBlock(kNodes).GetNumRecords(), 5u);
    EXPECT_EQ(file.GetBlock(kElements).GetNumRecords(), 4u);
    EXPECT_TRUE(log.Has(LOG_INFO, "Creating a copy of elements group \"\"Q\"\" as \"\"Q_ELEM\"\""));
    EXPECT_TRUE(log.Has(LOG_INFO, "Creating a copy of nodes group \"W\" as \"W_NODE\""));
    EXPECT_EQ(log.lines.size(), 4u);
}

TEST(GroupsFile, WrittenGroupsReadBackEqualAndCopyFromAnotherDatabase) {
    const std::wstring name = TempFile("roundtrip");
    OnfGroupsFile source(name);
    source.AppendNodeGroup(1, "left side", {5, 3, 9});
    source.AppendNodeGroup(8, "empty", {});
    source.AppendElementGroup(2, "\"quoted\"", {100, 200});
    {
        LogCapture log;
        source.Write();
        EXPECT_TRUE(
            log.Has(LOG_INFO, "Writing ONF group file " + std::string(name.begin(), name.end())));
    }
    OnfGroupsFile read(name);
    read.Read();
    OnfGroupsFile copied(L"unused.onf");
    copied.LoadFromDb(source, -1);
    for (const OnfGroupsFile* file : {&read, &copied}) {
        EXPECT_EQ(Names(*file, kNodes), (std::vector<std::string>{"left side", "empty"}));
        EXPECT_EQ(Names(*file, kElements), std::vector<std::string>{"\"quoted\""});
        EXPECT_EQ(Members(*file, kNodes, 1), (std::vector<int>{5, 3, 9}));
        EXPECT_TRUE(Members(*file, kNodes, 8).empty());
        EXPECT_EQ(Members(*file, kElements, 2), (std::vector<int>{100, 200}));
        EXPECT_EQ(OnfBlock::GetInt(file->GetConstObject(kNodes, 1), GROUP_ITEM_SIZE), 3);
    }
}

} // namespace
