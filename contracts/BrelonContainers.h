// Pools and containers that the block store stands on: fixed-size records in chunks, interned
// strings, integer lists, counted arrays, integer sets held as runs, a membership test, and a
// byte-wise trie over 32-bit keys that iterates in ascending order.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

// ---------------------------------------------------------------------------------------------
// Large buffers

namespace onf_detail {

// Memory for the large arrays of a load: a file's text and line table, record arrays, packed
// lists. A buffer below MAPPED_BYTES comes from the heap like any other. From there on it is
// mapped straight from the system, so that freed mapped memory goes back to the system at once,
// not to the heap, and a part that a load is done with can be given back before the whole. The
// mapping holds ordinary pages, or whole huge pages (2 MiB) where they are turned on and the
// platform gives them on request: a first touch then costs one fault for 2 MiB instead of one for
// each 4 KiB page, which pays only where a fresh huge page costs the system no more a byte than
// ordinary pages do (see SetHugePages).
//
// New bytes read as zero. Growing keeps the content; a mapped buffer grows by moving its pages
// into a larger mapping, without copying them. Move-only. Allocation failures throw
// std::bad_alloc, and the buffer is then as it was.
class LargeBuffer {
public:
    // Buffers of at least this many bytes are mapped.
    static constexpr size_t MAPPED_BYTES = size_t(2) << 20;
    // The huge page that mapped buffers are aligned to and rounded up to.
    static constexpr size_t HUGE_PAGE_BYTES = size_t(2) << 20;

    LargeBuffer() noexcept = default;
    // `capacity` zeroed bytes.
    explicit LargeBuffer(size_t capacity) { Grow(capacity); }
    LargeBuffer(LargeBuffer&& other) noexcept { Swap(other); }
    LargeBuffer& operator=(LargeBuffer&& other) noexcept {
        LargeBuffer gone(std::move(other));
        Swap(gone);
        return *this;
    }
    LargeBuffer(const LargeBuffer&) = delete;
    LargeBuffer& operator=(const LargeBuffer&) = delete;
    ~LargeBuffer() { Free(); }

    unsigned char* Data() const { return m_Data; }
    size_t Capacity() const { return m_Capacity; }
    bool IsMapped() const { return m_Mapped; }
    // Mapped with huge pages asked for (whether the system gave them is its own affair).
    bool AsksHugePages() const { return m_Huge; }

    // At least `capacity` bytes; the bytes held so far stay, the new ones are zero. A smaller
    // capacity changes nothing.
    void Grow(size_t capacity);
    // Gives the memory of the whole pages inside [from, to) back to the system; those bytes
    // read as zero afterwards. Bytes of pages that the range only partly covers stay as they
    // are, and a buffer that is not mapped keeps all its memory.
    void Discard(size_t from, size_t to);
    // Gives all memory back; the buffer is empty.
    void Free() noexcept;
    void Swap(LargeBuffer& other) noexcept {
        std::swap(m_Data, other.m_Data);
        std::swap(m_Capacity, other.m_Capacity);
        std::swap(m_Mapped, other.m_Mapped);
        std::swap(m_Huge, other.m_Huge);
    }

    // Whether mapped buffers ask for huge pages (false unless turned on: where fresh huge pages
    // cost the system more than ordinary ones, they slow a load down). Buffers made before keep
    // what they have.
    static void SetHugePages(bool enabled);
    static bool GetHugePages();
    // Whether buffers of at least MAPPED_BYTES are mapped (true unless turned off). Tests turn
    // it off to take the heap's path for every size.
    static void SetMapping(bool enabled);

private:
    unsigned char* m_Data = nullptr;
    size_t m_Capacity = 0; // bytes owned; for a mapped buffer, the mapping's length
    bool m_Mapped = false;
    bool m_Huge = false; // mapped with huge pages asked for
};

// A growing array of trivially copyable values in a LargeBuffer: contiguous, zeroed beyond its
// size, growing geometrically. Pointers into it stay valid until it grows. Move-only.
template <typename T>
class LargeArray {
    static_assert(std::is_trivially_copyable<T>::value, "values are moved as bytes");

public:
    LargeArray() noexcept = default;
    LargeArray(LargeArray&& other) noexcept
        : m_Buffer(std::move(other.m_Buffer)), m_Size(other.m_Size) {
        other.m_Size = 0;
    }
    LargeArray& operator=(LargeArray&& other) noexcept {
        m_Buffer = std::move(other.m_Buffer);
        m_Size = other.m_Size;
        other.m_Size = 0;
        return *this;
    }

    T* Data() { return reinterpret_cast<T*>(m_Buffer.Data()); }
    const T* Data() const { return reinterpret_cast<const T*>(m_Buffer.Data()); }
    size_t Size() const { return m_Size; }
    bool IsEmpty() const { return m_Size == 0; }
    size_t Capacity() const { return m_Buffer.Capacity() / sizeof(T); }
    T& operator[](size_t i) { return Data()[i]; }
    const T& operator[](size_t i) const { return Data()[i]; }

    // Room for `count` values without growing.
    void Reserve(size_t count) {
        if (count > Capacity()) {
            if (count > std::numeric_limits<size_t>::max() / sizeof(T)) {
                throw std::bad_alloc();
            }
            m_Buffer.Grow(count * sizeof(T));
        }
    }
    // Room for `extra` values more than it holds, growing geometrically.
    void ReserveMore(size_t extra) {
        if (extra > Capacity() - m_Size) {
            if (extra > std::numeric_limits<size_t>::max() / sizeof(T) - m_Size) {
                throw std::bad_alloc();
            }
            Reserve(std::max(m_Size + extra, 2 * Capacity()));
        }
    }
    // `count` values; new ones are zero (the buffer's bytes behind the size always are).
    void Resize(size_t count) {
        if (count > Capacity()) {
            Reserve(std::max(count, 2 * Capacity()));
        }
        if (count < m_Size) {
            std::memset(static_cast<void*>(Data() + count), 0, (m_Size - count) * sizeof(T));
        }
        m_Size = count;
    }
    void PushBack(const T& value) {
        if (m_Size == Capacity()) {
            Reserve(std::max<size_t>(16, 2 * Capacity()));
        }
        Data()[m_Size++] = value;
    }
    void Append(const T* values, size_t count) {
        ReserveMore(count);
        if (count > 0) {
            std::memcpy(static_cast<void*>(Data() + m_Size), values, count * sizeof(T));
        }
        m_Size += count;
    }
    // Empties the array and gives its memory back.
    void Free() noexcept {
        m_Buffer.Free();
        m_Size = 0;
    }
    // The underlying buffer, for Discard.
    LargeBuffer& GetBuffer() { return m_Buffer; }

private:
    LargeBuffer m_Buffer;
    size_t m_Size = 0;
};

} // namespace onf_detail

