// The model file on disk: a model with every kind of content written and read back equal, block
// by block, and the example model read without a warning.
#include "LogCapture.h"
#include "SameContent.h"
#include "test_model_util.h"

#include "BrelonLineInput.h"

#include <cstdio>
#include <cstring>
#include <memory>

namespace {

using namespace onf_test;
using V3 = BrelonMatrix<3, 1, double>;

// A small model with content in every block the model file knows.
void BuildFullModel(OnfModelFile& model) {
    model.CreateDefaultCoordSystem(true, true, false);
    model.AppendCoordSys(10, OnfCoordSystem::CS_CYLINDRICAL, 0, "HUB", V3(1.0 / 3.0, 2, 0),
                         V3(0, 0, 1), V3(1, 0, 0));
    for (int n = 1; n <= 8; ++n) {
        model.AppendNode(n, n == 8 ? 10 : 0, 0, 0.1 * n, n % 2, -1e-300 * n);
    }
    model.BufferCoordSys(11, OnfCoordSystem::CS_NODES_CARTESIAN, "ON_NODES",
                         OnfCoordSystem::CS_DEF_X_XZ, 1, 2, 3);
    model.PreWriteConvert();
    model.AppendMaterial(1, 1, "STEEL", {true, false, false, true, false},
                         {7.85e-9, 210000.0, 0.3, 50.0, 1.2e-5});
    model.CreateDefaultProperties();
    model.AppendLaminateLayer(20, OnfLaminateLayer::LayerData{1, 0.125, 45.0});
    model.AppendProperty(30, OnfProperty::PROP_SHELL, "SKIN", 2.5, 0.0, false, 0, nullptr);
    model.SetPropertyLayers(30, {20, 7});
    model.UpdatePropertyData(4, 1);
    model.AppendElement(1, OnfElement::ELEM_HEXA8, 4, 0, {1, 2, 3, 4, 5, 6, 7, 8}, 1, 0, 1);
    model.AppendElement(2, OnfElement::ELEM_DUMMY, 0, 0, {8, 7, 6}, 0, 0, 0);
    model.SetElementMaterial(1, 1);
    model.AppendSinglePointConstraint(1, {1, 2, 3}, {1, 2});
    model.AppendRbe(5, OnfRbe::RbeData{{1, 2, 3, 4, 5, 6}, {3}, {4, 5}});
    model.AppendLoadedNodes(1, {5, 6});
    model.AppendLoadedElements(2, {1});
    model.AppendConnectorNodes(3, {7, 8});
    BrelonRadixTrieMap<int, OnfNodalForces::NodalForce> forces;
    forces.Insert(5, OnfNodalForces::NodalForce{5, 0, {0, 0, -1000, 0, 0, 0}});
    model.AppendNodalForces(4, "TIP_LOAD", forces);
    std::map<int, OnfNodalDisplacements::NodalDisplacement> disp;
    disp[6] = OnfNodalDisplacements::NodalDisplacement{6, 0, {0.01, 0, 0, 0, 0, 0}};
    model.AppendPrescribedDisplacements(6, "PULL", disp);
    OnfAcceleration::AccelData accel;
    accel.translationFlag = 1;
    accel.translation = V3(0, 0, -9810);
    accel.targetType = OnfAcceleration::TARGET_ELEMENT_GROUP;
    accel.targetName = "ALL";
    model.AppendAcceleration(7, accel);
    model.AppendConvectionSet(8, {1, 1}, {2, 5}, 25.0, 293.15);
    model.AppendContactSurface(9, QSV_IntSetIntvl<int>({1, 2}), QSV_IntSetIntvl<int>({7, 8}));
    OnfLoadcase::LcData lc;
    lc.id = 1;
    lc.name = "STATIC";
    lc.analysisType = 1;
    lc.forceSets = {4};
    lc.displacementSets = {6};
    lc.constraints = {1};
    lc.accelerations = {7};
    lc.loadedNodeSets = {1};
    lc.loadedElementSets = {2};
    model.AppendLoadcase(lc);
    model.AppendCFDFaceGroup("WALLS", QSV_IntSetIntvl<int>({1, 2}));
    model.AppendCFDFluidBoundary(3, "INLET");
}

std::wstring TempName(const char* stem) {
    return L"/tmp/" + std::wstring(stem, stem + std::strlen(stem)) + L"_" +
           std::to_wstring(::testing::UnitTest::GetInstance()->random_seed()) + L".onf";
}

TEST(ModelFileIo, FullModelReadsBackEqual) {
    const std::wstring name = TempName("model_full");
    OnfModelFile written(name, nullptr);
    BuildFullModel(written);
    onf_test::LogCapture log;
    written.Write();
    EXPECT_TRUE(log.Has(QSV_LogMacros::LOG_INFO,
                        "Writing ONF input file " + BrelonStringUtil::wide_to_utf8(name.c_str())));

    OnfModelFile read(name, nullptr);
    read.Read();
    std::remove(BrelonStringUtil::wide_to_utf8(name.c_str()).c_str());
    ExpectSameContent(written, read);
    EXPECT_EQ(read.GetModelCs().GetResolvedCs(), (std::set<int>{0, 1, 10, 11}));
    EXPECT_EQ(read.GetNodeGlobalCoordinates(8), written.GetNodeGlobalCoordinates(8));

    // A database copy holds the same blocks too.
    OnfModelFile copy(L"copy.onf", nullptr);
    copy.LoadFromDb(read);
    ExpectSameContent(read, copy);
}

TEST(ModelFileIo, ExampleModelReadsWithoutWarnings) {
    for (const char* file : {"/model.onf", "/model_full.onf"}) {
        const std::string path = std::string(ONF_EXAMPLES_DIR) + file;
        OnfModelFile model(std::wstring(path.begin(), path.end()), nullptr);
        onf_test::LogCapture log;
        model.Read();
        for (const LogLine& line : log.lines) {
            EXPECT_GT(line.level, QSV_LogMacros::LOG_WARNING) << file << ": " << line.message;
        }
        EXPECT_GT(model.GetNumElement(), 0u);
    }
}

} // namespace
