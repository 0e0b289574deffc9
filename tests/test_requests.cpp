// The result request file: the symbolic loadcases and substeps against registered numbers, the
// edges where the map and block queries differ, details and their failures, sensitivity
// orientations and set merging, time points, and a file written and read back.
#include "FailureExpect.h"
#include "OnfResultRequestFile.h"
#include "QSV_Failure.h"

#include <gtest/gtest.h>

#include <fstream>
#include <functional>
#include <map>
#include <string>
#include <type_traits>
#include <vector>

namespace {

using onf_test::ExpectFailure;
using Request = OnfResultRequestFile::ResultRequest;
using OnfSensitivity::SensitivityRequest;

// Callers point a request at a system of their own, which they may go on changing.
static_assert(
    std::is_same_v<decltype(SensitivityRequest::coordinate_system), BrelonCoordinateSystem*>);
// The count of matrix request blocks has a spelling of its own beside the class member.
static_assert(NUM_MATRIX_RR_ONF == OnfResultRequestFile::NUM_MATRIX_RR_ONF);

const std::string kTag = "|%P|BrelonOnfEngine|OnfResultRequestFile";
const OnfAnalysisType kAny = ONF_ANALYSIS_ANY;

QSV_OnfId Block(int id) {
    return static_cast<QSV_OnfId>(id);
}

std::wstring TempFile(const std::string& name) {
    const std::string path = testing::TempDir() + "requests_" + name + ".onf";
    return std::wstring(path.begin(), path.end());
}

// One record of block 400: key, target, analysis, loadcase, substep, time flag, the reference
// list as text, time.
std::string Rr(int key, int target, int analysis, int loadcase, int substep, int timeFlag = 0,
               const std::string& refs = "", double time = 0.0) {
    return std::to_string(key) + ", " + std::to_string(target) + ", " + std::to_string(analysis) +
           ", " + std::to_string(loadcase) + ", " + std::to_string(substep) + ", 1, " +
           std::to_string(timeFlag) + "\n" + refs + "\n" + std::to_string(time) + "\n";
}

// One record of block 440 over a node set and an element set ("-" for none) with a system
// type (-1 for none) and the z axis; origin 0 and x axis (1, 0, 0).
std::string Sr(int key, const std::string& name, int type, const std::string& nodeSet,
               const std::string& elementSet, int csType = -1, const std::string& z = "0, 0, 1",
               const std::string& outputs = "1, 2") {
    return std::to_string(key) + ", " + name + ", LABEL\n" + outputs + "\n" + std::to_string(type) +
           ", 0, " + (nodeSet == "-" ? "0" : "1") + ", " + (elementSet == "-" ? "0" : "1") + ", " +
           nodeSet + ", " + elementSet + ", " + std::to_string(csType) + "\n0, 0, 0\n" + z +
           "\n1, 0, 0\n";
}

std::string Blk(int number, int count, const std::string& records) {
    return "   -1\n" + std::to_string(number) + "\n" + std::to_string(count) + "\n" + records +
           "   -1\n";
}

// A request file of the given text, read.
struct ReadFile {
    explicit ReadFile(const std::string& name, const std::string& text) : file(TempFile(name)) {
        const std::wstring path = TempFile(name);
        std::ofstream(std::string(path.begin(), path.end()), std::ios::binary) << text;
    }
    OnfResultRequestFile file;
};

Request MakeRequest(int loadcase, int substep, int analysis = -1) {
    Request request;
    request.loadcase = loadcase;
    request.substep = substep;
    request.analysis_type = analysis;
    return request;
}

TEST(RequestQueries, SymbolicLoadcasesAndSubstepsAgainstRegisteredNumbers) {
    const struct {
        int loadcase, substep;    // of the request
        int qLoadcase, qSubstep;  // of the query
        bool withSubstep, wanted; // four-argument query; expected answer
    } rows[] = {
        {-2, -1, 1, 5, true, true},   {-2, -1, 3, 5, true, false}, {-3, -1, 7, 5, true, true},
        {-3, -1, -3, 5, true, false}, {-2, -1, -1, 5, true, true}, {-4, -1, -4, 5, true, true},
        {-4, -1, 1, 5, true, false},  {-1, -2, 3, 10, true, true}, {-1, -3, 3, 20, true, true},
        {-1, -3, 3, 10, true, false}, {-1, -2, 7, 1, true, false}, {-1, -3, 7, 1, false, true},
        {-1, -2, 4, 1, true, false},  {-1, -2, 4, -1, true, true}, {5, 6, 5, 6, true, true},
        {5, 6, 5, 7, true, false},    {5, 6, 5, 7, false, true},   {-1, 8, 2, -3, true, false},
    };
    for (const auto& row : rows) {
        OnfResultRequestFile one(L"unused.onf");
        one.RegisterSubstep(3, 20);
        one.RegisterSubstep(3, 10);
        one.RegisterLoadcase(7);
        one.RegisterLoadcase(1);
        one.AddResultRequest(Block(601), MakeRequest(row.loadcase, row.substep));
        const bool got = row.withSubstep
                             ? one.resultIsRequested(Block(601), kAny, row.qLoadcase, row.qSubstep)
                             : one.resultIsRequested(Block(601), kAny, row.qLoadcase);
        EXPECT_EQ(got, row.wanted)
            << row.loadcase << " " << row.substep << " / " << row.qLoadcase << " " << row.qSubstep;
        EXPECT_TRUE(one.WasQueried());
    }
    // Nothing registered: first and last match nothing but the query for all loadcases.
    OnfResultRequestFile bare(L"unused.onf");
    bare.AddResultRequest(Block(601), MakeRequest(-2, -1, 4));
    EXPECT_FALSE(bare.resultIsRequested(Block(601), kAny, 1));
    EXPECT_TRUE(bare.resultIsRequested(Block(601), kAny, -1));
    EXPECT_TRUE(bare.resultIsRequested(Block(601), static_cast<OnfAnalysisType>(4), -1));
    EXPECT_FALSE(bare.resultIsRequested(Block(601), static_cast<OnfAnalysisType>(5), -1));
    EXPECT_FALSE(bare.resultIsRequested(Block(602), kAny, -1));
}

TEST(RequestQueries, BlockQueriesReadTheFileAndKnowOnlyAll) {
    ReadFile rf(
        "block_queries",
        Blk(400, 3, Rr(1, 601, -1, -2, -1) + Rr(2, 602, -1, 4, -1) + Rr(3, 603, -1, 0, -1)));
    OnfResultRequestFile& file = rf.file;
    file.Read();
    file.RegisterLoadcase(1);
    file.AddResultRequest(Block(604), MakeRequest(-1, -1));
    file.AddResultRequest(Block(99999), MakeRequest(-1, -1));

    EXPECT_TRUE(file.resultIsRequested(Block(601), kAny, 1));
    EXPECT_FALSE(file.loadcaseIsRequested(1));
    EXPECT_TRUE(file.loadcaseIsRequested(-2));
    EXPECT_TRUE(file.loadcaseIsRequested(4));
    QSV_IntSetIntvl<int> blocks;
    file.GetRequests(1, blocks);
    EXPECT_TRUE(blocks.IsEmpty());
    file.GetRequests(-2, blocks);
    EXPECT_EQ(blocks.GetBounds(), (std::vector<int>{601, 601}));
    file.GetRequests(4, blocks);
    EXPECT_EQ(blocks.GetBounds(), (std::vector<int>{602, 602}));
    file.GetRequestedLoadcases(blocks);
    EXPECT_EQ(blocks.GetBounds(), (std::vector<int>{4, 4}));
    EXPECT_TRUE(file.typeIsRequested(604));
    EXPECT_FALSE(file.typeIsRequested(99999));
    EXPECT_EQ(file.GetLoadcases(), (std::vector<int>{-2, 4, 0}));

    ReadFile all("all_loadcases", Blk(400, 2, Rr(1, 601, -1, -1, -1) + Rr(2, 602, -1, -1, -1)));
    all.file.Read();
    all.file.GetRequestedLoadcases(blocks);
    EXPECT_TRUE(blocks.IsEmpty());
    EXPECT_TRUE(all.file.loadcaseIsRequested(12345));
    all.file.GetRequests(9, blocks);
    EXPECT_EQ(blocks.GetBounds(), (std::vector<int>{601, 602}));
}

// Loadcase 1 asks for matrices, then for none in particular; loadcase 2 the same with a
// reference of two values; loadcase 3 first for none.
const std::string kMatrixFile =
    Blk(400, 8,
        Rr(1, 589, -1, 1, -1, 0, "1") + Rr(2, 589, -1, 1, -1) + Rr(3, 589, -1, 2, -1, 0, "2, 1") +
            Rr(4, 589, -1, 2, -1) + Rr(5, 589, -1, 3, -1) + Rr(6, 589, -1, 3, -1, 0, "1") +
            Rr(7, 620, -1, -1, -1, 0, "1") + Rr(8, 620, -1, -1, -1, 0, "3")) +
    Blk(430, 2, "1, 1, 0, 1, 0, 0\n2, 0, 1, 0, 0, 1\n") +
    Blk(420, 2, "1, 2, 42, X\n3, 1, 0, TEMP\n");

TEST(RequestFile, MatrixAndUserVariableDetails) {
    ReadFile rf("matrix", kMatrixFile);
    OnfResultRequestFile& file = rf.file;
    file.Read();
    std::vector<int> matrices;
    file.GlobalMatricesRequested(1, matrices);
    EXPECT_EQ(matrices, (std::vector<int>{1, 3}));
    file.GlobalMatricesRequested(2, matrices);
    EXPECT_EQ(matrices, (std::vector<int>{2, 5}));
    file.GlobalMatricesRequested(3, matrices);
    EXPECT_TRUE(matrices.empty());
    file.GlobalMatricesRequested(-1, matrices);
    EXPECT_TRUE(matrices.empty());
    EXPECT_EQ(file.UserVarName(), "TEMP");
    EXPECT_FALSE(file.OnlyMatricesRequested());

    // Only sensitivity requests are written.
    OnfResultRequestFile plain(TempFile("matrix"));
    file.Write(OnfResultRequestFile::GroupItems());
    plain.Read();
    EXPECT_TRUE(plain.IsEmpty());
    EXPECT_FALSE(plain.HasBlock(Block(440)));

    file.RemoveMatrixRequests();
    EXPECT_EQ(file.GetResultRequestMap().size(), 1u);
    EXPECT_EQ(file.GetTimePointInfo().size(), 2u);
    EXPECT_EQ(file.GetTimePointInfo()[1].first, "NOT_PRESENT");

    OnfResultRequestFile matricesOnly(L"unused.onf");
    EXPECT_FALSE(matricesOnly.OnlyMatricesRequested());
    matricesOnly.AddResultRequest(Block(592), Request());
    EXPECT_TRUE(matricesOnly.OnlyMatricesRequested());
}

TEST(RequestFile, CopiesCloneTheirDetails) {
    Request original;
    original.details.reset(new MatrixRequest);
    static_cast<MatrixRequest&>(*original.details).flag_4 = 1;
    const ResultRequestDetails* given = original.details.get();
    OnfResultRequestFile file(L"unused.onf");
    file.AddResultRequest(Block(589), std::move(original)); // moved from, then copied
    EXPECT_EQ(original.details, nullptr);
    const Request& stored = file.GetResultRequestMap().at(Block(589)).front();
    EXPECT_NE(stored.details.get(), given);
    EXPECT_EQ(dynamic_cast<const MatrixRequest&>(*stored.details).flag_4, 1);
    Request copy;
    copy = stored;
    EXPECT_NE(copy.details.get(), stored.details.get());
}

TEST(RequestFile, BrokenReferencesAndUnknownBlocksFailInExactWords) {
    const std::string cross = "Error in the cross-references between result-request data "
                              "blocks.\nRecord ID 9 does not exist in ONF-block ";
    const struct {
        std::string text, id, message;
    } rows[] = {
        {Blk(400, 1, Rr(1, 589, -1, 1, -1, 0, "9")) + Blk(430, 1, "1, 1, 1, 1, 1, 1\n"),
         "105466170309", cross + "430!"},
        {Blk(400, 1, Rr(1, 620, -1, 1, -1, 0, "9")), "105617170309", cross + "420!"},
        {Blk(400, 1, Rr(1, 641, -1, 1, -1, 0, "9")) + Blk(440, 1, Sr(1, "R", 1, "-", "-")),
         "104923030917", cross + "440!"},
        {Blk(400, 1, Rr(1, 641, -1, 1, -1, 0, "9")), "104923030917", cross + "440!"},
        {Blk(400, 1, Rr(1, 588, -1, 1, -1)), "171655230712",
         "An unknown/invalid ONF block 588 was found in the result-request file!"},
        {Blk(400, 1, Rr(1, 641, -1, 1, -1, 0, "1")) +
             Blk(440, 1, Sr(1, "R", 1, "-", "-", -1, "0, 0, 1", "0, 3")),
         "", "Invalid value found in onf block 440 for user_ouput_id"},
    };
    for (const auto& row : rows) {
        ReadFile rf("broken", row.text);
        ExpectFailure([&] { rf.file.Read(); }, row.id, kTag, row.message);
    }
    // A block given a format of its own is not read past its records.
    OnfResultRequestFile custom(L"unused.onf");
    custom.CreateDataBlock(QSV_DataDescriptor(Block(400)), 0, 0, "IIb");
    ExpectFailure([&] { custom.loadcaseIsRequested(1); }, "", kTag,
                  "ONF block 400 has the format 'IIb', which the result-request file cannot read.");
    // A reference on a request for 640 carries nothing.
    ReadFile ignored("ignored", Blk(400, 1, Rr(1, 640, -1, 1, -1, 0, "9")));
    ignored.file.Read();
    EXPECT_EQ(ignored.file.GetResultRequestMap().at(Block(640)).front().details, nullptr);
}

TEST(RequestFile, AllResultsLeaveOutTheLoadcaseInfo) {
    OnfResultRequestFile file(L"unused.onf");
    file.InitForAllResults();
    EXPECT_FALSE(file.typeIsRequested(520));
    EXPECT_TRUE(file.typeIsRequested(589));
    EXPECT_TRUE(file.resultIsRequested(Block(643), kAny, 3, 3));
    EXPECT_EQ(file.GetBlock(Block(400)).GetMinId(), 1);
    EXPECT_EQ(file.GetLoadcases(), (std::vector<int>{-1}));

    // Requests read before are replaced, not kept beside the new ones; the load cases seen
    // gather over both.
    ReadFile read("all_results", Blk(400, 1, Rr(9999, 520, 2, 7, -1, 0, "")));
    read.file.Read();
    ASSERT_TRUE(read.file.typeIsRequested(520));
    read.file.InitForAllResults();
    EXPECT_FALSE(read.file.typeIsRequested(520));
    EXPECT_EQ(read.file.GetLoadcases(), (std::vector<int>{7, -1}));
    EXPECT_EQ(read.file.GetBlock(Block(400)).GetNumRecords(),
              file.GetBlock(Block(400)).GetNumRecords());
}

// Outputs over node sets with systems: equal systems share a name, types 8, 143 and 29 and
// outputs without node set get none.
const std::string kSensitivityFile =
    Blk(400, 7,
        Rr(1, 641, -1, 1, -1, 0, "1") + Rr(2, 642, -1, 1, -1, 0, "2") +
            Rr(3, 643, -1, 1, -1, 0, "3") + Rr(4, 641, -1, 1, -1, 0, "4") +
            Rr(5, 641, -1, 2, -1, 0, "5") + Rr(6, 642, -1, -1, -1, 0, "6") +
            Rr(7, 643, -1, 1, -1, 0, "7")) +
    Blk(440, 7,
        Sr(1, "R1", 1, "A", "B", 0, "0, 0, 1") + Sr(2, "R2", 1, "B", "C", 0, "0, 1, 0") +
            Sr(3, "R3", 1, "C", "A", 0, "0, 0, 1") + Sr(4, "R4", 29, "A", "-", 0, "0, 0, 1") +
            Sr(5, "R5", 1, "-", "B", 0, "0, 0, 1") + Sr(6, "R6", 1, "D", "-", 1, "0, 0, 1") +
            Sr(7, "R7", 143, "A", "-", 1, "0, 0, 1")) +
    Blk(10030, 4, "A\n1, 2, 3\nB\n3, 2, 1\nC\n1, 2, 3\nD\n1, 2\n") +
    Blk(10032, 2, "A\n7, 8\nB\n7, 8\n");

TEST(SensitivityRequests, OrientationsAndMergedSets) {
    ReadFile rf("sensitivity", kSensitivityFile);
    OnfResultRequestFile& file = rf.file;
    file.Read();
    EXPECT_TRUE(file.HasSensitivityRequests());
    std::vector<const SensitivityRequest*> found;
    file.GetSensitivityRequests(1, found);
    ASSERT_EQ(found.size(), 5u);
    const struct {
        std::string name, nodeSet, elementSet, orientation;
    } expected[] = {{"R3", "A", "A", "OPT_ORI_1"},
                    {"R7", "A", "", ""},
                    {"R1", "A", "A", "OPT_ORI_1"},
                    {"R4", "A", "", ""},
                    {"R2", "A", "C", "OPT_ORI_2"}};
    for (size_t i = 0; i < found.size(); ++i) {
        ASSERT_NE(found[i], nullptr);
        EXPECT_EQ(found[i]->name, expected[i].name);
        EXPECT_EQ(found[i]->node_set, expected[i].nodeSet) << expected[i].name;
        EXPECT_EQ(found[i]->element_set, expected[i].elementSet) << expected[i].name;
        EXPECT_EQ(found[i]->orientation, expected[i].orientation) << expected[i].name;
        EXPECT_EQ(found[i]->label, "LABEL");
        EXPECT_EQ(found[i]->user_outputs, (std::vector<std::string>{"S", "PE"}));
    }
    file.GetSensitivityRequests(2, found);
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0]->orientation, ""); // element set only
    EXPECT_EQ(found[0]->element_set, "A");
    file.GetSensitivityRequests(-1, found);
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0]->orientation, "OPT_ORI_3");
    EXPECT_EQ(file.GetSensitivityRequestsOrientations().size(), 3u);
    EXPECT_EQ(file.GetSensitivityRequestsOrientations().at("OPT_ORI_3").type,
              BrelonCoordinateSystem::CYLINDRICAL);

    OnfResultRequestFile::SetMap nodeSets, elementSets;
    file.GetSensitivityRequestsSets(nodeSets, elementSets);
    EXPECT_EQ(nodeSets.size(), 4u);
    EXPECT_EQ(nodeSets.at("C").GetBounds(), (std::vector<int>{1, 3}));
    EXPECT_EQ(elementSets.size(), 2u);
}

