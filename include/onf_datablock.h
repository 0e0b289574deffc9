// Stream-format data blocks of the optimisation result file: the five result items (title,
// nodal scalar, nodal vector, nodal displacement, element scalar), the block of entries that
// holds them (ONFOptDataBlock) and the flat block of groups (ONFDataBlock). Each is written to a
// std::ostream and read back either from a std::istream or from the lines of a block.
#pragma once

#include "BrelonMatrix.h"
#include "QSV_Failure.h"
#include "onf_base.h"
#include "onf_list.h"

#include <istream>
#include <map>
#include <ostream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

class TextLinesProvider;
class TextLineSplitter;

// ---------------------------------------------------------------------------------------------
// Result items. One text line each; numbers take the stream's formatting. `LoadFrom` reads the
// next line of a block and throws QSV_Failure "Wrong ONF format!" (with the class's identifier)
// for too few tokens, and a QSV_Failure when the block has no line left.

// The title line of an entry of block 700.
class ONFOptResTitle {
public:
    static constexpr int block_id = 700;
    // "ONF OPT Result Title"
    static const onf_detail::StreamHeaderText header;

    ONFOptResTitle() = default;
    explicit ONFOptResTitle(std::string title) : m_Title(std::move(title)) {}

    static int GetBlockID() { return block_id; }
    static const onf_detail::StreamHeaderText& GetHeader() { return header; }
    // A copy of the title.
    std::string GetSubtitle() const { return m_Title; }
    void Nullify() { m_Title.clear(); }
    void LoadFrom(TextLinesProvider& lines, TextLineSplitter& splitter);

private:
    std::string m_Title;
};

// One value at a node, block 710. A default item has id 0 and value 0.
class ONFOptResNodalScalar {
public:
    static constexpr int block_id = 710;
    // "ONF OPT Result Nodal Scalar Value"
    static const onf_detail::StreamHeaderText header;

    ONFOptResNodalScalar() = default;
    ONFOptResNodalScalar(int id, double value) : m_ID(id), m_Value(value) {}

    static int GetBlockID() { return block_id; }
    static const onf_detail::StreamHeaderText& GetHeader() { return header; }
    int GetID() const { return m_ID; }
    double GetValue() const { return m_Value; }
    // Zero value; the id stays.
    void Nullify() { m_Value = 0.0; }
    void LoadFrom(TextLinesProvider& lines, TextLineSplitter& splitter);

private:
    int m_ID = 0;
    double m_Value = 0.0;
};

// A vector at a node, block 720. A default item has id 0 and the zero vector.
class ONFOptResNodalVector {
public:
    static constexpr int block_id = 720;
    // "ONF OPT Result Nodal Vector Value"
    static const onf_detail::StreamHeaderText header;

    ONFOptResNodalVector() = default;
    ONFOptResNodalVector(int id, const BrelonMatrix<3, 1, double>& value)
        : m_ID(id), m_Value(value) {}
    ONFOptResNodalVector(int id, double x, double y, double z) : m_ID(id), m_Value(x, y, z) {}

    static int GetBlockID() { return block_id; }
    static const onf_detail::StreamHeaderText& GetHeader() { return header; }
    int GetID() const { return m_ID; }
    const BrelonMatrix<3, 1, double>& GetValue() const { return m_Value; }
    double GetValueVX() const { return m_Value[0]; }
    double GetValueVY() const { return m_Value[1]; }
    double GetValueVZ() const { return m_Value[2]; }
    void Nullify() { m_Value = BrelonMatrix<3, 1, double>(); }
    void LoadFrom(TextLinesProvider& lines, TextLineSplitter& splitter);

private:
    int m_ID = 0;
    BrelonMatrix<3, 1, double> m_Value;
};

// A displacement at a node, block 730. A default item has id -1 and the zero vector.
class ONFOptResNodalDisp {
public:
    static constexpr int block_id = 730;
    // "ONF OPT Result Nodal Displacement Value"
    static const onf_detail::StreamHeaderText header;

    ONFOptResNodalDisp() = default;
    ONFOptResNodalDisp(int id, const BrelonMatrix<3, 1, double>& value)
        : m_ID(id), m_Value(value) {}
    ONFOptResNodalDisp(int id, double x, double y, double z) : m_ID(id), m_Value(x, y, z) {}

