// A series of grids, one a design iteration, and the collection file that makes them the time
// steps of one data set in a viewer.
#include "VtuWriter.h"

#include "ONFOptResultFile.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
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

// The files of one series, written under temporary names and renamed together at the end;
// whatever is not committed is removed again, with the folder if this series made it.
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
        for (const auto& file : m_Files) {
            std::remove(file.first.c_str());
        }
        if (m_MadeFolder) {
            ::rmdir(m_Folder.c_str());
        }
    }
    SeriesFiles(const SeriesFiles&) = delete;
    SeriesFiles& operator=(const SeriesFiles&) = delete;

    // The temporary name to write `path` under.
    std::string Add(const std::string& path) {
        m_Files.emplace_back(path + ".part", path);
        return m_Files.back().first;
    }
    // Renames every file to its final name, the collection file (added last) last.
    void Commit() {
        for (const auto& file : m_Files) {
            if (std::rename(file.first.c_str(), file.second.c_str()) != 0) {
                Fail("cannot write", file.second);
            }
        }
        m_Committed = true;
    }

private:
    std::string m_Folder;
    bool m_MadeFolder = false;
    bool m_Committed = false;
    std::vector<std::pair<std::string, std::string>> m_Files; // temporary and final name
};

void WriteCollection(const std::string& path, const std::string& final,
                     const std::vector<int>& iterations, const std::vector<std::string>& steps) {
    FILE* out = std::fopen(path.c_str(), "wb");
    if (out == nullptr) {
        Fail("cannot open", final);
    }
    std::fputs("<?xml version=\"1.0\"?>\n"
               "<VTKFile type=\"Collection\" version=\"0.1\" byte_order=\"LittleEndian\">\n"
               "  <Collection>\n",
               out);
    for (size_t i = 0; i < iterations.size(); ++i) {
        std::fprintf(out, "    <DataSet timestep=\"%d\" group=\"\" part=\"0\" file=\"%s\"/>\n",
                     iterations[i], XmlEscaped(steps[i]).c_str());
    }
    std::fputs("  </Collection>\n</VTKFile>\n", out);
    const bool failed = std::ferror(out) != 0;
    if (std::fclose(out) != 0 || failed) {
        Fail("cannot write", final);
    }
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
        WriteVtu(grid.GetGrid(), files.Add(folder + "/" + name), encoding);
        grid.DropArrays(pointArrays, cellArrays);
    }
    WriteCollection(files.Add(pvdPath), pvdPath, iterations, steps);
    files.Commit();
    return iterations.size();
}

} // namespace onf_tool
