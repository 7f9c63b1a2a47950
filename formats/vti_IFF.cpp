// IFF picture reader for the two kinds paint programs write: ILBM
// (interleaved bit planes, 1 to 8 or 24, optionally with a mask plane) and
// PBM (chunky pixels). Bodies are raw or ByteRun1.
#include <algorithm>
#include <cstring>
#include <memory>
#include <vector>

#include "core/ByteCursor.h"
#include "core/Error.h"
#include "core/Image.h"
#include "core/Progress.h"
#include "core/RowUtils.h"
#include "formats/PackBits.h"
#include "formats/ReaderRows.h"
#include "formats/Readers.h"

namespace {
constexpr const char* kPlace = "vti_IFF";

// Reader scratch words.
enum : int {
    kScratchChunky = 0,  // PBM rather than ILBM
    kScratchCompressed = 1,
    kScratchMask = 2,
    kScratchPlanes = 3,
    kScratchPlaneRowWidth = 4,  // pixels
    kScratchBody = 5,           // file offset of the BODY data
};

bool Is(const uint8_t* data, size_t size, size_t at, const char* tag) {
    return at + 4 <= size && std::memcmp(data + at, tag, 4) == 0;
}

uint32_t BigEndian32(const ByteCursor& file, size_t at) {
    return (static_cast<uint32_t>(file.ByteAt(at)) << 24) | (file.ByteAt(at + 1) << 16) |
           (file.ByteAt(at + 2) << 8) | file.ByteAt(at + 3);
}

bool LoadInterchange(ImageImpFile* imp, Image* image, Progress* progress);
}  // namespace

bool vti_IFF(ImageImpFile* imp) {
    const ByteCursor file(imp->data, imp->size);
    const uint8_t* data = imp->data;
    const size_t size = imp->size;
    if (!Is(data, size, 0, "FORM")) return SetError(kPlace, "Not an IFF style file");
    bool chunky;
    if (Is(data, size, 8, "PBM "))
        chunky = true;
    else if (Is(data, size, 8, "ILBM"))
        chunky = false;
    else
        return SetError(kPlace, "Not an ILBM ot PBM type IFF");

    imp->ready = true;
    imp->rowLoader = LoadInterchange;
    bool haveHeader = false, haveBody = false;
    unsigned planes = 0;
    uint64_t at = 12;
    while (at + 8 <= size) {
        const uint64_t length = BigEndian32(file, at + 4);
        const uint64_t chunk = at + 8;
        if (Is(data, size, at, "BMHD")) {
            const unsigned width = file.ByteAt(chunk) << 8 | file.ByteAt(chunk + 1);
            const unsigned height = file.ByteAt(chunk + 2) << 8 | file.ByteAt(chunk + 3);
            planes = file.ByteAt(chunk + 8);
            const unsigned masking = file.ByteAt(chunk + 9);
            const unsigned compression = file.ByteAt(chunk + 10);
            if (planes > 8 && planes != 24) return SetError(kPlace, "Unsupported color depth");
            const unsigned planeRowWidth = chunky ? (width + 1) & ~1u : (width + 15) & ~15u;
            imp->width = static_cast<int32_t>(width);
            imp->height = static_cast<int32_t>(height);
            imp->depth = static_cast<int32_t>(planes);
            imp->stride = static_cast<int32_t>(planeRowWidth * (planes <= 8 ? 1 : 3));
            if (compression == 1)
                imp->compression = "RLE";
            else if (compression != 0)
                return SetError(kPlace, "Unknown compression scheme");
            imp->scratch[kScratchChunky] = chunky;
            imp->scratch[kScratchCompressed] = compression;
            imp->scratch[kScratchMask] = masking == 1;
            imp->scratch[kScratchPlanes] = planes;
            imp->scratch[kScratchPlaneRowWidth] = planeRowWidth;
            haveHeader = true;
        } else if (Is(data, size, at, "CMAP")) {
            // The plane count sizes the map, so a map before the header
            // cannot be read and is passed over. It is read for as many
            // entries as the planes address, whatever the chunk length says.
            // A 24-plane picture is colour: it keeps no palette, which would
            // make it pass for an indexed one downstream.
            if (haveHeader && planes <= 8) {
                if (!imp->palette) imp->palette = AllocPaletteBlock();
                const unsigned entries = 1u << planes;
                for (unsigned i = 0; imp->palette && i < 3 * entries; ++i)
                    imp->palette[i] = file.ByteAt(chunk + i);
            }
        } else if (Is(data, size, at, "BODY")) {
            imp->scratch[kScratchBody] = static_cast<uintptr_t>(chunk);
            haveBody = true;
        }
        at = chunk + ((length + 1) & ~uint64_t{1});
    }
    if (!haveHeader) return SetError(kPlace, "No BMHD found");
    if (!haveBody) return SetError(kPlace, "No BODY found");
    return true;
}

