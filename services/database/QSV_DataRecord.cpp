// Record views: one record's item data without its id field, read and written by item number.
#include "database/DatabaseDetail.h"

#include <cstring>

using namespace onf_detail;

namespace {

constexpr unsigned REAL_TYPES = TypeBit(BDT_REAL) | TypeBit(BDT_FLOAT);

} // namespace

// ---- QSV_ConstDataRecord ------------------------------------------------------------------------

QSV_ConstDataRecord::QSV_ConstDataRecord(const QSV_DataBlock& block)
    : m_Block(&block), m_BufferSize(block.GetRecordDataSize()),
      m_Buffer(new unsigned char[m_BufferSize == 0 ? 1 : m_BufferSize]()) {}

QSV_ConstDataRecord::QSV_ConstDataRecord(const QSV_ConstDataRecord& other)
    : m_Block(other.m_Block), m_BufferSize(other.m_BufferSize),
      m_Buffer(new unsigned char[m_BufferSize == 0 ? 1 : m_BufferSize]) {
    std::memcpy(m_Buffer.get(), other.m_Buffer.get(), m_BufferSize);
}

QSV_ConstDataRecord& QSV_ConstDataRecord::operator=(const QSV_ConstDataRecord& other) {
    if (other.m_BufferSize != m_BufferSize) {
        ThrowFailure(nullptr, TAG_DATA_RECORD, MSG_VIEW_SIZES_DIFFER, m_BufferSize,
                     other.m_BufferSize);
    }
    std::memmove(m_Buffer.get(), other.m_Buffer.get(), m_BufferSize);
    return *this;
}

QSV_ConstDataRecord::~QSV_ConstDataRecord() = default;

void QSV_ConstDataRecord::Clear() {
    std::memset(m_Buffer.get(), 0, m_BufferSize);
}

const unsigned char* QSV_ConstDataRecord::ItemBytes(size_t item, size_t size) const {
    // The caller states the size it reads; the type check lives with the typed accessors.
    return m_Buffer.get() +
           CheckedItemOffset(*m_Block, item, ~0u, size, m_BufferSize, TAG_DATA_RECORD);
}

unsigned char* QSV_ConstDataRecord::ItemBytes(size_t item, size_t size) {
    return m_Buffer.get() +
           CheckedItemOffset(*m_Block, item, ~0u, size, m_BufferSize, TAG_DATA_RECORD);
}

int QSV_ConstDataRecord::GetInteger(size_t item) const {
    int value;
    std::memcpy(&value,
                m_Buffer.get() + CheckedItemOffset(*m_Block, item, FOUR_BYTE_INTEGER_TYPES, 4,
                                                   m_BufferSize, TAG_DATA_RECORD),
                4);
    return value;
}

double QSV_ConstDataRecord::GetReal(size_t item) const {
    const size_t offset =
        CheckedItemOffset(*m_Block, item, REAL_TYPES, 4, m_BufferSize, TAG_DATA_RECORD);
    if (m_Block->GetItemType(item) == BDT_FLOAT) {
        float value;
        std::memcpy(&value, m_Buffer.get() + offset, 4);
        return value;
    }
    CheckedItemOffset(*m_Block, item, REAL_TYPES, 8, m_BufferSize, TAG_DATA_RECORD);
    double value;
    std::memcpy(&value, m_Buffer.get() + offset, 8);
    return value;
}

void QSV_ConstDataRecord::GetVector(size_t item, double* values) const {
    std::memcpy(values,
                m_Buffer.get() + CheckedItemOffset(*m_Block, item, TypeBit(BDT_VECTOR), 24,
                                                   m_BufferSize, TAG_DATA_RECORD),
                24);
}

void QSV_ConstDataRecord::GetTensor(size_t item, double* values) const {
    std::memcpy(values,
                m_Buffer.get() + CheckedItemOffset(*m_Block, item, TypeBit(BDT_TENSOR), 48,
                                                   m_BufferSize, TAG_DATA_RECORD),
                48);
}

std::string QSV_ConstDataRecord::GetString(size_t item) const {
    CheckedItemOffset(*m_Block, item, TypeBit(BDT_STRING), 4, m_BufferSize, TAG_DATA_RECORD);
    const int handle = GetInteger(item);
    std::string text;
    if (handle > 0) {
        m_Block->GetString(static_cast<size_t>(handle), text);
    }
    return text;
}

