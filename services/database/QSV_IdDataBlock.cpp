// Id records and the adapters that read and write records by external id or name.
#include "database/DatabaseDetail.h"

#include <cstring>

using namespace onf_detail;

namespace {

constexpr unsigned REAL_TYPES = TypeBit(BDT_REAL) | TypeBit(BDT_FLOAT);

} // namespace

// ---- QSV_ConstIdDataRecord ----------------------------------------------------------------------

QSV_ConstIdDataRecord::QSV_ConstIdDataRecord(const QSV_DataBlock& block)
    : m_Block(&block), m_Fixed(block.GetRecordDataSize(), 0), m_Strings(block.GetNumItems()),
      m_IntLists(block.GetNumItems()), m_DoubleLists(block.GetNumItems()) {}

QSV_ConstIdDataRecord::~QSV_ConstIdDataRecord() = default;

void QSV_ConstIdDataRecord::CheckItem(size_t item, BlockDataType type) const {
    unsigned mask = TypeBit(type);
    if (type == BDT_REAL) {
        mask = REAL_TYPES;
    } else if (type == BDT_INT_LIST) {
        mask = INT_LIST_TYPES;
    }
    CheckedItemOffset(*m_Block, item, mask, 0, m_Fixed.size(), TAG_ID_DATA_RECORD);
}

void QSV_ConstIdDataRecord::Reset() {
    std::fill(m_Fixed.begin(), m_Fixed.end(), static_cast<unsigned char>(0));
    for (size_t item = 0; item < m_Strings.size(); ++item) {
        m_Strings[item].clear();
        m_IntLists[item].clear();
        m_DoubleLists[item].clear();
    }
    m_KeyId = 0;
    m_KeyName.clear();
    m_HasKeyName = false;
}

void QSV_ConstIdDataRecord::AssignValues(const QSV_ConstIdDataRecord& other) {
    if (this == &other) {
        return;
    }
    m_KeyId = other.m_KeyId;
    m_KeyName = other.m_KeyName;
    m_HasKeyName = other.m_HasKeyName;
    if (SameLayout(*m_Block, *other.m_Block)) {
        m_Fixed = other.m_Fixed;
        m_Strings = other.m_Strings;
        m_IntLists = other.m_IntLists;
        m_DoubleLists = other.m_DoubleLists;
        return;
    }
    const size_t numItems = std::min(GetNumItems(), other.GetNumItems());
    for (size_t item = 1; item < numItems; ++item) {
        const BlockDataType type = m_Block->GetItemType(item);
        const size_t size = m_Block->GetItemSize(item);
        if (type != other.m_Block->GetItemType(item) || size != other.m_Block->GetItemSize(item) ||
            m_Block->GetItemRecordOffset(item) < 4 ||
            other.m_Block->GetItemRecordOffset(item) < 4) {
            continue;
        }
        const size_t to = m_Block->GetItemBufferOffset(item);
        const size_t from = other.m_Block->GetItemBufferOffset(item);
        if (to + size <= m_Fixed.size() && from + size <= other.m_Fixed.size()) {
            std::memcpy(m_Fixed.data() + to, other.m_Fixed.data() + from, size);
        }
        m_Strings[item] = other.m_Strings[item];
        m_IntLists[item] = other.m_IntLists[item];
        m_DoubleLists[item] = other.m_DoubleLists[item];
    }
}

int QSV_ConstIdDataRecord::GetInteger(size_t item) const {
    CheckItem(item, BDT_INTEGER);
    int value;
    std::memcpy(&value, m_Fixed.data() + m_Block->GetItemBufferOffset(item), 4);
    return value;
}

double QSV_ConstIdDataRecord::GetReal(size_t item) const {
    CheckItem(item, BDT_REAL);
    const unsigned char* bytes = m_Fixed.data() + m_Block->GetItemBufferOffset(item);
    if (m_Block->GetItemType(item) == BDT_FLOAT) {
        float value;
        std::memcpy(&value, bytes, 4);
        return value;
    }
    double value;
    std::memcpy(&value, bytes, 8);
    return value;
}

