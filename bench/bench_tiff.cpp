// The TIFF reader against libtiff on the same files, in one run.
// Usage: bench_tiff FILE.tif... (bench/make_tiff_files.sh writes 12 MP ones)
//
// Each side is timed from opening the file to the finished picture, in a
// freshly allocated block (neither side's block is cleared by hand):
//   vantirel     maps the file, reads the directory, allocates the Image and
//                decodes every strip into it as blue-green-red rows, the
//                predictor undone;
//   libtiff      opens the file, reads the directory, allocates a buffer and
//                decodes every strip into it with TIFFReadEncodedStrip, the
//                predictor undone, samples left red-green-blue;
//   libtiff+BGR  the same and then red and blue swapped in every pixel (what
//                a Windows bitmap needs), so that both deliver the same
//                picture.
// Prints the median processor time (user and system, page faults included)
// and wall time of 7 runs, and how many times libtiff's time ours is
// (above 1: we are faster). Before timing, the two pictures are compared.
#include <tiffio.h>
#include <time.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <string>
#include <utility>
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

// The decoded picture of one side: rows of `rowBytes` bytes, `stride` apart.
struct Picture {
    int width = 0, height = 0, samples = 0;
    size_t rowBytes = 0, stride = 0;
    std::vector<unsigned char> bytes;
};

bool ReadWithVantirel(const std::string& path, Picture* keep = nullptr) {
    ImageImpFile imp(path.c_str(), nullptr, false);
    if (!imp.ready) return false;
    Image image(imp.width, imp.height, imp.stride, imp.rows, imp.palette, imp.depth);
    if (!Load(&imp, &image, nullptr, false)) return false;
    if (keep) {
        keep->width = image.width;
        keep->height = image.height;
        keep->samples = image.depth == 24 ? 3 : 1;
        keep->rowBytes = static_cast<size_t>(image.width) * keep->samples;
        keep->stride = static_cast<size_t>(image.stride);
        keep->bytes.assign(image.pixels, image.pixels + keep->stride * image.height);
    }
    return true;
}

// A fresh buffer each time, as ours gets a fresh Image; `bgr` swaps red and
// blue afterwards.
bool ReadWithLibtiff(const std::string& path, bool bgr, Picture* keep = nullptr) {
    TIFF* tiff = TIFFOpen(path.c_str(), "r");
    if (!tiff) return false;
    uint32_t width = 0, height = 0;
    uint16_t samples = 1;
    TIFFGetField(tiff, TIFFTAG_IMAGEWIDTH, &width);
    TIFFGetField(tiff, TIFFTAG_IMAGELENGTH, &height);
    TIFFGetFieldDefaulted(tiff, TIFFTAG_SAMPLESPERPIXEL, &samples);
    const tmsize_t stripSize = TIFFStripSize(tiff);
    const uint32_t strips = TIFFNumberOfStrips(tiff);
    const size_t bytes = static_cast<size_t>(stripSize) * strips;
    std::unique_ptr<unsigned char[]> buffer(new unsigned char[bytes]);
    bool ok = true;
    for (uint32_t i = 0; i < strips && ok; ++i)
        ok = TIFFReadEncodedStrip(tiff, i, buffer.get() + static_cast<size_t>(stripSize) * i, -1) >=
             0;
    TIFFClose(tiff);
    if (ok && bgr && samples == 3) {
        unsigned char* pixel = buffer.get();
        for (size_t i = 0; i < static_cast<size_t>(width) * height; ++i, pixel += 3)
            std::swap(pixel[0], pixel[2]);
    }
    if (ok && keep) {
        keep->width = static_cast<int>(width);
        keep->height = static_cast<int>(height);
        keep->samples = samples;
        keep->rowBytes = keep->stride = static_cast<size_t>(width) * samples;
        keep->bytes.assign(buffer.get(), buffer.get() + keep->stride * height);
    }
    return ok;
}

bool SamePicture(const Picture& a, const Picture& b) {
    if (a.width != b.width || a.height != b.height || a.samples != b.samples) return false;
    for (int y = 0; y < a.height; ++y)
        if (!std::equal(a.bytes.begin() + y * a.stride, a.bytes.begin() + y * a.stride + a.rowBytes,
                        b.bytes.begin() + y * b.stride))
            return false;
    return true;
}

void PrintLine(const std::string& name, const char* clock, double ours, double theirs,
               double theirsBgr, double megapixels) {
    std::printf("%-26s %-4s %9.1f %9.1f %6.2fx %9.1f %6.2fx %8.1f\n", name.c_str(), clock, ours,
                theirs, theirs / ours, theirsBgr, theirsBgr / ours, megapixels / ours * 1e3);
}
}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: bench_tiff FILE.tif...\n");
        return 2;
    }
    platform::SetMessageBoxHook(Silent);
    TIFFSetWarningHandler(nullptr);
    std::printf(
        "Timed from opening the file to the finished picture in a fresh block:\n"
        "  vantirel     decodes into the Image as blue-green-red rows, predictor undone\n"
        "  libtiff      TIFFReadEncodedStrip of every strip into a buffer, predictor undone,\n"
        "               samples left red-green-blue\n"
        "  libtiff+BGR  the same, then red and blue swapped: the same picture as ours\n"
        "Median of 7 runs in ms (cpu: user and system time; wall: elapsed); Nx = their time\n"
        "over ours (above 1: vantirel is faster); MP/s is vantirel's.\n\n");
    std::printf("%-26s %-4s %9s %9s %7s %9s %7s %8s\n", "file", "", "vantirel", "libtiff", "",
                "+BGR", "", "MP/s");
    for (int i = 1; i < argc; ++i) {
        const std::string path = argv[i];
        const std::string name = path.substr(path.find_last_of('/') + 1);
        Picture ours, theirs;
        if (!ReadWithVantirel(path, &ours) || !ReadWithLibtiff(path, true, &theirs)) {
            std::printf("%s: not read by both\n", name.c_str());
            continue;
        }
        if (!SamePicture(ours, theirs)) std::printf("%s: the pictures differ\n", name.c_str());
        const double megapixels = static_cast<double>(ours.width) * ours.height / 1e6;
        ours.bytes.clear();
        theirs.bytes.clear();

        const double oursCpu = MedianCpuMilliseconds(7, [&] { ReadWithVantirel(path); });
        const double theirsCpu = MedianCpuMilliseconds(7, [&] { ReadWithLibtiff(path, false); });
        const double bgrCpu = MedianCpuMilliseconds(7, [&] { ReadWithLibtiff(path, true); });
        PrintLine(name, "cpu", oursCpu, theirsCpu, bgrCpu, megapixels);
        const double oursWall = bench::MedianMilliseconds(7, [&] { ReadWithVantirel(path); });
        const double theirsWall =
            bench::MedianMilliseconds(7, [&] { ReadWithLibtiff(path, false); });
        const double bgrWall = bench::MedianMilliseconds(7, [&] { ReadWithLibtiff(path, true); });
        PrintLine(name, "wall", oursWall, theirsWall, bgrWall, megapixels);
    }
    return 0;
}
