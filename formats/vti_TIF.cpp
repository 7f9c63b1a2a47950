// Reader for a small subset of TIFF: the first image of the file, strips
// only, uncompressed, LZW or PackBits data; 1, 2, 4 or 8 bits per sample with
// one sample per pixel, or 8 bits per sample with three samples (chunky or
// planar). Everything else is refused with a message naming the reason.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "core/ByteCursor.h"
#include "core/Error.h"
#include "core/Image.h"
#include "core/Platform.h"
#include "core/Progress.h"
#include "core/RowUtils.h"
#include "formats/PackBits.h"
#include "formats/Predictor.h"
#include "formats/ReaderRows.h"
#include "formats/Readers.h"
#include "formats/TiffLzw.h"

namespace {
constexpr const char* kPlace = "vti_TIF";
constexpr const char* kEntryPlace = "tif_ReadIFD";

// TIFF field types and tags the reader looks at.
constexpr unsigned kTypeShort = 3;
constexpr unsigned kTypeLong = 4;
enum Tag : unsigned {
    kImageWidth = 256,
    kImageLength = 257,
    kBitsPerSample = 258,
    kCompression = 259,
    kPhotometricInterpretation = 262,
    kStripOffsets = 273,
    kSamplesPerPixel = 277,
    kRowsPerStrip = 278,
    kStripByteCounts = 279,
    kPlanarConfiguration = 284,
    kPredictor = 317,
    kColorMap = 320,
};
enum Compression : uint32_t { kNone = 1, kLzw = 5, kPackBits = 32773 };
constexpr int32_t kColourCmyk = 7;  // passed on; the dispatcher refuses it

// What the directory says, kept between identification and loading.
struct TiffState {
    bool bigEndian = false;
    uint8_t bitsPerSample = 1;
    uint8_t samplesPerPixel = 1;
    uint8_t planarConfiguration = 1;
    uint8_t predictor = 1;
    uint32_t compression = kNone;
    uint32_t rowsPerStrip = 0;  // 0: the whole image is one strip
    // File offsets of the 4-byte value fields of the strip entries.
    bool haveStripOffsets = false;
    bool stripOffsetsLong = false;
    uint32_t stripOffsetsEntry = 0;
    // Recorded like the offsets but never used: strip lengths come from the
    // decompressors themselves.
    bool haveStripByteCounts = false;
    bool stripByteCountsLong = false;
    uint32_t stripByteCountsEntry = 0;
};

// Reader scratch words.
enum : int {
    kScratchFlags = 0,  // byte order, strip entry flags
    kScratchSamples = 1,  // bits, samples, planar configuration, predictor
    kScratchCompression = 2,
    kScratchRowsPerStrip = 3,
    kScratchStripOffsets = 4,
    kScratchStripByteCounts = 5,
};

void StoreState(ImageImpFile* imp, const TiffState& tiff) {
    imp->scratch[kScratchFlags] = (tiff.bigEndian ? 1u : 0u) | (tiff.haveStripOffsets ? 2u : 0u) |
                                  (tiff.stripOffsetsLong ? 4u : 0u) |
                                  (tiff.haveStripByteCounts ? 8u : 0u) |
                                  (tiff.stripByteCountsLong ? 16u : 0u);
    imp->scratch[kScratchSamples] = tiff.bitsPerSample | (tiff.samplesPerPixel << 8) |
                                    (tiff.planarConfiguration << 16) |
                                    (static_cast<uint32_t>(tiff.predictor) << 24);
    imp->scratch[kScratchCompression] = tiff.compression;
    imp->scratch[kScratchRowsPerStrip] = tiff.rowsPerStrip;
    imp->scratch[kScratchStripOffsets] = tiff.stripOffsetsEntry;
    imp->scratch[kScratchStripByteCounts] = tiff.stripByteCountsEntry;
}

TiffState RestoreState(const ImageImpFile* imp) {
    TiffState tiff;
    const uintptr_t flags = imp->scratch[kScratchFlags];
    tiff.bigEndian = flags & 1;
    tiff.haveStripOffsets = flags & 2;
    tiff.stripOffsetsLong = flags & 4;
    tiff.haveStripByteCounts = flags & 8;
    tiff.stripByteCountsLong = flags & 16;
    const uintptr_t samples = imp->scratch[kScratchSamples];
    tiff.bitsPerSample = static_cast<uint8_t>(samples);
    tiff.samplesPerPixel = static_cast<uint8_t>(samples >> 8);
    tiff.planarConfiguration = static_cast<uint8_t>(samples >> 16);
    tiff.predictor = static_cast<uint8_t>(samples >> 24);
    tiff.compression = static_cast<uint32_t>(imp->scratch[kScratchCompression]);
    tiff.rowsPerStrip = static_cast<uint32_t>(imp->scratch[kScratchRowsPerStrip]);
    tiff.stripOffsetsEntry = static_cast<uint32_t>(imp->scratch[kScratchStripOffsets]);
    tiff.stripByteCountsEntry = static_cast<uint32_t>(imp->scratch[kScratchStripByteCounts]);
    return tiff;
}

// A cursor over the mapped file whose 16- and 32-bit reads follow the file's
// byte order. All offsets in a TIFF file count from its first byte.
class TiffCursor {
public:
    TiffCursor(const ImageImpFile* imp, bool bigEndian, size_t position = 0)
        : bytes_(imp->data, imp->size, position),
          read16_(bigEndian ? &ByteCursor::BE16 : &ByteCursor::LE16),
          read32_(bigEndian ? &ByteCursor::BE32 : &ByteCursor::LE32) {}

