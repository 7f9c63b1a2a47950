// MacPaint reader: 576 x 720 one-bit pictures, PackBits rows of 72 bytes
// after a 512-byte header, with or without a 128-byte MacBinary header
// in front.
#include <algorithm>
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
constexpr const char* kPlace = "vti_MAC";
constexpr int kWidth = 576;
constexpr int kHeight = 720;
constexpr size_t kRowBytes = kWidth / 8;
constexpr size_t kUnpackedBytes = kRowBytes * kHeight;  // 51840
constexpr size_t kHeaderBytes = 512;

// Reader scratch words.
enum : int { kScratchDataOffset = 0 };

bool LoadMacPaint(ImageImpFile* imp, Image* image, Progress* progress);
}  // namespace

bool vti_MAC(ImageImpFile* imp) {
    const ByteCursor file(imp->data, imp->size);
    // The version word 0, 0, 0, 2 is looked for at offsets 0, 128, 256 ...
    // below 1024, as long as at least 640 bytes remain from there.
    size_t at = 0;
    size_t remaining = imp->size;
    for (;;) {
        if (remaining < 640) return SetError(kPlace, "Not a Macpaint file");
        if (file.ByteAt(at) == 0 && file.ByteAt(at + 1) == 0 && file.ByteAt(at + 2) == 0 &&
            file.ByteAt(at + 3) == 2)
            break;
        at += 128;
        remaining -= 128;
        if (at >= 1024) return SetError(kPlace, "Not a Macpaint file");
    }

    imp->ready = true;
    imp->width = kWidth;
    imp->height = kHeight;
    imp->depth = 1;
    imp->stride = kWidth;
    imp->colourModel = kColourGreyInverted;  // 0 is white
    imp->compression = "RLE";
    imp->rowLoader = LoadMacPaint;
    imp->scratch[kScratchDataOffset] = at + kHeaderBytes;
    return true;
}

namespace {

bool LoadMacPaint(ImageImpFile* imp, Image* image, Progress* progress) {
    const size_t dataOffset = std::min<size_t>(imp->scratch[kScratchDataOffset], imp->size);
    std::vector<uint8_t> unpacked(kUnpackedBytes, 0);  // what is not there stays white
    ReportStatus(progress, "Decoding", 0, 100);
    PackBitsDecode(unpacked.data(), unpacked.data() + unpacked.size(), imp->data + dataOffset,
                   imp->data + imp->size, kUnpackedBytes);
    ReportProgress(progress, 50, 100);
    RowWriter writer(image);
    for (int row = 0; row < kHeight && row < image->height; ++row) {
        uint8_t* out = writer.Begin(row, kWidth);
        Unpack1Bit(out, unpacked.data() + row * kRowBytes, kRowBytes);
        writer.Commit();
    }
    return true;
}

}  // namespace
