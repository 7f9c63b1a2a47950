// Our JPEG decoder against libjpeg-turbo (tjDecompress2) on the same files:
// full decodes with the accurate and the fast option sets, and the
// one-eighth decode against libjpeg-turbo's 1/8 scaled decode. Prints
// megapixels per second and the ratio ours / theirs (above 1: we are faster).
//
// Usage: bench_jpeg [-n REPEATS] FILE.jpg...   (bench/make_jpeg_files.sh makes files)
#include <turbojpeg.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "core/Image.h"
#include "core/ImageImpFile.h"
#include "core/Settings.h"
#include "jpeg/YCbCr.h"

namespace {
// The machine is shared: the thread's CPU time, best of the repeats, is
// what measures the decoder rather than the neighbours.
double ThreadSeconds() {
    timespec now;
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

double BestSeconds(int repeats, const std::function<bool()>& run) {
    double best = 1e30;
    for (int i = 0; i < repeats; ++i) {
        const double start = ThreadSeconds();
        if (!run()) return -1;
        best = std::min(best, ThreadSeconds() - start);
    }
    return best;
}

std::vector<unsigned char> ReadAll(const char* path) {
    std::vector<unsigned char> bytes;
    if (FILE* f = std::fopen(path, "rb")) {
        unsigned char buffer[65536];
        size_t n;
        while ((n = std::fread(buffer, 1, sizeof buffer, f)) > 0)
            bytes.insert(bytes.end(), buffer, buffer + n);
        std::fclose(f);
    }
    return bytes;
}

// Both sides decode into memory allocated (and touched) before the clock
// runs, so the figures compare the decoders, not the page faults.
struct Ours {
    explicit Ours(const char* path, bool eighth) : imp(path, nullptr, false), eighth(eighth) {
        if (!imp.ready || (eighth && imp.rowLoader2 == imp.rowLoader)) return;
        image.reset(
            eighth
                ? new Image(imp.width2, imp.height2, imp.stride2, imp.rows2, imp.palette, imp.depth)
                : new Image(imp.width, imp.height, imp.stride, imp.rows, imp.palette, imp.depth));
    }
    // Decode and convert YCbCr to BGR, as Load does.
    bool Run() {
        if (!image) return false;
        if (!eighth) return Load(&imp, image.get(), nullptr, false);
        if (!imp.rowLoader2(&imp, image.get(), nullptr)) return false;
        if (imp.colourModel == kColourYCbCr)
            jpegConvertYCbCr(image->pixels, image->stride, image->width, image->height);
        return true;
    }
    ImageImpFile imp;
    bool eighth;
    std::unique_ptr<Image> image;
};

struct Theirs {
    Theirs(tjhandle handle, const std::vector<unsigned char>& jpeg, int flags, int scale)
        : handle(handle), jpeg(jpeg), flags(flags) {
        int subsampling, colourspace;
        if (tjDecompressHeader3(handle, jpeg.data(), jpeg.size(), &width, &height, &subsampling,
                                &colourspace) != 0)
            return;
        width = (width + scale - 1) / scale;
        height = (height + scale - 1) / scale;
        format = colourspace == TJCS_GRAY ? TJPF_GRAY : TJPF_BGR;
        out.assign(static_cast<size_t>(width) * height * tjPixelSize[format], 0);
    }
    bool Run() {
        return !out.empty() && tjDecompress2(handle, jpeg.data(), jpeg.size(), out.data(), width, 0,
                                             height, format, flags) == 0;
    }
    tjhandle handle;
    const std::vector<unsigned char>& jpeg;
    int flags;
    int width = 0, height = 0, format = TJPF_BGR;
    std::vector<unsigned char> out;
};
}  // namespace

int main(int argc, char** argv) {
    int repeats = 7;
    std::vector<const char*> files;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "-n") == 0 && i + 1 < argc)
            repeats = std::atoi(argv[++i]);
        else
            files.push_back(argv[i]);
    }
    if (files.empty()) {
        std::fprintf(stderr, "usage: bench_jpeg [-n REPEATS] FILE.jpg...\n");
        return 2;
    }
    // Every picture gets the one-eighth offer.
    g_settings->idx.iIconX = 1;
    g_settings->idx.iIconY = 1;
    tjhandle handle = tjInitDecompress();
    std::printf("%-28s %-22s %10s %10s %8s\n", "file", "mode", "ours MP/s", "ljt MP/s", "ratio");
    for (const char* path : files) {
        const std::vector<unsigned char> jpeg = ReadAll(path);
        int width = 0, height = 0, subsampling, colourspace;
        tjDecompressHeader3(handle, jpeg.data(), jpeg.size(), &width, &height, &subsampling,
                            &colourspace);
        const double megapixels = width * static_cast<double>(height) / 1e6;
        struct Mode {
            const char* name;
            bool fastDct, fastUpsampling, eighth;
            int flags;
        } modes[] = {
            {"accurate+smooth", false, false, false, 0},
            {"fast dct+fast upsample", true, true, false, TJFLAG_FASTDCT | TJFLAG_FASTUPSAMPLE},
            {"one-eighth", false, false, true, 0},
        };
        std::string name = path;
        name = name.substr(name.find_last_of('/') + 1);
        for (const Mode& mode : modes) {
            g_settings->jpeg.bFastDCT = mode.fastDct;
            g_settings->jpeg.bFastUnsubsample = mode.fastUpsampling;
            Ours ourDecoder(path, mode.eighth);
            Theirs theirDecoder(handle, jpeg, mode.flags, mode.eighth ? 8 : 1);
            const double ours = BestSeconds(repeats, [&] { return ourDecoder.Run(); });
            const double theirs = BestSeconds(repeats, [&] { return theirDecoder.Run(); });
            if (ours < 0 || theirs < 0) {
                std::printf("%-28s %-22s failed\n", name.c_str(), mode.name);
                continue;
            }
            std::printf("%-28s %-22s %10.1f %10.1f %8.2f\n", name.c_str(), mode.name,
                        megapixels / ours, megapixels / theirs, theirs / ours);
        }
    }
    tjDestroy(handle);
    return 0;
}
