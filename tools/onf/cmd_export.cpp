// `onf export MODEL OUT.vtu`: a model as a VTK XML unstructured grid for viewers, with the flags
// of a groups file and the values of an optimisation result file.
#include "OnfTool.h"
#include "OnfToolChecks.h"
#include "OnfToolFiles.h"
#include "OnfToolOutput.h"
#include "VtuWriter.h"
#include "onf_tool_help.h"

#include "ONFOptResultFile.h"
#include "OnfGroupsFile.h"
#include "OnfModelFile.h"
#include "QSV_Failure.h"

#include <cstdio>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <type_traits>

namespace onf_tool {

namespace {

int RunExport(const std::vector<std::string>& args);

const OnfCommand kExport = {"export", "write a model as a VTK unstructured grid (.vtu) for viewers",
                            kExportHelp, RunExport};

const OnfCommandRegistrar kRegistrar(kExport);

struct ExportOptions {
    std::string groups;
    std::string results;
    std::string series;
    bool allResults = false;
    VtuEncoding encoding = VTU_BINARY;
};

std::string TakeOption(const std::vector<std::string>& args, size_t& position, void* context) {
    auto& options = *static_cast<ExportOptions*>(context);
    const std::string& name = args[position];
    if (name == "--all-results") {
        options.allResults = true;
        return std::string();
    }
    if (name == "--ascii") {
        options.encoding = VTU_ASCII;
        return std::string();
    }
    for (const char* option : {"--groups", "--results", "--series"}) {
        std::string& value = option[2] == 'g'   ? options.groups
                             : option[2] == 's' ? options.series
                                                : options.results;
        if (name == option) {
            if (position + 1 >= args.size()) {
                return "option '" + name + "' needs a file";
            }
            value = args[++position];
            return std::string();
        }
        if (name.compare(0, std::strlen(option) + 1, std::string(option) + "=") == 0) {
            value = name.substr(std::strlen(option) + 1);
            return std::string();
        }
    }
    return "unknown option '" + name + "'";
}

// Fails unless `file` is of `kind`; `what` names the input ("export reads").
void RequireKind(const ToolFile& file, OnfFileKind kind, const std::string& what) {
    if (file.GetKind() != kind) {
        throw std::runtime_error(what + " " + KindWithArticle(kind) + ", and this is " +
                                 (file.GetKind() == ONF_FILE_GENERIC && file.GetBlocks().empty()
                                      ? std::string("a file without blocks")
                                      : KindWithArticle(file.GetKind())));
    }
}

// Passes the exporter's warnings from `first` on to `scope`.
void ReportWarnings(const ModelVtuExport& grid, size_t first, FileLogScope& scope) {
    const std::vector<std::string>& warnings = grid.GetWarnings();
    for (size_t i = first; i < warnings.size(); ++i) {
        scope.Report(QSV_LogMacros::LOG_WARNING, warnings[i]);
    }
}

// Runs `step` for the file at `path` inside a scope of its own; false after a failure.
template <class Step>
bool InFileScope(const std::string& path, size_t& warnings, Step step) {
    FileLogScope scope(DisplayName(path), stderr);
    try {
        step(scope);
    } catch (const std::exception& failure) {
        scope.ReportFailure(failure);
    }
    warnings += scope.GetNumWarnings();
    return scope.GetNumErrors() == 0;
}

std::string Summary(const std::string& out, const ModelVtuExport& grid) {
    const VtuGrid& g = grid.GetGrid();
    std::string text = (out == STANDARD_STREAM_OPERAND ? "standard output" : out) + ": " +
                       Plural(g.GetNumPoints(), "point") + ", " + Plural(g.GetNumCells(), "cell") +
                       ", " + Plural(g.pointData.size(), "point array") + ", " +
                       Plural(g.cellData.size(), "cell array");
    if (grid.GetNumDummies() > 0) {
        text += "; " + Plural(grid.GetNumDummies(), "dummy element") + " left out";
    }
    return text;
}

// Reads the model into a grid; false after a failure.
bool ReadModelGrid(const std::string& path, const Progress& progress, size_t& warnings,
                   std::unique_ptr<OnfModelFile>& model, std::unique_ptr<ModelVtuExport>& grid) {
    return InFileScope(path, warnings, [&](FileLogScope& scope) {
        ToolFile file(path, scope, progress);
        RequireKind(file, ONF_FILE_MODEL, "export reads");
        model.reset(new OnfModelFile(file.GetWidePath(), nullptr));
        progress.Say("reading the model");
        if (!ReadModel(file, *model)) {
            return; // reported
        }
        // A node in a system the model lacks cannot be placed; said at its line, not in the
        // words of the coordinate systems' resolution, which would send the user elsewhere.
        std::vector<ModelFinding> unplaced;
        CheckNodeSystems(BlocksOf(*model), unplaced);
        ReportFindings(file, unplaced, scope);
        if (!unplaced.empty()) {
            return;
        }
        file.ReleaseText();
        progress.Say("building the grid");
        grid.reset(new ModelVtuExport(*model));
        ReportWarnings(*grid, 0, scope);
    });
}

// Reads the file of kind `Object` at `path` and adds it to the grid with `add`; false after a
// failure.
template <class Object, class Add>
bool AddInput(const std::string& path, const char* option, size_t& warnings, ModelVtuExport& grid,
              Add add) {
    return InFileScope(path, warnings, [&](FileLogScope& scope) {
        const Progress progress(path);
        ToolFile file(path, scope, progress);
        const bool groups = std::is_same<Object, OnfGroupsFile>::value;
        RequireKind(file, groups ? ONF_FILE_GROUPS : ONF_FILE_OPT_RESULT,
                    std::string(option) + " takes");
        Object object(file.GetWidePath());
        if constexpr (std::is_same<Object, OnfGroupsFile>::value) {
            ReadGroups(file, object);
        } else {
            ReadOptResult(file, object);
        }
        file.ReleaseText();
        const size_t first = grid.GetWarnings().size();
        add(object);
        ReportWarnings(grid, first, scope);
    });
}

// The grid written to `out`, as one file.
void WriteGrid(const ModelVtuExport& grid, const std::string& out, VtuEncoding encoding,
               const Progress& progress, bool& toStandardOutput) {
    OutputFile output(out);
    toStandardOutput = output.IsStandardStream();
    progress.Say("writing " + DisplayName(out) + ", " +
                 Plural(grid.GetGrid().GetNumPoints(), "point") + ", " +
                 Plural(grid.GetGrid().GetNumCells(), "cell"));
    WriteVtu(grid.GetGrid(), output.Stream(), out, encoding);
    output.Commit();
}

int Export(const std::string& modelPath, const std::string& out, const ExportOptions& options) {
    const Progress progress(modelPath);
    std::unique_ptr<OnfModelFile> model;
    std::unique_ptr<ModelVtuExport> grid;
    size_t warnings = 0;
    bool ok = ReadModelGrid(modelPath, progress, warnings, model, grid);
    if (ok && !options.groups.empty()) {
        ok = AddInput<OnfGroupsFile>(options.groups, "--groups", warnings, *grid,
                                     [&](OnfGroupsFile& groups) { grid->AddGroups(groups); });
    }
    std::unique_ptr<ONFOptResultFile> results;
    if (ok && !options.results.empty()) {
        ok = AddInput<ONFOptResultFile>(options.results, "--results", warnings, *grid,
                                        [&](ONFOptResultFile& read) {
                                            results.reset(new ONFOptResultFile(std::move(read)));
                                            if (options.series.empty()) {
                                                grid->AddResults(*results, options.allResults);
                                            }
                                        });
    }
    size_t steps = 0;
    bool toStandardOutput = false;
    if (ok) {
        ok = InFileScope(modelPath, warnings, [&](FileLogScope& scope) {
            if (options.series.empty()) {
                WriteGrid(*grid, out, options.encoding, progress, toStandardOutput);
                return;
            }
            const size_t first = grid->GetWarnings().size();
            progress.Say("writing the steps of " + out);
            steps = WriteVtuSeries(*grid, *results, out, options.encoding);
            ReportWarnings(*grid, first, scope);
        });
    }
    if (!ok) {
        return EXIT_FAILED;
    }
    if (GetVerbosity() != VERBOSITY_QUIET) {
        const VtuGrid& g = grid->GetGrid();
        const std::string series = out + ": " + Plural(steps, "step") + " of " +
                                   Plural(g.GetNumPoints(), "point") + " and " +
                                   Plural(g.GetNumCells(), "cell");
        // The grid itself may be on standard output.
        std::fprintf(toStandardOutput ? stderr : stdout, "%s\n",
                     (steps > 0 ? series : Summary(out, *grid)).c_str());
    }
    return warnings > 0 ? EXIT_NOTICE : EXIT_OK;
}

int RunExport(const std::vector<std::string>& args) {
    ExportOptions options;
    std::vector<std::string> files;
    int exitCode = EXIT_OK;
    if (!SplitArguments(kExport, args, files, exitCode, TakeOption, &options)) {
        return exitCode;
    }
    if (!options.series.empty()) {
        if (files.size() != 1 || options.results.empty() || options.allResults) {
            return UsageError(kExport, "--series takes MODEL alone and --results RESULTS, "
                                       "without --all-results");
        }
        return Export(files[0], options.series, options);
    }
    if (files.size() != 2) {
        return UsageError(kExport, "two files expected, MODEL and OUT.vtu");
    }
    return Export(files[0], files[1], options);
}

} // namespace

} // namespace onf_tool
