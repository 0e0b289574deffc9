// Output shared by the commands: argument splitting, words and tables, the routing of the
// engine's log lines to the file being worked on, and progress.
#include "OnfTool.h"

#include "QSV_Failure.h"
#include "QSV_OnfCatalogue.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <strings.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace onf_tool {

namespace {

Verbosity g_Verbosity = VERBOSITY_NORMAL;
FileLogScope* g_InnermostScope = nullptr;
bool g_ProgressLineShown = false;

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

bool IsFinding(int level) {
    return level <= QSV_LogMacros::LOG_WARNING;
}

// The length of the valid UTF-8 sequence at `p` (of `left` bytes), 0 for an invalid one.
size_t Utf8Length(const unsigned char* p, size_t left) {
    if (p[0] < 0x80) {
        return 1;
    }
    size_t length = p[0] >= 0xF0 ? 4 : p[0] >= 0xE0 ? 3 : p[0] >= 0xC2 ? 2 : 0;
    if (length == 0 || length > left || p[0] > 0xF4) {
        return 0;
    }
    for (size_t i = 1; i < length; ++i) {
        if ((p[i] & 0xC0) != 0x80) {
            return 0;
        }
    }
    const bool overlong = (p[0] == 0xE0 && p[1] < 0xA0) || (p[0] == 0xF0 && p[1] < 0x90);
    const bool surrogate = p[0] == 0xED && p[1] >= 0xA0;
    const bool beyond = p[0] == 0xF4 && p[1] >= 0x90;
    return overlong || surrogate || beyond ? 0 : length;
}

size_t TerminalColumns() {
    struct winsize size;
    if (::ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) {
        return size.ws_col;
    }
    return 80;
}

} // namespace

// ---- Arguments --------------------------------------------------------------------------------

int UsageError(const OnfCommand& command, const std::string& message) {
    ClearProgressLine();
    std::fprintf(stderr, "onf %s: %s (see 'onf help %s')\n", command.name, message.c_str(),
                 command.name);
    return EXIT_USAGE;
}

bool SplitArguments(const OnfCommand& command, const std::vector<std::string>& args,
                    std::vector<std::string>& operands, int& exitCode, OptionHandler option,
                    void* context) {
    exitCode = EXIT_OK;
    bool options = true;
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& arg = args[i];
        if (options && arg == "--") {
            options = false;
        } else if (options && (arg == "-h" || arg == "--help")) {
            std::fputs(command.usage, stdout);
            return false;
        } else if (options && arg.size() > 1 && arg[0] == '-') {
            const std::string error =
                option != nullptr ? option(args, i, context) : "unknown option '" + arg + "'";
            if (!error.empty()) {
                exitCode = UsageError(command, error);
                return false;
            }
        } else {
            operands.push_back(arg);
        }
    }
    return true;
}

int ForEachFile(const OnfCommand& command, const std::vector<std::string>& files,
                const std::function<int(const std::string&)>& each) {
    if (files.empty()) {
        return UsageError(command, "no file given");
    }
    int result = EXIT_OK;
    for (const std::string& file : files) {
        result = std::max(result, each(file));
        std::fflush(stdout);
    }
    return result;
}

std::string TakeFlagOption(const std::vector<std::string>& args, size_t& position, void* context) {
    auto& flag = *static_cast<FlagOption*>(context);
    if (args[position] != flag.name) {
        return "unknown option '" + args[position] + "'";
    }
    flag.set = true;
    return std::string();
}

bool ParseBlockOperand(const std::string& text, int& number) {
    if (strcasecmp(text.c_str(), "NON_ONF") == 0) {
        number = -1;
        return true;
    }
    errno = 0;
    char* end = nullptr;
    const long value = std::strtol(text.c_str(), &end, 10);
    if (!text.empty() && *end == '\0' && errno == 0 && value >= INT_MIN && value <= INT_MAX) {
        number = static_cast<int>(value);
        return true;
    }
    for (QSV_OnfId id : QSV_OnfInfoPool::GetAllOnfIds()) {
        const std::string& name = QSV_OnfInfoPool::GetOnfInfo(id).GetBlockName();
        const bool prefixed = name.compare(0, 4, "ONF_") == 0;
        if (strcasecmp(text.c_str(), name.c_str()) == 0 ||
            (prefixed && strcasecmp(text.c_str(), name.c_str() + 4) == 0)) {
            number = id;
            return true;
        }
    }
    return false;
}

