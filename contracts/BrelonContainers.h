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
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

// ---------------------------------------------------------------------------------------------
// Large buffers

namespace onf_detail {

// Memory for the large arrays of a load: a file's text and line table, record arrays, packed
// lists. A buffer below MAPPED_BYTES comes from the heap like any other. From there on it is
// mapped straight from the system, in whole huge pages (2 MiB) where the platform gives them on
// request: a first touch of fresh memory then costs one fault for 2 MiB instead of one for each
// 4 KiB page, which on a model of millions of records is most of the kernel's time. Where huge
// pages are not to be had, the same mapping holds ordinary pages. Freed mapped memory goes back
// to the system at once, not to the heap.
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

    // Whether mapped buffers ask for huge pages (true unless turned off). Tests turn it off to
    // take the path of platforms without them; buffers made before keep what they have.
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
        if (count > Capacity() - m_Size) {
            Reserve(std::max(m_Size + count, 2 * Capacity()));
        }
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
    size_t m_PerChunk;          // records per chunk of the existing chunks
    size_t m_RequestedPerChunk; // what SetNumRecPerChunk asked for
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

// A pool of integer lists packed into one flat vector. The database owns one and hands it to its
// blocks; a list, once added, is never freed singly.
class BrelonPackedIntListsPool {
public:
    BrelonPackedIntListsPool();
    ~BrelonPackedIntListsPool();

    // Appends a copy of `count` values and returns the list's number (0-based).
    size_t AddList(const int* values, size_t count);
    // Number of lists.
    size_t NumLists() const { return m_Starts.size() - 1; }
    // The values of list `list` (< NumLists(), unchecked) and their count; the pointer is valid
    // until the next AddList or Clear.
    const int* GetList(size_t list, size_t& count) const {
        count = m_Starts[list + 1] - m_Starts[list];
        return m_Values.data() + m_Starts[list];
    }
    void Clear();

private:
    std::vector<int> m_Values;
    std::vector<size_t> m_Starts; // list k holds m_Values[m_Starts[k], m_Starts[k + 1])
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
// BrelonRadixTrieMap

namespace onf_detail {
// One level of the trie: the keys of one length in bytes.
struct RadixTrieLevel {
    int64_t root;   // slot offset of the level's root node, -1 while there is none
    uint32_t mask;  // the byte of this level's length
    uint32_t shift; // bits to shift the masked byte down
};

// Ascending walk over the slots of a trie, with no recursion: the depth is at most four.
class RadixTrieCursor {
public:
    static constexpr size_t END = static_cast<size_t>(-1);
    // The next pair index in ascending key order, or END.
    size_t Next(const RadixTrieLevel* levels, const int64_t* slots);
    bool AtEnd() const { return m_Level == 4; }

private:
    int m_Level = 0;  // 4 once every level is done
    int m_Depth = -1; // -1: the level is not entered yet
    int64_t m_Node[4] = {0, 0, 0, 0};
    int m_Slot[4] = {0, 0, 0, 0};
};
} // namespace onf_detail

// A map from a 32-bit integer key to a value: a byte-wise trie with one root for each key length
// in bytes (1 to 4), all nodes of 256 slots in one vector, and the (key, value) pairs in insertion
// order in another. A lookup is at most four byte steps, with no hashing. Iteration visits keys
// in ascending order as unsigned numbers, so negative keys come last. Pointers and references to
// values stay valid until the next insertion (the pair vector may grow). A node costs 2 KiB:
// dense keys share nodes, while widely scattered keys cost up to four nodes each. Iteration and
// ForEach must not run across an insertion.
template <typename K, typename V>
class BrelonRadixTrieMap {
    static_assert(std::is_integral<K>::value && sizeof(K) == 4, "keys are 32-bit integers");

public:
    using key_type = K;
    using mapped_type = V;
    using value_type = std::pair<const K, V>;
    static constexpr size_t NODE_SLOTS = 256;

    template <bool IsConst>
    class Iterator;
    using iterator = Iterator<false>;
    using const_iterator = Iterator<true>;

    BrelonRadixTrieMap() { ResetLevels(); }
    BrelonRadixTrieMap(const BrelonRadixTrieMap&) = default;
    BrelonRadixTrieMap(BrelonRadixTrieMap&&) noexcept = default;
    BrelonRadixTrieMap& operator=(BrelonRadixTrieMap other) noexcept {
        Swap(other);
        return *this;
    }
    void Swap(BrelonRadixTrieMap& other) noexcept;

