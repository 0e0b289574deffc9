// The abstract block database that the whole suite shares: a database (QSV_Database) owns a set of
// blocks (QSV_DataBlockSet), each block (QSV_DataBlock) a table of fixed-size records addressed by
// index, and record views (QSV_ConstDataRecord, QSV_DataRecord) carry one record's bytes.
//
// Two ways to address a record:
// - by index, through QSV_DataBlock and the record views; integer references, lists and string
//   handles are what the block delivers (indices of the id maps, pool handles, list references);
// - by external id or name, through the adapters QSV_ConstIdDataBlock and QSV_IdDataBlock and the
//   id records QSV_ConstIdDataRecord and QSV_IdDataRecord, which hold a record's value in a form
//   that depends on no database: ids, names, texts and list values. A copy between two databases
//   goes through them, so it does not depend on the two sets of indices.
//
// Failures are QSV_Failure. Nothing here is thread-safe: a database and everything it owns belong
// to one thread.
#pragma once

#include "BrelonContainers.h"
#include "QSV_DataDescriptor.h"
#include "QSV_Failure.h"
#include "QSV_IdMap.h"
#include "QSV_OnfCatalogue.h"
#include "QSV_RecordLayout.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

class QSV_DataBlock;
class QSV_DataRecord;
class QSV_ConstDataRecord;
class QSV_ConstIdDataBlock;
class QSV_IdDataBlock;

namespace QSV_DatabaseDefs {
// How InitDb treats the database's file.
enum AccessMode {
    ACCESS_READ_ONLY = 0,  // the file must exist, and nothing is ever written to it
    ACCESS_READ_WRITE = 1, // a missing file gives an empty database; release writes the file
};
} // namespace QSV_DatabaseDefs

// Selects block instances by their descriptors.
// - Empty (default): matches every descriptor.
// - From a descriptor: matches every descriptor that has the same value in each item that the
//   pattern's descriptor sets; items the pattern leaves unset match anything. A descriptor made
//   from a block number alone thus selects every instance of that block.
// - The first integer selects an optimisation iteration (descriptor item RI_ITERATION) and the
//   second a design variant (RI_VARIANT): when one is 0 or above, a candidate matches only with
//   that value in that item, an unset item counting as 0, so that a plain block is iteration 0 of
//   variant 0. Both are -1 (any) until a caller sets them.
class QSV_DataDescriptorPattern {
public:
    QSV_DataDescriptorPattern();
    explicit QSV_DataDescriptorPattern(const QSV_DataDescriptor& descriptor);

    bool Matches(const QSV_DataDescriptor& descriptor) const;
    bool IsEmpty() const { return !m_Descriptor && m_FirstInteger < 0 && m_SecondInteger < 0; }
    // Null for a pattern made empty.
    const QSV_DataDescriptor* GetDescriptor() const {
        return m_Descriptor ? &*m_Descriptor : nullptr;
    }

    int GetFirstInteger() const { return m_FirstInteger; }
    void SetFirstInteger(int iteration) { m_FirstInteger = iteration; }
    int GetSecondInteger() const { return m_SecondInteger; }
    void SetSecondInteger(int variant) { m_SecondInteger = variant; }

private:
    std::optional<QSV_DataDescriptor> m_Descriptor;
    int m_FirstInteger = -1;
    int m_SecondInteger = -1;
};

// Base of every block: the layout of its records and the abstract record interface.
//
// Record layout (QSV_RecordLayout): item 0 is the record's key; items 1 upward follow from the
// format string (one per format character except the layout marks `b` and bar, and except the
// key's own character in a format with a bar). A record holds a 4-byte id field (widened by a key
// character wider than it) followed by the item data; the record views carry the record without
// the id field, GetRecordDataSize() bytes.
class QSV_DataBlock {
public:
    // Steps over the valid record indices, ascending: those for which HasRecord is true, from 0 up
    // to the GetMaxIndex() the block had when Begin() was called. A record added behind that
    // bound during the walk is not visited.
    class IndexIterator {
    public:
        IndexIterator(const QSV_DataBlock& block, long long index, long long maxIndex);
        size_t operator*() const { return static_cast<size_t>(m_Index); }
        size_t GetIndex() const { return static_cast<size_t>(m_Index); }
        // False once the walk is past the last valid index.
        bool IsValid() const { return m_Index <= m_MaxIndex; }
        IndexIterator& operator++();
        bool operator==(const IndexIterator& other) const { return m_Index == other.m_Index; }
        bool operator!=(const IndexIterator& other) const { return m_Index != other.m_Index; }

