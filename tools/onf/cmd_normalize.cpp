// `onf normalize IN OUT`: reads an ONF file and writes it back in the engine's own form.
#include "OnfTool.h"
#include "OnfToolFiles.h"
#include "OnfToolOutput.h"
#include "onf_tool_help.h"

#include "ONFOptResultFile.h"
#include "OnfBlockTextWriter.h"
#include "OnfConstants.h"
#include "QSV_Failure.h"
#include "QSV_OnfCatalogue.h"

#include <cstdio>
#include <memory>
#include <ostream>

namespace onf_tool {

namespace {

int RunNormalize(const std::vector<std::string>& args);

const OnfCommand kNormalize = {"normalize", "write an ONF file back in canonical form",
                               kNormalizeHelp, RunNormalize};

const OnfCommandRegistrar kRegistrar(kNormalize);

// A result file is read whole before OUT is touched, so that a file that does not read fails in
// the engine's words, not as a write.
std::unique_ptr<ONFOptResultFile> ReadResultFile(ToolFile& file) {
    auto result = std::make_unique<ONFOptResultFile>(file.GetWidePath());
    ReadOptResult(file, *result);
    file.ReleaseText();
    return result;
}

void WriteOptResult(const ONFOptResultFile& result, OutputFile& output) {
    BrelonOutputFileBuf buffer(output.File());
    std::ostream stream(&buffer);
    stream << result;
    stream.flush();
    if (!stream) {
        output.FailWrite();
    }
}

// Writes the blocks as the kind's file object writes its file. The writer on a stream writes
// no file header, so the header lines are written here, as a new file starts them.
void WriteBlocks(ToolFile& file, FILE* out) {
    BrelonOnfTxtDatabase& database = file.GetDatabase();
    OnfBlockTextWriter writer(out);
    writer.WriteLine(ONF_COMMENT_MARK);
    writer.WriteLine(std::string(ONF_COMMENT_MARK) + " " + const_onf_version);
    const char* header = OnfFileKindHeader(file.GetKind());
    if (header != nullptr) {
        writer.WriteLine(std::string(ONF_COMMENT_MARK) + " " + header);
    }
    database.WriteSet(writer);
    writer.Flush();
}

// Reads `in` and writes `out`; returns the exit code.
int Normalize(const std::string& in, const std::string& out) {
    FileLogScope scope(DisplayName(in), stderr);
    const Progress progress(in);
    try {
        ToolFile file(in, scope, progress);
        std::unique_ptr<ONFOptResultFile> result;
        if (file.GetKind() == ONF_FILE_OPT_RESULT) {
            result = ReadResultFile(file);
        } else {
            file.LoadBlocks(true);
        }
        if (scope.GetNumErrors() > 0 || scope.GetNumWarnings() > 0) {
            scope.Flush(); // the verdict follows what caused it
            scope.Report(QSV_LogMacros::LOG_ERROR,
                         "not normalized: the file does not read cleanly, so " + out +
                             " would not hold all of it");
            return EXIT_FAILED;
        }
        OutputFile output(out);
        progress.Say("writing " + (out == STANDARD_STREAM_OPERAND ? "standard output" : out));
        try {
            if (result) {
                WriteOptResult(*result, output);
            } else {
                WriteBlocks(file, output.Stream());
            }
        } catch (const QSV_Exception&) {
            output.FailWrite(); // the stream's writer does not know the path
        }
        output.Commit();
    } catch (const std::exception& failure) {
        scope.ReportFailure(failure);
        return EXIT_FAILED;
    }
    progress.Say("done");
    return EXIT_OK;
}

int RunNormalize(const std::vector<std::string>& args) {
    std::vector<std::string> files;
    int exitCode = EXIT_OK;
    if (!SplitArguments(kNormalize, args, files, exitCode)) {
        return exitCode;
    }
    if (files.size() != 2) {
        return UsageError(kNormalize, "two files expected, IN and OUT");
    }
    return Normalize(files[0], files[1]);
}

} // namespace

} // namespace onf_tool