void QSV_ConstIdDataRecord::GetVector(size_t item, double* values) const {
    CheckItem(item, BDT_VECTOR);
    std::memcpy(values, m_Fixed.data() + m_Block->GetItemBufferOffset(item), 24);
}

void QSV_ConstIdDataRecord::GetTensor(size_t item, double* values) const {
    CheckItem(item, BDT_TENSOR);
    std::memcpy(values, m_Fixed.data() + m_Block->GetItemBufferOffset(item), 48);
}

const std::string& QSV_ConstIdDataRecord::GetString(size_t item) const {
    CheckItem(item, BDT_STRING);
    return m_Strings[item];
}

const std::vector<int>& QSV_ConstIdDataRecord::GetIntList(size_t item) const {
    CheckItem(item, BDT_INT_LIST);
    return m_IntLists[item];
}

const std::vector<double>& QSV_ConstIdDataRecord::GetDoubleList(size_t item) const {
    CheckItem(item, BDT_DOUBLE_LIST);
    return m_DoubleLists[item];
}

bool QSV_ConstIdDataRecord::operator==(const QSV_ConstIdDataRecord& other) const {
    return SameLayout(*m_Block, *other.m_Block) && m_HasKeyName == other.m_HasKeyName &&
           m_KeyId == other.m_KeyId && m_KeyName == other.m_KeyName && m_Fixed == other.m_Fixed &&
           m_Strings == other.m_Strings && m_IntLists == other.m_IntLists &&
           m_DoubleLists == other.m_DoubleLists;
}

// ---- QSV_IdDataRecord ---------------------------------------------------------------------------

QSV_IdDataRecord::QSV_IdDataRecord(const QSV_DataBlock& block) : QSV_ConstIdDataRecord(block) {}

QSV_IdDataRecord& QSV_IdDataRecord::operator=(const QSV_IdDataRecord& other) {
    AssignValues(other);
    return *this;
}

QSV_IdDataRecord& QSV_IdDataRecord::operator=(const QSV_ConstIdDataRecord& other) {
    AssignValues(other);
    return *this;
}

void QSV_IdDataRecord::SetInteger(size_t item, int value) {
    CheckItem(item, BDT_INTEGER);
    std::memcpy(m_Fixed.data() + m_Block->GetItemBufferOffset(item), &value, 4);
}

void QSV_IdDataRecord::SetReal(size_t item, double value) {
    CheckItem(item, BDT_REAL);
    unsigned char* bytes = m_Fixed.data() + m_Block->GetItemBufferOffset(item);
    if (m_Block->GetItemType(item) == BDT_FLOAT) {
        const float narrow = static_cast<float>(value);
        std::memcpy(bytes, &narrow, 4);
    } else {
        std::memcpy(bytes, &value, 8);
    }
}

void QSV_IdDataRecord::SetVector(size_t item, const double* values) {
    CheckItem(item, BDT_VECTOR);
    std::memcpy(m_Fixed.data() + m_Block->GetItemBufferOffset(item), values, 24);
}

void QSV_IdDataRecord::SetTensor(size_t item, const double* values) {
    CheckItem(item, BDT_TENSOR);
    std::memcpy(m_Fixed.data() + m_Block->GetItemBufferOffset(item), values, 48);
}

void QSV_IdDataRecord::SetString(size_t item, const std::string& text) {
    CheckItem(item, BDT_STRING);
    m_Strings[item] = text;
}

void QSV_IdDataRecord::SetIntList(size_t item, const std::vector<int>& values) {
    CheckItem(item, BDT_INT_LIST);
    m_IntLists[item] = values;
}

void QSV_IdDataRecord::SetDoubleList(size_t item, const std::vector<double>& values) {
    CheckItem(item, BDT_DOUBLE_LIST);
    m_DoubleLists[item] = values;
}

void QSV_IdDataRecord::SetKeyId(int id) {
    m_KeyId = id;
    m_KeyName.clear();
    m_HasKeyName = false;
}

void QSV_IdDataRecord::SetKeyName(const std::string& name) {
    m_KeyName = name;
    m_HasKeyName = true;
}

// ---- QSV_ConstIdDataBlock -----------------------------------------------------------------------

QSV_ConstIdDataBlock::QSV_ConstIdDataBlock(const QSV_DataBlock& block, const QSV_IdMapsPool& pool)
    : m_ConstBlock(block), m_ConstPool(pool), m_View(block) {}