    private:
        void SkipInvalid();
        const QSV_DataBlock* m_Block;
        long long m_Index;
        long long m_MaxIndex;
    };

    // ---- The virtual interface, in slot order ------------------------------------------------
    // True when the slot `index` holds a record.
    virtual bool HasRecord(size_t index) const = 0;
    // Makes the record if absent and copies the view's bytes over it.
    virtual void SetRecord(size_t index, const QSV_DataRecord& record) = 0;
    // Copies the record's bytes into the view (made by this block or one of the same layout).
    virtual void GetRecord(size_t index, QSV_ConstDataRecord& record) const = 0;
    // Last index with a record, -1 if there is none.
    virtual long long GetMaxIndex() const = 0;
    virtual size_t GetNumRecords() const = 0;
    // The valid indices as runs; the base walks 0 to GetMaxIndex() with HasRecord.
    virtual QSV_IntSetIntvl<int> GetRecordIndices() const;
    virtual void GetRecordIndices(QSV_IntSetIntvl<int>& indices) const;
    // Cleared, then the valid indices ascending.
    virtual void GetRecordIndices(std::vector<size_t>& indices) const;
    virtual void Reserve(size_t numRecords) = 0;
    // The scalar family works on item 1, the single payload of such a block.
    virtual void SetInteger(size_t index, int value) = 0;
    virtual int GetInteger(size_t index) const = 0;
    virtual void SetScalar(size_t index, double value) = 0;
    virtual double GetScalar(size_t index) const = 0;
    virtual void SetVector(size_t index, const double* values) = 0;
    virtual void GetVector(size_t index, double* values) const = 0;
    virtual void SetTensor(size_t index, const double* values) = 0;
    virtual void GetTensor(size_t index, double* values) const = 0;
    // Item 1 of every valid record in index order, as reals: one value for an integer, real or
    // float item, three for a vector, six for a tensor; empty for a block of another payload.
    virtual std::vector<double> GetFieldData() const;
    // A new zeroed view laid out for this block; the caller owns it and frees it with
    // DeleteDataRecord (or delete).
    virtual QSV_DataRecord* CreateDataRecord();
    virtual QSV_ConstDataRecord* CreateDataRecord() const;
    // Frees a view made by CreateDataRecord.
    virtual void DeleteDataRecord(QSV_ConstDataRecord& record) const;
    virtual void FlushAndDestroy() = 0;
    virtual ~QSV_DataBlock();
    // The integer list `listIndex` as runs (values sorted, duplicates dropped).
    virtual QSV_IntSetIntvl<int> RetrieveIntSet(size_t listIndex) const;
    // Stores the values of `set` ascending as a new integer list and returns its reference.
    virtual size_t StoreIntSet(const QSV_IntSetIntvl<int>& set);
    virtual size_t GetIntListLen(size_t listIndex) const = 0;
    virtual void GetIntList(size_t listIndex, QSV_IntArray& values) const = 0;
    virtual void GetIntList(size_t listIndex, int* values) const = 0;
    // Stores a new integer list (of indices where the item has an id type); its reference.
    virtual size_t SetIntList(const QSV_IntArray& values);
    virtual size_t SetIntList(const int* values, size_t count) = 0;
    virtual size_t GetDoubleListLen(size_t listIndex) const = 0;
    virtual void GetDoubleList(size_t listIndex, QSV_DoubleArray& values) const = 0;
    virtual void GetDoubleList(size_t listIndex, double* values) const = 0;
    // Stores a new real list and returns its reference.
    virtual size_t SetDoubleList(const QSV_DoubleArray& values);
    virtual size_t SetDoubleList(const double* values, size_t count) = 0;
    // The text of a string handle.
    virtual void GetString(size_t stringId, std::string& text) const = 0;
    // The handle of `text` (the same text gives the same handle).
    virtual size_t SetString(const std::string& text) = 0;
    virtual void DeleteData() = 0;
    virtual void SaveData() const = 0;
    // Beyond the slots above: copies the record's bytes into the view exactly as stored, so that
    // integer items with an id space hold external ids, also those their id map lacks. The base
    // answers false; the id adapters then read through GetRecord, where such an id is lost.
    virtual bool GetStoredRecord(size_t index, QSV_ConstDataRecord& record) const;
    // Likewise for an integer list: its values as stored, in external ids where the list's item
    // has an id space. The base answers false; the adapters then take GetIntList as indices.
    virtual bool GetStoredIntList(size_t listIndex, QSV_IntArray& ids) const;
    // The lowest index that may hold a record, where the walks of valid indices start: a block
    // whose records lie far up its id space need not step over every index below them. The base
    // answers 0.
    virtual size_t GetFirstIndex() const;