namespace {

bool LoadInterchange(ImageImpFile* imp, Image* image, Progress* progress) {
    const bool chunky = imp->scratch[kScratchChunky] != 0;
    const unsigned planes = static_cast<unsigned>(imp->scratch[kScratchPlanes]);
    const size_t planeRowWidth = imp->scratch[kScratchPlaneRowWidth];
    const size_t rowPlanes = planes + (imp->scratch[kScratchMask] ? 1 : 0);
    const size_t rowBytes = planeRowWidth * rowPlanes / 8;
    const int width = std::max(image->width, 0);
    const int height = std::max(image->height, 0);
    const size_t bodyAt = std::min<size_t>(imp->scratch[kScratchBody], imp->size);

    const uint8_t* source = imp->data + bodyAt;
    size_t sourceSize = imp->size - bodyAt;
    std::unique_ptr<ScratchBlock> unpacked;
    if (imp->scratch[kScratchCompressed]) {
        unpacked = std::make_unique<ScratchBlock>(
            (uint64_t{planeRowWidth} * static_cast<uint64_t>(height) * rowPlanes + 7) / 8);
        ReportStatus(progress, "Decompressing", 0, 100);
        PackBitsDecode(unpacked->data(), unpacked->data() + unpacked->size(), source,
                       imp->data + imp->size, unpacked->size());
        source = unpacked->data();
        sourceSize = unpacked->size();
    }

    std::vector<uint8_t> spare;
    RowWriter writer(image);
    if (chunky) {
        for (int row = 0; row < height; ++row) {
            const uint8_t* in = SourceBytes(source, sourceSize, row * uint64_t{rowBytes}, rowBytes, &spare);
            PutBytes(image, static_cast<uint64_t>(row) * image->stride, in, rowBytes);
            if (planes == 24 && image->BytesFromRow(row) >= 3 * static_cast<size_t>(width))
                SwapRedBlue(image->Row(row), width, image->stride, 1);
        }
        return true;
    }

    ReportStatus(progress, "Converting", 60, 100);
    const ptrdiff_t planeBytes = static_cast<ptrdiff_t>(planeRowWidth / 8);
    std::vector<uint8_t> channels(3 * planeRowWidth);
    for (int row = 0; row < height; ++row) {
        // The mask plane, when there is one, is passed over by the row step.
        const uint8_t* in = SourceBytes(source, sourceSize, row * uint64_t{rowBytes}, rowBytes, &spare);
        if (planes <= 8) {
            uint8_t* out = writer.Begin(row, planeRowWidth);
            BitPlanesToIndices(out, in, static_cast<int>(planeRowWidth), static_cast<int>(planes),
                               planeBytes);
            writer.Commit();
        } else {
            // Planes 0-7 are red, 8-15 green, 16-23 blue.
            for (int channel = 0; channel < 3; ++channel)
                BitPlanesToIndices(channels.data() + channel * planeRowWidth,
                                   in + channel * 8 * planeBytes, static_cast<int>(planeRowWidth), 8,
                                   planeBytes);
            uint8_t* out = writer.Begin(row, 3 * static_cast<size_t>(width));
            PlanesToPixels(out, channels.data(), width, static_cast<ptrdiff_t>(planeRowWidth));
            writer.Commit();
        }
    }
    return true;
}

}  // namespace
