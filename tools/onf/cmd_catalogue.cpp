// `onf catalogue [--markdown] [BLOCK...]`: the catalogue of ONF blocks, as the engine reads and
// writes them.
#include "OnfTool.h"
#include "onf_tool_help.h"

#include "QSV_Failure.h"
#include "QSV_OnfCatalogue.h"
#include "catalogue/OnfCatalogueText.h"

#include <cstdio>

namespace onf_tool {

namespace {

int RunCatalogue(const std::vector<std::string>& args);

const OnfCommand kCatalogue = {"catalogue",
                               "list the catalogued ONF blocks with their record items",
                               kCatalogueHelp, RunCatalogue};

const OnfCommandRegistrar kRegistrar(kCatalogue);

int RunCatalogue(const std::vector<std::string>& args) {
    std::vector<std::string> operands;
    FlagOption markdown{"--markdown"};
    int exitCode = EXIT_OK;
    if (!SplitArguments(kCatalogue, args, operands, exitCode, TakeFlagOption, &markdown)) {
        return exitCode;
    }
    if (markdown.set) {
        if (!operands.empty()) {
            return UsageError(kCatalogue, "--markdown prints the whole catalogue");
        }
        std::fputs(onf_detail::CatalogueMarkdown().c_str(), stdout);
        return EXIT_OK;
    }
    std::vector<int> blocks;
    for (const std::string& operand : operands) {
        int number = 0;
        if (!ParseBlockOperand(operand, number)) {
            return UsageError(kCatalogue, "'" + operand + "' is no block number or name");
        }
        blocks.push_back(number);
    }
    if (operands.empty()) {
        blocks.assign(QSV_OnfInfoPool::GetAllOnfIds().begin(),
                      QSV_OnfInfoPool::GetAllOnfIds().end());
    }
    int result = EXIT_OK;
    for (size_t i = 0; i < blocks.size(); ++i) {
        if (!QSV_OnfInfoPool::ExistsOnfBlock(blocks[i])) {
            std::fprintf(stderr, "onf catalogue: block %d is not in the catalogue\n", blocks[i]);
            result = EXIT_NOTICE;
            continue;
        }
        std::string text = i > 0 ? "\n" : "";
        onf_detail::AppendBlockListing(static_cast<QSV_OnfId>(blocks[i]), text);
        std::fputs(text.c_str(), stdout);
    }
    return result;
}

} // namespace

} // namespace onf_tool