    static int GetBlockID() { return block_id; }
    static const onf_detail::StreamHeaderText& GetHeader() { return header; }
    int GetID() const { return m_ID; }
    const BrelonMatrix<3, 1, double>& GetValue() const { return m_Value; }
    double GetValueDispX() const { return m_Value[0]; }
    double GetValueDispY() const { return m_Value[1]; }
    double GetValueDispZ() const { return m_Value[2]; }
    void Nullify() { m_Value = BrelonMatrix<3, 1, double>(); }
    void LoadFrom(TextLinesProvider& lines, TextLineSplitter& splitter);

private:
    int m_ID = -1;
    BrelonMatrix<3, 1, double> m_Value;
};

// One value at an element, block 740. A default item has id 0 and value 0.
class ONFOptResElemScalar {
public:
    static constexpr int block_id = 740;
    // "ONF OPT Result Element Scalar Value"
    static const onf_detail::StreamHeaderText header;

    ONFOptResElemScalar() = default;
    ONFOptResElemScalar(int id, double value) : m_ID(id), m_Value(value) {}

    static int GetBlockID() { return block_id; }
    static const onf_detail::StreamHeaderText& GetHeader() { return header; }
    int GetID() const { return m_ID; }
    double GetValue() const { return m_Value; }
    void Nullify() { m_Value = 0.0; }
    void LoadFrom(TextLinesProvider& lines, TextLineSplitter& splitter);

private:
    int m_ID = 0;
    double m_Value = 0.0;
};

// Reads the whole line as the title (counted in ONF_LINE_NR).
std::istream& operator>>(std::istream& is, ONFOptResTitle& item);
// Read "id, value" and the line end. A bad number leaves the stream's fail bit set and the item
// as it was; a missing ',' throws QSV_Failure "161000150210".
std::istream& operator>>(std::istream& is, ONFOptResNodalScalar& item);
std::istream& operator>>(std::istream& is, ONFOptResNodalVector& item);
std::istream& operator>>(std::istream& is, ONFOptResNodalDisp& item);
// As the nodal scalar, but a line that does not parse throws QSV_Failure "Cannot parse ONF block
// 740 around line N. ..." with the line's text, the stream standing behind that line.
std::istream& operator>>(std::istream& is, ONFOptResElemScalar& item);

// The title and a flushed line end.
std::ostream& operator<<(std::ostream& os, const ONFOptResTitle& item);
// "id, value" or "id, x, y, z" and "\n".
std::ostream& operator<<(std::ostream& os, const ONFOptResNodalScalar& item);
std::ostream& operator<<(std::ostream& os, const ONFOptResNodalVector& item);
std::ostream& operator<<(std::ostream& os, const ONFOptResNodalDisp& item);
std::ostream& operator<<(std::ostream& os, const ONFOptResElemScalar& item);

// ---------------------------------------------------------------------------------------------
// Non-template helpers of the block templates (defined in onf_datablock.cpp).
namespace onf_detail {
// Throws "System exception <what>" with `id` and `tag`.
[[noreturn]] void ThrowSystemFailure(const char* id, const char* tag, const std::exception& e);
// Throws "Error has occurred while reading an ONF file, data block item <number>" nesting
// `cause`.
[[noreturn]] void ThrowBlockItemFailure(const QSV_Exception& cause, const char* id, const char* tag,
                                        size_t number);
// Writes the three comment lines, the start marker, the block number and the count line.
void WriteBlockHead(std::ostream& os, int blockId, const char* header, size_t count);
// Writes the end marker line.
void WriteBlockEnd(std::ostream& os);

constexpr const char* TAG_DATA_BLOCK = "|%P|BrelonOnfEngine|ONFDataBlock";
constexpr const char* TAG_OPT_DATA_BLOCK = "|%P|BrelonOnfEngine|ONFOptDataBlock";
constexpr const char* TAG_OPT_DATA_BLOCK_ENTRY = "|%P|BrelonOnfEngine|ONFOptDataBlockEntry";
} // namespace onf_detail

// ---------------------------------------------------------------------------------------------
// One entry of a result block: an id, a title line and the items of one result field.
template <class T>
class ONFOptDataBlockEntry {
public:
    ONFOptDataBlockEntry() = default;
    ONFOptDataBlockEntry(int id, const std::string& title) : m_ID(id), m_Title(title) {}

