// Reader for GIF87a and GIF89a files: the first image only, as a palette
// picture. Transparency, the graphic control extension, later frames, the
// image position on the logical screen and the aspect ratio are left out on
// purpose: a still viewer shows the first frame's colours as they are.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "core/ByteCursor.h"
#include "core/Error.h"
#include "core/Image.h"
#include "core/Platform.h"
#include "core/Progress.h"
#include "formats/Readers.h"

namespace {
constexpr const char* kPlace = "vti_GIF";

// Reader scratch words.
enum : int {
    kScratchInterlaced = 0,
    kScratchImageData = 1,  // offset of the LZW minimum-code-size byte
    kScratchComment = 2,    // offset of the first comment's first sub-block data, or 0
    kScratchCommentLength = 3,
};

constexpr unsigned kExtensionIntroducer = 0x21;  // '!'
constexpr unsigned kImageSeparator = 0x2C;       // ','
constexpr unsigned kTrailer = 0x3B;              // ';'
constexpr unsigned kCommentLabel = 0xFE;
constexpr int kLabelCharacters = 80;

bool LoadGif(ImageImpFile* imp, Image* image, Progress* progress);

// Copies 1 << depth triples; the GIF table order (red, green, blue) is the
// palette order.
void CopyColourTable(const ByteCursor& file, size_t at, int depth, uint8_t* palette) {
    const size_t bytes = 3u << depth;
    for (size_t i = 0; i < bytes; ++i) palette[i] = file.ByteAt(at + i);
}
}  // namespace

bool vti_GIF(ImageImpFile* imp) {
    ByteCursor file(imp->data, imp->size);
    if (file.ByteAt(0) != 'G' || file.ByteAt(1) != 'I' || file.ByteAt(2) != 'F')
        return SetError(kPlace, "Not a GIF file");

    imp->ready = true;
    imp->rowLoader = LoadGif;
    imp->compression = "LZW";

    // "87a" and "89a" are expected; anything else is read anyway. The
    // letter is not looked at.
    if (file.ByteAt(3) != '8' || (file.ByteAt(4) != '7' && file.ByteAt(4) != '9'))
        platform::Warning("Warning! unexpected GIF version number");

    // Logical screen descriptor.
    imp->width = file.LE16At(6);
    imp->height = file.LE16At(8);
    imp->palette = AllocPaletteBlock();
    const unsigned screenFlags = file.ByteAt(10);
    int depth = 0;
    size_t position = 13;
    if (screenFlags & 0x80) {
        depth = static_cast<int>(screenFlags & 7) + 1;
        if (imp->palette) CopyColourTable(file, position, depth, imp->palette);
        position += 3u << depth;
    }

    // Extension blocks before the first image: only the first comment is
    // kept, as the picture's label.
    file.Seek(position);
    // The first comment extension is the one: if it has no data, there is
    // no label, whatever later comments say.
    size_t commentAt = 0, commentLength = 0;
    bool commentSeen = false;
    while (!file.AtEnd() && file.ByteAt(file.Position()) == kExtensionIntroducer) {
        file.Skip(1);
        const unsigned label = file.U8();
        const bool firstComment = label == kCommentLabel && !commentSeen;
        if (label == kCommentLabel) commentSeen = true;
        bool firstSubBlock = true;
        for (;;) {
            const unsigned length = file.U8();
            if (length == 0 || file.Overrun()) break;
            if (firstComment && firstSubBlock) {
                commentAt = file.Position();
                commentLength = std::min<size_t>(length, file.Remaining());
            }
            firstSubBlock = false;
            file.Skip(length);
        }
    }

    switch (file.U8()) {
        case kImageSeparator:
            break;
        case kTrailer:
            return SetError(kPlace, "No image found");
        default:
            return SetError(kPlace, "Corrupt file");
    }

    // Image descriptor: left, top (ignored), width, height, flags. The
    // frame's own size wins over the screen's.
    const size_t descriptor = file.Position();
    const unsigned imageWidth = file.LE16At(descriptor + 4);
    const unsigned imageHeight = file.LE16At(descriptor + 6);
    const unsigned imageFlags = file.ByteAt(descriptor + 8);
    if (imageWidth != 0) imp->width = static_cast<int32_t>(imageWidth);
    if (imageHeight != 0) imp->height = static_cast<int32_t>(imageHeight);
    position = descriptor + 9;
    if (imageFlags & 0x80) {
        // A local table overwrites the palette from its first entry; global
        // entries beyond its size stay.
        depth = static_cast<int>(imageFlags & 7) + 1;
        if (imp->palette) CopyColourTable(file, position, depth, imp->palette);
        position += 3u << depth;
    }

    if (depth == 0) return SetError(kPlace, "No color table found");

    imp->depth = depth;
    imp->scratch[kScratchInterlaced] = (imageFlags & 0x40) != 0;
    imp->scratch[kScratchImageData] = position;
    imp->scratch[kScratchComment] = commentAt;
    imp->scratch[kScratchCommentLength] = commentLength;
    return true;
}

