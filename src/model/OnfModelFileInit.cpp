// The model file: the size hints of an init file.
#include "OnfModelFile.h"

#include "OnfInitFile.h"

namespace Item = QSV_DataRecordItem;

void OnfModelFile::CollectInitData(OnfInitFile& init) const {
    OnfBlock& hints = init.GetBlock(static_cast<QSV_OnfId>(97));
    for (const QSV_DataDescriptor& descriptor : FindBlocks(QSV_DataDescriptorPattern())) {
        const OnfBlock& block = static_cast<const OnfBlock&>(GetDataBlock(descriptor));
        const size_t count = block.GetNumRecords();
        if (count == 0) {
            continue;
        }
        bool created = false;
        const size_t index = hints.GetWarrantedRecordIdx(block.GetBlockId(), created);
        hints.SetRecordItem(index, Item::INIT_ITEM_FIRST_ID, block.GetMinId());
        hints.SetRecordItem(index, Item::INIT_ITEM_LAST_ID, block.GetMaxId());
        hints.SetRecordItem(index, Item::INIT_ITEM_COUNT, static_cast<int>(count));
    }
}