// ---------------------------------------------------------------------------------------------
// BrelonMemRecArray

// A growing array of fixed-size records. A record never moves once made, and the bytes of a new
// record read as zero. The records made at construction lie in one large buffer (in huge pages
// when it is large), so that a block of millions of records costs one allocation and the record
// of an index is found without a division; records appended later go into chunks. Pages are not
// touched before the caller writes a record. Copying copies the records' bytes.
class BrelonMemRecArray {
public:
    // Makes `numRecords` zeroed records at once. `recordsPerChunk` is the size of the chunks
    // of records appended later; 0 (or any small value) takes a minimum of MIN_CHUNK_BYTES
    // worth of records. Throws std::bad_alloc.
    BrelonMemRecArray(size_t recordSize, size_t numRecords, size_t recordsPerChunk);
    BrelonMemRecArray(const BrelonMemRecArray& other);
    BrelonMemRecArray(BrelonMemRecArray&& other) noexcept;
    BrelonMemRecArray& operator=(const BrelonMemRecArray& other);
    BrelonMemRecArray& operator=(BrelonMemRecArray&& other) noexcept;
    ~BrelonMemRecArray();

    size_t NumRecords() const { return m_NumRecords; }
    size_t RecordSize() const { return m_RecordSize; }
    // Appends a zeroed record and returns its bytes; earlier records stay where they are.
    void* AddNewRecord();
    // The bytes of record `index` (< NumRecords(), unchecked); valid until Clear or destruction.
    void* RecordData(size_t index) {
        return const_cast<void*>(static_cast<const BrelonMemRecArray*>(this)->RecordData(index));
    }
    const void* RecordData(size_t index) const {
        if (index < m_NumFirst) {
            return m_First.Data() + index * m_RecordSize;
        }
        index -= m_NumFirst;
        return m_Chunks[index / m_PerChunk].Data() + (index % m_PerChunk) * m_RecordSize;
    }
    // Records per chunk for chunks made from now on (the minimum applies). Chunks that exist keep
    // their size: when records exist, the array keeps their chunking and the call only takes
    // effect after the next Clear.
    void SetNumRecPerChunk(size_t recordsPerChunk);
    // Removes all records and frees their memory.
    void Clear();

    // A chunk holds at least this many bytes' worth of records (and at least one record).
    static constexpr size_t MIN_CHUNK_BYTES = 4096;

private:
    size_t ChunkRecords(size_t requested) const;
    void AddChunk();

    size_t m_RecordSize;
    size_t m_NumRecords = 0;
    size_t m_PerChunk;               // records per chunk of the existing chunks
    size_t m_RequestedPerChunk;      // what SetNumRecPerChunk asked for
    onf_detail::LargeBuffer m_First; // the records made at construction
    size_t m_NumFirst = 0;
    std::vector<onf_detail::LargeBuffer> m_Chunks; // the records appended later
};

// ---------------------------------------------------------------------------------------------
// BrelonStringsPool

// Handle of an interned string: 1-based; 0 or less means "no string".
typedef int32_t Brelon_SP_STRING_ID;

// Interns strings: the same text always gives the same handle. Texts live in chunked arena
// storage (a text longer than a chunk gets a chunk of its own) and are found through a hash
// index, so adding a string allocates only when a chunk is full or the index grows. The
// pointers handed out stay valid until Clear, assignment or destruction. Copyable.
class BrelonStringsPool {
public:
    // `chunkSize`: bytes of one arena chunk; 0 takes 4096.
    explicit BrelonStringsPool(size_t chunkSize = 0x10000);
    BrelonStringsPool(const BrelonStringsPool& other);
    BrelonStringsPool(BrelonStringsPool&& other) noexcept;
    BrelonStringsPool& operator=(const BrelonStringsPool& other);
    BrelonStringsPool& operator=(BrelonStringsPool&& other) noexcept;
    ~BrelonStringsPool();

    // Interns the text (a null pointer counts as "") and returns its handle. A text is compared by
    // all its bytes; one with an embedded NUL reads back cut at the NUL through GetString.
    // Throws std::length_error past 2^31 - 1 strings.
    Brelon_SP_STRING_ID AddString(const char* text);
    Brelon_SP_STRING_ID AddString(const std::string& text);
    // The text of a handle. Handle 0, a negative or an unknown handle gives "", so that an
    // untouched record slot reads as an empty string.
    const char* GetString(Brelon_SP_STRING_ID handle) const;
    // The handle of the text, or 0 when the pool does not hold it.
    Brelon_SP_STRING_ID FindString(const std::string& text) const;
    // Positions are 0-based: position = handle - 1.
    bool HasStringAtIdx(size_t position) const { return position < m_Strings.size(); }
    // The text at a position, or null for a position the pool does not have.
    const char* GetStringAtIdx(size_t position) const;
    // Length in bytes of the text at a position (0 for an unknown position).
    size_t GetLengthAtIdx(size_t position) const;
    // Number of distinct strings.
    size_t Size() const { return m_Strings.size(); }
    // Forgets every string; all handles become unknown.
    void Clear();

private:
    Brelon_SP_STRING_ID Add(const char* text, size_t length);
    size_t Lookup(const char* text, size_t length, uint64_t hash) const;
    char* Store(const char* text, size_t length);
    void GrowIndex();
    void CopyFrom(const BrelonStringsPool& other);

