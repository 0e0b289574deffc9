// The grid that `onf export` writes: element kinds as cells, points in global coordinates, group
// flags, result values, and the file's text in both encodings.
#include "VtuWriter.h"

#include "ONFOptResultFile.h"
#include "OnfGroupsFile.h"
#include "OnfModelFile.h"

#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <memory>
#include <set>
#include <sstream>
#include <stdexcept>

using namespace onf_tool;

namespace {

std::unique_ptr<OnfModelFile> NewModel() {
    return std::unique_ptr<OnfModelFile>(new OnfModelFile(L"export.onf", nullptr));
}

const VtuArray& Array(const std::vector<VtuArray>& arrays, const std::string& name) {
    for (const VtuArray& array : arrays) {
        if (array.name == name) {
            return array;
        }
    }
    throw std::runtime_error("no array " + name);
}

std::vector<std::string> Names(const std::vector<VtuArray>& arrays) {
    std::vector<std::string> names;
    for (const VtuArray& array : arrays) {
        names.push_back(array.name);
    }
    return names;
}

// The node ids of cell `cell`, through the NodeId point array.
std::vector<int> CellNodes(const VtuGrid& grid, size_t cell) {
    const std::vector<int32_t>& ids = Array(grid.pointData, "NodeId").ints;
    const int64_t first = cell == 0 ? 0 : grid.offsets[cell - 1];
    std::vector<int> nodes;
    for (int64_t i = first; i < grid.offsets[cell]; ++i) {
        nodes.push_back(ids[static_cast<size_t>(grid.connectivity[static_cast<size_t>(i)])]);
    }
    return nodes;
}

// Nodes 1 and 2 joined by rod 5: the smallest grid a result can be placed on.
std::unique_ptr<OnfModelFile> RodModel() {
    auto model = NewModel();
    model->AppendNode(1, 0, 0, 0, 0, 0);
    model->AppendNode(2, 0, 0, 1, 0, 0);
    model->AppendElement(5, OnfElement::ELEM_ROD2, 1, 0, {1, 2}, 0, 0, 0);
    return model;
}

std::string ReadAll(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

std::string TempPath(const char* name) {
    return ::testing::TempDir() + name;
}

} // namespace

TEST(ExportShapes, EveryKindOfTheElementTableHasACellOfItsNodeCount) {
    for (int type = -1; type <= OnfElement::NUM_ELEM_TYPES; ++type) {
        const VtkCellShape& shape = VtkShapeOf(type);
        const bool inTable = type >= 0 && type < OnfElement::NUM_ELEM_TYPES;
        const int nodes = inTable ? OnfElement::s_ElemTypeInfo[type].numNodes : 0;
        SCOPED_TRACE("kind " + std::to_string(type));
        if (nodes == 0) {
            EXPECT_EQ(shape.cellType, VTK_EMPTY_CELL);
            continue;
        }
        ASSERT_NE(shape.cellType, VTK_EMPTY_CELL);
        EXPECT_EQ(shape.elementNodes, nodes);
        ASSERT_LE(shape.cellNodes, shape.elementNodes);
        std::set<int> used;
        for (int i = 0; i < shape.cellNodes; ++i) {
            const int at = shape.order != nullptr ? shape.order[i] : i;
            EXPECT_LT(at, nodes);
            used.insert(at);
        }
        EXPECT_EQ(used.size(), shape.cellNodes) << "a node is used twice";
    }
}

TEST(ExportModel, CellsTakeVtkNodeOrderAndUndrawableElementsAreLeftOut) {
    auto model = NewModel();
    for (int id = 1; id <= 20; ++id) {
        model->AppendNode(id, 0, 0, id, 0, 0);
    }
    std::vector<int> upTo20;
    for (int id = 1; id <= 20; ++id) {
        upTo20.push_back(id);
    }
    using namespace OnfElement;
    const auto add = [&](int id, int type, std::vector<int> nodes) {
        model->AppendElement(id, static_cast<ElemType>(type), 7, 0, nodes, 0, 0, 0);
    };
    add(10, ELEM_HEXA20, upTo20);
    add(11, ELEM_PENTA6, {1, 2, 3, 4, 5, 6});
    add(12, ELEM_ROD3, {1, 2, 3});
    add(13, ELEM_PLANE_TRIA9, {1, 2, 3, 4, 5, 6, 7, 8, 9});
    add(14, ELEM_DUMMY, {1, 2});
    add(15, 9, {1, 2, 3});
    add(16, ELEM_HEXA8, {1, 2, 3, 4, 5, 6});
    add(17, ELEM_TETRA4, {1, 2, 3, 99});
    add(18, ELEM_SHELL_QUAD4_C3, {1, 2, 3, 3});

    const ModelVtuExport exported(*model);
    const VtuGrid& grid = exported.GetGrid();
    EXPECT_EQ(Array(grid.cellData, "ElementId").ints, (std::vector<int32_t>{10, 11, 12, 13, 18}));
    EXPECT_EQ(Array(grid.cellData, "PropertyId").ints, std::vector<int32_t>(5, 7));
    EXPECT_EQ(grid.types, (std::vector<uint8_t>{VTK_QUADRATIC_HEXAHEDRON, VTK_WEDGE,
                                                VTK_QUADRATIC_EDGE, VTK_TRIANGLE, VTK_QUAD}));
    EXPECT_EQ(CellNodes(grid, 0), (std::vector<int>{1,  2,  3,  4,  5,  6,  7,  8,  9,  10,
                                                    11, 12, 17, 18, 19, 20, 13, 14, 15, 16}));
    EXPECT_EQ(CellNodes(grid, 1), (std::vector<int>{1, 3, 2, 4, 6, 5}));
    EXPECT_EQ(CellNodes(grid, 2), (std::vector<int>{1, 3, 2}));
    EXPECT_EQ(CellNodes(grid, 3), (std::vector<int>{1, 2, 3}));
    EXPECT_EQ(CellNodes(grid, 4), (std::vector<int>{1, 2, 3, 3}));
    EXPECT_EQ(grid.connectivity.size(), static_cast<size_t>(grid.offsets.back()));
    EXPECT_EQ(exported.GetNumDummies(), 1u);
    EXPECT_EQ(exported.GetNumSkipped(), 3u);
    EXPECT_EQ(exported.GetWarnings(),
              (std::vector<std::string>{
                  "element 15 is of kind 9, which has no cell shape",
                  "element 16 of kind 3 has 6 nodes instead of 8",
                  "element 17 refers to node 99, which the model lacks",
                  "3 elements were left out of the grid (see the warnings above)"}));
}

TEST(ExportModel, PointsAreInGlobalCoordinates) {
    auto model = NewModel();
    // A system at (10, 0, 0) whose x axis is the global y axis.
    model->AppendCoordSys(5, OnfCoordSystem::CS_CARTESIAN, 0, "SHIFTED",
                          BrelonMatrix<3, 1, double>(10, 0, 0), BrelonMatrix<3, 1, double>(0, 0, 1),
                          BrelonMatrix<3, 1, double>(0, 1, 0));
    model->AppendNode(1, 0, 0, 1, 2, 3);
    model->AppendNode(2, 5, 0, 1, 0, 0);
    const ModelVtuExport exported(*model);
    const VtuGrid& grid = exported.GetGrid();
    EXPECT_EQ(grid.points, (std::vector<double>{1, 2, 3, 10, 1, 0}));
    EXPECT_EQ(grid.GetNumCells(), 0u);
}

TEST(ExportGroups, NodeGroupsFlagPointsElementGroupsFlagCells) {
    auto model = NewModel();
    for (int id = 1; id <= 4; ++id) {
        model->AppendNode(id, 0, 0, id, 0, 0);
    }
    model->AppendElement(1, OnfElement::ELEM_BEAM2, 1, 0, {1, 2}, 0, 0, 0);
    model->AppendElement(2, OnfElement::ELEM_BEAM2, 1, 0, {3, 4}, 0, 0, 0);
    OnfGroupsFile groups(L"groups.onf");
    groups.AppendNodeGroup(1, "ENDS", {1, 4, 77});
    groups.AppendElementGroup(1, "SECOND \"<&>\"", {2});

    ModelVtuExport exported(*model);
    exported.AddGroups(groups);
    const VtuGrid& grid = exported.GetGrid();
    EXPECT_EQ(Array(grid.pointData, "group:ENDS").flags, (std::vector<uint8_t>{1, 0, 0, 1}));
    EXPECT_EQ(Array(grid.cellData, "group:SECOND \"<&>\"").flags, (std::vector<uint8_t>{0, 1}));
    EXPECT_EQ(exported.GetWarnings(),
              std::vector<std::string>{"node group 'ENDS': 1 member is not in the grid"});
}

TEST(ExportResults, LastIterationByDefaultEveryEntryOnRequest) {
    auto model = RodModel();
    ONFOptResultFile results("results.onf");
    for (int iteration = 1; iteration <= 2; ++iteration) {
        ONFOptDataBlockEntry<ONFOptResNodalScalar> energy(iteration, "Energy \r");
        energy.PushBackItem(ONFOptResNodalScalar(2, 10.0 * iteration));
        energy.PushBackItem(ONFOptResNodalScalar(9, 1.0));
        results.GetOptDBNodalScalar().PushBackEntry(energy);
        ONFOptDataBlockEntry<ONFOptResElemScalar> density(iteration, "");
        density.PushBackItem(ONFOptResElemScalar(5, 0.5 * iteration));
        results.GetOptDBElemScalar().PushBackEntry(density);
    }
    ONFOptDataBlockEntry<ONFOptResNodalDisp> moved(3, "Energy");
    moved.PushBackItem(ONFOptResNodalDisp(1, 1, 2, 3));
    results.GetOptDBNodalDisp().PushBackEntry(moved);
    results.GetOptDBNodalDisp().PushBackEntry(moved);

    ModelVtuExport last(*model);
    last.AddResults(results, false);
    const VtuGrid& grid = last.GetGrid();
    EXPECT_EQ(Names(grid.pointData),
              (std::vector<std::string>{"NodeId", "Energy", "valid:Energy", "Energy #2",
                                        "valid:Energy #2", "Energy #3", "valid:Energy #3"}));
    const std::vector<double>& energy = Array(grid.pointData, "Energy").reals;
    EXPECT_TRUE(std::isnan(energy[0]));
    EXPECT_EQ(energy[1], 20.0);
    EXPECT_EQ(Array(grid.pointData, "valid:Energy").flags, (std::vector<uint8_t>{0, 1}));
    // A vector without a value is 0, not NaN, so that a viewer can warp by it.
    EXPECT_EQ(Array(grid.pointData, "Energy #3").reals, (std::vector<double>{1, 2, 3, 0, 0, 0}));
    EXPECT_EQ(Array(grid.cellData, "element scalar").reals, std::vector<double>{1.0});
    EXPECT_EQ(Names(grid.cellData).back(), "element scalar"); // it covers every cell
    EXPECT_EQ(last.GetWarnings()[0], "result 'Energy': 1 value refers to nodes not in the grid");

    ModelVtuExport all(*model);
    all.AddResults(results, true);
    EXPECT_EQ(Names(all.GetGrid().cellData).back(), "element scalar (2)");
    EXPECT_EQ(Array(all.GetGrid().cellData, "element scalar (1)").reals, std::vector<double>{0.5});
    EXPECT_EQ(Names(all.GetGrid().pointData).size(), 9u);
}

// Every step of a series holds the same arrays: a field an iteration lacks has no value
// anywhere (NaN scalars, zero vectors), and a field that is partial somewhere carries its
// validity array in every step.
TEST(ExportSeries, EveryStepHoldsEveryFieldWithValidityWherePartial) {
    auto model = RodModel();
    ONFOptResultFile results("results.onf");
    for (int iteration : {0, 7}) {
        ONFOptDataBlockEntry<ONFOptResElemScalar> density(iteration, "Density");
        density.PushBackItem(ONFOptResElemScalar(5, iteration == 0 ? 0.5 : 1.0));
        results.GetOptDBElemScalar().PushBackEntry(density);
    }
    ONFOptDataBlockEntry<ONFOptResNodalDisp> moved(7, "Displacement");
    moved.PushBackItem(ONFOptResNodalDisp(1, 1, 2, 3));
    moved.PushBackItem(ONFOptResNodalDisp(2, 4, 5, 6));
    results.GetOptDBNodalDisp().PushBackEntry(moved);
    results.GetOptDBTitle().PushBackEntry(ONFOptDataBlockEntry<ONFOptResTitle>(9, "last"));

    ModelVtuExport series(*model);
    EXPECT_EQ(ModelVtuExport::Iterations(results), (std::vector<int>{0, 7, 9}));
    std::vector<std::vector<std::string>> names;
    for (int iteration : ModelVtuExport::Iterations(results)) {
        series.AddResultsAt(results, iteration);
        const VtuGrid& grid = series.GetGrid();
        names.push_back(Names(grid.pointData));
        const auto& cells = Names(grid.cellData);
        names.back().insert(names.back().end(), cells.begin(), cells.end());
        const std::vector<double>& moved = Array(grid.pointData, "Displacement").reals;
        const std::vector<uint8_t>& valid = Array(grid.pointData, "valid:Displacement").flags;
        const std::vector<double>& density = Array(grid.cellData, "Density").reals;
        if (iteration == 7) {
            EXPECT_EQ(moved, (std::vector<double>{1, 2, 3, 4, 5, 6}));
            EXPECT_EQ(valid, (std::vector<uint8_t>{1, 1}));
            EXPECT_EQ(density, std::vector<double>{1.0});
        } else {
            EXPECT_EQ(moved, std::vector<double>(6, 0.0)) << iteration;
            EXPECT_EQ(valid, (std::vector<uint8_t>{0, 0})) << iteration;
            EXPECT_EQ(std::isnan(density[0]), iteration == 9) << iteration;
        }
        series.DropArrays(1, 4);
    }
    EXPECT_EQ(names[0], (std::vector<std::string>{"NodeId", "Displacement", "valid:Displacement",
                                                  "ElementId", "ElementType", "PropertyId",
                                                  "MaterialId", "Density", "valid:Density"}));
    EXPECT_EQ(names[1], names[0]);
    EXPECT_EQ(names[2], names[0]);
}

TEST(WriteVtu, TextEncodingEscapesNamesAndWritesNan) {
    VtuGrid grid;
    grid.points = {0.1, -2, 1e300};
    grid.connectivity = {0};
    grid.offsets = {1};
    grid.types = {VTK_VERTEX};
    VtuArray value;
    value.name = "a<b>&\"c\"";
    value.type = VtuArray::FLOAT64;
    value.reals = {std::nan("")};
    grid.cellData.push_back(value);
    const std::string path = TempPath("text.vtu");
    WriteVtu(grid, path, VTU_ASCII);
    const std::string text = ReadAll(path);
    EXPECT_NE(text.find("<Piece NumberOfPoints=\"1\" NumberOfCells=\"1\">"), std::string::npos);
    EXPECT_NE(text.find("<DataArray type=\"Float64\" Name=\"a&lt;b&gt;&amp;&quot;c&quot;\" "
                        "format=\"ascii\">\nnan\n        </DataArray>"),
              std::string::npos);
    EXPECT_NE(text.find("NumberOfComponents=\"3\" format=\"ascii\">\n0.1 -2 1e+300\n"),
              std::string::npos);
    EXPECT_NE(text.find("<PointData>\n      </PointData>"), std::string::npos);
}

TEST(WriteVtu, BinaryEncodingIsBase64OfByteCountAndValues) {
    VtuGrid grid;
    VtuArray ints;
    ints.name = "i";
    ints.ints = {1};
    VtuArray flags;
    flags.name = "f";
    flags.type = VtuArray::UINT8;
    flags.flags = {1, 2};
    grid.pointData = {ints, flags};
    const std::string path = TempPath("binary.vtu");
    WriteVtu(grid, path);
    const std::string text = ReadAll(path);
    EXPECT_NE(text.find("Name=\"i\" format=\"binary\">\nBAAAAAAAAAABAAAA\n"), std::string::npos);
    EXPECT_NE(text.find("Name=\"f\" format=\"binary\">\nAgAAAAAAAAABAg==\n"), std::string::npos);
    EXPECT_NE(text.find("Name=\"types\" format=\"binary\">\nAAAAAAAAAAA=\n"), std::string::npos);
}

TEST(WriteVtu, AFileThatCannotBeOpenedFailsWithTheReason) {
    try {
        WriteVtu(VtuGrid(), "/nonexistent-folder/grid.vtu");
        ADD_FAILURE() << "no failure";
    } catch (const std::runtime_error& failure) {
        EXPECT_STREQ(failure.what(),
                     "cannot open /nonexistent-folder/grid.vtu: No such file or directory");
    }
}
