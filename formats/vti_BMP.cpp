// Reader for the device-independent bitmap family: bitmap files (also behind
// a "BA" bitmap-array header), DIBs, run-length bitmaps, icons and cursors.
// The content decides the variant, not the extension.
#include <algorithm>
#include <cstring>
#include <vector>

#include "core/ByteCursor.h"
#include "core/Error.h"
#include "core/Image.h"
#include "core/Progress.h"
#include "core/RowUtils.h"
#include "formats/Readers.h"

namespace {
constexpr const char* kPlace = "vti_BMP/DIB";

// Reader scratch words.
enum : int { kScratchCompression = 0, kScratchPixelOffset = 1 };
enum Compression : uintptr_t { kRaw = 0, kRle8 = 1, kRle4 = 2 };

struct IconChoice {
    unsigned width = 0, height = 0, bitCount = 0;
    uint32_t offset = 0;
};

// Walks at most the first 8 directory entries (16 bytes each from
// `directory`); an entry replaces the current choice when its width, height
// and bit count are each at least as large, so ties go to the later entry.
IconChoice ChooseIcon(const ByteCursor& file, size_t directory, unsigned count) {
    auto entry = [&](unsigned i) {
        const size_t at = directory + 16 * static_cast<size_t>(i);
        IconChoice e;
        e.width = file.ByteAt(at);
        e.height = file.ByteAt(at + 1);
        e.bitCount = file.LE16At(at + 6);
        e.offset = file.LE32At(at + 12);
        return e;
    };
    IconChoice chosen = entry(0);
    for (unsigned i = 0; i < std::min(count, 8u); ++i) {
        const IconChoice e = entry(i);
        if (e.width >= chosen.width && e.height >= chosen.height && e.bitCount >= chosen.bitCount)
            chosen = e;
    }
    return chosen;
}

bool LoadBitmap(ImageImpFile* imp, Image* image, Progress* progress);
}  // namespace

bool vti_BMP(ImageImpFile* imp) {
    const ByteCursor file(imp->data, imp->size);
    // A bitmap array is read as its first bitmap, 14 bytes in; offsets inside
    // stay relative to the start of the whole file.
    const size_t base = (file.ByteAt(0) == 'B' && file.ByteAt(1) == 'A') ? 14 : 0;

    int32_t width, height;
    unsigned planes, depth;
    uint32_t compression = 0;
    size_t paletteAt, paletteEntrySize;
    uint32_t pixelOffset;

    const unsigned firstWord = file.LE16At(base);
    if (firstWord != 0) {
        if (firstWord != ('B' | ('M' << 8))) return SetError(kPlace, "Not a BMP file");
        pixelOffset = file.LE32At(base + 10);
        const size_t info = base + 14;
        const uint32_t infoSize = file.LE32At(info);
        if (infoSize == 12) {
            width = file.LE16At(info + 4);
            height = file.LE16At(info + 6);
            planes = file.LE16At(info + 8);
            depth = file.LE16At(info + 10);
            paletteEntrySize = 3;
        } else if (infoSize == 40) {
            width = static_cast<int32_t>(file.LE32At(info + 4));
            height = static_cast<int32_t>(file.LE32At(info + 8));
            planes = file.LE16At(info + 12);
            depth = file.LE16At(info + 14);
            compression = file.LE32At(info + 16);
            paletteEntrySize = 4;
        } else {
            return SetError(kPlace, "Unknown DIB header type!");
        }
        paletteAt = info + infoSize;
    } else {
        const unsigned type = file.LE16At(base + 2);
        if (type != 1 && type != 2) return SetError(kPlace, "Not an icon/cursor file");
        const IconChoice icon = ChooseIcon(file, base + 6, file.LE16At(base + 4));
        if (static_cast<int64_t>(icon.offset) >= static_cast<int64_t>(imp->size) - 40)
            return SetError(kPlace, "Not a valid Icon/Cursor file");
        // The directory gives the size: the info header's height counts both
        // the colour and the mask bitmap. The mask is never read.
        width = static_cast<int32_t>(icon.width);
        height = static_cast<int32_t>(icon.height);
        planes = file.LE16At(icon.offset + 12);
        depth = file.LE16At(icon.offset + 14);
        paletteAt = icon.offset + 40;
        paletteEntrySize = 4;
        pixelOffset = static_cast<uint32_t>(paletteAt + (depth <= 8 ? 4u << depth : 0u));
    }

    imp->ready = true;
    if (planes != 1) return SetError(kPlace, "Unsupported plane number");
    if (depth < 5)
        imp->stride = static_cast<int32_t>((static_cast<uint32_t>(width) + 7) & ~7u);
    else if (depth <= 8)
        imp->stride = width;
    else if (depth <= 16)
        return SetError(kPlace, "16bit .bmp-bitmaps not supported");
    else if (depth <= 24)
        imp->stride = static_cast<int32_t>(3u * static_cast<uint32_t>(width));
    else
        return SetError(kPlace, "32bit .bmp-bitmaps not supported");

    if (depth <= 8) imp->palette = AllocPaletteBlock();
    if (compression == kRle8 || compression == kRle4)
        imp->compression = "RLE";
    else if (compression != kRaw)
        return SetError(kPlace, "Unsupported compression scheme");

    // As many entries as the depth can address, whatever the colours-used
    // count says.
    if (imp->palette && depth <= 8) {
        for (unsigned i = 0; i < (1u << depth); ++i) {
            const size_t at = paletteAt + i * paletteEntrySize;
            imp->palette[3 * i] = file.ByteAt(at + 2);
            imp->palette[3 * i + 1] = file.ByteAt(at + 1);
            imp->palette[3 * i + 2] = file.ByteAt(at);
        }
    }

    imp->width = width;
    imp->height = height;
    imp->depth = static_cast<int32_t>(depth);
    imp->scratch[kScratchCompression] = compression;
    imp->scratch[kScratchPixelOffset] = pixelOffset;
    imp->rowLoader = LoadBitmap;
    return true;
}