    size_t m_ChunkSize;
    std::vector<std::unique_ptr<char[]>> m_Chunks;
    char* m_Free = nullptr;             // next free byte of the current chunk
    size_t m_FreeBytes = 0;             // bytes left in the current chunk
    std::vector<const char*> m_Strings; // by position
    std::vector<uint32_t> m_Lengths;    // by position
    std::vector<uint32_t> m_Hashes;     // by position, low bits of the text's hash
    std::vector<uint32_t> m_Index;      // open addressing: handle, or 0 for an empty slot
};

// ---------------------------------------------------------------------------------------------
// Integer lists

// Integer lists packed into flat arrays instead of a heap block each: the lists that loads read
// from files. A list is addressed by its list reference, the index of its entry in the
// database's vector of BrelonOnfIntListEntry (whose vectors stay empty while the list lives
// here). The lists of one load take consecutive references, so the pool keeps runs of
// consecutive references whose values lie in one array each: a hexahedron's eight node ids cost
// 32 bytes and 5 of bookkeeping instead of two vectors and their heap blocks. For each list the
// pool holds the values as the file has them (ids) and, once its block has translated them, the
// same list in indices of an id map. A list that is to change leaves the pool for its entry's
// vectors (Drop). The database owns one and empties it with its list entries.
class BrelonPackedIntListsPool {
public:
    // A list's values where they lie, valid until the pool next changes.
    struct Values {
        const int* data = nullptr;
        size_t size = 0;
    };

    BrelonPackedIntListsPool();
    ~BrelonPackedIntListsPool();
    BrelonPackedIntListsPool(const BrelonPackedIntListsPool&) = delete;
    BrelonPackedIntListsPool& operator=(const BrelonPackedIntListsPool&) = delete;

    // Adds the list of `reference`, a copy of `count` values; references must be added in
    // ascending order (std::invalid_argument otherwise). Throws std::bad_alloc, with nothing
    // added.
    void AddList(size_t reference, const int* values, size_t count);
    // The values of `reference` as the file has them; false when the pool holds no such list.
    bool GetIds(size_t reference, Values& ids) const;
    // The list of `reference` in indices; false when it holds none (no list, or not translated).
    bool GetIndices(size_t reference, Values& indices) const;
    // Room for the list of `reference` in indices, as long as its ids, which the caller fills;
    // from then on GetIndices gives it. Null when the pool holds no such list.
    int* SetIndices(size_t reference);
    // Forgets the list of `reference`: its entry holds it from now on.
    void Drop(size_t reference);
    // Empties the pool and gives its memory back; allocates nothing.
    void Clear() noexcept;
    // Lists held, dropped ones included, and the bytes that their arrays take.
    size_t NumLists() const;
    size_t GetBytes() const;

private:
    enum ListState : unsigned char { LIST_IDS = 0, LIST_INDICES = 1, LIST_DROPPED = 2 };
    // Lists first .. first + state.Size() - 1; list k holds values [starts[k], starts[k + 1]).
    struct Run {
        size_t first = 0;
        onf_detail::LargeArray<uint32_t> starts;
        onf_detail::LargeArray<int> ids;
        onf_detail::LargeArray<int> indices; // as long as `ids` once a list is translated
        onf_detail::LargeArray<unsigned char> state;
    };
    Run* FindRun(size_t reference, size_t& k);
    const Run* FindRun(size_t reference, size_t& k) const;

    std::vector<Run> m_Runs; // ascending by first reference
};

// One integer list of a block: the list as the file has it, in external ids, and the same list
// in indices of the id map. Either pointer may be null (no list in that form). Copying copies
// the vectors.
struct BrelonOnfIntListEntry {
    std::unique_ptr<std::vector<int>> ids;
    std::unique_ptr<std::vector<int>> indices;

    BrelonOnfIntListEntry() = default;
    BrelonOnfIntListEntry(std::unique_ptr<std::vector<int>> idList,
                          std::unique_ptr<std::vector<int>> indexList)
        : ids(std::move(idList)), indices(std::move(indexList)) {}
    BrelonOnfIntListEntry(const BrelonOnfIntListEntry& other);
    BrelonOnfIntListEntry& operator=(const BrelonOnfIntListEntry& other);
    BrelonOnfIntListEntry(BrelonOnfIntListEntry&&) noexcept = default;
    BrelonOnfIntListEntry& operator=(BrelonOnfIntListEntry&&) noexcept = default;
    ~BrelonOnfIntListEntry() = default;
};

// ---------------------------------------------------------------------------------------------
// Counted arrays of the abstract record interface

namespace onf_detail {
// Owned elements with a count and a capacity. Members in order: count, capacity, elements.
template <typename T>
class CountedArray {
public:
    CountedArray() = default;
    explicit CountedArray(size_t count) { Resize(count); }
    CountedArray(const CountedArray& other) { Assign(other.m_Data, other.m_Count); }
    CountedArray(CountedArray&& other) noexcept
        : m_Count(other.m_Count), m_Capacity(other.m_Capacity), m_Data(other.m_Data) {
        other.m_Count = other.m_Capacity = 0;
        other.m_Data = nullptr;
    }
    CountedArray& operator=(const CountedArray& other) {
        if (this != &other) {
            Assign(other.m_Data, other.m_Count);
        }
        return *this;
    }
    CountedArray& operator=(CountedArray&& other) noexcept {
        std::swap(m_Count, other.m_Count);
        std::swap(m_Capacity, other.m_Capacity);
        std::swap(m_Data, other.m_Data);
        return *this;
    }
    ~CountedArray() { delete[] m_Data; }

