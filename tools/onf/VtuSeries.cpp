// A series of grids, one a design iteration, and the collection file that makes them the time
// steps of one data set in a viewer.
#include "OnfToolOutput.h"
#include "VtuWriter.h"

#include "ONFOptResultFile.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <sys/stat.h>
#include <unistd.h>

namespace onf_tool {

namespace {

// The folder of the steps: the collection file's path without its extension, or with
// "_steps" behind it when it has none.
std::string StepFolder(const std::string& pvdPath) {
    const size_t slash = pvdPath.find_last_of('/');
    const size_t dot = pvdPath.find_last_of('.');
    if (dot == std::string::npos || dot == 0 || (slash != std::string::npos && dot <= slash + 1)) {
        return pvdPath + "_steps";
    }
    return pvdPath.substr(0, dot);
}

std::string BaseName(const std::string& path) {
    const size_t slash = path.find_last_of('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

[[noreturn]] void Fail(const std::string& what, const std::string& path) {
    throw std::runtime_error(what + " " + path + ": " + std::strerror(errno));
}

// The files of one series, each written as a new file beside its final place and finished
// when written, and all renamed together at the end; an output that is not committed removes
// its new file, and the folder goes again if this series made it.
class SeriesFiles {
public:
    explicit SeriesFiles(const std::string& folder) : m_Folder(folder) {
        if (::mkdir(folder.c_str(), 0777) == 0) {
            m_MadeFolder = true;
        } else if (errno != EEXIST) {
            Fail("cannot create the folder", folder);
        }
    }
    ~SeriesFiles() {
        if (m_Committed) {
            return;
        }
        m_Files.clear();
        if (m_MadeFolder) {
            ::rmdir(m_Folder.c_str());
        }
    }
    SeriesFiles(const SeriesFiles&) = delete;
    SeriesFiles& operator=(const SeriesFiles&) = delete;

    // The output of `path`; Finish it when it is written.
    OutputFile& Add(const std::string& path) {
        m_Files.push_back(std::make_unique<OutputFile>(path));
        return *m_Files.back();
    }
    // Puts every file in place, the collection file (added last) last.
    void Commit() {
        for (const auto& file : m_Files) {
            file->Replace();
        }
        m_Committed = true;
    }

private:
    std::string m_Folder;
    bool m_MadeFolder = false;
    bool m_Committed = false;
    std::vector<std::unique_ptr<OutputFile>> m_Files;
};

void WriteCollection(OutputFile& output, const std::vector<int>& iterations,
                     const std::vector<std::string>& steps) {
    FILE* out = output.Stream();
    std::fputs("<?xml version=\"1.0\"?>\n"
               "<VTKFile type=\"Collection\" version=\"0.1\" byte_order=\"LittleEndian\">\n"
               "  <Collection>\n",
               out);
    for (size_t i = 0; i < iterations.size(); ++i) {
        std::fprintf(out, "    <DataSet timestep=\"%d\" group=\"\" part=\"0\" file=\"%s\"/>\n",
                     iterations[i], XmlEscaped(steps[i]).c_str());
    }
    std::fputs("  </Collection>\n</VTKFile>\n", out);
    output.Finish();
}

} // namespace

size_t WriteVtuSeries(ModelVtuExport& grid, const ONFOptResultFile& results,
                      const std::string& pvdPath, VtuEncoding encoding) {
    const std::vector<int> iterations = ModelVtuExport::Iterations(results);
    if (iterations.empty()) {
        throw std::runtime_error("the result file holds no design iteration, so " + pvdPath +
                                 " would have no step");
    }
    const std::string folder = StepFolder(pvdPath);
    SeriesFiles files(folder);
    std::vector<std::string> steps;
    const size_t pointArrays = grid.GetGrid().pointData.size();
    const size_t cellArrays = grid.GetGrid().cellData.size();
    for (const int iteration : iterations) {
        const std::string name = "iteration_" + std::to_string(iteration) + ".vtu";
        steps.push_back(BaseName(folder) + "/" + name);
        grid.AddResultsAt(results, iteration);
        const std::string path = folder + "/" + name;
        OutputFile& output = files.Add(path);
        WriteVtu(grid.GetGrid(), output.Stream(), path, encoding);
        output.Finish();
        grid.DropArrays(pointArrays, cellArrays);
    }
    WriteCollection(files.Add(pvdPath), iterations, steps);
    files.Commit();
    return iterations.size();
}

} // namespace onf_tool