    int GetID() const { return m_ID; }
    void SetID(int id) { m_ID = id; }
    const std::string& GetTitle() const { return m_Title; }
    void SetTitle(const std::string& title) { m_Title = title; }
    // The declared number of items; equal to GetSize() after every change through this class.
    int GetCount() const { return m_Count; }
    int GetSize() const { return static_cast<int>(m_Items.size()); }
    // Range-checked; throw QSV_Failure "System exception ..." ("161515150210", const
    // "161514150210").
    T& GetItem(int index);
    const T& GetItem(int index) const;
    const std::vector<T>& GetItems() const { return m_Items; }
    // Keeps old items, makes new ones default, stores the new count; negative sizes give 0.
    void Resize(int size);
    void PushBackItem(const T& item);
    // Block route: id line, title line, count line, then one LoadFrom per item. Failures of the
    // items pass through; a block that runs out of lines throws.
    void LoadFrom(TextLinesProvider& lines, TextLineSplitter& splitter);

    // Stream route, used by the entry's >>: reads one item and appends it, keeping the count.
    // On a stream that had failed before, an item that reads on quietly has read nothing: it is
    // not kept, and the result is false.
    bool AppendRead(std::istream& is);
    // Sets the count to the items actually held (after a read that stopped early).
    void SyncCount() { m_Count = static_cast<int>(m_Items.size()); }

private:
    int m_ID = 0;
    std::string m_Title;
    int m_Count = 0;
    std::vector<T> m_Items;
};

// A result block: entries in file order.
template <class T>
class ONFOptDataBlock {
public:
    using Entry = ONFOptDataBlockEntry<T>;

    int GetSize() const { return static_cast<int>(m_Entries.size()); }
    // Range-checked; throw QSV_Failure "System exception ..." ("161517150210", const
    // "161516150210").
    Entry& GetEntry(int index);
    const Entry& GetEntry(int index) const;
    const std::vector<Entry>& GetEntries() const { return m_Entries; }
    // Keeps old entries, makes new ones default; negative sizes give 0.
    void Resize(int size) { m_Entries.resize(size > 0 ? static_cast<size_t>(size) : 0); }
    void PushBackEntry(Entry entry) { m_Entries.push_back(std::move(entry)); }
    // Block route: appends `count` entries read from the current block.
    void LoadFrom(TextLinesProvider& lines, long long count, TextLineSplitter& splitter);

    // Stream route, behind the block number line: the number of new entries, then the entries,
    // appended. A failure while reading an entry is nested in "161518150210".
    void ReadFrom(std::istream& is);

private:
    std::vector<Entry> m_Entries;
};

// A block of groups (T is ONFNodeGroup or ONFElementGroup): items in reading order, and a map
// from group id to index giving ascending id order. An id occurs once: the first group wins.
template <class T>
class ONFDataBlock {
public:
    int GetSize() const { return static_cast<int>(m_Items.size()); }
    // Range-checked; throws QSV_Failure "System exception ..." ("161506150210").
    const T& GetItem(int index) const;
    const std::vector<T>& GetItems() const { return m_Items; }
    const std::map<int, int>& GetIndexMap() const { return m_IdToIndex; }
    // Index of the group with this id, or -1.
    int FindIndex(int id) const;
    // Appends the group unless its id is there already; true if appended.
    bool AddItem(T item);
    // Block route: `count` groups of the current block; failures pass through unwrapped.
    void LoadFrom(TextLinesProvider& lines, int count, TextLineSplitter& splitter);

    // Stream route, behind the block number line: the count, its line end, then the groups. A
    // failure while reading a group is nested in "161509150210".
    void ReadFrom(std::istream& is);

private:
    std::vector<T> m_Items;
    std::map<int, int> m_IdToIndex;
};

template <class T>
std::istream& operator>>(std::istream& is, ONFOptDataBlockEntry<T>& entry);
template <class T>
std::ostream& operator<<(std::ostream& os, const ONFOptDataBlockEntry<T>& entry);
template <class T>
std::istream& operator>>(std::istream& is, ONFOptDataBlock<T>& block) {
    block.ReadFrom(is);
    return is;
}
// The whole block: three comment lines, markers, number, entry count and the entries.
template <class T>
std::ostream& operator<<(std::ostream& os, const ONFOptDataBlock<T>& block);
template <class T>
std::istream& operator>>(std::istream& is, ONFDataBlock<T>& block) {
    block.ReadFrom(is);
    return is;
}
// The whole block, groups in ascending id order.
template <class T>
std::ostream& operator<<(std::ostream& os, const ONFDataBlock<T>& block);

