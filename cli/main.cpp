// vantirel-cli: the picture readers and the bitmap writer from the command
// line, for batch conversion and inspection.
#include <cstdio>
#include <string>

#include "cli/Commands.h"
#include "cli/TerminalProgress.h"
#include "core/Platform.h"
#include "core/Progress.h"

namespace {
const char kUsage[] =
    "Usage: vantirel-cli COMMAND [OPTIONS] FILE...\n"
    "\n"
    "Commands:\n"
    "  info [--no-probe] FILE...\n"
    "      One line per file: FILE: WIDTHxHEIGHTxDEPTH, FORMAT, COMPRESSION\n"
    "  convert [--no-probe] [--fast-dct] [--fast-upsampling] IN OUT.bmp\n"
    "      Read any supported picture and write it as a Windows bitmap.\n"
    "\n"
    "Files are recognised by their extension first; unless --no-probe is\n"
    "given every other reader is then tried as well.\n"
    "Exit status: 0 success, 1 a file failed, 2 usage error.\n";

struct Command {
    const char* name;
    int (*run)(const Arguments&);
};
const Command kCommands[] = {
    {"info", CommandInfo},
    {"convert", CommandConvert},
};
}  // namespace

int main(int argc, char** argv) {
    platform::SetMessageBoxHook(PrintMessageBox);
    SetProgressOpener(TerminalProgress::OpenIfTerminal);
    if (argc < 2) return UsageError("no command given");
    const std::string name = argv[1];
    if (name == "--help" || name == "-h" || name == "help") {
        std::fputs(kUsage, stdout);
        return kExitOk;
    }
    Arguments args(argv + 2, argv + argc);
    for (const std::string& arg : args)
        if (arg == "--help") {
            std::fputs(kUsage, stdout);
            return kExitOk;
        }
    for (const Command& command : kCommands)
        if (name == command.name) return command.run(args);
    return UsageError(("unknown command '" + name + "'").c_str());
}
