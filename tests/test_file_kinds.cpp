// The typed file kinds as a client uses them, with the umbrella header alone: construct, append,
// write, destroy, then construct anew, read and query. Each kind must read back what it wrote,
// record for record, and destroying an object must never write its file.
#include "BrelonOnfEngine.h"
#include "SameContent.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <memory>
#include <string>

namespace {

using onf_test::ExpectSameContent;
using V3 = BrelonMatrix<3, 1, double>;

std::wstring TempPath(const std::string& stem) {
    const std::string path = testing::TempDir() + "file_kinds_" + stem + ".onf";
    std::remove(path.c_str());
    return std::wstring(path.begin(), path.end());
}

bool FileExists(const std::wstring& path) {
    FILE* file = std::fopen(std::string(path.begin(), path.end()).c_str(), "r");
    if (file != nullptr) {
        std::fclose(file);
    }
    return file != nullptr;
}

void FillModel(OnfModelFile& model) {
    for (int n = 1; n <= 4; ++n) {
        model.AppendNode(n, 0, 0, 0.1 * n, n == 2 ? 1.0 : 0.0, n == 4 ? 1.0 : -0.0);
    }
    model.BufferCoordSys(3, OnfCoordSystem::CS_NODES_CARTESIAN, "ON_NODES",
                         OnfCoordSystem::CS_DEF_X_XY, 1, 2, 4);
    model.PreWriteConvert();
    model.CreateDefaultProperties();
    model.AppendElement(10, OnfElement::ELEM_TETRA4, 4, 0, {1, 2, 3, 4}, 1, 0, 0);
    model.AppendSinglePointConstraint(1, {1, 2, 3}, {1, 3});
    model.AppendCFDFaceGroup("\"inlet, left\"", QSV_IntSetIntvl<int>({10}));
}

void FillGroups(OnfGroupsFile& groups) {
    groups.AppendNodeGroup(1, "\"left, top\"", {4, 2, 9});
    groups.AppendNodeGroup(2, "empty", {});
    groups.AppendElementGroup(1, "SKIN", {10, 11});
}

TEST(FileKinds, ModelGroupsAndInitFilesReadBackWhatTheyWrote) {
    const std::wstring names[3] = {TempPath("model"), TempPath("groups"), TempPath("init")};
    {
        // Filled and destroyed without Write: nothing reaches the disk.
        OnfModelFile model(names[0], nullptr);
        FillModel(model);
        OnfGroupsFile groups(names[1]);
        FillGroups(groups);
        OnfInitFile init(names[2]);
        model.CollectInitData(init);
    }
    for (const std::wstring& name : names) {
        EXPECT_FALSE(FileExists(name));
    }

    OnfModelFile model(names[0], nullptr);
    FillModel(model);
    model.Write();
    OnfModelFile modelRead(names[0], nullptr);
    modelRead.Read();
    ExpectSameContent(model, modelRead);
    EXPECT_EQ(modelRead.GetNodeGlobalCoordinates(4), V3(0.4, 0, 1));
    EXPECT_EQ(modelRead.GetNumElemFaces(10), 4);

    OnfGroupsFile groups(names[1]);
    FillGroups(groups);
    groups.Write();
    OnfGroupsFile groupsRead(names[1]);
    groupsRead.Read();
    ExpectSameContent(groups, groupsRead);

    OnfInitFile init(names[2]);
    modelRead.CollectInitData(init);
    init.Write();
    OnfInitFile initRead(names[2]);
    initRead.Read();
    ExpectSameContent(init, initRead);
    EXPECT_EQ(initRead.GetNumItems(static_cast<QSV_OnfId>(110)), 4);
    EXPECT_EQ(initRead.GetNumItems(static_cast<QSV_OnfId>(10032)), 1);
    for (const std::wstring& name : names) {
        std::remove(std::string(name.begin(), name.end()).c_str());
    }
}

TEST(FileKinds, TemporaryFileReadsBackWhatItWrote) {
    const std::wstring name = TempPath("temporary");
    OnfTemporaryFile written;
    written.AppendLcResReq(10, 3, 1, 2);
    written.AppendMarloLc(4, 1, 2, 3, 4);
    written.AppendMatrixStep(3, L"deck \u00e9", 0);
    written.AddSpecialMatrixElemSet(QSV_IntSetIntvl<int>({5, 6, 7, 100}));
    written.AppendDRespNameMap("mass", {"\"m, total\"", "m2"});
    written.Write(name);
    OnfTemporaryFile read;
    read.Read(name);
    ExpectSameContent(written, read);
    std::vector<MatrixStepInfo> steps;
    read.GetMatrixStepsInfo(steps);
    ASSERT_EQ(steps.size(), 1u);
    EXPECT_EQ(steps[0].requestLc, 10);
    EXPECT_EQ(steps[0].modelName, L"deck \u00e9");
    std::remove(std::string(name.begin(), name.end()).c_str());
}

} // namespace