    // ---- What the block is -------------------------------------------------------------------
    // The first valid index; walk with `for (auto it = Begin(); it.IsValid(); ++it)`.
    IndexIterator Begin() const;
    // Past the last valid index. Each call asks GetMaxIndex() anew: take it once, outside a loop.
    IndexIterator End() const;

    const QSV_DataDescriptor& GetDescriptor() const { return m_Descriptor; }
    const std::string& GetFormatString() const { return m_Shape->layout.GetFormat(); }
    // Entry k is the type of item k + 1; 0 for a format character that is no known type.
    const std::vector<BlockDataType>& GetItemTypes() const { return m_Shape->itemTypes; }
    // Items of a record, the key included.
    size_t GetNumItems() const { return m_Shape->itemTypes.size() + 1; }
    // Type of item `item` (1 upward); BDT_INTEGER for the key; 0 past the last item.
    BlockDataType GetItemType(size_t item) const;
    QSV_IdType GetBlockIdType() const { return m_BlockIdType; }
    // The id space of item `item`: the block's for the key, the catalogue's for a catalogued
    // block's other items, ID_NONE for a custom block and past the catalogue row.
    QSV_IdType GetItemIdType(size_t item) const;
    size_t GetRecordDataSize() const { return m_RecordDataSize; }
    uint32_t GetFormatFlags() const { return m_FormatFlags; }
    // Where item `item` (1 upward) lies in a record view's buffer (its record offset minus the
    // 4-byte id field), and its size in bytes; both 0 past the last item.
    size_t GetItemBufferOffset(size_t item) const;
    size_t GetItemSize(size_t item) const;
    // Bytes from the start of the record (the id field counts) to item `item`; 0 past the end.
    size_t GetItemRecordOffset(size_t item) const;
    // True when the format names the key itself (a bar anywhere in it).
    bool HasKeyInFormat() const { return m_Shape->layout.HasKeyInFormat(); }
    // The layout of the block's records, as its format gives it.
    const QSV_RecordLayout& GetLayout() const { return m_Shape->layout; }

    // Bytes of a format character in a record (0 for layout marks and unknown characters), and
    // its type in a record map (0 for those). `i` is an integer and `r` a real here.
    static size_t FormatCharSize(char c) { return QSV_RecordLayout::CharSize(c); }
    static BlockDataType FormatCharType(char c) { return QSV_RecordLayout::CharType(c); }

protected:
    // A catalogued block: format, flags, block id type, record data size and item id types come
    // from the catalogue row of the descriptor's item 1, the item types from its format. Fails
    // for a block number that the catalogue does not know.
    explicit QSV_DataBlock(const QSV_DataDescriptor& descriptor);
    // A custom block: types and sizes derived from `format` (null reads as empty), ID_NONE as
    // block id type and for every item, flags 0.
    QSV_DataBlock(const QSV_DataDescriptor& descriptor, const char* format);
    QSV_DataBlock(const QSV_DataBlock&) = delete;
    QSV_DataBlock& operator=(const QSV_DataBlock&) = delete;

    QSV_DataDescriptor m_Descriptor;
    QSV_IdType m_BlockIdType = ID_NONE;
    size_t m_RecordDataSize = 0;
    uint32_t m_FormatFlags = 0;

private:
    // What a format makes of a record: its layout and the item types handed out. Blocks of one
    // catalogue number share theirs, made once for the process, so that a file of many small
    // blocks does not pay for the layout again in every block; a custom block has its own.
    struct Shape {
        explicit Shape(const std::string& format);
        QSV_RecordLayout layout;
        std::vector<BlockDataType> itemTypes;
    };
    static std::shared_ptr<const Shape> CataloguedShape(QSV_OnfId id);

