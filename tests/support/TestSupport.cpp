#include "tests/support/TestSupport.h"

#include <gtest/gtest.h>

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <sstream>

#include "core/Error.h"
#include "core/Image.h"
#include "core/ImageImpFile.h"
#include "core/Platform.h"

#ifdef _WIN32
#define WIN32_LEAN_AND_MEAN
#include <windows.h>
#else
#include <sys/stat.h>
#include <unistd.h>
#endif

#ifndef VANTIREL_CORPUS_DIR
#error "VANTIREL_CORPUS_DIR must be defined"
#endif
#ifndef VANTIREL_SOURCE_DIR
#error "VANTIREL_SOURCE_DIR must be defined"
#endif

namespace test {
namespace {
// Unix paths from the build become drive Z: paths under Wine.
std::string Native(const std::string& path) {
#ifdef _WIN32
    std::string result = path;
    if (!result.empty() && result[0] == '/') result = "Z:" + result;
    for (char& c : result)
        if (c == '/') c = '\\';
    return result;
#else
    return path;
#endif
}

std::string ScratchDirectory() {
    static std::string directory = [] {
#ifdef _WIN32
        char base[MAX_PATH];
        GetTempPathA(MAX_PATH, base);
        std::string dir =
            std::string(base) + "vantirel-tests-" + std::to_string(GetCurrentProcessId());
        CreateDirectoryA(dir.c_str(), nullptr);
        return dir + "\\";
#else
        const char* base = std::getenv("TMPDIR");
        std::string dir = std::string(base && *base ? base : "/tmp") + "/vantirel-tests-" +
                          std::to_string(getpid());
        mkdir(dir.c_str(), 0755);
        return dir + "/";
#endif
    }();
    return directory;
}

MessageRecorder* g_recorder = nullptr;
void Record(const char* caption, const char* text) {
    if (g_recorder) g_recorder->messages.emplace_back(caption, text);
}
}  // namespace

std::string CorpusPath(const std::string& relative) {
    return Native(std::string(VANTIREL_CORPUS_DIR) + "/" + relative);
}

bool CorpusAvailable() {
    std::ifstream manifest(CorpusPath("MANIFEST.tsv"));
    return manifest.good();
}

std::string TempPath(const std::string& name) { return ScratchDirectory() + name; }

std::string WriteTempFile(const std::string& name, const std::vector<uint8_t>& bytes) {
    const std::string path = TempPath(name);
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(bytes.data()),
              static_cast<std::streamsize>(bytes.size()));
    return path;
}

std::vector<uint8_t> ReadFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::vector<uint8_t>(std::istreambuf_iterator<char>(in),
                                std::istreambuf_iterator<char>());
}

std::string RunCommand(const std::string& command, int* status) {
    std::string output;
#ifdef _WIN32
    (void)command;
    if (status) *status = -1;
#else
    FILE* pipe = popen(command.c_str(), "r");
    if (!pipe) {
        if (status) *status = -1;
        return output;
    }
    char buffer[65536];
    size_t n;
    while ((n = fread(buffer, 1, sizeof buffer, pipe)) > 0) output.append(buffer, n);
    const int raw = pclose(pipe);
    if (status) *status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
#endif
    return output;
}

bool HaveTool(const std::string& tool) {
#ifdef _WIN32
    (void)tool;
    return false;
#else
    int status = 0;
    RunCommand("command -v " + tool + " >/dev/null 2>&1", &status);
    return status == 0;
#endif
}

bool ParsePnm(const std::string& bytes, RgbPicture* picture) {
    size_t pos = 0;
    auto skipSpace = [&] {
        while (pos < bytes.size()) {
            if (bytes[pos] == '#') {
                while (pos < bytes.size() && bytes[pos] != '\n') ++pos;
            } else if (std::isspace(static_cast<unsigned char>(bytes[pos]))) {
                ++pos;
            } else {
                break;
            }
        }
    };
    auto number = [&] {
        skipSpace();
        long value = 0;
        while (pos < bytes.size() && std::isdigit(static_cast<unsigned char>(bytes[pos])))
            value = value * 10 + (bytes[pos++] - '0');
        return static_cast<int>(value);
    };
    if (bytes.size() < 2 || bytes[0] != 'P') return false;
    const char kind = bytes[1];
    pos = 2;
    picture->width = number();
    picture->height = number();
    const int maxval = kind == '4' ? 1 : number();
    ++pos;  // the single whitespace byte before the raster
    if (maxval != 255 && kind != '4') return false;
    const size_t pixels = static_cast<size_t>(picture->width) * picture->height;
    picture->rgb.assign(pixels * 3, 0);
    const auto* raster = reinterpret_cast<const uint8_t*>(bytes.data()) + pos;
    const size_t available = bytes.size() - pos;
    if (kind == '6') {
        if (available < pixels * 3) return false;
        std::memcpy(picture->rgb.data(), raster, pixels * 3);
    } else if (kind == '5') {
        if (available < pixels) return false;
        for (size_t i = 0; i < pixels; ++i)
            picture->rgb[3 * i] = picture->rgb[3 * i + 1] = picture->rgb[3 * i + 2] = raster[i];
    } else if (kind == '4') {
        const size_t rowBytes = (static_cast<size_t>(picture->width) + 7) / 8;
        if (available < rowBytes * picture->height) return false;
        for (int y = 0; y < picture->height; ++y)
            for (int x = 0; x < picture->width; ++x) {
                const bool black = (raster[y * rowBytes + x / 8] >> (7 - x % 8)) & 1;
                const size_t i = static_cast<size_t>(y) * picture->width + x;
                picture->rgb[3 * i] = picture->rgb[3 * i + 1] = picture->rgb[3 * i + 2] =
                    black ? 0 : 255;
            }
    } else {
        return false;
    }
    return true;
}

