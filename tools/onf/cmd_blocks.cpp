// `onf blocks [--json] FILE...`: the outer structure of ONF files, one line a block.
#include "OnfTool.h"
#include "OnfToolFiles.h"
#include "onf_tool_help.h"

#include "OnfConstants.h"
#include "QSV_DataDescriptor.h"
#include "QSV_Failure.h"
#include "QSV_OnfCatalogue.h"

#include <cstdio>
#include <string>

namespace onf_tool {

namespace {

using DD = QSV_DataDescriptor;
using BlockInfo = OnfBlockTextReader::BLOCK_INFO;

int RunBlocks(const std::vector<std::string>& args);

const OnfCommand kBlocks = {"blocks", "list the blocks of ONF files", kBlocksHelp, RunBlocks};

const OnfCommandRegistrar kRegistrar(kBlocks);

bool IsNonOnf(const BlockInfo& block) {
    return block.block_id == -1 && !block.descriptor.IsSet(DD::RI_ONF_ID);
}

// The format the block is read in and where it comes from ("file", "catalogue" or empty).
std::string FormatOf(const BlockInfo& block, std::string& from) {
    if (!block.format.empty()) {
        from = "file";
        return block.format;
    }
    if (QSV_OnfInfoPool::ExistsOnfBlock(block.block_id) && !IsNonOnf(block)) {
        from = "catalogue";
        return QSV_OnfInfoPool::GetOnfInfo(static_cast<QSV_OnfId>(block.block_id))
            .GetFormatString();
    }
    from.clear();
    return std::string();
}

std::string Range(size_t first, size_t last) {
    return first == last ? std::to_string(first)
                         : std::to_string(first) + "-" + std::to_string(last);
}

void PrintTable(const ToolFile& file, const std::vector<BlockPlace>& places) {
    TextTable table;
    table.AddRow({"block", "name", "records", "lines", "body", "format", "descriptor"});
    for (size_t i = 0; i < file.GetBlocks().size(); ++i) {
        const BlockInfo& block = file.GetBlocks()[i];
        const std::string name = BlockName(block);
        std::string from;
        std::string format = FormatOf(block, from);
        if (from == "file") {
            format += " (file)";
        }
        std::string lines = "?";
        std::string body = "?";
        if (i < places.size()) {
            const BlockPlace& place = places[i];
            lines = Range(place.start + 1, place.end + 1);
            body = place.bodyStart < place.end ? Range(place.bodyStart + 1, place.end) : "none";
        }
        table.AddRow(
            {IsNonOnf(block) ? std::string(ONF_NON_ONF) : std::to_string(block.block_id),
             IsNonOnf(block) ? std::string(ONF_CUSTOM_BLOCK_NAME)
             : name.empty()  ? std::string("(not in the catalogue)")
                             : name,
             std::to_string(block.num_records), lines, body,
             format.empty() ? std::string("-") : format,
             DescriptorText(block.descriptor).substr(block.descriptor.GetMask() > 2u ? 1 : 0)});
    }
    table.Print(stdout);
}

std::string JsonRange(size_t first, size_t last) {
    return "[" + std::to_string(first) + ", " + std::to_string(last) + "]";
}

void PrintJson(const ToolFile& file, const std::vector<BlockPlace>& places, size_t size) {
    std::string json = "{\"file\": " + JsonString(file.GetPath()) +
                       ", \"kind\": " + JsonString(OnfFileKindName(file.GetKind())) +
                       ", \"size\": " + std::to_string(size) + ", \"blocks\": [";
    for (size_t i = 0; i < file.GetBlocks().size(); ++i) {
        const BlockInfo& block = file.GetBlocks()[i];
        const std::string name = BlockName(block);
        std::string from;
        const std::string format = FormatOf(block, from);
        json += i > 0 ? ", {" : "{";
        json += "\"number\": " + std::to_string(block.block_id);
        json += ", \"name\": " + (name.empty() ? std::string("null") : JsonString(name));
        json += ", \"records\": " + std::to_string(block.num_records);
        if (i < places.size()) {
            const BlockPlace& place = places[i];
            json += ", \"lines\": " + JsonRange(place.start + 1, place.end + 1);
            json += ", \"body\": " + (place.bodyStart < place.end
                                          ? JsonRange(place.bodyStart + 1, place.end)
                                          : std::string("null"));
        }
        json += ", \"format\": " + (format.empty() ? std::string("null") : JsonString(format));
        json += ", \"format_from\": " + (from.empty() ? std::string("null") : JsonString(from));
        json += ", \"descriptor\": " + JsonDescriptor(block.descriptor) + "}";
    }
    std::printf("%s]}\n", json.c_str());
}

void ListFile(ToolFile& file, bool json) {
    const std::vector<BlockPlace>& places = file.GetPlaces();
    if (json) {
        PrintJson(file, places, file.GetTextSize());
        return;
    }
    std::printf("== %s: %s, %s, %s\n", DisplayName(file.GetPath()).c_str(),
                OnfFileKindName(file.GetKind()), Plural(file.GetBlocks().size(), "block").c_str(),
                ReadableSize(file.GetTextSize()).c_str());
    PrintTable(file, places);
}

int RunBlocks(const std::vector<std::string>& args) {
    return RunFileCommand(kBlocks, args, "--json", ListFile);
}

} // namespace

} // namespace onf_tool
