// The colour subcommands of vantirel-cli: thumbnails as the index window
// makes them, quantisation to a palette, 15-bit dithering and resampling.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "cli/Commands.h"
#include "cli/TerminalProgress.h"
#include "color/ColourConvert.h"
#include "color/ResampleBicubic.h"
#include "core/Error.h"
#include "core/Image.h"
#include "core/ImageImpFile.h"
#include "core/SaveAs.h"
#include "core/Settings.h"

namespace {
struct ColourOptions {
    bool probe = true;
    bool haveSize = false;
    int width = 0;
    int height = 0;
    bool haveColours = false;
    int colours = 0;
    bool dither = false;
    bool fixed = false;
    bool nearest = false;
    std::vector<std::string> files;
};

// "WxH" with both numbers positive.
bool ParseSize(const std::string& text, int* width, int* height) {
    char* end = nullptr;
    const long w = std::strtol(text.c_str(), &end, 10);
    if (end == text.c_str() || (*end != 'x' && *end != 'X')) return false;
    const char* rest = end + 1;
    const long h = std::strtol(rest, &end, 10);
    if (end == rest || *end != '\0') return false;
    if (w < 1 || h < 1 || w > 65535 || h > 65535) return false;
    *width = static_cast<int>(w);
    *height = static_cast<int>(h);
    return true;
}

bool ParseNumber(const std::string& text, int* value) {
    char* end = nullptr;
    const long v = std::strtol(text.c_str(), &end, 10);
    if (text.empty() || *end != '\0' || v < -100000 || v > 100000) return false;
    *value = static_cast<int>(v);
    return true;
}

// Options this command accepts are named in `accepted`; gives an empty
// string on success or the usage message.
std::string ParseColourOptions(const Arguments& args, const char* command, const char* accepted,
                               ColourOptions* options) {
    auto allowed = [&](const char* name) { return std::strstr(accepted, name) != nullptr; };
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& arg = args[i];
        if (arg.size() < 2 || arg[0] != '-') {
            options->files.push_back(arg);
            continue;
        }
        std::string name = arg, value;
        const size_t equals = arg.find('=');
        const bool takesValue =
            arg.compare(0, 6, "--size") == 0 || arg.compare(0, 8, "--colors") == 0;
        if (equals != std::string::npos) {
            name = arg.substr(0, equals);
            value = arg.substr(equals + 1);
        } else if (takesValue) {
            if (i + 1 >= args.size()) return std::string(command) + ": " + arg + " needs a value";
            value = args[++i];
        }
        if (name == "--no-probe") {
            options->probe = false;
        } else if (name == "--size" && allowed("--size")) {
            if (!ParseSize(value, &options->width, &options->height))
                return std::string(command) + ": --size wants WIDTHxHEIGHT";
            options->haveSize = true;
        } else if (name == "--colors" && allowed("--colors")) {
            if (!ParseNumber(value, &options->colours))
                return std::string(command) + ": --colors wants a number";
            options->haveColours = true;
        } else if (name == "--dither" && allowed("--dither")) {
            options->dither = true;
        } else if (name == "--fixed" && allowed("--fixed")) {
            options->fixed = true;
        } else if (name == "--nearest" && allowed("--nearest")) {
            options->nearest = true;
        } else {
            return std::string(command) + ": unknown option '" + arg + "'";
        }
    }
    if (options->files.size() != 2) return std::string(command) + ": give IN and OUT.bmp";
    return std::string();
}

// Opens and loads a picture at its own size.
std::unique_ptr<Image> LoadPicture(const char* path, bool probe, Progress* progress) {
    ImageImpFile imp(path, progress, probe);
    if (!imp.ready) return nullptr;
    auto image = std::make_unique<Image>(imp.width, imp.height, imp.stride, imp.rows, imp.palette,
                                         imp.depth);
    if (!Load(&imp, image.get(), progress, false)) return nullptr;
    return image;
}

int Save(const char* out, Image* image) {
    if (!SaveAs(0, out, image)) return ReportFailure(out);
    return kExitOk;
}
}  // namespace

// The thumbnail keeps the picture's aspect ratio inside the box: as high as
// the box when the picture is no wider than the box in proportion, else as
// wide; the other side by integer division.
void FitThumbnail(int width, int height, int boxWidth, int boxHeight, int* outWidth,
                  int* outHeight) {
    if (static_cast<double>(width) / height <= static_cast<double>(boxWidth) / boxHeight) {
        *outHeight = boxHeight;
        *outWidth = static_cast<int>(static_cast<int64_t>(boxHeight) * width / height);
    } else {
        *outWidth = boxWidth;
        *outHeight = static_cast<int>(static_cast<int64_t>(boxWidth) * height / width);
    }
}

