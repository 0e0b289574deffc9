// The in-memory store of one ONF data block: a table of fixed-size records whose layout follows
// from one format string, with everything of variable length (strings, integer lists, real
// lists) kept in pools that all blocks of one database share through OnfHelpers.
//
// Two faces: the typed interface (GetInt, SetRecordItem, ...) speaks in external ids and raw item
// values and addresses items by number; the abstract interface inherited from QSV_DataBlock
// (GetRecord, SetRecord, GetInteger, ...) speaks in indices of the database's id maps.
//
// Lifetime: a block belongs to its database and holds a reference to the context that the
// database made for its blocks (OnfBlockContext: id maps, pools, text tools), so no block outlives
// its database. Not thread-safe: all blocks of one database share a splitter and a line builder,
// so one block at a time may load or write.
#pragma once

#include "BrelonContainers.h"
#include "BrelonMatrix.h"
#include "QSV_Database.h"
#include "QSV_OnfCatalogue.h"

#include <cstddef>
#include <cstdint>
#include <set>
#include <string>
#include <vector>

class CsvLineWriter;
class FloatingPointFormatter;
class QSV_IdMap;
class TextLineFormatter;
class TextLineSplitter;
class TextLinesProvider;
class TextLinesWriter;
class OnfBlock;

// The shared pools and text tools of one database, handed to every block. A plain bundle of
// references: it owns nothing and its destructor does nothing. Built by the database.
class OnfHelpers {
public:
    OnfHelpers(BrelonStringsPool& stringsPool, std::vector<BrelonOnfIntListEntry>& intLists,
               BrelonPackedIntListsPool& packedIntLists,
               std::vector<std::vector<double>*>& realLists, TextLineSplitter& splitter,
               CsvLineWriter& csvWriter, FloatingPointFormatter& floatFormatter,
               TextLineFormatter& lineFormatter);
    ~OnfHelpers();

    BrelonStringsPool& m_StringsPool;
    // Slot 0 always exists and stays empty: a list reference of 0 means "no list".
    std::vector<BrelonOnfIntListEntry>& m_IntLists;
    BrelonPackedIntListsPool& m_PackedIntLists;
    // Slot 0 always exists and stays empty, as for the integer lists.
    std::vector<std::vector<double>*>& m_RealLists;
    TextLineSplitter& m_Splitter;
    CsvLineWriter& m_CsvWriter;
    FloatingPointFormatter& m_FloatFormatter;
    TextLineFormatter& m_LineFormatter;
};

// What a block sees of the database that holds it: the id maps that its key and items draw on,
// and the pools and text tools that its records share. The database makes one for all its blocks
// and outlives them.
struct OnfBlockContext {
    QSV_IdMapsPool& m_IdMaps;
    // The trie inside the id map of each id type, by type, so that a block finds a record by id
    // without a virtual call; null for a type whose map keeps none.
    const BrelonIdIndexTrie* m_IdTries[ID_NONE + 1];
    OnfHelpers& m_Helpers;
};

// One item's value as a raw copy of its bytes, with its type. 48 bytes hold a tensor.
struct DataRecordEntry {
    BlockDataType m_Type = BDT_INTEGER;
    alignas(8) unsigned char m_Value[48] = {};

    bool operator==(const DataRecordEntry& other) const;
    bool operator!=(const DataRecordEntry& other) const { return !(*this == other); }
};

// How SetRecordItem stores an integer list.
enum OnfIntListType {
    ONF_INT_LIST_SORTED = 0, // sorted ascending, duplicates removed
    ONF_INT_LIST_ORDERED = 1 // kept in the given order
};

// A list's values where they lie, read without a vector of their own (OnfBlock::GetIntListView).
struct OnfIntListView {
    const int* m_Data = nullptr;
    size_t m_Size = 0;

    const int* begin() const { return m_Data; }
    const int* end() const { return m_Data + m_Size; }
    size_t size() const { return m_Size; }
    bool empty() const { return m_Size == 0; }
    int operator[](size_t i) const { return m_Data[i]; }
};

// A handle on one record: its block and its record index. Owns nothing.
struct OnfObject {
    OnfBlock* m_Block = nullptr;
    size_t m_Index = 0;
};

// A read-only handle on one record.
struct OnfConstObject {
    const OnfBlock* m_Block = nullptr;
    size_t m_Index = 0;
};

// The in-memory store of one ONF data block: fixed-size records laid out by the block's format
// string, with strings and lists in the database's shared pools. Records are reached by index;
// the typed face speaks in external ids, the abstract face in indices of the id maps.
class OnfBlock : public QSV_DataBlock {
public:
    using Item = QSV_DataRecordItem::DataRecordItem;

