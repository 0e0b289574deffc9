// Coordinate systems of a model: dependency order of buffered systems, cycles, failures of
// degenerate definitions in exact words, the check of the global system after reading.
#include "LogCapture.h"
#include "test_model_util.h"

#include <cmath>
#include <limits>

namespace {

using namespace onf_test;
using V3 = BrelonMatrix<3, 1, double>;
using LogCapture = onf_test::LogCapture;

void ExpectNear(const V3& actual, double x, double y, double z) {
    EXPECT_NEAR(actual[0], x, 1e-12);
    EXPECT_NEAR(actual[1], y, 1e-12);
    EXPECT_NEAR(actual[2], z, 1e-12);
}

class ModelCsTest : public ::testing::Test {
protected:
    OnfModelFile model{L"cs_test.onf", nullptr};

    // System 6: the global one moved by 10 along x, given by three points in system 0.
    void BufferShiftedSystem(int id = 6, int ref = 0) {
        model.BufferCoordSys(id, OnfCoordSystem::CS_POINTS_CARTESIAN, "SHIFTED",
                             OnfCoordSystem::CS_DEF_X_XY, ref, V3(10, 0, 0), V3(11, 0, 0),
                             V3(10, 1, 0));
    }
};

TEST_F(ModelCsTest, NewModelHoldsOnlyTheGlobalSystem) {
    EXPECT_EQ(model.GetNumCoordSystem(), 1u);
    EXPECT_EQ(Text(model, 100, 0, 3), "CS_0");
    BrelonCoordinateSystem cs;
    int ref = -1;
    model.GetCoordSysData(0, cs, ref);
    EXPECT_EQ(ref, 0);
    EXPECT_EQ(cs.type, BrelonCoordinateSystem::CARTESIAN);
    EXPECT_EQ(cs.zDirection, V3(0, 0, 1));
    ExpectFailure([&] { model.GetCoordSysData(3, cs, ref); }, "094354210512", kCsTag,
                  "The coordinate system with id 3 is not available.");
}

TEST_F(ModelCsTest, SystemOnNodesOfALaterBufferedSystemResolvesAfterIt) {
    // System 5 stands on nodes given in system 6, which is buffered after it.
    model.AppendNode(1, 6, 0, 0, 0, 0);
    model.AppendNode(2, 6, 0, 0, 1, 0);
    model.AppendNode(3, 6, 0, 0, 0, 1);
    model.AppendNode(4, 5, 0, 1, 2, 3);
    EXPECT_TRUE(model.BufferCoordSys(5, OnfCoordSystem::CS_NODES_CARTESIAN, "ON_NODES",
                                     OnfCoordSystem::CS_DEF_X_XY, 1, 2, 3));
    BufferShiftedSystem();
    LogCapture log;
    model.PreWriteConvert();

    ASSERT_EQ(log.lines.size(), 2u);
    EXPECT_EQ(log.lines[0].message, "Changed coordinate system SHIFTED from nodal/point "
                                    "definition: X_XY to coordinate based of type: CARTESIAN");
    EXPECT_EQ(log.lines[1].message, "Changed coordinate system ON_NODES from nodal/point "
                                    "definition: X_XY to coordinate based of type: CARTESIAN");
    EXPECT_EQ(log.lines[1].level, QSV_LogMacros::LOG_DETAIL);
    EXPECT_EQ(model.GetNumCoordSystem(), 3u);
    EXPECT_EQ(Int(model, 100, 5, 2), 0);
    ExpectNear(Vec(model, 100, 5, 4), 10, 0, 0);
    ExpectNear(Vec(model, 100, 5, 5), 1, 0, 0);
    ExpectNear(Vec(model, 100, 5, 6), 0, 1, 0);
    // origin + 1 * x + 2 * y + 3 * z with x = (0, 1, 0), y = (0, 0, 1), z = (1, 0, 0).
    ExpectNear(model.GetNodeGlobalCoordinates(4), 13, 1, 2);
}

TEST_F(ModelCsTest, DefinitionKindsSpanTheirDirections) {
    struct Row {
        OnfCoordSystem::CsDefType def;
        OnfCoordSystem::CsType type;
        V3 z, x;
        int basicType;
    };
    const Row rows[] = {{OnfCoordSystem::CS_DEF_X_XY, OnfCoordSystem::CS_POINTS_CARTESIAN,
                         V3(0, 0, 1), V3(1, 0, 0), 0},
                        {OnfCoordSystem::CS_DEF_X_XZ, OnfCoordSystem::CS_POINTS_CYLINDRICAL,
                         V3(0, 1, 0), V3(1, 0, 0), 1},
                        {OnfCoordSystem::CS_DEF_Z_XZ, OnfCoordSystem::CS_POINTS_SPHERICAL,
                         V3(1, 0, 0), V3(0, 1, 0), 2}};
    int id = 20;
    for (const Row& row : rows) {
        model.BufferCoordSys(id++, row.type, "K", row.def, 0, V3(0, 0, 0), V3(2, 0, 0),
                             V3(0, 3, 0));
    }
    model.PreWriteConvert();
    id = 20;
    for (const Row& row : rows) {
        SCOPED_TRACE(id);
        EXPECT_EQ(Int(model, 100, id, 1), row.basicType);
        EXPECT_EQ(Vec(model, 100, id, 5), row.z);
        EXPECT_EQ(Vec(model, 100, id, 6), row.x);
        ++id;
    }
}

TEST_F(ModelCsTest, CycleIsWarnedAndTheFirstUnresolvedPointFails) {
    model.AppendNode(1, 6, 0, 1, 0, 0);
    model.AppendNode(2, 0, 0, 0, 1, 0);
    model.AppendNode(3, 0, 0, 0, 0, 1);
    model.AppendNode(4, 5, 0, 0, 0, 0);
    model.BufferCoordSys(5, OnfCoordSystem::CS_NODES_CARTESIAN, "A", OnfCoordSystem::CS_DEF_X_XY, 1,
                         2, 3);
    model.BufferCoordSys(6, OnfCoordSystem::CS_NODES_CARTESIAN, "B", OnfCoordSystem::CS_DEF_X_XY, 4,
                         2, 3);
    LogCapture log;
    ExpectFailure([&] { model.PreWriteConvert(); }, "", kCsTag,
                  "An attempt was made to read the coordinates of a point,\nbut the reference "
                  "coordinate system with id = 6 is unresolved.\nCoordinates of the point:\n"
                  "    [    1.000000,     0.000000,     0.000000]\n\nPlease try to adjust the "
                  "order of coordinate system definitions\nand/or to remove any cyclic "
                  "dependencies among them in your input deck!");
    EXPECT_TRUE(log.Has(QSV_LogMacros::LOG_WARNING,
                        "The dependencies among some coordinate systems in the original input "
                        "deck\ncould not be resolved! Please remove any cyclic dependencies."));
}

TEST_F(ModelCsTest, DegenerateDefinitionsFailWithTheirCoordinates) {
    model.AppendNode(1, 0, 0, 0, 0, 0);
    model.AppendNode(2, 0, 0, 1, 1, 1);
    model.AppendNode(3, 0, 0, 2.5, 2.5, 2.5);
    const std::string nodesText =
        "Error resolving coordinate system \"LINE\":\nthis coordinate system is defined by "
        "nodes 1, 2 and %d,\nbut these nodes are either collinear, or some of them are "
        "coincident.\nGlobal Cartesian coordinates of the nodes:\n"
        "     1 :  [    0.000000,     0.000000,     0.000000]\n"
        "     2 :  [    1.000000,     1.000000,     1.000000]\n"
        "     %d :  [    %s,     %s,     %s]\n";
    // Collinear nodes, then a node that coincides with the first: the coincidence checks of the
    // generation never speak, since the verification stands ahead of them.
    const std::string collinear =
        QSV_MESSAGE(nodesText.c_str(), 3, 3, "2.500000", "2.500000", "2.500000");
    model.BufferCoordSys(7, OnfCoordSystem::CS_NODES_CARTESIAN, "LINE", OnfCoordSystem::CS_DEF_X_XY,
                         1, 2, 3);
    ExpectFailure([&] { model.PreWriteConvert(); }, "", kCsTag, collinear);

    OnfModelFile other(L"other.onf", nullptr);
    other.AppendNode(1, 0, 0, 0, 0, 0);
    other.AppendNode(2, 0, 0, 1, 1, 1);
    other.AppendNode(4, 0, 0, 0, 0, 0);
    other.BufferCoordSys(7, OnfCoordSystem::CS_NODES_CARTESIAN, "LINE", OnfCoordSystem::CS_DEF_X_XY,
                         1, 2, 4);
    ExpectFailure([&] { other.PreWriteConvert(); }, "", kCsTag,
                  QSV_MESSAGE(nodesText.c_str(), 4, 4, "0.000000", "0.000000", "0.000000"));
}

TEST_F(ModelCsTest, CollinearPointsAndMissingNodesFail) {
    model.BufferCoordSys(8, OnfCoordSystem::CS_POINTS_CARTESIAN, "PTS", OnfCoordSystem::CS_DEF_X_XY,
                         0, V3(0, 0, 0), V3(1, 0, 0), V3(-2, 0, 0));
    ExpectFailure([&] { model.PreWriteConvert(); }, "", kCsTag,
                  "Error resolving coordinate system \"PTS\":\nthis coordinate system is "
                  "defined by three points expressed in terms\nof coordinate system 0, but "
                  "these points are either collinear,\nor some of them are coincident.\nGlobal "
                  "Cartesian coordinates of the points:\n"
                  "     [    0.000000,     0.000000,     0.000000]\n"
                  "     [    1.000000,     0.000000,     0.000000]\n"
                  "     [   -2.000000,     0.000000,     0.000000]\n");

    // A missing node depends on the global system and fails when its position is read.
    OnfModelFile other(L"other.onf", nullptr);
    other.AppendNode(1, 0, 0, 0, 0, 0);
    other.AppendNode(2, 0, 0, 1, 0, 0);
    other.BufferCoordSys(9, OnfCoordSystem::CS_NODES_CARTESIAN, "MISSING",
                         OnfCoordSystem::CS_DEF_X_XY, 1, 2, 77);
    ExpectFailure([&] { other.PreWriteConvert(); }, "", kCsTag,
                  "Failed to retrieve information about node with id 77");
}

TEST_F(ModelCsTest, RebufferingAnIdWarnsAndAnswersFalse) {
    BufferShiftedSystem();
    LogCapture log;
    EXPECT_FALSE(model.BufferCoordSys(6, OnfCoordSystem::CS_NODES_CARTESIAN, "AGAIN",
                                      OnfCoordSystem::CS_DEF_X_XY, 1, 2, 3));
    EXPECT_TRUE(log.Has(QSV_LogMacros::LOG_WARNING, "A coordinate system with id 6 has been "
                                                    "previously defined and will be overwritten!"));
    model.SetReadFEMData(false);
    EXPECT_TRUE(model.BufferCoordSys(6, OnfCoordSystem::CS_NODES_CARTESIAN, "SKIPPED",
                                     OnfCoordSystem::CS_DEF_X_XY, 1, 2, 3));
    EXPECT_EQ(model.GetModelCs().GetBufferedCs().size(), 2u);
}

TEST_F(ModelCsTest, GlobalSystemIsCheckedExactlyAfterReading) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    struct Row {
        int item;
        V3 value;
    };
    const Row rows[] = {{5, V3(0, 0, 1.0000000001)}, {4, V3(0, nan, 0)}, {6, V3(-1, 0, 0)}};
    for (const Row& row : rows) {
        OnfModelFile read(L"read.onf", nullptr);
        OnfBlock& block = read.GetBlock(Bl(100));
        block.SetRecordItem(0, It(row.item), row.value);
        ExpectFailure([&] { read.GetModelCs().MarkAllCsResolved(); }, "201112173242", kCsTag,
                      "The coordinate system with ID 0 must be a standard Cartesian coordinate "
                      "system.");
    }
    OnfModelFile typed(L"read.onf", nullptr);
    typed.GetBlock(Bl(100)).SetRecordItem(0, It(1), 1);
    EXPECT_THROW(typed.GetModelCs().MarkAllCsResolved(), QSV_Failure);

    // Without a record at index 0 nothing is checked; a system on another than the global
    // system fails.
    OnfModelFile empty(L"read.onf", nullptr);
    empty.GetBlock(Bl(100)).DeleteRecord(0);
    empty.AppendCoordSys(12, OnfCoordSystem::CS_CARTESIAN, 3, "REF3", V3(), V3(0, 0, 1),
                         V3(1, 0, 0));
    ExpectFailure([&] { empty.GetModelCs().MarkAllCsResolved(); }, "123744230512", kCsTag,
                  "Coordinate system with id = 12 does not reference the\nglobal Cartesian "
                  "coordinate system but rather the coordinate\nsystem with id = 3.");
    empty.GetBlock(Bl(100)).SetRecordItem(1, It(2), 0);
    empty.GetModelCs().MarkAllCsResolved();
    EXPECT_EQ(empty.GetModelCs().GetResolvedCs(), std::set<int>{12});
}

} // namespace
