// Truevision TARGA reader: colour-mapped (type 1), true-colour (type 2) and
// grey (type 3) pictures, raw or run-length encoded (types 9, 10, 11).
#include <algorithm>
#include <cstdlib>
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
constexpr const char* kPlace = "vti_TGA";

// Reader scratch words.
enum : int { kScratchPixelOffset = 0, kScratchBytesPerPixel = 1, kScratchRunLength = 2, kScratchFlip = 3 };

// Image descriptor bits.
constexpr unsigned kRightToLeft = 0x10;
constexpr unsigned kTopDown = 0x20;

bool LoadTarga(ImageImpFile* imp, Image* image, Progress* progress);
}  // namespace

bool vti_TGA(ImageImpFile* imp) {
    const ByteCursor file(imp->data, imp->size);
    const unsigned idLength = file.ByteAt(0);
    const unsigned mapType = file.ByteAt(1);
    const unsigned imageType = file.ByteAt(2);
    const unsigned mapLength = file.LE16At(5);
    const unsigned mapEntryBits = file.ByteAt(7);
    const unsigned width = file.LE16At(12);
    const unsigned height = file.LE16At(14);
    const unsigned pixelBits = file.ByteAt(16);
    const unsigned descriptor = file.ByteAt(17);
    const unsigned kind = imageType & 7;

    // The format has no signature: an implausible header is simply not ours.
    if ((descriptor & kRightToLeft) || mapLength > 3072 || mapEntryBits > 32 || pixelBits > 32 ||
        (pixelBits != 8 && pixelBits != 15 && pixelBits != 16 && pixelBits != 24 &&
         pixelBits != 32) ||
        kind > 3)
        return SetError(kPlace, "Not a targa file");

    const unsigned bytesPerPixel = pixelBits == 15 ? 2 : pixelBits / 8;
    const bool runLength = (imageType & 8) != 0;
    imp->ready = true;
    imp->width = static_cast<int32_t>(width);
    imp->height = static_cast<int32_t>(height);
    // 15-, 16- and 32-bit pixels are stored as 24-bit blue, green, red, so
    // the picture is announced with the depth it has in memory.
    imp->depth = bytesPerPixel == 1 ? 8 : 24;
    imp->stride = static_cast<int32_t>(bytesPerPixel == 1 ? width : 3 * width);
    imp->rowLoader = LoadTarga;
    if (runLength) imp->compression = "RLE";

    if (descriptor >= 64) return SetError(kPlace, "Can't handle interleaved images");
    if (mapType >= 2) return SetError(kPlace, "Can't handle cmap type");
    if (mapLength == 0 && mapType == 1) return SetError(kPlace, "Nonexisting colormap");
    if (mapLength >= 257) return SetError(kPlace, "Colormap too large");

    size_t at = 18 + idLength;
    if (mapLength > 0) {
        if (mapEntryBits != 16 && mapEntryBits != 24 && mapEntryBits != 32)
            return SetError(kPlace, "Unsupported colormap depth");
        imp->palette = AllocPaletteBlock();
        for (unsigned i = 0; imp->palette && i < mapLength; ++i) {
            uint8_t* entry = imp->palette + 3 * i;
            if (mapEntryBits == 16) {
                // Map entries are scaled by 8 only; pixels get 8 and 2.
                const unsigned x = file.LE16At(at);
                entry[0] = static_cast<uint8_t>(((x >> 10) & 31) * 8);
                entry[1] = static_cast<uint8_t>(((x >> 5) & 31) * 8);
                entry[2] = static_cast<uint8_t>((x & 31) * 8);
                at += 2;
            } else {
                entry[0] = file.ByteAt(at + 2);
                entry[1] = file.ByteAt(at + 1);
                entry[2] = file.ByteAt(at);
                at += mapEntryBits / 8;
            }
        }
    }

    if (kind == 0) return SetError(kPlace, "No image in file");
    if (kind == 1) {
        if (pixelBits != 8 || mapType != 1) return SetError(kPlace, "Invalid format");
    } else if (kind == 2) {
        if (pixelBits < 16 || pixelBits > 32) return SetError(kPlace, "Invalid format");
        // A map in a true-colour file has been checked but is of no use: a
        // palette on a colour picture would make it look like an indexed one
        // to everything downstream.
        std::free(imp->palette);
        imp->palette = nullptr;
    } else {
        if (pixelBits != 8) return SetError(kPlace, "Invalid format");
        imp->colourModel = kColourGrey;
    }

    imp->scratch[kScratchPixelOffset] = at;
    imp->scratch[kScratchBytesPerPixel] = bytesPerPixel;
    imp->scratch[kScratchRunLength] = runLength;
    imp->scratch[kScratchFlip] = (descriptor & kTopDown) == 0;
    return true;
}