    // The catalogue row's id types by item number (null for a custom block), and their count.
    const QSV_IdType* m_ItemIdTypes = nullptr;
    size_t m_NumItemIdTypes = 0;
    std::shared_ptr<const Shape> m_Shape;
};

// A read-only view on one record's item data (the record without its id field), laid out for one
// block. It owns its buffer of the block's record data size, zeroed at construction. The block
// reads and writes the buffer directly; the typed accessors read items by number (1 upward) and
// fail for an item that the layout lacks or whose size does not fit the access.
class QSV_ConstDataRecord {
public:
    explicit QSV_ConstDataRecord(const QSV_DataBlock& block);
    QSV_ConstDataRecord(const QSV_ConstDataRecord& other);
    // Copies the bytes and keeps its own block; both views must have the same buffer size, else
    // a failure.
    QSV_ConstDataRecord& operator=(const QSV_ConstDataRecord& other);
    virtual ~QSV_ConstDataRecord();

    const QSV_DataBlock& GetBlock() const { return *m_Block; }
    size_t GetBufferSize() const { return m_BufferSize; }
    const unsigned char* GetBuffer() const { return m_Buffer.get(); }
    unsigned char* GetBuffer() { return m_Buffer.get(); }
    // Zeroes the buffer.
    void Clear();

    // The raw 4 bytes of an integer, string handle or list reference item.
    int GetInteger(size_t item) const;
    // An R item, or an F item widened.
    double GetReal(size_t item) const;
    // Three values of a V item, six of a T item.
    void GetVector(size_t item, double* values) const;
    void GetTensor(size_t item, double* values) const;
    // The text behind a string handle through the block; empty for handle 0.
    std::string GetString(size_t item) const;
    // The list behind a list reference through the block; empty for reference 0.
    void GetIntList(size_t item, std::vector<int>& values) const;
    void GetDoubleList(size_t item, std::vector<double>& values) const;

    // Same buffer size and the same bytes.
    bool operator==(const QSV_ConstDataRecord& other) const;
    bool operator!=(const QSV_ConstDataRecord& other) const { return !(*this == other); }

protected:
    // The item's bytes; fails unless the item exists and holds at least `size` bytes.
    const unsigned char* ItemBytes(size_t item, size_t size) const;
    unsigned char* ItemBytes(size_t item, size_t size);

    const QSV_DataBlock* m_Block;
    size_t m_BufferSize;
    std::unique_ptr<unsigned char[]> m_Buffer;
};

// A writable view. Strings and lists go into the block's pools at once, through the block
// that made the view; the view then holds their handles.
class QSV_DataRecord : public QSV_ConstDataRecord {
public:
    explicit QSV_DataRecord(QSV_DataBlock& block);
    QSV_DataRecord(const QSV_DataRecord& other) = default;
    // Copies the bytes, as the base does; the view stays on its own block.
    QSV_DataRecord& operator=(const QSV_DataRecord& other);

    // Stores the value as given, into an item of 4 bytes (integer, handle or reference).
    void SetInteger(size_t item, int value);
    // An R item, or an F item narrowed to 32 bits.
    void SetReal(size_t item, double value);
    // The block's SetString handle of `text`.
    void SetString(size_t item, const std::string& text);
    // A new list of the block (SetIntList), its reference stored; an empty list stores 0.
    void SetIntList(size_t item, const std::vector<int>& values);
    void SetDoubleList(size_t item, const std::vector<double>& values);
    void SetVector(size_t item, const double* values);
    void SetTensor(size_t item, const double* values);

private:
    void StoreInteger(size_t item, int value);

    QSV_DataBlock* m_MutableBlock;
};

// One record's value in a form independent of any database: the key as an external id or a name,
// integer items and integer lists in external ids where their item has an id space, texts instead
// of string handles, list values instead of list references. Laid out for the block it was made
// for; filled by the adapters.
class QSV_ConstIdDataRecord {
public:
    explicit QSV_ConstIdDataRecord(const QSV_DataBlock& block);
    QSV_ConstIdDataRecord(const QSV_ConstIdDataRecord& other) = default;
    virtual ~QSV_ConstIdDataRecord();

