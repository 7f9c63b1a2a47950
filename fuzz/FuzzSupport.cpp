#include "fuzz/FuzzSupport.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <string>

#include "core/Image.h"
#include "core/ImageImpFile.h"
#include "core/Platform.h"

namespace {
void Silent(const char*, const char*) {}

// Pictures bigger than this are not loaded: the pixel block of a fuzzed
// header could be gigabytes, and an allocation the system refuses (as a
// negative block size is) ends the program by design. Everything else is
// loaded as the program would load it, negative widths and heights included.
constexpr int64_t kMaxPixels = int64_t{1} << 24;

bool Reasonable(int64_t width, int64_t height, int64_t stride, int64_t rows) {
    const int64_t w = width < 0 ? -width : width;
    const int64_t h = height < 0 ? -height : height;
    return stride >= 0 && rows >= -1 && w * h <= kMaxPixels && w <= kMaxPixels && h <= kMaxPixels &&
           (rows + 1) * stride <= 4 * kMaxPixels;
}
}  // namespace

void FuzzOpenAndLoad(const uint8_t* data, size_t size, const char* extension, bool probeAll) {
    platform::SetMessageBoxHook(Silent);
    static const std::string directory = [] {
        const char* shm = access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp";
        return std::string(shm) + "/vantirel-fuzz-" + std::to_string(getpid());
    }();
    const std::string path = directory + "." + extension;
    const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    if (fd < 0) return;
    size_t written = 0;
    while (written < size) {
        const ssize_t n = write(fd, data + written, size - written);
        if (n <= 0) break;
        written += static_cast<size_t>(n);
    }
    close(fd);

    {
        ImageImpFile imp(path.c_str(), nullptr, probeAll);
        if (imp.ready && Reasonable(imp.width, imp.height, imp.stride, imp.rows)) {
            Image image(imp.width, imp.height, imp.stride, imp.rows, imp.palette, imp.depth);
            Load(&imp, &image, nullptr, false);
        }
    }
    {
        // The thumbnail road: decode into the reader's intermediate image.
        ImageImpFile imp(path.c_str(), nullptr, probeAll);
        if (imp.ready && Reasonable(imp.width2, imp.height2, imp.stride2, imp.rows2)) {
            Image thumbnail(32, 24, 96, 24, nullptr, 24);
            Load(&imp, &thumbnail, nullptr, true);
        }
    }
    unlink(path.c_str());
}
