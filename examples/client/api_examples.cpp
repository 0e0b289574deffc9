// The worked examples of docs/api.md, one a file kind. Each writes its files into the folder
// given as the first argument (default: the current folder), reads them back and checks what it
// reads; the program fails loudly when one does not hold.
#include "BrelonOnfEngine.h"

#include <cstdio>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

std::wstring g_Folder = L".";

std::wstring PathOf(const wchar_t* name) {
    return g_Folder + L"/" + name;
}

void Check(bool condition, const char* what) {
    if (!condition) {
        throw std::runtime_error(std::string("example failed: ") + what);
    }
}

// ---- Model file ---------------------------------------------------------------------------------
void ModelExample() {
    auto model = std::make_unique<OnfModelFile>(PathOf(L"beam.onf"), nullptr);
    // A local system 10, shifted by 100 along x, and two nodes, the second one given in it.
    model->AppendCoordSys(10, OnfCoordSystem::CS_CARTESIAN, 0, "SHIFTED",
                          BrelonMatrix<3, 1, double>(100, 0, 0), // origin
                          BrelonMatrix<3, 1, double>(0, 0, 1),   // z direction
                          BrelonMatrix<3, 1, double>(1, 0, 0));  // x direction
    model->AppendNode(1, 0, 0, 0.0, 0.0, 0.0);
    model->AppendNode(2, 10, 0, 50.0, 0.0, 0.0);
    model->AppendElement(1, OnfElement::ELEM_BEAM2, /*property*/ 1, /*unused*/ 0, {1, 2}, 0, 0, 0);
    model->Write();

    auto read = std::make_unique<OnfModelFile>(PathOf(L"beam.onf"), nullptr);
    read->Read();
    std::vector<int> nodes;
    read->GetElementNodes(1, nodes);
    const BrelonMatrix<3, 1, double> end = read->GetNodeGlobalCoordinates(2);
    Check(read->GetNumNodes() == 2 && nodes == std::vector<int>{1, 2}, "model content");
    Check(end[0] == 150.0, "node 2 in global coordinates");
}

// ---- Groups file --------------------------------------------------------------------------------
void GroupsExample() {
    OnfGroupsFile groups(PathOf(L"groups.onf"));
    groups.AppendNodeGroup(1, "SUPPORT", {1});
    groups.AppendElementGroup(1, "DESIGN", {1, 2, 3});
    groups.Write();

    OnfGroupsFile read(PathOf(L"groups.onf"));
    read.Read();
    const OnfBlock& elementGroups = read.GetBlock(static_cast<QSV_OnfId>(210));
    const auto name = static_cast<OnfBlock::Item>(2);
    const auto members = static_cast<OnfBlock::Item>(3);
    const long long index = elementGroups.GetRecordIdx(1);
    Check(index >= 0 && std::string(elementGroups.GetString(index, name)) == "DESIGN",
          "group name");
    Check(elementGroups.GetIntList(index, members).size() == 3, "group members");
}

// ---- Init file ----------------------------------------------------------------------------------
void InitExample() {
    auto model = std::make_unique<OnfModelFile>(PathOf(L"unused.onf"), nullptr);
    for (int id = 1; id <= 3; ++id) {
        model->AppendNode(id, 0, 0, id, 0, 0);
    }
    OnfInitFile init(PathOf(L"init.onf"));
    model->CollectInitData(init); // one record a non-empty block: first id, last id, count
    init.Write();

    OnfInitFile read(PathOf(L"init.onf"));
    read.Read();
    Check(read.GetNumItems(static_cast<QSV_OnfId>(110)) == 3, "node count hint");
}

// ---- Temporary exchange file --------------------------------------------------------------------
void TemporaryExample() {
    OnfTemporaryFile scratch;
    scratch.AppendLcResReq(/*optimiser loadcase*/ 1, /*solver loadcase*/ 101, 0, 0);
    scratch.Write(PathOf(L"900.onf"));

    OnfTemporaryFile read;
    read.Read(PathOf(L"900.onf"));
    Check(read.GetRequestLcId(101) == 1 && read.GetRequestLcId(7) == 7, "loadcase map");
}