TEST(TimePoints, NamedAscendingAndFirstRequestOfANameDecides) {
    const std::string text =
        Blk(400, 5,
            Rr(1, 641, -1, 1, -1, 1, "1", 10.0) + Rr(2, 642, -1, -1, -1, 1, "2", 0.5) +
                Rr(3, 642, -1, 1, -1, 1, "3", 0.5) + Rr(4, 643, -1, 1, -1, 1, "1", 2.0) +
                Rr(5, 601, -1, 1, -1, 1, "", 7.0)) +
        Blk(440, 3, Sr(1, "R1", 1, "-", "-") + Sr(2, "R2", 1, "-", "-") + Sr(3, "R3", 1, "-", "-"));
    ReadFile rf("time_points", text);
    rf.file.Read();
    const OnfResultRequestFile::TimePointList expected = {
        {"TR_T_0.5", 0.5}, {"TR_T_2", 2.0}, {"TR_T_10", 10.0}};
    EXPECT_EQ(rf.file.GetTimePointInfo(), expected);
    const std::map<std::string, std::string> names = {
        {"R1", "TR_T_2"}, {"R2", "TR_T_0.5"}, {"R3", "TR_T_0.5"}};
    EXPECT_EQ(rf.file.GetTimePointNameMap(), names);

    ReadFile plain("time_plain", Blk(400, 1, Rr(1, 601, -1, 1, -1, 1, "", 7.0)));
    plain.file.Read();
    EXPECT_TRUE(plain.file.GetTimePointInfo().empty());
    EXPECT_TRUE(plain.file.GetTimePointNameMap().empty());

    ReadFile none("time_none", Blk(400, 0, ""));
    none.file.Read();
    EXPECT_TRUE(none.file.IsEmpty());
    const OnfResultRequestFile::TimePointList notPresent = {{"NOT_PRESENT", -1.0}};
    EXPECT_EQ(none.file.GetTimePointInfo(), notPresent);
}

