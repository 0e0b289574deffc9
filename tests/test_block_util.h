// Helpers of the block and database tests: ONF text in memory, a block's records as one line of
// text, and a block's written lines.
#pragma once

#include "BrelonOnfTxtDatabase.h"
#include "BrelonTextServices.h"
#include "OnfBlock.h"
#include "OnfBlockTextReader.h"

#include <cstring>
#include <string>
#include <vector>

namespace onf_test {

// Loads ONF text through a reader on a copy of it, named "mem.onf" in messages.
inline void LoadText(
    BrelonOnfTxtDatabase& db, const std::string& text,
    BrelonOnfTxtDatabase::BlockSetLoadAction action = BrelonOnfTxtDatabase::LOAD_REPLACE_BLOCKS) {
    OnfBlockTextReader reader(text.data(), text.size(), L"mem.onf",
                              OnfBlockTextReader::UNKNOWN_BLOCK_WARN);
    db.LoadFrom(reader, action);
}

// The text of a custom block with an explicit format; `body` lines each end in "\n".
inline std::string CustomBlockText(const std::string& format, size_t count,
                                   const std::string& body) {
    return "   -1\n   -3\nFORMAT=" + format + "\n   -3\nNON_ONF\n" + std::to_string(count) + "\n" +
           body + "   -1\n";
}

// The text of a catalogued block.
inline std::string BlockText(int number, size_t count, const std::string& body) {
    return "   -1\n" + std::to_string(number) + "\n" + std::to_string(count) + "\n" + body +
           "   -1\n";
}

inline OnfBlock& FirstBlock(BrelonOnfTxtDatabase& db) {
    return static_cast<OnfBlock&>(*db.GetDataBlocks(QSV_DataDescriptorPattern()).at(0));
}

inline std::string RealText(double value) {
    return BrelonStringUtil::String(value);
}

// One item of a record as text: integers and reals plainly, vectors and tensors with blanks
// between the values, lists in braces.
inline std::string ItemText(const OnfBlock& block, size_t index, size_t item) {
    const auto it = static_cast<OnfBlock::Item>(item);
    DataRecordEntry entry;
    block.GetRecordItem(index, item, entry);
    std::string text;
    switch (block.GetRecordMapEntry(item).m_Type) {
    case BDT_INTEGER:
        return std::to_string(block.GetInt(index, it));
    case BDT_REAL:
        return RealText(block.GetReal(index, it));
    case BDT_FLOAT: {
        float value;
        std::memcpy(&value, entry.m_Value, sizeof value);
        return RealText(value);
    }
    case BDT_STRING:
        return block.GetString(index, it);
    case BDT_VECTOR:
    case BDT_TENSOR: {
        const size_t n = block.GetRecordMapEntry(item).m_Type == BDT_VECTOR ? 3 : 6;
        for (size_t k = 0; k < n; ++k) {
            double value;
            std::memcpy(&value, entry.m_Value + 8 * k, sizeof value);
            text += (k ? " " : "") + RealText(value);
        }
        return text;
    }
    case BDT_ORDERED_LIST:
    case BDT_INT_LIST:
        for (int value : block.GetIntList(index, it)) {
            text += (text.empty() ? "" : " ") + std::to_string(value);
        }
        return "{" + text + "}";
    case BDT_DOUBLE_LIST:
        for (double value : block.GetRealList(index, it)) {
            text += (text.empty() ? "" : " ") + RealText(value);
        }
        return "{" + text + "}";
    default:
        return "?";
    }
}

// Every set record in index order: "id:item1,item2;id:...".
inline std::string Dump(const OnfBlock& block) {
    std::string text;
    for (auto it = block.Begin(); it.IsValid(); ++it) {
        text += (text.empty() ? "" : ";") + std::to_string(block.GetId(*it)) + ":";
        for (size_t item = 1; item < block.GetNumRecordItems(); ++item) {
            text += (item > 1 ? "," : "") + ItemText(block, *it, item);
        }
    }
    return text;
}

inline std::vector<std::string> WrittenLines(const OnfBlock& block) {
    onf_detail::VectorLinesWriter writer;
    block.WriteBlock(writer);
    return writer.GetLines();
}

// The written record lines: what stands between the count line and the end marker.
inline std::vector<std::string> WrittenRecordLines(const OnfBlock& block) {
    const std::vector<std::string> lines = WrittenLines(block);
    size_t number = 0;
    while (lines[number].rfind("   ", 0) != 0 || lines[number] == "   -1" ||
           lines[number] == "   -2" || lines[number] == "   -3") {
        ++number;
    }
    return std::vector<std::string>(lines.begin() + number + 2, lines.end() - 1);
}

} // namespace onf_test