    uint16_t Read16() { return (bytes_.*read16_)(); }
    uint32_t Read32() { return (bytes_.*read32_)(); }
    void Seek(size_t position) { bytes_.Seek(position); }
    size_t Position() const { return bytes_.Position(); }
    // Peeks that leave the cursor where it is.
    uint16_t Read16At(size_t position) {
        TiffCursor peek = *this;
        peek.Seek(position);
        return peek.Read16();
    }
    uint32_t Read32At(size_t position) {
        TiffCursor peek = *this;
        peek.Seek(position);
        return peek.Read32();
    }

private:
    ByteCursor bytes_;
    uint16_t (ByteCursor::*read16_)();
    uint32_t (ByteCursor::*read32_)();
};

bool LoadTiff(ImageImpFile* imp, Image* image, Progress* progress);

// BitsPerSample with three values: an offset to three SHORTs. The first is
// the bits per sample; the other two only have to add up to twice the first
// (or to 0), so 8, 4, 12 passes too. That looseness is kept on purpose.
bool ReadBitsPerSample(TiffCursor& cursor, TiffState* tiff, uint32_t count, size_t valueAt) {
    if (count == 1) {
        tiff->bitsPerSample = static_cast<uint8_t>(cursor.Read16At(valueAt));
        return true;
    }
    if (count != 3) return SetError(kEntryPlace, "Unsupported bits per sample");
    TiffCursor values = cursor;
    values.Seek(cursor.Read32At(valueAt));
    tiff->bitsPerSample = static_cast<uint8_t>(values.Read16());
    const unsigned sum = values.Read16() + static_cast<unsigned>(values.Read16());
    if (sum != 0 && sum != 2u * tiff->bitsPerSample)
        return SetError(kEntryPlace, "Can't handle different bits per pixel per color component");
    return true;
}

// ColorMap: all reds, then all greens, then all blues, 16 bits each, of
// which the high byte is kept. A table longer than 768 values is read as 256
// entries with one cursor running on, so green and blue then come from right
// behind the 256th red rather than from the thirds of the table. That is
// what this reader has always done with such files.
void ReadColorMap(ImageImpFile* imp, TiffCursor& cursor, uint32_t count, size_t valueAt) {
    const unsigned entries = count <= 768 ? count / 3 : 256;
    std::free(imp->palette);
    imp->palette = AllocPaletteBlock();
    if (!imp->palette) return;
    TiffCursor values = cursor;
    values.Seek(cursor.Read32At(valueAt));
    for (int component = 0; component < 3; ++component)
        for (unsigned i = 0; i < entries; ++i)
            imp->palette[3 * i + component] = static_cast<uint8_t>(values.Read16() >> 8);
}

// Reads one 12-byte directory entry at the cursor (tag, type, count, value
// field) and leaves the cursor on the next entry.
bool tif_ReadIFD(ImageImpFile* imp, TiffCursor& cursor, TiffState* tiff) {
    const unsigned tag = cursor.Read16();
    const unsigned type = cursor.Read16();
    const uint32_t count = cursor.Read32();
    const size_t valueAt = cursor.Position();
    cursor.Seek(valueAt + 4);

    // A SHORT sits in the first two bytes of the value field.
    const auto shortValue = [&] { return cursor.Read16At(valueAt); };
    const auto shortOrLong = [&] {
        return type == kTypeShort ? cursor.Read16At(valueAt) : cursor.Read32At(valueAt);
    };

    switch (tag) {
        case kImageWidth:
            if (count != 1) return SetError(kEntryPlace, "Bad TIFF Tag");
            imp->width = static_cast<int32_t>(shortOrLong());
            break;
        case kImageLength:
            if (count != 1) return SetError(kEntryPlace, "Bad TIFF Tag");
            imp->height = static_cast<int32_t>(shortOrLong());
            break;
        case kBitsPerSample:
            if (type != kTypeShort) return SetError(kEntryPlace, "Bad TIFF Tag");
            if (!ReadBitsPerSample(cursor, tiff, count, valueAt)) return false;
            break;
        case kCompression: {
            if (count != 1) return SetError(kEntryPlace, "Bad TIFF Tag");
            const unsigned compression = shortValue();
            tiff->compression = compression;
            if (compression == kLzw) {
                imp->compression = "LZW";
            } else if (compression == kPackBits) {
                imp->compression = "RLE";
            } else if (compression == 2 || compression == 3 || compression == 4) {
                return SetError(kEntryPlace, "CCITT fax compression(s) not supported");
            } else if (compression == 6) {
                return SetError(kEntryPlace, "JPEG-IN-A-TIFF not supported");
            } else if (compression != kNone) {
                return SetError(kEntryPlace, "Unknown compression scheme");
            }
            break;
        }
        case kPhotometricInterpretation: {
            if (count != 1) return SetError(kEntryPlace, "Bad TIFF Tag");
            switch (shortValue()) {
                case 0: imp->colourModel = kColourGreyInverted; break;  // WhiteIsZero
                case 1: imp->colourModel = kColourGrey; break;          // BlackIsZero
                case 2: imp->colourModel = kColourAsStored; break;      // RGB
                case 3: imp->colourModel = kColourAsStored; break;      // palette
                case 4: imp->colourModel = kColourGrey; break;          // transparency mask
                case 5: imp->colourModel = kColourCmyk; break;          // separated
                case 6: imp->colourModel = kColourYCbCr; break;
                default:
                    platform::Warning("Warning! Unknown photometeric interpretation");
                    break;
            }
            break;
        }
        case kStripOffsets:
            if (type != kTypeShort && type != kTypeLong) return SetError(kEntryPlace, "Bad TIFF Tag");
            tiff->haveStripOffsets = true;
            tiff->stripOffsetsLong = type == kTypeLong;
            tiff->stripOffsetsEntry = static_cast<uint32_t>(valueAt);
            break;
        case kSamplesPerPixel:
            if (count != 1) return SetError(kEntryPlace, "Bad TIFF Tag");
            tiff->samplesPerPixel = static_cast<uint8_t>(shortValue());
            break;
        case kRowsPerStrip:
            if (count != 1) return SetError(kEntryPlace, "Bad TIFF Tag");
            tiff->rowsPerStrip = shortOrLong();
            break;
        case kStripByteCounts:
            if (type != kTypeShort && type != kTypeLong) return SetError(kEntryPlace, "Bad TIFF Tag");
            tiff->haveStripByteCounts = true;
            tiff->stripByteCountsLong = type == kTypeLong;
            tiff->stripByteCountsEntry = static_cast<uint32_t>(valueAt);
            break;
        case kPlanarConfiguration:
            if (count != 1) return SetError(kEntryPlace, "Bad TIFF Tag");
            tiff->planarConfiguration = static_cast<uint8_t>(shortValue());
            break;
        case kPredictor:
            tiff->predictor = static_cast<uint8_t>(shortValue());
            if (tiff->predictor >= 3) platform::Warning("Warning! Unknown predictor!");
            break;
        case kColorMap:
            if (type != kTypeShort) return SetError(kEntryPlace, "Bad TIFF Tag");
            ReadColorMap(imp, cursor, count, valueAt);
            break;
        default:
            break;
    }
    return true;
}
}  // namespace