TEST(RequestFile, SensitivityRequestsOverGroupsWrittenAndReadBack) {
    BrelonCoordinateSystem tilted(BrelonCoordinateSystem::CARTESIAN, {1.0, 2.0, 3.0},
                                  {0.0, 1.0, 0.0}, {1.0, 0.0, 0.0},
                                  BrelonCoordinateSystem::ANGLES_IN_DEGREES);
    const std::wstring path = TempFile("written");
    OnfResultRequestFile file(path);
    Request request = MakeRequest(3, -2, 4);
    request.time_flag = 1;
    SensitivityRequest* details = new SensitivityRequest;
    details->name = "MASS";
    details->type = 7;
    details->qualifier = 2;
    details->node_set = "TOP";
    details->element_set = "SKIN";
    details->coordinate_system = &tilted;
    request.details.reset(details);
    file.AddResultRequest(Block(641), request);
    file.AddResultRequest(Block(643), request);
    details->node_set.clear();
    file.AddResultRequest(Block(640), request);
    file.AddResultRequest(Block(589), request);            // not a sensitivity block: not written
    file.AddResultRequest(Block(642), MakeRequest(3, -1)); // no details: nothing to write
    OnfResultRequestFile::GroupItems groups;
    groups[QSV_GroupDescriptor("TOP", ITEM_TYPE_NODE)] = {9, 4, 5};
    groups[QSV_GroupDescriptor("SKIN", ITEM_TYPE_ELEMENT)] = {12, 11};
    file.Write(groups);

    OnfResultRequestFile back(path);
    back.Read();
    EXPECT_EQ(back.GetBlock(Block(440)).GetNumRecords(), 2u);
    EXPECT_EQ(back.GetBlock(Block(440)).GetMinId(), 0);
    ASSERT_EQ(back.GetResultRequestMap().size(), 3u); // neither 589 nor 642 is written
    EXPECT_EQ(back.GetResultRequestMap().at(Block(640)).front().details, nullptr);
    std::vector<const SensitivityRequest*> found;
    back.GetSensitivityRequests(3, found);
    ASSERT_EQ(found.size(), 2u);
    for (const SensitivityRequest* read : found) {
        EXPECT_EQ(read->name, "MASS");
        EXPECT_EQ(read->type, 7);
        EXPECT_EQ(read->qualifier, 2);
        EXPECT_EQ(read->node_set, "TOP");
        EXPECT_EQ(read->element_set, "SKIN");
        EXPECT_EQ(read->orientation, "OPT_ORI_1");
        EXPECT_EQ(read->substep, -2);
        EXPECT_EQ(read->time_flag, 0);
        EXPECT_TRUE(read->label.empty() && read->user_outputs.empty());
    }
    EXPECT_EQ(back.GetSensitivityRequestsOrientations().at("OPT_ORI_1"), tilted);
    const Request& first = back.GetResultRequestMap().at(Block(641)).front();
    EXPECT_EQ(first.analysis_type, 4);
    EXPECT_EQ(first.loadcase, 3);
    OnfResultRequestFile::SetMap nodeSets, elementSets;
    back.GetSensitivityRequestsSets(nodeSets, elementSets);
    EXPECT_EQ(nodeSets.at("TOP").GetBounds(), (std::vector<int>{4, 5, 9, 9}));
    EXPECT_EQ(elementSets.at("SKIN").GetBounds(), (std::vector<int>{11, 12}));
    EXPECT_EQ(back.GetTimePointInfo().front().first, "NOT_PRESENT");
}

} // namespace
