// Listings of the catalogue for the `onf catalogue` command and for docs/catalogue.md.
#include "catalogue/OnfCatalogueText.h"

#include "catalogue/OnfCatalogueTable.h"

#include "QSV_Failure.h"
#include "QSV_RecordLayout.h"

namespace onf_detail {

namespace {

const char* IdSpaceName(QSV_IdType type) {
    if (type < 0 || type > ID_NONE)
        return "invalid";
    return QSV_ID_TYPE_INFO[type].name;
}

QSV_IdType ItemIdType(const QSV_OnfMetaData& row, size_t item) {
    return item < row.m_NumItems ? row.m_ItemIdTypes[item] : ID_NONE;
}

std::string ItemName(const QSV_OnfMetaData& row, size_t item) {
    if (item == 0)
        return "key";
    return item <= row.m_ItemNames.size() ? row.m_ItemNames[item - 1] : std::string();
}

// A sample value of a format character as a record line holds it.
const char* SampleValue(char c) {
    switch (c) {
    case 'I':
    case 'i':
        return "1";
    case 'R':
    case 'r':
    case 'F':
    case 'f':
        return "0.5";
    case 'S':
        return "NAME";
    case 'V':
        return "0.0, 0.0, 1.0";
    case 'T':
        return "1.0, 2.0, 3.0, 0.0, 0.0, 0.0";
    case 'L':
    case 'O':
        return "1, 2, 3";
    case 'D':
        return "0.5, 1.5";
    default:
        return "";
    }
}

// One record of a block as text, broken into lines where a written record breaks: at `b`,
// around lists and behind every tenth value.
std::string SampleRecord(const QSV_RecordLayout& layout) {
    std::string text;
    size_t onLine = 0;
    auto endLine = [&]() {
        if (onLine > 0)
            text += "\n";
        onLine = 0;
    };
    for (const QSV_LayoutItem& item : layout.GetItems()) {
        if (item.m_Position == std::string::npos && layout.HasKeyInFormat())
            continue; // a bar alone names no key
        const bool list = item.m_List != QSV_LayoutItem::LIST_KIND_NONE;
        if ((onLine > 0 && onLine % 10 == 0) || list)
            endLine();
        text += onLine > 0 ? ", " : "";
        text += SampleValue(item.m_Char);
        onLine += item.m_NumReals > 0 ? item.m_NumReals : 1;
        if (list || item.m_BreakBehind)
            endLine();
    }
    endLine();
    return text;
}

void AppendMarkdownBlock(QSV_OnfId block, std::string& out) {
    const QSV_OnfMetaData& row = QSV_OnfInfoPool::GetOnfInfo(block);
    const std::string chars = ItemCharsOfFormat(row.m_FormatString);
    out += QSV_MESSAGE("## %d %s\n\n%s.\n\n", static_cast<int>(block), row.m_BlockName.c_str(),
                       row.m_Description.c_str());
    out += QSV_MESSAGE("Format `%s`, file kinds: %s.\n\n", row.m_FormatString.c_str(),
                       FileKindsText(row.m_Flags).c_str());
    out += "| Item | Type | Id space | Meaning |\n|---|---|---|---|\n";
    for (size_t item = 0; item < chars.size(); ++item)
        out += QSV_MESSAGE("| %Iu | %s | %s | %s |\n", item, ItemTypeWord(chars[item]),
                           IdSpaceName(ItemIdType(row, item)), ItemName(row, item).c_str());
    out += "\nA record:\n\n```\n" + SampleRecord(QSV_RecordLayout(row.m_FormatString)) + "```\n\n";
}

const char* const kMarkdownIntro =
    "# The ONF block catalogue\n"
    "\n"
    "Every ONF block that the engine knows, as the catalogue table in\n"
    "`services/catalogue/OnfCatalogueTable.cpp` defines it. This page is printed from that table\n"
    "(`onf catalogue --markdown`); the catalogue test fails when the two differ. Blocks 700 to "
    "740\n"
    "belong to the stream-format result file and are not catalogued.\n"
    "\n"
    "## How a block is written\n"
    "\n"
    "A block sits between two marker lines, with its number and its record count in front of\n"
    "the records; comment lines start with \"#\":\n"
    "\n"
    "```\n"
    "#\n"
    "# DATA BLOCK 110: ONF_NODES\n"
    "#\n"
    "   -1\n"
    "   110\n"
    "2\n"
    "1, 0, 0, 0.0, 0.0, 0.0\n"
    "2, 0, 0, 1.0, 0.0, 0.0\n"
    "   -1\n"
    "```\n"
    "\n"
    "A record starts with its key, unless the format starts with `I|` or `S|`, in which case the\n"
    "first character is the key. Values are separated by \", \". `b` ends a line; a list (`L`, "
    "`O`,\n"
    "`D`) always starts on a line of its own. Format characters: `I` integer, `R` real, `F` "
    "float,\n"
    "`S` string, `V` three reals, `T` six reals, `L` integer list in the given order, `O` sorted\n"
    "integer list without duplicates, `D` real list; lower case marks an optional value.\n"
    "\n"
    "A block whose key has no id space is directly indexed: its keys should be small running\n"
    "numbers. Integer items and lists with an id space are given as indices of that space on the\n"
    "abstract face of a block.\n"
    "\n"
    "## Id spaces\n"
    "\n"
    "| Value | Id space | Keys |\n|---|---|---|\n";

} // namespace

std::string ItemCharsOfFormat(const std::string& format) {
    std::string chars;
    const QSV_RecordLayout layout(format);
    for (const QSV_LayoutItem& item : layout.GetItems())
        chars += item.m_Char;
    return chars;
}

const char* ItemTypeWord(char formatChar) {
    switch (formatChar) {
    case 'I':
        return "integer";
    case 'i':
        return "integer, optional";
    case 'R':
        return "real";
    case 'r':
        return "real, optional";
    case 'F':
        return "float";
    case 'f':
        return "float, optional";
    case 'S':
        return "string";
    case 'V':
        return "vector";
    case 'T':
        return "tensor";
    case 'O':
        return "sorted integer list";
    case 'L':
        return "integer list";
    case 'D':
        return "real list";
    default:
        return "untyped";
    }
}

std::string FileKindsText(uint32_t flags) {
    static const struct {
        uint32_t bit;
        const char* name;
    } kKinds[] = {{ONF_FLAG_MODEL, "model"},        {ONF_FLAG_GROUPS, "groups"},
                  {ONF_FLAG_INIT, "init"},          {ONF_FLAG_REQUEST, "result request"},
                  {ONF_FLAG_MODIF, "modification"}, {ONF_FLAG_TEMPORARY, "temporary"},
                  {ONF_FLAG_RESULT, "result"}};
    std::string text;
    for (const auto& kind : kKinds) {
        if ((flags & kind.bit) == 0)
            continue;
        if (!text.empty())
            text += ", ";
        text += kind.name;
    }
    return text.empty() ? "none" : text;
}

void AppendBlockListing(QSV_OnfId block, std::string& out) {
    const QSV_OnfMetaData& row = QSV_OnfInfoPool::GetOnfInfo(block);
    const std::string chars = ItemCharsOfFormat(row.m_FormatString);
    out += QSV_MESSAGE("%d %s  format %s  (%s)\n", static_cast<int>(block), row.m_BlockName.c_str(),
                       row.m_FormatString.c_str(), FileKindsText(row.m_Flags).c_str());
    out += QSV_MESSAGE("    %s\n", row.m_Description.c_str());
    for (size_t item = 0; item < chars.size(); ++item)
        out += QSV_MESSAGE("    %3Iu  %-20s %-20s %s\n", item, ItemTypeWord(chars[item]),
                           IdSpaceName(ItemIdType(row, item)), ItemName(row, item).c_str());
}

std::string CatalogueMarkdown() {
    std::string out = kMarkdownIntro;
    for (int type = 0; type <= ID_NONE; ++type)
        out += QSV_MESSAGE("| %d | %s | %s |\n", type, QSV_ID_TYPE_INFO[type].name,
                           type == ID_NONE ? "none: the key is the record index"
                           : QSV_ID_TYPE_INFO[type].keyKind != 0 ? "names"
                                                                 : "integers");
    out += "\n## Blocks\n\n| Number | Name | Format | Description |\n|---|---|---|---|\n";
    for (QSV_OnfId block : QSV_OnfInfoPool::GetAllOnfIds()) {
        const QSV_OnfMetaData& row = QSV_OnfInfoPool::GetOnfInfo(block);
        out += QSV_MESSAGE("| %d | %s | `%s` | %s |\n", static_cast<int>(block),
                           row.m_BlockName.c_str(), row.m_FormatString.c_str(),
                           row.m_Description.c_str());
    }
    out += "\n";
    for (QSV_OnfId block : QSV_OnfInfoPool::GetAllOnfIds())
        AppendMarkdownBlock(block, out);
    return out;
}

} // namespace onf_detail
