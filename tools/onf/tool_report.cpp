// Output shared by the commands: argument splitting, the routing of the engine's log lines to
// the file being worked on, and progress lines.
#include "OnfTool.h"

#include "QSV_Failure.h"

#include <sys/stat.h>

namespace onf_tool {

namespace {

Verbosity g_Verbosity = VERBOSITY_NORMAL;
FileLogScope* g_InnermostScope = nullptr;

const char* LevelName(int level) {
    switch (level) {
    case QSV_LogMacros::LOG_ERROR:
        return "error";
    case QSV_LogMacros::LOG_WARNING:
        return "warning";
    case QSV_LogMacros::LOG_INFO:
        return "info";
    case QSV_LogMacros::LOG_DETAIL:
        return "detail";
    default:
        return "trace";
    }
}

// The highest level shown: errors only under -q, warnings by default, detail under -v.
bool IsShown(int level) {
    switch (g_Verbosity) {
    case VERBOSITY_QUIET:
        return level <= QSV_LogMacros::LOG_ERROR;
    case VERBOSITY_NORMAL:
        return level <= QSV_LogMacros::LOG_WARNING;
    default:
        return level <= QSV_LogMacros::LOG_DETAIL;
    }
}

} // namespace

Verbosity GetVerbosity() {
    return g_Verbosity;
}

void SetVerbosity(Verbosity verbosity) {
    g_Verbosity = verbosity;
}

void InstallLogSink() {
    QSV_LogMacros::SetLogSink([](QSV_LogMacros::LogMsgType level, const char*, int,
                                 const std::string&, const std::string& message) {
        if (g_InnermostScope != nullptr) {
            g_InnermostScope->Report(level, message);
        } else if (IsShown(level)) {
            std::fprintf(stderr, "onf: %s: %s\n", LevelName(level), message.c_str());
        }
    });
}

std::string SplitArguments(const OnfCommand& command, const std::vector<std::string>& args,
                           std::vector<std::string>& operands, bool& helpShown,
                           OptionHandler option, void* context) {
    helpShown = false;
    bool options = true;
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& arg = args[i];
        if (options && arg == "--") {
            options = false;
        } else if (options && (arg == "-h" || arg == "--help")) {
            std::fputs(command.usage, stdout);
            helpShown = true;
            return std::string();
        } else if (options && arg.size() > 1 && arg[0] == '-') {
            const std::string error =
                option != nullptr ? option(args, i, context) : "unknown option '" + arg + "'";
            if (!error.empty()) {
                return error;
            }
        } else {
            operands.push_back(arg);
        }
    }
    return std::string();
}

FileLogScope::FileLogScope(const std::string& file, FILE* out)
    : m_File(file), m_Out(out), m_Outer(g_InnermostScope) {
    g_InnermostScope = this;
}

FileLogScope::~FileLogScope() {
    g_InnermostScope = m_Outer;
}

void FileLogScope::Report(int level, const std::string& message) {
    if (level <= QSV_LogMacros::LOG_WARNING) {
        // Only errors and warnings are remembered: progress lines may repeat on purpose.
        if (!m_Seen.insert(std::to_string(level) + message).second) {
            return;
        }
        ++(level <= QSV_LogMacros::LOG_ERROR ? m_NumErrors : m_NumWarnings);
    }
    if (IsShown(level)) {
        Print(LevelName(level), message);
    }
}

void FileLogScope::ReportFailure(const std::exception& failure) {
    const auto* qsv = dynamic_cast<const QSV_Exception*>(&failure);
    std::string message = qsv != nullptr ? qsv->GetMessage() : failure.what();
    for (const QSV_Exception* nested = qsv != nullptr ? qsv->GetNested() : nullptr;
         nested != nullptr; nested = nested->GetNested()) {
        message += "\ncaused by: " + nested->GetMessage();
    }
    Report(QSV_LogMacros::LOG_ERROR, message);
}

void FileLogScope::Print(const char* label, const std::string& message) const {
    std::fflush(m_Out == stderr ? stdout : stderr); // keep the two streams in order on a tty
    size_t start = 0;
    bool first = true;
    do {
        const size_t end = message.find('\n', start);
        const std::string line =
            message.substr(start, end == std::string::npos ? std::string::npos : end - start);
        if (first) {
            std::fprintf(m_Out, "%s: %s: %s\n", m_File.c_str(), label, line.c_str());
        } else {
            std::fprintf(m_Out, "%s:   %s\n", m_File.c_str(), line.c_str());
        }
        first = false;
        start = end == std::string::npos ? end : end + 1;
    } while (start != std::string::npos);
}

Progress::Progress(const std::string& file) : m_File(file) {
    struct stat status;
    if (::stat(file.c_str(), &status) == 0) {
        m_Size = static_cast<unsigned long long>(status.st_size);
    }
    m_On = g_Verbosity == VERBOSITY_VERBOSE ||
           (g_Verbosity == VERBOSITY_NORMAL && m_Size >= PROGRESS_MIN_BYTES);
}

void Progress::Say(const std::string& text) const {
    if (m_On) {
        std::fflush(stdout);
        std::fprintf(stderr, "onf: %s: %s\n", m_File.c_str(), text.c_str());
        std::fflush(stderr);
    }
}

} // namespace onf_tool
