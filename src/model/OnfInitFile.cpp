// The init file: size hints of the blocks of a model in block 97, one record per block.
#include "OnfInitFile.h"

#include "OnfBlockTextReader.h"

using namespace QSV_DataRecordItem;

namespace {
const QSV_OnfId kInitBlock = static_cast<QSV_OnfId>(97);
} // namespace

OnfInitFile::OnfInitFile(const std::wstring& name) : m_FileName(name) {
    InitDb(QSV_DatabaseDefs::ACCESS_READ_WRITE, 1024, std::wstring(), nullptr);
    SetHeader(const_onf_ini_file);
    AddEmptyBlock(kInitBlock);
}

// The set has no file name of its own, so the release writes nothing.
OnfInitFile::~OnfInitFile() {
    ReleaseDb(false);
}

void OnfInitFile::AppendInit(QSV_OnfId block, int first_id, int last_id, int count) {
    OnfBlock& sizes = GetBlock(kInitBlock);
    bool created = false;
    const size_t index = sizes.GetWarrantedRecordIdx(static_cast<int>(block), created);
    sizes.SetRecordItem(index, INIT_ITEM_BLOCK, static_cast<int>(block));
    sizes.SetRecordItem(index, INIT_ITEM_FIRST_ID, first_id);
    sizes.SetRecordItem(index, INIT_ITEM_LAST_ID, last_id);
    sizes.SetRecordItem(index, INIT_ITEM_COUNT, count);
}

int OnfInitFile::GetNumItems(QSV_OnfId block) const {
    const OnfBlock& sizes = GetBlock(kInitBlock);
    const long long index = sizes.GetRecordIdx(static_cast<int>(block));
    return index < 0 ? 0 : sizes.GetInt(static_cast<size_t>(index), INIT_ITEM_COUNT);
}

void OnfInitFile::Read() {
    ReadFile(m_FileName, LOAD_REPLACE_BLOCKS);
}

// Flushed before the writer closes, so that an error the stream buffer hid is not lost.
void OnfInitFile::Write() const {
    WriteFile(m_FileName);
}
