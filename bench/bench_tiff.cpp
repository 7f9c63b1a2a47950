// The TIFF reader against libtiff on the same files, in one run.
// Usage: bench_tiff FILE.tif... (bench/make_tiff_files.sh writes 12 MP ones)
// Prints wall and processor time, ours / libtiff (below 1: we are faster).
//
// Ours: open, identify and load into an Image (blue-green-red rows, the
// predictor undone). libtiff: open and read every strip decoded
// (TIFFReadEncodedStrip, predictor undone, samples left in file order) into
// a newly allocated buffer.
#include <tiffio.h>
#include <time.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include "bench/BenchSupport.h"
#include "core/Image.h"
#include "core/ImageImpFile.h"
#include "core/Platform.h"

namespace {
// Median processor time (user and system, page faults included) of `runs`
// calls: steadier than wall time on a machine shared with other work.
template <typename Work>
double MedianCpuMilliseconds(int runs, Work work) {
    std::vector<double> times;
    for (int i = 0; i < runs; ++i) {
        timespec start, stop;
        clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &start);
        work();
        clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &stop);
        times.push_back((stop.tv_sec - start.tv_sec) * 1e3 + (stop.tv_nsec - start.tv_nsec) / 1e6);
    }
    std::sort(times.begin(), times.end());
    return times[times.size() / 2];
}

void Silent(const char*, const char*) {}

bool ReadWithVantirel(const std::string& path) {
    ImageImpFile imp(path.c_str(), nullptr, false);
    if (!imp.ready) return false;
    Image image(imp.width, imp.height, imp.stride, imp.rows, imp.palette, imp.depth);
    return Load(&imp, &image, nullptr, false);
}

// A fresh picture buffer each time, as ours gets a fresh Image.
bool ReadWithLibtiff(const std::string& path) {
    TIFF* tiff = TIFFOpen(path.c_str(), "r");
    if (!tiff) return false;
    const tmsize_t stripSize = TIFFStripSize(tiff);
    const uint32_t strips = TIFFNumberOfStrips(tiff);
    std::vector<unsigned char> buffer(static_cast<size_t>(stripSize) * strips);
    bool ok = true;
    for (uint32_t i = 0; i < strips && ok; ++i)
        ok = TIFFReadEncodedStrip(tiff, i, buffer.data() + static_cast<size_t>(stripSize) * i, -1) >= 0;
    TIFFClose(tiff);
    return ok;
}
}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: bench_tiff FILE.tif...\n");
        return 2;
    }
    platform::SetMessageBoxHook(Silent);
    TIFFSetWarningHandler(nullptr);
    for (int i = 1; i < argc; ++i) {
        const std::string path = argv[i];
        if (!ReadWithVantirel(path) || !ReadWithLibtiff(path)) {
            std::printf("%s: not read by both\n", path.c_str());
            continue;
        }
        const std::string name = path.substr(path.find_last_of('/') + 1);
        const double ours = bench::MedianMilliseconds(7, [&] { ReadWithVantirel(path); });
        const double theirs = bench::MedianMilliseconds(7, [&] { ReadWithLibtiff(path); });
        bench::PrintRatio(name + " (wall)", "libtiff", ours, theirs);
        const double oursCpu = MedianCpuMilliseconds(7, [&] { ReadWithVantirel(path); });
        const double theirsCpu = MedianCpuMilliseconds(7, [&] { ReadWithLibtiff(path); });
        bench::PrintRatio(name + " (cpu)", "libtiff", oursCpu, theirsCpu);
    }
    return 0;
}
