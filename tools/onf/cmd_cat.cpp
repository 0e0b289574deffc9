// `onf cat FILE BLOCK...`: prints blocks of an ONF file as ONF text.
#include "OnfTool.h"
#include "OnfToolFiles.h"

#include "OnfBlock.h"
#include "OnfBlockTextWriter.h"
#include "QSV_Failure.h"

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <strings.h>

namespace onf_tool {

namespace {

int RunCat(const std::vector<std::string>& args);

const OnfCommand kCat = {
    "cat", "print blocks of an ONF file as ONF text",
    "usage: onf cat FILE BLOCK...\n\n"
    "Prints every block of FILE with one of the given numbers (NON_ONF, in any case, or -1\n"
    "for custom blocks), in file order, as the engine writes blocks: title comment, markers,\n"
    "descriptor, format of a custom block, number, count and the records in ascending id\n"
    "order. A block that cannot be loaded (an unknown number without a format, the blocks of\n"
    "an optimisation result file) is printed as it stands in the file.\n\n"
    "Exit code: 0 when every BLOCK was found, 1 when one was not, 2 when FILE fails.\n",
    RunCat};

const OnfCommandRegistrar kRegistrar(kCat);

// A BLOCK operand: a decimal block number within 32 bits, or NON_ONF (read as -1).
bool ParseBlock(const std::string& text, int& number) {
    if (strcasecmp(text.c_str(), "NON_ONF") == 0) {
        number = -1;
        return true;
    }
    if (text.empty()) {
        return false;
    }
    errno = 0;
    char* end = nullptr;
    const long value = std::strtol(text.c_str(), &end, 10);
    if (*end != '\0' || errno != 0 || value < INT_MIN || value > INT_MAX) {
        return false;
    }
    number = static_cast<int>(value);
    return true;
}

// Prints the blocks; returns the exit code.
int Cat(const std::string& path, const std::vector<int>& numbers) {
    FileLogScope scope(path, stderr);
    const Progress progress(path);
    int result = EXIT_OK;
    try {
        ToolFile file(path, scope, progress);
        if (file.GetKind() != KIND_OPT_RESULT) {
            file.LoadBlocks(false); // a block that cannot be loaded is printed as it stands
        }
        OnfBlockTextWriter writer(stdout);
        std::vector<std::string> raw;
        for (int number : numbers) {
            bool found = false;
            for (size_t i = 0; i < file.GetBlocks().size(); ++i) {
                if (file.GetBlocks()[i].block_id != number) {
                    continue;
                }
                found = true;
                if (file.GetLoadedBlock(i) != nullptr) {
                    file.GetLoadedBlock(i)->WriteBlock(writer);
                    continue;
                }
                file.GetRawBlockLines(i, raw);
                for (const std::string& line : raw) {
                    writer.WriteLine(line.c_str());
                }
            }
            if (!found) {
                std::fflush(stdout);
                std::fprintf(stderr, "onf cat: %s has no block %d\n", path.c_str(), number);
                result = EXIT_NOTICE;
            }
        }
        writer.Flush();
    } catch (const std::exception& failure) {
        scope.ReportFailure(failure);
    }
    return scope.GetNumErrors() > 0 ? EXIT_FAILED : result;
}

int RunCat(const std::vector<std::string>& args) {
    std::vector<std::string> operands;
    bool helpShown = false;
    const std::string error = SplitArguments(kCat, args, operands, helpShown);
    if (!error.empty()) {
        return UsageError(kCat, error);
    }
    if (helpShown) {
        return EXIT_OK;
    }
    if (operands.size() < 2) {
        return UsageError(kCat, operands.empty() ? "no file given" : "no block given");
    }
    std::vector<int> numbers;
    for (size_t i = 1; i < operands.size(); ++i) {
        int number = 0;
        if (!ParseBlock(operands[i], number)) {
            return UsageError(kCat, "'" + operands[i] + "' is not a block number");
        }
        numbers.push_back(number);
    }
    return Cat(operands[0], numbers);
}

} // namespace

} // namespace onf_tool
