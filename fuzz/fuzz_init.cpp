// The init file of size hints: Read of any bytes, the hint of every catalogued model block, Write.
#include "FuzzFileKind.h"

#include "OnfInitFile.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    onf_fuzz::RunFileKind("init.onf", data, size, [](const std::wstring& path) {
        OnfInitFile init(path);
        init.Read();
        for (int block = 100; block <= 181; ++block) {
            init.GetNumItems(static_cast<QSV_OnfId>(block));
        }
        init.GetNumItems(static_cast<QSV_OnfId>(1200));
        init.Write();
    });
    return 0;
}
