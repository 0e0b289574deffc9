// The words for file kinds, block labels and the text of blocks, shared by the commands.
#include "OnfToolFiles.h"

#include "BrelonLineInput.h"
#include "OnfBlock.h"
#include "OnfConstants.h"
#include "QSV_DataDescriptor.h"
#include "QSV_OnfCatalogue.h"

#include <charconv>
#include <cstring>

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

std::string KindWithArticle(OnfFileKind kind) {
    const std::string name = OnfFileKindName(kind);
    return (std::string("AEIOUaeiou").find(name[0]) != std::string::npos ? "an " : "a ") + name;
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
    return OnfBlockName(block.block_id);
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

const std::vector<std::string>* CatalogueItemNames(int block) {
    if (block < 0 || !QSV_OnfInfoPool::ExistsOnfBlock(block)) {
        return nullptr;
    }
    return &QSV_OnfInfoPool::GetOnfInfo(static_cast<QSV_OnfId>(block)).m_ItemNames;
}

std::string CatalogueItemName(int block, size_t item) {
    const std::vector<std::string>* names = CatalogueItemNames(block);
    return names != nullptr && item >= 1 && item <= names->size() ? (*names)[item - 1]
                                                                  : std::string();
}

std::string ItemLabel(int block, size_t item) {
    const std::string name = CatalogueItemName(block, item);
    return "item " + std::to_string(item) + (name.empty() ? "" : " (" + name + ")");
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
