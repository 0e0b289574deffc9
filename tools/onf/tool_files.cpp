// File kinds, block labels and the text of blocks, shared by the commands.
#include "OnfToolFiles.h"

#include "BrelonLineInput.h"
#include "ONFOptResultFile.h"
#include "OnfBlock.h"
#include "OnfConstants.h"
#include "QSV_DataDescriptor.h"
#include "QSV_Failure.h"
#include "QSV_OnfCatalogue.h"

#include <charconv>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <set>

namespace onf_tool {

using DD = QSV_DataDescriptor;
using BlockInfo = OnfBlockTextReader::BLOCK_INFO;

const char* const KIND_RULE_TEXT =
    "File kinds: the kind of a file decides which file object 'onf check' and 'onf info' read\n"
    "it through, and the header that 'onf normalize' writes. Block numbers decide it:\n"
    "  700-740          optimisation result file (besides its groups, 200 and 210)\n"
    "  100-181, 1200    model input file\n"
    "  97               init file\n"
    "  800-890          modification file\n"
    "  900-950          temporary file\n"
    "  400-440, 10030   result request file\n"
    "Blocks of exactly one of these kinds decide the kind; blocks of two or more kinds make a\n"
    "generic ONF file. Other blocks (200, 210, 10032, results, custom blocks) decide nothing:\n"
    "for them a comment line ahead of the first block that holds a kind's header text decides\n"
    "(\"# ONF groups file\", \"# ONF model input file\", \"# ONF init file\", \"# ONF\n"
    "modification file\", \"# ONF optimisation result file\"); failing that, blocks 200 or 210\n"
    "make a groups file, and anything else a generic ONF file.\n";

const char* KindName(FileKind kind) {
    switch (kind) {
    case KIND_MODEL:
        return "model input file";
    case KIND_GROUPS:
        return "groups file";
    case KIND_INIT:
        return "init file";
    case KIND_MODIFICATION:
        return "modification file";
    case KIND_TEMPORARY:
        return "temporary file";
    case KIND_REQUESTS:
        return "result request file";
    case KIND_OPT_RESULT:
        return "optimisation result file";
    default:
        return "ONF file";
    }
}

std::string KindWithArticle(FileKind kind) {
    const std::string name = KindName(kind);
    return (std::string("AEIOUaeiou").find(name[0]) != std::string::npos ? "an " : "a ") + name;
}

const char* KindHeader(FileKind kind) {
    switch (kind) {
    case KIND_MODEL:
        return const_onf_input_file;
    case KIND_GROUPS:
        return const_onf_group_file;
    case KIND_INIT:
        return const_onf_ini_file;
    case KIND_MODIFICATION:
        return const_onf_mod_file;
    case KIND_OPT_RESULT:
        return const_onf_opt_res_file;
    default:
        return nullptr;
    }
}

namespace {

// The kind that a block number decides, KIND_GENERIC for one that decides nothing.
FileKind KindOfBlock(int id) {
    if (id >= 700 && id <= 740) {
        return KIND_OPT_RESULT;
    }
    if ((id >= 100 && id <= 181) || id == 1200) {
        return KIND_MODEL;
    }
    if (id == 97) {
        return KIND_INIT;
    }
    if (id >= 800 && id <= 890) {
        return KIND_MODIFICATION;
    }
    if (id >= 900 && id <= 950) {
        return KIND_TEMPORARY;
    }
    if ((id >= 400 && id <= 440) || id == 10030) {
        return KIND_REQUESTS;
    }
    return KIND_GENERIC;
}

// The title that the result file's own blocks carry.
const char* OptResultBlockName(int id) {
    switch (id) {
    case ONFOptResTitle::block_id:
        return ONFOptResTitle::header;
    case ONFOptResNodalScalar::block_id:
        return ONFOptResNodalScalar::header;
    case ONFOptResNodalVector::block_id:
        return ONFOptResNodalVector::header;
    case ONFOptResNodalDisp::block_id:
        return ONFOptResNodalDisp::header;
    case ONFOptResElemScalar::block_id:
        return ONFOptResElemScalar::header;
    default:
        return "";
    }
}

bool IsBlank(char c) {
    return c == ' ' || (c >= 9 && c <= 13);
}

// The kind named by a header comment ahead of the first block, KIND_GENERIC if none is.
FileKind KindFromHeader(const TextLinesParser& lines) {
    static const FileKind kinds[] = {KIND_MODEL, KIND_GROUPS, KIND_INIT, KIND_MODIFICATION,
                                     KIND_OPT_RESULT};
    for (size_t i = 0; i < lines.GetNumLines(); ++i) {
        const char* text = lines.GetLine(i);
        while (IsBlank(*text)) {
            ++text;
        }
        if (*text == '\0') {
            continue;
        }
        if (*text != '#') {
            break; // the first block starts here
        }
        do {
            ++text;
        } while (IsBlank(*text) || *text == '#');
        size_t length = std::strlen(text);
        while (length > 0 && IsBlank(text[length - 1])) {
            --length;
        }
        for (FileKind kind : kinds) {
            if (std::string(text, length) == KindHeader(kind)) {
                return kind;
            }
        }
    }
    return KIND_GENERIC;
}

} // namespace

FileKind DetectKind(const std::vector<BlockInfo>& blocks, const TextLinesParser& lines) {
    std::set<FileKind> votes;
    bool hasGroups = false;
    for (const BlockInfo& block : blocks) {
        const FileKind kind = KindOfBlock(block.block_id);
        if (kind == KIND_OPT_RESULT) {
            return kind;
        }
        if (kind != KIND_GENERIC) {
            votes.insert(kind);
        }
        hasGroups = hasGroups || block.block_id == 200 || block.block_id == 210;
    }
    if (votes.size() == 1) {
        return *votes.begin();
    }
    if (!votes.empty()) {
        return KIND_GENERIC;
    }
    const FileKind fromHeader = KindFromHeader(lines);
    if (fromHeader != KIND_GENERIC) {
        return fromHeader;
    }
    return hasGroups ? KIND_GROUPS : KIND_GENERIC;
}

namespace {

// The descriptor items other than the block number, as "KEY=value" each.
void DescriptorItems(const QSV_DataDescriptor& descriptor, std::vector<std::string>& items) {
    for (int i = 0; i < DD::NUM_ITEMS; ++i) {
        const auto index = static_cast<DD::ResultIndex>(i);
        if (index == DD::RI_ONF_ID || !descriptor.IsSet(index)) {
            continue;
        }
        const DD::NameAndType& row = DD::RD_NAME_TYPE_ITEMS[i];
        items.push_back(std::string(row.name) + "=" +
                        (row.type == DD::ITEM_TYPE_INTEGER
                             ? std::to_string(descriptor.GetInteger(index))
                             : descriptor.GetString(index)));
    }
}

} // namespace

std::string DescriptorText(const QSV_DataDescriptor& descriptor) {
    std::vector<std::string> items;
    DescriptorItems(descriptor, items);
    std::string text;
    for (const std::string& item : items) {
        text += " " + item;
    }
    return text;
}

std::string BlockName(const BlockInfo& block) {
    if (block.block_id == -1 && !block.descriptor.IsSet(DD::RI_ONF_ID)) {
        return ONF_NON_ONF;
    }
    if (QSV_OnfInfoPool::ExistsOnfBlock(block.block_id)) {
        return QSV_OnfInfoPool::GetOnfInfo(static_cast<QSV_OnfId>(block.block_id)).GetBlockName();
    }
    if (KindOfBlock(block.block_id) == KIND_OPT_RESULT) {
        return OptResultBlockName(block.block_id);
    }
    return std::string();
}

std::string BlockLabel(const BlockInfo& block) {
    const std::string name = BlockName(block);
    std::string label;
    if (name == ONF_NON_ONF) {
        label = name;
    } else {
        label = std::to_string(block.block_id) + " " +
                (name.empty() ? std::string("(not in the catalogue)") : name);
    }
    return label + DescriptorText(block.descriptor);
}

std::string ItemLabel(int block, size_t item) {
    std::string label = "item " + std::to_string(item);
    if (block >= 0 && QSV_OnfInfoPool::ExistsOnfBlock(block)) {
        const auto& names = QSV_OnfInfoPool::GetOnfInfo(static_cast<QSV_OnfId>(block)).m_ItemNames;
        if (item >= 1 && item <= names.size() && !names[item - 1].empty()) {
            label += " (" + names[item - 1] + ")";
        }
    }
    return label;
}

std::string JsonDescriptor(const QSV_DataDescriptor& descriptor) {
    std::string json = "{";
    for (int i = 0; i < DD::NUM_ITEMS; ++i) {
        const auto index = static_cast<DD::ResultIndex>(i);
        if (index == DD::RI_ONF_ID || !descriptor.IsSet(index)) {
            continue;
        }
        const DD::NameAndType& row = DD::RD_NAME_TYPE_ITEMS[i];
        json += (json.size() > 1 ? ", " : "") + JsonString(row.name) + ": " +
                (row.type == DD::ITEM_TYPE_INTEGER ? std::to_string(descriptor.GetInteger(index))
                                                   : JsonString(descriptor.GetString(index)));
    }
    return json + "}";
}

std::string RealText(double value) {
    char text[64];
    const auto result = std::to_chars(text, text + sizeof text, value);
    return std::string(text, result.ptr);
}

std::vector<double> ItemReals(const OnfBlock& block, size_t index, size_t item) {
    DataRecordEntry entry;
    block.GetRecordItem(index, item, entry);
    if (entry.m_Type == BDT_FLOAT) {
        float value = 0;
        std::memcpy(&value, entry.m_Value, sizeof value);
        return {static_cast<double>(value)};
    }
    const size_t count = entry.m_Type == BDT_VECTOR ? 3 : entry.m_Type == BDT_TENSOR ? 6 : 1;
    std::vector<double> values(count);
    std::memcpy(values.data(), entry.m_Value, count * sizeof(double));
    return values;
}

std::string DisplayName(const std::string& path) {
    return path == STANDARD_STREAM_OPERAND ? STANDARD_INPUT_NAME : path;
}

void ToolFile::GetBodyLines(size_t index, std::vector<const char*>& lines) const {
    lines.clear();
    const BlockInfo& info = m_Blocks[index];
    if (info.num_records == 0) {
        return; // the reader does not record where such a body starts
    }
    const TextLinesParser& text = m_Reader->GetLines();
    for (size_t i = 0; i < info.num_lines; ++i) {
        lines.push_back(text.GetLine(info.first_line + i));
    }
}

void ToolFile::GetRawBlockLines(size_t index, std::vector<std::string>& lines) const {
    const BlockInfo& info = m_Blocks[index];
    lines.clear();
    lines.push_back(ONF_BLOCK_MARKER);
    std::vector<std::string> items;
    DescriptorItems(info.descriptor, items);
    if (!items.empty()) {
        lines.push_back(ONF_DESCRIPTOR_MARKER);
        lines.insert(lines.end(), items.begin(), items.end());
        lines.push_back(ONF_DESCRIPTOR_MARKER);
    }
    if (!info.format.empty()) {
        lines.push_back(ONF_FORMAT_MARKER);
        lines.push_back("FORMAT=" + info.format);
        lines.push_back(ONF_FORMAT_MARKER);
    }
    const bool nonOnf = info.block_id == -1 && !info.descriptor.IsSet(DD::RI_ONF_ID);
    lines.push_back(nonOnf ? std::string(ONF_NON_ONF) : "   " + std::to_string(info.block_id));
    lines.push_back(std::to_string(info.num_records));
    std::vector<const char*> body;
    GetBodyLines(index, body);
    lines.insert(lines.end(), body.begin(), body.end());
    lines.push_back(ONF_BLOCK_MARKER);
}

std::string UnloadedText(const BlockInfo& block, ToolFile::BlockState state) {
    std::string text = Plural(static_cast<size_t>(block.num_records), "record") + " declared";
    switch (state) {
    case ToolFile::BLOCK_UNKNOWN:
        return text + ", not loaded (not in the catalogue, and no format)";
    case ToolFile::BLOCK_FAILED:
        return text + ", failed to load";
    case ToolFile::BLOCK_REPLACED:
        return text + ", replaced by a later block with the same descriptor";
    case ToolFile::BLOCK_MERGED:
        return text + ", merged into the first block of its number";
    default:
        return text + ", not loaded";
    }
}

} // namespace onf_tool
