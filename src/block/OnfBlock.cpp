// OnfBlock: record layout and record access on both faces. Text in and out lies in
// OnfBlockText.cpp.
//
// A record is a 4-byte id field followed by the item data, packed without alignment, so every
// access to an item goes byte-wise through a copy. Records live in the chunks of a
// BrelonMemRecArray and never move; nothing in a record is a pointer: strings, lists and names
// are 32-bit handles into the database's pools and id maps.
#include "OnfBlock.h"
#include "OnfBlockDetail.h"

#include "BrelonTextServices.h"
#include "OnfConstants.h"
#include "QSV_Failure.h"

#include <algorithm>
#include <cstring>
#include <memory>

using onf_detail::LoadValue;
using onf_detail::StoreValue;

namespace {
const char* const kTag = "|%P|BrelonOnfEngine|OnfBlock";

const std::vector<int> kNoInts;
const std::vector<double> kNoReals;

bool IsIntListType(BlockDataType type) {
    return type == BDT_ORDERED_LIST || type == BDT_INT_LIST;
}
} // namespace

const int32_t OnfBlock::m_BasicTypesMap[128] = {
    -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, //
    -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, //
    -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, //
    -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, //
    -1, -1, -1, -1, 9,  -1, 3,  -1, -1, 1,  -1, -1, 8,  -1, -1, 7,  // @ to O
    -1, -1, 2,  4,  6,  -1, 5,  -1, -1, -1, -1, -1, -1, -1, -1, -1, // P to _
    -1, -1, -1, -1, -1, -1, 3,  -1, -1, 10, -1, -1, -1, -1, -1, -1, // ` to o
    -1, -1, 11, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, // p to DEL
};

const int OnfBlock::ID_UNSET;

bool DataRecordEntry::operator==(const DataRecordEntry& other) const {
    return m_Type == other.m_Type && std::memcmp(m_Value, other.m_Value, sizeof m_Value) == 0;
}

OnfHelpers::OnfHelpers(BrelonStringsPool& stringsPool, std::vector<BrelonOnfIntListEntry>& intLists,
                       BrelonPackedIntListsPool& packedIntLists,
                       std::vector<std::vector<double>*>& realLists, TextLineSplitter& splitter,
                       CsvLineWriter& csvWriter, FloatingPointFormatter& floatFormatter,
                       TextLineFormatter& lineFormatter)
    : m_StringsPool(stringsPool), m_IntLists(intLists), m_PackedIntLists(packedIntLists),
      m_RealLists(realLists), m_Splitter(splitter), m_CsvWriter(csvWriter),
      m_FloatFormatter(floatFormatter), m_LineFormatter(lineFormatter) {}

OnfHelpers::~OnfHelpers() = default;

// ---- Construction -----------------------------------------------------------------------------

OnfBlock::OnfBlock(const QSV_DataDescriptor& descriptor, const char* format, size_t numRecords,
                   OnfBlockContext& context)
    : QSV_DataBlock(descriptor, format), m_BlockId(static_cast<QSV_OnfId>(-1)),
      m_NumExpectedRecords(numRecords),
      m_Records(m_RecordDataSize + 4, numRecords, numRecords / 10), m_Helpers(context.m_Helpers),
      m_Context(context) {
    InitInternalData();
}

OnfBlock::OnfBlock(const QSV_DataDescriptor& descriptor, size_t numRecords,
                   OnfBlockContext& context)
    : QSV_DataBlock(descriptor),
      m_BlockId(static_cast<QSV_OnfId>(descriptor.GetInteger(QSV_DataDescriptor::RI_ONF_ID))),
      m_NumExpectedRecords(numRecords),
      m_Records(m_RecordDataSize + 4, numRecords, numRecords / 10), m_Helpers(context.m_Helpers),
      m_Context(context) {
    InitInternalData();
}

OnfBlock::~OnfBlock() = default;

void OnfBlock::InitInternalData() {
    m_NumItems = GetLayout().GetNumItems();
    m_RecMap = GetLayout().GetItems().data();
    m_DirectIndexed = static_cast<uint32_t>(m_BlockIdType) > 14u;
    for (size_t slot = 0; slot < m_Records.NumRecords(); ++slot) {
        *static_cast<int*>(m_Records.RecordData(slot)) = ID_UNSET;
    }
    if (!m_DirectIndexed) {
        m_IdMap = &m_Context.m_IdMaps.GetIdMap(m_BlockIdType);
        m_IdTrie = m_Context.m_IdTries[m_BlockIdType];
    }
}

const std::string& OnfBlock::GetBlockFormatString() const {
    return GetFormatString();
}