void QSV_ConstDataRecord::GetIntList(size_t item, std::vector<int>& values) const {
    CheckedItemOffset(*m_Block, item, INT_LIST_TYPES, 4, m_BufferSize, TAG_DATA_RECORD);
    values.clear();
    const int listIndex = GetInteger(item);
    if (listIndex > 0) {
        QSV_IntArray list;
        m_Block->GetIntList(static_cast<size_t>(listIndex), list);
        values.assign(list.Data(), list.Data() + list.Size());
    }
}

void QSV_ConstDataRecord::GetDoubleList(size_t item, std::vector<double>& values) const {
    CheckedItemOffset(*m_Block, item, TypeBit(BDT_DOUBLE_LIST), 4, m_BufferSize, TAG_DATA_RECORD);
    values.clear();
    const int listIndex = GetInteger(item);
    if (listIndex > 0) {
        QSV_DoubleArray list;
        m_Block->GetDoubleList(static_cast<size_t>(listIndex), list);
        values.assign(list.Data(), list.Data() + list.Size());
    }
}

bool QSV_ConstDataRecord::operator==(const QSV_ConstDataRecord& other) const {
    return m_BufferSize == other.m_BufferSize &&
           std::memcmp(m_Buffer.get(), other.m_Buffer.get(), m_BufferSize) == 0;
}

// ---- QSV_DataRecord -----------------------------------------------------------------------------

QSV_DataRecord::QSV_DataRecord(QSV_DataBlock& block)
    : QSV_ConstDataRecord(block), m_MutableBlock(&block) {}

QSV_DataRecord& QSV_DataRecord::operator=(const QSV_DataRecord& other) {
    QSV_ConstDataRecord::operator=(other);
    return *this;
}

void QSV_DataRecord::StoreInteger(size_t item, int value) {
    std::memcpy(m_Buffer.get() + CheckedItemOffset(*m_Block, item, FOUR_BYTE_INTEGER_TYPES, 4,
                                                   m_BufferSize, TAG_DATA_RECORD),
                &value, 4);
}

void QSV_DataRecord::SetInteger(size_t item, int value) {
    StoreInteger(item, value);
}

void QSV_DataRecord::SetReal(size_t item, double value) {
    const size_t offset =
        CheckedItemOffset(*m_Block, item, REAL_TYPES, 4, m_BufferSize, TAG_DATA_RECORD);
    if (m_Block->GetItemType(item) == BDT_FLOAT) {
        const float narrow = static_cast<float>(value);
        std::memcpy(m_Buffer.get() + offset, &narrow, 4);
        return;
    }
    CheckedItemOffset(*m_Block, item, REAL_TYPES, 8, m_BufferSize, TAG_DATA_RECORD);
    std::memcpy(m_Buffer.get() + offset, &value, 8);
}

void QSV_DataRecord::SetString(size_t item, const std::string& text) {
    CheckedItemOffset(*m_Block, item, TypeBit(BDT_STRING), 4, m_BufferSize, TAG_DATA_RECORD);
    StoreInteger(item, static_cast<int>(m_MutableBlock->SetString(text)));
}

void QSV_DataRecord::SetIntList(size_t item, const std::vector<int>& values) {
    CheckedItemOffset(*m_Block, item, INT_LIST_TYPES, 4, m_BufferSize, TAG_DATA_RECORD);
    // Reference 0 is "no list", which reads back as an empty list: no pool entry is spent on it.
    const size_t listIndex =
        values.empty() ? 0 : m_MutableBlock->SetIntList(values.data(), values.size());
    StoreInteger(item, static_cast<int>(listIndex));
}

void QSV_DataRecord::SetDoubleList(size_t item, const std::vector<double>& values) {
    CheckedItemOffset(*m_Block, item, TypeBit(BDT_DOUBLE_LIST), 4, m_BufferSize, TAG_DATA_RECORD);
    const size_t listIndex =
        values.empty() ? 0 : m_MutableBlock->SetDoubleList(values.data(), values.size());
    StoreInteger(item, static_cast<int>(listIndex));
}

void QSV_DataRecord::SetVector(size_t item, const double* values) {
    std::memcpy(m_Buffer.get() + CheckedItemOffset(*m_Block, item, TypeBit(BDT_VECTOR), 24,
                                                   m_BufferSize, TAG_DATA_RECORD),
                values, 24);
}

void QSV_DataRecord::SetTensor(size_t item, const double* values) {
    std::memcpy(m_Buffer.get() + CheckedItemOffset(*m_Block, item, TypeBit(BDT_TENSOR), 48,
                                                   m_BufferSize, TAG_DATA_RECORD),
                values, 48);
}
