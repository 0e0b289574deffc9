// `onf blocks FILE...`: the outer structure of ONF files, one line a block.
#include "OnfTool.h"
#include "OnfToolFiles.h"

#include "BrelonLineInput.h"
#include "OnfBlockTextReader.h"
#include "OnfConstants.h"
#include "QSV_DataDescriptor.h"
#include "QSV_Failure.h"
#include "QSV_OnfCatalogue.h"

#include <cstdio>
#include <string>

namespace onf_tool {

namespace {

using DD = QSV_DataDescriptor;

// Body lines as 1-based line numbers. A block that declares no records has its body start
// unknown to the reader; its lines are only counted.
std::string BodyText(const OnfBlockTextReader::BLOCK_INFO& block) {
    if (block.num_lines == 0) {
        return "lines=none";
    }
    if (block.num_records == 0) {
        return "lines=" + std::to_string(block.num_lines) + "-unread";
    }
    return "lines=" + std::to_string(block.first_line + 1) + "-" +
           std::to_string(block.first_line + block.num_lines);
}

void PrintBlock(const OnfBlockTextReader::BLOCK_INFO& block) {
    std::string line;
    std::string format = block.format;
    if (block.block_id == -1 && !block.descriptor.IsSet(DD::RI_ONF_ID)) {
        line = ONF_NON_ONF;
    } else if (QSV_OnfInfoPool::ExistsOnfBlock(block.block_id)) {
        const QSV_OnfMetaData& info =
            QSV_OnfInfoPool::GetOnfInfo(static_cast<QSV_OnfId>(block.block_id));
        line = std::to_string(block.block_id) + " " + info.GetBlockName();
        if (format.empty()) {
            format = info.GetFormatString() + " (catalogue)";
        }
    } else {
        line = std::to_string(block.block_id) + " (not in the catalogue)";
    }
    line += ": records=" + std::to_string(block.num_records) + " " + BodyText(block);
    if (!format.empty()) {
        line += " format=" + format;
    }
    line += DescriptorText(block.descriptor);
    std::printf("%s\n", line.c_str());
}

// Lists one file; false after printing its failure.
bool ListFile(const std::string& path) {
    try {
        const std::wstring name = BrelonStringUtil::utf8_to_wide(path.c_str());
        OnfBlockTextReader reader(name.c_str(), OnfBlockTextReader::UNKNOWN_BLOCK_KEEP);
        const auto& blocks = reader.GetBlocksInfo();
        std::printf("== %s (%zu block%s)\n", path.c_str(), blocks.size(),
                    blocks.size() == 1 ? "" : "s");
        for (const auto& block : blocks) {
            PrintBlock(block);
        }
        return true;
    } catch (const QSV_Exception& failure) {
        std::fflush(stdout);
        std::fprintf(stderr, "%s\n", failure.GetMessage().c_str());
        return false;
    }
}

int Blocks(const std::vector<std::string>& args);

const OnfCommand blocksCommand = {
    "blocks", "list the blocks of ONF files",
    "usage: onf blocks FILE...\n\n"
    "Lists each block of each file, one a line: the block number (or NON_ONF) and its name,\n"
    "the declared records, the body's line range, the format (from the file, or the\n"
    "catalogue's) and the descriptor items as KEY=value. A file that cannot be read prints its\n"
    "failure on standard error; the others are still listed, and the exit code is 2.\n",
    Blocks};
const OnfCommandRegistrar registrar(blocksCommand);

int Blocks(const std::vector<std::string>& args) {
    std::vector<std::string> files;
    bool options = true;
    for (const std::string& arg : args) {
        if (options && arg == "--") {
            options = false;
        } else if (options && (arg == "-h" || arg == "--help")) {
            std::fputs(blocksCommand.usage, stdout);
            return EXIT_OK;
        } else if (options && arg.size() > 1 && arg[0] == '-') {
            return UsageError(blocksCommand, "unknown option '" + arg + "'");
        } else {
            files.push_back(arg);
        }
    }
    if (files.empty()) {
        return UsageError(blocksCommand, "no file given");
    }
    bool allRead = true;
    for (const std::string& file : files) {
        allRead = ListFile(file) && allRead;
    }
    return allRead ? EXIT_OK : EXIT_FAILED;
}

} // namespace

} // namespace onf_tool