void OnfBlock::Clear() {
    m_UserHeader.clear();
    m_Records.Clear();
    m_FirstIndex = 0;
    m_MayHoldRecords = false;
}

void OnfBlock::Reserve(size_t n) {
    m_Records.SetNumRecPerChunk(n / 10);
}

QSV_IdType OnfBlock::DetermineIdType(size_t item) const {
    if (m_BlockId < 0 || !QSV_OnfInfoPool::ExistsOnfBlock(m_BlockId)) {
        return ID_NONE;
    }
    const QSV_OnfMetaData& row = QSV_OnfInfoPool::GetOnfInfo(m_BlockId);
    return item < row.m_NumItems ? row.m_ItemIdTypes[item] : ID_NONE;
}

bool OnfBlock::IsKeyedByName() const {
    // A key in the format says how it reads; an implicit key (the format starts with its first
    // item, often a real or a vector of a result keyed by node) reads as the block's id space
    // holds its ids, so that node ids never land on the name side of the node map.
    if (m_IdMap == nullptr || GetFormatString().compare(0, 1, "I") == 0) {
        return false;
    }
    return QSV_ID_TYPE_INFO[m_BlockIdType].keyKind != 0;
}

QSV_IdMap& OnfBlock::IdMapOf(QSV_IdType type) const {
    return m_Context.m_IdMaps.GetIdMap(type);
}

// ---- Slots and ids ----------------------------------------------------------------------------

// Records lie in a window of indices, from m_FirstIndex on. An id-mapped block takes its indices
// from the database's shared id map, so a block of a few records whose ids the map numbered late
// would otherwise hold a slot for every index below theirs: 10^6 one-record blocks of 110, each
// replacing the last, made 10^6 blocks of up to 10^6 slots. A block that holds no record yet moves
// its window to the first index asked for; one that holds records widens it downward by at least
// its own size, so that records arriving in descending order cost linear time.
bool OnfBlock::FetchRecord(size_t index) {
    if (index < m_FirstIndex || index >= EndIndex()) {
        if (!m_MayHoldRecords) {
            m_FirstIndex = index;
        } else if (index < m_FirstIndex) {
            WidenDown(index);
        }
    }
    while (EndIndex() <= index) {
        int* id = static_cast<int*>(m_Records.AddNewRecord());
        *id = ID_UNSET;
    }
    return true;
}

void OnfBlock::WidenDown(size_t index) {
    const size_t count = m_Records.NumRecords();
    const size_t room = std::max(m_FirstIndex - index, count);
    const size_t first = m_FirstIndex > room ? m_FirstIndex - room : 0;
    const size_t front = m_FirstIndex - first;
    const size_t bytes = m_Records.RecordSize();
    BrelonMemRecArray wider(bytes, front + count, (front + count) / 10);
    for (size_t slot = 0; slot < front; ++slot) {
        *static_cast<int*>(wider.RecordData(slot)) = ID_UNSET;
    }
    for (size_t slot = 0; slot < count; ++slot) {
        std::memcpy(wider.RecordData(front + slot), m_Records.RecordData(slot), bytes);
    }
    m_Records = std::move(wider);
    m_FirstIndex = first;
}

bool OnfBlock::HasRecord(size_t index) const {
    return index >= m_FirstIndex && index < EndIndex() && *GetRecordIdConstPtr(index) != ID_UNSET;
}

bool OnfBlock::HasRecord(int id) const {
    return GetRecordIdx(id) >= 0;
}

long long OnfBlock::GetRecordIdx(int id) const {
    if (m_IdTrie != nullptr) {
        const size_t index = m_IdTrie->Find(id);
        return index != BrelonIdIndexTrie::NOT_FOUND && HasRecord(index)
                   ? static_cast<long long>(index)
                   : -1;
    }
    // Without an id map the index is the id. The slot test goes first, so that the two scans
    // for the first and last set record run only for a slot that holds a record.
    if (id < 0 || !HasRecord(static_cast<size_t>(id)) || id < GetMinId() || id > GetMaxId()) {
        return -1;
    }
    return id;
}

size_t OnfBlock::FetchIndex(int id) {
    const size_t index = m_IdTrie->Find(id);
    return index != BrelonIdIndexTrie::NOT_FOUND ? index : m_IdMap->FetchIdx(id);
}

