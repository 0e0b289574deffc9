// The block set of typed file objects: blocks addressed by plain block number.
#include "OnfBlockSet.h"

#include "QSV_Failure.h"

namespace {
const char* const kTag = "|%P|BrelonOnfEngine|OnfBlockSet";
} // namespace

OnfBlockSet::OnfBlockSet() : BrelonOnfTxtDatabase(std::wstring()) {}

OnfBlock& OnfBlockSet::AddEmptyBlock(QSV_OnfId id) {
    return static_cast<OnfBlock&>(FetchDataBlock(QSV_DataDescriptor(id), size_t(0)));
}

OnfBlock& OnfBlockSet::GetBlock(QSV_OnfId id) {
    return static_cast<OnfBlock&>(m_DataBlockSet.GetDataBlockInstance(QSV_DataDescriptor(id)));
}

const OnfBlock& OnfBlockSet::GetBlock(QSV_OnfId id) const {
    return static_cast<const OnfBlock&>(
        m_DataBlockSet.GetDataBlockInstance(QSV_DataDescriptor(id)));
}

bool OnfBlockSet::HasBlock(QSV_OnfId id) const {
    return m_DataBlockSet.HasBlockInstance(QSV_DataDescriptor(id));
}

void OnfBlockSet::RemoveBlock(QSV_OnfId id) {
    m_DataBlockSet.DeleteDataBlockInstance(QSV_DataDescriptor(id));
}

OnfHelpers* OnfBlockSet::GetHelpers() {
    return GetBlockHelpers();
}

namespace {
// The index of the record with id `id` of `onfBlock`, block number `block`; fails with
// "The item with id %d was not located in block %d." and `failureId` if it holds none.
size_t LocatedIndex(const OnfBlock& onfBlock, QSV_OnfId block, int id, const char* failureId) {
    const long long index = onfBlock.GetRecordIdx(id);
    if (index < 0) {
        onf_detail::ThrowFailure(failureId, kTag, "The item with id %d was not located in block %d.",
                                 id, static_cast<int>(block));
    }
    return static_cast<size_t>(index);
}
} // namespace

OnfObject OnfBlockSet::GetOnfObject(QSV_OnfId block, int id) {
    OnfBlock& onfBlock = GetBlock(block);
    return OnfObject{&onfBlock, LocatedIndex(onfBlock, block, id, "155856310811")};
}

OnfConstObject OnfBlockSet::GetConstObject(QSV_OnfId block, int id) const {
    const OnfBlock& onfBlock = GetBlock(block);
    return OnfConstObject{&onfBlock, LocatedIndex(onfBlock, block, id, "155455310811")};
}
