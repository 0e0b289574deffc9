// The `onf` command: a table of sub-commands, each in a source file of its own that registers
// itself with a static OnfCommandRegistrar. Adding a command is adding a file
// tools/onf/cmd_<name>.cpp; the build picks it up.
#pragma once

#include <cstddef>
#include <cstdio>
#include <exception>
#include <functional>
#include <map>
#include <memory>
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
    // Runs with the arguments behind the command name, the global options taken out; returns
    // an ExitCode.
    int (*run)(const std::vector<std::string>& args);
};

// Adds `command` to the table at static initialisation.
class OnfCommandRegistrar {
public:
    explicit OnfCommandRegistrar(const OnfCommand& command);
};

// Every registered command, sorted by name.
std::vector<OnfCommand> AllCommands();

// Prints "onf <name>: <message> (see 'onf help <name>')" as one line on standard error;
// returns EXIT_USAGE.
int UsageError(const OnfCommand& command, const std::string& message);

// Splits a command's arguments into operands and options. "--" ends the options; "-h" and
// "--help" print the usage. "-" alone is an operand (standard input or output). Every other
// argument of two or more characters that starts with "-" is an option, handed to `option` with
// the argument list and the position (which it may advance to take a value); `option` returns
// an empty string when it took the option, else the text of a usage error. An option
// "--name=value" reaches `option` as it stands. Returns true when the command goes on with
// `operands`; false when it ends here, with `exitCode` EXIT_OK after the usage was printed or
// EXIT_USAGE after a usage error (printed by UsageError).
using OptionHandler = std::string (*)(const std::vector<std::string>& args, size_t& position,
                                      void* context);
bool SplitArguments(const OnfCommand& command, const std::vector<std::string>& args,
                    std::vector<std::string>& operands, int& exitCode,
                    OptionHandler option = nullptr, void* context = nullptr);

// Runs `each` on every file operand in order, flushing standard output after each, and returns
// the largest exit code it gave; a usage error "no file given" without operands.
int ForEachFile(const OnfCommand& command, const std::vector<std::string>& files,
                const std::function<int(const std::string&)>& each);

// An option without a value for SplitArguments: with a FlagOption as `context`, takes the one
// option `name` and sets `set`; any other option is a usage error.
struct FlagOption {
    const char* name;
    bool set = false;
};
std::string TakeFlagOption(const std::vector<std::string>& args, size_t& position, void* context);

// A BLOCK operand as users write it: a decimal block number within 32 bits, "NON_ONF" (any case,
// read as -1), or the name of a catalogued block in any case, with or without its "ONF_" prefix
// ("ONF_NODES", "nodes"). False for anything else.
bool ParseBlockOperand(const std::string& text, int& number);

// ---- Words, numbers and tables ---------------------------------------------------------------

// "1 record", "2 records", "0 records"; `plural` defaults to `singular` + "s".
std::string Plural(size_t count, const char* singular, const char* plural = nullptr);
// A byte count for people: "512 bytes", "1.5 KiB", "148.2 MiB", "2.0 GiB".
std::string ReadableSize(unsigned long long bytes);

// Rows of text printed as columns, each as wide as its widest cell, separated by two blanks;
// the last column is not padded.
class TextTable {
public:
    void AddRow(const std::vector<std::string>& cells) { m_Rows.push_back(cells); }
    void Print(FILE* out, const std::string& indent = std::string()) const;

private:
    std::vector<std::vector<std::string>> m_Rows;
};

// JSON text of a string, with its quotes. Bytes that are not valid UTF-8 become U+FFFD, so
// that every document the command prints parses.
std::string JsonString(const std::string& text);

// ---- Output ----------------------------------------------------------------------------------

// Verbosity from the global options: -q shows only errors and failures, -v adds progress and
// the engine's progress and detail lines.
enum Verbosity { VERBOSITY_QUIET = 0, VERBOSITY_NORMAL = 1, VERBOSITY_VERBOSE = 2 };
Verbosity GetVerbosity();
void SetVerbosity(Verbosity verbosity);

