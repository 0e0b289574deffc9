// `onf check FILE...`: reads each file completely and reports what is wrong with it.
#include "OnfTool.h"
#include "OnfToolFiles.h"

#include "QSV_Failure.h"

#include <algorithm>
#include <cstdio>
#include <new>

namespace onf_tool {

namespace {

int RunCheck(const std::vector<std::string>& args);

const OnfCommand kCheck = {
    "check", "read ONF files completely and report failures and warnings",
    "usage: onf check FILE...\n\n"
    "Reads each file completely: every block is scanned and its records loaded, and a file of\n"
    "a known kind (see 'onf help') is then read through the file object of its kind as well,\n"
    "so that its own checks run (the coordinate systems of a model, the request map of a\n"
    "result request file, ...). A block that fails to load is reported and the next one is\n"
    "loaded all the same; a file whose blocks failed is not read a second time.\n\n"
    "On standard output, every failure, error and warning as \"FILE: error: ...\" or\n"
    "\"FILE: warning: ...\" (further lines of a message as \"FILE:   ...\"), then one line a "
    "file:\n"
    "\"FILE: ok (KIND, N blocks)\", \"FILE: N warnings (KIND)\" or \"FILE: failed\". Under -q\n"
    "only errors and failed files are printed.\n\n"
    "Exit code: 0 when every file is clean, 1 when a file has warnings but none fails, 2 when\n"
    "a file fails.\n",
    RunCheck};

const OnfCommandRegistrar kRegistrar(kCheck);

std::string Plural(size_t count, const char* word) {
    return std::to_string(count) + " " + word + (count == 1 ? "" : "s");
}

// Checks one file; returns its exit code.
int CheckFile(const std::string& path) {
    FileLogScope scope(path, stdout);
    const Progress progress(path);
    FileKind kind = KIND_GENERIC;
    size_t numBlocks = 0;
    try {
        ToolFile file(path, scope, progress);
        kind = file.GetKind();
        numBlocks = file.GetBlocks().size();
        const bool typed = kind != KIND_GENERIC;
        if (kind != KIND_OPT_RESULT) {
            // The result file's own blocks are no catalogued blocks: only its object reads them.
            // A block the file object drops is warned about here already, in its words, so
            // that a file whose blocks fail still shows it; the scope drops the repetition.
            file.LoadBlocks(true);
        }
        file.ReleaseText();
        if (typed && scope.GetNumErrors() == 0) {
            progress.Say(std::string("reading it as a ") + KindName(kind));
            ReadTyped(kind, file.GetWidePath());
        }
    } catch (const std::bad_alloc&) {
        scope.Report(QSV_LogMacros::LOG_ERROR, "out of memory while reading the file");
    } catch (const std::exception& failure) {
        scope.ReportFailure(failure);
    }
    progress.Say("done");
    if (scope.GetNumErrors() > 0) {
        std::printf("%s: failed (%s, %s)\n", path.c_str(),
                    Plural(scope.GetNumErrors(), "error").c_str(),
                    Plural(scope.GetNumWarnings(), "warning").c_str());
        return EXIT_FAILED;
    }
    if (GetVerbosity() != VERBOSITY_QUIET) {
        if (scope.GetNumWarnings() > 0) {
            std::printf("%s: %s (%s)\n", path.c_str(),
                        Plural(scope.GetNumWarnings(), "warning").c_str(), KindName(kind));
        } else {
            std::printf("%s: ok (%s, %s)\n", path.c_str(), KindName(kind),
                        Plural(numBlocks, "block").c_str());
        }
    }
    return scope.GetNumWarnings() > 0 ? EXIT_NOTICE : EXIT_OK;
}

int RunCheck(const std::vector<std::string>& args) {
    std::vector<std::string> files;
    bool helpShown = false;
    const std::string error = SplitArguments(kCheck, args, files, helpShown);
    if (!error.empty()) {
        return UsageError(kCheck, error);
    }
    if (helpShown) {
        return EXIT_OK;
    }
    if (files.empty()) {
        return UsageError(kCheck, "no file given");
    }
    int result = EXIT_OK;
    for (const std::string& file : files) {
        result = std::max(result, CheckFile(file));
        std::fflush(stdout);
    }
    return result;
}

} // namespace

} // namespace onf_tool