size_t OnfBlock::GetWarrantedRecordIdx(int id, bool& created) {
    if (m_IdTrie != nullptr && m_IdMap != nullptr) {
        const size_t index = FetchIndex(id);
        FetchRecord(index);
        int* stored = GetRecordIdPtr(index);
        created = *stored != id;
        *stored = id;
        return index;
    }
    if (id < 0) {
        // The id would be the index of a slot: a negative one names none.
        onf_detail::ThrowFailure(nullptr, kTag,
                                 "The id %d cannot be used in ONF block %d, whose records are "
                                 "indexed by their ids.",
                                 id, static_cast<int>(m_BlockId));
    }
    const size_t index = static_cast<size_t>(id);
    FetchRecord(index);
    int* stored = GetRecordIdPtr(index);
    created = *stored == ID_UNSET;
    if (created) {
        *stored = id;
    }
    return index;
}

int OnfBlock::GetId(size_t index) const {
    return *GetRecordIdConstPtr(index);
}

int OnfBlock::GetMinId() const {
    for (size_t index = m_FirstIndex; index < EndIndex(); ++index) {
        if (HasRecord(index)) {
            return GetId(index);
        }
    }
    return -1;
}

int OnfBlock::GetMaxId() const {
    const long long last = GetMaxIndex();
    return last < 0 ? 0 : GetId(static_cast<size_t>(last));
}

long long OnfBlock::GetMaxIndex() const {
    for (size_t index = EndIndex(); index > m_FirstIndex; --index) {
        if (HasRecord(index - 1)) {
            return static_cast<long long>(index - 1);
        }
    }
    return -1;
}

size_t OnfBlock::GetNumRecords() const {
    size_t count = 0;
    for (size_t index = m_FirstIndex; index < EndIndex(); ++index) {
        count += HasRecord(index) ? 1 : 0;
    }
    return count;
}

void OnfBlock::GetIdSet(std::vector<int>& ids) const {
    ids.clear();
    for (size_t index = m_FirstIndex; index < EndIndex(); ++index) {
        if (HasRecord(index)) {
            ids.push_back(GetId(index));
        }
    }
}

void OnfBlock::GetIdSet(QSV_IntSetIntvl<int>& ids, QSV_DataRecordItem::DataRecordItem item) const {
    ids.Clear();
    for (size_t index = m_FirstIndex; index < EndIndex(); ++index) {
        if (HasRecord(index)) {
            ids.Insert(GetInt(index, item));
        }
    }
}

bool OnfBlock::DeleteRecord(size_t index) {
    if (!HasRecord(index)) {
        return false;
    }
    *GetRecordIdPtr(index) = ID_UNSET;
    return true;
}

// ---- Typed reads ------------------------------------------------------------------------------

int OnfBlock::GetInt(size_t index, Item item) const {
    return LoadValue<int32_t>(ItemPtr(index, item));
}

double OnfBlock::GetReal(size_t index, Item item) const {
    return LoadValue<double>(ItemPtr(index, item));
}

const char* OnfBlock::GetString(size_t index, Item item) const {
    const QSV_IdType idType = DetermineIdType(item);
    if (idType == ID_NONE) {
        return m_Helpers.m_StringsPool.GetString(LoadValue<int32_t>(ItemPtr(index, item)));
    }
    std::string name;
    GetString(index, item, name);
    return m_Helpers.m_StringsPool.GetString(m_Helpers.m_StringsPool.AddString(name));
}

void OnfBlock::GetString(size_t index, Item item, std::string& text) const {
    const QSV_IdType idType = DetermineIdType(item);
    if (idType == ID_NONE) {
        text = m_Helpers.m_StringsPool.GetString(LoadValue<int32_t>(ItemPtr(index, item)));
        return;
    }
    // A name key is not stored in the record (its id field holds the number the name reads
    // as): the record's index is the name's index in the block's id map.
    const size_t mapIndex =
        item == 0 ? index : static_cast<size_t>(LoadValue<int32_t>(ItemPtr(index, item)));
    IdMapOf(idType).GetId(mapIndex, text);
}

BrelonOnfIntListEntry* OnfBlock::ListEntry(size_t listIndex) const {
    // A reference from before the database cleared its lists reads as no list.
    std::vector<BrelonOnfIntListEntry>& lists = m_Helpers.m_IntLists;
    return listIndex < lists.size() ? &lists[listIndex] : nullptr;
}

// A list lies in its entry's vectors or, read by a load and unchanged since, in the packed pool
// (its entry's vectors empty). An entry's vector wins: it is made from the packed list when a
// caller asks for a vector, and the packed list is dropped when the list is to change.
bool OnfBlock::FindListIds(size_t listIndex, OnfIntListView& ids) const {
    const BrelonOnfIntListEntry* entry = ListEntry(listIndex);
    if (entry == nullptr) {
        return false;
    }
    if (entry->ids) {
        ids = OnfIntListView{entry->ids->data(), entry->ids->size()};
        return true;
    }
    BrelonPackedIntListsPool::Values packed;
    if (!m_Helpers.m_PackedIntLists.GetIds(listIndex, packed)) {
        return false;
    }
    ids = OnfIntListView{packed.data, packed.size};
    return true;
}

