// Arbitrary bytes under every extension of the import table, with probing
// on: the first byte picks the extension.
#include <cstddef>
#include <cstdint>

#include "core/ImageImpFile.h"
#include "fuzz/FuzzSupport.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 1) return 0;
    const char* extension = "";
    GetImportFormat(data[0] % kImportFormatCount, &extension, nullptr);
    FuzzOpenAndLoad(data + 1, size - 1, extension, true);
    return 0;
}
