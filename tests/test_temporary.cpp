// The temporary exchange file: defaults of absent records, the loadcase map and matrix steps,
// special element sets, design response aliases, registered matrices, and files read back.
#include "OnfTemporaryFile.h"
#include "QSV_Failure.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <unistd.h>

namespace {

using Ints = std::vector<int>;
using Strings = std::vector<std::string>;

Ints Marlo(OnfTemporaryFile& temp, int id) {
    Ints v(4);
    temp.GetMarloLcId(id, v[0], v[1], v[2], v[3]);
    return v;
}

TEST(TemporaryFile, AbsentRecordsAnswerTheirDefaults) {
    OnfTemporaryFile temp;
    EXPECT_EQ(temp.GetRequestLcId(42), 42);
    EXPECT_EQ(temp.GetMatrixStep(1) + temp.GetMatrixStep(-1), 0);
    EXPECT_EQ(Marlo(temp, 3), (Ints{-1, -1, -1, -1}));
    std::string name = "old";
    temp.GetMatrixStepModelName(1, name);
    EXPECT_EQ(name, "");
    QSV_IntSetIntvl<int> set(Ints{1, 2});
    temp.GetSpecialMatrixElemSet(set);
    EXPECT_TRUE(set.IsEmpty());
}

TEST(TemporaryFile, LoadcasesAndMatrixSteps) {
    OnfTemporaryFile temp;
    temp.AppendLcResReq(10, 3, 1, 2);
    EXPECT_EQ(temp.GetRequestLcId(3), 10);
    temp.AppendLcResReq(11, 3, 5, 6);
    temp.AppendLcResReq(20, -4, 0, 0);
    std::map<int, int> map{{99, 99}};
    temp.GetLcMapZarnToCorvane(map);
    EXPECT_EQ(map, (std::map<int, int>{{-4, 20}, {3, 11}}));
    temp.AppendMarloLc(7, 1, 2, 3, 4);
    temp.AppendMarloLc(7, 5, 6, 7, 8);
    EXPECT_EQ(Marlo(temp, 7), (Ints{5, 6, 7, 8}));

    EXPECT_FALSE(temp.HasElementMatrixStep());
    temp.AppendMatrixStep(5, nullptr, 7);
    EXPECT_FALSE(temp.HasElementMatrixStep());
    temp.AppendMatrixStep(5, L"unmapped", 0);
    temp.AppendMatrixStep(3, L"mapp\u00e9d", 0);
    EXPECT_TRUE(temp.HasElementMatrixStep());
    std::vector<MatrixStepInfo> steps(1);
    temp.GetMatrixStepsInfo(steps);
    ASSERT_EQ(steps.size(), 3u);
    EXPECT_EQ((Ints{steps[0].requestLc, steps[1].requestLc, steps[2].requestLc}), (Ints{7, 5, 11}));
    EXPECT_EQ(steps[2].modelName, L"mapp\u00e9d");
    EXPECT_EQ(temp.GetMatrixStep(2), 5);
}

TEST(TemporaryFile, SpecialSetsAndAliases) {
    OnfTemporaryFile temp;
    EXPECT_EQ(temp.AddSpecialMatrixElemSet(QSV_IntSetIntvl<int>(Ints{9, 1, 2, 3, 7})), 1);
    EXPECT_EQ(temp.AddSpecialMatrixElemSet(QSV_IntSetIntvl<int>(Ints{100})), 2);
    QSV_IntSetIntvl<int> set;
    temp.GetSpecialMatrixElemSet(set);
    EXPECT_EQ(set, QSV_IntSetIntvl<int>(Ints{1, 2, 3, 7, 9}));

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
    Strings aliases{"x"};
    temp.GetDRespMappedNames("mass", aliases);
    EXPECT_EQ(aliases, (Strings{"m 1", "\"", "m2"}));
    BrelonStringsPool pool;
    pool.AddString("kept");
    temp.GetDRespMappedNamesPool("stress", pool);
    EXPECT_EQ(pool.Size(), 3u);
    EXPECT_NE(pool.FindString("m2"), 0);
}

TEST(TemporaryFile, WrittenFileReadsBackEqualButRegisteredMatricesStayInMemory) {
    const std::string text = testing::TempDir() + "temporary_roundtrip.onf";
    const std::wstring path(text.begin(), text.end());
    const QSV_OnfId stiffness = static_cast<QSV_OnfId>(590), mass = static_cast<QSV_OnfId>(591);
    OnfTemporaryFile written;
    written.AppendLcResReq(10, 3, 1, 2);
    written.AppendMarloLc(1, 4, 3, 2, 1);
    written.AppendMatrixStep(5, L"model one", 0);
    written.AddSpecialMatrixElemSet(QSV_IntSetIntvl<int>(Ints{4, 5, 6, 20}));
    written.AppendDRespNameMap("mass", {"\"m, 1\""});
    written.RegisterMatrices({stiffness, mass});
    written.UnregisterMatrices({mass, static_cast<QSV_OnfId>(592)});
    EXPECT_TRUE(written.MatrixRegistered(stiffness));
    EXPECT_FALSE(written.MatrixRegistered(mass));
    written.Write(path);

    OnfTemporaryFile read;
    read.Read(path);
    EXPECT_FALSE(read.MatrixRegistered(stiffness));
    EXPECT_EQ(read.GetRequestLcId(3), 10);
    EXPECT_EQ(Marlo(read, 1), (Ints{4, 3, 2, 1}));
    std::vector<MatrixStepInfo> steps;
    read.GetMatrixStepsInfo(steps);
    ASSERT_EQ(steps.size(), 1u);
    EXPECT_EQ(steps[0].modelName, L"model one");
    QSV_IntSetIntvl<int> set;
    read.GetSpecialMatrixElemSet(set);
    EXPECT_EQ(set, QSV_IntSetIntvl<int>(Ints{4, 5, 6, 20}));
    Strings aliases;
    read.GetDRespMappedNames("mass", aliases);
    EXPECT_EQ(aliases, Strings{"m, 1"});
    written.Read(path);
    EXPECT_TRUE(written.MatrixRegistered(stiffness));
    EXPECT_THROW(read.Read(path + L".missing"), QSV_Failure);
}

TEST(TemporaryFile, DefaultFileIs900InTheWorkingDirectoryAndMayBeMissing) {
    std::string dir = testing::TempDir() + "temporary_XXXXXX";
    ASSERT_NE(mkdtemp(&dir[0]), nullptr);
    char* previous = getcwd(nullptr, 0);
    ASSERT_EQ(chdir(dir.c_str()), 0);
    OnfTemporaryFile temp;
    temp.AppendLcResReq(1, 2, 0, 0);
    temp.Read();
    temp.Write();
    OnfTemporaryFile read;
    read.Read();
    EXPECT_EQ(read.GetRequestLcId(2), 1);
    EXPECT_EQ(chdir(previous), 0);
    std::free(previous);
    EXPECT_EQ(std::remove((dir + "/900.onf").c_str()), 0);
}

} // namespace
