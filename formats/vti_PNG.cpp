// Reader for PNG files of every standard colour type and bit depth. Pixels
// come out as the Image depths know them: one byte per pixel for grey and
// palette pictures, blue-green-red for colour. Alpha, transparency, gamma
// and the other ancillary chunks are dropped on purpose, and chunk check
// values are never verified.
#include <zlib.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <vector>

#include "core/ByteCursor.h"
#include "core/Error.h"
#include "core/Image.h"
#include "core/Platform.h"
#include "core/Progress.h"
#include "formats/PngFilters.h"
#include "formats/PngInflate.h"
#include "formats/ReaderRows.h"
#include "formats/Readers.h"

namespace {
constexpr const char* kPlace = "vti_PNG";

// Reader scratch words: what the header said. Everything else is found again
// by walking the chunks when loading.
enum : int { kScratchColourType = 0, kScratchBitDepth = 1, kScratchInterlace = 2 };

enum ColourType : unsigned {
    kGrey = 0,
    kRgb = 2,
    kPaletteColour = 3,
    kGreyAlpha = 4,
    kRgba = 6,
};

constexpr uint8_t kSignature[8] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};

uint32_t BigEndian32(const uint8_t* p) {
    return (static_cast<uint32_t>(p[0]) << 24) | (static_cast<uint32_t>(p[1]) << 16) |
           (static_cast<uint32_t>(p[2]) << 8) | p[3];
}

bool IsLetter(uint8_t c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); }
bool SameType(const uint8_t* type, const char* name) { return std::memcmp(type, name, 4) == 0; }

// One chunk of the file: its data lies wholly inside the mapped bytes, its
// check value too.
struct Chunk {
    const uint8_t* type;
    const uint8_t* data;
    uint32_t length;
};

enum class ChunkStep { Chunk, EndOfFile, PastEndOfFile };

// Reads the chunk at `*position` and moves past it (length, type, data,
// check value).
ChunkStep NextChunk(const ImageImpFile* imp, size_t* position, Chunk* chunk) {
    const uint64_t at = *position;
    if (at >= imp->size) return ChunkStep::EndOfFile;
    const uint64_t length = at + 4 <= imp->size ? BigEndian32(imp->data + at) : 0xFFFFFFFFu;
    const uint64_t end = at + 12 + length;
    if (end > imp->size) return ChunkStep::PastEndOfFile;
    chunk->type = imp->data + at + 4;
    chunk->data = imp->data + at + 8;
    chunk->length = static_cast<uint32_t>(length);
    *position = static_cast<size_t>(end);
    return ChunkStep::Chunk;
}

bool DepthAllowed(unsigned colourType, unsigned bitDepth) {
    switch (colourType) {
        case kGrey:
        case kGreyAlpha:
            return bitDepth == 1 || bitDepth == 2 || bitDepth == 4 || bitDepth == 8 ||
                   bitDepth == 16;
        case kRgb:
        case kRgba:
            return bitDepth == 8 || bitDepth == 16;
        case kPaletteColour:
            return bitDepth == 1 || bitDepth == 2 || bitDepth == 4 || bitDepth == 8;
        default:
            return false;
    }
}

unsigned SamplesPerPixel(unsigned colourType) {
    switch (colourType) {
        case kRgb:
            return 3;
        case kGreyAlpha:
            return 2;
        case kRgba:
            return 4;
        default:
            return 1;
    }
}

bool LoadPng(ImageImpFile* imp, Image* image, Progress* progress);
}  // namespace