QSV_ConstIdDataBlock::~QSV_ConstIdDataBlock() = default;

QSV_ConstIdDataRecord* QSV_ConstIdDataBlock::CreateIdDataRecord() const {
    return new QSV_ConstIdDataRecord(m_ConstBlock);
}

void QSV_ConstIdDataBlock::DeleteIdDataRecord(QSV_ConstIdDataRecord* record) const {
    delete record;
}

long long QSV_ConstIdDataBlock::FindIndex(int id) const {
    const QSV_IdType type = m_ConstBlock.GetBlockIdType();
    long long index = id;
    // A block without id map is indexed by the id itself; in a block keyed by names the record
    // holds the index of its name, which is what `id` names there.
    if (IsIntegerIdSpace(type)) {
        const size_t found = m_ConstPool.GetIdMap(type).GetIdx(id);
        index = found == static_cast<size_t>(-1) ? -1 : static_cast<long long>(found);
    }
    if (index < 0 || !m_ConstBlock.HasRecord(static_cast<size_t>(index))) {
        return -1;
    }
    return index;
}

int QSV_ConstIdDataBlock::IndexToId(QSV_IdType type, int index) const {
    const QSV_IdMap& map = m_ConstPool.GetIdMap(type);
    return index >= 0 && map.HasIdx(static_cast<size_t>(index))
               ? map.GetId(static_cast<size_t>(index))
               : -1;
}

bool QSV_ConstIdDataBlock::GetRecord(int id, QSV_ConstIdDataRecord& record) const {
    const long long index = FindIndex(id);
    return index >= 0 && GetRecordByIndex(static_cast<size_t>(index), record);
}

bool QSV_ConstIdDataBlock::GetRecord(const std::string& name, QSV_ConstIdDataRecord& record) const {
    const QSV_IdType type = m_ConstBlock.GetBlockIdType();
    if (!HasIdSpace(type) || !m_ConstPool.GetIdMap(type).HasId(name)) {
        return false;
    }
    const size_t index = m_ConstPool.GetIdMap(type).GetIdx(name);
    return GetRecordByIndex(index, record);
}

bool QSV_ConstIdDataBlock::GetRecordByIndex(size_t index, QSV_ConstIdDataRecord& record) const {
    if (!m_ConstBlock.HasRecord(index)) {
        return false;
    }
    if (record.m_Block != &m_ConstBlock) {
        record = QSV_ConstIdDataRecord(m_ConstBlock);
    }
    // A block that hands out its stored bytes keeps every referenced id, known to its map or
    // not; through GetRecord an id the map lacks arrives as -1.
    const bool stored = m_ConstBlock.GetStoredRecord(index, m_View);
    if (!stored) {
        m_ConstBlock.GetRecord(index, m_View);
    }
    record.Reset();
    std::memcpy(record.m_Fixed.data(), m_View.GetBuffer(),
                std::min(record.m_Fixed.size(), m_View.GetBufferSize()));
    const size_t numItems = m_ConstBlock.GetNumItems();
    for (size_t item = 1; item < numItems; ++item) {
        if (m_ConstBlock.GetItemRecordOffset(item) < 4 ||
            m_ConstBlock.GetItemBufferOffset(item) + 4 > record.m_Fixed.size()) {
            continue; // no bytes of its own in the record buffer
        }
        ReadItem(item, stored, record);
    }
    const QSV_IdType keyType = m_ConstBlock.GetBlockIdType();
    const int intIndex = static_cast<int>(index);
    if (IsIntegerIdSpace(keyType)) {
        record.m_KeyId = IndexToId(keyType, intIndex);
    } else if (HasIdSpace(keyType)) {
        record.m_KeyId = intIndex;
        record.m_HasKeyName = true;
        m_ConstPool.GetIdMap(keyType).GetId(index, record.m_KeyName);
    } else {
        record.m_KeyId = intIndex;
    }
    return true;
}