bool OnfBlock::FindListIndices(size_t listIndex, OnfIntListView& indices) const {
    const BrelonOnfIntListEntry* entry = ListEntry(listIndex);
    if (entry == nullptr) {
        return false;
    }
    if (entry->indices) {
        indices = OnfIntListView{entry->indices->data(), entry->indices->size()};
        return true;
    }
    BrelonPackedIntListsPool::Values packed;
    if (!m_Helpers.m_PackedIntLists.GetIndices(listIndex, packed)) {
        return false;
    }
    indices = OnfIntListView{packed.data, packed.size};
    return true;
}

BrelonOnfIntListEntry* OnfBlock::ChangeableListEntry(size_t listIndex) {
    BrelonOnfIntListEntry* entry = ListEntry(listIndex);
    if (entry == nullptr) {
        return nullptr;
    }
    BrelonPackedIntListsPool& packed = m_Helpers.m_PackedIntLists;
    BrelonPackedIntListsPool::Values values;
    if (!entry->ids && packed.GetIds(listIndex, values)) {
        entry->ids = std::make_unique<std::vector<int>>(values.data, values.data + values.size);
    }
    if (!entry->indices && packed.GetIndices(listIndex, values)) {
        entry->indices = std::make_unique<std::vector<int>>(values.data, values.data + values.size);
    }
    packed.Drop(listIndex);
    return entry;
}

const std::vector<int>& OnfBlock::GetIntList(size_t listIndex) const {
    BrelonOnfIntListEntry* entry = ListEntry(listIndex);
    if (entry == nullptr) {
        return kNoInts;
    }
    OnfIntListView packed;
    if (!entry->ids && FindListIds(listIndex, packed)) {
        // A caller that wants a vector gets one, made once; the packed list stays for indices.
        entry->ids = std::make_unique<std::vector<int>>(packed.begin(), packed.end());
    }
    return entry->ids ? *entry->ids : kNoInts;
}

const std::vector<int>& OnfBlock::GetIntList(size_t index, Item item) const {
    return GetIntList(static_cast<size_t>(LoadValue<uint32_t>(ItemPtr(index, item))));
}

OnfIntListView OnfBlock::GetIntListView(size_t index, Item item) const {
    OnfIntListView ids;
    FindListIds(static_cast<size_t>(LoadValue<uint32_t>(ItemPtr(index, item))), ids);
    return ids;
}

const std::vector<double>& OnfBlock::GetRealList(size_t index, Item item) const {
    const size_t listIndex = LoadValue<uint32_t>(ItemPtr(index, item));
    const std::vector<std::vector<double>*>& lists = m_Helpers.m_RealLists;
    return listIndex < lists.size() && lists[listIndex] != nullptr ? *lists[listIndex] : kNoReals;
}

BrelonMatrix<3, 1, double> OnfBlock::GetVector(size_t index, Item item) const {
    double values[3];
    GetVector(index, item, values);
    return BrelonMatrix<3, 1, double>(values[0], values[1], values[2]);
}

void OnfBlock::GetVector(size_t index, Item item, std::vector<double>& values) const {
    values.resize(3);
    GetVector(index, item, values.data());
}

void OnfBlock::GetVector(size_t index, Item item, double* values) const {
    std::memcpy(values, ItemPtr(index, item), 3 * sizeof(double));
}

int OnfBlock::GetInt(const OnfConstObject& object, Item item) {
    return object.m_Block->GetInt(object.m_Index, item);
}

double OnfBlock::GetReal(const OnfConstObject& object, Item item) {
    return object.m_Block->GetReal(object.m_Index, item);
}

const char* OnfBlock::GetString(const OnfConstObject& object, Item item) {
    return object.m_Block->GetString(object.m_Index, item);
}

const std::vector<int>& OnfBlock::GetIntList(const OnfConstObject& object, Item item) {
    return object.m_Block->GetIntList(object.m_Index, item);
}

BrelonMatrix<3, 1, double> OnfBlock::GetVector(const OnfConstObject& object, Item item) {
    return object.m_Block->GetVector(object.m_Index, item);
}

// ---- Typed writes -----------------------------------------------------------------------------

void OnfBlock::SetRecordItem(size_t index, Item item, int value) {
    StoreValue(ItemPtr(index, item), static_cast<int32_t>(value));
    const QSV_IdType idType = DetermineIdType(item);
    if (idType == ID_NONE) {
        return;
    }
    const size_t mapIndex = IdMapOf(idType).FetchIdx(value);
    if (item == 0 && mapIndex != index) {
        onf_detail::ThrowFailure(nullptr, kTag,
                                 "The container for Onf block %d (%s) already has a record with "
                                 "id = %d",
                                 static_cast<int>(m_BlockId),
                                 QSV_OnfInfoPool::GetOnfInfo(m_BlockId).GetBlockName().c_str(),
                                 value);
    }
}

