// The groups file: Read of any bytes (repeated blocks merged, clashing names renamed), the group
// queries, the name check against a model, and Write.
#include "FuzzFileKind.h"

#include "OnfGroupsFile.h"
#include "OnfModelFile.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    onf_fuzz::RunFileKind("groups.onf", data, size, [](const std::wstring& path) {
        OnfGroupsFile groups(path);
        groups.Read();
        groups.GetGroupMaxId(static_cast<QSV_OnfId>(200));
        groups.GetGroupMaxId(static_cast<QSV_OnfId>(210));
        OnfModelFile model(onf_fuzz::TempPath("model.onf"), nullptr);
        groups.CheckIdenticalNames(&model);
        OnfGroupsFile copy(onf_fuzz::TempPath("groups_out.onf"));
        copy.LoadFromDb(groups, -1);
        copy.Write();
    });
    return 0;
}