// Turns what the block delivered for one item into its database-independent form.
void QSV_ConstIdDataBlock::ReadItem(size_t item, bool stored, QSV_ConstIdDataRecord& record) const {
    const BlockDataType type = m_ConstBlock.GetItemType(item);
    const QSV_IdType idType = m_ConstBlock.GetItemIdType(item);
    unsigned char* bytes = record.m_Fixed.data() + m_ConstBlock.GetItemBufferOffset(item);
    int raw;
    std::memcpy(&raw, bytes, 4);
    const int zero = 0;
    switch (type) {
    case BDT_INTEGER:
        if (!stored && IsIntegerIdSpace(idType)) {
            const int id = IndexToId(idType, raw);
            std::memcpy(bytes, &id, 4);
        }
        break;
    case BDT_STRING:
        std::memcpy(bytes, &zero, 4);
        if (HasIdSpace(idType)) {
            const QSV_IdMap& map = m_ConstPool.GetIdMap(idType);
            if (raw >= 0 && map.HasIdx(static_cast<size_t>(raw))) {
                map.GetId(static_cast<size_t>(raw), record.m_Strings[item]);
            }
        } else if (raw > 0) {
            m_ConstBlock.GetString(static_cast<size_t>(raw), record.m_Strings[item]);
        }
        break;
    case BDT_ORDERED_LIST:
    case BDT_INT_LIST:
        std::memcpy(bytes, &zero, 4);
        ReadIntList(raw, idType, record.m_IntLists[item]);
        break;
    case BDT_DOUBLE_LIST:
        std::memcpy(bytes, &zero, 4);
        if (raw > 0) {
            QSV_DoubleArray list;
            m_ConstBlock.GetDoubleList(static_cast<size_t>(raw), list);
            record.m_DoubleLists[item].assign(list.Data(), list.Data() + list.Size());
        }
        break;
    default:
        break;
    }
}

void QSV_ConstIdDataBlock::ReadIntList(int listIndex, QSV_IdType idType,
                                       std::vector<int>& values) const {
    values.clear();
    if (listIndex <= 0) {
        return;
    }
    QSV_IntArray list;
    // Ids as stored need no map; indices from the index face do, and an id that the map lost
    // comes out as -1.
    if (IsIntegerIdSpace(idType) &&
        m_ConstBlock.GetStoredIntList(static_cast<size_t>(listIndex), list)) {
        values.assign(list.Data(), list.Data() + list.Size());
        return;
    }
    m_ConstBlock.GetIntList(static_cast<size_t>(listIndex), list);
    values.assign(list.Data(), list.Data() + list.Size());
    if (IsIntegerIdSpace(idType)) {
        for (int& value : values) {
            value = IndexToId(idType, value);
        }
    }
}

// ---- QSV_IdDataBlock ----------------------------------------------------------------------------

QSV_IdDataBlock::QSV_IdDataBlock(QSV_DataBlock& block, QSV_IdMapsPool& pool, bool createIds)
    : QSV_ConstIdDataBlock(block, pool), m_Block(block), m_Pool(pool), m_CreateIds(createIds),
      m_WriteView(block) {}

QSV_IdDataRecord* QSV_IdDataBlock::CreateIdDataRecord() {
    return new QSV_IdDataRecord(m_Block);
}

size_t QSV_IdDataBlock::IdToIndex(QSV_IdType type, int id) {
    QSV_IdMap& map = m_Pool.GetIdMap(type);
    if (m_CreateIds) {
        return map.FetchIdx(id);
    }
    const size_t index = map.GetIdx(id);
    if (index == static_cast<size_t>(-1)) {
        ThrowFailure(nullptr, TAG_ID_DATA_BLOCK, MSG_UNKNOWN_ID, id, static_cast<int>(type));
    }
    return index;
}

size_t QSV_IdDataBlock::NameToIndex(QSV_IdType type, const std::string& name) {
    QSV_IdMap& map = m_Pool.GetIdMap(type);
    if (m_CreateIds) {
        return map.FetchIdx(name);
    }
    if (!map.HasId(name)) {
        ThrowFailure(nullptr, TAG_ID_DATA_BLOCK, MSG_UNKNOWN_NAME, name.c_str(),
                     static_cast<int>(type));
    }
    return map.GetIdx(name);
}

