// The result request file: Read of any bytes (the request map rebuilt), the request,
// sensitivity and time point queries, Write.
#include "FuzzFileKind.h"

#include "OnfResultRequestFile.h"

#include <vector>

namespace {

void QueryRequests(OnfResultRequestFile& requests) {
    QSV_IntSetIntvl<int> loadcases;
    requests.GetRequestedLoadcases(loadcases);
    std::vector<int> cases;
    loadcases.GetValues(cases);
    cases.push_back(-1);
    for (int lc : cases) {
        requests.RegisterSubstep(lc, 1);
        QSV_IntSetIntvl<int> blocks;
        requests.GetRequests(lc, blocks);
        std::vector<int> ids;
        blocks.GetValues(ids);
        for (int id : ids) {
            requests.resultIsRequested(static_cast<QSV_OnfId>(id), static_cast<OnfAnalysisType>(0),
                                       lc, 1);
        }
        std::vector<int> matrices;
        requests.GlobalMatricesRequested(lc, matrices);
        std::vector<const OnfSensitivity::SensitivityRequest*> sensitivities;
        requests.GetSensitivityRequests(lc, sensitivities);
    }
    requests.OnlyMatricesRequested();
    requests.UserVarName();
    OnfResultRequestFile::SetMap nodeSets;
    OnfResultRequestFile::SetMap elementSets;
    requests.GetSensitivityRequestsSets(nodeSets, elementSets);
    requests.GetSensitivityRequestsOrientations();
    requests.GetTimePointInfo();
    requests.GetTimePointNameMap();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    onf_fuzz::RunFileKind("requests.onf", data, size, [](const std::wstring& path) {
        OnfResultRequestFile requests(path);
        requests.Read();
        QueryRequests(requests);
        requests.Write(OnfResultRequestFile::GroupItems());
    });
    return 0;
}