    // Adds (key, value) unless the key is there. Returns the index of the key's pair, and sets
    // `inserted` to true when the pair is new; an existing key keeps its pair and value.
    size_t Insert(K key, const V& value, bool& inserted);
    size_t Insert(K key, V&& value, bool& inserted);
    size_t Insert(K key, const V& value) {
        bool inserted;
        return Insert(key, value, inserted);
    }
    // The key's value, or null when absent.
    V* Find(K key);
    const V* Find(K key) const;
    bool Has(K key) const { return FindPair(key) != NO_PAIR; }
    // The key's value; a missing key is inserted with V().
    V& operator[](K key);

    size_t Size() const { return m_Pairs.size(); }
    bool IsEmpty() const { return m_Pairs.empty(); }
    // Removes every key; capacity is kept.
    void Clear();
    // Room for `count` pairs.
    void Reserve(size_t count) { m_Pairs.reserve(count); }
    // The pairs in insertion order; the pair index that Insert returns indexes this vector.
    const std::vector<value_type>& GetPairs() const { return m_Pairs; }
    // Number of trie nodes (each of NODE_SLOTS slots).
    size_t NumNodes() const { return m_Slots.size() / NODE_SLOTS; }
    // The level of a key: its length in bytes minus one, 0 for key 0.
    static int LevelOf(K key);

    // Ascending iteration, usable in range-for.
    iterator begin() { return iterator(this); }
    iterator end() { return iterator(); }
    const_iterator begin() const { return const_iterator(this); }
    const_iterator end() const { return const_iterator(); }
    // Calls f(key, value) for every pair in ascending key order.
    template <typename F>
    void ForEach(F&& f);
    template <typename F>
    void ForEach(F&& f) const;

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
        void Advance() { m_Pair = m_Cursor.Next(m_Map->m_Levels, m_Map->m_Slots.data()); }
        Map* m_Map = nullptr;
        onf_detail::RadixTrieCursor m_Cursor;
        size_t m_Pair = onf_detail::RadixTrieCursor::END;
    };

private:
    static constexpr size_t NO_PAIR = static_cast<size_t>(-1);
    void ResetLevels();
    int64_t NewNode();
    size_t FindPair(K key) const;
    // The slot offset of the key's leaf slot, making the nodes on the way.
    size_t LeafSlotIndex(K key);

