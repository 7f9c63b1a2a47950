// Sun raster reader: the standard (uncompressed) type, depth 1, 8 or 24.
#include <algorithm>
#include <cstdlib>
#include <vector>

#include "core/ByteCursor.h"
#include "core/Error.h"
#include "core/Image.h"
#include "core/Progress.h"
#include "core/RowUtils.h"
#include "formats/ReaderRows.h"
#include "formats/Readers.h"

namespace {
constexpr const char* kPlace = "vti_RAS";
constexpr uint32_t kMagic = 0x59A66A95;
constexpr uint32_t kStandardType = 1;

// Reader scratch words.
enum : int { kScratchPixelOffset = 0, kScratchRowBytes = 1, kScratchDepth = 2 };

bool LoadSunRaster(ImageImpFile* imp, Image* image, Progress* progress);
}  // namespace

bool vti_RAS(ImageImpFile* imp) {
    ByteCursor file(imp->data, imp->size);
    const uint32_t magic = file.BE32();
    const uint32_t width = file.BE32();
    const uint32_t height = file.BE32();
    const uint32_t depth = file.BE32();
    file.BE32();  // length of the pixel data, not needed
    const uint32_t type = file.BE32();
    file.BE32();  // colour-map type: the length says all
    const int32_t mapLength = static_cast<int32_t>(file.BE32());
    if (magic != kMagic) return SetError(kPlace, "Not a sun raster file");

    imp->ready = true;
    imp->rowLoader = LoadSunRaster;
    imp->width = static_cast<int32_t>(width);
    imp->height = static_cast<int32_t>(height);
    imp->depth = static_cast<int32_t>(depth);
    if (type != kStandardType) return SetError(kPlace, "Can't handle non-standard encoding");

    uint64_t rowBytes;
    if (depth == 1) {
        // Bitmap rows are padded to 16 bits, as the format requires.
        imp->stride = SaturatedInt32((uint64_t{width} + 15) & ~uint64_t{15});
        rowBytes = ((uint64_t{width} + 15) & ~uint64_t{15}) / 8;
    } else if (depth == 8 || depth == 24) {
        // Deeper rows are read without their 16-bit padding: pictures of odd
        // width shear. The stride is set here so that neither a grey ramp
        // nor a colour map added later changes it.
        rowBytes = uint64_t{width} * (depth / 8);
        imp->stride = SaturatedInt32(rowBytes);
    } else {
        return SetError(kPlace, "Unsupported bitdepth");
    }

    if (mapLength < 1) {
        if (depth == 1) imp->colourModel = kColourGreyInverted;  // 0 is white
        if (depth == 8) imp->colourModel = kColourGrey;
    } else {
        const unsigned entries = static_cast<unsigned>(mapLength) / 3;
        if (entries > 256) return SetError(kPlace, "Too large colormap");
        imp->palette = AllocPaletteBlock();
        // The map is all red bytes, then all green, then all blue. Only
        // 3 * entries bytes are taken; the rest of a length that is not a
        // multiple of 3 is read as pixels.
        for (unsigned i = 0; imp->palette && i < entries; ++i) {
            imp->palette[3 * i] = file.ByteAt(32 + i);
            imp->palette[3 * i + 1] = file.ByteAt(32 + entries + i);
            imp->palette[3 * i + 2] = file.ByteAt(32 + 2 * entries + i);
        }
        file.Skip(3 * entries);
        // A colour picture keeps no palette (it would pass for an indexed
        // one downstream); the map is still stepped over.
        if (depth == 24) {
            std::free(imp->palette);
            imp->palette = nullptr;
        }
    }

    imp->scratch[kScratchPixelOffset] = file.Position();
    imp->scratch[kScratchRowBytes] = static_cast<uintptr_t>(std::min<uint64_t>(rowBytes, SIZE_MAX / 16));
    imp->scratch[kScratchDepth] = depth;
    return true;
}

namespace {

bool LoadSunRaster(ImageImpFile* imp, Image* image, Progress* progress) {
    const size_t pixelOffset = imp->scratch[kScratchPixelOffset];
    const size_t rowBytes = imp->scratch[kScratchRowBytes];
    const int height = std::max(image->height, 0);
    ReportStatus(progress, "Reading", 0, 100);
    std::vector<uint8_t> spare;
    RowWriter writer(image);
    for (int row = 0; row < height; ++row) {
        const uint64_t at = pixelOffset + row * uint64_t{rowBytes};
        if (at >= imp->size) break;  // a short file keeps what it has
        const uint8_t* in = SourceBytes(imp->data, imp->size, at, rowBytes, &spare);
        if (imp->scratch[kScratchDepth] == 1) {
            uint8_t* out = writer.Begin(row, rowBytes * 8);
            Unpack1Bit(out, in, rowBytes);
            writer.Commit();
        } else {
            PutBytes(image, static_cast<uint64_t>(row) * image->stride, in, rowBytes);
        }
    }
    return true;
}

}  // namespace