// ---------------------------------------------------------------------------------------------
// Template definitions.

template <class T>
T& ONFOptDataBlockEntry<T>::GetItem(int index) {
    try {
        return m_Items.at(static_cast<size_t>(index));
    } catch (const std::out_of_range& e) {
        onf_detail::ThrowSystemFailure("161515150210", onf_detail::TAG_OPT_DATA_BLOCK_ENTRY, e);
    }
}

template <class T>
const T& ONFOptDataBlockEntry<T>::GetItem(int index) const {
    try {
        return m_Items.at(static_cast<size_t>(index));
    } catch (const std::out_of_range& e) {
        onf_detail::ThrowSystemFailure("161514150210", onf_detail::TAG_OPT_DATA_BLOCK_ENTRY, e);
    }
}

template <class T>
void ONFOptDataBlockEntry<T>::Resize(int size) {
    m_Items.resize(size > 0 ? static_cast<size_t>(size) : 0);
    SyncCount();
}

template <class T>
void ONFOptDataBlockEntry<T>::PushBackItem(const T& item) {
    m_Items.push_back(item);
    SyncCount();
}

template <class T>
void ONFOptDataBlockEntry<T>::LoadFrom(TextLinesProvider& lines, TextLineSplitter& splitter) {
    const char* tag = onf_detail::TAG_OPT_DATA_BLOCK_ENTRY;
    m_ID = onf_detail::ParseOnfInt(onf_detail::ExtractBlockLine(lines, tag));
    m_Title = onf_detail::ExtractBlockLine(lines, tag);
    const int count = onf_detail::ParseOnfInt(onf_detail::ExtractBlockLine(lines, tag));
    // Items are appended as they are read, not sized up front from the count line: a count
    // that the block cannot hold fails at the first missing line instead of allocating it.
    m_Items.clear();
    for (int k = 0; k < count; ++k) {
        m_Items.emplace_back();
        m_Items.back().LoadFrom(lines, splitter);
    }
    SyncCount();
}

template <class T>
bool ONFOptDataBlockEntry<T>::AppendRead(std::istream& is) {
    const bool failedBefore = is.fail();
    m_Items.emplace_back();
    try {
        is >> m_Items.back();
    } catch (...) {
        // The item that failed half-way is dropped, so that the entry's count still tells its
        // items: an object written after a failed read must read back as it was written.
        m_Items.pop_back();
        SyncCount();
        throw;
    }
    if (failedBefore) {
        m_Items.pop_back();
    }
    SyncCount();
    return !failedBefore;
}

template <class T>
std::istream& operator>>(std::istream& is, ONFOptDataBlockEntry<T>& entry) {
    int id = 0;
    is >> id >> get_newline;
    entry.SetID(id);
    std::string title;
    onf_getline_dosunix(is, title);
    entry.SetTitle(title);
    int count = 0;
    is >> count >> get_newline;
    entry.Resize(0);
    // Items are appended as they are read rather than sized up front, so that a count far
    // beyond the input allocates nothing. Once the stream has failed, one more item is tried:
    // numeric items throw at their separator then; an item that reads on quietly (a title)
    // reads nothing more, so the entry stops there and its count follows its items.
    for (int k = 0; k < count; ++k) {
        if (!entry.AppendRead(is)) {
            break;
        }
    }
    return is;
}

template <class T>
std::ostream& operator<<(std::ostream& os, const ONFOptDataBlockEntry<T>& entry) {
    os << entry.GetID() << '\n' << entry.GetTitle() << '\n' << entry.GetCount() << '\n';
    for (const T& item : entry.GetItems()) {
        os << item;
    }
    return os;
}

template <class T>
typename ONFOptDataBlock<T>::Entry& ONFOptDataBlock<T>::GetEntry(int index) {
    try {
        return m_Entries.at(static_cast<size_t>(index));
    } catch (const std::out_of_range& e) {
        onf_detail::ThrowSystemFailure("161517150210", onf_detail::TAG_OPT_DATA_BLOCK, e);
    }
}