void OnfBlock::SetRecordItem(size_t index, Item item, double value) {
    // A float item takes the value narrowed: eight bytes would run into the next item.
    unsigned char* where = ItemPtr(index, item);
    if (m_RecMap[item].m_Type == BDT_FLOAT) {
        StoreValue(where, static_cast<float>(value));
    } else if (m_RecMap[item].m_Size >= sizeof(double)) {
        StoreValue(where, value);
    }
}

void OnfBlock::SetRecordItem(size_t index, Item item, double x, double y, double z) {
    if (m_RecMap[item].m_Size >= 3 * sizeof(double)) {
        const double values[3] = {x, y, z};
        std::memcpy(ItemPtr(index, item), values, sizeof values);
    }
}

void OnfBlock::SetRecordItem(size_t index, Item item, const BrelonMatrix<3, 1, double>& value) {
    SetRecordItem(index, item, value(0), value(1), value(2));
}

void OnfBlock::SetRecordItem(size_t index, Item item, const double* values, size_t count) {
    const size_t bytes = std::min(count * sizeof(double), m_RecMap[item].m_Size);
    std::memcpy(ItemPtr(index, item), values, bytes - bytes % sizeof(double));
}

void OnfBlock::SetRecordItem(size_t index, Item item, const std::string& value) {
    const QSV_IdType idType = DetermineIdType(item);
    const size_t handle = idType == ID_NONE
                              ? static_cast<size_t>(m_Helpers.m_StringsPool.AddString(value))
                              : IdMapOf(idType).FetchIdx(value);
    StoreValue(ItemPtr(index, item), static_cast<int32_t>(handle));
}

void OnfBlock::SetRecordItem(size_t index, Item item, const std::vector<int>& values,
                             OnfIntListType type) {
    auto copy = std::make_unique<std::vector<int>>(values);
    if (type == ONF_INT_LIST_SORTED) {
        QSV_ListFormatUtil::sort_remove_duplicates(*copy);
    }
    const size_t listIndex = NewIntListEntry(copy.release(), nullptr);
    StoreValue(ItemPtr(index, item), static_cast<int32_t>(listIndex));
}

void OnfBlock::SetRecordItem(size_t index, Item item, const std::set<int>& values) {
    auto copy = std::make_unique<std::vector<int>>(values.begin(), values.end());
    const size_t listIndex = NewIntListEntry(copy.release(), nullptr);
    StoreValue(ItemPtr(index, item), static_cast<int32_t>(listIndex));
}

size_t OnfBlock::NewIntListEntry(std::vector<int>* first, std::vector<int>* second) {
    std::unique_ptr<std::vector<int>> ids(first);
    std::unique_ptr<std::vector<int>> indices(second);
    m_Helpers.m_IntLists.emplace_back(std::move(ids), std::move(indices));
    return m_Helpers.m_IntLists.size() - 1;
}

// ---- Whole records ----------------------------------------------------------------------------

void OnfBlock::GetRecord(size_t index, std::vector<DataRecordEntry>& entries) const {
    entries.resize(m_NumItems);
    for (size_t item = 0; item < m_NumItems; ++item) {
        GetRecordItem(index, item, entries[item]);
    }
}

void OnfBlock::GetRecordItem(size_t index, size_t item, DataRecordEntry& entry) const {
    const RecordMapEntry& map = m_RecMap[item];
    entry.m_Type = map.m_Type;
    std::memset(entry.m_Value, 0, sizeof entry.m_Value);
    std::memcpy(entry.m_Value, ItemPtr(index, item), std::min(map.m_Size, sizeof entry.m_Value));
}

void OnfBlock::StoreDataEntryValue(size_t index, size_t item, const DataRecordEntry& entry) {
    const RecordMapEntry& map = m_RecMap[item];
    std::memcpy(ItemPtr(index, item), entry.m_Value, std::min(map.m_Size, sizeof entry.m_Value));
}

