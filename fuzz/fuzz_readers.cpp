// The TARGA, PCX, IFF, PBMPLUS, Sun raster, MacPaint, Neochrome and Pictor
// readers: the first byte picks the extension, the rest is the file. No
// probing, so each input reaches the chosen reader.
#include <cstddef>
#include <cstdint>
#include <iterator>

#include "fuzz/FuzzSupport.h"

namespace {
constexpr const char* kExtensions[] = {"tga", "pcx", "iff", "lbm", "pbm", "pgm", "ppm",
                                       "ras", "mac", "neo", "pic"};
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 1) return 0;
    FuzzOpenAndLoad(data + 1, size - 1, kExtensions[data[0] % std::size(kExtensions)], false);
    return 0;
}
