// ZSoft PC Paintbrush reader: 1-bit pictures of 1 to 8 bit planes, 8-bit
// pictures of one plane with a 256-colour palette, and 24-bit pictures as
// three 8-bit planes; raw or PCX run-length encoded.
#include <algorithm>
#include <cstring>
#include <memory>
#include <vector>

#include "core/ByteCursor.h"
#include "core/Error.h"
#include "core/Image.h"
#include "core/Progress.h"
#include "core/RowUtils.h"
#include "formats/ReaderRows.h"
#include "formats/Readers.h"

namespace {
constexpr const char* kPlace = "vti_PCX";

// Reader scratch words.
enum : int {
    kScratchDataLength = 0,
    kScratchPlanes = 1,
    kScratchBits = 2,
    kScratchBytesPerLine = 3,
    kScratchRunLength = 4,
};
constexpr size_t kHeaderBytes = 128;
constexpr size_t kPaletteTrailer = 769;  // the byte 12 and 768 bytes of triples
constexpr uint8_t kPaletteMarker = 12;

// The palette of files older than version 2. Entry 1 is white, so that
// two-colour pictures show black on white.
constexpr uint8_t kFixedPalette[16][3] = {
    {0, 0, 0},     {255, 255, 255}, {0, 170, 0},    {0, 170, 170},   {170, 0, 0},   {170, 0, 170},
    {170, 170, 0}, {170, 170, 170}, {85, 85, 85},   {85, 85, 255},   {85, 255, 85}, {85, 255, 255},
    {255, 85, 85}, {255, 85, 255},  {255, 255, 85}, {255, 255, 255},
};

bool LoadPaintbrush(ImageImpFile* imp, Image* image, Progress* progress);
}  // namespace

bool vti_PCX(ImageImpFile* imp) {
    const ByteCursor file(imp->data, imp->size);
    const unsigned version = file.ByteAt(1);
    const unsigned encoding = file.ByteAt(2);
    const unsigned xmin = file.LE16At(4);
    const unsigned ymin = file.LE16At(6);
    const unsigned xmax = file.LE16At(8);
    const unsigned ymax = file.LE16At(10);
    const unsigned bytesPerLine = file.LE16At(66);
    unsigned planes = file.ByteAt(65);
    unsigned bits = file.ByteAt(3);
    // Version 0 files give their plane count in the bits-per-pixel byte.
    if (version == 0) {
        planes = bits;
        bits = 1;
    }
    const unsigned depth = bits * planes;
    if (depth < 1 || depth > 24 || encoding > 1 || xmin >= xmax || ymin >= ymax)
        return SetError(kPlace, "Not a PC-Paintbrush file");

    const int width = static_cast<int>(xmax - xmin + 1);
    imp->ready = true;
    imp->width = width;
    imp->height = static_cast<int32_t>(ymax - ymin + 1);
    imp->depth = static_cast<int32_t>(depth);
    imp->rowLoader = LoadPaintbrush;
    if (encoding == 1) imp->compression = "RLE";

    size_t dataLength = imp->size > kHeaderBytes ? imp->size - kHeaderBytes : 0;
    if (depth <= 8) {
        imp->palette = AllocPaletteBlock();
        if (imp->palette) {
            if (version < 2) {
                std::memcpy(imp->palette, kFixedPalette, sizeof kFixedPalette);
            } else if (version >= 5 && imp->size >= kPaletteTrailer &&
                       file.ByteAt(imp->size - kPaletteTrailer) == kPaletteMarker) {
                std::memcpy(imp->palette, imp->data + imp->size - 768, 768);
                dataLength = dataLength > kPaletteTrailer ? dataLength - kPaletteTrailer : 0;
            } else {
                for (size_t i = 0; i < 48; ++i) imp->palette[i] = file.ByteAt(16 + i);
            }
        }
    }

    if (bits == 8 && planes == 1)
        imp->stride = (width + 1) & ~1;
    else if (bits == 8 && planes == 3)
        imp->stride = 3 * width;
    else if (bits == 1 && planes <= 8)
        imp->stride = (width + 15) & ~15;
    else
        return SetError(kPlace, "Unsupported planar mode");

    imp->scratch[kScratchDataLength] = dataLength;
    imp->scratch[kScratchPlanes] = planes;
    imp->scratch[kScratchBits] = bits;
    imp->scratch[kScratchBytesPerLine] = bytesPerLine;
    imp->scratch[kScratchRunLength] = encoding;
    return true;
}