bool vti_PNG(ImageImpFile* imp) {
    if (imp->size < 8 || std::memcmp(imp->data, kSignature, 8) != 0)
        return SetError(kPlace, "Not a PNG file");

    imp->ready = true;
    imp->rowLoader = LoadPng;
    imp->compression = "Inflate/Deflate";
    // Until a header says otherwise the picture is colour and of no size, so
    // a file with nothing after its signature ends in "Image size is zero!".
    imp->depth = 24;
    imp->scratch[kScratchColourType] = kRgb;
    imp->scratch[kScratchBitDepth] = 8;
    imp->scratch[kScratchInterlace] = 0;
    bool haveHeader = false;

    size_t position = 8;
    for (;;) {
        Chunk chunk;
        const ChunkStep step = NextChunk(imp, &position, &chunk);
        if (step == ChunkStep::EndOfFile) return true;  // a missing IEND is accepted
        if (step == ChunkStep::PastEndOfFile)
            return SetError(kPlace, "Corrupted file - Chunk length exceeds eof!");
        for (int i = 0; i < 4; ++i)
            if (!IsLetter(chunk.type[i]))
                return SetError(kPlace, "Corrupted file - Chunk type not ascii letters!");

        if (SameType(chunk.type, "IEND")) return true;
        if (SameType(chunk.type, "IHDR")) {
            // Fields past a short chunk read as zeros.
            const ByteCursor header(chunk.data, chunk.length);
            const uint32_t width = (static_cast<uint32_t>(header.ByteAt(0)) << 24) |
                                   (static_cast<uint32_t>(header.ByteAt(1)) << 16) |
                                   (static_cast<uint32_t>(header.ByteAt(2)) << 8) |
                                   header.ByteAt(3);
            const uint32_t height = (static_cast<uint32_t>(header.ByteAt(4)) << 24) |
                                    (static_cast<uint32_t>(header.ByteAt(5)) << 16) |
                                    (static_cast<uint32_t>(header.ByteAt(6)) << 8) |
                                    header.ByteAt(7);
            const unsigned bitDepth = header.ByteAt(8);
            const unsigned colourType = header.ByteAt(9);
            const unsigned compression = header.ByteAt(10);
            const unsigned filterMethod = header.ByteAt(11);
            const unsigned interlace = header.ByteAt(12);
            if (colourType > 6 || colourType == 1 || colourType == 5)
                return SetError(kPlace, "Unknown color type");
            if (!DepthAllowed(colourType, bitDepth))
                return SetError(kPlace, "Unsupported colortype/bitdepth combination");
            if (compression != 0) return SetError(kPlace, "Unknown compression type");
            if (filterMethod != 0) return SetError(kPlace, "Unknown filter method");

            imp->width = static_cast<int32_t>(width);
            imp->height = static_cast<int32_t>(height);
            const bool colour = colourType == kRgb || colourType == kRgba;
            // 16-bit samples are reduced to their high byte, so what is
            // stored (and announced) is 8 bits for grey and 24 for colour.
            imp->depth = colour ? 24 : static_cast<int32_t>(std::min(bitDepth, 8u));
            // Grey and palette pictures are one byte per pixel; the default
            // stride would be taken before the grey ramp exists.
            imp->stride = SaturatedInt32(colour ? 3 * uint64_t{width} : uint64_t{width});
            imp->colourModel =
                (colourType == kGrey || colourType == kGreyAlpha) ? kColourGrey : kColourUnstated;
            imp->scratch[kScratchColourType] = colourType;
            imp->scratch[kScratchBitDepth] = bitDepth;
            imp->scratch[kScratchInterlace] = interlace;
            haveHeader = true;
        } else if (SameType(chunk.type, "PLTE")) {
            // A suggested palette in a grey or colour picture (or one before
            // the header) is not the picture's palette.
            if (!haveHeader || imp->scratch[kScratchColourType] != kPaletteColour) continue;
            if (!imp->palette) imp->palette = AllocPaletteBlock();
            if (imp->palette) {
                // A later PLTE replaces an earlier one completely.
                std::memset(imp->palette, 0, kPaletteBlockBytes);
                const size_t entries = std::min<size_t>(chunk.length / 3, kPaletteEntries);
                std::memcpy(imp->palette, chunk.data, entries * 3);
            }
        } else if (SameType(chunk.type, "IDAT")) {
            // Read when loading.
        } else if (chunk.type[0] >= 'A' && chunk.type[0] <= 'Z') {
            platform::Warning(
                "Warning! Unrecognized critical chunk encountered - Will probably not display "
                "image "
                "correctly");
        }
        // Ancillary chunks (lower-case first letter) are skipped silently.
    }
}

