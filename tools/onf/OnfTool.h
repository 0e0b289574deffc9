// The `onf` command: a table of sub-commands, each in a source file of its own that registers
// itself with a static OnfCommandRegistrar. Adding a command is adding a file
// tools/onf/cmd_<name>.cpp; the build picks it up.
#pragma once

#include <cstdio>
#include <string>
#include <vector>

namespace onf_tool {

// Exit codes of every command.
enum ExitCode {
    EXIT_OK = 0,
    EXIT_FAILED = 1, // some input could not be processed; the others were
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

} // namespace onf_tool