namespace {

// PCX run-length: a byte of 192 or more repeats the next byte (byte & 63)
// times (0 times for 192), anything else is itself. The input count goes
// down by one per literal and two per run; decoding ends when it is used up
// (or the output buffer is full).
void DecodeRunLength(const uint8_t* in, size_t inLength, uint8_t* out, size_t outLength) {
    size_t produced = 0;
    size_t remaining = inLength;
    while (remaining > 0) {
        const unsigned byte = *in++;
        if (byte >= 192) {
            // A run whose value byte lies past the data reads as zero.
            const uint8_t value = remaining >= 2 ? *in++ : 0;
            remaining = remaining >= 2 ? remaining - 2 : 0;
            const size_t count = std::min<size_t>(byte & 63, outLength - produced);
            std::memset(out + produced, value, count);
            produced += count;
        } else {
            --remaining;
            if (produced < outLength) out[produced++] = static_cast<uint8_t>(byte);
        }
        if (produced == outLength) break;
    }
}

bool LoadPaintbrush(ImageImpFile* imp, Image* image, Progress* progress) {
    const unsigned planes = static_cast<unsigned>(imp->scratch[kScratchPlanes]);
    const unsigned bits = static_cast<unsigned>(imp->scratch[kScratchBits]);
    const size_t bytesPerLine = imp->scratch[kScratchBytesPerLine];
    const int width = std::max(image->width, 0);
    const int height = std::max(image->height, 0);

    ReportStatus(progress, "Decoding", 0, 100);
    size_t lineBytes = bytesPerLine * planes;
    if (lineBytes == 0) lineBytes = (static_cast<size_t>(width) + 7) / 8 * bits * planes;

    const uint8_t* data = imp->data + std::min<size_t>(imp->size, kHeaderBytes);
    size_t dataLength = imp->scratch[kScratchDataLength];
    std::unique_ptr<ScratchBlock> decoded;
    if (imp->scratch[kScratchRunLength]) {
        // Room for three times the scan lines, as this reader has always
        // given, but never more than the data can unpack to: two bytes make
        // at most 63, one byte one. (Bytes per line is a header field of its
        // own, so the scan lines alone could ask for gigabytes of a small
        // file.) What the data does not reach reads as zeros either way.
        const uint64_t lines = static_cast<uint64_t>(lineBytes) * static_cast<uint64_t>(height) * 3;
        decoded =
            std::make_unique<ScratchBlock>(std::min<uint64_t>(lines, uint64_t{32} * dataLength));
        DecodeRunLength(data, dataLength, decoded->data(), decoded->size());
        data = decoded->data();
        dataLength = decoded->size();
        ReportProgress(progress, 50, 100);
    }

    std::vector<uint8_t> spare;
    std::vector<uint8_t> planeBytes;
    RowWriter writer(image);
    const size_t stride = static_cast<size_t>(std::max(image->stride, 0));
    for (int row = 0; row < height; ++row) {
        const uint64_t at = static_cast<uint64_t>(row) * lineBytes;
        if (bits == 1) {
            // bytesPerLine * 8 pixels, planes one after the other in the
            // line. A row runs on into the next, which overwrites it from
            // its own start: so only the part up to there is converted (for
            // the last row, as far as the pixel block goes). Bytes per line
            // is a header field of its own and may make a scan line far
            // longer than the picture is wide.
            const size_t reach = row + 1 < height ? stride : image->BytesFromRow(row);
            const size_t perPlane = std::min(bytesPerLine, (reach + 7) / 8);
            if (perPlane == 0) continue;  // lines of 0 bytes unpack to nothing
            planeBytes.resize(perPlane * planes);
            for (unsigned plane = 0; plane < planes; ++plane) {
                const uint8_t* in = SourceBytes(
                    data, dataLength, at + uint64_t{plane} * bytesPerLine, perPlane, &spare);
                std::memcpy(planeBytes.data() + plane * perPlane, in, perPlane);
            }
            uint8_t* out = writer.Begin(row, perPlane * 8);
            BitPlanesToIndices(out, planeBytes.data(), static_cast<int>(perPlane * 8),
                               static_cast<int>(planes), static_cast<ptrdiff_t>(perPlane));
            writer.Commit();
        } else if (planes == 3) {
            // The planes are width bytes apart, whatever bytes-per-line says.
            const size_t need = 3 * static_cast<size_t>(width);
            const uint8_t* in = SourceBytes(data, dataLength, at, need, &spare);
            uint8_t* out = writer.Begin(row, 3 * static_cast<size_t>(width));
            PlanesToPixels(out, in, width, width);
            writer.Commit();
        } else {
            const size_t copy =
                std::min<size_t>(static_cast<size_t>(std::max(image->stride, 0)), lineBytes);
            const uint8_t* in = SourceBytes(data, dataLength, at, copy, &spare);
            PutBytes(image, static_cast<uint64_t>(row) * image->stride, in, copy);
        }
    }
    return true;
}

}  // namespace