namespace {

// Bytes of the image data as the LZW decoder sees them: the contents of the
// data sub-blocks one after the other. When the sub-blocks run out (a zero
// length byte, or the end of the file) the supply goes on with bytes of value
// 255 and never moves past that point.
class SubBlockReader {
public:
    SubBlockReader(const uint8_t* data, size_t size, size_t position)
        : data_(data), size_(size), position_(position) {}

    unsigned Next() {
        if (remaining_ == 0) {
            if (exhausted_) return 0xFF;
            if (position_ >= size_ || data_[position_] == 0) {
                exhausted_ = true;
                return 0xFF;
            }
            remaining_ = data_[position_++];
        }
        if (position_ >= size_) {
            exhausted_ = true;
            remaining_ = 0;
            return 0xFF;
        }
        --remaining_;
        return data_[position_++];
    }
    bool Exhausted() const { return exhausted_; }

private:
    const uint8_t* data_;
    size_t size_;
    size_t position_;
    unsigned remaining_ = 0;
    bool exhausted_ = false;
};

constexpr int kMaxCodeWidth = 12;
constexpr unsigned kTableSize = 1u << kMaxCodeWidth;

// Copies `length` bytes from earlier in the output to its end. Every table
// string is a piece of what has been output already, so strings are copied
// from there rather than rebuilt through a prefix chain. The source always
// ends at or before `to`; whole 8-byte words are moved while there is room,
// and the bytes a word carries past the string are overwritten by the next
// string (or, after the last one, cleared again: see DecodeLzw).
inline void CopyString(uint8_t* out, size_t from, size_t to, size_t length, size_t capacity) {
    if (to + length + 8 <= capacity) {
        for (size_t i = 0; i < length; i += 8) {
            uint64_t word;
            std::memcpy(&word, out + from + i, 8);
            std::memcpy(out + to + i, &word, 8);
        }
    } else {
        for (size_t i = 0; i < length; ++i) out[to + i] = out[from + i];
    }
}

// Decodes the image data at `dataAt` into `out`, at most `capacity` bytes.
// Decoding ends at the end code. The capacity is our guard: a stream that
// never sends its end code (or whose data runs out) stops when the block is
// full rather than writing past it.
//
// The string table keeps, for each entry, where its string was output and
// its length: an entry is the previous string plus the first byte of the
// one after it, and those two lie next to each other in the output. Pixel
// values are masked to the palette size as they are written; strings copied
// from the output are therefore masked already.
void DecodeLzw(const uint8_t* data, size_t size, size_t dataAt, int depth, uint8_t* out,
               size_t capacity) {
    if (dataAt >= size || capacity == 0) return;
    const unsigned minimumCodeSize = data[dataAt];
    // Code sizes above 11 would make the clear code itself need more than
    // 12 bits: no such stream can be decoded.
    if (minimumCodeSize > kMaxCodeWidth - 1) return;
    SubBlockReader source(data, size, dataAt + 1);

    const unsigned pixelMask = (1u << depth) - 1;
    const unsigned clearCode = 1u << minimumCodeSize;
    const unsigned endCode = clearCode + 1;

    std::vector<uint32_t> start(kTableSize, 0);
    std::vector<uint16_t> length(kTableSize, 0);

    unsigned codeWidth = minimumCodeSize + 1;
    unsigned codeMask = (1u << codeWidth) - 1;
    unsigned freeCode = clearCode + 2;
    uint64_t bitBuffer = 0;
    unsigned bitCount = 0;
    auto readCode = [&]() -> unsigned {
        while (bitCount < codeWidth) {
            bitBuffer |= static_cast<uint64_t>(source.Next()) << bitCount;
            bitCount += 8;
        }
        const unsigned code = static_cast<unsigned>(bitBuffer) & codeMask;
        bitBuffer >>= codeWidth;
        bitCount -= codeWidth;
        return code;
    };

    size_t written = 0;
    bool havePrevious = false;  // no previous string yet
    size_t previousStart = 0, previousLength = 0;
    while (written < capacity) {
        unsigned code = readCode();
        if (code == endCode) break;
        if (code == clearCode || !havePrevious) {
            if (code == clearCode) {
                codeWidth = minimumCodeSize + 1;
                codeMask = (1u << codeWidth) - 1;
                freeCode = clearCode + 2;
                bool clearsForEver = false;
                do {
                    code = readCode();
                    // Once the data has run out every code reads as all ones;
                    // for a minimum code size of 0 that is the clear code
                    // again, for ever.
                    clearsForEver = code == clearCode && minimumCodeSize == 0 && source.Exhausted();
                } while (code == clearCode && !clearsForEver);
                if (code == endCode || clearsForEver) break;
            }
            // The first code after a clear (or of a stream that does not
            // begin with one) is output as a single pixel.
            out[written] = static_cast<uint8_t>(code & pixelMask);
            previousStart = written++;
            previousLength = 1;
            havePrevious = true;
            continue;
        }

        const size_t here = written;
        size_t emitted;
        if (code < clearCode) {
            out[written++] = static_cast<uint8_t>(code & pixelMask);
            emitted = 1;
        } else if (code < freeCode) {
            emitted = length[code];
            const size_t fits = std::min(emitted, capacity - written);
            CopyString(out, start[code], written, fits, capacity);
            written += fits;
        } else {
            // Not in the table yet: the previous string plus its own first
            // byte.
            emitted = previousLength + 1;
            const size_t fits = std::min(previousLength, capacity - written);
            CopyString(out, previousStart, written, fits, capacity);
            written += fits;
            if (written < capacity) out[written++] = out[previousStart];
        }
        if (written < here + emitted) break;  // the picture is full

        // The table stops at 4096 entries; a full table is not extended
        // until the encoder sends a clear code.
        if (freeCode < kTableSize) {
            start[freeCode] = static_cast<uint32_t>(previousStart);
            length[freeCode] = static_cast<uint16_t>(previousLength + 1);
            ++freeCode;
            if (freeCode > codeMask && codeWidth < kMaxCodeWidth) {
                ++codeWidth;
                codeMask = (1u << codeWidth) - 1;
            }
        }
        previousStart = here;
        previousLength = emitted;
    }
    // The last word-wise copy may have carried up to 7 bytes of earlier
    // output past the last string. The block was all zeros there before (a
    // new pixel block, or a zeroed temporary one), so a stream that ends
    // before the picture is full leaves the rest of it blank.
    std::memset(out + written, 0, std::min<size_t>(8, capacity - written));
}

// The four passes of an interlaced GIF: starting row and step.
constexpr int kPassStart[4] = {0, 4, 2, 1};
constexpr int kPassStep[4] = {8, 8, 4, 2};

// Rows stored in the order of the four passes, `width` bytes each, are put
// top-down in place: every cycle of the permutation is followed with one
// row held aside.
void InterlacedRowsInPlace(uint8_t* rows, size_t width, size_t height) {
    // storedAt[r]: where picture row r was stored.
    std::vector<size_t> storedAt(height);
    size_t stored = 0;
    for (int pass = 0; pass < 4; ++pass)
        for (size_t row = kPassStart[pass]; row < height; row += kPassStep[pass])
            storedAt[row] = stored++;
    std::vector<bool> done(height, false);
    std::vector<uint8_t> held(width);
    for (size_t first = 0; first < height; ++first) {
        if (done[first] || storedAt[first] == first) continue;
        std::memcpy(held.data(), rows + first * width, width);
        size_t row = first;
        for (;;) {
            done[row] = true;
            const size_t from = storedAt[row];
            if (from == first) {
                std::memcpy(rows + row * width, held.data(), width);
                break;
            }
            std::memcpy(rows + row * width, rows + from * width, width);
            row = from;
        }
    }
}

bool LoadGif(ImageImpFile* imp, Image* image, Progress* progress) {
    if (imp->scratch[kScratchComment] != 0) {
        const size_t length =
            std::min<size_t>(imp->scratch[kScratchCommentLength], kLabelCharacters);
        std::memcpy(image->label, imp->data + imp->scratch[kScratchComment], length);
        image->label[length] = '\0';
    }

    ReportStatus(progress, "Decompressing", 0, 100);
    const size_t width = static_cast<size_t>(std::max(image->width, 0));
    const size_t height = static_cast<size_t>(std::max(image->height, 0));
    const size_t stride = static_cast<size_t>(std::max(image->stride, 0));
    const size_t dataAt = imp->scratch[kScratchImageData];

    if (!imp->scratch[kScratchInterlaced]) {
        // One contiguous run of width x height bytes, then the rows moved out
        // to the stride in place.
        const size_t capacity = std::min(width * height, image->PixelBytes());
        DecodeLzw(imp->data, imp->size, dataAt, imp->depth, image->pixels, capacity);
        // Each move stays inside the block at both ends (a caller's stride
        // and row count need not match the announcement).
        const size_t block = image->PixelBytes();
        const size_t rowBytes = std::min(width, stride);
        auto moveRow = [&](size_t row) {
            const size_t from = row * width, to = row * stride;
            if (from + rowBytes <= block && to + rowBytes <= block)
                std::memmove(image->pixels + to, image->pixels + from, rowBytes);
        };
        if (stride > width) {
            for (size_t row = height; row-- > 1;) moveRow(row);
        } else if (stride < width) {
            for (size_t row = 1; row < height; ++row) moveRow(row);
        }
        return true;
    }

    const size_t pixels = width * height;
    if (stride == width && pixels <= image->PixelBytes()) {
        // The usual geometry: the pixel block itself serves as the temporary
        // block, and the rows are then put in order in place.
        DecodeLzw(imp->data, imp->size, dataAt, imp->depth, image->pixels, pixels);
        ReportStatus(progress, "De-interlacing", 75, 100);
        InterlacedRowsInPlace(image->pixels, width, height);
        return true;
    }

    auto* block = static_cast<uint8_t*>(std::calloc(pixels + 4, 1));
    if (!block) platform::FatalExit("EXIT: Out of memory");
    DecodeLzw(imp->data, imp->size, dataAt, imp->depth, block, pixels + 4);

    ReportStatus(progress, "De-interlacing", 75, 100);
    const uint8_t* source = block;
    const size_t rowBytes = std::min(width, stride);
    for (int pass = 0; pass < 4; ++pass) {
        for (size_t row = kPassStart[pass]; row < height; row += kPassStep[pass]) {
            const size_t room = std::min(rowBytes, image->BytesFromRow(static_cast<int>(row)));
            std::memcpy(image->Row(static_cast<int>(row)), source, room);
            source += width;
        }
    }
    std::free(block);
    return true;
}

}  // namespace