    onf_detail::RadixTrieLevel m_Levels[4];
    std::vector<int64_t> m_Slots;
    std::vector<value_type> m_Pairs;
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
// BrelonRadixTrieMap

namespace onf_detail {
// Level of a key by 1070 minus the biased exponent of (double)(k + 0.5): 16 for a key with bit
// 31 set, 48 for key 0. Entries below 16 cannot occur.
inline constexpr int8_t kRadixTrieLevelOfExponent[49] = {
    3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, // unused
    3, 3, 3, 3, 3, 3, 3, 3,                         // bits 31 to 24
    2, 2, 2, 2, 2, 2, 2, 2,                         // bits 23 to 16
    1, 1, 1, 1, 1, 1, 1, 1,                         // bits 15 to 8
    0, 0, 0, 0, 0, 0, 0, 0, 0};                     // bits 7 to 0, and key 0

inline size_t RadixTrieCursor::Next(const RadixTrieLevel* levels, const int64_t* slots) {
    while (m_Level < 4) {
        if (m_Depth < 0) {
            const int64_t root = levels[m_Level].root;
            if (root < 0) {
                ++m_Level;
                continue;
            }
            m_Depth = 0;
            m_Node[0] = root;
            m_Slot[0] = 0;
        }
        if (m_Slot[m_Depth] == 256) {
            if (--m_Depth < 0) {
                ++m_Level;
            }
            continue;
        }
        const int64_t slot = slots[m_Node[m_Depth] + m_Slot[m_Depth]++];
        if (slot < 0) {
            continue;
        }
        // A key of level L runs through L + 1 nodes: the slot of the last one holds a pair.
        if (m_Depth == m_Level) {
            return static_cast<size_t>(slot);
        }
        ++m_Depth;
        m_Node[m_Depth] = slot;
        m_Slot[m_Depth] = 0;
    }
    return END;
}
} // namespace onf_detail

template <typename K, typename V>
int BrelonRadixTrieMap<K, V>::LevelOf(K key) {
    const double value = static_cast<double>(static_cast<uint32_t>(key)) + 0.5;
    uint64_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    const int exponent = static_cast<int>((bits >> 52) & 0x7FF);
    return onf_detail::kRadixTrieLevelOfExponent[1070 - exponent];
}

template <typename K, typename V>
void BrelonRadixTrieMap<K, V>::ResetLevels() {
    for (uint32_t level = 0; level < 4; ++level) {
        m_Levels[level] = {-1, 0xFFu << (8 * level), 8 * level};
    }
}

template <typename K, typename V>
void BrelonRadixTrieMap<K, V>::Swap(BrelonRadixTrieMap& other) noexcept {
    std::swap(m_Levels, other.m_Levels);
    m_Slots.swap(other.m_Slots);
    m_Pairs.swap(other.m_Pairs);
}

template <typename K, typename V>
int64_t BrelonRadixTrieMap<K, V>::NewNode() {
    const int64_t offset = static_cast<int64_t>(m_Slots.size());
    m_Slots.resize(m_Slots.size() + NODE_SLOTS, -1);
    return offset;
}

template <typename K, typename V>
size_t BrelonRadixTrieMap<K, V>::FindPair(K key) const {
    const uint32_t u = static_cast<uint32_t>(key);
    const int level = LevelOf(key);
    int64_t node = m_Levels[level].root;
    if (node < 0) {
        return NO_PAIR;
    }
    for (int j = level; j > 0; --j) {
        node = m_Slots[static_cast<size_t>(node) + ((u & m_Levels[j].mask) >> m_Levels[j].shift)];
        if (node < 0) {
            return NO_PAIR;
        }
    }
    const int64_t pair = m_Slots[static_cast<size_t>(node) + (u & 0xFFu)];
    return pair < 0 ? NO_PAIR : static_cast<size_t>(pair);
}

template <typename K, typename V>
size_t BrelonRadixTrieMap<K, V>::LeafSlotIndex(K key) {
    const uint32_t u = static_cast<uint32_t>(key);
    const int level = LevelOf(key);
    if (m_Levels[level].root < 0) {
        const int64_t root = NewNode();
        m_Levels[level].root = root;
    }
    int64_t node = m_Levels[level].root;
    for (int j = level; j > 0; --j) {
        const size_t slot =
            static_cast<size_t>(node) + ((u & m_Levels[j].mask) >> m_Levels[j].shift);
        if (m_Slots[slot] < 0) {
            const int64_t child = NewNode(); // may move m_Slots: index again below
            m_Slots[slot] = child;
        }
        node = m_Slots[slot];
    }
    return static_cast<size_t>(node) + (u & 0xFFu);
}

template <typename K, typename V>
size_t BrelonRadixTrieMap<K, V>::Insert(K key, const V& value, bool& inserted) {
    const size_t slot = LeafSlotIndex(key);
    inserted = m_Slots[slot] < 0;
    if (inserted) {
        m_Pairs.emplace_back(key, value);
        m_Slots[slot] = static_cast<int64_t>(m_Pairs.size() - 1);
    }
    return static_cast<size_t>(m_Slots[slot]);
}

template <typename K, typename V>
size_t BrelonRadixTrieMap<K, V>::Insert(K key, V&& value, bool& inserted) {
    const size_t slot = LeafSlotIndex(key);
    inserted = m_Slots[slot] < 0;
    if (inserted) {
        m_Pairs.emplace_back(key, std::move(value));
        m_Slots[slot] = static_cast<int64_t>(m_Pairs.size() - 1);
    }
    return static_cast<size_t>(m_Slots[slot]);
}

template <typename K, typename V>
V* BrelonRadixTrieMap<K, V>::Find(K key) {
    const size_t pair = FindPair(key);
    return pair == NO_PAIR ? nullptr : &m_Pairs[pair].second;
}

template <typename K, typename V>
const V* BrelonRadixTrieMap<K, V>::Find(K key) const {
    const size_t pair = FindPair(key);
    return pair == NO_PAIR ? nullptr : &m_Pairs[pair].second;
}

template <typename K, typename V>
V& BrelonRadixTrieMap<K, V>::operator[](K key) {
    const size_t slot = LeafSlotIndex(key);
    if (m_Slots[slot] < 0) {
        m_Pairs.emplace_back(key, V());
        m_Slots[slot] = static_cast<int64_t>(m_Pairs.size() - 1);
    }
    return m_Pairs[static_cast<size_t>(m_Slots[slot])].second;
}

template <typename K, typename V>
void BrelonRadixTrieMap<K, V>::Clear() {
    ResetLevels();
    m_Slots.clear();
    m_Pairs.clear();
}

template <typename K, typename V>
template <typename F>
void BrelonRadixTrieMap<K, V>::ForEach(F&& f) {
    onf_detail::RadixTrieCursor cursor;
    for (size_t p; (p = cursor.Next(m_Levels, m_Slots.data())) != NO_PAIR;) {
        f(m_Pairs[p].first, m_Pairs[p].second);
    }
}

template <typename K, typename V>
template <typename F>
void BrelonRadixTrieMap<K, V>::ForEach(F&& f) const {
    onf_detail::RadixTrieCursor cursor;
    for (size_t p; (p = cursor.Next(m_Levels, m_Slots.data())) != NO_PAIR;) {
        f(m_Pairs[p].first, m_Pairs[p].second);
    }
}
