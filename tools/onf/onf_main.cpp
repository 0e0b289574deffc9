// The `onf` command: global options, the command table, help and dispatch.
#include "OnfTool.h"
#include "OnfToolFiles.h"
#include "OnfToolOutput.h"

#include "QSV_Failure.h"
#include "QSV_OnfCatalogue.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>

#ifndef ONF_TOOL_VERSION
#define ONF_TOOL_VERSION "unknown"
#endif

namespace onf_tool {

namespace {

std::vector<OnfCommand>& Table() {
    static std::vector<OnfCommand> table;
    return table;
}

const OnfCommand* FindCommand(const std::string& name) {
    for (const OnfCommand& command : Table()) {
        if (name == command.name) {
            return &command;
        }
    }
    return nullptr;
}

void PrintUsage(FILE* out) {
    std::fputs("usage: onf [-q | -v] COMMAND [ARGS...]\n"
               "       onf --help | --version | help [COMMAND]\n\n"
               "Reads, checks and converts ONF files. A FILE operand '-' is standard input, an\n"
               "output '-' standard output.\n\n"
               "Options, before or after the command:\n"
               "  -v, --verbose  show progress and detail messages besides warnings\n"
               "  -q, --quiet    show only errors and failures\n"
               "  -h, --help     show this help, or the help of the command\n"
               "  --version      show the version of onf and of the ONF format it writes\n\n"
               "Commands:\n",
               out);
    for (const OnfCommand& command : AllCommands()) {
        std::fprintf(out, "  %-12s %s\n", command.name, command.summary);
    }
    std::fputs("\nRun 'onf help COMMAND' for the arguments of a command.\n\n", out);
    std::fputs(KIND_RULE_TEXT, out);
    std::fputs("\nExit codes: 0 done; 1 done with something to tell (warnings, differences,\n"
               "a block not found); 2 a failure or a usage error.\n",
               out);
}

int GlobalUsageError(const std::string& message) {
    std::fprintf(stderr, "onf: %s (see 'onf help')\n", message.c_str());
    return EXIT_USAGE;
}

void PrintVersion() {
    std::printf("onf %s (BrelonOnfEngine %s; writes %s)\n", ONF_TOOL_VERSION, ONF_TOOL_VERSION,
                const_onf_version);
}

// Roff text of a help text: backslashes and hyphens escaped, no line taken for a request.
std::string Roff(const std::string& text) {
    std::string roff;
    bool lineStart = true;
    for (char c : text) {
        if (lineStart && (c == '.' || c == '\'')) {
            roff += "\\&";
        }
        roff += c == '\\' ? "\\e" : c == '-' ? "\\-" : std::string(1, c);
        lineStart = c == '\n';
    }
    return roff;
}

// The manual page, made of the same texts as the help, so that the two always agree.
void PrintManualPage() {
    std::printf(".TH ONF 1 \"\" \"onf %s\" \"User Commands\"\n", ONF_TOOL_VERSION);
    std::fputs(".SH NAME\nonf \\- read, check, compare and convert ONF files\n"
               ".SH SYNOPSIS\n.B onf\n[\\-q | \\-v]\n.I COMMAND\n[\n.I ARGS...\n]\n"
               ".SH DESCRIPTION\n.nf\n",
               stdout);
    std::string overview;
    {
        char* text = nullptr;
        size_t size = 0;
        FILE* memory = ::open_memstream(&text, &size);
        PrintUsage(memory);
        std::fclose(memory);
        overview.assign(text, size);
        std::free(text);
    }
    std::fputs(Roff(overview).c_str(), stdout);
    std::fputs(".fi\n.SH COMMANDS\n", stdout);
    for (const OnfCommand& command : AllCommands()) {
        std::printf(".SS %s\n.nf\n%s.fi\n", command.name, Roff(command.usage).c_str());
    }
    std::fputs(".SH SEE ALSO\nThe format of ONF files and the catalogue of their blocks: "
               "docs/format.md and docs/catalogue.md of the BrelonOnfEngine sources, or\n"
               ".B onf catalogue \\-\\-markdown\n.\n",
               stdout);
}

int Help(const std::vector<std::string>& args) {
    if (args.empty()) {
        PrintUsage(stdout);
        return EXIT_OK;
    }
    if (args.size() == 1 && args[0] == "--man") {
        PrintManualPage();
        return EXIT_OK;
    }
    const OnfCommand* command = args.size() == 1 ? FindCommand(args[0]) : nullptr;
    if (command == nullptr) {
        return GlobalUsageError(args.size() == 1 ? "unknown command '" + args[0] + "'"
                                                 : "help takes at most one command");
    }
    std::fputs(command->usage, stdout);
    return EXIT_OK;
}

const OnfCommandRegistrar helpCommand({"help", "show the help of onf or of one command",
                                       "usage: onf help [COMMAND | --man]\n\n"
                                       "Shows the list of commands, or the arguments of one.\n"
                                       "--man prints all of it as a manual page (roff).\n",
                                       Help});

// What the global options asked for, wherever they stood.
struct GlobalOptions {
    Verbosity verbosity = VERBOSITY_NORMAL;
    bool help = false;
    bool version = false;
};

// Takes the global options out of `args` up to "--"; those in front of the command may be
// nothing else. Returns the text of a usage error, or an empty string.
std::string TakeGlobalOptions(std::vector<std::string>& args, GlobalOptions& options,
                              std::string& command) {
    std::vector<std::string> rest;
    bool ended = false;
    for (const std::string& arg : args) {
        if (ended) {
            rest.push_back(arg);
        } else if (arg == "--") {
            if (command.empty()) {
                return "'--' in front of the command";
            }
            ended = true;
            rest.push_back(arg);
        } else if (arg == "-v" || arg == "--verbose") {
            options.verbosity = VERBOSITY_VERBOSE;
        } else if (arg == "-q" || arg == "--quiet") {
            options.verbosity = VERBOSITY_QUIET;
        } else if (arg == "--version") {
            options.version = true;
        } else if (command.empty() && (arg == "-h" || arg == "--help")) {
            options.help = true;
        } else if (command.empty() && arg.size() > 1 && arg[0] == '-') {
            return "unknown option '" + arg + "'";
        } else if (command.empty()) {
            command = arg;
        } else {
            rest.push_back(arg);
        }
    }
    args.swap(rest);
    return std::string();
}

int Run(int argc, char** argv) {
    std::vector<std::string> args(argv + 1, argv + argc);
    GlobalOptions options;
    std::string name;
    const std::string error = TakeGlobalOptions(args, options, name);
    if (!error.empty()) {
        return GlobalUsageError(error);
    }
    if (options.version) {
        PrintVersion();
        return EXIT_OK;
    }
    if (options.help && name.empty()) {
        PrintUsage(stdout);
        return EXIT_OK;
    }
    if (name.empty()) {
        return GlobalUsageError("no command given");
    }
    const OnfCommand* command = FindCommand(name);
    if (command == nullptr) {
        return GlobalUsageError("unknown command '" + name + "'");
    }
    if (options.help) {
        std::fputs(command->usage, stdout);
        return EXIT_OK;
    }
    SetVerbosity(options.verbosity);
    InstallLogSink();
    InstallOutputSignalHandlers();
    return command->run(args);
}

} // namespace

OnfCommandRegistrar::OnfCommandRegistrar(const OnfCommand& command) {
    Table().push_back(command);
}

std::vector<OnfCommand> AllCommands() {
    std::vector<OnfCommand> commands = Table();
    std::sort(commands.begin(), commands.end(), [](const OnfCommand& a, const OnfCommand& b) {
        return std::strcmp(a.name, b.name) < 0;
    });
    return commands;
}

} // namespace onf_tool

int main(int argc, char** argv) {
    try {
        return onf_tool::Run(argc, argv);
    } catch (const std::exception& failure) { // a command let one escape: report, never abort
        onf_tool::ClearProgressLine();
        std::fprintf(stderr, "onf: %s\n", failure.what());
        return onf_tool::EXIT_FAILED;
    }
}