    // Makes room for `count` elements and sets the count. Elements kept from before keep their
    // values; new ones are zero.
    void Resize(size_t count) {
        if (count > m_Capacity) {
            T* data = new T[count]();
            std::copy(m_Data, m_Data + m_Count, data);
            delete[] m_Data;
            m_Data = data;
            m_Capacity = count;
        } else if (count > m_Count) {
            std::fill(m_Data + m_Count, m_Data + count, T());
        }
        m_Count = count;
    }
    // Replaces the content by a copy of `count` values.
    void Assign(const T* values, size_t count) {
        m_Count = 0;
        Resize(count);
        std::copy(values, values + count, m_Data);
    }
    size_t Size() const { return m_Count; }
    T* Data() { return m_Data; }
    const T* Data() const { return m_Data; }
    T& operator[](size_t i) { return m_Data[i]; }
    const T& operator[](size_t i) const { return m_Data[i]; }

    size_t m_Count = 0;
    size_t m_Capacity = 0;
    T* m_Data = nullptr;
};
} // namespace onf_detail

// A counted array of ints that database clients fill from a block's integer lists.
class QSV_IntArray : public onf_detail::CountedArray<int> {
public:
    using onf_detail::CountedArray<int>::CountedArray;
};

// A counted array of doubles that database clients fill from a block's real lists.
class QSV_DoubleArray : public onf_detail::CountedArray<double> {
public:
    using onf_detail::CountedArray<double>::CountedArray;
};

// ---------------------------------------------------------------------------------------------
// QSV_IntSetIntvl

// A set of integers held as a sorted vector of run bounds: first and last value of each run.
// Runs are disjoint and never adjacent (a gap of at least one value lies between two runs).
template <typename T>
class QSV_IntSetIntvl {
    static_assert(std::is_integral<T>::value, "QSV_IntSetIntvl holds integers");

public:
    QSV_IntSetIntvl() = default;
    // The values sorted, duplicates dropped, merged into runs.
    QSV_IntSetIntvl(const std::vector<T>& values) { Assign(values); }
    QSV_IntSetIntvl& operator=(const std::vector<T>& values) {
        Assign(values);
        return *this;
    }

    // Adds one value: a value inside a run changes nothing, a value next to a run extends it,
    // and a value that closes the gap between two runs joins them.
    void Insert(T value);
    // Adds every value from `first` to `last`, both included; nothing when first > last.
    void InsertRange(T first, T last);
    // Binary search over the bounds.
    bool Has(T value) const;
    // Number of values; saturates at the largest size_t (only a 64-bit T can get there).
    size_t Size() const;
    bool IsEmpty() const { return m_Bounds.empty(); }
    void Clear() { m_Bounds.clear(); }
    // Flat sorted bounds: first and last value of each run.
    const std::vector<T>& GetBounds() const { return m_Bounds; }
    size_t GetNumIntervals() const { return m_Bounds.size() / 2; }
    // Replaces `values` by every value of the set, ascending.
    void GetValues(std::vector<T>& values) const;
    // Calls f(value) for every value, ascending, without expanding the set.
    template <typename F>
    void ForEach(F&& f) const;
    // Smallest and largest value; T() for an empty set.
    T GetFirst() const { return m_Bounds.empty() ? T() : m_Bounds.front(); }
    T GetLast() const { return m_Bounds.empty() ? T() : m_Bounds.back(); }
    // Keeps only the values that `other` holds too.
    void Intersect(const QSV_IntSetIntvl& other);
    // Removes the values that `other` holds.
    void Subtract(const QSV_IntSetIntvl& other);

    bool operator==(const QSV_IntSetIntvl& other) const { return m_Bounds == other.m_Bounds; }
    bool operator!=(const QSV_IntSetIntvl& other) const { return m_Bounds != other.m_Bounds; }

private:
    void Assign(const std::vector<T>& values);
    // Appends the run [first, last] behind the last run, joining it when adjacent.
    void AppendRun(T first, T last);

    std::vector<T> m_Bounds;
};

// ---------------------------------------------------------------------------------------------
// IntSetBitArray

// A membership test over integers, built once. Dense inputs get one bit per value of their range;
// sparse ones (few values over a wide range, such as 1 and 2,000,000,000) a sorted vector, so
// memory stays proportional to the input.
class IntSetBitArray {
public:
    explicit IntSetBitArray(const std::vector<int>& items);
    bool HasItem(int item) const;
    // Number of distinct values.
    size_t Size() const { return m_Count; }

private:
    int m_Min = 0;
    uint64_t m_Range = 0;         // values m_Min to m_Min + m_Range - 1 are covered by bits
    std::vector<uint64_t> m_Bits; // the dense form
    std::vector<int> m_Sorted;    // the sparse form
    size_t m_Count = 0;
};

// ---------------------------------------------------------------------------------------------
// BrelonRadixTrieMap, BrelonIdIndexTrie

namespace onf_detail {
// The nodes of a byte-wise trie over 32-bit keys, for BrelonRadixTrieMap and BrelonIdIndexTrie.
// There is one root for each key length in bytes (1 to 4), and each node indexes one byte of a
// key, from the highest byte of its length down, so that a lookup is at most four byte steps with
// no hashing, and a walk in slot order visits keys in ascending order as unsigned numbers.
//
// A key leads to a payload, a number below 2^31 chosen by the owner (the index of a pair, the
// index of an id). Nodes adapt to what they hold, so that memory follows the keys whatever their
// pattern:
//   - a root, and a node of more than 32 children, is full: 256 child references (1 KiB);
//   - a smaller node is sparse: its children's bytes in ascending order and their references, in
//     room for 2, 4, ..., 32 children; it moves to a node of twice the room when it fills;
//   - a subtree that holds one key is no node at all: its parent's reference holds the payload,
//     and the owner's KeyOf tells that key from others of its prefix, until a second key comes.
//   - a node of the last byte whose 256 children are payloads in a row (dense keys given dense
//     payloads, as an id map gives its indices) is a run: the first payload alone, two words.
// Dense keys thus cost almost nothing (a run of 256 keys takes 8 bytes), other keys in full nodes
// 4 bytes each, and no pattern of keys costs more than about 40 (a full node of 33 keys); keys
// scattered at random over the 32-bit range cost about 20. All nodes lie in one vector of 32-bit
// words; a node that moves leaves its words to the next node of its size.
class RadixTrieNodes {
public:
    static constexpr uint32_t NONE = 0xFFFFFFFFu;        // no payload
    static constexpr uint32_t MAX_PAYLOAD = 0x7FFFFFFEu; // the largest payload
    using KeyOf = uint32_t (*)(const void* owner, uint32_t payload);