void OnfBlock::CopyRecord(const OnfBlock& source, size_t sourceIndex, size_t targetIndex, int) {
    QSV_ConstIdDataBlock from(source, source.m_Context.m_IdMaps);
    QSV_IdDataBlock to(*this, m_Context.m_IdMaps, true);
    QSV_ConstIdDataRecord sourceRecord(source);
    if (!from.GetRecordByIndex(sourceIndex, sourceRecord)) {
        return;
    }
    QSV_IdDataRecord targetRecord(*this);
    targetRecord = sourceRecord;
    FetchRecord(targetIndex);
    if (m_IdMap != nullptr && QSV_ID_TYPE_INFO[m_BlockIdType].keyKind != 0) {
        std::string name;
        m_IdMap->GetId(targetIndex, name);
        to.SetRecord(name, targetRecord);
    } else {
        to.SetRecord(GetId(targetIndex), targetRecord);
    }
}

// ---- Lists ------------------------------------------------------------------------------------

void OnfBlock::ExtendIntList(size_t index, Item item, int value) {
    ExtendIntList(index, item, std::vector<int>(1, value));
}

void OnfBlock::ExtendIntList(size_t index, Item item, const std::vector<int>& values) {
    unsigned char* where = ItemPtr(index, item);
    size_t listIndex = LoadValue<uint32_t>(where);
    if (listIndex == 0 || ChangeableListEntry(listIndex) == nullptr) {
        listIndex = NewIntListEntry(new std::vector<int>(), nullptr);
        StoreValue(where, static_cast<int32_t>(listIndex));
    }
    for (int value : values) {
        ExtendIntList(listIndex, m_RecMap[item].m_Type, value);
    }
}

void OnfBlock::ExtendIntList(size_t listIndex, BlockDataType type, int value) {
    BrelonOnfIntListEntry& entry = m_Helpers.m_IntLists[listIndex];
    if (!entry.ids) {
        entry.ids = std::make_unique<std::vector<int>>();
    }
    std::vector<int>& list = *entry.ids;
    if (type == BDT_ORDERED_LIST) {
        const auto place = std::lower_bound(list.begin(), list.end(), value);
        if (place == list.end() || *place != value) {
            list.insert(place, value);
        }
    } else if (type == BDT_INT_LIST) {
        list.push_back(value);
    }
}

void OnfBlock::TransferSetSize(size_t index, Item listItem, Item sizeItem) {
    const size_t size = GetIntListView(index, listItem).size();
    StoreValue(ItemPtr(index, sizeItem), static_cast<int32_t>(size));
}

void OnfBlock::UpdateIdIntLists() {
    struct ListItem {
        size_t item;
        QSV_IdMap* map;
        const BrelonIdIndexTrie* trie; // the map's own, for look-ups without a call
    };
    std::vector<ListItem> listItems;
    for (size_t item = 1; item < m_NumItems; ++item) {
        const QSV_IdType idType = DetermineIdType(item);
        if (IsIntListType(m_RecMap[item].m_Type) && idType != ID_NONE) {
            listItems.push_back({item, &IdMapOf(idType), m_Context.m_IdTries[idType]});
        }
    }
    if (listItems.empty()) {
        return;
    }
    for (size_t index = m_FirstIndex; index < EndIndex(); ++index) {
        if (!HasRecord(index)) {
            continue;
        }
        for (const ListItem& listItem : listItems) {
            TranslateIdList(LoadValue<uint32_t>(ItemPtr(index, listItem.item)), *listItem.map,
                            listItem.trie);
        }
    }
}

// Gives list `listIndex` its indices in `map`: every id through FetchIdx, which makes an index
// for an id that no block defines. Ids the map knows are found in its trie without a call.
void OnfBlock::TranslateIdList(size_t listIndex, QSV_IdMap& map, const BrelonIdIndexTrie* trie) {
    BrelonOnfIntListEntry* entry = listIndex == 0 ? nullptr : ListEntry(listIndex);
    OnfIntListView ids;
    if (entry == nullptr || !FindListIds(listIndex, ids)) {
        return;
    }
    int* out = nullptr;
    std::unique_ptr<std::vector<int>> indices;
    if (!entry->ids || !entry->indices) {
        out = m_Helpers.m_PackedIntLists.SetIndices(listIndex); // null unless the list is packed
    }
    if (out == nullptr) {
        indices = std::make_unique<std::vector<int>>(ids.size());
        out = indices->data();
    }
    for (size_t k = 0; k < ids.size(); ++k) {
        const size_t known = trie != nullptr ? trie->Find(ids[k]) : BrelonIdIndexTrie::NOT_FOUND;
        out[k] =
            static_cast<int>(known != BrelonIdIndexTrie::NOT_FOUND ? known : map.FetchIdx(ids[k]));
    }
    if (indices) {
        entry->indices = std::move(indices);
    }
}

// ---- Abstract interface -----------------------------------------------------------------------