Decoded DecodeFile(const std::string& path, bool probeAll) {
    Decoded d;
    ClearError();
    ImageImpFile imp(path.c_str(), nullptr, probeAll);
    d.opened = imp.ready;
    d.width = imp.width;
    d.height = imp.height;
    d.depth = imp.depth;
    if (!imp.ready) {
        d.place = g_errorPlace;
        d.text = g_errorText;
        return d;
    }
    d.description = imp.description;
    d.compression = imp.compression;
    if (imp.width <= 0 || imp.height <= 0 || imp.stride <= 0) return d;
    Image image(imp.width, imp.height, imp.stride, imp.rows, imp.palette, imp.depth);
    d.loaded = Load(&imp, &image, nullptr, false);
    if (!d.loaded) {
        d.place = g_errorPlace;
        d.text = g_errorText;
        return d;
    }
    d.picture.width = image.width;
    d.picture.height = image.height;
    d.picture.rgb.resize(static_cast<size_t>(image.width) * image.height * 3);
    uint8_t* out = d.picture.rgb.data();
    for (int y = 0; y < image.height; ++y) {
        const uint8_t* row = image.Row(y);
        for (int x = 0; x < image.width; ++x, out += 3) {
            if (image.palette) {
                const uint8_t index = row[x];
                d.indices.push_back(index);
                std::memcpy(out, image.palette + 3 * index, 3);
            } else {
                out[0] = row[3 * x + 2];
                out[1] = row[3 * x + 1];
                out[2] = row[3 * x];
            }
        }
    }
    return d;
}

bool ReferenceDecode(const std::string& path, RgbPicture* picture, int iconEntry) {
    std::string command = "/usr/bin/python3 '" + std::string(VANTIREL_SOURCE_DIR) +
                          "/tests/conformance/reference_decode.py' '" + path + "'";
    if (iconEntry >= 0) command += " --icon-entry " + std::to_string(iconEntry);
    int status = 0;
    const std::string output = RunCommand(command + " 2>/dev/null", &status);
    return status == 0 && ParsePnm(output, picture);
}

long DifferentPixels(const RgbPicture& a, const RgbPicture& b) {
    if (a.width != b.width || a.height != b.height) return -1;
    long count = 0;
    for (size_t i = 0; i + 2 < a.rgb.size(); i += 3)
        if (a.rgb[i] != b.rgb[i] || a.rgb[i + 1] != b.rgb[i + 1] || a.rgb[i + 2] != b.rgb[i + 2])
            ++count;
    return count;
}

// Callers must pass a positive total (the dialog divides by it); a test
// whose code under test does not fails here instead of dividing by zero.
void RecordingProgress::SetStatus(const char* text, int done, int total) {
    if (total <= 0) {
        ADD_FAILURE() << "progress \"" << text << "\" with total " << total;
        events.push_back(std::string(text) + "@total" + std::to_string(total));
        return;
    }
    events.push_back(std::string(text) + "@" + std::to_string(done * 100 / total));
}

void RecordingProgress::SetProgress(int done, int total) {
    if (total <= 0) {
        ADD_FAILURE() << "progress with total " << total;
        events.push_back("@total" + std::to_string(total));
        return;
    }
    events.push_back("@" + std::to_string(done * 100 / total));
}

void PrintMessagesToStderr() {
    platform::SetMessageBoxHook([](const char* caption, const char* text) {
        std::fprintf(stderr, "%s: %s\n", caption, text);
        std::fflush(stderr);
    });
}

MessageRecorder::MessageRecorder() {
    g_recorder = this;
    platform::SetMessageBoxHook(Record);
}

MessageRecorder::~MessageRecorder() {
    platform::SetMessageBoxHook(nullptr);
    g_recorder = nullptr;
}

}  // namespace test