    // The payload of `key`, or NONE. `keyOf(owner, payload)` is the key of a stored payload.
    uint32_t Find(uint32_t key, KeyOf keyOf, const void* owner) const;
    // The payload of `key`; where the key is absent, `payload` is stored for it, returned, and
    // `inserted` set. Throws std::length_error for a payload above MAX_PAYLOAD, std::bad_alloc
    // where memory runs out; either way the trie holds what it held before.
    uint32_t Insert(uint32_t key, uint32_t payload, KeyOf keyOf, const void* owner, bool& inserted);
    // Removes every key; capacity is kept.
    void Clear();
    void Swap(RadixTrieNodes& other) noexcept;
    size_t NumNodes() const { return m_NumNodes; }
    // Bytes the nodes hold, free room included.
    size_t MemoryBytes() const { return m_Words.capacity() * sizeof(uint32_t); }
    // The level of a key: its length in bytes minus one, 0 for key 0.
    static int LevelOf(uint32_t key);

    // Walks the payloads in ascending key order, with no recursion (the depth is at most four).
    // It must not run across an insertion.
    class Cursor {
    public:
        // The next payload, or NONE.
        uint32_t Next(const RadixTrieNodes& nodes);

    private:
        int m_Level = 0;  // 4 once every level is done
        int m_Depth = -1; // -1: the level is not entered yet
        uint32_t m_Node[4] = {0, 0, 0, 0};
        uint32_t m_Position[4] = {0, 0, 0, 0};
    };

private:
    static constexpr uint32_t ENTRY = 0x80000000u; // a reference that holds a payload
    static constexpr uint32_t FULL = 0;            // the kind of a full node; 1 to 5 are sparse
    static constexpr uint32_t LARGEST_SPARSE = 5;  // room for 2^5 children
    static constexpr uint32_t RUN = 6;             // 256 payloads in a row from the second word

    static uint32_t Room(uint32_t kind) { return 1u << kind; }
    static uint32_t KeyWords(uint32_t kind) { return (Room(kind) + 3) / 4; }
    static size_t NodeWords(uint32_t kind) {
        return kind == FULL ? 257 : kind == RUN ? 2 : 1 + KeyWords(kind) + Room(kind);
    }
    uint32_t ChildRef(uint32_t node, uint32_t byte) const;
    size_t ChildSlot(uint32_t node, uint32_t byte) const;
    bool RefAt(uint32_t node, uint32_t position, uint32_t& ref) const;
    uint32_t NewNode(uint32_t kind);
    void FreeNode(uint32_t node);
    void AddChild(uint32_t node, size_t parentSlot, uint32_t byte, uint32_t ref);
    uint32_t Grow(uint32_t node, size_t parentSlot);
    void FoldRun(size_t parentSlot);

    // Word 0 stays unused, so that reference 0 means "none"; a node's first word is its header:
    // its kind, and its number of children above bit 8.
    std::vector<uint32_t> m_Words;
    uint32_t m_Roots[4] = {0, 0, 0, 0};
    uint32_t m_FreeNodes[RUN + 1] = {0, 0, 0, 0, 0, 0, 0};
    size_t m_NumNodes = 0;
};
} // namespace onf_detail

// A map from a 32-bit integer key to a value: the trie of onf_detail::RadixTrieNodes over the
// keys, whose payloads index the (key, value) pairs, kept in insertion order in a vector. A lookup
// is at most four byte steps, with no hashing. Iteration visits keys in ascending order as
// unsigned numbers, so negative keys come last. Pointers and references to values stay valid until
// the next insertion (the pair vector may grow). Iteration and ForEach must not run across an
// insertion. At most 2^31 - 1 keys (std::length_error beyond).
template <typename K, typename V>
class BrelonRadixTrieMap {
    static_assert(std::is_integral<K>::value && sizeof(K) == 4, "keys are 32-bit integers");

public:
    using key_type = K;
    using mapped_type = V;
    using value_type = std::pair<const K, V>;

    template <bool IsConst>
    class Iterator;
    using iterator = Iterator<false>;
    using const_iterator = Iterator<true>;

    BrelonRadixTrieMap() = default;
    BrelonRadixTrieMap(const BrelonRadixTrieMap&) = default;
    BrelonRadixTrieMap(BrelonRadixTrieMap&&) noexcept = default;
    BrelonRadixTrieMap& operator=(BrelonRadixTrieMap other) noexcept {
        Swap(other);
        return *this;
    }
    void Swap(BrelonRadixTrieMap& other) noexcept {
        m_Nodes.Swap(other.m_Nodes);
        m_Pairs.swap(other.m_Pairs);
    }

    // Adds (key, value) unless the key is there. Returns the index of the key's pair, and sets
    // `inserted` to true when the pair is new; an existing key keeps its pair and value.
    size_t Insert(K key, const V& value, bool& inserted) {
        return InsertPair(key, value, inserted);
    }
    size_t Insert(K key, V&& value, bool& inserted) {
        return InsertPair(key, std::move(value), inserted);
    }
    size_t Insert(K key, const V& value) {
        bool inserted;
        return Insert(key, value, inserted);
    }
    // The key's value, or null when absent.
    V* Find(K key) {
        const size_t pair = FindPair(key);
        return pair == NO_PAIR ? nullptr : &m_Pairs[pair].second;
    }
    const V* Find(K key) const {
        const size_t pair = FindPair(key);
        return pair == NO_PAIR ? nullptr : &m_Pairs[pair].second;
    }
    bool Has(K key) const { return FindPair(key) != NO_PAIR; }
    // The key's value; a missing key is inserted with V().
    V& operator[](K key) {
        bool inserted;
        return m_Pairs[InsertPair(key, V(), inserted)].second;
    }