void OnfBlock::UpdateRecordId(size_t index) {
    int expected = static_cast<int>(index);
    if (m_IdTrie != nullptr && m_IdMap != nullptr && !IsKeyedByName()) {
        expected = m_IdMap->GetId(index);
    }
    int* stored = GetRecordIdPtr(index);
    if (*stored == ID_UNSET) {
        *stored = expected;
    }
    if (*stored != expected) {
        // The first placeholder lacks its percent sign, so the two %d show index and expected id.
        onf_detail::ThrowFailure(
            "052719042098", kTag,
            "ID-mapping seems to deliver a different ID for record with "
            "index Iu\nID from ID-mapping: %d\nID already stored in record: %d",
            static_cast<int>(index), expected, *stored);
    }
}

unsigned char* OnfBlock::PayloadPtr(size_t index, size_t bytes) {
    if (m_NumItems < 2 || m_RecMap[1].m_Size < bytes) {
        onf_detail::ThrowFailure(nullptr, kTag,
                                 "ONF block %d has no item 1 that can hold %Iu bytes.",
                                 static_cast<int>(m_BlockId), bytes);
    }
    FetchRecord(index);
    UpdateRecordId(index);
    return ItemPtr(index, 1);
}

const unsigned char* OnfBlock::PayloadPtr(size_t index, size_t bytes) const {
    if (m_NumItems < 2 || m_RecMap[1].m_Size < bytes || index < m_FirstIndex ||
        index >= EndIndex()) {
        onf_detail::ThrowFailure(nullptr, kTag,
                                 "ONF block %d has no item 1 that can hold %Iu bytes.",
                                 static_cast<int>(m_BlockId), bytes);
    }
    return ItemPtr(index, 1);
}

void OnfBlock::SetRecord(size_t index, const QSV_DataRecord& record) {
    FetchRecord(index);
    UpdateRecordId(index);
    unsigned char* data = static_cast<unsigned char*>(SlotData(index)) + 4;
    std::memcpy(data, record.GetBuffer(), std::min(record.GetBufferSize(), m_RecordDataSize));
    for (size_t item = 1; item < m_NumItems; ++item) {
        if (!IsIntListType(m_RecMap[item].m_Type)) {
            continue;
        }
        const size_t listIndex = LoadValue<uint32_t>(ItemPtr(index, item));
        BrelonOnfIntListEntry* entry = listIndex == 0 ? nullptr : ChangeableListEntry(listIndex);
        if (entry == nullptr) {
            continue;
        }
        const QSV_IdType idType = DetermineIdType(item);
        if (idType != ID_NONE) {
            if (!entry->ids) {
                const std::vector<int>& indices = entry->indices ? *entry->indices : kNoInts;
                QSV_IdMap& map = IdMapOf(idType);
                auto ids = std::make_unique<std::vector<int>>(indices.size());
                for (size_t k = 0; k < indices.size(); ++k) {
                    (*ids)[k] = map.GetId(static_cast<size_t>(indices[k]));
                }
                entry->ids = std::move(ids);
            }
        } else if (entry->indices) {
            // Without an id space the values are the list itself. An entry without a second
            // vector keeps its first: nothing would take its place.
            entry->ids = std::move(entry->indices);
        }
    }
}

void OnfBlock::GetRecord(size_t index, QSV_ConstDataRecord& record) const {
    const unsigned char* data = static_cast<const unsigned char*>(SlotData(index)) + 4;
    unsigned char* buffer = record.GetBuffer();
    const size_t size = std::min(record.GetBufferSize(), m_RecordDataSize);
    std::memcpy(buffer, data, size);
    for (size_t item = 1; item < m_NumItems; ++item) {
        const QSV_IdType idType = DetermineIdType(item);
        const size_t at = m_RecMap[item].m_Offset - 4;
        if (m_RecMap[item].m_Type != BDT_INTEGER || idType == ID_NONE || at + 4 > size ||
            QSV_ID_TYPE_INFO[idType].keyKind != 0) {
            continue;
        }
        const size_t mapIndex = IdMapOf(idType).GetIdx(LoadValue<int32_t>(buffer + at));
        StoreValue(buffer + at, static_cast<int32_t>(mapIndex));
    }
}

bool OnfBlock::GetStoredRecord(size_t index, QSV_ConstDataRecord& record) const {
    const unsigned char* data = static_cast<const unsigned char*>(SlotData(index)) + 4;
    std::memcpy(record.GetBuffer(), data, std::min(record.GetBufferSize(), m_RecordDataSize));
    return true;
}

bool OnfBlock::GetStoredIntList(size_t listIndex, QSV_IntArray& ids) const {
    OnfIntListView list;
    if (!FindListIds(listIndex, list)) {
        return false;
    }
    ids.Assign(list.begin(), list.size());
    return true;
}

