#include "formats/PngFilters.h"

#include <cstdlib>

namespace {
// The predictor written without branches: the selections compile to
// conditional moves, which matters because on photographs the choice is
// close to random. p - a = b - c, p - b = a - c, p - c = a + b - 2c.
inline int Paeth(int a, int b, int c) {
    const int pa = std::abs(b - c);
    const int pb = std::abs(a - c);
    const int pc = std::abs(a + b - 2 * c);
    const int nearerOfLeftAndAbove = pb < pa ? b : a;  // a tie goes to left
    const int nearestDistance = pb < pa ? pb : pa;
    return pc < nearestDistance ? c : nearerOfLeftAndAbove;  // a tie goes to left or above
}

// Paeth over a whole row for pixels of N bytes: the left and upper-left
// bytes of each channel are carried along in registers.
template <size_t N>
void PaethRow(uint8_t* row, const uint8_t* previous, size_t rowBytes) {
    int left[N] = {}, upperLeft[N] = {};
    size_t i = 0;
    for (; i + N <= rowBytes; i += N) {
        for (size_t k = 0; k < N; ++k) {
            const int above = previous[i + k];
            const int value = (row[i + k] + Paeth(left[k], above, upperLeft[k])) & 0xFF;
            row[i + k] = static_cast<uint8_t>(value);
            left[k] = value;
            upperLeft[k] = above;
        }
    }
    for (size_t k = 0; i < rowBytes; ++i, ++k)
        row[i] = static_cast<uint8_t>(row[i] + Paeth(left[k], previous[i], upperLeft[k]));
}
}  // namespace

uint8_t PaethPredictor(int a, int b, int c) { return static_cast<uint8_t>(Paeth(a, b, c)); }

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
            for (size_t i = 0; i < rowBytes; ++i)
                row[i] = static_cast<uint8_t>(row[i] + previous[i]);
            break;
        case kPngFilterAverage:
            if (!previous) {
                for (size_t i = pixelBytes; i < rowBytes; ++i)
                    row[i] = static_cast<uint8_t>(row[i] + (row[i - pixelBytes] >> 1));
                break;
            }
            for (size_t i = 0; i < lead; ++i)
                row[i] = static_cast<uint8_t>(row[i] + (previous[i] >> 1));
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
            // With nothing on the left, the predictor picks the byte above.
            switch (pixelBytes) {
                case 1:
                    PaethRow<1>(row, previous, rowBytes);
                    break;
                case 2:
                    PaethRow<2>(row, previous, rowBytes);
                    break;
                case 3:
                    PaethRow<3>(row, previous, rowBytes);
                    break;
                case 4:
                    PaethRow<4>(row, previous, rowBytes);
                    break;
                case 6:
                    PaethRow<6>(row, previous, rowBytes);
                    break;
                case 8:
                    PaethRow<8>(row, previous, rowBytes);
                    break;
                default:
                    for (size_t i = 0; i < lead; ++i)
                        row[i] = static_cast<uint8_t>(row[i] + previous[i]);
                    for (size_t i = pixelBytes; i < rowBytes; ++i)
                        row[i] =
                            static_cast<uint8_t>(row[i] + Paeth(row[i - pixelBytes], previous[i],
                                                                previous[i - pixelBytes]));
                    break;
            }
            break;
        default:  // none, and unknown types: the row as it stands
            break;
    }
}
