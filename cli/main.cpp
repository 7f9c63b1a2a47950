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
    "  thumbnail [--size WxH] IN OUT.bmp\n"
    "      A thumbnail as the index window makes it: the picture fitted into\n"
    "      the box (default 88x66) keeping its aspect, bicubic resampled.\n"
    "  quantize --colors N [--dither] [--fixed] IN OUT.bmp\n"
    "      An 8-bit bitmap with at most N (2..256) colours, optimised or from\n"
    "      the fixed palette of 2, 16 or 256 colours, optionally dithered.\n"
    "  dither15 IN OUT.bmp\n"
    "      Floyd-Steinberg dithering to 5 bits per channel (a 24-bit bitmap\n"
    "      whose channel values are multiples of 8).\n"
    "  resample --size WxH [--nearest] IN OUT.bmp\n"
    "      Bicubic resampling to a 24-bit bitmap, or nearest neighbour\n"
    "      keeping the picture's depth.\n"
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
    {"thumbnail", CommandThumbnail},
    {"quantize", CommandQuantize},
    {"dither15", CommandDither15},
    {"resample", CommandResample},
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