int CommandThumbnail(const Arguments& args) {
    ColourOptions options;
    const std::string usage = ParseColourOptions(args, "thumbnail", "--size", &options);
    if (!usage.empty()) return UsageError(usage.c_str());
    if (options.haveSize) {
        g_settings->idx.iIconX = options.width;
        g_settings->idx.iIconY = options.height;
    }
    const char* in = options.files[0].c_str();
    const char* out = options.files[1].c_str();
    SetCurrentFile(in);

    std::unique_ptr<Progress> progress(TerminalProgress::OpenIfTerminal(in, "Opening"));
    ImageImpFile imp(in, progress.get(), options.probe);
    if (!imp.ready) {
        progress.reset();
        return ReportFailure(in);
    }
    int width = 0, height = 0;
    FitThumbnail(imp.width, imp.height, g_settings->idx.iIconX, g_settings->idx.iIconY, &width,
                 &height);
    Image thumbnail(width, height, 3 * width, height, nullptr, 24);
    const bool loaded = Load(&imp, &thumbnail, progress.get(), true);
    progress.reset();
    if (!loaded) return ReportFailure(in);
    return Save(out, &thumbnail);
}

int CommandQuantize(const Arguments& args) {
    ColourOptions options;
    const std::string usage =
        ParseColourOptions(args, "quantize", "--colors --dither --fixed", &options);
    if (!usage.empty()) return UsageError(usage.c_str());
    if (!options.haveColours) return UsageError("quantize: --colors N is required");
    const char* in = options.files[0].c_str();
    const char* out = options.files[1].c_str();
    SetCurrentFile(in);

    std::unique_ptr<Progress> progress(TerminalProgress::OpenIfTerminal(in, "Opening"));
    std::unique_ptr<Image> source = LoadPicture(in, options.probe, progress.get());
    if (!source) {
        progress.reset();
        return ReportFailure(in);
    }
    const uint8_t blackPalette[kPaletteBytes] = {};
    Image quantised(source->width, source->height, source->width, source->height, blackPalette, 8);
    const bool converted = clr_Xto8bit(&quantised, source.get(), options.colours, options.dither,
                                       options.fixed, progress.get());
    progress.reset();
    if (!converted) return ReportFailure(in);
    return Save(out, &quantised);
}

int CommandDither15(const Arguments& args) {
    ColourOptions options;
    const std::string usage = ParseColourOptions(args, "dither15", "", &options);
    if (!usage.empty()) return UsageError(usage.c_str());
    const char* in = options.files[0].c_str();
    const char* out = options.files[1].c_str();
    SetCurrentFile(in);

    std::unique_ptr<Progress> progress(TerminalProgress::OpenIfTerminal(in, "Opening"));
    std::unique_ptr<Image> picture = LoadPicture(in, options.probe, progress.get());
    if (!picture) {
        progress.reset();
        return ReportFailure(in);
    }
    // Palette pictures are brought to 24 bits first; the ditherer works in place.
    if (picture->palette) {
        auto expanded = std::make_unique<Image>(picture->width, picture->height, 3 * picture->width,
                                                picture->height, nullptr, 24);
        if (!clr_8to24bit(expanded.get(), picture.get(), progress.get())) {
            progress.reset();
            return ReportFailure(in);
        }
        picture = std::move(expanded);
    }
    const bool dithered = clr_Dither24to15bit(picture.get(), picture.get(), progress.get());
    progress.reset();
    if (!dithered) return ReportFailure(in);
    return Save(out, picture.get());
}

int CommandResample(const Arguments& args) {
    ColourOptions options;
    const std::string usage = ParseColourOptions(args, "resample", "--size --nearest", &options);
    if (!usage.empty()) return UsageError(usage.c_str());
    if (!options.haveSize) return UsageError("resample: --size WxH is required");
    const char* in = options.files[0].c_str();
    const char* out = options.files[1].c_str();
    SetCurrentFile(in);

    std::unique_ptr<Progress> progress(TerminalProgress::OpenIfTerminal(in, "Opening"));
    std::unique_ptr<Image> source = LoadPicture(in, options.probe, progress.get());
    if (!source) {
        progress.reset();
        return ReportFailure(in);
    }
    std::unique_ptr<Image> result;
    bool done;
    if (options.nearest) {
        // Nearest neighbour keeps the depth: palette pictures stay palette pictures.
        const int bytes = source->palette ? 1 : 3;
        result = std::make_unique<Image>(options.width, options.height, bytes * options.width,
                                         options.height, source->palette, source->depth);
        done = ResampleNearest(result.get(), source.get(), progress.get());
    } else {
        result = std::make_unique<Image>(options.width, options.height, 3 * options.width,
                                         options.height, nullptr, 24);
        done = ResampleBicubic(result.get(), source.get(), progress.get());
    }
    progress.reset();
    if (!done) return ReportFailure(in);
    return Save(out, result.get());
}