    // 128 entries indexed by ASCII code: the BlockDataType of a format character, -1 for a
    // character that is no item. Exported for clients; the record map gives `i` type 1 and `r`
    // type 2, where this table answers 10 and 11.
    static const int32_t m_BasicTypesMap[128];
    // The id field of a record slot that holds no record.
    static const int ID_UNSET = -1;

    // A custom block with an explicit format text; block id -1, every item without id type.
    // Reserves `numRecords` records (all ID_UNSET). Blocks are made by their database.
    OnfBlock(const QSV_DataDescriptor& descriptor, const char* format, size_t numRecords,
             OnfBlockContext& context);
    // A catalogued block: format, sizes and id types from the catalogue row of the
    // descriptor's item 1. Reserves `numRecords` records (all ID_UNSET).
    OnfBlock(const QSV_DataDescriptor& descriptor, size_t numRecords, OnfBlockContext& context);
    ~OnfBlock() override;
    OnfBlock(const OnfBlock&) = delete;
    OnfBlock& operator=(const OnfBlock&) = delete;

    // ---- Small operations --------------------------------------------------------------------
    // The block number; -1 for a custom block.
    QSV_OnfId GetBlockId() const { return m_BlockId; }
    const std::string& GetBlockFormatString() const;
    // Items of a record, the key (item 0) included.
    size_t GetNumRecordItems() const { return m_NumItems; }
    OnfHelpers& GetHelpers() const { return m_Helpers; }
    // The optional comment written in the block's header.
    const std::string& GetUserHeader() const { return m_UserHeader; }
    void SetUserHeader(const std::string& header) { m_UserHeader = header; }
    // Empties the user header and the record array; the pools keep what they hold.
    void Clear();
    // The layout of item `item`; `item` must be below GetNumRecordItems().
    const RecordMapEntry& GetRecordMapEntry(size_t item) const { return m_RecMap[item]; }
    // True when the record index is the id itself (the block has no id map).
    bool IsDirectIndexed() const { return m_DirectIndexed; }

    // ---- Index and id ------------------------------------------------------------------------
    // In range and not ID_UNSET.
    bool HasRecord(size_t index) const override;
    // The id is held by a set record.
    bool HasRecord(int id) const;
    // The index of the set record with this id, or -1.
    long long GetRecordIdx(int id) const;
    // The index of the record with this id, made if absent; `created` tells which.
    size_t GetWarrantedRecordIdx(int id, bool& created);
    // The id field of the slot, ID_UNSET included. `index` must be a made slot.
    int GetId(size_t index) const;
    // Id of the first set record in index order, -1 if there is none.
    int GetMinId() const;
    // Id of the last set record in index order, 0 if there is none (callers use it + 1).
    int GetMaxId() const;
    // Last index with a set record, -1 if there is none.
    long long GetMaxIndex() const override;
    // Count of set records (a scan of all slots).
    size_t GetNumRecords() const override;
    // Cleared, then the ids of all set records in index order.
    void GetIdSet(std::vector<int>& ids) const;
    // Cleared, then the integer values of `item` of all set records, merged into runs.
    void GetIdSet(QSV_IntSetIntvl<int>& ids, QSV_DataRecordItem::DataRecordItem item) const;

    // ---- Typed reads (no checks: the caller names a set record and an item of that type) ----
    int GetInt(size_t index, Item item) const;
    // An `R` item (8 bytes); not for `F` items.
    double GetReal(size_t index, Item item) const;
    // The text of a string item; pointer valid while the strings pool lives.
    const char* GetString(size_t index, Item item) const;
    void GetString(size_t index, Item item, std::string& text) const;
    // The list in external ids; an empty list for an item without list.
    const std::vector<int>& GetIntList(size_t index, Item item) const;
    // The list in external ids by list reference.
    const std::vector<int>& GetIntList(size_t listIndex) const;
    // The list of a list item in external ids where it lies, with no vector made for it: for
    // reading many lists, such as a model's element nodes, without a heap block for each. Valid
    // until the list changes or the database clears its lists; empty for an item without list.
    OnfIntListView GetIntListView(size_t index, Item item) const;
    const std::vector<double>& GetRealList(size_t index, Item item) const;
    // A `V` item; a `T` item yields its first three values.
    BrelonMatrix<3, 1, double> GetVector(size_t index, Item item) const;
    void GetVector(size_t index, Item item, std::vector<double>& values) const;
    void GetVector(size_t index, Item item, double* values) const;

    static int GetInt(const OnfConstObject& object, Item item);
    static double GetReal(const OnfConstObject& object, Item item);
    static const char* GetString(const OnfConstObject& object, Item item);
    static const std::vector<int>& GetIntList(const OnfConstObject& object, Item item);
    static BrelonMatrix<3, 1, double> GetVector(const OnfConstObject& object, Item item);

