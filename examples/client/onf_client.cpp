// A small client of the library: reads a model file and prints its counts.
// Usage: onf_client MODEL.onf
#include "BrelonOnfEngine.h"

#include <cstdio>
#include <memory>
#include <string>

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: onf_client MODEL.onf\n");
        return 2;
    }
    try {
        const std::wstring name = BrelonStringUtil::utf8_to_wide(argv[1]);
        // A model holds its blocks and pools itself; keep it on the heap, it is not small.
        auto model = std::make_unique<OnfModelFile>(name, nullptr);
        model->Read();
        std::printf("%s: %zu nodes, %zu elements, %zu coordinate systems, %zu loadcases\n", argv[1],
                    model->GetNumNodes(), model->GetNumElement(), model->GetNumCoordSystem(),
                    model->GetNumLoadcase());
        return 0;
    } catch (const QSV_Failure& failure) {
        std::fprintf(stderr, "%s: %s\n", argv[1], failure.GetMessage().c_str());
        return 1;
    }
}