void OnfBlock::SetInteger(size_t index, int value) {
    unsigned char* where = PayloadPtr(index, sizeof(int32_t));
    const QSV_IdType idType = DetermineIdType(1);
    if (idType != ID_NONE) {
        value = IdMapOf(idType).GetId(static_cast<size_t>(value));
    }
    StoreValue(where, static_cast<int32_t>(value));
}

int OnfBlock::GetInteger(size_t index) const {
    const int value = LoadValue<int32_t>(PayloadPtr(index, sizeof(int32_t)));
    const QSV_IdType idType = DetermineIdType(1);
    return idType == ID_NONE ? value : static_cast<int>(IdMapOf(idType).GetIdx(value));
}

void OnfBlock::SetScalar(size_t index, double value) {
    unsigned char* where = PayloadPtr(index, sizeof(float));
    if (m_RecMap[1].m_Type == BDT_FLOAT) {
        StoreValue(where, static_cast<float>(value));
    } else if (m_RecMap[1].m_Size >= sizeof(double)) {
        StoreValue(where, value);
    }
}

double OnfBlock::GetScalar(size_t index) const {
    const unsigned char* where = PayloadPtr(index, sizeof(float));
    if (m_RecMap[1].m_Type == BDT_FLOAT) {
        return LoadValue<float>(where);
    }
    return m_RecMap[1].m_Size >= sizeof(double) ? LoadValue<double>(where) : 0.0;
}

void OnfBlock::SetVector(size_t index, const double* values) {
    std::memcpy(PayloadPtr(index, 3 * sizeof(double)), values, 3 * sizeof(double));
}

void OnfBlock::GetVector(size_t index, double* values) const {
    std::memcpy(values, PayloadPtr(index, 3 * sizeof(double)), 3 * sizeof(double));
}

void OnfBlock::SetTensor(size_t index, const double* values) {
    std::memcpy(PayloadPtr(index, 6 * sizeof(double)), values, 6 * sizeof(double));
}

void OnfBlock::GetTensor(size_t index, double* values) const {
    std::memcpy(values, PayloadPtr(index, 6 * sizeof(double)), 6 * sizeof(double));
}

void OnfBlock::FlushAndDestroy() {}

void OnfBlock::DeleteData() {}

size_t OnfBlock::GetIntListLen(size_t listIndex) const {
    // The list in ids where there is one; a list set through this interface has only indices,
    // and its length must still tell the caller how much room GetIntList needs.
    OnfIntListView list;
    if (FindListIds(listIndex, list) || FindListIndices(listIndex, list)) {
        return list.size();
    }
    return 0;
}

void OnfBlock::GetIntList(size_t listIndex, QSV_IntArray& values) const {
    values.Resize(GetIntListLen(listIndex));
    GetIntList(listIndex, values.Data());
}

void OnfBlock::GetIntList(size_t listIndex, int* values) const {
    OnfIntListView list;
    if (FindListIndices(listIndex, list) || FindListIds(listIndex, list)) {
        std::copy(list.begin(), list.end(), values);
    }
}

size_t OnfBlock::SetIntList(const int* values, size_t count) {
    return NewIntListEntry(nullptr, new std::vector<int>(values, values + count));
}

size_t OnfBlock::GetDoubleListLen(size_t listIndex) const {
    const std::vector<std::vector<double>*>& lists = m_Helpers.m_RealLists;
    return listIndex < lists.size() && lists[listIndex] != nullptr ? lists[listIndex]->size() : 0;
}

void OnfBlock::GetDoubleList(size_t listIndex, QSV_DoubleArray& values) const {
    values.Resize(GetDoubleListLen(listIndex));
    GetDoubleList(listIndex, values.Data());
}

void OnfBlock::GetDoubleList(size_t listIndex, double* values) const {
    const std::vector<std::vector<double>*>& lists = m_Helpers.m_RealLists;
    if (listIndex < lists.size() && lists[listIndex] != nullptr) {
        std::copy(lists[listIndex]->begin(), lists[listIndex]->end(), values);
    }
}

size_t OnfBlock::SetDoubleList(const double* values, size_t count) {
    auto list = std::make_unique<std::vector<double>>(values, values + count);
    m_Helpers.m_RealLists.push_back(list.get());
    list.release();
    return m_Helpers.m_RealLists.size() - 1;
}

void OnfBlock::GetString(size_t stringId, std::string& text) const {
    text = m_Helpers.m_StringsPool.GetString(static_cast<Brelon_SP_STRING_ID>(stringId));
}

size_t OnfBlock::SetString(const std::string& text) {
    return static_cast<size_t>(m_Helpers.m_StringsPool.AddString(text));
}
