// The record layout of a format string: one walk over the format.
#include "QSV_RecordLayout.h"

#include <algorithm>

namespace {
constexpr size_t kIdFieldBytes = 4;

QSV_LayoutItem::ListKind ListKindOf(char c) {
    switch (c) {
    case 'O':
        return QSV_LayoutItem::LIST_KIND_ORDERED;
    case 'L':
        return QSV_LayoutItem::LIST_KIND_INTEGER;
    case 'D':
        return QSV_LayoutItem::LIST_KIND_REAL;
    default:
        return QSV_LayoutItem::LIST_KIND_NONE;
    }
}

uint8_t NumRealsOf(char c) {
    return c == 'V' ? 3 : c == 'T' ? 6 : 0;
}
} // namespace

size_t QSV_RecordLayout::CharSize(char c) {
    switch (c) {
    case 'I':
    case 'i':
    case 'F':
    case 'f':
    case 'S':
    case 'O':
    case 'L':
    case 'D':
        return 4;
    case 'R':
    case 'r':
        return 8;
    case 'V':
        return 24;
    case 'T':
        return 48;
    default:
        return 0;
    }
}

BlockDataType QSV_RecordLayout::CharType(char c) {
    switch (c) {
    case 'I':
    case 'i':
        return BDT_INTEGER;
    case 'R':
    case 'r':
        return BDT_REAL;
    case 'F':
    case 'f':
        return BDT_FLOAT;
    case 'S':
        return BDT_STRING;
    case 'V':
        return BDT_VECTOR;
    case 'T':
        return BDT_TENSOR;
    case 'O':
        return BDT_ORDERED_LIST;
    case 'L':
        return BDT_INT_LIST;
    case 'D':
        return BDT_DOUBLE_LIST;
    default:
        return static_cast<BlockDataType>(0);
    }
}

QSV_RecordLayout::QSV_RecordLayout(const std::string& format) : m_Format(format) {
    m_KeyRule = format.find('|') != std::string::npos ? KEY_IN_FORMAT : KEY_IMPLICIT;
    if (m_KeyRule == KEY_IMPLICIT) {
        AddItem('I', std::string::npos, 0);
    }
    size_t marks = 0;
    for (size_t pos = 0; pos < format.size(); ++pos) {
        const char c = format[pos];
        if (IsMark(c)) {
            NoteMark(c);
            ++marks;
        } else {
            AddItem(c, pos, marks);
        }
    }
    if (m_Items.empty()) {
        // A bar and nothing else: the key is the id field, as without a bar.
        AddItem('I', std::string::npos, 0);
    }
}

void QSV_RecordLayout::AddItem(char c, size_t position, size_t marksBefore) {
    QSV_LayoutItem item;
    item.m_Offset = m_Items.empty() ? 0 : m_RecordSize;
    item.m_Size = CharSize(c);
    item.m_Type = CharType(c);
    if (m_Items.empty()) {
        // The key lies over the id field, whatever its character: the reader puts every key
        // there as a number. A wider character widens the key's room; an item of another type
        // than a string key is an integer there.
        item.m_Size = std::max(item.m_Size, kIdFieldBytes);
        item.m_Type = c == 'S' ? BDT_STRING : BDT_INTEGER;
    }
    item.m_Char = c;
    item.m_Mandatory = IsMandatory(c);
    item.m_List = ListKindOf(c);
    item.m_NumReals = NumRealsOf(c);
    item.m_BreakBehind = false;
    item.m_MarkBehind = false;
    item.m_MandatoryBehind = false;
    item.m_Position = position;
    item.m_RowItem = position == std::string::npos ? 0 : position - marksBefore;
    if (position != std::string::npos && position + 1 < m_Format.size()) {
        item.m_MandatoryBehind = IsMandatory(m_Format[position + 1]);
    }
    m_RecordSize = item.m_Offset + item.m_Size;
    m_Items.push_back(item);
}

// Marks in front of the first item of a format with a key in it belong to no item: nothing is
// written in front of a record's first value.
void QSV_RecordLayout::NoteMark(char c) {
    if (m_Items.empty()) {
        return;
    }
    QSV_LayoutItem& last = m_Items.back();
    last.m_MarkBehind = true;
    last.m_BreakBehind = last.m_BreakBehind || c == 'b';
}
