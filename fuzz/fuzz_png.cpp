// The PNG reader on its own: identify, then load what it announced.
#include <cstddef>
#include <cstdint>

#include "fuzz/FuzzSupport.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzOpenAndLoad(data, size, "png", false);
    return 0;
}
