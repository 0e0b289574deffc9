// The model file: Read of any bytes, then the node, element and property queries over what was
// read, the pre-write resolution of coordinate systems, and Write.
#include "FuzzFileKind.h"

#include "OnfInitFile.h"
#include "OnfModelFile.h"

#include <set>
#include <vector>

namespace {

const QSV_OnfId kNodes = static_cast<QSV_OnfId>(110);
const QSV_OnfId kElements = static_cast<QSV_OnfId>(140);

void QueryModel(OnfModelFile& model) {
    std::vector<int> ids;
    if (model.HasBlock(kNodes)) {
        model.GetBlock(kNodes).GetIdSet(ids);
        for (int id : ids) {
            model.GetNodeGlobalCoordinates(id);
        }
    }
    QSV_IntSetIntvl<int> elements;
    QSV_IntSetIntvl<int> nodes;
    if (model.HasBlock(kElements)) {
        model.GetBlock(kElements).GetIdSet(ids);
        std::vector<int> elementNodes;
        for (int id : ids) {
            model.GetElementNodes(id, elementNodes);
            model.GetNumElemFaces(id);
            elements.Insert(id);
        }
    }
    model.GetElementsNodes(elements, nodes);
    std::vector<int> found;
    model.GetNodeElements(nodes, found, true);
    std::set<int> properties;
    model.GetPropertyIDs(properties);
    std::vector<int> layers;
    for (int id : properties) {
        model.GetPropertyLayers(id, layers);
    }
    model.GetNextFreeLayerId();
    OnfInitFile init(onf_fuzz::TempPath("init.onf"));
    model.CollectInitData(init);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    onf_fuzz::RunFileKind("model.onf", data, size, [](const std::wstring& path) {
        OnfModelFile model(path, nullptr);
        model.Read();
        QueryModel(model);
        model.PreWriteConvert();
        model.SetFilename(onf_fuzz::TempPath("model_out.onf"));
        model.Write();
    });
    return 0;
}
