// The temporary exchange file: Read of any bytes, the loadcase, matrix step, element set and
// alias queries, Write.
#include "FuzzFileKind.h"

#include "OnfTemporaryFile.h"

#include <map>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    onf_fuzz::RunFileKind("900.onf", data, size, [](const std::wstring& path) {
        OnfTemporaryFile file;
        file.Read(path);
        std::map<int, int> loadcases;
        file.GetLcMapZarnToCorvane(loadcases);
        for (const auto& entry : loadcases) {
            file.GetRequestLcId(entry.first);
        }
        std::vector<MatrixStepInfo> steps;
        file.GetMatrixStepsInfo(steps);
        std::string name;
        for (int id = -1; id <= 3; ++id) {
            file.GetMatrixStep(id);
            file.GetMatrixStepModelName(id, name);
        }
        file.HasElementMatrixStep();
        QSV_IntSetIntvl<int> set;
        file.GetSpecialMatrixElemSet(set);
        std::map<std::string, std::string> aliases;
        file.GetDRespAliasesMap(aliases);
        std::vector<std::string> names;
        for (const auto& entry : aliases) {
            file.GetDRespMappedNames(entry.second, names);
        }
        file.Write(onf_fuzz::TempPath("900_out.onf"));
    });
    return 0;
}
