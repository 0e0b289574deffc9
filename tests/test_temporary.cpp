// The temporary exchange file: the defaults of every lookup, the loadcase map and matrix steps,
// special element sets, design response aliases, registered matrices, and files read back.
#include "OnfTemporaryFile.h"
#include "QSV_Failure.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <initializer_list>
#include <set>
#include <string>
#include <unistd.h>

namespace {

std::wstring Wide(const std::string& text) {
    return std::wstring(text.begin(), text.end());
}

std::set<QSV_OnfId> Ids(std::initializer_list<int> ids) {
    std::set<QSV_OnfId> set;
    for (int id : ids) {
        set.insert(static_cast<QSV_OnfId>(id));
    }
    return set;
}
const QSV_OnfId kStiffness = static_cast<QSV_OnfId>(590);
const QSV_OnfId kMass = static_cast<QSV_OnfId>(591);

QSV_IntSetIntvl<int> Set(const std::vector<int>& values) {
    return QSV_IntSetIntvl<int>(values);
}

TEST(TemporaryFile, LookupsOfAbsentRecordsAnswerTheirDefaults) {
    OnfTemporaryFile temp;
    EXPECT_EQ(temp.GetRequestLcId(42), 42);
    EXPECT_EQ(temp.GetMatrixStep(1), 0);
    EXPECT_EQ(temp.GetMatrixStep(-1), 0);
    int a = 0, b = 0, c = 0, d = 0;
    temp.GetMarloLcId(3, a, b, c, d);
    EXPECT_EQ((std::vector<int>{a, b, c, d}), (std::vector<int>{-1, -1, -1, -1}));
    std::string name = "old";
    temp.GetMatrixStepModelName(1, name);
    EXPECT_EQ(name, "");
    EXPECT_FALSE(temp.HasElementMatrixStep());
    QSV_IntSetIntvl<int> set = Set({1, 2});
    temp.GetSpecialMatrixElemSet(set);
    EXPECT_TRUE(set.IsEmpty());
    std::vector<std::string> aliases{"x"};
    temp.GetDRespMappedNames("n", aliases);
    EXPECT_TRUE(aliases.empty());
}

TEST(TemporaryFile, LoadcaseMapIsKeyedByTheSolverLoadcase) {
    OnfTemporaryFile temp;
    temp.AppendLcResReq(10, 3, 1, 2);
    EXPECT_EQ(temp.GetRequestLcId(3), 10);
    EXPECT_EQ(temp.GetRequestLcId(10), 10);
    temp.AppendLcResReq(11, 3, 5, 6);
    temp.AppendLcResReq(20, -4, 0, 0);
    std::map<int, int> map{{99, 99}};
    temp.GetLcMapZarnToCorvane(map);
    EXPECT_EQ(map, (std::map<int, int>{{-4, 20}, {3, 11}}));
    const OnfConstObject record = temp.GetConstObject(static_cast<QSV_OnfId>(900), 3);
    EXPECT_EQ(OnfBlock::GetInt(record, QSV_DataRecordItem::ItemLcResReqB), 6);

    temp.AppendMarloLc(7, 1, 2, 3, 4);
    temp.AppendMarloLc(7, 5, 6, 7, 8);
    int a = 0, b = 0, c = 0, d = 0;
    temp.GetMarloLcId(7, a, b, c, d);
    EXPECT_EQ((std::vector<int>{a, b, c, d}), (std::vector<int>{5, 6, 7, 8}));
}

TEST(TemporaryFile, MatrixStepsTakeTheirRequestLoadcaseFromKindOrMap) {
    OnfTemporaryFile temp;
    temp.AppendMatrixStep(5, L"explicit", 7);
    temp.AppendMatrixStep(5, L"unmapped", 0);
    temp.AppendMatrixStep(6, L"mapp\u00e9d", 0);
    temp.AppendLcResReq(60, 6, 0, 0);
    EXPECT_TRUE(temp.HasElementMatrixStep());
    std::vector<MatrixStepInfo> steps(1);
    temp.GetMatrixStepsInfo(steps);
    ASSERT_EQ(steps.size(), 3u);
    EXPECT_EQ(steps[0].requestLc, 7);
    EXPECT_EQ(steps[1].requestLc, 5);
    EXPECT_EQ(steps[2].requestLc, 60);
    EXPECT_EQ(steps[2].modelName, L"mapp\u00e9d");
    std::string name;
    temp.GetMatrixStepModelName(3, name);
    EXPECT_EQ(name, "mapp\xc3\xa9"
                    "d");
    EXPECT_EQ(temp.GetMatrixStep(2), 5);

    OnfTemporaryFile explicitOnly;
    explicitOnly.AppendMatrixStep(1, nullptr, 2);
    EXPECT_FALSE(explicitOnly.HasElementMatrixStep());
}

TEST(TemporaryFile, OnlyTheFirstSpecialElementSetIsReadBack) {
    OnfTemporaryFile temp;
    EXPECT_EQ(temp.AddSpecialMatrixElemSet(Set({9, 1, 2, 3, 7})), 1);
    EXPECT_EQ(temp.AddSpecialMatrixElemSet(Set({100})), 2);
    QSV_IntSetIntvl<int> set;
    temp.GetSpecialMatrixElemSet(set);
    EXPECT_EQ(set, Set({1, 2, 3, 7, 9}));
}

TEST(TemporaryFile, AliasesComeBackUnquotedAndALaterAliasWins) {
    OnfTemporaryFile temp;
    temp.AppendDRespNameMap("mass", {});
    EXPECT_EQ(temp.GetBlock(static_cast<QSV_OnfId>(950)).GetNumRecords(), 0u);
    temp.AppendDRespNameMap("mass", {"\"m 1\"", "\"", "m2"});
    temp.AppendDRespNameMap("stress", {"m2", "\"\""});
    temp.AppendDRespNameMap("Mass", {"other"});

    std::map<std::string, std::string> map;
    temp.GetDRespAliasesMap(map);
    EXPECT_EQ(
        map,
        (std::map<std::string, std::string>{
            {"m 1", "mass"}, {"\"", "mass"}, {"m2", "stress"}, {"", "stress"}, {"other", "Mass"}}));
    std::vector<std::string> aliases;
    temp.GetDRespMappedNames("mass", aliases);
    EXPECT_EQ(aliases, (std::vector<std::string>{"m 1", "\"", "m2"}));
    // The alias is stored as given, quotes and all.
    const OnfConstObject first = temp.GetConstObject(static_cast<QSV_OnfId>(950), 1);
    EXPECT_STREQ(OnfBlock::GetString(first, QSV_DataRecordItem::ItemDRespAlias), "\"m 1\"");

    BrelonStringsPool pool;
    pool.AddString("kept");
    temp.GetDRespMappedNamesPool("stress", pool);
    EXPECT_EQ(pool.Size(), 3u);
    EXPECT_NE(pool.FindString("m2"), 0);
    EXPECT_NE(pool.FindString(""), 0);
}

TEST(TemporaryFile, WrittenFileReadsBackEqualButRegisteredMatricesStayInMemory) {
    const std::string path = testing::TempDir() + "temporary_roundtrip.onf";
    OnfTemporaryFile written;
    written.AppendLcResReq(10, 3, 1, 2);
    written.AppendMarloLc(1, 4, 3, 2, 1);
    written.AppendMatrixStep(5, L"model one", 0);
    written.AddSpecialMatrixElemSet(Set({4, 5, 6, 20}));
    written.AppendDRespNameMap("mass", {"\"m, 1\""});
    written.RegisterMatrices(Ids({590, 591}));
    written.RegisterMatrix(kStiffness);
    written.UnregisterMatrices(Ids({591, 592}));
    EXPECT_TRUE(written.MatrixRegistered(kStiffness));
    EXPECT_FALSE(written.MatrixRegistered(kMass));
    written.Write(Wide(path));

    OnfTemporaryFile read;
    read.Read(Wide(path));
    EXPECT_FALSE(read.MatrixRegistered(kStiffness));
    EXPECT_EQ(read.GetRequestLcId(3), 10);
    int a = 0, b = 0, c = 0, d = 0;
    read.GetMarloLcId(1, a, b, c, d);
    EXPECT_EQ((std::vector<int>{a, b, c, d}), (std::vector<int>{4, 3, 2, 1}));
    std::vector<MatrixStepInfo> steps;
    read.GetMatrixStepsInfo(steps);
    ASSERT_EQ(steps.size(), 1u);
    EXPECT_EQ(steps[0].modelName, L"model one");
    EXPECT_EQ(steps[0].requestLc, 5);
    QSV_IntSetIntvl<int> set;
    read.GetSpecialMatrixElemSet(set);
    EXPECT_EQ(set, Set({4, 5, 6, 20}));
    std::vector<std::string> aliases;
    read.GetDRespMappedNames("mass", aliases);
    EXPECT_EQ(aliases, std::vector<std::string>{"m, 1"});

    written.Read(Wide(path));
    EXPECT_TRUE(written.MatrixRegistered(kStiffness));
    EXPECT_THROW(read.Read(Wide(path + ".missing")), QSV_Failure);
}

// The default file lies in the working directory: a missing one reads as nothing.
TEST(TemporaryFile, DefaultFileIs900InTheWorkingDirectory) {
    std::string dir = testing::TempDir() + "temporary_XXXXXX";
    ASSERT_NE(mkdtemp(&dir[0]), nullptr);
    char* previous = getcwd(nullptr, 0);
    ASSERT_EQ(chdir(dir.c_str()), 0);
    OnfTemporaryFile temp;
    temp.AppendLcResReq(1, 2, 0, 0);
    temp.Read();
    EXPECT_EQ(temp.GetRequestLcId(2), 1);
    temp.Write();
    OnfTemporaryFile read;
    read.Read();
    EXPECT_EQ(read.GetRequestLcId(2), 1);
    EXPECT_EQ(chdir(previous), 0);
    std::free(previous);
    EXPECT_EQ(std::remove((dir + "/900.onf").c_str()), 0);
}

} // namespace
