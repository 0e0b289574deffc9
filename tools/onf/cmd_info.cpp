// `onf info FILE...`: what an ONF file holds, block by block, and for a model or an
// optimisation result file the counts that matter.
#include "OnfTool.h"
#include "OnfToolFiles.h"

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

const OnfCommand kInfo = {
    "info", "summarise ONF files: blocks, records, id ranges, model counts",
    "usage: onf info FILE...\n\n"
    "For each file: its kind (see 'onf help') and, one line a block in file order, the block\n"
    "number and name, the descriptor items, the records held and the range of their ids. A\n"
    "model input file adds the counts of nodes, elements, coordinate systems, materials,\n"
    "properties, loads and constraints. An optimisation result file is read through its own\n"
    "object and shows its entries and groups instead.\n\n"
    "A block that fails to load is reported on standard error and listed as not loaded.\n"
    "Exit code: 0 when every file was read, 2 when one failed.\n",
    RunInfo};

const OnfCommandRegistrar kRegistrar(kInfo);

std::string Count(size_t count, const char* singular, const char* plural) {
    return std::to_string(count) + " " + (count == 1 ? singular : plural);
}

// "12 records, ids 1-12": ids are the record keys; a block keyed by name has no id range.
std::string RecordsText(const OnfBlock& block) {
    std::string text = Count(block.GetNumRecords(), "record", "records");
    if (block.GetNumRecords() == 0) {
        return text;
    }
    if (block.GetRecordMapEntry(0).m_Type == BDT_STRING) {
        return text + ", keyed by name";
    }
    int low = INT_MAX;
    int high = INT_MIN;
    for (QSV_DataBlock::IndexIterator it(block, 0, block.GetMaxIndex()); it.IsValid(); ++it) {
        const int id = block.GetId(*it);
        low = std::min(low, id);
        high = std::max(high, id);
    }
    return text + (low == high ? ", id " + std::to_string(low)
                               : ", ids " + std::to_string(low) + "-" + std::to_string(high));
}

void PrintBlocks(const ToolFile& file, const std::vector<const OnfBlock*>& loaded,
                 const std::vector<ToolFile::BlockState>& states) {
    for (size_t i = 0; i < file.GetBlocks().size(); ++i) {
        const auto& info = file.GetBlocks()[i];
        std::string line = "  " + BlockLabel(info) + ": ";
        if (loaded[i] != nullptr) {
            line += RecordsText(*loaded[i]);
        } else {
            line += UnloadedText(info, states[i]);
        }
        std::printf("%s\n", line.c_str());
    }
}

size_t RecordsOf(const OnfModelFile& model, int number) {
    const auto block = static_cast<QSV_OnfId>(number);
    return model.HasBlock(block) ? model.GetBlock(block).GetNumRecords() : 0;
}

void PrintModelCounts(const OnfModelFile& model) {
    std::printf("model: %s, %s, %s, %s, %s, %s\n",
                Count(model.GetNumNodes(), "node", "nodes").c_str(),
                Count(model.GetNumElement(), "element", "elements").c_str(),
                Count(model.GetNumCoordSystem(), "coordinate system", "coordinate systems").c_str(),
                Count(RecordsOf(model, 120), "material", "materials").c_str(),
                Count(RecordsOf(model, 130), "property", "properties").c_str(),
                Count(RecordsOf(model, 125), "layer", "layers").c_str());
    std::printf(
        "loads: %s, %s, %s, %s, %s, %s, %s\n",
        Count(model.GetNumLoadcase(), "loadcase", "loadcases").c_str(),
        Count(model.GetNumNodalForces(), "nodal force set", "nodal force sets").c_str(),
        Count(model.GetNumPrescribedDisplacements(), "displacement set", "displacement sets")
            .c_str(),
        Count(model.GetNumAccelerations(), "acceleration", "accelerations").c_str(),
        Count(model.GetNumLoadedNodes(), "loaded node set", "loaded node sets").c_str(),
        Count(model.GetNumLoadedElements(), "loaded element set", "loaded element sets").c_str(),
        Count(RecordsOf(model, 177), "convection set", "convection sets").c_str());
    std::printf(
        "constraints: %s, %s, %s, %s\n",
        Count(RecordsOf(model, 152), "single point constraint", "single point constraints").c_str(),
        Count(model.GetNumRBE(), "rigid element", "rigid elements").c_str(),
        Count(RecordsOf(model, 178), "contact surface", "contact surfaces").c_str(),
        Count(RecordsOf(model, 181), "connector", "connectors").c_str());
}