void QSV_IdDataBlock::SetRecord(int id, const QSV_IdDataRecord& record) {
    const QSV_IdType type = m_Block.GetBlockIdType();
    if (IsIntegerIdSpace(type)) {
        StoreAt(IdToIndex(type, id), record);
        return;
    }
    // Without id map the id is the index; in a block keyed by names it is the name's index.
    if (id < 0) {
        ThrowFailure(nullptr, TAG_ID_DATA_BLOCK, MSG_NO_ID_MAP_FOR_ID, id, BlockNumber(m_Block));
    }
    StoreAt(static_cast<size_t>(id), record);
}

void QSV_IdDataBlock::SetRecord(const std::string& name, const QSV_IdDataRecord& record) {
    const QSV_IdType type = m_Block.GetBlockIdType();
    if (!HasIdSpace(type)) {
        ThrowFailure(nullptr, TAG_ID_DATA_BLOCK, MSG_NO_ID_MAP_FOR_NAME, name.c_str(),
                     BlockNumber(m_Block));
    }
    StoreAt(NameToIndex(type, name), record);
}

void QSV_IdDataBlock::StoreAt(size_t index, const QSV_ConstIdDataRecord& record) {
    if (!SameLayout(*record.m_Block, m_Block)) {
        QSV_IdDataRecord relaid(m_Block);
        relaid = record;
        StoreAt(index, relaid);
        return;
    }
    std::memcpy(m_WriteView.GetBuffer(), record.m_Fixed.data(),
                std::min(record.m_Fixed.size(), m_WriteView.GetBufferSize()));
    const size_t numItems = m_Block.GetNumItems();
    for (size_t item = 1; item < numItems; ++item) {
        if (m_Block.GetItemRecordOffset(item) >= 4 &&
            m_Block.GetItemBufferOffset(item) + 4 <= m_WriteView.GetBufferSize()) {
            StoreItem(item, record);
        }
    }
    m_Block.SetRecord(index, m_WriteView);
}

// Turns one item of an id record into what the block stores, entering ids and names into the id
// maps and strings and lists into the block's pools.
void QSV_IdDataBlock::StoreItem(size_t item, const QSV_ConstIdDataRecord& record) {
    const BlockDataType type = m_Block.GetItemType(item);
    const QSV_IdType idType = m_Block.GetItemIdType(item);
    unsigned char* bytes = m_WriteView.GetBuffer() + m_Block.GetItemBufferOffset(item);
    int value = 0;
    switch (type) {
    case BDT_INTEGER:
        std::memcpy(&value, bytes, 4);
        // Blocks keep integer items as external ids; the map learns the id, so that the block's
        // index face can answer for it. A negative value refers to nothing.
        if (IsIntegerIdSpace(idType) && m_CreateIds && value >= 0) {
            m_Pool.GetIdMap(idType).FetchIdx(value);
        }
        return;
    case BDT_STRING: {
        const std::string& text = record.m_Strings[item];
        if (HasIdSpace(idType)) {
            value = static_cast<int>(NameToIndex(idType, text));
        } else if (!text.empty()) {
            value = static_cast<int>(m_Block.SetString(text));
        }
        break;
    }
    case BDT_ORDERED_LIST:
    case BDT_INT_LIST:
        value = StoreIntList(idType, record.m_IntLists[item]);
        break;
    case BDT_DOUBLE_LIST: {
        const std::vector<double>& list = record.m_DoubleLists[item];
        value =
            list.empty() ? 0 : static_cast<int>(m_Block.SetDoubleList(list.data(), list.size()));
        break;
    }
    default:
        return;
    }
    std::memcpy(bytes, &value, 4);
}

int QSV_IdDataBlock::StoreIntList(QSV_IdType idType, const std::vector<int>& values) {
    if (values.empty()) {
        return 0;
    }
    if (!IsIntegerIdSpace(idType)) {
        return static_cast<int>(m_Block.SetIntList(values.data(), values.size()));
    }
    m_Scratch.resize(values.size());
    for (size_t i = 0; i < values.size(); ++i) {
        m_Scratch[i] = static_cast<int>(IdToIndex(idType, values[i]));
    }
    return static_cast<int>(m_Block.SetIntList(m_Scratch.data(), m_Scratch.size()));
}