// Routes the engine's log lines: inside a FileLogScope to that scope, else to standard error as
// "onf: <level>: <message>", filtered by the verbosity.
void InstallLogSink();

// Tells a FileLogScope where in its file a message of the engine points: the 1-based line, or 0
// when it cannot tell. Consulted for every line that reaches the scope without a place.
class MessageLocator {
public:
    virtual ~MessageLocator() = default;
    virtual size_t LocateMessage(int level, const std::string& message) = 0;
};

// While alive, the engine's log lines and the command's own findings about one file are
// gathered, counted by level whatever the verbosity hides, and printed in the order of their
// place in the file (those without a place first) when the scope is flushed or ends:
//   FILE:LINE:COLUMN: error: <first line>
//   FILE:LINE: warning: <first line>
//   FILE: error: <first line>
// with further lines of a message as "FILE:LINE:   <line>". A line that repeats one reported
// before in the same scope is neither printed nor counted again. Findings of one kind (a
// non-empty `kind`) are printed up to LOCATED_FINDINGS_SHOWN; the others are counted and told
// in one line "FILE: <level>: N more <kind> not shown". Scopes nest; the innermost one receives
// the engine's lines.
class FileLogScope {
public:
    FileLogScope(const std::string& file, FILE* out);
    ~FileLogScope();
    FileLogScope(const FileLogScope&) = delete;
    FileLogScope& operator=(const FileLogScope&) = delete;

    // `level` as the engine's levels: 1 error, 2 warning, 4 progress, 5 detail, 6 trace.
    // `line` and `column` count from 1; 0 for unknown. `kind`: see the class comment; plural.
    void Report(int level, const std::string& message, size_t line = 0, size_t column = 0,
                const char* kind = nullptr);
    // A failure counts as an error; a nested failure follows as "caused by: ...".
    void ReportFailure(const std::exception& failure, size_t line = 0);
    // Prints what was gathered so far.
    void Flush();
    // Consulted for lines reported without a place; null for none. Shared, so that it can
    // outlive what set it: a failure is often reported after the object that raised it is gone.
    void SetLocator(std::shared_ptr<MessageLocator> locator) { m_Locator = std::move(locator); }
    size_t GetNumErrors() const { return m_NumErrors; }
    size_t GetNumWarnings() const { return m_NumWarnings; }
    const std::string& GetFile() const { return m_File; }

private:
    struct Finding {
        int level;
        size_t line;
        size_t column;
        std::string message;
    };
    void Print(const Finding& finding) const;

    std::string m_File;
    FILE* m_Out;
    FileLogScope* m_Outer;
    std::shared_ptr<MessageLocator> m_Locator;
    size_t m_NumErrors = 0;
    size_t m_NumWarnings = 0;
    std::set<std::string> m_Seen;
    std::vector<Finding> m_Pending;
    // By kind: how many were reported, and the level of the first.
    std::map<std::string, std::pair<size_t, int>> m_Kinds;
};

// Findings of one kind shown before the rest are only counted.
const size_t LOCATED_FINDINGS_SHOWN = 20;

// Progress of the work on one file, on standard error: on under -v, and by default for files
// above a few megabytes, where a user waits long enough to want it; never under -q. When
// standard error is a terminal, one line "onf: <file>: <text>" is rewritten in place and wiped
// when the work ends or another message is printed; otherwise each step is a line of its own.
class Progress {
public:
    explicit Progress(const std::string& file);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    bool IsOn() const { return m_On; }
    void Say(const std::string& text) const;
    // Bytes of the file; 0 when its size cannot be found (standard input).
    unsigned long long GetFileSize() const { return m_Size; }

private:
    std::string m_File;
    unsigned long long m_Size = 0;
    bool m_On = false;
};

// The file size from which progress shows without -v.
const unsigned long long PROGRESS_MIN_BYTES = 4ull << 20;

// Wipes an updating progress line from a terminal, if one shows; call before printing to
// standard error or standard output.
void ClearProgressLine();

// The operand that stands for standard input or output.
const char* const STANDARD_STREAM_OPERAND = "-";
// How standard input is named in messages.
const char* const STANDARD_INPUT_NAME = "<stdin>";

} // namespace onf_tool