    // ---- Typed writes into an existing slot (GetWarrantedRecordIdx makes it) ------------------
    // An item with an id type also gets an index in that id map. Item 0 whose id the map
    // already gave another index fails with "The container for Onf block ...", the value kept.
    void SetRecordItem(size_t index, Item item, int value);
    void SetRecordItem(size_t index, Item item, double value);
    void SetRecordItem(size_t index, Item item, double x, double y, double z);
    void SetRecordItem(size_t index, Item item, const BrelonMatrix<3, 1, double>& value);
    // The first `count` reals of a vector or tensor item (at most as many as it holds).
    void SetRecordItem(size_t index, Item item, const double* values, size_t count);
    // Interned in the strings pool, or a name of the item's id map.
    void SetRecordItem(size_t index, Item item, const std::string& value);
    // A new list entry (the old one stays in the pool).
    void SetRecordItem(size_t index, Item item, const std::vector<int>& values,
                       OnfIntListType type);
    void SetRecordItem(size_t index, Item item, const std::set<int>& values);

    // ---- Whole records -----------------------------------------------------------------------
    // One entry per item, item 0 included.
    void GetRecord(size_t index, std::vector<DataRecordEntry>& entries) const;
    void GetRecordItem(size_t index, size_t item, DataRecordEntry& entry) const;
    // False if there is no such record. Else the slot becomes ID_UNSET; its values and the id
    // map's entry stay.
    bool DeleteRecord(size_t index);
    // Copies a record of `source` over the slot `targetIndex` (made if absent) through the
    // id-addressed adapters, so ids and lists are re-based onto this block's id maps. The target
    // keeps the id it holds. The last argument takes no part.
    void CopyRecord(const OnfBlock& source, size_t sourceIndex, size_t targetIndex, int unused);

    // ---- Lists -------------------------------------------------------------------------------
    // Adds to the item's list (made if the item has none): `O` keeps it sorted without
    // duplicates, `L` appends, other types do nothing.
    void ExtendIntList(size_t index, Item item, int value);
    void ExtendIntList(size_t index, Item item, const std::vector<int>& values);
    // Stores the length of the list of `listItem` in the integer item `sizeItem`.
    void TransferSetSize(size_t index, Item listItem, Item sizeItem);

    // ---- Text --------------------------------------------------------------------------------
    // Reads the body lines of this block from `lines` (already set on the block). Format errors
    // are logged at level 1 and end the load, leaving the block as far as it got; missing vector
    // or tensor parts, too many lines and out-of-range keys fail with QSV_Failure.
    void LoadBlock(TextLinesProvider& lines);
    // Writes header comments, markers, descriptor, format, number, count and records in
    // ascending unsigned id order.
    void WriteBlock(TextLinesWriter& writer) const;
    // Makes the external-id lists of list items with an id type available as indices, as a
    // block read from a file with all its records has them.
    void UpdateIdIntLists();

    // ---- Abstract interface (indices of the id maps) -----------------------------------------
    void SetRecord(size_t index, const QSV_DataRecord& record) override;
    void GetRecord(size_t index, QSV_ConstDataRecord& record) const override;
    // Sets the records a chunk to n / 10; nothing else.
    void Reserve(size_t n) override;
    void SetInteger(size_t index, int value) override;
    int GetInteger(size_t index) const override;
    void SetScalar(size_t index, double value) override;
    double GetScalar(size_t index) const override;
    void SetVector(size_t index, const double* values) override;
    void GetVector(size_t index, double* values) const override;
    void SetTensor(size_t index, const double* values) override;
    void GetTensor(size_t index, double* values) const override;
    void FlushAndDestroy() override;
    size_t GetIntListLen(size_t listIndex) const override;
    void GetIntList(size_t listIndex, QSV_IntArray& values) const override;
    void GetIntList(size_t listIndex, int* values) const override;
    using QSV_DataBlock::SetIntList;
    size_t SetIntList(const int* values, size_t count) override;
    size_t GetDoubleListLen(size_t listIndex) const override;
    void GetDoubleList(size_t listIndex, QSV_DoubleArray& values) const override;
    void GetDoubleList(size_t listIndex, double* values) const override;
    using QSV_DataBlock::SetDoubleList;
    size_t SetDoubleList(const double* values, size_t count) override;
    void GetString(size_t stringId, std::string& text) const override;
    size_t SetString(const std::string& text) override;
    void DeleteData() override;
    // Does nothing: a block is written by WriteBlock, to the writer that its database's WriteSet
    // hands it.
    void SaveData() const override;
    // The record's bytes as stored: integer items hold external ids. Always true.
    bool GetStoredRecord(size_t index, QSV_ConstDataRecord& record) const override;
    // The list in external ids where the entry has it; false for a list held only as indices.
    bool GetStoredIntList(size_t listIndex, QSV_IntArray& ids) const override;
    // The first index of the block's window of records (see FetchRecord).
    size_t GetFirstIndex() const override { return m_FirstIndex; }

protected:
    // Writes one record: at most ten values a line, `b` ends a line.
    void WriteRecord(size_t index, TextLinesWriter& writer) const;

private:
    void InitInternalData();
    QSV_IdType DetermineIdType(size_t item) const;
    bool FetchRecord(size_t index);
    void WidenDown(size_t index);
    size_t EndIndex() const { return m_FirstIndex + m_Records.NumRecords(); }
    void* SlotData(size_t index) { return m_Records.RecordData(index - m_FirstIndex); }
    const void* SlotData(size_t index) const { return m_Records.RecordData(index - m_FirstIndex); }
    // A caller that may write an id may make a record: from then on the window no longer moves.
    int* GetRecordIdPtr(size_t index) {
        m_MayHoldRecords = true;
        return static_cast<int*>(SlotData(index));
    }
    const int* GetRecordIdConstPtr(size_t index) const {
        return static_cast<const int*>(SlotData(index));
    }
    bool IsRecordItemConform(size_t item, BlockDataType type) const;
    void UpdateRecordId(size_t index);
    void StoreDataEntryValue(size_t index, size_t item, const DataRecordEntry& entry);
    void ExtendIntList(size_t listIndex, BlockDataType type, int value);
    bool IsValueInvalid(const char* text, BlockDataType type, std::vector<size_t>& counters);
    void WriteDescriptor(const QSV_DataDescriptor& descriptor, TextLinesWriter& writer) const;
    void WriteFormat(TextLinesWriter& writer) const;

