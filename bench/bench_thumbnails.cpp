// The index window's thumbnails against djpeg -scale 1/8 on the same files.
//
// Ours is the index's own path for each file: open it (every reader may be
// tried), fit the picture into the thumbnail box keeping its aspect, and
// load into a new image, which for a JPEG is the one-eighth decode followed
// by bicubic resampling into the box. djpeg is started once per file with
// -scale 1/8 and its output thrown away, so its figures include starting the
// process. Each side runs over all files REPEATS times; the best pass counts
// (the machine may be shared). Prints wall and CPU time of both and the
// ratio djpeg / ours (above 1: the thumbnails are faster).
//
// Usage: bench_thumbnails [-n REPEATS] [-s WxH] FILE.jpg...
//        (bench/make_thumbnail_files.sh makes 100 files of 12 megapixels)
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>
#include <vector>

#include "app/IndexLogic.h"
#include "core/Image.h"
#include "core/ImageImpFile.h"
#include "core/Settings.h"

extern char** environ;

namespace {

struct Times {
    double wall = 1e30;  // seconds
    double cpu = 1e30;
};

double WallSeconds() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

double ProcessCpuSeconds() {
    timespec now;
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

double ChildrenCpuSeconds() {
    rusage usage;
    getrusage(RUSAGE_CHILDREN, &usage);
    auto seconds = [](const timeval& t) { return t.tv_sec + t.tv_usec * 1e-6; };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

// One thumbnail as the index makes it; false when the file did not load.
bool MakeThumbnail(const char* path, int boxWidth, int boxHeight) {
    ImageImpFile imp(path, nullptr, true);
    if (!imp.ready) return false;
    int width = 0;
    int height = 0;
    FitThumbnail(imp.width, imp.height, boxWidth, boxHeight, &width, &height);
    Image thumbnail(width, height, 3 * width, height, nullptr, 24);
    return Load(&imp, &thumbnail, nullptr, true);
}

bool RunDjpeg(const char* path) {
    const char* arguments[] = {VANTIREL_DJPEG, "-scale", "1/8",  "-outfile",
                               "/dev/null",    path,     nullptr};
    pid_t child = 0;
    if (posix_spawn(&child, VANTIREL_DJPEG, nullptr, nullptr, const_cast<char**>(arguments),
                    environ) != 0)
        return false;
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

}  // namespace

int main(int argc, char** argv) {
    int repeats = 3;
    int boxWidth = 88;
    int boxHeight = 66;
    std::vector<const char*> files;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "-n") == 0 && i + 1 < argc)
            repeats = std::max(1, std::atoi(argv[++i]));
        else if (std::strcmp(argv[i], "-s") == 0 && i + 1 < argc)
            std::sscanf(argv[++i], "%dx%d", &boxWidth, &boxHeight);
        else
            files.push_back(argv[i]);
    }
    if (files.empty()) {
        std::fprintf(stderr, "usage: bench_thumbnails [-n REPEATS] [-s WxH] FILE.jpg...\n");
        return 2;
    }
    // The thumbnail size is the index's setting, which also decides whether
    // the JPEG reader offers its reduced decode.
    g_settings->idx.iIconX = boxWidth;
    g_settings->idx.iIconY = boxHeight;

    Times ours;
    Times theirs;
    int failures = 0;
    for (int pass = 0; pass < repeats; ++pass) {
        double wall = WallSeconds();
        double cpu = ProcessCpuSeconds();
        for (const char* path : files)
            if (!MakeThumbnail(path, boxWidth, boxHeight)) ++failures;
        ours.wall = std::min(ours.wall, WallSeconds() - wall);
        ours.cpu = std::min(ours.cpu, ProcessCpuSeconds() - cpu);

        wall = WallSeconds();
        cpu = ChildrenCpuSeconds();
        for (const char* path : files)
            if (!RunDjpeg(path)) ++failures;
        theirs.wall = std::min(theirs.wall, WallSeconds() - wall);
        theirs.cpu = std::min(theirs.cpu, ChildrenCpuSeconds() - cpu);
    }
    if (failures) std::printf("%d runs failed\n", failures / repeats);

    const double count = static_cast<double>(files.size());
    std::printf("%zu files, box %dx%d, best of %d passes\n", files.size(), boxWidth, boxHeight,
                repeats);
    std::printf("%-28s wall %9.1f ms (%7.2f ms per file)  cpu %9.1f ms\n", "vantirel thumbnails",
                ours.wall * 1e3, ours.wall * 1e3 / count, ours.cpu * 1e3);
    std::printf("%-28s wall %9.1f ms (%7.2f ms per file)  cpu %9.1f ms\n", "djpeg -scale 1/8",
                theirs.wall * 1e3, theirs.wall * 1e3 / count, theirs.cpu * 1e3);
    std::printf("ratio djpeg / vantirel: wall %.2f, cpu %.2f\n", theirs.wall / ours.wall,
                theirs.cpu / ours.cpu);
    return failures ? 1 : 0;
}
