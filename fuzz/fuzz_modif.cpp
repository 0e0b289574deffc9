// The modification file: Read of any bytes, the special instructions, the modification lists
// and their queries, the modified element sets, ply and material reduction, Write.
#include "FuzzFileKind.h"

#include "OnfModifFile.h"

#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    onf_fuzz::RunFileKind("modif.onf", data, size, [](const std::wstring& path) {
        OnfModifFile modif(path);
        modif.Read();
        modif.ReadSpecialModInstruction();
        modif.BuildModificationLists();
        const std::vector<int> some = {-1, 0, 1, 2, 3, 7, 100};
        modif.AnyElementDeleted(some);
        modif.AnyElementModified(some);
        modif.AnyElementHasChildren(some);
        bool found = false;
        for (int id : some) {
            modif.IsDelElem(id);
            modif.IsDelNode(id);
            modif.GetElementChildren(id);
            modif.GetNewNodePosition(id, found);
        }
        modif.HasElemModData();
        modif.HasMatModData();
        modif.GetNumAddLoadcases();
        modif.ReducePlies();
        modif.ReduceMaterials(2);
        modif.Write();
    });
    return 0;
}