// ---- Words, numbers and tables ----------------------------------------------------------------

std::string Plural(size_t count, const char* singular, const char* plural) {
    std::string text = std::to_string(count) + " " + singular;
    if (count != 1) {
        text = plural != nullptr ? std::to_string(count) + " " + plural : text + "s";
    }
    return text;
}

std::string ReadableSize(unsigned long long bytes) {
    if (bytes < 1024) {
        return Plural(static_cast<size_t>(bytes), "byte");
    }
    static const char* const units[] = {"KiB", "MiB", "GiB", "TiB", "PiB"};
    double value = static_cast<double>(bytes) / 1024.0;
    size_t unit = 0;
    while (value >= 1024.0 && unit + 1 < sizeof units / sizeof units[0]) {
        value /= 1024.0;
        ++unit;
    }
    char text[32];
    std::snprintf(text, sizeof text, "%.1f %s", value, units[unit]);
    return text;
}

void TextTable::Print(FILE* out, const std::string& indent) const {
    std::vector<size_t> widths;
    for (const std::vector<std::string>& row : m_Rows) {
        widths.resize(std::max(widths.size(), row.size()), 0);
        for (size_t i = 0; i < row.size(); ++i) {
            widths[i] = std::max(widths[i], row[i].size());
        }
    }
    for (const std::vector<std::string>& row : m_Rows) {
        std::string line = indent;
        for (size_t i = 0; i < row.size(); ++i) {
            line += row[i];
            if (i + 1 < row.size()) {
                line.append(widths[i] - row[i].size() + 2, ' ');
            }
        }
        while (line.size() > indent.size() && line.back() == ' ') {
            line.pop_back();
        }
        std::fprintf(out, "%s\n", line.c_str());
    }
}

std::string JsonString(const std::string& text) {
    std::string json = "\"";
    const auto* bytes = reinterpret_cast<const unsigned char*>(text.data());
    for (size_t i = 0; i < text.size();) {
        const unsigned char c = bytes[i];
        const size_t length = Utf8Length(bytes + i, text.size() - i);
        if (length == 0) {
            json += "\\ufffd";
            ++i;
            continue;
        }
        if (c == '"' || c == '\\') {
            json += '\\';
            json += static_cast<char>(c);
        } else if (c < 0x20) {
            char escape[8];
            std::snprintf(escape, sizeof escape, "\\u%04x", c);
            json += escape;
        } else {
            json.append(text, i, length);
        }
        i += length;
    }
    return json + "\"";
}

// ---- Verbosity and the engine's log lines -----------------------------------------------------

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
            ClearProgressLine();
            std::fprintf(stderr, "onf: %s: %s\n", LevelName(level), message.c_str());
        }
    });
}

// ---- Findings of one file ---------------------------------------------------------------------

FileLogScope::FileLogScope(const std::string& file, FILE* out)
    : m_File(file), m_Out(out), m_Outer(g_InnermostScope) {
    g_InnermostScope = this;
}

FileLogScope::~FileLogScope() {
    Flush();
    g_InnermostScope = m_Outer;
}

void FileLogScope::Report(int level, const std::string& message, size_t line, size_t column,
                          const char* kind) {
    if (line == 0 && m_Locator != nullptr && IsFinding(level)) {
        line = m_Locator->LocateMessage(level, message);
    }
    if (IsFinding(level)) {
        // Only findings are remembered: progress lines may repeat on purpose.
        const std::string key = std::to_string(level) + ":" + std::to_string(line) + ":" +
                                std::to_string(column) + ":" + message;
        if (!m_Seen.insert(key).second) {
            return;
        }
        ++(level <= QSV_LogMacros::LOG_ERROR ? m_NumErrors : m_NumWarnings);
        if (kind != nullptr) {
            std::pair<size_t, int>& seen =
                m_Kinds.emplace(kind, std::make_pair(0, level)).first->second;
            if (++seen.first > LOCATED_FINDINGS_SHOWN) {
                return;
            }
        }
    } else if (line == 0 && !m_Pending.empty()) {
        // Detail lines of the engine follow the finding they detail.
        line = m_Pending.back().line;
        column = m_Pending.back().column;
    }
    if (IsShown(level)) {
        m_Pending.push_back(Finding{level, line, column, message});
    }
}