    size_t Size() const { return m_Pairs.size(); }
    bool IsEmpty() const { return m_Pairs.empty(); }
    // Removes every key; capacity is kept.
    void Clear() {
        m_Nodes.Clear();
        m_Pairs.clear();
    }
    // Room for `count` pairs.
    void Reserve(size_t count) { m_Pairs.reserve(count); }
    // The pairs in insertion order; the pair index that Insert returns indexes this vector.
    const std::vector<value_type>& GetPairs() const { return m_Pairs; }
    // Number of trie nodes (see onf_detail::RadixTrieNodes).
    size_t NumNodes() const { return m_Nodes.NumNodes(); }
    // Bytes held by the nodes and the pairs, free room included.
    size_t MemoryBytes() const {
        return m_Nodes.MemoryBytes() + m_Pairs.capacity() * sizeof(value_type);
    }
    // The level of a key: its length in bytes minus one, 0 for key 0.
    static int LevelOf(K key) {
        return onf_detail::RadixTrieNodes::LevelOf(static_cast<uint32_t>(key));
    }

    // Ascending iteration, usable in range-for.
    iterator begin() { return iterator(this); }
    iterator end() { return iterator(); }
    const_iterator begin() const { return const_iterator(this); }
    const_iterator end() const { return const_iterator(); }
    // Calls f(key, value) for every pair in ascending key order.
    template <typename F>
    void ForEach(F&& f) {
        onf_detail::RadixTrieNodes::Cursor cursor;
        for (uint32_t p; (p = cursor.Next(m_Nodes)) != onf_detail::RadixTrieNodes::NONE;) {
            f(m_Pairs[p].first, m_Pairs[p].second);
        }
    }
    template <typename F>
    void ForEach(F&& f) const {
        onf_detail::RadixTrieNodes::Cursor cursor;
        for (uint32_t p; (p = cursor.Next(m_Nodes)) != onf_detail::RadixTrieNodes::NONE;) {
            f(m_Pairs[p].first, m_Pairs[p].second);
        }
    }

    // Walks the pairs in ascending key order; the const form for a const map.
    template <bool IsConst>
    class Iterator {
    public:
        using value_type = typename BrelonRadixTrieMap::value_type;
        using Map = std::conditional_t<IsConst, const BrelonRadixTrieMap, BrelonRadixTrieMap>;
        using reference = std::conditional_t<IsConst, const value_type&, value_type&>;
        using pointer = std::conditional_t<IsConst, const value_type*, value_type*>;
        using difference_type = std::ptrdiff_t;
        using iterator_category = std::forward_iterator_tag;

        Iterator() = default;
        explicit Iterator(Map* map) : m_Map(map) { Advance(); }
        reference operator*() const { return m_Map->m_Pairs[m_Pair]; }
        pointer operator->() const { return &m_Map->m_Pairs[m_Pair]; }
        Iterator& operator++() {
            Advance();
            return *this;
        }
        Iterator operator++(int) {
            Iterator old = *this;
            Advance();
            return old;
        }
        bool operator==(const Iterator& other) const { return m_Pair == other.m_Pair; }
        bool operator!=(const Iterator& other) const { return m_Pair != other.m_Pair; }

    private:
        void Advance() { m_Pair = m_Cursor.Next(m_Map->m_Nodes); }
        Map* m_Map = nullptr;
        onf_detail::RadixTrieNodes::Cursor m_Cursor;
        uint32_t m_Pair = onf_detail::RadixTrieNodes::NONE;
    };

private:
    static constexpr size_t NO_PAIR = static_cast<size_t>(-1);
    static uint32_t KeyOfPair(const void* owner, uint32_t pair) {
        return static_cast<uint32_t>(
            static_cast<const BrelonRadixTrieMap*>(owner)->m_Pairs[pair].first);
    }
    size_t FindPair(K key) const {
        const uint32_t pair = m_Nodes.Find(static_cast<uint32_t>(key), &KeyOfPair, this);
        return pair == onf_detail::RadixTrieNodes::NONE ? NO_PAIR : pair;
    }
    // The new pair is made before the trie refers to it, so that a value whose copy fails leaves
    // the map as it was.
    template <typename Value>
    size_t InsertPair(K key, Value&& value, bool& inserted) {
        const size_t found = FindPair(key);
        inserted = found == NO_PAIR;
        if (!inserted) {
            return found;
        }
        if (m_Pairs.size() > onf_detail::RadixTrieNodes::MAX_PAYLOAD) {
            throw std::length_error("BrelonRadixTrieMap: more than 2^31 - 1 keys");
        }
        m_Pairs.emplace_back(key, std::forward<Value>(value));
        try {
            bool added;
            m_Nodes.Insert(static_cast<uint32_t>(key), static_cast<uint32_t>(m_Pairs.size() - 1),
                           &KeyOfPair, this, added);
        } catch (...) {
            m_Pairs.pop_back();
            throw;
        }
        return m_Pairs.size() - 1;
    }

    onf_detail::RadixTrieNodes m_Nodes;
    std::vector<value_type> m_Pairs;
};

// The trie of an id map: each integer id to its index, the index being the payload itself. The
// id of an index stands in the id map's own vector (index to id), which the trie is pointed at and
// reads where it must tell two ids apart, so that an id costs no stored pair: 4 bytes in the trie
// for dense ids, about 12 for ids scattered over the 32-bit range. Indices stay below 2^31.
class BrelonIdIndexTrie {
public:
    static constexpr size_t NOT_FOUND = static_cast<size_t>(-1);

