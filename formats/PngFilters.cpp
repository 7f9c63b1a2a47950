#include "formats/PngFilters.h"

#include <cstdlib>

uint8_t PaethPredictor(int a, int b, int c) {
    const int p = a + b - c;
    const int pa = std::abs(p - a);
    const int pb = std::abs(p - b);
    const int pc = std::abs(p - c);
    if (pa <= pb && pa <= pc) return static_cast<uint8_t>(a);
    if (pb <= pc) return static_cast<uint8_t>(b);
    return static_cast<uint8_t>(c);
}

void UnfilterPngRow(unsigned filterType, uint8_t* row, const uint8_t* previous, size_t rowBytes,
                    size_t pixelBytes) {
    if (pixelBytes == 0) pixelBytes = 1;
    const size_t lead = pixelBytes < rowBytes ? pixelBytes : rowBytes;
    // Bytes of the first pixel have no left neighbour (0); on the first row
    // of a pass nothing is above (0 as well).
    switch (filterType) {
        case kPngFilterSub:
            for (size_t i = pixelBytes; i < rowBytes; ++i)
                row[i] = static_cast<uint8_t>(row[i] + row[i - pixelBytes]);
            break;
        case kPngFilterUp:
            if (!previous) break;
            for (size_t i = 0; i < rowBytes; ++i) row[i] = static_cast<uint8_t>(row[i] + previous[i]);
            break;
        case kPngFilterAverage:
            if (!previous) {
                for (size_t i = pixelBytes; i < rowBytes; ++i)
                    row[i] = static_cast<uint8_t>(row[i] + (row[i - pixelBytes] >> 1));
                break;
            }
            for (size_t i = 0; i < lead; ++i) row[i] = static_cast<uint8_t>(row[i] + (previous[i] >> 1));
            for (size_t i = pixelBytes; i < rowBytes; ++i)
                row[i] = static_cast<uint8_t>(row[i] + ((row[i - pixelBytes] + previous[i]) >> 1));
            break;
        case kPngFilterPaeth:
            if (!previous) {
                // With nothing above, the predictor always picks the left byte.
                for (size_t i = pixelBytes; i < rowBytes; ++i)
                    row[i] = static_cast<uint8_t>(row[i] + row[i - pixelBytes]);
                break;
            }
            // With nothing on the left, it picks the byte above.
            for (size_t i = 0; i < lead; ++i) row[i] = static_cast<uint8_t>(row[i] + previous[i]);
            for (size_t i = pixelBytes; i < rowBytes; ++i) {
                const int a = row[i - pixelBytes];
                const int b = previous[i];
                const int c = previous[i - pixelBytes];
                row[i] = static_cast<uint8_t>(row[i] + PaethPredictor(a, b, c));
            }
            break;
        default:  // none, and unknown types: the row as it stands
            break;
    }
}