template <class T>
const typename ONFOptDataBlock<T>::Entry& ONFOptDataBlock<T>::GetEntry(int index) const {
    try {
        return m_Entries.at(static_cast<size_t>(index));
    } catch (const std::out_of_range& e) {
        onf_detail::ThrowSystemFailure("161516150210", onf_detail::TAG_OPT_DATA_BLOCK, e);
    }
}

template <class T>
void ONFOptDataBlock<T>::LoadFrom(TextLinesProvider& lines, long long count,
                                  TextLineSplitter& splitter) {
    // Entries are appended one by one as they load: the reader has checked the count against
    // the block's lines, and an entry that finds no line left fails before anything is added.
    for (long long k = 0; k < count; ++k) {
        Entry entry;
        entry.LoadFrom(lines, splitter);
        m_Entries.push_back(std::move(entry));
    }
}

template <class T>
void ONFOptDataBlock<T>::ReadFrom(std::istream& is) {
    int count = 0;
    is >> count;
    // Appended as read (see the entry's >>): a huge count in a short file stops or fails at
    // the end of the input instead of allocating all the entries first.
    for (int k = 0; k < count; ++k) {
        const bool failedBefore = is.fail();
        m_Entries.emplace_back();
        try {
            is >> m_Entries.back();
        } catch (const QSV_Exception& cause) {
            onf_detail::ThrowBlockItemFailure(cause, "161518150210", onf_detail::TAG_OPT_DATA_BLOCK,
                                              m_Entries.size());
        }
        if (failedBefore) {
            m_Entries.pop_back(); // read nothing
            break;
        }
    }
}

template <class T>
std::ostream& operator<<(std::ostream& os, const ONFOptDataBlock<T>& block) {
    onf_detail::WriteBlockHead(os, T::block_id, T::header, block.GetEntries().size());
    for (const auto& entry : block.GetEntries()) {
        os << entry;
    }
    onf_detail::WriteBlockEnd(os);
    return os;
}

template <class T>
const T& ONFDataBlock<T>::GetItem(int index) const {
    try {
        return m_Items.at(static_cast<size_t>(index));
    } catch (const std::out_of_range& e) {
        onf_detail::ThrowSystemFailure("161506150210", onf_detail::TAG_DATA_BLOCK, e);
    }
}

template <class T>
int ONFDataBlock<T>::FindIndex(int id) const {
    const auto found = m_IdToIndex.find(id);
    return found == m_IdToIndex.end() ? -1 : found->second;
}

template <class T>
bool ONFDataBlock<T>::AddItem(T item) {
    const int index = static_cast<int>(m_Items.size());
    if (!m_IdToIndex.emplace(item.GetID(), index).second) {
        return false;
    }
    m_Items.push_back(std::move(item));
    return true;
}

template <class T>
void ONFDataBlock<T>::LoadFrom(TextLinesProvider& lines, int count, TextLineSplitter& splitter) {
    for (int k = 0; k < count; ++k) {
        T item;
        item.LoadFrom(lines, splitter);
        AddItem(std::move(item));
    }
}

template <class T>
void ONFDataBlock<T>::ReadFrom(std::istream& is) {
    int count = 0;
    is >> count >> get_newline;
    // Reserved only as far as a short file could plausibly hold; the vector grows beyond that
    // as groups are actually read.
    if (count > 0) {
        m_Items.reserve(m_Items.size() + static_cast<size_t>(count < 4096 ? count : 4096));
    }
    for (int k = 0; k < count; ++k) {
        const bool failedBefore = is.fail();
        T item;
        try {
            is >> item;
        } catch (const QSV_Exception& cause) {
            // Numbered by the place the group would take in the vector: groups dropped for a
            // repeated id take none.
            onf_detail::ThrowBlockItemFailure(cause, "161509150210", onf_detail::TAG_DATA_BLOCK,
                                              m_Items.size() + 1);
        }
        if (failedBefore) {
            break; // read nothing
        }
        AddItem(std::move(item));
    }
}

template <class T>
std::ostream& operator<<(std::ostream& os, const ONFDataBlock<T>& block) {
    onf_detail::WriteBlockHead(os, T::block_id, T::header, block.GetItems().size());
    for (const auto& idAndIndex : block.GetIndexMap()) {
        os << block.GetItems()[static_cast<size_t>(idAndIndex.second)];
    }
    onf_detail::WriteBlockEnd(os);
    return os;
}