// ---- Modification file --------------------------------------------------------------------------
void ModificationExample() {
    OnfModifFile modif(PathOf(L"modif.onf"));
    OnfBlock& deleted = modif.GetBlock(static_cast<QSV_OnfId>(842));
    bool created = false;
    const size_t record = deleted.GetWarrantedRecordIdx(1, created);
    deleted.SetRecordItem(record, static_cast<OnfBlock::Item>(2), std::vector<int>{7, 8},
                          ONF_INT_LIST_SORTED);
    deleted.TransferSetSize(record, static_cast<OnfBlock::Item>(2), static_cast<OnfBlock::Item>(1));
    modif.Write();

    OnfModifFile read(PathOf(L"modif.onf"));
    read.Read();
    read.ReadSpecialModInstruction();
    read.BuildModificationLists();
    Check(read.IsDelElem(8) && !read.IsDelElem(9), "deleted elements");
    Check(!read.GetBailoutFlag(), "no special instruction");
}

// ---- Result request file ------------------------------------------------------------------------
void RequestExample() {
    // Displacements (block 500) of loadcase 1, any analysis and substep.
    std::ofstream(BrelonStringUtil::wide_to_utf8(PathOf(L"requests.onf").c_str()))
        << "   -1\n400\n1\n1, 500, -1, 1, -1, 0, 0\n\n0\n   -1\n";
    OnfResultRequestFile requests(PathOf(L"requests.onf"));
    requests.Read();
    const auto displacements = static_cast<QSV_OnfId>(500);
    Check(requests.resultIsRequested(displacements, ONF_ANALYSIS_ANY, 1), "loadcase 1");
    Check(!requests.resultIsRequested(displacements, ONF_ANALYSIS_ANY, 2), "loadcase 2");
}

// ---- Optimisation result file -------------------------------------------------------------------
void OptResultExample() {
    ONFOptResultFile result(PathOf(L"result.onf"));
    ONFOptDataBlockEntry<ONFOptResElemScalar> density(/*iteration*/ 3, "Density");
    density.PushBackItem(ONFOptResElemScalar(1, 0.75));
    density.PushBackItem(ONFOptResElemScalar(2, 1.0));
    result.GetOptDBElemScalar().PushBackEntry(density);
    result.GetOptDBElementGroup().AddItem(ONFElementGroup(1, "DESIGN", {1, 2}));
    result.Write();

    ONFOptResultFile read(PathOf(L"result.onf"));
    read.Read();
    const auto& entry = read.GetOptDBElemScalar().GetEntry(0);
    Check(entry.GetID() == 3 && entry.GetTitle() == "Density", "entry");
    Check(entry.GetItem(0).GetValue() == 0.75 && read.GetNumElementGroup() == 1, "values");
}

// ---- A file of unknown kind
// ----------------------------------------------------------------------
void UnknownKindExample() {
    const OnfBlockTextReader reader(PathOf(L"result.onf").c_str(),
                                    OnfBlockTextReader::UNKNOWN_BLOCK_KEEP);
    const OnfFileKind kind = OnfFileKindOf(reader);
    Check(kind == ONF_FILE_OPT_RESULT, "kind");
    Check(std::string(OnfFileKindName(kind)) == "optimisation result file", "kind name");
    Check(OnfBlockName(reader.GetBlocksInfo()[0].block_id) == "ONF OPT Result Title", "title");
}

} // namespace

int main(int argc, char** argv) {
    if (argc > 1) {
        g_Folder = BrelonStringUtil::utf8_to_wide(argv[1]);
    }
    const struct {
        const char* name;
        void (*run)();
    } examples[] = {{"model", ModelExample},
                    {"groups", GroupsExample},
                    {"init", InitExample},
                    {"temporary", TemporaryExample},
                    {"modification", ModificationExample},
                    {"result request", RequestExample},
                    {"optimisation result", OptResultExample},
                    {"unknown kind", UnknownKindExample}};
    int failed = 0;
    for (const auto& example : examples) {
        try {
            example.run();
            std::printf("%s: ok\n", example.name);
        } catch (const std::exception& failure) {
            std::printf("%s: %s\n", example.name, failure.what());
            ++failed;
        }
    }
    return failed == 0 ? 0 : 1;
}
