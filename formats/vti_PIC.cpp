// Pictor / PC Paint reader: 1-, 4- and 8-bit pictures in run-length blocks,
// 4-bit ones either packed two pixels a byte or as four bit planes.
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
constexpr const char* kPlace = "vti_PIC";
constexpr unsigned kMagic = 0x1234;
constexpr size_t kPaletteOffset = 17;
constexpr size_t kBlockHeadBytes = 5;

// Reader scratch words.
enum : int { kScratchDataOffset = 0, kScratchBits = 1, kScratchPacked = 2 };

bool LoadPictor(ImageImpFile* imp, Image* image, Progress* progress);
}  // namespace

bool vti_PIC(ImageImpFile* imp) {
    const ByteCursor file(imp->data, imp->size);
    if (imp->size < 2 || file.LE16At(0) != kMagic) return SetError(kPlace, "Not a Pictor/PC Paint file!");

    const unsigned width = file.LE16At(2);
    const unsigned height = file.LE16At(4);
    const unsigned bits = file.ByteAt(10) & 15;
    imp->ready = true;
    imp->width = static_cast<int32_t>(width);
    imp->height = static_cast<int32_t>(height);
    imp->depth = static_cast<int32_t>(bits);
    imp->rowLoader = LoadPictor;
    if (bits == 1)
        imp->stride = static_cast<int32_t>((width + 7) & ~7u);
    else if (bits == 4)
        imp->stride = static_cast<int32_t>((width + 1) & ~1u);
    else if (bits == 8)
        imp->stride = static_cast<int32_t>(width);
    else
        return SetError(kPlace, "Unsupported bitdepth");

    const unsigned paletteLength = file.LE16At(15);
    size_t dataOffset = kPaletteOffset;
    if (paletteLength == 0) {
        imp->colourModel = kColourGrey;
    } else if (paletteLength == 16) {
        // One byte per entry, two bits per component: the brightest level
        // is 3 * 32 = 96, a dim palette, kept as the files were shown.
        imp->palette = AllocPaletteBlock();
        for (unsigned i = 0; imp->palette && i < 16; ++i) {
            const unsigned b = file.ByteAt(kPaletteOffset + i);
            imp->palette[3 * i] = static_cast<uint8_t>((b & 3) * 32);
            imp->palette[3 * i + 1] = static_cast<uint8_t>(((b >> 2) & 3) * 32);
            imp->palette[3 * i + 2] = static_cast<uint8_t>(((b >> 4) & 3) * 32);
        }
        dataOffset += 16;
    } else {
        // Triples of six-bit levels.
        const unsigned entries = std::min(paletteLength / 3, 256u);
        imp->palette = AllocPaletteBlock();
        for (unsigned i = 0; imp->palette && i < 3 * entries; ++i)
            imp->palette[i] = static_cast<uint8_t>(file.ByteAt(kPaletteOffset + i) * 4);
        dataOffset += 3 * entries;
    }

    imp->scratch[kScratchDataOffset] = dataOffset;
    imp->scratch[kScratchBits] = bits;
    imp->scratch[kScratchPacked] = file.ByteAt(11) == 255;
    return true;
}

namespace {

// Unpacks the blocks into `buffer`. Block outputs are placed from the end of
// the buffer backwards: each begins its unpacked length before the start of
// the previous one. Output outside the buffer is dropped.
void DecodeBlocks(ByteCursor* source, uint8_t* buffer, size_t bufferBytes) {
    const unsigned blocks = source->LE16();
    int64_t blockStart = static_cast<int64_t>(bufferBytes);
    const int64_t end = static_cast<int64_t>(bufferBytes);
    for (unsigned block = 0; block < blocks && !source->AtEnd(); ++block) {
        const size_t headAt = source->Position();
        const unsigned blockLength = source->LE16();  // head included
        const unsigned unpackedLength = source->LE16();
        const unsigned marker = source->U8();
        const size_t packedEnd =
            headAt + std::max<size_t>(blockLength, kBlockHeadBytes);
        blockStart -= unpackedLength;
        int64_t out = blockStart;
        auto put = [&](uint8_t value, int64_t count) {
            const int64_t from = std::max<int64_t>(out, 0);
            const int64_t to = std::min<int64_t>(out + count, end);
            if (from < to) std::memset(buffer + from, value, static_cast<size_t>(to - from));
            out += count;
        };
        while (source->Position() < packedEnd && !source->AtEnd()) {
            const unsigned byte = source->U8();
            if (byte != marker) {
                put(static_cast<uint8_t>(byte), 1);
                continue;
            }
            unsigned count = source->U8();
            if (count == 0) count = source->LE16();
            put(source->U8(), count);
        }
        source->Seek(packedEnd);
    }
}

bool LoadPictor(ImageImpFile* imp, Image* image, Progress* progress) {
    const unsigned bits = static_cast<unsigned>(imp->scratch[kScratchBits]);
    const bool packed = imp->scratch[kScratchPacked] != 0;
    const int height = std::max(image->height, 0);
    const size_t announcedStride = static_cast<size_t>(std::max(imp->stride, 0));
    const size_t rowBytes = announcedStride * bits / 8;
    const uint64_t bufferBytes = uint64_t{rowBytes} * static_cast<uint64_t>(height);
    ByteCursor source(imp->data, imp->size, imp->scratch[kScratchDataOffset]);
    ReportStatus(progress, "Decoding RLE", 0, 100);

    if (bits == 8) {
        // Straight into the pixel block, then spread to the stride in place.
        if (bufferBytes <= image->PixelBytes() && image->stride >= static_cast<int>(rowBytes) &&
            static_cast<uint64_t>(height) * static_cast<uint64_t>(image->stride) <= image->PixelBytes()) {
            DecodeBlocks(&source, image->pixels, bufferBytes);
            CopyRows(image->pixels, image->stride, image->pixels, static_cast<int>(rowBytes), height);
        } else {
            ScratchBlock buffer(bufferBytes);
            DecodeBlocks(&source, buffer.data(), buffer.size());
            for (int row = 0; row < height; ++row)
                PutBytes(image, static_cast<uint64_t>(row) * image->stride, buffer.data() + row * rowBytes,
                         rowBytes);
        }
        return true;
    }

    ScratchBlock buffer(bufferBytes);
    DecodeBlocks(&source, buffer.data(), buffer.size());
    ReportStatus(progress, "Converting", 60, 100);
    std::vector<uint8_t> spare;
    RowWriter writer(image);
    for (int row = 0; row < height; ++row) {
        const uint64_t at = static_cast<uint64_t>(row) * rowBytes;
        if (bits == 1) {
            uint8_t* out = writer.Begin(row, rowBytes * 8);
            Unpack1Bit(out, buffer.data() + at, rowBytes);
            writer.Commit();
        } else if (packed) {
            uint8_t* out = writer.Begin(row, rowBytes * 2);
            Unpack4Bit(out, buffer.data() + at, rowBytes);
            writer.Commit();
        } else {
            // Four planes interleaved as 16-bit words per group of 16 pixels.
            const size_t groups = (announcedStride + 15) / 16;
            uint8_t* out = writer.Begin(row, groups * 16);
            for (size_t group = 0; group < groups; ++group) {
                const uint8_t* in = SourceBytes(buffer.data(), buffer.size(), at + 8 * group, 8, &spare);
                BitPlanesToIndices(out + 16 * group, in, 16, 4, 2);
            }
            writer.Commit();
        }
    }
    return true;
}

}  // namespace
