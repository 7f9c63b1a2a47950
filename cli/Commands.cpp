#include "cli/Commands.h"

#include <cstdio>
#include <cstring>
#include <memory>

#include "cli/TerminalProgress.h"
#include "core/Error.h"
#include "core/Image.h"
#include "core/ImageImpFile.h"
#include "core/SaveAs.h"
#include "core/Settings.h"

namespace {
std::string g_currentFile;

struct Options {
    bool probe = true;
    std::vector<std::string> files;
};

// Splits options from file arguments; `accept` handles an option and says
// whether it was known.
template <typename Accept>
bool ParseOptions(const Arguments& args, Options* options, Accept accept) {
    for (const std::string& arg : args) {
        if (arg.size() > 1 && arg[0] == '-') {
            if (arg == "--no-probe")
                options->probe = false;
            else if (!accept(arg))
                return false;
        } else {
            options->files.push_back(arg);
        }
    }
    return true;
}
}  // namespace

void SetCurrentFile(const char* path) { g_currentFile = path; }

void PrintMessageBox(const char* caption, const char* text) {
    if (std::strcmp(caption, "QUIT!") == 0)
        std::fprintf(stderr, "QUIT!: %s\n", text);
    else
        std::fprintf(stderr, "%s: %s: %s\n", g_currentFile.c_str(), caption, text);
}

int ReportFailure(const char* path) {
    std::fprintf(stderr, "%s: %s: %s\n", path, g_errorPlace, g_errorText);
    return kExitFailed;
}

int UsageError(const char* message) {
    std::fprintf(stderr, "vantirel-cli: %s\nTry 'vantirel-cli --help'.\n", message);
    return kExitUsage;
}

int CommandInfo(const Arguments& args) {
    Options options;
    if (!ParseOptions(args, &options, [](const std::string&) { return false; }))
        return UsageError("info: unknown option");
    if (options.files.empty()) return UsageError("info: no file given");
    int status = kExitOk;
    for (const std::string& file : options.files) {
        SetCurrentFile(file.c_str());
        std::unique_ptr<Progress> progress(
            TerminalProgress::OpenIfTerminal(file.c_str(), "Opening"));
        ImageImpFile imp(file.c_str(), progress.get(), options.probe);
        progress.reset();
        if (!imp.ready) {
            status = ReportFailure(file.c_str());
            continue;
        }
        std::printf("%s: %dx%dx%d, %s, %s\n", file.c_str(), imp.width, imp.height, imp.depth,
                    imp.description, imp.compression);
    }
    return status;
}

int CommandConvert(const Arguments& args) {
    Options options;
    auto accept = [](const std::string& arg) {
        if (arg == "--fast-dct")
            g_settings->jpeg.bFastDCT = 1;
        else if (arg == "--fast-upsampling")
            g_settings->jpeg.bFastUnsubsample = 1;
        else
            return false;
        return true;
    };
    if (!ParseOptions(args, &options, accept)) return UsageError("convert: unknown option");
    if (options.files.size() != 2) return UsageError("convert: give IN and OUT.bmp");
    const char* in = options.files[0].c_str();
    const char* out = options.files[1].c_str();
    SetCurrentFile(in);

    std::unique_ptr<Progress> progress(TerminalProgress::OpenIfTerminal(in, "Opening"));
    ImageImpFile imp(in, progress.get(), options.probe);
    if (!imp.ready) {
        progress.reset();
        return ReportFailure(in);
    }
    Image image(imp.width, imp.height, imp.stride, imp.rows, imp.palette, imp.depth);
    const bool loaded = Load(&imp, &image, progress.get(), false);
    progress.reset();
    if (!loaded) return ReportFailure(in);
    if (!SaveAs(0, out, &image)) return ReportFailure(out);
    return kExitOk;
}
