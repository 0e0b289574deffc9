// The `onf` command: global options, the command table, help and dispatch.
#include "OnfTool.h"
#include "OnfToolFiles.h"

#include "QSV_Failure.h"

#include <algorithm>
#include <cstring>
#include <exception>

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
    std::fputs("usage: onf [-v | --verbose | -q | --quiet] COMMAND [ARGS...]\n"
               "       onf --help | help [COMMAND]\n\n"
               "Reads and checks ONF files.\n\n"
               "Options:\n"
               "  -v, --verbose  show progress and detail messages besides warnings\n"
               "  -q, --quiet    show only errors and failures\n"
               "  -h, --help     show this help\n\n"
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
    std::fprintf(stderr, "onf: %s\n", message.c_str());
    PrintUsage(stderr);
    return EXIT_USAGE;
}

int Help(const std::vector<std::string>& args) {
    if (args.empty()) {
        PrintUsage(stdout);
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
                                       "usage: onf help [COMMAND]\n\n"
                                       "Shows the list of commands, or the arguments of one.\n",
                                       Help});

int Run(int argc, char** argv) {
    Verbosity verbosity = VERBOSITY_NORMAL;
    int i = 1;
    for (; i < argc && argv[i][0] == '-'; ++i) {
        const std::string option = argv[i];
        if (option == "-v" || option == "--verbose") {
            verbosity = VERBOSITY_VERBOSE;
        } else if (option == "-q" || option == "--quiet") {
            verbosity = VERBOSITY_QUIET;
        } else if (option == "-h" || option == "--help") {
            PrintUsage(stdout);
            return EXIT_OK;
        } else {
            return GlobalUsageError("unknown option '" + option + "'");
        }
    }
    if (i >= argc) {
        return GlobalUsageError("no command given");
    }
    const OnfCommand* command = FindCommand(argv[i]);
    if (command == nullptr) {
        return GlobalUsageError(std::string("unknown command '") + argv[i] + "'");
    }
    SetVerbosity(verbosity);
    InstallLogSink();
    return command->run(std::vector<std::string>(argv + i + 1, argv + argc));
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

int UsageError(const OnfCommand& command, const std::string& message) {
    std::fprintf(stderr, "onf %s: %s\n", command.name, message.c_str());
    std::fputs(command.usage, stderr);
    return EXIT_USAGE;
}

} // namespace onf_tool

int main(int argc, char** argv) {
    try {
        return onf_tool::Run(argc, argv);
    } catch (const std::exception& failure) { // a command let one escape: report, never abort
        std::fprintf(stderr, "onf: %s\n", failure.what());
        return onf_tool::EXIT_FAILED;
    }
}