// The loaded block of each block of the file; of blocks with equal descriptors the last, which
// replaced the others when the model read the file.
std::vector<const OnfBlock*> ModelBlocks(const ToolFile& file, const OnfModelFile& model,
                                         std::vector<ToolFile::BlockState>& states) {
    const auto& blocks = file.GetBlocks();
    std::vector<const OnfBlock*> loaded(blocks.size(), nullptr);
    states.assign(blocks.size(), ToolFile::BLOCK_UNKNOWN);
    for (size_t i = blocks.size(); i-- > 0;) {
        const QSV_DataDescriptor& descriptor = blocks[i].descriptor;
        bool later = false;
        for (size_t j = i + 1; j < blocks.size() && !later; ++j) {
            later = !(blocks[j].descriptor < descriptor) && !(descriptor < blocks[j].descriptor);
        }
        if (later) {
            states[i] = ToolFile::BLOCK_REPLACED;
        } else if (model.HasBlock(descriptor)) {
            loaded[i] = dynamic_cast<const OnfBlock*>(&model.GetDataBlock(descriptor));
            states[i] = ToolFile::BLOCK_LOADED;
        }
    }
    return loaded;
}

template <class Block>
void PrintGroups(int number, const char* what, const Block& block) {
    std::string line = "  " + std::to_string(number) + " " + what + ": " +
                       Count(static_cast<size_t>(block.GetSize()), "group", "groups");
    const int shown = std::min(block.GetSize(), 10);
    for (int i = 0; i < shown; ++i) {
        line += std::string(i == 0 ? ": " : ", ") + block.GetItem(i).GetName() + " (" +
                std::to_string(block.GetItem(i).GetSize()) + ")";
    }
    if (shown < block.GetSize()) {
        line += ", ...";
    }
    std::printf("%s\n", line.c_str());
}

void PrintOptResult(const ONFOptResultFile& result) {
    const struct {
        int number;
        const char* what;
        int size;
    } rows[] = {{700, "titles", result.GetSizeDBTitle()},
                {710, "nodal scalar results", result.GetSizeDBNodalScalar()},
                {720, "nodal vector results", result.GetSizeDBNodalVector()},
                {730, "nodal displacements", result.GetSizeDBNodalDisp()},
                {740, "element scalar results", result.GetSizeDBElemScalar()}};
    for (const auto& row : rows) {
        std::printf("  %d %s: %s\n", row.number, row.what,
                    Count(static_cast<size_t>(row.size), "entry", "entries").c_str());
    }
    PrintGroups(200, "node groups", result.GetOptDBNodeGroup());
    PrintGroups(210, "element groups", result.GetOptDBElementGroup());
}

// Summarises one file; false after a failure.
bool InfoFile(const std::string& path) {
    FileLogScope scope(path, stderr);
    const Progress progress(path);
    try {
        ToolFile file(path, scope, progress);
        const FileKind kind = file.GetKind();
        std::fflush(stderr);
        std::printf("== %s: %s, %s\n", path.c_str(), KindName(kind),
                    Count(file.GetBlocks().size(), "block", "blocks").c_str());
        if (kind == KIND_OPT_RESULT) {
            file.ReleaseText();
            ONFOptResultFile result(file.GetWidePath());
            result.Read();
            PrintOptResult(result);
        } else if (kind == KIND_MODEL) {
            file.ReleaseText();
            std::unique_ptr<OnfModelFile> model(new OnfModelFile(file.GetWidePath(), nullptr));
            model->Read();
            std::vector<ToolFile::BlockState> states;
            const std::vector<const OnfBlock*> loaded = ModelBlocks(file, *model, states);
            PrintBlocks(file, loaded, states);
            PrintModelCounts(*model);
        } else {
            file.LoadBlocks(true);
            std::vector<const OnfBlock*> loaded(file.GetBlocks().size());
            std::vector<ToolFile::BlockState> states(loaded.size());
            for (size_t i = 0; i < loaded.size(); ++i) {
                loaded[i] = file.GetLoadedBlock(i);
                states[i] = file.GetBlockState(i);
            }
            PrintBlocks(file, loaded, states);
        }
    } catch (const std::exception& failure) {
        scope.ReportFailure(failure);
    }
    std::fflush(stdout);
    return scope.GetNumErrors() == 0;
}

int RunInfo(const std::vector<std::string>& args) {
    std::vector<std::string> files;
    bool helpShown = false;
    const std::string error = SplitArguments(kInfo, args, files, helpShown);
    if (!error.empty()) {
        return UsageError(kInfo, error);
    }
    if (helpShown) {
        return EXIT_OK;
    }
    if (files.empty()) {
        return UsageError(kInfo, "no file given");
    }
    bool allRead = true;
    for (const std::string& file : files) {
        allRead = InfoFile(file) && allRead;
    }
    return allRead ? EXIT_OK : EXIT_FAILED;
}

} // namespace

} // namespace onf_tool