bool vti_TIF(ImageImpFile* imp) {
    TiffState tiff;
    // "II" and "MM" read the same in either order.
    const unsigned byteOrder = ByteCursor(imp->data, imp->size).LE16At(0);
    if (byteOrder == 0x4949)
        tiff.bigEndian = false;
    else if (byteOrder == 0x4D4D)
        tiff.bigEndian = true;
    else
        return SetError(kPlace, "Not a TIFF file!");
    imp->ready = true;

    TiffCursor cursor(imp, tiff.bigEndian, 2);
    if (cursor.Read16() != 42) return SetError(kPlace, "Unknown TIFF version!");

    imp->rowLoader = LoadTiff;
    imp->colourModel = kColourGrey;

    // Only the start of the directory is checked against the file size; an
    // entry past the end reads as zeros, which is no tag the reader knows.
    const uint32_t directory = cursor.Read32();
    if (directory >= imp->size) return SetError(kPlace, "Corrupted TIFF file");
    cursor.Seek(directory);
    // Only the first directory is read: the offset of the next one, behind
    // the entries, is never looked at, so a multi-page file shows its first
    // page.
    const unsigned entries = cursor.Read16();
    for (unsigned i = 0; i < entries; ++i)
        if (!tif_ReadIFD(imp, cursor, &tiff)) return false;

    const unsigned bitsPerPixel = tiff.bitsPerSample * static_cast<unsigned>(tiff.samplesPerPixel);
    if (!tiff.haveStripOffsets) return SetError(kPlace, "No image found in this file!");
    if (tiff.rowsPerStrip == 0) tiff.rowsPerStrip = static_cast<uint32_t>(imp->height);

    // The announced stride is one byte per pixel for one-sample pictures
    // (whole source bytes expanded) and three for three-sample pictures.
    // The width field is unsigned; a stride too large for the record
    // becomes the largest one, so such a picture ends in the out-of-memory
    // path rather than in a small block.
    const int64_t width = static_cast<uint32_t>(imp->width);
    int64_t stride;
    if (tiff.samplesPerPixel == 1) {
        if (tiff.planarConfiguration != 1) return SetError(kPlace, "Unsupported planar configuration");
        switch (tiff.bitsPerSample) {
            case 1: stride = (width + 7) & ~int64_t{7}; break;
            case 2: stride = (width + 3) & ~int64_t{3}; break;
            case 4: stride = (width + 1) & ~int64_t{1}; break;
            case 8: stride = width; break;
            default: return SetError(kPlace, "Unsupported bitdepth for monoplanar image");
        }
    } else {
        if (tiff.samplesPerPixel != 3) return SetError(kPlace, "Unsupported number of image planes");
        if (tiff.bitsPerSample != 8) return SetError(kPlace, "Unsupported bitdepth for triplanar image");
        if (tiff.planarConfiguration != 1 && tiff.planarConfiguration != 2)
            return SetError(kPlace, "Unsupported planar configuration");
        stride = width * 3;
    }
    imp->stride = SaturatedInt32(static_cast<uint64_t>(stride));
    imp->depth = static_cast<int32_t>(bitsPerPixel);
    StoreState(imp, tiff);
    return true;
}

