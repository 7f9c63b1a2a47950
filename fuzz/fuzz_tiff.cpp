// The TIFF reader: directory, strips, LZW and PackBits data, predictor.
#include <cstddef>
#include <cstdint>

#include "fuzz/FuzzSupport.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzOpenAndLoad(data, size, "tif", false);
    return 0;
}
