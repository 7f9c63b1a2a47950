// The bitmap family reader: bitmaps, run-length bitmaps, icons and cursors.
#include <cstddef>
#include <cstdint>

#include "fuzz/FuzzSupport.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzOpenAndLoad(data, size, "bmp", false);
    return 0;
}