    explicit BrelonIdIndexTrie(const std::vector<int>* ids = nullptr) : m_Ids(ids) {}
    // The vector of the id of each index; a copied trie must be pointed at its own owner's.
    void SetIds(const std::vector<int>* ids) { m_Ids = ids; }
    // The index of `id`, or NOT_FOUND.
    size_t Find(int id) const {
        const uint32_t index = m_Nodes.Find(static_cast<uint32_t>(id), &IdOf, m_Ids);
        return index == onf_detail::RadixTrieNodes::NONE ? NOT_FOUND : index;
    }
    bool Has(int id) const { return Find(id) != NOT_FOUND; }
    // The index of `id`; where the id is absent, `index` is stored for it, returned and
    // `inserted` set. The ids vector must hold `id` at `index` already. Throws std::length_error
    // for an index of 2^31 or more, and leaves the trie as it was when it throws.
    size_t Insert(int id, size_t index, bool& inserted);
    // Calls f(id, index) for every id in ascending order as unsigned numbers.
    template <typename F>
    void ForEach(F&& f) const {
        onf_detail::RadixTrieNodes::Cursor cursor;
        for (uint32_t index; (index = cursor.Next(m_Nodes)) != onf_detail::RadixTrieNodes::NONE;) {
            f((*m_Ids)[index], static_cast<size_t>(index));
        }
    }
    void Clear() { m_Nodes.Clear(); }
    size_t NumNodes() const { return m_Nodes.NumNodes(); }
    size_t MemoryBytes() const { return m_Nodes.MemoryBytes(); }

private:
    static uint32_t IdOf(const void* ids, uint32_t index) {
        return static_cast<uint32_t>((*static_cast<const std::vector<int>*>(ids))[index]);
    }

    onf_detail::RadixTrieNodes m_Nodes;
    const std::vector<int>* m_Ids;
};

// =============================================================================================
// Template and inline definitions

// ---------------------------------------------------------------------------------------------
// QSV_IntSetIntvl

template <typename T>
void QSV_IntSetIntvl<T>::Assign(const std::vector<T>& values) {
    std::vector<T> sorted(values);
    std::sort(sorted.begin(), sorted.end());
    m_Bounds.clear();
    for (T value : sorted) {
        AppendRun(value, value);
    }
}

template <typename T>
void QSV_IntSetIntvl<T>::AppendRun(T first, T last) {
    // back() + 1 is only evaluated when back() < first, so it cannot overflow.
    if (!m_Bounds.empty() && (m_Bounds.back() >= first || m_Bounds.back() + 1 == first)) {
        m_Bounds.back() = std::max(m_Bounds.back(), last);
        return;
    }
    m_Bounds.push_back(first);
    m_Bounds.push_back(last);
}

template <typename T>
void QSV_IntSetIntvl<T>::Insert(T value) {
    // Ascending insertion is the common case: no search, no shifting.
    if (m_Bounds.empty() || value > m_Bounds.back()) {
        AppendRun(value, value);
        return;
    }
    // p: first bound above the value. Odd p lies inside a run; so does a value equal to the end
    // of the run before p.
    const size_t p = static_cast<size_t>(std::upper_bound(m_Bounds.begin(), m_Bounds.end(), value) -
                                         m_Bounds.begin());
    if ((p & 1) != 0 || (p > 0 && m_Bounds[p - 1] == value)) {
        return;
    }
    // The value lies in the gap between run p/2 - 1 (if any) and run p/2.
    const bool touchesLeft = p > 0 && m_Bounds[p - 1] + 1 == value;
    const bool touchesRight = m_Bounds[p] - 1 == value;
    if (touchesLeft && touchesRight) {
        m_Bounds.erase(m_Bounds.begin() + static_cast<std::ptrdiff_t>(p - 1),
                       m_Bounds.begin() + static_cast<std::ptrdiff_t>(p + 1));
    } else if (touchesLeft) {
        m_Bounds[p - 1] = value;
    } else if (touchesRight) {
        m_Bounds[p] = value;
    } else {
        const T run[2] = {value, value};
        m_Bounds.insert(m_Bounds.begin() + static_cast<std::ptrdiff_t>(p), run, run + 2);
    }
}

template <typename T>
void QSV_IntSetIntvl<T>::InsertRange(T first, T last) {
    if (first > last) {
        return;
    }
    const size_t runs = m_Bounds.size() / 2;
    // lo: the first run that ends at or after first - 1; hi: the first run that starts after
    // last + 1. Runs lo to hi - 1 touch the new range and merge with it. The +1 and -1 are
    // only evaluated where they cannot overflow.
    size_t lo = 0, hi = runs;
    for (size_t count = runs; count > 0;) {
        const size_t half = count / 2;
        const T end = m_Bounds[2 * (lo + half) + 1];
        if (end < first && end + 1 != first) {
            lo += half + 1;
            count -= half + 1;
        } else {
            count = half;
        }
    }
    size_t from = lo;
    for (size_t count = runs - lo; count > 0;) {
        const size_t half = count / 2;
        const T start = m_Bounds[2 * (from + half)];
        if (start <= last || start - 1 == last) {
            from += half + 1;
            count -= half + 1;
        } else {
            count = half;
        }
    }
    hi = from;
    if (lo == hi) {
        const T run[2] = {first, last};
        m_Bounds.insert(m_Bounds.begin() + static_cast<std::ptrdiff_t>(2 * lo), run, run + 2);
        return;
    }
    m_Bounds[2 * lo] = std::min(m_Bounds[2 * lo], first);
    m_Bounds[2 * lo + 1] = std::max(m_Bounds[2 * hi - 1], last);
    m_Bounds.erase(m_Bounds.begin() + static_cast<std::ptrdiff_t>(2 * lo + 2),
                   m_Bounds.begin() + static_cast<std::ptrdiff_t>(2 * hi));
}

template <typename T>
bool QSV_IntSetIntvl<T>::Has(T value) const {
    const size_t p = static_cast<size_t>(std::upper_bound(m_Bounds.begin(), m_Bounds.end(), value) -
                                         m_Bounds.begin());
    return (p & 1) != 0 || (p > 0 && m_Bounds[p - 1] == value);
}

template <typename T>
size_t QSV_IntSetIntvl<T>::Size() const {
    using U = std::make_unsigned_t<T>;
    constexpr uint64_t kMax = std::numeric_limits<size_t>::max();
    uint64_t total = 0;
    for (size_t i = 0; i < m_Bounds.size(); i += 2) {
        // The width of a run of a 64-bit type can be 2^64, one more than uint64_t holds.
        const uint64_t span =
            static_cast<uint64_t>(static_cast<U>(m_Bounds[i + 1]) - static_cast<U>(m_Bounds[i]));
        if (span >= kMax - total) {
            return static_cast<size_t>(kMax);
        }
        total += span + 1;
    }
    return static_cast<size_t>(total);
}