    const QSV_DataBlock& GetBlock() const { return *m_Block; }
    size_t GetNumItems() const { return m_Block->GetNumItems(); }
    // The key: a name for a block whose id space holds names, else an id.
    bool HasKeyName() const { return m_HasKeyName; }
    int GetKeyId() const { return m_KeyId; }
    const std::string& GetKeyName() const { return m_KeyName; }

    // Typed reads by item number (1 upward); a failure for an item of another type.
    int GetInteger(size_t item) const;
    double GetReal(size_t item) const;
    void GetVector(size_t item, double* values) const;
    void GetTensor(size_t item, double* values) const;
    const std::string& GetString(size_t item) const;
    const std::vector<int>& GetIntList(size_t item) const;
    const std::vector<double>& GetDoubleList(size_t item) const;

    // Same layout, key and values.
    bool operator==(const QSV_ConstIdDataRecord& other) const;
    bool operator!=(const QSV_ConstIdDataRecord& other) const { return !(*this == other); }

protected:
    friend class QSV_ConstIdDataBlock;
    friend class QSV_IdDataBlock;

    QSV_ConstIdDataRecord& operator=(const QSV_ConstIdDataRecord& other) = default;
    // Copies key and values item by item where the two layouts give an item the same type;
    // other items keep what they hold.
    void AssignValues(const QSV_ConstIdDataRecord& other);
    // Empties key and values.
    void Reset();
    void CheckItem(size_t item, BlockDataType type) const;

    const QSV_DataBlock* m_Block;
    // Fixed-size items as in a record view's buffer; string and list items hold 0 here.
    std::vector<unsigned char> m_Fixed;
    // By item number; only the entries of string, integer list and real list items are used.
    std::vector<std::string> m_Strings;
    std::vector<std::vector<int>> m_IntLists;
    std::vector<std::vector<double>> m_DoubleLists;
    int m_KeyId = 0;
    std::string m_KeyName;
    bool m_HasKeyName = false;
};

// An id record that a caller fills.
class QSV_IdDataRecord : public QSV_ConstIdDataRecord {
public:
    explicit QSV_IdDataRecord(const QSV_DataBlock& block);
    QSV_IdDataRecord(const QSV_IdDataRecord& other) = default;
    // Both assignments keep this record's layout and take key and values of `other`, item by
    // item where the two layouts give an item the same type.
    QSV_IdDataRecord& operator=(const QSV_IdDataRecord& other);
    QSV_IdDataRecord& operator=(const QSV_ConstIdDataRecord& other);

    // Writes by item number (1 upward); a failure for an item of another type. Integers and
    // list values are external ids where the item has an id space.
    void SetInteger(size_t item, int value);
    void SetReal(size_t item, double value);
    void SetVector(size_t item, const double* values);
    void SetTensor(size_t item, const double* values);
    void SetString(size_t item, const std::string& text);
    void SetIntList(size_t item, const std::vector<int>& values);
    void SetDoubleList(size_t item, const std::vector<double>& values);
    void SetKeyId(int id);
    void SetKeyName(const std::string& name);
};

// Reads the records of one block by external id or name, through the id maps of `pool` (the pool
// of the block's database). Holds references: block and pool must outlive the adapter.
//
// On the way out, the block's integer items with an id space of integers are indices of that id
// map and become ids (an index the map does not hold arrives as -1, as the block reports an id
// its map lacks), unless the block hands out its stored record, which holds the ids themselves;
// string items become texts (through the id map for an item with an id space, else through the
// block's strings); integer lists with an id space of integers are indices and become ids (or
// come as stored ids where the block offers them), other lists arrive as stored; the key becomes
// the id, or the name, of the index.
class QSV_ConstIdDataBlock {
public:
    QSV_ConstIdDataBlock(const QSV_DataBlock& block, const QSV_IdMapsPool& pool);
    virtual ~QSV_ConstIdDataBlock();

