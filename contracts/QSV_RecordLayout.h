// The layout of a block's records, worked out once from the block's format string: for every
// record item (item 0 the key) its format character, type, bytes and place in the record, whether
// the text must give it, which list it holds and what stands behind it in the format; for the
// record, how its key is given and how many bytes it takes. Whatever reads a format (the blocks'
// layout, the catalogue's sizes, the loader's and the writer's walks over a record's text) reads
// it here, so that a format means the same everywhere.
//
// The format, one character an item or a mark:
//   I i  integer, 4 bytes          R r  real, 8 bytes          F f  real held in 4 bytes
//   S    string handle, 4 bytes    V    three reals, 24 bytes  T    six reals, 48 bytes
//   O    sorted integer list, L integer list, D real list: a 4-byte list reference each
//   b    mark: a written line ends here        |  mark: the format names the record's key
// Upper case is a value that the text must give, lower case one it may leave out. Any other
// character is an item with no type and no bytes, which takes a value when read and writes none.
//
// The key. Without a bar the key is implicit: the record's 4-byte id field, item 0, in front of
// the items of the format. With a bar anywhere in the format, the format's first character that
// is no mark describes the key, which lies at the start of the record over the id field: a key
// of any character is read into that field as a number (or, in an id space of names, as the
// index of its name), and a key character wider than the field ("R|...") widens the key's room to
// its own size, so that item 1 lies behind it and every item lies inside the record.
#pragma once

#include "QSV_OnfCatalogue.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

// Where one item lies in a record: bytes from the start of the record (the 4-byte id field
// counts), its size in bytes, and its type.
struct RecordMapEntry {
    size_t m_Offset;
    size_t m_Size;
    BlockDataType m_Type;
};

// One item of a record layout.
struct QSV_LayoutItem : RecordMapEntry {
    // The list an item holds; none for every other item.
    enum ListKind : uint8_t {
        LIST_KIND_NONE = 0,
        LIST_KIND_ORDERED = 1, // `O`: integers, sorted, without duplicates
        LIST_KIND_INTEGER = 2, // `L`: integers in the given order
        LIST_KIND_REAL = 3,    // `D`: reals
    };

    char m_Char;        // its format character; 'I' for an implicit key
    bool m_Mandatory;   // upper case: the text must give its value
    ListKind m_List;    // the list it holds
    uint8_t m_NumReals; // reals of a vector (3) or a tensor (6), all on one line; else 0
    // What stands behind the item in the format, up to the next item or the format's end:
    bool m_BreakBehind;     // a `b`: a written line ends there
    bool m_MarkBehind;      // a `b` or a bar
    bool m_MandatoryBehind; // the format's very next character is upper case
    // Its place in the format; npos for an implicit key.
    size_t m_Position;
    // Its place in the format without the marks in front of it: the entry of a catalogue row
    // from which a string item takes its id space when it is read. Without a key in the format
    // that is the entry of the item in front of the string; files rely on it.
    size_t m_RowItem;
};

class QSV_RecordLayout {
public:
    // How the record's key is given.
    enum KeyRule {
        KEY_IMPLICIT = 0,  // no bar: the id field in front of the format's items
        KEY_IN_FORMAT = 1, // a bar: the format's first item character is the key
    };

    // The layout of `format`; an empty format gives a record of its implicit key alone.
    explicit QSV_RecordLayout(const std::string& format = std::string());

    const std::string& GetFormat() const { return m_Format; }
    KeyRule GetKeyRule() const { return m_KeyRule; }
    bool HasKeyInFormat() const { return m_KeyRule == KEY_IN_FORMAT; }
    // Items of a record, the key included: never 0.
    size_t GetNumItems() const { return m_Items.size(); }
    // Item `item` (0 the key); `item` must be below GetNumItems().
    const QSV_LayoutItem& operator[](size_t item) const { return m_Items[item]; }
    const std::vector<QSV_LayoutItem>& GetItems() const { return m_Items; }
    // Bytes of a record, its id field included, and the bytes behind the id field.
    size_t GetRecordSize() const { return m_RecordSize; }
    size_t GetRecordDataSize() const { return m_RecordSize - 4; }

    // What one format character stands for, whatever the layout: the bytes its item takes (0 for
    // a mark or an unknown character), its type (0 for those), whether it is a mark, and whether
    // its value is mandatory (upper case).
    static size_t CharSize(char c);
    static BlockDataType CharType(char c);
    static bool IsMark(char c) { return c == 'b' || c == '|'; }
    static bool IsMandatory(char c) { return c >= 'A' && c <= 'Z'; }

private:
    void AddItem(char c, size_t position, size_t marksBefore);
    void NoteMark(char c);

    std::string m_Format;
    KeyRule m_KeyRule = KEY_IMPLICIT;
    std::vector<QSV_LayoutItem> m_Items;
    size_t m_RecordSize = 4;
};