template <typename T>
void QSV_IntSetIntvl<T>::GetValues(std::vector<T>& values) const {
    values.clear();
    values.reserve(Size());
    ForEach([&values](T value) { values.push_back(value); });
}

template <typename T>
template <typename F>
void QSV_IntSetIntvl<T>::ForEach(F&& f) const {
    for (size_t i = 0; i < m_Bounds.size(); i += 2) {
        for (T value = m_Bounds[i];; ++value) {
            f(value);
            if (value == m_Bounds[i + 1]) {
                break;
            }
        }
    }
}

template <typename T>
void QSV_IntSetIntvl<T>::Intersect(const QSV_IntSetIntvl& other) {
    if (this == &other) {
        return;
    }
    if (IsEmpty() || other.IsEmpty() || GetLast() < other.GetFirst() ||
        other.GetLast() < GetFirst()) {
        Clear();
        return;
    }
    const std::vector<T>& a = m_Bounds;
    const std::vector<T>& b = other.m_Bounds;
    // Start at the first own run that ends at or after the other's first value.
    size_t i = 0;
    for (size_t count = a.size() / 2; count > 0;) {
        const size_t half = count / 2;
        if (a[2 * (i + half) + 1] < b.front()) {
            i += half + 1;
            count -= half + 1;
        } else {
            count = half;
        }
    }
    std::vector<T> out;
    for (size_t j = 0; 2 * i < a.size() && 2 * j < b.size();) {
        const T lo = std::max(a[2 * i], b[2 * j]);
        const T hi = std::min(a[2 * i + 1], b[2 * j + 1]);
        if (lo <= hi) {
            out.push_back(lo);
            out.push_back(hi);
        }
        // Advance the run that ends first; both inputs have gaps between runs, so the pieces
        // written never touch each other.
        if (a[2 * i + 1] < b[2 * j + 1]) {
            ++i;
        } else {
            ++j;
        }
    }
    m_Bounds.swap(out);
}

template <typename T>
void QSV_IntSetIntvl<T>::Subtract(const QSV_IntSetIntvl& other) {
    if (this == &other) {
        Clear();
        return;
    }
    if (IsEmpty() || other.IsEmpty() || GetLast() < other.GetFirst() ||
        other.GetLast() < GetFirst()) {
        return;
    }
    const std::vector<T>& b = other.m_Bounds;
    std::vector<T> out;
    out.reserve(m_Bounds.size());
    size_t j = 0;
    for (size_t i = 0; i < m_Bounds.size(); i += 2) {
        T from = m_Bounds[i];
        const T to = m_Bounds[i + 1];
        bool covered = false;
        // A run of `other` that reaches past this run's end may cut the next run too: j then
        // stays on it.
        for (; j < b.size() && b[j] <= to; j += 2) {
            if (b[j + 1] < from) {
                continue;
            }
            if (b[j] > from) {
                out.push_back(from);
                out.push_back(b[j] - 1);
            }
            if (b[j + 1] >= to) {
                covered = true;
                break;
            }
            from = b[j + 1] + 1;
        }
        if (!covered) {
            out.push_back(from);
            out.push_back(to);
        }
    }
    m_Bounds.swap(out);
}

// ---------------------------------------------------------------------------------------------
// RadixTrieNodes

namespace onf_detail {
// Level of a key by 1070 minus the biased exponent of (double)(k + 0.5): 16 for a key with bit
// 31 set, 48 for key 0. Entries below 16 cannot occur.
inline constexpr int8_t kRadixTrieLevelOfExponent[49] = {
    3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, // unused
    3, 3, 3, 3, 3, 3, 3, 3,                         // bits 31 to 24
    2, 2, 2, 2, 2, 2, 2, 2,                         // bits 23 to 16
    1, 1, 1, 1, 1, 1, 1, 1,                         // bits 15 to 8
    0, 0, 0, 0, 0, 0, 0, 0, 0};                     // bits 7 to 0, and key 0

inline int RadixTrieNodes::LevelOf(uint32_t key) {
    const double value = static_cast<double>(key) + 0.5;
    uint64_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    const int exponent = static_cast<int>((bits >> 52) & 0x7FF);
    return kRadixTrieLevelOfExponent[1070 - exponent];
}

// The reference a node holds for a byte, 0 when it has none. A sparse node's bytes ascend: a byte
// above the last is none of them (keys that come in ascending order ask that most), and the scan
// stops at the first larger one.
inline uint32_t RadixTrieNodes::ChildRef(uint32_t node, uint32_t byte) const {
    const uint32_t* words = m_Words.data() + node;
    const uint32_t kind = words[0] & 0xFFu;
    if (kind == FULL) {
        return words[1 + byte];
    }
    if (kind == RUN) {
        return ENTRY | (words[1] + byte);
    }
    const uint32_t count = words[0] >> 8;
    const unsigned char* keys = reinterpret_cast<const unsigned char*>(words + 1);
    if (count == 0 || byte > keys[count - 1]) {
        return 0;
    }
    for (uint32_t i = 0; keys[i] <= byte; ++i) {
        if (keys[i] == byte) {
            return words[1 + KeyWords(kind) + i];
        }
    }
    return 0;
}

// Down from the key's root until a reference holds a payload. Below the last byte the path has
// named every byte of the key; above it, the payload stands for the one key of its subtree,
// which may be another key of the same prefix.
inline uint32_t RadixTrieNodes::Find(uint32_t key, KeyOf keyOf, const void* owner) const {
    int depth = LevelOf(key);
    uint32_t ref = m_Roots[depth];
    while (ref != 0 && (ref & ENTRY) == 0) {
        ref = ChildRef(ref, (key >> (8 * depth)) & 0xFFu);
        --depth;
    }
    if (ref == 0) {
        return NONE;
    }
    const uint32_t payload = ref & ~ENTRY;
    return depth < 0 || keyOf(owner, payload) == key ? payload : NONE;
}
} // namespace onf_detail