void FileLogScope::ReportFailure(const std::exception& failure, size_t line) {
    const auto* qsv = dynamic_cast<const QSV_Exception*>(&failure);
    std::string message = qsv != nullptr ? qsv->GetMessage() : failure.what();
    for (const QSV_Exception* nested = qsv != nullptr ? qsv->GetNested() : nullptr;
         nested != nullptr; nested = nested->GetNested()) {
        message += "\ncaused by: " + nested->GetMessage();
    }
    Report(QSV_LogMacros::LOG_ERROR, message, line);
}

void FileLogScope::Flush() {
    std::stable_sort(m_Pending.begin(), m_Pending.end(), [](const Finding& a, const Finding& b) {
        return a.line != b.line ? a.line < b.line : a.column < b.column;
    });
    for (const Finding& finding : m_Pending) {
        Print(finding);
    }
    m_Pending.clear();
    for (auto& kind : m_Kinds) {
        if (kind.second.first > LOCATED_FINDINGS_SHOWN && IsShown(kind.second.second)) {
            Print(Finding{kind.second.second, 0, 0,
                          std::to_string(kind.second.first - LOCATED_FINDINGS_SHOWN) + " more " +
                              kind.first + " not shown"});
        }
        kind.second.first = std::min(kind.second.first, LOCATED_FINDINGS_SHOWN);
    }
    std::fflush(m_Out);
}

void FileLogScope::Print(const Finding& finding) const {
    ClearProgressLine();
    std::fflush(m_Out == stderr ? stdout : stderr); // keep the two streams in order on a tty
    std::string place = m_File + ":";
    if (finding.line > 0) {
        place += std::to_string(finding.line) + ":";
    }
    const std::string column =
        finding.line > 0 && finding.column > 0 ? std::to_string(finding.column) + ":" : "";
    size_t start = 0;
    bool first = true;
    do {
        const size_t end = finding.message.find('\n', start);
        const std::string line = finding.message.substr(
            start, end == std::string::npos ? std::string::npos : end - start);
        if (first) {
            std::fprintf(m_Out, "%s%s %s: %s\n", place.c_str(), column.c_str(),
                         LevelName(finding.level), line.c_str());
        } else {
            std::fprintf(m_Out, "%s   %s\n", place.c_str(), line.c_str());
        }
        first = false;
        start = end == std::string::npos ? end : end + 1;
    } while (start != std::string::npos);
}

// ---- Progress ---------------------------------------------------------------------------------

Progress::Progress(const std::string& file) : m_File(file) {
    struct stat status;
    if (file != STANDARD_STREAM_OPERAND && ::stat(file.c_str(), &status) == 0 &&
        S_ISREG(status.st_mode)) {
        m_Size = static_cast<unsigned long long>(status.st_size);
    }
    m_On = g_Verbosity == VERBOSITY_VERBOSE ||
           (g_Verbosity == VERBOSITY_NORMAL && m_Size >= PROGRESS_MIN_BYTES);
}

Progress::~Progress() {
    ClearProgressLine();
}

void Progress::Say(const std::string& text) const {
    if (!m_On) {
        return;
    }
    std::fflush(stdout);
    std::string line = "onf: " + m_File + ": " + text;
    if (::isatty(STDERR_FILENO) == 1) {
        const size_t columns = TerminalColumns();
        if (line.size() >= columns) {
            line.resize(columns > 4 ? columns - 4 : 0);
            line += "...";
        }
        std::fprintf(stderr, "\r\033[K%s", line.c_str());
        g_ProgressLineShown = true;
    } else {
        std::fprintf(stderr, "%s\n", line.c_str());
    }
    std::fflush(stderr);
}

void ClearProgressLine() {
    if (g_ProgressLineShown) {
        std::fputs("\r\033[K", stderr);
        std::fflush(stderr);
        g_ProgressLineShown = false;
    }
}

} // namespace onf_tool