namespace {

// Copies up to `count` source bytes into the image at byte `offset`, never
// past the pixel block.
void PutBytes(Image* image, size_t offset, const uint8_t* source, size_t count) {
    if (count == 0 || offset >= image->PixelBytes()) return;
    count = std::min(count, image->PixelBytes() - offset);
    std::memcpy(image->pixels + offset, source, count);
}

void LoadUncompressed(ImageImpFile* imp, Image* image, uint32_t pixelOffset) {
    const int depth = imp->depth;
    // The source row size truncates the bit count before padding, so rows
    // whose bits do not fill whole bytes can come out one 32-bit word short
    // (1-bit rows of 33 pixels are 4 bytes). Files are read with exactly this
    // step. The width is a signed number: the few negative widths that get
    // this far (-7 to -1, whose stride rounds to 0) give rows of no bytes.
    const int64_t signedRowSize =
        (static_cast<int64_t>(image->width) * depth / 8 + 3) & ~static_cast<int64_t>(3);
    if (signedRowSize <= 0) return;
    const size_t rowSize = static_cast<size_t>(signedRowSize);
    const int expansion = depth == 1 ? 8 : depth == 4 ? 2 : 1;
    if (depth != 1 && depth != 4 && depth != 8 && depth != 24) return;  // pixels left as they are
    // No row can bring more bytes than the file holds: a header announcing a
    // huge width must not cost a huge buffer.
    const size_t unpackBytes = std::min<size_t>(rowSize, imp->size);
    std::vector<uint8_t> unpacked(unpackBytes * static_cast<size_t>(expansion));

    // The file stores rows bottom-up: the last source row is picture row 0.
    for (int row = 0; row < image->height; ++row) {
        const uint64_t sourceAt =
            pixelOffset + static_cast<uint64_t>(image->height - 1 - row) * rowSize;
        if (sourceAt >= imp->size) continue;  // a short file keeps what it has
        const size_t available = std::min<uint64_t>(rowSize, imp->size - sourceAt);
        const uint8_t* source = imp->data + sourceAt;
        const size_t destinationAt = static_cast<size_t>(row) * static_cast<size_t>(image->stride);
        // Whole source rows, padding included, are unpacked or copied; the
        // overrun lands in the next row or the spare row.
        if (depth == 1) {
            Unpack1Bit(unpacked.data(), source, available);
            PutBytes(image, destinationAt, unpacked.data(), available * 8);
        } else if (depth == 4) {
            Unpack4Bit(unpacked.data(), source, available);
            PutBytes(image, destinationAt, unpacked.data(), available * 2);
        } else {
            PutBytes(image, destinationAt, source, available);
        }
    }
}

// Run-length decoding, 8-bit and 4-bit. The output starts at the beginning
// of the bottom row and moves upwards. Pixels beyond the right edge of the
// picture or outside it are dropped (some writers pad every row's runs to a
// multiple of four pixels; those pixels must not land in the next row), and
// the end of the file ends decoding like an end-of-bitmap code.
void LoadRunLength(ImageImpFile* imp, Image* image, uint32_t pixelOffset, bool fourBit) {
    ByteCursor source(imp->data, imp->size, pixelOffset);
    const int64_t stride = image->stride;
    const int64_t blockBytes = static_cast<int64_t>(image->PixelBytes());
    int64_t y = image->height - 1;
    int64_t x = 0;
    const int64_t width = image->width;
    auto put = [&](uint8_t value) {
        const int64_t at = y * stride + x;
        if (x < width && at >= 0 && at < blockBytes) image->pixels[at] = value;
        ++x;
    };

    while (source.Remaining() >= 2) {
        const unsigned count = source.U8();
        const unsigned value = source.U8();
        if (count > 0) {
            for (unsigned i = 0; i < count; ++i)
                put(static_cast<uint8_t>(!fourBit ? value : (i & 1) ? value & 15 : value >> 4));
        } else if (value == 0) {  // end of line
            --y;
            x = 0;
        } else if (value == 1) {  // end of bitmap
            break;
        } else if (value == 2) {  // delta: right dx, up dy
            const unsigned dx = source.U8();
            const unsigned dy = source.U8();
            x += dx;
            y -= dy;
        } else {  // absolute run of `value` pixels
            if (!fourBit) {
                for (unsigned i = 0; i < value && !source.AtEnd(); ++i) put(source.U8());
            } else {
                unsigned byte = 0;
                for (unsigned i = 0; i < value; ++i) {
                    if ((i & 1) == 0) {
                        if (source.AtEnd()) break;
                        byte = source.U8();
                    }
                    put(static_cast<uint8_t>((i & 1) ? byte & 15 : byte >> 4));
                }
            }
            // Absolute runs end on a 16-bit boundary of the source.
            if (source.Position() & 1) source.Skip(1);
        }
    }
}

bool LoadBitmap(ImageImpFile* imp, Image* image, Progress* progress) {
    const uint32_t pixelOffset = static_cast<uint32_t>(imp->scratch[kScratchPixelOffset]);
    switch (imp->scratch[kScratchCompression]) {
        case kRle8:
        case kRle4:
            ReportStatus(progress, "RLE decoding", 0, 100);
            LoadRunLength(imp, image, pixelOffset, imp->scratch[kScratchCompression] == kRle4);
            break;
        default:
            ReportStatus(progress, "Reading", 0, 100);
            LoadUncompressed(imp, image, pixelOffset);
            break;
    }
    return true;
}

}  // namespace
