// The model file: materials, laminate layers and properties.
#include "OnfModelFile.h"

#include "OnfModelFileDetail.h"
#include "block/OnfBlockDetail.h"

using onf_detail::BlockId;
using onf_detail::ItemNr;
using onf_detail::kModelTag;

namespace {

const int kNumMaterialFlags = 5;
const int kNumMaterialValues = 5;

struct DefaultProperty {
    OnfProperty::PropType type;
    const char* name;
};

// There is no default for PROP_BEAM_2D.
const DefaultProperty kDefaultProperties[] = {
    {OnfProperty::PROP_PLANE_STRAIN, "Def_prop_plane_strain"},
    {OnfProperty::PROP_PLANE_STRESS, "Def_prop_plane_stress"},
    {OnfProperty::PROP_AXISYMMETRIC, "Def_prop_axisymmetric"},
    {OnfProperty::PROP_SOLID, "Def_prop_solid"},
    {OnfProperty::PROP_SHELL, "Def_prop_shell"},
    {OnfProperty::PROP_SHEAR_PANEL, "Def_prop_shear_panel"},
    {OnfProperty::PROP_BEAM_3D, "Def_prop_3D_beam"}};

} // namespace

bool OnfModelFile::AppendMaterial(int id, int type, const std::string& name,
                                  const std::vector<bool>& flags,
                                  const std::vector<double>& values) {
    if (!m_ReadFEMData) {
        return true;
    }
    OnfBlock& block = GetBlock(BlockId(onf_detail::ONF_MATERIALS));
    bool created = false;
    const size_t index = block.GetWarrantedRecordIdx(id, created);
    if (!created) {
        return false;
    }
    block.SetRecordItem(index, ItemNr(1), type);
    block.SetRecordItem(index, ItemNr(2), name);
    // Shorter vectors are allowed: what they lack counts as false and 0.
    for (int k = 0; k < kNumMaterialFlags; ++k) {
        const bool flag = static_cast<size_t>(k) < flags.size() && flags[k];
        block.SetRecordItem(index, ItemNr(3 + k), flag ? 1 : 0);
    }
    for (int k = 0; k < kNumMaterialValues; ++k) {
        const double value = static_cast<size_t>(k) < values.size() ? values[k] : 0.0;
        block.SetRecordItem(index, ItemNr(8 + k), value);
    }
    return true;
}

bool OnfModelFile::AppendLaminateLayer(int id, const OnfLaminateLayer::LayerData& data) {
    if (!m_ReadFEMData) {
        return true;
    }
    OnfBlock& block = GetBlock(BlockId(onf_detail::ONF_LAYERS));
    bool created = false;
    const size_t index = block.GetWarrantedRecordIdx(id, created);
    if (!created) {
        return false;
    }
    block.SetRecordItem(index, ItemNr(1), data.material);
    block.SetRecordItem(index, ItemNr(2), data.thickness);
    block.SetRecordItem(index, ItemNr(3), data.angle);
    return true;
}

bool OnfModelFile::AppendProperty(int id, OnfProperty::PropType type, const std::string& name,
                                  double first, double second, bool withLayer, int layerBase,
                                  int* layerId) {
    if (!m_ReadFEMData) {
        return true;
    }
    OnfBlock& block = GetBlock(BlockId(onf_detail::ONF_PROPERTIES));
    if (block.HasRecord(id)) {
        return false;
    }
    // The layer's id is found before anything is added, so that a property never stands
    // without the layer it asked for.
    OnfBlock& layers = GetBlock(BlockId(onf_detail::ONF_LAYERS));
    const int newLayer =
        !withLayer
            ? 0
            : onf_detail::NextFreeId(layers.GetNumRecords() > 0 ? layers.GetMaxId() : layerBase,
                                     kModelTag, "layer");
    bool created = false;
    const size_t index = block.GetWarrantedRecordIdx(id, created);
    if (!created) {
        return false;
    }
    block.SetRecordItem(index, ItemNr(1), static_cast<int>(type));
    block.SetRecordItem(index, ItemNr(3), name);
    block.SetRecordItem(index, ItemNr(4), first);
    if (!withLayer) {
        return true;
    }
    if (layerId != nullptr) {
        *layerId = newLayer;
    }
    bool layerCreated = false;
    const size_t layerIndex = layers.GetWarrantedRecordIdx(newLayer, layerCreated);
    // The layer's material stays 0 until UpdatePropertyData gives it one.
    layers.SetRecordItem(layerIndex, ItemNr(2), second);
    block.SetRecordItem(index, ItemNr(2), 1);
    block.SetRecordItem(index, ItemNr(7), std::vector<int>{newLayer}, ONF_INT_LIST_ORDERED);
    return true;
}

void OnfModelFile::CreateDefaultProperties() {
    for (const DefaultProperty& property : kDefaultProperties) {
        AppendProperty(static_cast<int>(property.type), property.type, property.name, 1.0, 1.0,
                       true, 0, nullptr);
    }
}

int OnfModelFile::GetNextFreeLayerId() const {
    return onf_detail::NextFreeId(GetBlock(BlockId(onf_detail::ONF_LAYERS)).GetMaxId(), kModelTag,
                                  "layer");
}

void OnfModelFile::GetPropertyIDs(std::set<int>& ids) const {
    const OnfBlock& block = GetBlock(BlockId(onf_detail::ONF_PROPERTIES));
    for (auto it = block.Begin(); it.IsValid(); ++it) {
        ids.insert(block.GetId(*it));
    }
}

void OnfModelFile::GetPropertyLayers(int property, std::vector<int>& layers) const {
    onf_detail::CopyIntListOf(GetBlock(BlockId(onf_detail::ONF_PROPERTIES)), property, ItemNr(7),
                              layers);
}

void OnfModelFile::SetPropertyLayers(int property, const std::vector<int>& layers) {
    OnfBlock& block = GetBlock(BlockId(onf_detail::ONF_PROPERTIES));
    const long long index = block.GetRecordIdx(property);
    if (index < 0) {
        return;
    }
    block.SetRecordItem(static_cast<size_t>(index), ItemNr(2), static_cast<int>(layers.size()));
    block.SetRecordItem(static_cast<size_t>(index), ItemNr(7), layers, ONF_INT_LIST_ORDERED);
}

std::string OnfModelFile::GetMaterialName(int material) const {
    const OnfBlock& block = GetBlock(BlockId(onf_detail::ONF_MATERIALS));
    const long long index = block.GetRecordIdx(material);
    std::string name;
    if (index >= 0) {
        block.GetString(static_cast<size_t>(index), ItemNr(2), name);
    }
    return name;
}

std::string OnfModelFile::GetPropertyName(int property) const {
    const OnfBlock& block = GetBlock(BlockId(onf_detail::ONF_PROPERTIES));
    const long long index = block.GetRecordIdx(property);
    std::string name;
    if (index >= 0) {
        block.GetString(static_cast<size_t>(index), ItemNr(3), name);
    }
    return name;
}
