// The JPEG reader: header probe, full decode and the one-eighth decode, with
// the options taken from the input's last byte so that every transform and
// upsampler is reached.
//
// A wrong restart marker ends the program by design ("QUIT!"). Here the
// message hook turns that end into an exception caught below, so the
// fuzzer goes on (and the decoder's destructors and frees still run).
#include <fcntl.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include "core/Image.h"
#include "core/ImageImpFile.h"
#include "core/Platform.h"
#include "core/Settings.h"

namespace {
struct ProgramEnd {};

void Hook(const char* caption, const char*) {
    if (std::strcmp(caption, "QUIT!") == 0) throw ProgramEnd{};
}

constexpr int64_t kMaxPixels = int64_t{1} << 24;

bool Reasonable(int64_t width, int64_t height, int64_t stride, int64_t rows) {
    return width > 0 && height > 0 && stride > 0 && rows >= 0 && width * height <= kMaxPixels &&
           (rows + 1) * stride <= 4 * kMaxPixels;
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    platform::SetMessageBoxHook(Hook);
    const uint8_t options = size ? data[size - 1] : 0;
    g_settings->jpeg.bFastDCT = options & 1;
    g_settings->jpeg.bFastUnsubsample = (options >> 1) & 1;
    // Small thumbnail sizes so that most inputs also offer the reduced decode.
    g_settings->idx.iIconX = 4;
    g_settings->idx.iIconY = 4;

    static const std::string path = [] {
        const char* shm = access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp";
        return std::string(shm) + "/vantirel-fuzz-jpeg-" + std::to_string(getpid()) + ".jpg";
    }();
    const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    if (fd < 0) return 0;
    size_t written = 0;
    while (written < size) {
        const ssize_t n = write(fd, data + written, size - written);
        if (n <= 0) break;
        written += static_cast<size_t>(n);
    }
    close(fd);

    try {
        ImageImpFile imp(path.c_str(), nullptr, false);
        if (imp.ready && Reasonable(imp.width, imp.height, imp.stride, imp.rows)) {
            Image image(imp.width, imp.height, imp.stride, imp.rows, imp.palette, imp.depth);
            Load(&imp, &image, nullptr, false);
        }
    } catch (const ProgramEnd&) {
    }
    try {
        ImageImpFile imp(path.c_str(), nullptr, false);
        // The one-eighth decode still entropy-decodes every block of the
        // full picture: a few bytes claiming 65535 x 9471 pixels keep it
        // busy for seconds (zero bits past the end), so the full size is
        // bounded here too.
        if (imp.ready && imp.rowLoader2 != imp.rowLoader &&
            Reasonable(imp.width2, imp.height2, imp.stride2, imp.rows2) &&
            Reasonable(imp.width, imp.height, imp.stride, imp.rows)) {
            Image image(imp.width2, imp.height2, imp.stride2, imp.rows2, imp.palette, imp.depth);
            imp.rowLoader2(&imp, &image, nullptr);
        }
    } catch (const ProgramEnd&) {
    }
    unlink(path.c_str());
    return 0;
}
