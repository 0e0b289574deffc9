// The block base: record layout from a format string, and the parts of the abstract interface
// that every block can do with the rest of it.
#include "database/DatabaseDetail.h"

#include <algorithm>
#include <cstring>

using namespace onf_detail;

namespace onf_detail {

int BlockNumber(const QSV_DataBlock& block) {
    const QSV_DataDescriptor& descriptor = block.GetDescriptor();
    return descriptor.IsSet(QSV_DataDescriptor::RI_ONF_ID)
               ? descriptor.GetInteger(QSV_DataDescriptor::RI_ONF_ID)
               : 0;
}

size_t CheckedItemOffset(const QSV_DataBlock& block, size_t item, unsigned typeMask, size_t size,
                         size_t bufferSize, const char* tag) {
    if (item == 0 || item >= block.GetNumItems()) {
        ThrowFailure(nullptr, tag, MSG_ITEM_OUT_OF_RANGE, item, BlockNumber(block),
                     block.GetNumItems());
    }
    const BlockDataType type = block.GetItemType(item);
    if ((typeMask & TypeBit(type)) == 0) {
        ThrowFailure(nullptr, tag, MSG_ITEM_WRONG_TYPE, item, BlockNumber(block),
                     static_cast<int>(type));
    }
    const size_t offset = block.GetItemBufferOffset(item);
    // An item too small for the access, or one that runs past the record buffer (a view of
    // another block's layout), cannot be reached through it.
    if (block.GetItemSize(item) < size || offset + size > bufferSize) {
        ThrowFailure(nullptr, tag, MSG_ITEM_OUTSIDE_RECORD, item, BlockNumber(block), bufferSize);
    }
    return offset;
}

bool SameLayout(const QSV_DataBlock& a, const QSV_DataBlock& b) {
    return &a == &b ||
           (a.GetRecordDataSize() == b.GetRecordDataSize() &&
            a.GetItemTypes() == b.GetItemTypes() && a.HasKeyInFormat() == b.HasKeyInFormat());
}

} // namespace onf_detail

// ---- IndexIterator ------------------------------------------------------------------------------

QSV_DataBlock::IndexIterator::IndexIterator(const QSV_DataBlock& block, long long index,
                                            long long maxIndex)
    : m_Block(&block), m_Index(index < 0 ? 0 : index), m_MaxIndex(maxIndex) {
    SkipInvalid();
}

QSV_DataBlock::IndexIterator& QSV_DataBlock::IndexIterator::operator++() {
    ++m_Index;
    SkipInvalid();
    return *this;
}

void QSV_DataBlock::IndexIterator::SkipInvalid() {
    while (m_Index <= m_MaxIndex && !m_Block->HasRecord(static_cast<size_t>(m_Index))) {
        ++m_Index;
    }
    // Every iterator past the end compares equal to End().
    if (m_Index > m_MaxIndex) {
        m_Index = m_MaxIndex + 1;
    }
}

QSV_DataBlock::IndexIterator QSV_DataBlock::Begin() const {
    return IndexIterator(*this, static_cast<long long>(GetFirstIndex()), GetMaxIndex());
}

QSV_DataBlock::IndexIterator QSV_DataBlock::End() const {
    const long long maxIndex = GetMaxIndex();
    return IndexIterator(*this, maxIndex + 1, maxIndex);
}

// ---- Layout -------------------------------------------------------------------------------------

QSV_DataBlock::QSV_DataBlock(const QSV_DataDescriptor& descriptor) : m_Descriptor(descriptor) {
    const int id = descriptor.GetInteger(QSV_DataDescriptor::RI_ONF_ID);
    if (!descriptor.IsSet(QSV_DataDescriptor::RI_ONF_ID) || id < 0 ||
        !QSV_OnfInfoPool::ExistsOnfBlock(id)) {
        ThrowFailure(nullptr, TAG_DATA_BLOCK, MSG_NOT_CATALOGUED, id);
    }
    const QSV_OnfMetaData& row = QSV_OnfInfoPool::GetOnfInfo(static_cast<QSV_OnfId>(id));
    m_BlockIdType = row.m_BlockIdType;
    m_FormatFlags = row.m_Flags;
    m_ItemIdTypes = row.m_ItemIdTypes;
    m_NumItemIdTypes = row.m_ItemIdTypes ? row.m_NumItems : 0;
    m_Shape = CataloguedShape(static_cast<QSV_OnfId>(id));
    m_RecordDataSize = m_Shape->layout.GetRecordDataSize();
}

QSV_DataBlock::QSV_DataBlock(const QSV_DataDescriptor& descriptor, const char* format)
    : m_Descriptor(descriptor), m_Shape(std::make_shared<Shape>(format ? format : "")) {
    m_RecordDataSize = m_Shape->layout.GetRecordDataSize();
}

QSV_DataBlock::~QSV_DataBlock() = default;

// The layout of the format, and the item types that the abstract interface hands out.
QSV_DataBlock::Shape::Shape(const std::string& format) : layout(format) {
    itemTypes.reserve(layout.GetNumItems() - 1);
    for (size_t item = 1; item < layout.GetNumItems(); ++item) {
        itemTypes.push_back(layout[item].m_Type);
    }
}

