// `onf check [--model MODEL] FILE...`: reads each file completely and reports what is wrong with
// it, each finding at its line.
#include "OnfTool.h"
#include "OnfToolChecks.h"
#include "OnfToolFiles.h"
#include "onf_tool_help.h"

#include "OnfBlock.h"
#include "OnfModelFile.h"
#include "QSV_Failure.h"
#include "QSV_OnfCatalogue.h"

#include <algorithm>
#include <cstdio>
#include <map>
#include <memory>
#include <new>
#include <set>
#include <stdexcept>

namespace onf_tool {

namespace {

int RunCheck(const std::vector<std::string>& args);

const OnfCommand kCheck = {"check",
                           "check ONF files: grammar, values, and the references of a model",
                           kCheckHelp, RunCheck};

const OnfCommandRegistrar kRegistrar(kCheck);

struct CheckOptions {
    std::string model;
};

// The loaded block of each block number (the last loaded block of that number).
BlockLookup LoadedBlocks(const ToolFile& file) {
    return [&file](int number) -> const OnfBlock* {
        const OnfBlock* found = nullptr;
        for (size_t i = 0; i < file.GetBlocks().size(); ++i) {
            if (file.GetBlocks()[i].block_id == number && file.GetLoadedBlock(i) != nullptr) {
                found = file.GetLoadedBlock(i);
            }
        }
        return found;
    };
}

void LintFile(ToolFile& file, FileLogScope& scope) {
    const std::vector<BlockPlace>& places = file.GetPlaces();
    for (size_t i = 0; i < file.GetBlocks().size() && i < places.size(); ++i) {
        const OnfBlockTextReader::BLOCK_INFO& block = file.GetBlocks()[i];
        if (file.GetKind() == ONF_FILE_OPT_RESULT &&
            !QSV_OnfInfoPool::ExistsOnfBlock(block.block_id)) {
            continue; // the result file's own blocks are no record blocks
        }
        // Values are judged one by one only in a block whose load counted bad ones.
        LintBlock(file.GetReader().GetLines(), places[i], block, ReadFormat(block),
                  file.GetLocator().HasInvalidValues(i), scope);
    }
}

// True when every block of the file was loaded with all the records it declares (those of
// merged blocks joined to the first of their number), so that the checks across blocks see the
// whole model.
bool AllLoaded(const ToolFile& file) {
    std::map<int, long long> held;
    for (size_t i = 0; i < file.GetBlocks().size(); ++i) {
        const OnfBlockTextReader::BLOCK_INFO& block = file.GetBlocks()[i];
        switch (file.GetBlockState(i)) {
        case ToolFile::BLOCK_FAILED:
            return false;
        case ToolFile::BLOCK_LOADED:
            held[block.block_id] +=
                static_cast<long long>(file.GetLoadedBlock(i)->GetNumRecords()) - block.num_records;
            break;
        case ToolFile::BLOCK_MERGED:
            held[block.block_id] -= block.num_records;
            break;
        default:
            break;
        }
    }
    for (const auto& number : held) {
        if (number.second != 0) {
            return false;
        }
    }
    return true;
}

// The model that --model names, read through its file object; failures are the model's.
std::unique_ptr<OnfModelFile> ReadCheckModel(const std::string& path) {
    FileLogScope scope(DisplayName(path), stdout);
    const Progress progress(path);
    std::unique_ptr<OnfModelFile> model;
    try {
        ToolFile file(path, scope, progress);
        if (file.GetKind() != ONF_FILE_MODEL) {
            throw std::runtime_error("--model takes a model input file, and this is " +
                                     KindWithArticle(file.GetKind()));
        }
        model.reset(new OnfModelFile(file.GetWidePath(), nullptr));
        ReadModel(file, *model);
    } catch (const std::exception& failure) {
        scope.ReportFailure(failure);
    }
    if (scope.GetNumErrors() > 0) {
        throw std::runtime_error("the groups are not checked against " + DisplayName(path) +
                                 ", which does not read");
    }
    return model;
}

void CheckAcross(ToolFile& file, const CheckOptions& options, FileLogScope& scope,
                 const Progress& progress) {
    std::vector<ModelFinding> findings;
    if (file.GetKind() == ONF_FILE_MODEL) {
        progress.Say("checking the references of the model");
        CheckModel(LoadedBlocks(file), findings);
    }
    if (file.GetKind() == ONF_FILE_GROUPS) {
        CheckGroupNames(LoadedBlocks(file), findings);
    }
    if (file.GetKind() == ONF_FILE_GROUPS && !options.model.empty()) {
        progress.Say("checking the groups against " + DisplayName(options.model));
        const std::unique_ptr<OnfModelFile> model = ReadCheckModel(options.model);
        CheckGroupMembers(LoadedBlocks(file), BlocksOf(*model), DisplayName(options.model),
                          findings);
    }
    ReportFindings(file, findings, scope);
}

// Reads the file once: into the file object of its kind where the kind is known, else into a
// database of its own; each failing block is reported at its line and the others still load.
std::unique_ptr<TypedFile> Load(ToolFile& file, const Progress& progress) {
    if (file.GetKind() == ONF_FILE_GENERIC) {
        file.LoadBlocks(true);
        return nullptr;
    }
    progress.Say("reading it as " + KindWithArticle(file.GetKind()));
    return std::make_unique<TypedFile>(file);
}

void PrintVerdict(const std::string& name, const FileLogScope& scope, OnfFileKind kind,
                  size_t numBlocks) {
    if (scope.GetNumErrors() > 0) {
        std::printf("%s: failed (%s, %s)\n", name.c_str(),
                    Plural(scope.GetNumErrors(), "error").c_str(),
                    Plural(scope.GetNumWarnings(), "warning").c_str());
    } else if (GetVerbosity() == VERBOSITY_QUIET) {
        return;
    } else if (scope.GetNumWarnings() > 0) {
        std::printf("%s: %s (%s)\n", name.c_str(),
                    Plural(scope.GetNumWarnings(), "warning").c_str(), OnfFileKindName(kind));
    } else {
        std::printf("%s: ok (%s, %s)\n", name.c_str(), OnfFileKindName(kind),
                    Plural(numBlocks, "block").c_str());
    }
}

// Checks one file; returns its exit code.
int CheckFile(const std::string& path, const CheckOptions& options) {
    FileLogScope scope(DisplayName(path), stdout);
    const Progress progress(path);
    OnfFileKind kind = ONF_FILE_GENERIC;
    size_t numBlocks = 0;
    try {
        ToolFile file(path, scope, progress);
        kind = file.GetKind();
        numBlocks = file.GetBlocks().size();
        if (numBlocks == 0) {
            scope.Report(QSV_LogMacros::LOG_WARNING, "the file holds no blocks");
        }
        const std::unique_ptr<TypedFile> typed = Load(file, progress);
        progress.Say("checking the values");
        LintFile(file, scope);
        if (AllLoaded(file)) {
            CheckAcross(file, options, scope, progress);
        }
    } catch (const std::bad_alloc&) {
        scope.Report(QSV_LogMacros::LOG_ERROR, "out of memory while reading the file");
    } catch (const std::exception& failure) {
        scope.ReportFailure(failure);
    }
    progress.Say("done");
    scope.Flush();
    PrintVerdict(DisplayName(path), scope, kind, numBlocks);
    if (scope.GetNumErrors() > 0) {
        return EXIT_FAILED;
    }
    return scope.GetNumWarnings() > 0 ? EXIT_NOTICE : EXIT_OK;
}

std::string TakeOption(const std::vector<std::string>& args, size_t& position, void* context) {
    auto& options = *static_cast<CheckOptions*>(context);
    const std::string& name = args[position];
    if (name.compare(0, 8, "--model=") == 0) {
        options.model = name.substr(8);
        return std::string();
    }
    if (name != "--model") {
        return "unknown option '" + name + "'";
    }
    if (position + 1 >= args.size()) {
        return "option '--model' needs a file";
    }
    options.model = args[++position];
    return std::string();
}

int RunCheck(const std::vector<std::string>& args) {
    std::vector<std::string> files;
    CheckOptions options;
    int exitCode = EXIT_OK;
    if (!SplitArguments(kCheck, args, files, exitCode, TakeOption, &options)) {
        return exitCode;
    }
    return ForEachFile(kCheck, files,
                       [&options](const std::string& file) { return CheckFile(file, options); });
}

} // namespace

} // namespace onf_tool
