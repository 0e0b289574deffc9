// The model file: from elements to nodes and back, attribute updates, group renames,
// and acceleration scaling.
#include "OnfModelFile.h"

#include "OnfModelFileDetail.h"
#include "QSV_Failure.h"

#include <algorithm>
#include <cmath>

using onf_detail::BlockId;
using onf_detail::ItemNr;
using onf_detail::kModelTag;
namespace Item = QSV_DataRecordItem;

namespace {

// Number of distinct values of `values` (sorted, duplicates removed in place) that `set` holds.
// This is the size of the intersection of the two sets, found by a binary search in `set` for
// each value: an element has a handful of nodes, while `set` may hold millions of runs, so
// walking the runs of `set` for every element would cost far more.
size_t CountCommonValues(std::vector<int>& values, const QSV_IntSetIntvl<int>& set) {
    std::sort(values.begin(), values.end());
    values.erase(std::unique(values.begin(), values.end()), values.end());
    size_t count = 0;
    for (int value : values) {
        count += set.Has(value) ? 1 : 0;
    }
    return count;
}

BrelonMatrix<3, 1, double> Scaled(const BrelonMatrix<3, 1, double>& v, double factor) {
    return BrelonMatrix<3, 1, double>(v[0] * factor, v[1] * factor, v[2] * factor);
}

} // namespace

void OnfModelFile::GetElementNodes(int element, std::vector<int>& nodes) const {
    onf_detail::CopyIntListOf(GetBlock(BlockId(onf_detail::ONF_ELEMENTS)), element,
                              Item::ELEM_ITEM_NODES, nodes);
}

void OnfModelFile::GetElementsNodes(const QSV_IntSetIntvl<int>& elements,
                                    QSV_IntSetIntvl<int>& nodes) const {
    const OnfBlock& block = GetBlock(BlockId(onf_detail::ONF_ELEMENTS));
    nodes.Clear();
    std::vector<int> gathered;
    elements.ForEach([&](int element) {
        const long long index = block.GetRecordIdx(element);
        if (index >= 0) {
            const OnfIntListView list =
                block.GetIntListView(static_cast<size_t>(index), Item::ELEM_ITEM_NODES);
            gathered.insert(gathered.end(), list.begin(), list.end());
        }
    });
    if (!gathered.empty()) {
        nodes = gathered;
    }
}

void OnfModelFile::GetNodeElements(const QSV_IntSetIntvl<int>& nodes, std::vector<int>& elements,
                                   bool allNodes) const {
    elements.clear();
    const OnfBlock& block = GetBlock(BlockId(onf_detail::ONF_ELEMENTS));
    if (nodes.IsEmpty()) {
        return;
    }
    std::vector<int> elementNodes;
    for (auto it = block.Begin(); it.IsValid(); ++it) {
        const OnfIntListView list = block.GetIntListView(*it, Item::ELEM_ITEM_NODES);
        elementNodes.assign(list.begin(), list.end());
        const size_t common = CountCommonValues(elementNodes, nodes);
        if (common == 0) {
            continue;
        }
        // With `allNodes` the common count must equal the stored node count, so an element
        // that repeats a node never qualifies.
        if (!allNodes ||
            common == static_cast<size_t>(block.GetInt(*it, Item::ELEM_ITEM_NUM_NODES))) {
            elements.push_back(block.GetId(*it));
        }
    }
}

void OnfModelFile::GetNodeElements(const QSV_IntSetIntvl<int>& nodes,
                                   QSV_IntSetIntvl<int>& elements, bool allNodes) const {
    std::vector<int> found;
    GetNodeElements(nodes, found, allNodes);
    elements = found;
}

void OnfModelFile::SetElementProperty(int element, int property) {
    if (!m_ReadFEMData) {
        return;
    }
    const OnfObject object = GetOnfObject(BlockId(onf_detail::ONF_ELEMENTS), element);
    object.m_Block->SetRecordItem(object.m_Index, Item::ELEM_ITEM_PROPERTY, property);
}

void OnfModelFile::SetElementMaterial(int element, int material) {
    if (!m_ReadFEMData) {
        return;
    }
    const OnfObject object = GetOnfObject(BlockId(onf_detail::ONF_ELEMENTS), element);
    object.m_Block->SetRecordItem(object.m_Index, Item::ELEM_ITEM_MATERIAL, material);
}

void OnfModelFile::SetNodeCSDef(int node, int cs) {
    SetNodeItem(node, Item::NODE_ITEM_CS, cs);
}

void OnfModelFile::SetNodeCSDisp(int node, int cs) {
    SetNodeItem(node, Item::NODE_ITEM_CS_DISP, cs);
}

void OnfModelFile::SetNodeItem(int node, int item, int value) {
    if (!m_ReadFEMData) {
        return;
    }
    OnfBlock& block = GetBlock(BlockId(onf_detail::ONF_NODES));
    const long long index = block.GetRecordIdx(node);
    if (index < 0) {
        onf_detail::ThrowFailure("161015150210", kModelTag, "Node with ID %d is not available.",
                                 node);
    }
    block.SetRecordItem(static_cast<size_t>(index), ItemNr(item), value);
}

void OnfModelFile::RenameGroup(const std::string& oldName, OnfAcceleration::TargetType type,
                               const std::string& newName) {
    OnfBlock& block = GetBlock(BlockId(onf_detail::ONF_ACCELERATIONS));
    std::string name;
    for (auto it = block.Begin(); it.IsValid(); ++it) {
        if (block.GetInt(*it, ItemNr(11)) != static_cast<int>(type)) {
            continue;
        }
        block.GetString(*it, ItemNr(12), name);
        if (name == oldName) {
            block.SetRecordItem(*it, ItemNr(12), newName);
        }
    }
}

void OnfModelFile::ScaleAccel(int id, double factor) {
    const OnfObject object = GetOnfObject(BlockId(onf_detail::ONF_ACCELERATIONS), id);
    OnfBlock& block = *object.m_Block;
    const size_t index = object.m_Index;
    // Centrifugal load grows with the square of the angular velocity. A negative factor is not
    // refused: the angular velocity becomes not a number.
    block.SetRecordItem(index, ItemNr(2), Scaled(block.GetVector(index, ItemNr(2)), factor));
    block.SetRecordItem(index, ItemNr(4),
                        Scaled(block.GetVector(index, ItemNr(4)), std::sqrt(factor)));
    block.SetRecordItem(index, ItemNr(6), Scaled(block.GetVector(index, ItemNr(6)), factor));
}

void OnfModelFile::UpdatePropertyData(int property, int material) {
    std::vector<int> layers;
    GetPropertyLayers(property, layers);
    if (layers.size() != 1) {
        return;
    }
    const OnfObject layer = GetOnfObject(BlockId(onf_detail::ONF_LAYERS), layers[0]);
    const int stored = OnfBlock::GetInt(OnfConstObject{layer.m_Block, layer.m_Index}, ItemNr(1));
    if (stored == 0) {
        layer.m_Block->SetRecordItem(layer.m_Index, ItemNr(1), material);
    } else if (stored != material) {
        QSV_LOG(LOG_WARNING, kModelTag,
                "Property with ID = %d and name %s is associated\nwith material %d (name: %s) in "
                "the first input deck.\nA different association for this property from a "
                "successive input deck\nusing material %d (name: %s) will be ignored.",
                property, GetPropertyName(property).c_str(), stored,
                GetMaterialName(stored).c_str(), material, GetMaterialName(material).c_str());
    }
}