    const QSV_DataBlock& GetBlock() const { return m_ConstBlock; }
    // A new empty id record laid out for this block; the caller owns it and frees it with
    // DeleteIdDataRecord (or delete).
    QSV_ConstIdDataRecord* CreateIdDataRecord() const;
    void DeleteIdDataRecord(QSV_ConstIdDataRecord* record) const;
    // Fills `record` with the record whose key is `id` (for a block keyed by names: the index of
    // the name). False, and `record` untouched, when there is no such record.
    bool GetRecord(int id, QSV_ConstIdDataRecord& record) const;
    bool GetRecord(const std::string& name, QSV_ConstIdDataRecord& record) const;
    // Fills `record` with the record at `index`; false when the slot holds no record.
    bool GetRecordByIndex(size_t index, QSV_ConstIdDataRecord& record) const;

protected:
    // The index of the record keyed `id`, or -1.
    long long FindIndex(int id) const;
    int IndexToId(QSV_IdType type, int index) const;
    void ReadItem(size_t item, bool stored, QSV_ConstIdDataRecord& record) const;
    void ReadIntList(int listIndex, QSV_IdType idType, std::vector<int>& values) const;

    const QSV_DataBlock& m_ConstBlock;
    const QSV_IdMapsPool& m_ConstPool;
    mutable QSV_ConstDataRecord m_View;
};

// Writes records of one block by external id or name, through the id maps of `pool`.
//
// On the way in, the key becomes an index of the block's id map (or is the index itself in a
// block without one); integer lists with an id space of integers become lists of indices, other
// lists are stored as given; texts of items with an id space become indices of that id map,
// other texts string handles of the block; integer items are stored as given (external ids),
// since a block keeps them so, and their ids are entered into the id map. With `createIds` false,
// an id or name that the map does not know fails instead of being given an index.
class QSV_IdDataBlock : public QSV_ConstIdDataBlock {
public:
    QSV_IdDataBlock(QSV_DataBlock& block, QSV_IdMapsPool& pool, bool createIds);

    QSV_DataBlock& GetBlock() { return m_Block; }
    // A new empty id record laid out for this block, owned by the caller.
    QSV_IdDataRecord* CreateIdDataRecord();
    // Makes or overwrites the record with this key. Fails for a negative id in a block without
    // id map, and for a name in such a block.
    void SetRecord(int id, const QSV_IdDataRecord& record);
    void SetRecord(const std::string& name, const QSV_IdDataRecord& record);

private:
    size_t IdToIndex(QSV_IdType type, int id);
    size_t NameToIndex(QSV_IdType type, const std::string& name);
    void StoreAt(size_t index, const QSV_ConstIdDataRecord& record);
    void StoreItem(size_t item, const QSV_ConstIdDataRecord& record);
    int StoreIntList(QSV_IdType idType, const std::vector<int>& values);

    QSV_DataBlock& m_Block;
    QSV_IdMapsPool& m_Pool;
    bool m_CreateIds;
    QSV_DataRecord m_WriteView;
    std::vector<int> m_Scratch;
};

// The blocks of one database, ordered by descriptor (ascending operator<), owned.
class QSV_DataBlockSet {
public:
    QSV_DataBlockSet();
    ~QSV_DataBlockSet();
    QSV_DataBlockSet(const QSV_DataBlockSet&) = delete;
    QSV_DataBlockSet& operator=(const QSV_DataBlockSet&) = delete;

    // Takes ownership of `block` under `descriptor`. A block stored before under an equal
    // descriptor is deleted and replaced. A null block fails.
    void StoreDataBlockInstance(const QSV_DataDescriptor& descriptor, QSV_DataBlock* block);
    // The block stored under `descriptor`; fails for an unknown descriptor.
    QSV_DataBlock& GetDataBlockInstance(const QSV_DataDescriptor& descriptor);
    const QSV_DataBlock& GetDataBlockInstance(const QSV_DataDescriptor& descriptor) const;
    bool HasBlockInstance(const QSV_DataDescriptor& descriptor) const;
    // Deletes the block; false (and nothing else) for an unknown descriptor.
    bool DeleteDataBlockInstance(const QSV_DataDescriptor& descriptor);
    // The blocks whose descriptors match, in descriptor order.
    std::vector<QSV_DataBlock*>
    GetDataBlocksInstances(const QSV_DataDescriptorPattern& pattern) const;
    std::vector<QSV_DataDescriptor> GetDescriptors(const QSV_DataDescriptorPattern& pattern) const;
    size_t GetNumBlocks() const { return m_Blocks.size(); }
    // Deletes every block.
    void Clear();
    // SaveData on each block, in descriptor order. A failure stops the walk and passes through.
    void FlushToDisk() const;

private:
    std::map<QSV_DataDescriptor, std::unique_ptr<QSV_DataBlock>> m_Blocks;
};

