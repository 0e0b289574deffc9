// `onf catalogue [--markdown] [BLOCK...]`: the catalogue of ONF blocks, as the engine reads and
// writes them.
#include "OnfTool.h"

#include "QSV_Failure.h"
#include "QSV_OnfCatalogue.h"
#include "catalogue/OnfCatalogueText.h"

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>

namespace onf_tool {

namespace {

int RunCatalogue(const std::vector<std::string>& args);

const OnfCommand kCatalogue = {
    "catalogue", "list the catalogued ONF blocks with their record items",
    "usage: onf catalogue [--markdown] [BLOCK...]\n\n"
    "Lists ONF blocks of the catalogue: number, name, format, the file kinds that carry the\n"
    "block, and each record item with its number, type and id space. Without BLOCK, every\n"
    "block. A BLOCK that the catalogue does not know is reported and the others are listed.\n\n"
    "Options:\n"
    "  --markdown  print the whole catalogue as Markdown (the text of docs/catalogue.md)\n",
    RunCatalogue};

const OnfCommandRegistrar kRegistrar(kCatalogue);

// A block number argument: an optional sign and decimal digits, within 32 bits.
bool ParseBlockNumber(const std::string& text, int& number) {
    if (text.empty())
        return false;
    errno = 0;
    char* end = nullptr;
    const long value = std::strtol(text.c_str(), &end, 10);
    if (*end != '\0' || errno != 0 || value < INT_MIN || value > INT_MAX)
        return false;
    number = static_cast<int>(value);
    return true;
}

int RunCatalogue(const std::vector<std::string>& args) {
    if (args.size() == 1 && args[0] == "--markdown") {
        std::fputs(onf_detail::CatalogueMarkdown().c_str(), stdout);
        return EXIT_OK;
    }
    std::vector<int> blocks;
    for (const std::string& arg : args) {
        int number = 0;
        if (!ParseBlockNumber(arg, number))
            return UsageError(kCatalogue, "'" + arg + "' is not a block number");
        blocks.push_back(number);
    }
    if (args.empty())
        blocks.assign(QSV_OnfInfoPool::GetAllOnfIds().begin(),
                      QSV_OnfInfoPool::GetAllOnfIds().end());
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