namespace {

// Where a pass's pixels go in the picture: first column and row, steps.
struct Pass {
    uint32_t x0, y0, dx, dy;
    uint32_t width, height;  // pixels and rows of the pass (0 when empty)
    size_t rowBytes;         // filtered row: the filter-type byte plus the packed samples
    size_t offset;           // where the pass starts in the pass buffer
};

constexpr uint32_t kAdam7[7][4] = {
    {0, 0, 8, 8}, {4, 0, 8, 8}, {0, 4, 4, 8}, {2, 0, 4, 4},
    {0, 2, 2, 4}, {1, 0, 2, 2}, {0, 1, 1, 2},
};

// a + b and a * b in 64 bits, with a sticky overflow flag.
struct CheckedSize {
    uint64_t value = 0;
    bool overflow = false;
    static constexpr uint64_t kLimit = std::numeric_limits<size_t>::max();
    void Add(uint64_t amount) {
        if (overflow || amount > kLimit - value)
            overflow = true;
        else
            value += amount;
    }
    static bool Multiply(uint64_t a, uint64_t b, uint64_t* result) {
        if (a != 0 && b > kLimit / a) return false;
        *result = a * b;
        return true;
    }
};

// Lays the passes out one after the other; false when their total does not
// fit the address space.
bool PlanPasses(uint32_t width, uint32_t height, unsigned bitsPerPixel, bool adam7,
                std::vector<Pass>* passes, size_t* total) {
    CheckedSize size;
    const int count = adam7 ? 7 : 1;
    for (int p = 0; p < count; ++p) {
        Pass pass{};
        if (adam7) {
            pass.x0 = kAdam7[p][0];
            pass.y0 = kAdam7[p][1];
            pass.dx = kAdam7[p][2];
            pass.dy = kAdam7[p][3];
        } else {
            pass.dx = pass.dy = 1;
        }
        pass.width = width > pass.x0 ? (width - pass.x0 + pass.dx - 1) / pass.dx : 0;
        pass.height = height > pass.y0 ? (height - pass.y0 + pass.dy - 1) / pass.dy : 0;
        if (pass.width == 0 || pass.height == 0) continue;  // nothing of this pass is stored
        uint64_t bits;
        if (!CheckedSize::Multiply(pass.width, bitsPerPixel, &bits)) return false;
        uint64_t bytes;
        if (!CheckedSize::Multiply((bits + 7) / 8 + 1, pass.height, &bytes)) return false;
        pass.rowBytes = static_cast<size_t>((bits + 7) / 8 + 1);
        pass.offset = static_cast<size_t>(size.value);
        size.Add(bytes);
        if (size.overflow) return false;
        passes->push_back(pass);
    }
    *total = static_cast<size_t>(size.value);
    return true;
}

}  // namespace

const char* PngInflateMessage(int zlibResult) {
    switch (zlibResult) {
        case Z_OK:
        case Z_STREAM_END:
            return nullptr;
        case Z_BUF_ERROR:
            return "Inflate: Buffer error";
        case Z_MEM_ERROR:
            return "Inflate: Out of memory";
        case Z_DATA_ERROR:
            return "Inflate: Corrupted data";
        case Z_STREAM_ERROR:
            return "Inflate: Inconsistent stream";
        case Z_NEED_DICT:
            return "Inflate: Missing dictionary";
        default:
            // The misspelling is the message users have always seen.
            return "Inflate: Unkwown error";
    }
}

