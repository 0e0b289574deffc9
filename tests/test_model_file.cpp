// The model file: element rules and collisions, multi-deck behaviour, the key schemes of
// constraints and rigid elements, the process-wide load item counters, default properties,
// queries and updates.
#include "LogCapture.h"
#include "OnfInitFile.h"
#include "test_model_util.h"

#include <algorithm>
#include <cmath>

namespace {

using namespace onf_test;
using V3 = BrelonMatrix<3, 1, double>;

std::vector<int> Range(int first, int count) {
    std::vector<int> values;
    for (int k = 0; k < count; ++k) {
        values.push_back(first + k);
    }
    return values;
}

class ModelFileTest : public ::testing::Test {
protected:
    OnfModelFile model{L"model_test.onf", nullptr};
};

TEST_F(ModelFileTest, NodeCountsAboveTwentyAreForDummiesOnly) {
    EXPECT_TRUE(model.AppendElement(1, OnfElement::ELEM_DUMMY, 4, 9, Range(100, 25), 0, 0, 0));
    EXPECT_EQ(Int(model, 140, 1, 2), 20);
    EXPECT_EQ(List(model, 140, 1, 8), Range(100, 20));
    EXPECT_EQ(Int(model, 140, 1, 4), 0); // the material argument is not stored

    ExpectFailure(
        [&] { model.AppendElement(2, OnfElement::ELEM_HEXA8, 4, 0, Range(1, 21), 0, 0, 0); },
        "301111140545", kModelTag,
        "Trying to define a non-dummy ONF-element with too many nodes!\nElement type: 3; "
        "number of nodes: 21");
    EXPECT_TRUE(model.AppendElement(3, OnfElement::ELEM_HEXA8, 4, 0, Range(1, 20), 0, 0, 0));
    EXPECT_EQ(model.GetNumElemFaces(3), 6);
    ExpectFailure([&] { model.GetNumElemFaces(99); }, "155455310811",
                  "|%P|BrelonOnfEngine|OnfBlockSet",
                  "The item with id 99 was not located in "
                  "block 140.");
}

TEST_F(ModelFileTest, RedefinedElementsAreComparedAndCollisionsLogged) {
    model.AppendElement(7, OnfElement::ELEM_SHELL_QUAD4, 2, 0, {1, 2, 3, 4}, 1, 0, 0);
    LogCapture log;
    EXPECT_FALSE(model.AppendElement(7, OnfElement::ELEM_SHELL_QUAD4, 2, 5, {4, 3, 2, 1}, 0, 0, 0));
    EXPECT_TRUE(log.lines.empty());
    EXPECT_EQ(model.GetNumColidedElements(), 0);

    EXPECT_FALSE(model.AppendElement(7, OnfElement::ELEM_SHELL_TRIA3, 3, 0, {1, 2, 3}, 0, 0, 0));
    const std::vector<std::string> expected = {"Element ID 7 collides with already defined one!",
                                               "**********************************************",
                                               "The new one has the following properties:",
                                               "\tItem type     : 10",
                                               "\tNum nodes     : 3",
                                               "\tProperty id   : 3",
                                               "\tMaterial id   : 0",
                                               "The old one had the following properties:",
                                               "\tItem type     : 12",
                                               "\tNum nodes     : 4",
                                               "\tProperty id   : 2",
                                               "\tMaterial id   : 0",
                                               "**********************************************"};
    ASSERT_EQ(log.lines.size(), expected.size());
    for (size_t k = 0; k < expected.size(); ++k) {
        EXPECT_EQ(log.lines[k].message, expected[k]);
        EXPECT_EQ(log.lines[k].level,
                  k == 0 ? QSV_LogMacros::LOG_WARNING : QSV_LogMacros::LOG_DETAIL);
        EXPECT_EQ(log.lines[k].tag, kModelTag);
    }
    EXPECT_EQ(model.GetNumColidedElements(), 1);
    EXPECT_EQ(List(model, 140, 7, 8), (std::vector<int>{1, 2, 3, 4}));
}

TEST_F(ModelFileTest, LaterDecksJoinFlagsAndTurnUnknownElementsIntoDummies) {
    model.AppendNode(1, 0, 0, 1, 2, 3);
    model.AppendElement(1, OnfElement::ELEM_BEAM2, 1, 0, {1, 2}, 0, 1, 0);
    model.SetReadFEMData(false);
    model.SetNewModelName(L"second.dat");
    LogCapture log;
    EXPECT_TRUE(model.AppendNode(1, 0, 0, 9, 9, 9));
    EXPECT_TRUE(model.AppendElement(1, OnfElement::ELEM_BEAM2, 1, 0, {1, 2}, 5, 0, 0));
    EXPECT_EQ(Int(model, 140, 1, 5), 1);
    EXPECT_EQ(Int(model, 140, 1, 6), 1);
    EXPECT_EQ(Int(model, 140, 1, 7), 0);
    EXPECT_TRUE(model.AppendElement(8, OnfElement::ELEM_HEXA8, 1, 0, Range(1, 30), 0, 0, 0));
    EXPECT_TRUE(model.AppendElement(9, OnfElement::ELEM_HEXA8, 1, 0, {}, 0, 0, 0));
    EXPECT_EQ(Int(model, 140, 8, 1), 40);
    EXPECT_EQ(Int(model, 140, 9, 1), 40);
    const std::string warning =
        "The input deck \"%s\" contains element(s)\nnot known from your first input deck.\nThe "
        "first such element has id = %d.\nThis element, as well as all successive new "
        "elements in this model which were\nnot defined in the first input deck, will NOT be "
        "considered in the optimization!\nPlease verify for instance that the mentioned "
        "element (with id = %d)\nis not used as a design element.";
    ASSERT_EQ(log.lines.size(), 1u);
    EXPECT_EQ(log.lines[0].message, QSV_MESSAGE(warning.c_str(), "second.dat", 8, 8));
    model.SetNewModelName(L"third.dat");
    model.AppendElement(10, OnfElement::ELEM_HEXA8, 1, 0, {}, 0, 0, 0);
    EXPECT_TRUE(
        log.Has(QSV_LogMacros::LOG_WARNING, QSV_MESSAGE(warning.c_str(), "third.dat", 10, 10)));
    EXPECT_EQ(Vec(model, 110, 1, 3), V3(1, 2, 3));
    // Attribute setters skip later decks too.
    model.SetElementProperty(1, 77);
    model.SetNodeCSDef(12345, 1);
    EXPECT_EQ(Int(model, 140, 1, 3), 1);
}

TEST_F(ModelFileTest, ConstraintsShareSetsUntilANewConstraintComes) {
    const std::vector<int> dofs = {1, 2, 3};
    const int hash = BrelonFemUtil::hash_dof_vector(dofs);
    model.AppendSinglePointConstraint(1, dofs, {5, 3});
    model.AppendSinglePointConstraint(1, dofs, {7});
    model.AppendSinglePointConstraint(1, dofs, {9});
    model.AppendSinglePointConstraint(1, {4}, {2});
    EXPECT_EQ(List(model, 151, hash, 3), (std::vector<int>{3, 5}));
    EXPECT_EQ(List(model, 151, 100 + hash, 3), (std::vector<int>{7, 9}));
    EXPECT_EQ(Int(model, 151, 100 + hash, 1), 2);
    EXPECT_EQ(List(model, 151, 100 + hash, 2), dofs);
    std::vector<int> keys = {hash, 100 + hash, 100 + BrelonFemUtil::hash_dof_vector({4})};
    std::sort(keys.begin(), keys.end());
    EXPECT_EQ(List(model, 152, 1, 2), keys);
    EXPECT_EQ(Int(model, 152, 1, 1), 3);

    // Each new constraint moves the running number on.
    const int hash5 = BrelonFemUtil::hash_dof_vector({5});
    model.AppendSinglePointConstraint(2, {5}, {11});
    EXPECT_EQ(List(model, 152, 2, 2), (std::vector<int>{100 + hash5}));
    model.AppendSinglePointConstraint(3, dofs, {12});
    EXPECT_EQ(List(model, 152, 3, 2), (std::vector<int>{200 + hash}));
    EXPECT_EQ(List(model, 151, 200 + hash, 3), (std::vector<int>{12}));
}

TEST_F(ModelFileTest, RigidElementKeysFollowTheirRunningNumber) {
    const std::vector<int> dofs = {1, 2, 3, 4, 5, 6};
    const int hash = BrelonFemUtil::hash_dof_vector(dofs);
    EXPECT_TRUE(model.AppendRbe(10, OnfRbe::RbeData{dofs, {4, 2}, {8}}));
    EXPECT_TRUE(model.AppendRbe(11, OnfRbe::RbeData{dofs, {6}, {}}));
    EXPECT_TRUE(model.AppendRbe(10, OnfRbe::RbeData{dofs, {1}, {9}}));
    EXPECT_EQ(List(model, 164, 10, 4), (std::vector<int>{hash, hash}));
    EXPECT_EQ(List(model, 164, 10, 2), (std::vector<int>{hash + 100, hash + 100}));
    EXPECT_EQ(Int(model, 164, 10, 3), 2);
    EXPECT_EQ(List(model, 165, hash, 3), (std::vector<int>{1, 2, 4}));
    EXPECT_EQ(List(model, 165, hash + 100, 3), (std::vector<int>{8, 9}));
    // An empty dependent set makes no set and enters no key.
    EXPECT_EQ(List(model, 164, 11, 4), (std::vector<int>{200 + hash}));
    EXPECT_TRUE(List(model, 164, 11, 2).empty());
    EXPECT_FALSE(model.GetBlock(Bl(165)).HasRecord(300 + hash));
    EXPECT_EQ(model.GetNumRBE(), 2u);

    // The map knows only RBEs appended here; a deleted record no longer matches it.
    model.GetBlock(Bl(164)).DeleteRecord(0);
    ExpectFailure(
        [&] {
            model.AppendRbe(10, OnfRbe::RbeData{dofs, {1}, {}});
        },
        "120319092811", kModelTag,
        "RBE with id 10 already contained in the internal data-structures, and it "
        "shouldn't be!");
    OnfModelFile read(L"read.onf", nullptr);
    bool created = false;
    read.GetBlock(Bl(164)).GetWarrantedRecordIdx(10, created);
    ExpectFailure(
        [&] {
            read.AppendRbe(10, OnfRbe::RbeData{dofs, {1}, {}});
        },
        "120319093244", kModelTag, "RBE with id 10 not found in the internal data-structures!");
}

TEST_F(ModelFileTest, LoadItemIdsRunOnAcrossModels) {
    BrelonRadixTrieMap<int, OnfNodalForces::NodalForce> forces;
    forces.Insert(12, OnfNodalForces::NodalForce{12, 0, {1, 2, 3, 4, 5, 6}});
    forces.Insert(3, OnfNodalForces::NodalForce{3, 1, {0, 0, -9.5, 0, 0, 0}});
    EXPECT_TRUE(model.AppendNodalForces(1, "GRAVITY", forces));
    const std::vector<int> first = List(model, 173, 1, 3);
    ASSERT_EQ(first.size(), 2u);
    EXPECT_EQ(first[1], first[0] + 1);
    EXPECT_EQ(Int(model, 172, first[0], 1), 3); // ascending key order
    EXPECT_EQ(Real(model, 172, first[0], 5), -9.5);
    EXPECT_FALSE(model.AppendNodalForces(1, "AGAIN", forces));
    EXPECT_FALSE(model.AppendNodalForces(2, "EMPTY", {}));
    EXPECT_EQ(model.GetNumNodalForces(), 2u);

    OnfModelFile other(L"other.onf", nullptr);
    forces.Clear();
    forces.Insert(1, OnfNodalForces::NodalForce{1, 0, {}});
    EXPECT_TRUE(other.AppendNodalForces(1, "F", forces));
    EXPECT_EQ(List(other, 173, 1, 3), (std::vector<int>{first[1] + 1}));

    // Displacements have their own counter and overwrite an existing item.
    std::map<int, OnfNodalDisplacements::NodalDisplacement> disp;
    disp[4] = OnfNodalDisplacements::NodalDisplacement{4, 0, {0.5, 0, 0, 0, 0, 0}};
    EXPECT_TRUE(model.AppendPrescribedDisplacements(1, "D1", disp));
    const int next = List(model, 175, 1, 3).at(0) + 1;
    bool created = false;
    const size_t index = other.GetBlock(Bl(174)).GetWarrantedRecordIdx(next, created);
    other.GetBlock(Bl(174)).SetRecordItem(index, It(1), 99);
    EXPECT_TRUE(other.AppendPrescribedDisplacements(3, "D3", disp));
    EXPECT_EQ(List(other, 175, 3, 3), (std::vector<int>{next}));
    EXPECT_EQ(Int(other, 174, next, 1), 4);
}

TEST_F(ModelFileTest, DefaultPropertiesEachGetALayer) {
    EXPECT_EQ(model.GetNextFreeLayerId(), 1);
    model.CreateDefaultProperties();
    std::set<int> ids;
    model.GetPropertyIDs(ids);
    EXPECT_EQ(ids, (std::set<int>{1, 2, 3, 4, 5, 6, 8}));
    EXPECT_EQ(model.GetBlock(Bl(125)).GetNumRecords(), 7u);
    std::vector<int> layers;
    model.GetPropertyLayers(8, layers);
    EXPECT_EQ(layers, std::vector<int>{7});
    EXPECT_EQ(Text(model, 130, 8, 3), "Def_prop_3D_beam");
    EXPECT_EQ(Int(model, 130, 8, 2), 1);
    EXPECT_EQ(Real(model, 125, 7, 2), 1.0);
    EXPECT_EQ(model.GetNextFreeLayerId(), 8);

    int layerId = -5;
    EXPECT_FALSE(model.AppendProperty(8, OnfProperty::PROP_SHELL, "X", 2, 2, true, 0, &layerId));
    EXPECT_EQ(layerId, -5);
    EXPECT_EQ(model.GetBlock(Bl(125)).GetNumRecords(), 7u);
    model.GetPropertyLayers(7, layers);
    EXPECT_TRUE(layers.empty());
}

TEST_F(ModelFileTest, SingleLayerPropertiesTakeTheirFirstMaterial) {
    model.AppendMaterial(1, 1, "STEEL", {true, false, true}, {7.85e-9, 210000.0});
    model.AppendMaterial(2, 1, "ALU", {}, {});
    EXPECT_EQ(Int(model, 120, 1, 5), 1);
    EXPECT_EQ(Int(model, 120, 1, 7), 0);
    int layer = 0;
    model.AppendProperty(30, OnfProperty::PROP_SHELL, "SKIN", 1.5, 2.5, true, 40, &layer);
    EXPECT_EQ(layer, 41);
    LogCapture log;
    model.UpdatePropertyData(30, 1);
    model.UpdatePropertyData(30, 1);
    EXPECT_TRUE(log.lines.empty());
    EXPECT_EQ(Int(model, 125, 41, 1), 1);
    model.UpdatePropertyData(30, 2);
    ASSERT_EQ(log.lines.size(), 1u);
    EXPECT_EQ(log.lines[0].message,
              "Property with ID = 30 and name SKIN is associated\nwith material 1 (name: STEEL) "
              "in the first input deck.\nA different association for this property from a "
              "successive input deck\nusing material 2 (name: ALU) will be ignored.");
    model.SetPropertyLayers(30, {41, 41});
    model.UpdatePropertyData(30, 2); // multi-layer: left alone
    EXPECT_EQ(Int(model, 130, 30, 2), 2);
    EXPECT_EQ(Int(model, 125, 41, 1), 1);
}

TEST_F(ModelFileTest, NodeElementQueries) {
    model.AppendElement(1, OnfElement::ELEM_SHELL_TRIA3, 1, 0, {1, 2, 3}, 0, 0, 0);
    model.AppendElement(2, OnfElement::ELEM_SHELL_TRIA3, 1, 0, {3, 4, 5}, 0, 0, 0);
    model.AppendElement(3, OnfElement::ELEM_SHELL_TRIA3, 1, 0, {4, 4, 5}, 0, 0, 0);
    std::vector<int> found;
    model.GetNodeElements(QSV_IntSetIntvl<int>(), found, false);
    EXPECT_TRUE(found.empty());
    model.GetNodeElements(QSV_IntSetIntvl<int>({3}), found, false);
    EXPECT_EQ(found, (std::vector<int>{1, 2}));
    // Element 3 repeats node 4, so it never has all of its nodes in a set.
    model.GetNodeElements(QSV_IntSetIntvl<int>({1, 2, 3, 4, 5}), found, true);
    EXPECT_EQ(found, (std::vector<int>{1, 2}));
    QSV_IntSetIntvl<int> elements;
    model.GetNodeElements(QSV_IntSetIntvl<int>({2, 3, 4}), elements, true);
    EXPECT_TRUE(elements.IsEmpty());

    QSV_IntSetIntvl<int> nodes;
    model.GetElementsNodes(QSV_IntSetIntvl<int>({2, 3, 99}), nodes);
    EXPECT_EQ(nodes, QSV_IntSetIntvl<int>({3, 4, 5}));
    model.GetElementNodes(99, found);
    EXPECT_TRUE(found.empty());
    ExpectFailure([&] { model.SetNodeCSDisp(4, 1); }, "161015150210", kModelTag,
                  "Node with ID 4 is not available.");
}

TEST_F(ModelFileTest, AccelerationsAreScaledAndRenamedByTarget) {
    OnfAcceleration::AccelData data;
    data.translation = V3(1, 2, 3);
    data.angularVelocity = V3(1, -1, 0.5);
    data.angularAcceleration = V3(0, 0, 2);
    data.targetType = OnfAcceleration::TARGET_ELEMENT_GROUP;
    data.targetName = "ROTOR";
    model.AppendAcceleration(1, data);
    data.targetType = OnfAcceleration::TARGET_NODE_GROUP;
    model.AppendAcceleration(2, data);
    data.targetType = OnfAcceleration::TARGET_ELEMENT_IDS;
    data.targets = {9, 4, 9};
    model.AppendAcceleration(3, data);
    EXPECT_EQ(Text(model, 176, 3, 12), "(empty)");
    EXPECT_EQ(List(model, 176, 3, 14), (std::vector<int>{4, 9}));
    EXPECT_EQ(Int(model, 176, 3, 13), 2);

    model.RenameGroup("ROTOR", OnfAcceleration::TARGET_ELEMENT_GROUP, "HUB");
    EXPECT_EQ(Text(model, 176, 1, 12), "HUB");
    EXPECT_EQ(Text(model, 176, 2, 12), "ROTOR");

    model.ScaleAccel(1, 4.0);
    EXPECT_EQ(Vec(model, 176, 1, 2), V3(4, 8, 12));
    EXPECT_EQ(Vec(model, 176, 1, 4), V3(2, -2, 1));
    EXPECT_EQ(Vec(model, 176, 1, 6), V3(0, 0, 8));
    model.ScaleAccel(2, -1.0);
    EXPECT_TRUE(std::isnan(Vec(model, 176, 2, 4)[0]));
    EXPECT_THROW(model.ScaleAccel(7, 2.0), QSV_Failure);
}

TEST_F(ModelFileTest, SmallBlocksGetNamesAndRunningIds) {
    OnfLoadcase::LcData lc;
    lc.id = 5;
    lc.forceSets = {3, 1, 3};
    EXPECT_TRUE(model.AppendLoadcase(lc));
    EXPECT_FALSE(model.AppendLoadcase(lc));
    EXPECT_EQ(Text(model, 180, 5, 1), "temp_loadcase_name5");
    EXPECT_EQ(Int(model, 180, 5, 3), 2);

    EXPECT_FALSE(model.HasBlock(Bl(1200)));
    EXPECT_TRUE(model.AppendCFDFluidBoundary(7, "INLET"));
    EXPECT_TRUE(model.AppendCFDFluidBoundary(8, "OUTLET"));
    EXPECT_EQ(Text(model, 1200, 2, 2), "OUTLET");
    // The id is the count plus one, not the highest id plus one: after a deletion the next
    // boundary meets "OUTLET" and leaves it alone.
    model.GetBlock(Bl(1200)).DeleteRecord(1);
    EXPECT_TRUE(model.AppendCFDFluidBoundary(9, "WALL"));
    EXPECT_EQ(Text(model, 1200, 2, 2), "OUTLET");
    EXPECT_EQ(Int(model, 1200, 2, 1), 8);
}

TEST_F(ModelFileTest, InitDataSkipsEmptyBlocksAndDeletedRecords) {
    model.AppendNode(4, 0, 0, 0, 0, 0);
    model.AppendNode(9, 0, 0, 0, 0, 0);
    model.AppendNode(2, 0, 0, 0, 0, 0);
    model.GetBlock(Bl(110)).DeleteRecord(0);
    OnfInitFile init(L"init.onf");
    model.CollectInitData(init);
    EXPECT_EQ(model.GetBlock(Bl(110)).GetNumRecords(), 2u);
    EXPECT_EQ(Int(init, 97, 110, 1), 9);
    EXPECT_EQ(Int(init, 97, 110, 2), 2);
    EXPECT_EQ(Int(init, 97, 110, 3), 2);
    EXPECT_EQ(Int(init, 97, 100, 3), 1);
    EXPECT_EQ(init.GetBlock(Bl(97)).GetNumRecords(), 2u);
}

} // namespace