namespace {

// Decodes run-length packets into `out` until `pixels` pixels are there.
// Packets run on across rows; the packet that reaches the count is written
// whole, as far as `out` has room. The end of the data also ends decoding.
void DecodeRunLength(ByteCursor* source, uint8_t* out, size_t outBytes, size_t pixels,
                     unsigned bytesPerPixel) {
    size_t written = 0;  // pixels
    uint8_t pixel[4];
    auto room = [&](size_t count) {  // whole pixels that still fit
        const size_t used = written * bytesPerPixel;
        const size_t free = used < outBytes ? (outBytes - used) / bytesPerPixel : 0;
        return std::min(count, free);
    };
    while (written < pixels && !source->AtEnd()) {
        const unsigned packet = source->U8();
        const size_t count = (packet & 127) + 1;
        if (packet & 128) {
            source->Read(pixel, bytesPerPixel);
            const size_t fit = room(count);
            uint8_t* at = out + written * bytesPerPixel;
            for (size_t i = 0; i < fit; ++i, at += bytesPerPixel)
                std::memcpy(at, pixel, bytesPerPixel);
        } else {
            const size_t bytes = count * bytesPerPixel;
            const size_t fitBytes = room(count) * bytesPerPixel;
            const size_t present = std::min(bytes, source->Remaining());
            std::memcpy(out + written * bytesPerPixel, source->Here(), std::min(fitBytes, present));
            source->Skip(bytes);
        }
        written += count;
    }
}

// One 16-bit pixel (little-endian, bit 15 ignored) as blue, green, red; the
// five-bit levels become 8 * level + 2.
void Convert16(uint8_t* out, const uint8_t* in, size_t pixels) {
    for (size_t i = 0; i < pixels; ++i, in += 2, out += 3) {
        const unsigned x = in[0] | (in[1] << 8);
        out[0] = static_cast<uint8_t>((x & 31) * 8 + 2);
        out[1] = static_cast<uint8_t>(((x >> 5) & 31) * 8 + 2);
        out[2] = static_cast<uint8_t>(((x >> 10) & 31) * 8 + 2);
    }
}

void Convert32(uint8_t* out, const uint8_t* in, size_t pixels) {
    for (size_t i = 0; i < pixels; ++i, in += 4, out += 3) {
        out[0] = in[0];
        out[1] = in[1];
        out[2] = in[2];
    }
}

void FlipVertically(Image* image) {
    const int height = image->height;
    if (image->stride <= 0) return;
    const size_t rowBytes = static_cast<size_t>(image->stride);
    std::vector<uint8_t> swap(rowBytes);
    for (int i = 0; i < height / 2; ++i) {
        const int j = height - 1 - i;
        if (image->BytesFromRow(j) < rowBytes) continue;
        uint8_t* a = image->Row(i);
        uint8_t* b = image->Row(j);
        std::memcpy(swap.data(), a, rowBytes);
        std::memcpy(a, b, rowBytes);
        std::memcpy(b, swap.data(), rowBytes);
    }
}

bool LoadTarga(ImageImpFile* imp, Image* image, Progress* progress) {
    const unsigned bytesPerPixel = static_cast<unsigned>(imp->scratch[kScratchBytesPerPixel]);
    const bool runLength = imp->scratch[kScratchRunLength] != 0;
    ByteCursor source(imp->data, imp->size, imp->scratch[kScratchPixelOffset]);
    const int width = std::max(image->width, 0);
    const int height = std::max(image->height, 0);
    const size_t pixels = static_cast<size_t>(width) * static_cast<size_t>(height);
    const size_t fileRow = static_cast<size_t>(width) * bytesPerPixel;
    const size_t imageRow = static_cast<size_t>(width) * (bytesPerPixel == 1 ? 1 : 3);

    ReportStatus(progress, runLength ? "Decoding RLE" : "Unpacking", 0, 100);
    std::vector<uint8_t> spare;
    RowWriter writer(image);

    if (runLength) {
        const uint64_t packedBytes = uint64_t{pixels} * bytesPerPixel;
        if (bytesPerPixel == 1 || bytesPerPixel == 3) {
            // Straight into the pixel block as packed rows, then spread out to
            // the stride from the last row up. A block too small for the
            // packed rows takes the detour through a temporary one.
            if (image->stride >= static_cast<int>(fileRow) && packedBytes <= image->PixelBytes() &&
                static_cast<uint64_t>(height) * static_cast<uint64_t>(image->stride) <=
                    image->PixelBytes()) {
                DecodeRunLength(&source, image->pixels, image->PixelBytes(), pixels, bytesPerPixel);
                CopyRows(image->pixels, image->stride, image->pixels, static_cast<int>(fileRow), height);
            } else {
                ScratchBlock packed(packedBytes);
                DecodeRunLength(&source, packed.data(), packed.size(), pixels, bytesPerPixel);
                for (int row = 0; row < height; ++row)
                    PutBytes(image, static_cast<uint64_t>(row) * image->stride,
                             packed.data() + row * fileRow, fileRow);
            }
        } else {
            ScratchBlock packed(packedBytes);
            DecodeRunLength(&source, packed.data(), packed.size(), pixels, bytesPerPixel);
            for (int row = 0; row < height; ++row) {
                uint8_t* out = writer.Begin(row, imageRow);
                if (bytesPerPixel == 2)
                    Convert16(out, packed.data() + row * fileRow, static_cast<size_t>(width));
                else
                    Convert32(out, packed.data() + row * fileRow, static_cast<size_t>(width));
                writer.Commit();
            }
        }
    } else {
        for (int row = 0; row < height; ++row) {
            const uint64_t at = source.Position() + static_cast<uint64_t>(row) * fileRow;
            if (at >= imp->size) break;  // a short file keeps what it has
            const uint8_t* in = SourceBytes(imp->data, imp->size, at, fileRow, &spare);
            if (bytesPerPixel == 1 || bytesPerPixel == 3) {
                PutBytes(image, static_cast<uint64_t>(row) * image->stride, in, fileRow);
                continue;
            }
            uint8_t* out = writer.Begin(row, imageRow);
            if (bytesPerPixel == 2)
                Convert16(out, in, static_cast<size_t>(width));
            else
                Convert32(out, in, static_cast<size_t>(width));
            writer.Commit();
        }
    }

    if (imp->scratch[kScratchFlip]) {
        ReportStatus(progress, "Flipping vertically", 80, 100);
        FlipVertically(image);
    }
    return true;
}

}  // namespace