// Every catalogued shape is made at the first call, once for the process (the catalogue is
// constant, and a static made once is safe from every thread); blocks share them by count.
std::shared_ptr<const QSV_DataBlock::Shape> QSV_DataBlock::CataloguedShape(QSV_OnfId id) {
    static const std::map<QSV_OnfId, std::shared_ptr<const Shape>> shapes = [] {
        std::map<QSV_OnfId, std::shared_ptr<const Shape>> made;
        for (const QSV_OnfId number : QSV_OnfInfoPool::GetAllOnfIds()) {
            made.emplace(number, std::make_shared<const Shape>(
                                     QSV_OnfInfoPool::GetOnfInfo(number).m_FormatString));
        }
        return made;
    }();
    return shapes.at(id);
}

BlockDataType QSV_DataBlock::GetItemType(size_t item) const {
    if (item == 0) {
        return BDT_INTEGER;
    }
    const std::vector<BlockDataType>& types = m_Shape->itemTypes;
    return item <= types.size() ? types[item - 1] : static_cast<BlockDataType>(0);
}

QSV_IdType QSV_DataBlock::GetItemIdType(size_t item) const {
    if (item == 0) {
        return m_BlockIdType;
    }
    return item < m_NumItemIdTypes ? m_ItemIdTypes[item] : ID_NONE;
}

size_t QSV_DataBlock::GetItemBufferOffset(size_t item) const {
    if (item == 0 || item >= GetNumItems()) {
        return 0;
    }
    return GetLayout()[item].m_Offset - 4;
}

size_t QSV_DataBlock::GetItemRecordOffset(size_t item) const {
    return item < GetNumItems() ? GetLayout()[item].m_Offset : 0;
}

size_t QSV_DataBlock::GetItemSize(size_t item) const {
    return item < GetNumItems() ? GetLayout()[item].m_Size : 0;
}

// ---- Base implementations of the abstract interface ---------------------------------------------

QSV_IntSetIntvl<int> QSV_DataBlock::GetRecordIndices() const {
    QSV_IntSetIntvl<int> indices;
    GetRecordIndices(indices);
    return indices;
}

void QSV_DataBlock::GetRecordIndices(QSV_IntSetIntvl<int>& indices) const {
    indices.Clear();
    // Runs are found here and handed over whole, so a dense block costs one insertion.
    long long runStart = -1;
    long long previous = -2;
    for (IndexIterator it = Begin(); it.IsValid(); ++it) {
        const long long index = static_cast<long long>(it.GetIndex());
        if (index != previous + 1) {
            if (runStart >= 0) {
                indices.InsertRange(static_cast<int>(runStart), static_cast<int>(previous));
            }
            runStart = index;
        }
        previous = index;
    }
    if (runStart >= 0) {
        indices.InsertRange(static_cast<int>(runStart), static_cast<int>(previous));
    }
}

void QSV_DataBlock::GetRecordIndices(std::vector<size_t>& indices) const {
    indices.clear();
    for (IndexIterator it = Begin(); it.IsValid(); ++it) {
        indices.push_back(it.GetIndex());
    }
}

std::vector<double> QSV_DataBlock::GetFieldData() const {
    std::vector<double> values;
    const BlockDataType type = GetItemType(1);
    for (IndexIterator it = Begin(); it.IsValid(); ++it) {
        const size_t index = it.GetIndex();
        double buffer[6];
        switch (type) {
        case BDT_INTEGER:
            values.push_back(static_cast<double>(GetInteger(index)));
            break;
        case BDT_REAL:
        case BDT_FLOAT:
            values.push_back(GetScalar(index));
            break;
        case BDT_VECTOR:
            GetVector(index, buffer);
            values.insert(values.end(), buffer, buffer + 3);
            break;
        case BDT_TENSOR:
            GetTensor(index, buffer);
            values.insert(values.end(), buffer, buffer + 6);
            break;
        default:
            return values;
        }
    }
    return values;
}

QSV_DataRecord* QSV_DataBlock::CreateDataRecord() {
    return new QSV_DataRecord(*this);
}

QSV_ConstDataRecord* QSV_DataBlock::CreateDataRecord() const {
    return new QSV_ConstDataRecord(*this);
}

void QSV_DataBlock::DeleteDataRecord(QSV_ConstDataRecord& record) const {
    delete &record;
}

QSV_IntSetIntvl<int> QSV_DataBlock::RetrieveIntSet(size_t listIndex) const {
    QSV_IntArray values;
    GetIntList(listIndex, values);
    return QSV_IntSetIntvl<int>(std::vector<int>(values.Data(), values.Data() + values.Size()));
}

size_t QSV_DataBlock::StoreIntSet(const QSV_IntSetIntvl<int>& set) {
    std::vector<int> values;
    set.GetValues(values);
    return SetIntList(values.data(), values.size());
}

bool QSV_DataBlock::GetStoredRecord(size_t, QSV_ConstDataRecord&) const {
    return false;
}

bool QSV_DataBlock::GetStoredIntList(size_t, QSV_IntArray&) const {
    return false;
}

size_t QSV_DataBlock::GetFirstIndex() const {
    return 0;
}

size_t QSV_DataBlock::SetIntList(const QSV_IntArray& values) {
    return SetIntList(values.Data(), values.Size());
}

size_t QSV_DataBlock::SetDoubleList(const QSV_DoubleArray& values) {
    return SetDoubleList(values.Data(), values.Size());
}