namespace {

// How many rows of `rowBytes` bytes, starting at row 0, fit in the image's
// pixel block (never more than its height).
int RowsThatFit(const Image* image, size_t rowBytes) {
    int rows = 0;
    const int height = image->height;
    if (height <= 0 || image->stride < 0) return 0;
    // Row r fits when r * stride + rowBytes <= the block size.
    const uint64_t block = image->PixelBytes();
    if (rowBytes > block) return 0;
    const uint64_t stride = static_cast<uint64_t>(image->stride);
    const uint64_t last = stride == 0 ? height - 1 : (block - rowBytes) / stride;
    rows = static_cast<int>(std::min<uint64_t>(last + 1, static_cast<uint64_t>(height)));
    return rows;
}

// The strip addresses (offsets from the start of the file) from the
// StripOffsets entry. A LONG offset past the end of a multi-strip file
// switches on repair mode: strip 0 is then taken to start right behind the
// 8-byte header, and every later one right behind its predecessor.
std::vector<uint64_t> ReadStripOffsets(const ImageImpFile* imp, const TiffState& tiff,
                                       size_t strips, bool* repair) {
    std::vector<uint64_t> offsets(strips, 0);
    TiffCursor cursor(imp, tiff.bigEndian);
    const size_t valueAt = tiff.stripOffsetsEntry;
    *repair = false;
    if (!tiff.stripOffsetsLong) {
        // SHORT offsets are taken as they are: only LONG ones are checked.
        if (strips <= 2) {
            cursor.Seek(valueAt);
        } else {
            cursor.Seek(cursor.Read32At(valueAt));
        }
        for (size_t i = 0; i < strips; ++i) offsets[i] = cursor.Read16();
    } else if (strips == 1) {
        offsets[0] = cursor.Read32At(valueAt);
    } else {
        cursor.Seek(cursor.Read32At(valueAt));
        for (size_t i = 0; i < strips; ++i) {
            const uint32_t offset = cursor.Read32();
            if (offset >= imp->size) {
                platform::Warning(
                    "Warning! Invalid strip offset in file - will try to fix it but may crash...");
                offsets[0] = 8;
                *repair = true;
                break;
            }
            offsets[i] = offset;
        }
    }
    return offsets;
}

// Writes `count` bytes of a converted row into image row `row`, clipped to
// the pixel block.
void PutRow(Image* image, int row, const uint8_t* bytes, size_t count) {
    const size_t room = image->BytesFromRow(row);
    if (room > 0) std::memcpy(image->Row(row), bytes, std::min(count, room));
}

// Moves rows laid out `rowBytes` apart in `rows` to the image at its
// stride. When `rows` is the pixel block itself the rows move from the last
// up; when they are already where they belong nothing is done.
void PlaceRows(Image* image, const uint8_t* rows, size_t rowBytes) {
    if (rows == image->pixels && rowBytes == static_cast<size_t>(image->stride)) return;
    CopyRows(image->pixels, image->stride, rows, static_cast<int>(rowBytes), RowsThatFit(image, rowBytes));
}

// Turns rows of 8-bit samples, as decoded, into the Image's: red and blue
// swapped for three samples, the predictor undone when `predictor` says so.
void FinishRows(uint8_t* rows, int width, int count, int stride, unsigned samples,
                bool predictor) {
    if (samples == 3 && predictor)
        UndoHorizontalPredictorSwappingRedBlue(rows, width, count, stride);
    else if (samples == 3)
        SwapRedBlue(rows, width, stride, count);
    else if (predictor)
        UndoHorizontalPredictor(rows, width, count, stride, 1);
}

bool LoadTiff(ImageImpFile* imp, Image* image, Progress* progress) {
    const TiffState tiff = RestoreState(imp);
    const int64_t width = image->width;
    const int64_t height = image->height;
    if (width <= 0 || height <= 0) return true;

    const unsigned samples = tiff.samplesPerPixel;
    const unsigned bitsPerPixel = tiff.bitsPerSample * samples;
    const size_t announcedStride = samples == 1 ? static_cast<size_t>(imp->stride)
                                                : static_cast<size_t>(width) * 3;
    // A strip of more rows than the picture has holds the whole picture:
    // sizing it by the picture is the same for every well-formed file and
    // keeps "infinite" rows per strip (0xFFFFFFFF) from sizing the buffer.
    const uint64_t rowsPerStrip =
        std::min<uint64_t>(tiff.rowsPerStrip == 0 ? height : tiff.rowsPerStrip, height);
    const size_t strips = static_cast<size_t>((height + rowsPerStrip - 1) / rowsPerStrip);
    const size_t rowBytes = static_cast<size_t>((width * bitsPerPixel + 7) / 8);
    const size_t stripBytes = rowBytes * static_cast<size_t>(rowsPerStrip);
    // Planar files are taken exactly as chunky ones: each strip is three
    // planes' worth of bytes, read from the strips of the first plane.

    bool repair;
    std::vector<uint64_t> offsets = ReadStripOffsets(imp, tiff, strips, &repair);

    // 8-bit chunky strips are laid straight into the pixel block at the
    // announced stride and re-spaced there afterwards. For uncompressed data
    // that is the reader's own way; compressed strips go the same way for
    // speed, which shows the same picture: the strips land where they would
    // in a separate buffer, and what a strip writes beyond the picture's
    // last row is never shown. Other layouts (and blocks too small to take
    // the strips at the announced stride) go through a buffer of whole
    // strips.
    const bool direct = tiff.bitsPerSample == 8 && tiff.planarConfiguration == 1 &&
                        static_cast<size_t>(image->stride) >= announcedStride &&
                        image->PixelBytes() >= announcedStride * static_cast<size_t>(height);
    uint8_t* work;
    size_t workBytes;
    if (direct) {
        work = image->pixels;
        workBytes = image->PixelBytes();
    } else {
        workBytes = strips * stripBytes;
        work = static_cast<uint8_t*>(std::calloc(workBytes ? workBytes : 1, 1));
        if (!work) platform::FatalExit("EXIT: Out of memory");
    }
    if (tiff.compression != kNone) ReportStatus(progress, "Decompressing", 0, 100);
    uint8_t* const workEnd = work + workBytes;

    // The predictor is undone for LZW data only: uncompressed and PackBits
    // files that say predictor 2 keep their differences, as they always have
    // in this reader.
    const bool predictor = tiff.compression == kLzw && tiff.predictor == 2;
    // When the strips lie in the pixel block at the Image's own stride the
    // rows need no moving, and each strip's rows within the picture are
    // finished (red and blue swapped, the predictor undone) as soon as the
    // strip is decoded, while they are at hand: its place is final then,
    // since every later strip writes only from its own place on. Otherwise
    // the whole buffer is converted and placed after the last strip.
    const bool finishEachStrip =
        direct && static_cast<size_t>(image->stride) == announcedStride;

    const uint8_t* const fileEnd = imp->data + imp->size;
    for (size_t i = 0; i < strips; ++i) {
        const uint64_t destinationAt = static_cast<uint64_t>(i) * stripBytes;
        uint8_t* destination = work + std::min<uint64_t>(destinationAt, workBytes);
        const uint64_t sourceAt = offsets[i];
        const uint8_t* source = imp->data + std::min<uint64_t>(sourceAt, imp->size);
        // The strip's rows within the picture, when they are finished here.
        const uint64_t top = destinationAt / announcedStride;
        const int finishRows =
            finishEachStrip && top < static_cast<uint64_t>(height)
                ? static_cast<int>(std::min<uint64_t>(rowsPerStrip, height - top))
                : 0;
        bool finished = false;  // the rows were finished on the way
        uint64_t end;           // where the strip's data ended, as an offset
        if (tiff.compression == kLzw) {
            // LZW codes fill the strip's own place and no more: what a
            // damaged strip describes beyond its rows is dropped, as libtiff
            // drops it. A well-formed strip ends with its rows, so its end
            // code is read all the same and the end address is the same.
            // (Unbounded, a file of many strips that all point at one long
            // stream would decode it over the rest of the picture for every
            // strip.) The strip's place is still clear: the work buffer and
            // a new Image's pixel block start zero-filled, and no other
            // strip writes there.
            uint8_t* const stripEnd =
                destination +
                std::min<uint64_t>(stripBytes, static_cast<uint64_t>(workEnd - destination));
            end = static_cast<uint64_t>(
                TiffLzwDecode(destination, stripEnd, source, fileEnd, true) - imp->data);
        } else if (tiff.compression == kPackBits) {
            // The run that crosses the strip's count is written whole, into
            // the next strip's place (which that strip then overwrites);
            // only the end of the buffer stops it.
            end = static_cast<uint64_t>(
                PackBitsDecode(destination, workEnd, source, fileEnd, stripBytes) - imp->data);
        } else {
            const size_t available = sourceAt < imp->size ? imp->size - sourceAt : 0;
            const size_t room = static_cast<size_t>(workEnd - destination);
            const size_t count = std::min({stripBytes, available, room});
            if (samples == 3 && finishRows > 0) {
                // Colour rows are copied with red and blue swapped on the
                // way; rows beyond the picture are copied as they are, and
                // pixels the file does not hold whole are swapped where they
                // lie, as after a plain copy.
                const size_t pixels = static_cast<size_t>(finishRows) * width;
                const size_t copied = std::min(count / 3, pixels);
                CopySwappingRedBlue(destination, source, copied);
                std::memcpy(destination + 3 * copied, source + 3 * copied, count - 3 * copied);
                CopySwappingRedBlue(destination + 3 * copied, destination + 3 * copied,
                                    pixels - copied);
                finished = true;
            } else {
                std::memcpy(destination, source, count);
            }
            end = sourceAt + stripBytes;
        }
        if (finishRows > 0 && !finished)
            FinishRows(destination, static_cast<int>(width), finishRows,
                       static_cast<int>(announcedStride), samples, predictor);
        if (i % 8 == 7) ReportProgress(progress, static_cast<int>(i), static_cast<int>(strips - 1));
        if (repair && i + 1 < strips) offsets[i + 1] = end;
    }

    const int rows = static_cast<int>(height);
    if (samples == 3) {
        ReportStatus(progress, "Converting", 0, 100);
        if (tiff.planarConfiguration == 1) {
            if (!finishEachStrip) {
                SwapRedBlue(work, static_cast<int>(width), static_cast<int>(announcedStride),
                            rows);
                PlaceRows(image, work, announcedStride);
            }
        } else {
            // Each buffer row is taken as a run of red, then green, then
            // blue: planes interleaved row by row inside the strip.
            std::vector<uint8_t> row(announcedStride);
            for (int y = 0; y < rows; ++y) {
                PlanesToPixels(row.data(), work + static_cast<size_t>(y) * announcedStride,
                               static_cast<int>(width), static_cast<ptrdiff_t>(width));
                PutRow(image, y, row.data(), announcedStride);
            }
        }
    } else if (tiff.bitsPerSample == 8) {
        PlaceRows(image, work, announcedStride);
    } else {
        // Whole source bytes are expanded: the announced stride is the width
        // rounded up to whole bytes' worth of pixels.
        std::vector<uint8_t> row(rowBytes * 8);
        for (int y = 0; y < rows; ++y) {
            const uint8_t* source = work + static_cast<size_t>(y) * rowBytes;
            switch (tiff.bitsPerSample) {
                case 1: Unpack1Bit(row.data(), source, rowBytes); break;
                case 2: Unpack2Bit(row.data(), source, rowBytes); break;
                default: Unpack4Bit(row.data(), source, rowBytes); break;
            }
            PutRow(image, y, row.data(), announcedStride);
        }
    }

    if (predictor) {
        ReportStatus(progress, "De-predicting", 0, 100);
        if (!finishEachStrip)
            UndoHorizontalPredictor(image->pixels, static_cast<int>(width),
                                    RowsThatFit(image, static_cast<size_t>(width) * samples),
                                    image->stride, static_cast<int>(samples));
    }

    if (!direct) std::free(work);
    return true;
}
}  // namespace
