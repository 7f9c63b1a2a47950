// PBMPLUS reader: P1 (text bitmap), P2 (text greymap), P3 (text pixmap),
// P4 (binary bitmap), P5 (binary greymap) and P6 (binary pixmap). Samples
// are stored as they are: the maximum value is read but not used to scale.
#include <algorithm>
#include <vector>

#include "core/ByteCursor.h"
#include "core/Error.h"
#include "core/Image.h"
#include "core/Progress.h"
#include "core/RowUtils.h"
#include "formats/ReaderRows.h"
#include "formats/Readers.h"

namespace {
constexpr const char* kPlace = "vti_PxM";

// Reader scratch words.
enum : int { kScratchKind = 0, kScratchDataOffset = 1, kScratchRowBytes = 2 };

// How far the number reader looks before it gives up with 1.
constexpr int kNumberWindow = 512;

// Reads one decimal number: skips non-digits (a '#' skips to the end of its
// line), then takes digits up to the first non-digit, which it consumes. If
// it looks at 512 bytes without finishing, the answer is 1. Past the end of
// the file the bytes read as zeros, which are not digits, so a number at the
// very end still ends cleanly and a cursor at the end always answers 1.
uint32_t ReadNumber(ByteCursor* cursor) {
    if (cursor->AtEnd()) {
        cursor->Skip(kNumberWindow);
        return 1;
    }
    int looked = 0;
    unsigned byte = 0;
    for (;;) {
        if (looked == kNumberWindow) return 1;
        byte = cursor->U8();
        ++looked;
        if (byte == '#') {
            while (looked < kNumberWindow && byte != '\r' && byte != '\n') {
                byte = cursor->U8();
                ++looked;
            }
            continue;
        }
        if (byte >= '0' && byte <= '9') break;
    }
    uint32_t value = 0;
    for (;;) {
        value = value * 10 + (byte - '0');
        if (looked == kNumberWindow) return 1;
        byte = cursor->U8();
        ++looked;
        if (byte < '0' || byte > '9') return value;
    }
}

bool LoadPortable(ImageImpFile* imp, Image* image, Progress* progress);
}  // namespace

bool vti_PxM(ImageImpFile* imp) {
    ByteCursor file(imp->data, imp->size);
    const unsigned kind = file.ByteAt(1);
    if (imp->size < 2 || file.ByteAt(0) != 'P' || kind < '1' || kind > '6')
        return SetError(kPlace, "Not a PBMPlus file");

    imp->ready = true;
    imp->rowLoader = LoadPortable;
    file.Seek(2);
    const uint32_t width = ReadNumber(&file);
    const uint32_t height = ReadNumber(&file);
    imp->width = static_cast<int32_t>(width);
    imp->height = static_cast<int32_t>(height);
    size_t rowBytes;
    switch (kind) {
        case '1':
        case '4':
            imp->depth = 1;
            imp->stride = SaturatedInt32((uint64_t{width} + 7) & ~uint64_t{7});
            imp->colourModel = kColourGreyInverted;  // 0 is white, 1 black
            rowBytes = (static_cast<size_t>(width) + 7) / 8;
            break;
        case '2':
        case '5':
            imp->depth = 8;
            // Set here: the default would be taken before the grey ramp exists.
            imp->stride = SaturatedInt32(width);
            imp->colourModel = kColourGrey;
            ReadNumber(&file);  // the maximum value, never used
            rowBytes = width;
            break;
        default:
            imp->depth = 24;
            imp->stride = SaturatedInt32(3 * uint64_t{width});
            ReadNumber(&file);
            rowBytes = 3 * static_cast<size_t>(width);
            break;
    }
    if (kind <= '3') imp->compression = "Ascii";

    // Line ends after the header are passed over, so a binary picture whose
    // first byte is 10 or 13 loses that byte.
    while (!file.AtEnd() && (file.ByteAt(file.Position()) == '\r' || file.ByteAt(file.Position()) == '\n'))
        file.Skip(1);

    imp->scratch[kScratchKind] = kind - '0';
    imp->scratch[kScratchDataOffset] = file.Position();
    imp->scratch[kScratchRowBytes] = rowBytes;
    return true;
}

namespace {

bool LoadPortable(ImageImpFile* imp, Image* image, Progress* progress) {
    const unsigned kind = static_cast<unsigned>(imp->scratch[kScratchKind]);
    const size_t dataOffset = imp->scratch[kScratchDataOffset];
    const size_t rowBytes = imp->scratch[kScratchRowBytes];
    const int width = std::max(image->width, 0);
    const int height = std::max(image->height, 0);
    ByteCursor cursor(imp->data, imp->size, dataOffset);
    std::vector<uint8_t> spare;
    std::vector<uint8_t> line;
    RowWriter writer(image);

    switch (kind) {
        case 1:
        case 2:
        case 3: {
            ReportStatus(progress, "Converting", 0, 100);
            const size_t samples = kind == 3 ? 3 : 1;
            line.resize(samples * static_cast<size_t>(width));
            for (int row = 0; row < height; ++row) {
                for (int x = 0; x < width; ++x) {
                    if (samples == 1) {
                        line[x] = static_cast<uint8_t>(ReadNumber(&cursor));
                    } else {
                        line[3 * x + 2] = static_cast<uint8_t>(ReadNumber(&cursor));
                        line[3 * x + 1] = static_cast<uint8_t>(ReadNumber(&cursor));
                        line[3 * x] = static_cast<uint8_t>(ReadNumber(&cursor));
                    }
                }
                PutBytes(image, static_cast<uint64_t>(row) * image->stride, line.data(), line.size());
                if (row % 32 == 31) ReportProgress(progress, row, height);
            }
            break;
        }
        case 4:
            ReportStatus(progress, "Converting", 0, 100);
            for (int row = 0; row < height; ++row) {
                const uint8_t* in = SourceBytes(imp->data, imp->size, dataOffset + row * uint64_t{rowBytes},
                                                rowBytes, &spare);
                uint8_t* out = writer.Begin(row, rowBytes * 8);
                Unpack1Bit(out, in, rowBytes);
                writer.Commit();
            }
            break;
        default:
            ReportStatus(progress, "Reading", 0, 100);
            for (int row = 0; row < height; ++row) {
                const uint64_t at = dataOffset + row * uint64_t{rowBytes};
                if (at >= imp->size) break;  // a short file keeps what it has
                const uint8_t* in = SourceBytes(imp->data, imp->size, at, rowBytes, &spare);
                PutBytes(image, static_cast<uint64_t>(row) * image->stride, in, rowBytes);
                if (kind == 6 && image->BytesFromRow(row) >= rowBytes)
                    SwapRedBlue(image->Row(row), width, image->stride, 1);
            }
            break;
    }
    return true;
}

}  // namespace
