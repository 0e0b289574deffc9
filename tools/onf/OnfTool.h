// The `onf` command: a table of sub-commands, each in a source file of its own that registers
// itself with a static OnfCommandRegistrar. Adding a command is adding a file
// tools/onf/cmd_<name>.cpp; the build picks it up.
#pragma once

#include <cstddef>
#include <cstdio>
#include <exception>
#include <set>
#include <string>
#include <vector>

namespace onf_tool {

// Exit codes of every command. A usage error and a failure share 2, as diff tools do, so that
// "0 or 1" always means that the command did its work.
enum ExitCode {
    EXIT_OK = 0,
    EXIT_NOTICE = 1, // done, with something to tell: warnings (check), differences (diff),
                     // a named block absent (cat, catalogue)
    EXIT_FAILED = 2, // some input could not be processed; the others were
    EXIT_USAGE = 2,  // a bad argument; nothing was processed
};

struct OnfCommand {
    const char* name;
    const char* summary; // one line for the command list
    const char* usage;   // full help text, starting with the synopsis line
    // Runs with the arguments behind the command name; returns an ExitCode.
    int (*run)(const std::vector<std::string>& args);
};

// Adds `command` to the table at static initialisation.
class OnfCommandRegistrar {
public:
    explicit OnfCommandRegistrar(const OnfCommand& command);
};

// Every registered command, sorted by name.
std::vector<OnfCommand> AllCommands();

// Prints "onf <name>: <message>" and the command's usage on standard error; returns EXIT_USAGE.
int UsageError(const OnfCommand& command, const std::string& message);

// Splits a command's arguments into operands and options. "--" ends the options; "-h" and
// "--help" print the usage and set `helpShown`. Every other argument of two or more characters
// that starts with "-" is an option, handed to `option` with the argument list and the
// position (which it may advance to take a value); `option` returns an empty string when it
// took the option, else the text of a usage error. Returns an empty string on success.
using OptionHandler = std::string (*)(const std::vector<std::string>& args, size_t& position,
                                      void* context);
std::string SplitArguments(const OnfCommand& command, const std::vector<std::string>& args,
                           std::vector<std::string>& operands, bool& helpShown,
                           OptionHandler option = nullptr, void* context = nullptr);

// ---- Output ----------------------------------------------------------------------------------

// Verbosity from the global options: -q shows only errors and failures, -v adds progress and
// the engine's progress and detail lines.
enum Verbosity { VERBOSITY_QUIET = 0, VERBOSITY_NORMAL = 1, VERBOSITY_VERBOSE = 2 };
Verbosity GetVerbosity();
void SetVerbosity(Verbosity verbosity);

// Routes the engine's log lines: inside a FileLogScope to that scope, else to standard error as
// "onf: <level>: <message>", filtered by the verbosity.
void InstallLogSink();

// While alive, the engine's log lines and the command's own findings about one file are printed
// on `out` as "<file>: <level>: <first line>" with further lines as "<file>:   <line>", and
// counted by level whatever the verbosity hides. A line that repeats one reported before in the
// same scope is neither printed nor counted again (a file read twice warns once). Scopes nest;
// the innermost one receives the lines.
class FileLogScope {
public:
    FileLogScope(const std::string& file, FILE* out);
    ~FileLogScope();
    FileLogScope(const FileLogScope&) = delete;
    FileLogScope& operator=(const FileLogScope&) = delete;

    // `level` as the engine's levels: 1 error, 2 warning, 4 progress, 5 detail, 6 trace.
    void Report(int level, const std::string& message);
    // A failure counts as an error; a nested failure follows as "caused by: ...".
    void ReportFailure(const std::exception& failure);
    size_t GetNumErrors() const { return m_NumErrors; }
    size_t GetNumWarnings() const { return m_NumWarnings; }
    const std::string& GetFile() const { return m_File; }

private:
    void Print(const char* label, const std::string& message) const;

    std::string m_File;
    FILE* m_Out;
    FileLogScope* m_Outer;
    size_t m_NumErrors = 0;
    size_t m_NumWarnings = 0;
    std::set<std::string> m_Seen;
};

// Progress lines "onf: <file>: <text>" on standard error: on under -v, and by default for files
// above a few megabytes, where a user waits long enough to want them; never under -q.
class Progress {
public:
    explicit Progress(const std::string& file);
    bool IsOn() const { return m_On; }
    void Say(const std::string& text) const;
    // Bytes of the file; 0 when its size cannot be found.
    unsigned long long GetFileSize() const { return m_Size; }

private:
    std::string m_File;
    unsigned long long m_Size = 0;
    bool m_On = false;
};

// The file size from which progress shows without -v.
const unsigned long long PROGRESS_MIN_BYTES = 4ull << 20;

} // namespace onf_tool
