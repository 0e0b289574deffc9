// What the sources of the model file share: its log tag and the numbers of its blocks.
#pragma once

#include "OnfBlock.h"
#include "QSV_OnfCatalogue.h"

#include <vector>

namespace onf_detail {

extern const char* const kModelTag; // "|%P|BrelonOnfEngine|OnfModelFile"

// The blocks of a model, by number.
enum ModelBlock : int32_t {
    ONF_COORD_SYSTEMS = 100,
    ONF_NODES = 110,
    ONF_MATERIALS = 120,
    ONF_LAYERS = 125,
    ONF_PROPERTIES = 130,
    ONF_ELEMENTS = 140,
    ONF_SPC_SETS = 151,
    ONF_SPCS = 152,
    ONF_RBES = 164,
    ONF_RBE_SETS = 165,
    ONF_LOADED_NODES = 170,
    ONF_LOADED_ELEMENTS = 171,
    ONF_FORCE_ITEMS = 172,
    ONF_FORCE_SETS = 173,
    ONF_DISP_ITEMS = 174,
    ONF_DISP_SETS = 175,
    ONF_ACCELERATIONS = 176,
    ONF_CONVECTION_SETS = 177,
    ONF_CONTACT_FIRST = 178,
    ONF_CONTACT_SECOND = 179,
    ONF_LOADCASES = 180,
    ONF_CONNECTORS = 181,
    ONF_CFD_BOUNDARIES = 1200,
    ONF_CFD_FACE_GROUPS = 10032
};

inline QSV_OnfId BlockId(ModelBlock block) {
    return static_cast<QSV_OnfId>(block);
}

inline OnfBlock::Item ItemNr(int item) {
    return static_cast<OnfBlock::Item>(item);
}

// The integer list of item `item` of the record `id` of `block` into `values`; empty where the
// block has no record `id`.
inline void CopyIntListOf(const OnfBlock& block, int id, OnfBlock::Item item,
                          std::vector<int>& values) {
    const long long index = block.GetRecordIdx(id);
    if (index < 0) {
        values.clear();
        return;
    }
    const OnfIntListView list = block.GetIntListView(static_cast<size_t>(index), item);
    values.assign(list.begin(), list.end());
}

// The next ids of the single forces (block 172) and prescribed displacements (block 174), which
// every model of the process shares. Kept above 32 bits so that "none is left" can be told.
struct LoadItemIds {
    long long nextForce = 0;
    long long nextDisplacement = 0;
};
LoadItemIds& ProcessLoadItemIds();

} // namespace onf_detail