namespace {

// Inflates every IDAT chunk's data, in file order, into the pass buffer:
// inflate is called once per chunk with a partial flush.
bool InflateImageData(const ImageImpFile* imp, uint8_t* buffer, size_t bufferBytes,
                      size_t* inflated) {
    z_stream stream{};
    if (inflateInit(&stream) != Z_OK) return SetError(kPlace, "inflateInit failed");
    // zlib counts its output in 32-bit words; a buffer beyond that simply
    // takes the first 4 GB, more than any inflatable stream here fills.
    stream.next_out = buffer;
    stream.avail_out =
        static_cast<uInt>(std::min<size_t>(bufferBytes, std::numeric_limits<uInt>::max()));

    size_t position = 8;
    Chunk chunk;
    while (NextChunk(imp, &position, &chunk) == ChunkStep::Chunk) {
        if (SameType(chunk.type, "IEND")) break;
        if (!SameType(chunk.type, "IDAT")) continue;
        stream.next_in = const_cast<Bytef*>(chunk.data);
        stream.avail_in = chunk.length;
        const char* message = PngInflateMessage(inflate(&stream, Z_PARTIAL_FLUSH));
        if (message) {
            inflateEnd(&stream);
            return SetError(kPlace, "%s", message);
        }
    }
    *inflated = static_cast<size_t>(stream.next_out - buffer);
    inflateEnd(&stream);
    return true;
}

// Colour pixels of `Step` bytes, samples of `SampleBytes` (the high byte
// first), into blue, green, red.
template <size_t Step, size_t SampleBytes>
void SwapToBlueGreenRed(const uint8_t* in, uint8_t* out, size_t count) {
    for (size_t i = 0; i < count; ++i) {
        out[3 * i] = in[Step * i + 2 * SampleBytes];
        out[3 * i + 1] = in[Step * i + SampleBytes];
        out[3 * i + 2] = in[Step * i];
    }
}

// Turns one reconstructed row (without its filter-type byte) into `count`
// Image pixels at `out`: one byte per pixel for grey and palette, blue,
// green, red for colour. 16-bit samples give their high byte; alpha is
// skipped.
void ConvertRow(const uint8_t* in, uint8_t* out, size_t count, unsigned colourType,
                unsigned bitDepth) {
    if (bitDepth < 8) {
        // Packed samples, most significant first. Grey with alpha, which is
        // taken at 1, 2 and 4 bits too, gives the grey sample of each pixel.
        const size_t samples = SamplesPerPixel(colourType);
        const unsigned perByte = 8 / bitDepth;
        const unsigned mask = (1u << bitDepth) - 1;
        for (size_t i = 0; i < count; ++i) {
            const size_t sample = i * samples;
            const unsigned shift = 8 - bitDepth * (static_cast<unsigned>(sample % perByte) + 1);
            out[i] = static_cast<uint8_t>((in[sample / perByte] >> shift) & mask);
        }
        return;
    }
    const size_t sampleBytes = bitDepth / 8;
    const size_t step = SamplesPerPixel(colourType) * sampleBytes;
    if (colourType == kRgb || colourType == kRgba) {
        switch (step) {
            case 3:  // 8-bit RGB, the common case: a loop the compiler can widen
                SwapToBlueGreenRed<3, 1>(in, out, count);
                break;
            case 4:
                SwapToBlueGreenRed<4, 1>(in, out, count);
                break;
            case 6:
                SwapToBlueGreenRed<6, 2>(in, out, count);
                break;
            default:
                SwapToBlueGreenRed<8, 2>(in, out, count);
                break;
        }
        return;
    }
    if (step == 1) {
        std::memcpy(out, in, count);
        return;
    }
    for (size_t i = 0; i < count; ++i, in += step) out[i] = in[0];
}

bool LoadPng(ImageImpFile* imp, Image* image, Progress* progress) {
    const unsigned colourType = static_cast<unsigned>(imp->scratch[kScratchColourType]);
    const unsigned bitDepth = static_cast<unsigned>(imp->scratch[kScratchBitDepth]);
    const unsigned interlace = static_cast<unsigned>(imp->scratch[kScratchInterlace]);
    if (interlace > 1) return SetError(kPlace, "Unknown interlace method");

    const uint32_t width = static_cast<uint32_t>(std::max(image->width, 0));
    const uint32_t height = static_cast<uint32_t>(std::max(image->height, 0));
    const unsigned bitsPerPixel = SamplesPerPixel(colourType) * bitDepth;
    const size_t pixelBytes = std::max(1u, bitsPerPixel / 8);
    const size_t outBytes = (colourType == kRgb || colourType == kRgba) ? 3 : 1;

    std::vector<Pass> passes;
    size_t total = 0;
    if (!PlanPasses(width, height, bitsPerPixel, interlace == 1, &passes, &total))
        platform::FatalExit("EXIT: Out of memory");
    auto* buffer = static_cast<uint8_t*>(std::malloc(total ? total : 1));
    if (!buffer) platform::FatalExit("EXIT: Out of memory");

    ReportStatus(progress, "Decompressing", 0, 100);
    size_t inflated = 0;
    if (!InflateImageData(imp, buffer, total, &inflated)) {
        std::free(buffer);
        return false;
    }
    // Image data that ends early leaves the rest of the picture at zero.
    std::memset(buffer + inflated, 0, total - inflated);

    ReportStatus(progress, "De-filtering", 50, 100);
    for (const Pass& pass : passes) {
        const uint8_t* previous = nullptr;
        for (uint32_t y = 0; y < pass.height; ++y) {
            uint8_t* row = buffer + pass.offset + y * pass.rowBytes;
            UnfilterPngRow(row[0], row + 1, previous, pass.rowBytes - 1, pixelBytes);
            previous = row + 1;
        }
    }

    ReportStatus(progress, "Converting", 75, 100);
    if (interlace == 0) {
        if (!passes.empty()) {
            const Pass& pass = passes[0];
            const size_t rowPixelBytes = static_cast<size_t>(pass.width) * outBytes;
            for (uint32_t y = 0; y < pass.height; ++y) {
                if (image->BytesFromRow(static_cast<int>(y)) < rowPixelBytes) break;
                ConvertRow(buffer + pass.offset + y * pass.rowBytes + 1,
                           image->Row(static_cast<int>(y)), pass.width, colourType, bitDepth);
            }
        }
        std::free(buffer);
        return true;
    }

    // Interlaced: every pass is converted into a block of its own pixels,
    // then the pixels are put at their places in the picture.
    std::vector<uint8_t*> converted;
    for (const Pass& pass : passes) {
        const size_t rowPixelBytes = static_cast<size_t>(pass.width) * outBytes;
        auto* block = static_cast<uint8_t*>(std::malloc(rowPixelBytes * pass.height));
        if (!block) platform::FatalExit("EXIT: Out of memory");
        for (uint32_t y = 0; y < pass.height; ++y)
            ConvertRow(buffer + pass.offset + y * pass.rowBytes + 1, block + y * rowPixelBytes,
                       pass.width, colourType, bitDepth);
        converted.push_back(block);
    }
    std::free(buffer);

    ReportStatus(progress, "De-interlacing", 90, 100);
    for (size_t p = 0; p < passes.size(); ++p) {
        const Pass& pass = passes[p];
        const uint8_t* source = converted[p];
        for (uint32_t y = 0; y < pass.height; ++y) {
            const uint64_t imageRow = pass.y0 + static_cast<uint64_t>(y) * pass.dy;
            const size_t room = image->BytesFromRow(static_cast<int>(imageRow));
            uint8_t* row = image->Row(static_cast<int>(imageRow));
            for (uint32_t x = 0; x < pass.width; ++x, source += outBytes) {
                const size_t at = (pass.x0 + static_cast<size_t>(x) * pass.dx) * outBytes;
                if (at + outBytes > room) continue;
                std::memcpy(row + at, source, outBytes);
            }
        }
        std::free(converted[p]);
    }
    return true;
}

}  // namespace
