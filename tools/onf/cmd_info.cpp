// `onf info [--json] FILE...`: what an ONF file holds, block by block, and for a model or an
// optimisation result file the counts that matter.
#include "OnfTool.h"
#include "OnfToolFiles.h"
#include "onf_tool_help.h"

#include "ONFOptResultFile.h"
#include "OnfBlock.h"
#include "OnfModelFile.h"
#include "QSV_Failure.h"

#include <algorithm>
#include <climits>
#include <cstdio>
#include <memory>

namespace onf_tool {

namespace {

int RunInfo(const std::vector<std::string>& args);

const OnfCommand kInfo = {"info", "summarise ONF files: blocks, records, id ranges, model counts",
                          kInfoHelp, RunInfo};

const OnfCommandRegistrar kRegistrar(kInfo);

// One block as info shows it.
struct BlockSummary {
    const OnfBlock* block = nullptr; // null when not loaded
    ToolFile::BlockState state = ToolFile::BLOCK_UNREAD;
    int low = 0;
    int high = 0;
    bool keyedByName = false;
};

BlockSummary Summarise(const OnfBlock* block, ToolFile::BlockState state) {
    BlockSummary summary;
    summary.block = block;
    summary.state = state;
    if (block == nullptr || block->GetNumRecords() == 0) {
        return summary;
    }
    if (block->GetRecordMapEntry(0).m_Type == BDT_STRING) {
        summary.keyedByName = true;
        return summary;
    }
    summary.low = INT_MAX;
    summary.high = INT_MIN;
    for (QSV_DataBlock::IndexIterator it(*block, 0, block->GetMaxIndex()); it.IsValid(); ++it) {
        const int id = block->GetId(*it);
        summary.low = std::min(summary.low, id);
        summary.high = std::max(summary.high, id);
    }
    return summary;
}

// "12 records, ids 1-12": ids are the record keys; a block keyed by name has no id range.
std::string RecordsText(const BlockSummary& summary) {
    std::string text = Plural(summary.block->GetNumRecords(), "record");
    if (summary.block->GetNumRecords() == 0) {
        return text;
    }
    if (summary.keyedByName) {
        return text + ", keyed by name";
    }
    return text + (summary.low == summary.high ? ", id " + std::to_string(summary.low)
                                               : ", ids " + std::to_string(summary.low) + "-" +
                                                     std::to_string(summary.high));
}

const char* StateWord(ToolFile::BlockState state) {
    switch (state) {
    case ToolFile::BLOCK_LOADED:
        return "loaded";
    case ToolFile::BLOCK_UNKNOWN:
        return "unknown";
    case ToolFile::BLOCK_FAILED:
        return "failed";
    case ToolFile::BLOCK_REPLACED:
        return "replaced";
    case ToolFile::BLOCK_MERGED:
        return "merged";
    default:
        return "unread";
    }
}

// A named count: `key` in JSON, the words in text.
struct CountRow {
    const char* key;
    size_t count;
    const char* singular;
    const char* plural;
};

size_t RecordsOf(const OnfModelFile& model, int number) {
    const auto block = static_cast<QSV_OnfId>(number);
    return model.HasBlock(block) ? model.GetBlock(block).GetNumRecords() : 0;
}

// The counts of a model in three lines: the model, its loads, its constraints.
std::vector<std::vector<CountRow>> ModelCounts(const OnfModelFile& model) {
    return {
        {{"nodes", model.GetNumNodes(), "node", nullptr},
         {"elements", model.GetNumElement(), "element", nullptr},
         {"coordinate_systems", model.GetNumCoordSystem(), "coordinate system", nullptr},
         {"materials", RecordsOf(model, 120), "material", nullptr},
         {"properties", RecordsOf(model, 130), "property", "properties"},
         {"layers", RecordsOf(model, 125), "layer", nullptr}},
        {{"loadcases", model.GetNumLoadcase(), "loadcase", nullptr},
         {"nodal_force_sets", model.GetNumNodalForces(), "nodal force set", nullptr},
         {"displacement_sets", model.GetNumPrescribedDisplacements(), "displacement set", nullptr},
         {"accelerations", model.GetNumAccelerations(), "acceleration", nullptr},
         {"loaded_node_sets", model.GetNumLoadedNodes(), "loaded node set", nullptr},
         {"loaded_element_sets", model.GetNumLoadedElements(), "loaded element set", nullptr},
         {"convection_sets", RecordsOf(model, 177), "convection set", nullptr}},
        {{"single_point_constraints", RecordsOf(model, 152), "single point constraint", nullptr},
         {"rigid_elements", model.GetNumRBE(), "rigid element", nullptr},
         {"contact_surfaces", RecordsOf(model, 178), "contact surface", nullptr},
         {"connectors", RecordsOf(model, 181), "connector", nullptr}},
    };
}

const char* const kCountLineNames[] = {"model", "loads", "constraints"};

// What one file holds, for either form of output.
struct FileSummary {
    std::vector<BlockSummary> blocks;
    std::unique_ptr<OnfModelFile> model;
    std::unique_ptr<ONFOptResultFile> result;
};

void PrintBlocks(const ToolFile& file, const FileSummary& summary) {
    TextTable table;
    for (size_t i = 0; i < file.GetBlocks().size(); ++i) {
        const auto& info = file.GetBlocks()[i];
        const BlockSummary& block = summary.blocks[i];
        table.AddRow({BlockLabel(info) + ":", block.block != nullptr
                                                  ? RecordsText(block)
                                                  : UnloadedText(info, block.state)});
    }
    table.Print(stdout, "  ");
}

void PrintCounts(const std::vector<std::vector<CountRow>>& lines) {
    for (size_t i = 0; i < lines.size(); ++i) {
        std::string text = std::string(kCountLineNames[i]) + ":";
        for (const CountRow& row : lines[i]) {
            text += (&row == &lines[i].front() ? " " : ", ") +
                    Plural(row.count, row.singular, row.plural);
        }
        std::printf("%s\n", text.c_str());
    }
}

// The result file's blocks: number, what, and the count.
struct ResultRow {
    int number;
    const char* what;
    int size;
};

std::vector<ResultRow> ResultRows(const ONFOptResultFile& result) {
    return {{700, "titles", result.GetSizeDBTitle()},
            {710, "nodal scalar results", result.GetSizeDBNodalScalar()},
            {720, "nodal vector results", result.GetSizeDBNodalVector()},
            {730, "nodal displacements", result.GetSizeDBNodalDisp()},
            {740, "element scalar results", result.GetSizeDBElemScalar()}};
}

template <class Block>
std::string GroupsText(int number, const char* what, const Block& block) {
    std::string line = std::to_string(number) + " " + what + ":";
    std::string list = Plural(static_cast<size_t>(block.GetSize()), "group");
    const int shown = std::min(block.GetSize(), 10);
    for (int i = 0; i < shown; ++i) {
        list += std::string(i == 0 ? ": " : ", ") + block.GetItem(i).GetName() + " (" +
                std::to_string(block.GetItem(i).GetSize()) + ")";
    }
    if (shown < block.GetSize()) {
        list += ", ...";
    }
    return line + "\t" + list;
}

void PrintOptResult(const ONFOptResultFile& result) {
    TextTable table;
    for (const ResultRow& row : ResultRows(result)) {
        table.AddRow({std::to_string(row.number) + " " + row.what + ":",
                      Plural(static_cast<size_t>(row.size), "entry", "entries")});
    }
    for (const std::string& text :
         {GroupsText(200, "node groups", result.GetOptDBNodeGroup()),
          GroupsText(210, "element groups", result.GetOptDBElementGroup())}) {
        const size_t tab = text.find('\t');
        table.AddRow({text.substr(0, tab), text.substr(tab + 1)});
    }
    table.Print(stdout, "  ");
}

std::string JsonBlocks(const ToolFile& file, const FileSummary& summary) {
    std::string json = "[";
    for (size_t i = 0; i < file.GetBlocks().size(); ++i) {
        const auto& info = file.GetBlocks()[i];
        const BlockSummary& block = summary.blocks[i];
        const std::string name = BlockName(info);
        json += (i > 0 ? ", " : "") + std::string("{\"number\": ") + std::to_string(info.block_id) +
                ", \"name\": " + (name.empty() ? std::string("null") : JsonString(name)) +
                ", \"descriptor\": " + JsonDescriptor(info.descriptor) + ", \"records\": " +
                std::to_string(block.block != nullptr ? block.block->GetNumRecords()
                                                      : static_cast<size_t>(info.num_records)) +
                ", \"ids\": " +
                (block.block != nullptr && block.block->GetNumRecords() > 0 && !block.keyedByName
                     ? "[" + std::to_string(block.low) + ", " + std::to_string(block.high) + "]"
                     : std::string("null")) +
                ", \"state\": " + JsonString(StateWord(block.state)) + "}";
    }
    return json + "]";
}

template <class Block>
std::string JsonGroups(const Block& block) {
    std::string json = "[";
    for (int i = 0; i < block.GetSize(); ++i) {
        json += (i > 0 ? ", " : "") + std::string("{\"name\": ") +
                JsonString(block.GetItem(i).GetName()) +
                ", \"size\": " + std::to_string(block.GetItem(i).GetSize()) + "}";
    }
    return json + "]";
}

void PrintJson(const ToolFile& file, const FileSummary& summary) {
    std::string json = "{\"file\": " + JsonString(file.GetPath()) +
                       ", \"kind\": " + JsonString(OnfFileKindName(file.GetKind())) +
                       ", \"size\": " + std::to_string(file.GetTextSize());
    if (summary.result) {
        json += ", \"entries\": {";
        for (const ResultRow& row : ResultRows(*summary.result)) {
            json += (row.number > 700 ? ", \"" : "\"") + std::to_string(row.number) +
                    "\": " + std::to_string(row.size);
        }
        json += "}, \"groups\": {\"200\": " + JsonGroups(summary.result->GetOptDBNodeGroup()) +
                ", \"210\": " + JsonGroups(summary.result->GetOptDBElementGroup()) + "}";
    } else {
        json += ", \"blocks\": " + JsonBlocks(file, summary);
    }
    if (summary.model) {
        json += ", \"model\": {";
        bool first = true;
        for (const auto& line : ModelCounts(*summary.model)) {
            for (const CountRow& row : line) {
                json += (first ? "\"" : ", \"") + std::string(row.key) +
                        "\": " + std::to_string(row.count);
                first = false;
            }
        }
        json += "}";
    }
    std::printf("%s}\n", json.c_str());
}

// Loads what info shows of `file`.
void Load(ToolFile& file, FileSummary& summary) {
    const OnfFileKind kind = file.GetKind();
    if (kind == ONF_FILE_OPT_RESULT) {
        summary.result.reset(new ONFOptResultFile(file.GetWidePath()));
        ReadOptResult(file, *summary.result);
        return;
    }
    if (kind == ONF_FILE_MODEL) {
        summary.model.reset(new OnfModelFile(file.GetWidePath(), nullptr));
        ReadModel(file, *summary.model);
    } else {
        file.LoadBlocks(true);
    }
    for (size_t i = 0; i < file.GetBlocks().size(); ++i) {
        summary.blocks.push_back(Summarise(file.GetLoadedBlock(i), file.GetBlockState(i)));
    }
}

void InfoFile(ToolFile& file, bool json) {
    FileSummary summary;
    Load(file, summary);
    if (json) {
        PrintJson(file, summary);
        return;
    }
    std::printf("== %s: %s, %s, %s\n", DisplayName(file.GetPath()).c_str(),
                OnfFileKindName(file.GetKind()), Plural(file.GetBlocks().size(), "block").c_str(),
                ReadableSize(file.GetTextSize()).c_str());
    if (summary.result) {
        PrintOptResult(*summary.result);
    } else {
        PrintBlocks(file, summary);
    }
    if (summary.model) {
        PrintCounts(ModelCounts(*summary.model));
    }
}

int RunInfo(const std::vector<std::string>& args) {
    return RunFileCommand(kInfo, args, "--json", InfoFile);
}

} // namespace

} // namespace onf_tool
