// Atari Neochrome reader: low-resolution pictures of interleaved bit planes
// with a 16-word colour table. Width, height and plane count come from the
// header fields at 58, 60 and 52 and are taken as they are.
#include <algorithm>
#include <cstring>
#include <vector>

#include "core/ByteCursor.h"
#include "core/Error.h"
#include "core/Image.h"
#include "core/Progress.h"
#include "core/RowUtils.h"
#include "formats/ReaderRows.h"
#include "formats/Readers.h"

namespace {
constexpr const char* kPlace = "vti_NEO";
constexpr size_t kPixelOffset = 128;
constexpr size_t kColourTable = 4;

// Reader scratch words.
enum : int { kScratchPlanes = 0 };

// A 4-bit colour level whose bit 3 is the least significant (the extended
// palette's layout) as an 8-bit level.
uint8_t Level(unsigned c) { return static_cast<uint8_t>((((c * 2) & 15) | (c >> 3)) * 16); }

bool LoadNeochrome(ImageImpFile* imp, Image* image, Progress* progress);
}  // namespace

bool vti_NEO(ImageImpFile* imp) {
    const ByteCursor file(imp->data, imp->size);
    // Flag word and resolution word: only low resolution is read.
    if (imp->size < 4 || file.LE32At(0) != 0) return SetError(kPlace, "Not an Neochrome file");

    const unsigned width = file.ByteAt(58) << 8 | file.ByteAt(59);
    const unsigned height = file.ByteAt(60) << 8 | file.ByteAt(61);
    const unsigned planes = file.ByteAt(52) << 8 | file.ByteAt(53);
    imp->ready = true;
    imp->width = static_cast<int32_t>(width);
    imp->height = static_cast<int32_t>(height);
    // One byte holds at most eight planes' bits; a larger count still steps
    // through all of its planes but is shown as an 8-bit picture.
    imp->depth = static_cast<int32_t>(std::min(planes, 8u));
    imp->stride = static_cast<int32_t>((width + 15) & ~15u);
    imp->rowLoader = LoadNeochrome;

    imp->palette = AllocPaletteBlock();
    const unsigned entries = 1u << imp->depth;
    for (unsigned i = 0; imp->palette && i < entries; ++i) {
        const unsigned b0 = file.ByteAt(kColourTable + 2 * i);
        const unsigned b1 = file.ByteAt(kColourTable + 2 * i + 1);
        imp->palette[3 * i] = Level(b0 & 15);
        imp->palette[3 * i + 1] = Level(b1 >> 4);
        imp->palette[3 * i + 2] = Level(b1 & 15);
    }
    imp->scratch[kScratchPlanes] = planes;
    return true;
}

namespace {

bool LoadNeochrome(ImageImpFile* imp, Image* image, Progress* progress) {
    const size_t planes = imp->scratch[kScratchPlanes];
    const int height = std::max(image->height, 0);
    const size_t groups = (static_cast<size_t>(std::max(image->width, 0)) + 15) / 16;
    const size_t groupBytes = planes * 2;
    ReportStatus(progress, "Converting", 0, 100);

    std::vector<uint8_t> spare;
    std::vector<uint8_t> line(groups * 16);
    uint64_t at = kPixelOffset;
    RowWriter writer(image);
    for (int row = 0; row < height; ++row) {
        for (size_t group = 0; group < groups; ++group, at += groupBytes) {
            uint8_t* out = line.data() + 16 * group;
            if (at >= imp->size) {
                std::memset(out, 0, 16);  // past the end the planes are empty
                continue;
            }
            // Each group: one 16-bit word per plane, plane 0 first.
            const uint8_t* in = SourceBytes(imp->data, imp->size, at, groupBytes, &spare);
            BitPlanesToIndices(out, in, 16, static_cast<int>(std::min<size_t>(planes, 8)), 2);
        }
        uint8_t* out = writer.Begin(row, line.size());
        std::memcpy(out, line.data(), line.size());
        writer.Commit();
    }
    return true;
}

}  // namespace