// Base of every database: an owned set of blocks, an initialised flag and the id maps that its
// blocks' records refer to. Derived databases make the blocks (CreateDataBlock) and own the pool.
class QSV_Database {
public:
    QSV_Database();
    QSV_Database(const QSV_Database&) = delete;
    QSV_Database& operator=(const QSV_Database&) = delete;

    // ---- The virtual interface, in slot order ------------------------------------------------
    virtual ~QSV_Database();
    // Opens the database on its file in `folder` (sizeHint may be ignored) and merges `pool`,
    // when given, into its own id maps.
    virtual void InitDb(QSV_DatabaseDefs::AccessMode mode, size_t sizeHint,
                        const std::wstring& folder, const QSV_IdMapsPool* pool) = 0;
    // Ends the session on the file; what is written depends on the access mode.
    virtual void ReleaseDb(bool discard) = 0;
    virtual bool IsInitialized() const;
    // The block stored under `descriptor`, else a new one from CreateDataBlock.
    virtual QSV_DataBlock& FetchDataBlock(const QSV_DataDescriptor& descriptor, int kind,
                                          long long sizeHint, const std::string& format);
    virtual QSV_DataBlock& FetchDataBlock(const QSV_DataDescriptor& descriptor, size_t sizeHint);
    // A new block in the given format text, stored in the set; a custom block.
    virtual QSV_DataBlock& CreateDataBlock(const QSV_DataDescriptor& descriptor, int kind,
                                           long long sizeHint, const std::string& format) = 0;
    // A new block in the catalogue's format, stored in the set.
    virtual QSV_DataBlock& CreateDataBlock(const QSV_DataDescriptor& descriptor,
                                           size_t sizeHint) = 0;
    virtual bool HasBlock(const QSV_DataDescriptor& descriptor) const;
    // Fails for an unknown descriptor.
    virtual const QSV_DataBlock& GetDataBlock(const QSV_DataDescriptor& descriptor) const;
    virtual QSV_DataBlock& GetDataBlock(const QSV_DataDescriptor& descriptor);
    // The matching blocks in descriptor order; the set keeps owning them.
    virtual std::vector<QSV_DataBlock*> GetDataBlocks(const QSV_DataDescriptorPattern& pattern);
    // Deletes the block; nothing for an unknown descriptor.
    virtual void DeleteDataBlock(const QSV_DataDescriptor& descriptor);
    // Deletes the matching blocks and returns how many.
    virtual size_t DeleteDataBlocks(const QSV_DataDescriptorPattern& pattern);
    // The descriptors of the matching blocks, ascending.
    virtual std::vector<QSV_DataDescriptor>
    FindBlocks(const QSV_DataDescriptorPattern& pattern) const;
    virtual const QSV_IdMapsPool& GetIdMapsPool() const = 0;
    virtual QSV_IdMapsPool& GetIdMapsPool() = 0;

    // The virtual InitDb with `pool`.
    void InitDb(const QSV_IdMapsPool& pool, QSV_DatabaseDefs::AccessMode mode, size_t sizeHint,
                const std::wstring& folder);
    QSV_DataBlockSet& GetDataBlockSet() { return m_DataBlockSet; }
    const QSV_DataBlockSet& GetDataBlockSet() const { return m_DataBlockSet; }

protected:
    QSV_DataBlockSet m_DataBlockSet;
    bool m_IsInitialized = false;
};

namespace BrelonDatabaseUtils {
// Copies every block of `from` that `pattern` matches into `to`, record by record through the id
// adapters, so that keys, references, lists and texts are re-based onto the id maps and pools of
// `to`. A block missing in `to` is made with the same descriptor: in the catalogue's format for a
// catalogued block number, else in the source's format text. A record of the same key in `to` is
// overwritten; other records of `to` stay.
// emptyBlockAction 0 passes over source blocks without records; 1 copies them too, so that the
// target then has the (possibly empty) block. Returns the number of blocks copied.
size_t copy_datablocks(const QSV_Database& from, QSV_Database& to,
                       const QSV_DataDescriptorPattern& pattern, int emptyBlockAction = 0);
} // namespace BrelonDatabaseUtils
