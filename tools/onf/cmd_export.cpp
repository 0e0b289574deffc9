// `onf export MODEL OUT.vtu`: a model as a VTK XML unstructured grid for viewers, with the flags
// of a groups file and the values of an optimisation result file.
#include "OnfTool.h"
#include "VtuWriter.h"

#include "BrelonLineInput.h"
#include "ONFOptResultFile.h"
#include "OnfGroupsFile.h"
#include "OnfModelFile.h"
#include "QSV_Failure.h"

#include <cstdio>
#include <memory>

namespace onf_tool {

namespace {

int RunExport(const std::vector<std::string>& args);

const OnfCommand kExport = {
    "export", "write a model as a VTK unstructured grid (.vtu) for viewers",
    "usage: onf export MODEL OUT.vtu [--groups GROUPS] [--results RESULTS] [--all-results]\n"
    "                  [--ascii]\n"
    "       onf export MODEL --series OUT.pvd --results RESULTS [--groups GROUPS] [--ascii]\n\n"
    "Writes the nodes of MODEL, placed in global coordinates, as points and its elements as\n"
    "cells of a VTK XML unstructured grid, which viewers such as ParaView open. Point data:\n"
    "NodeId. Cell data: ElementId, ElementType (the model's element kind), PropertyId and\n"
    "MaterialId. Dummy elements (kind 40) are not drawn and left out; so is, with a warning, an\n"
    "element of an unused kind, of a wrong node count or with a node the model lacks.\n"
    "Collapsed kinds (30 to 39) become degenerate cells of the kind they collapse from.\n\n"
    "--groups GROUPS   adds one array \"group:<name>\" a group of the groups file: point data\n"
    "                  for node groups, cell data for element groups; 1 marks the members.\n"
    "--results RESULTS adds the values of an optimisation result file: nodal scalars, vectors\n"
    "                  and displacements as point data, element scalars as cell data, named\n"
    "                  by the entry's title. Where an entry has no value a scalar is NaN and\n"
    "                  a vector 0, and an array \"valid:<title>\" flags the values it has.\n"
    "                  An entry's id is its design iteration; only each block's last\n"
    "                  iteration is taken.\n"
    "--all-results     takes every entry instead, its array named \"<title> (<id>)\".\n"
    "--series OUT.pvd  writes one grid for each design iteration of RESULTS instead, into the\n"
    "                  folder OUT (OUT/iteration_<id>.vtu), and the collection file OUT.pvd,\n"
    "                  whose time steps are the iterations: a viewer's time slider walks\n"
    "                  through the optimisation. Every step holds every result field.\n"
    "--ascii           writes the values as text instead of base64, for reading by eye.\n\n"
    "Exit code: 0 when OUT was written, 1 when it was written with warnings, 2 when it was\n"
    "not written.\n",
    RunExport};

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
    if (name != "--groups" && name != "--results" && name != "--series") {
        return "unknown option '" + name + "'";
    }
    if (position + 1 >= args.size()) {
        return "option '" + name + "' needs a file";
    }
    (name == "--groups"   ? options.groups
     : name == "--series" ? options.series
                          : options.results) = args[++position];
    return std::string();
}

std::wstring Wide(const std::string& path) {
    return BrelonStringUtil::utf8_to_wide(path.c_str());
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
    FileLogScope scope(path, stderr);
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
    std::string text = out + ": " + std::to_string(g.GetNumPoints()) + " points, " +
                       std::to_string(g.GetNumCells()) + " cells, " +
                       std::to_string(g.pointData.size()) + " point arrays, " +
                       std::to_string(g.cellData.size()) + " cell arrays";
    if (grid.GetNumDummies() > 0) {
        text += "; " + std::to_string(grid.GetNumDummies()) + " dummy elements left out";
    }
    return text;
}

int Export(const std::string& modelPath, const std::string& out, const ExportOptions& options) {
    std::unique_ptr<OnfModelFile> model(new OnfModelFile(Wide(modelPath), nullptr));
    std::unique_ptr<ModelVtuExport> grid;
    size_t warnings = 0;
    bool ok = InFileScope(modelPath, warnings, [&](FileLogScope& scope) {
        model->Read();
        grid.reset(new ModelVtuExport(*model));
        ReportWarnings(*grid, 0, scope);
    });
    if (ok && !options.groups.empty()) {
        ok = InFileScope(options.groups, warnings, [&](FileLogScope& scope) {
            OnfGroupsFile groups(Wide(options.groups));
            groups.Read();
            const size_t first = grid->GetWarnings().size();
            grid->AddGroups(groups);
            ReportWarnings(*grid, first, scope);
        });
    }
    std::unique_ptr<ONFOptResultFile> results;
    if (ok && !options.results.empty()) {
        ok = InFileScope(options.results, warnings, [&](FileLogScope& scope) {
            results.reset(new ONFOptResultFile(options.results));
            results->Read();
            const size_t first = grid->GetWarnings().size();
            if (options.series.empty()) {
                grid->AddResults(*results, options.allResults);
            }
            ReportWarnings(*grid, first, scope);
        });
    }
    size_t steps = 0;
    if (ok) {
        ok = InFileScope(out, warnings, [&](FileLogScope& scope) {
            if (!options.series.empty()) {
                const size_t first = grid->GetWarnings().size();
                steps = WriteVtuSeries(*grid, *results, out, options.encoding);
                ReportWarnings(*grid, first, scope);
                return;
            }
            try {
                WriteVtu(grid->GetGrid(), out, options.encoding);
            } catch (...) {
                std::remove(out.c_str());
                throw;
            }
        });
    }
    if (!ok) {
        return EXIT_FAILED;
    }
    if (GetVerbosity() != VERBOSITY_QUIET) {
        const VtuGrid& g = grid->GetGrid();
        const std::string series = out + ": " + std::to_string(steps) + " steps of " +
                                   std::to_string(g.GetNumPoints()) + " points and " +
                                   std::to_string(g.GetNumCells()) + " cells";
        std::printf("%s\n", (steps > 0 ? series : Summary(out, *grid)).c_str());
    }
    return warnings > 0 ? EXIT_NOTICE : EXIT_OK;
}

int RunExport(const std::vector<std::string>& args) {
    ExportOptions options;
    std::vector<std::string> files;
    bool helpShown = false;
    const std::string error = SplitArguments(kExport, args, files, helpShown, TakeOption, &options);
    if (!error.empty()) {
        return UsageError(kExport, error);
    }
    if (helpShown) {
        return EXIT_OK;
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