    struct LoadContext;
    void PrepareLoad(LoadContext& context);
    void FinishLoad(LoadContext& context);
    bool LoadRecord(LoadContext& context, const char* line);
    size_t LoadRecordIndex(LoadContext& context, int& key);
    bool LoadRecordItems(LoadContext& context, size_t index);
    size_t LoadItem(LoadContext& context, unsigned char* where, const QSV_LayoutItem& layout,
                    size_t token);
    size_t LoadScalar(LoadContext& context, unsigned char* where, BlockDataType type, char c,
                      size_t token);
    void LoadString(LoadContext& context, unsigned char* where, size_t rowItem, const char* text);
    size_t LoadReals(LoadContext& context, unsigned char* where, size_t count, size_t token);
    size_t LoadList(LoadContext& context, unsigned char* where, char c);
    size_t AddPackedIntList(const std::vector<int>& values);
    void WriteRecordsInIdOrder(TextLinesWriter& writer) const;
    void WriteItem(size_t index, size_t item, char c, CsvLineWriter& csv, TextLinesWriter& writer,
                   size_t& count) const;
    QSV_IdMap& IdMapOf(QSV_IdType type) const;
    // True when the key is a name of the block's id map, whose index the id field holds.
    bool IsKeyedByName() const;
    unsigned char* PayloadPtr(size_t index, size_t bytes);
    const unsigned char* PayloadPtr(size_t index, size_t bytes) const;
    BrelonOnfIntListEntry* ListEntry(size_t listIndex) const;
    bool FindListIds(size_t listIndex, OnfIntListView& ids) const;
    bool FindListIndices(size_t listIndex, OnfIntListView& indices) const;
    BrelonOnfIntListEntry* ChangeableListEntry(size_t listIndex);
    void TranslateIdList(size_t listIndex, QSV_IdMap& map, const BrelonIdIndexTrie* trie);

    unsigned char* ItemPtr(size_t index, size_t item) {
        return static_cast<unsigned char*>(SlotData(index)) + m_RecMap[item].m_Offset;
    }
    const unsigned char* ItemPtr(size_t index, size_t item) const {
        return static_cast<const unsigned char*>(SlotData(index)) + m_RecMap[item].m_Offset;
    }
    size_t FindIndex(int id, bool& found) const;
    size_t FetchIndex(int id);
    size_t NewIntListEntry(std::vector<int>* first, std::vector<int>* second);

    QSV_OnfId m_BlockId;
    std::string m_UserHeader;
    size_t m_NumItems = 0;
    size_t m_NumExpectedRecords;
    // The records of the indices from m_FirstIndex on (see FetchRecord).
    BrelonMemRecArray m_Records;
    size_t m_FirstIndex = 0;
    bool m_MayHoldRecords = false; // an id has been asked for writing
    const BrelonIdIndexTrie* m_IdTrie = nullptr;
    bool m_DirectIndexed = true;
    QSV_IdMap* m_IdMap = nullptr;
    OnfHelpers& m_Helpers;
    // The items of the record layout (GetLayout()), held here for the record accesses.
    const QSV_LayoutItem* m_RecMap = nullptr;
    OnfBlockContext& m_Context;
};
