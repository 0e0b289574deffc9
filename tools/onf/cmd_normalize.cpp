// `onf normalize IN OUT`: reads an ONF file and writes it back in the engine's own form.
#include "OnfTool.h"
#include "OnfToolFiles.h"

#include "ONFOptResultFile.h"
#include "OnfBlockTextWriter.h"
#include "QSV_Failure.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sys/stat.h>
#include <unistd.h>

namespace onf_tool {

namespace {

int RunNormalize(const std::vector<std::string>& args);

const OnfCommand kNormalize = {
    "normalize", "write an ONF file back in canonical form",
    "usage: onf normalize IN OUT\n\n"
    "Reads IN completely and writes it to OUT as the engine writes files: the header lines\n"
    "(\"#\", the version and the header of the file's kind, see 'onf help'), then the blocks\n"
    "in ascending order of block number and descriptor, each with its title comment and its\n"
    "records in ascending id order; reals in the fewest digits that read back to the same\n"
    "value. Comments of IN are not kept. A second normalize of OUT changes no byte. An\n"
    "optimisation result file is written by its own object, with reals to six digits.\n\n"
    "Nothing is lost silently: a file that fails to read, or from which a block would be\n"
    "dropped or replaced (an unknown block without a format, a repeated descriptor), is\n"
    "refused, and OUT is left as it was. OUT is written beside its final place and renamed\n"
    "over it only when complete, so OUT may be IN.\n\n"
    "Exit code: 0 when OUT was written, 2 when it was not.\n",
    RunNormalize};

const OnfCommandRegistrar kRegistrar(kNormalize);

// A file that is deleted on destruction unless Keep() was called: the output being written.
class TemporaryOutput {
public:
    // Creates a new, empty file beside `target`; fails with the system's reason.
    explicit TemporaryOutput(const std::string& target) {
        std::vector<char> name(target.begin(), target.end());
        const char suffix[] = ".onf-tmp-XXXXXX";
        name.insert(name.end(), suffix, suffix + sizeof suffix);
        const int fd = ::mkstemp(name.data());
        if (fd < 0) {
            throw std::runtime_error("cannot create a file beside " + target + ": " +
                                     std::strerror(errno));
        }
        m_Path = name.data();
        // mkstemp makes the file private; the output gets the mode a new file would get, or
        // that of the file it replaces.
        struct stat status;
        mode_t mode = 0;
        if (::stat(target.c_str(), &status) == 0) {
            mode = status.st_mode & 07777;
        } else {
            const mode_t mask = ::umask(0);
            ::umask(mask);
            mode = 0666 & ~mask;
        }
        ::fchmod(fd, mode);
        ::close(fd);
    }
    ~TemporaryOutput() {
        if (!m_Path.empty()) {
            std::remove(m_Path.c_str());
        }
    }
    TemporaryOutput(const TemporaryOutput&) = delete;
    TemporaryOutput& operator=(const TemporaryOutput&) = delete;

    const std::string& GetPath() const { return m_Path; }
    // Renames the file to `target`; fails with the system's reason.
    void MoveTo(const std::string& target) {
        if (std::rename(m_Path.c_str(), target.c_str()) != 0) {
            throw std::runtime_error("cannot rename " + m_Path + " to " + target + ": " +
                                     std::strerror(errno));
        }
        m_Path.clear();
    }

private:
    std::string m_Path;
};

void WriteOptResult(const ToolFile& file, const std::string& path) {
    ONFOptResultFile result(file.GetWidePath());
    result.Read();
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << result;
    out.close();
    if (!out) {
        throw std::runtime_error(std::string("writing ") + path +
                                 " failed: " + std::strerror(errno));
    }
}

void WriteBlocks(ToolFile& file, const std::string& path) {
    BrelonOnfTxtDatabase& database = file.GetDatabase();
    const char* header = KindHeader(file.GetKind());
    database.SetHeader(header != nullptr ? header : "");
    const std::wstring widePath = BrelonStringUtil::utf8_to_wide(path.c_str());
    OnfBlockTextWriter writer(widePath.c_str(), OnfBlockTextWriter::WRITE_NEW);
    database.WriteSet(writer);
    writer.Flush();
}

// Reads `in` and writes `out`; returns the exit code.
int Normalize(const std::string& in, const std::string& out) {
    FileLogScope scope(in, stderr);
    const Progress progress(in);
    try {
        ToolFile file(in, scope, progress);
        if (file.GetKind() != KIND_OPT_RESULT) {
            file.LoadBlocks(true);
        }
        if (scope.GetNumErrors() > 0 || scope.GetNumWarnings() > 0) {
            scope.Report(QSV_LogMacros::LOG_ERROR,
                         "not normalized: the file does not read cleanly, so " + out +
                             " would not hold all of it");
            return EXIT_FAILED;
        }
        TemporaryOutput output(out);
        progress.Say("writing " + out);
        if (file.GetKind() == KIND_OPT_RESULT) {
            file.ReleaseText(); // its object reads the file anew
            WriteOptResult(file, output.GetPath());
        } else {
            WriteBlocks(file, output.GetPath());
        }
        output.MoveTo(out);
    } catch (const std::exception& failure) {
        scope.ReportFailure(failure);
        return EXIT_FAILED;
    }
    progress.Say("done");
    return EXIT_OK;
}

int RunNormalize(const std::vector<std::string>& args) {
    std::vector<std::string> files;
    bool helpShown = false;
    const std::string error = SplitArguments(kNormalize, args, files, helpShown);
    if (!error.empty()) {
        return UsageError(kNormalize, error);
    }
    if (helpShown) {
        return EXIT_OK;
    }
    if (files.size() != 2) {
        return UsageError(kNormalize, "two files expected, IN and OUT");
    }
    return Normalize(files[0], files[1]);
}

} // namespace

} // namespace onf_tool
