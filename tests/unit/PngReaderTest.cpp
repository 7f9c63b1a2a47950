// The PNG reader on files built chunk by chunk (image data compressed with
// zlib here in the test).
#include <gtest/gtest.h>
#include <zlib.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "core/Error.h"
#include "core/Image.h"
#include "core/ImageImpFile.h"
#include "formats/PngFilters.h"
#include "formats/PngInflate.h"
#include "formats/Readers.h"
#include "tests/support/TestSupport.h"

namespace {
using Bytes = std::vector<uint8_t>;

void Be32(Bytes& b, uint32_t v) {
    for (int shift = 24; shift >= 0; shift -= 8) b.push_back(static_cast<uint8_t>(v >> shift));
}

const Bytes kSignature = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};

// Length, type, data, check value (computed unless one is given).
void AddChunk(Bytes& file, const char* type, const Bytes& data, bool badCheck = false) {
    Be32(file, static_cast<uint32_t>(data.size()));
    Bytes typed(type, type + 4);
    typed.insert(typed.end(), data.begin(), data.end());
    file.insert(file.end(), typed.begin(), typed.end());
    uLong crc = crc32(0, typed.data(), static_cast<uInt>(typed.size()));
    if (badCheck) crc ^= 0xDEADBEEF;
    Be32(file, static_cast<uint32_t>(crc));
}

Bytes Header(uint32_t width, uint32_t height, unsigned bitDepth, unsigned colourType,
             unsigned interlace = 0, unsigned compression = 0, unsigned filter = 0) {
    Bytes h;
    Be32(h, width);
    Be32(h, height);
    h.push_back(static_cast<uint8_t>(bitDepth));
    h.push_back(static_cast<uint8_t>(colourType));
    h.push_back(static_cast<uint8_t>(compression));
    h.push_back(static_cast<uint8_t>(filter));
    h.push_back(static_cast<uint8_t>(interlace));
    return h;
}

Bytes Compress(const Bytes& raw) {
    uLongf size = compressBound(static_cast<uLong>(raw.size()));
    Bytes out(size);
    EXPECT_EQ(compress2(out.data(), &size, raw.data(), static_cast<uLong>(raw.size()), 9), Z_OK);
    out.resize(size);
    return out;
}

// Filtered rows with filter type 0: each row's packed bytes after a 0.
Bytes Unfiltered(const std::vector<Bytes>& rows) {
    Bytes raw;
    for (const Bytes& row : rows) {
        raw.push_back(0);
        raw.insert(raw.end(), row.begin(), row.end());
    }
    return raw;
}

// Palette entry i = (i, 255 - i, 7).
Bytes Palette(int entries) {
    Bytes p;
    for (int i = 0; i < entries; ++i) {
        p.push_back(static_cast<uint8_t>(i));
        p.push_back(static_cast<uint8_t>(255 - i));
        p.push_back(7);
    }
    return p;
}

// Signature, IHDR, optional PLTE, one IDAT of the given raw (filtered) data,
// IEND.
Bytes PngFile(const Bytes& header, const Bytes& raw, const Bytes* palette = nullptr) {
    Bytes file = kSignature;
    AddChunk(file, "IHDR", header);
    if (palette) AddChunk(file, "PLTE", *palette);
    AddChunk(file, "IDAT", Compress(raw));
    AddChunk(file, "IEND", {});
    return file;
}

struct Loaded {
    std::unique_ptr<ImageImpFile> imp;
    std::unique_ptr<Image> image;
    bool loaded = false;
};

// Every file gets a name of its own: under Windows a file cannot be
// rewritten while an earlier record still maps it.
std::unique_ptr<ImageImpFile> Open(const Bytes& file) {
    static int serial = 0;
    const std::string name = "png-" + std::to_string(++serial) + ".png";
    ClearError();
    return std::make_unique<ImageImpFile>(test::WriteTempFile(name, file).c_str(), nullptr, false);
}

Loaded OpenAndLoad(const Bytes& file, Progress* progress = nullptr) {
    Loaded result;
    result.imp = Open(file);
    if (!result.imp->ready) return result;
    ImageImpFile& imp = *result.imp;
    result.image = std::make_unique<Image>(imp.width, imp.height, imp.stride, imp.rows, imp.palette,
                                           imp.depth);
    ClearError();
    result.loaded = Load(&imp, result.image.get(), progress, false);
    return result;
}

Bytes RowOf(const Image& image, int row, int bytesPerPixel = 1) {
    return Bytes(image.Row(row), image.Row(row) + image.width * bytesPerPixel);
}

// The standard Adam7 passes: first column, first row, column step, row step.
const int kAdam7[7][4] = {{0, 0, 8, 8}, {4, 0, 8, 8}, {0, 4, 4, 8}, {2, 0, 4, 4},
                          {0, 2, 2, 4}, {1, 0, 2, 2}, {0, 1, 1, 2}};

// Interlaced raw data for 8-bit samples: every pass's rows, filter type 0,
// pixel (x, y) given by `pixel`.
Bytes Adam7Raw(int width, int height, const std::function<Bytes(int, int)>& pixel) {
    Bytes raw;
    for (const auto& pass : kAdam7) {
        for (int y = pass[1]; y < height; y += pass[3]) {
            if (pass[0] >= width) break;
            raw.push_back(0);
            for (int x = pass[0]; x < width; x += pass[2]) {
                const Bytes p = pixel(x, y);
                raw.insert(raw.end(), p.begin(), p.end());
            }
        }
    }
    return raw;
}
}  // namespace

// ---- Recognition and the chunk walk ----

TEST(PngReader, FileWithoutSignatureIsNotRecognised) {
    Bytes file = PngFile(Header(1, 1, 8, 0), Unfiltered({{5}}));
    file[1] = 'p';
    const auto imp = Open(file);
    EXPECT_FALSE(imp->ready);
    EXPECT_STREQ(g_errorText, "Not a supported image format");
    EXPECT_FALSE(vti_PNG(imp.get()));
    EXPECT_FALSE(imp->ready);
    EXPECT_STREQ(g_errorPlace, "vti_PNG");
    EXPECT_STREQ(g_errorText, "Not a PNG file");
}

TEST(PngReader, SignatureAloneIsImageSizeIsZero) {
    const auto imp = Open(kSignature);
    EXPECT_FALSE(imp->ready);
    EXPECT_STREQ(g_errorPlace, "ImageImpFile()");
    EXPECT_STREQ(g_errorText, "Image size is zero!");
}

TEST(PngReader, WrongCheckValuesLoadNormally) {
    Bytes file = kSignature;
    AddChunk(file, "IHDR", Header(2, 1, 8, 0), true);
    AddChunk(file, "IDAT", Compress(Unfiltered({{9, 200}})), true);
    AddChunk(file, "IEND", {}, true);
    const Loaded l = OpenAndLoad(file);
    ASSERT_TRUE(l.loaded) << g_errorPlace << ": " << g_errorText;
    EXPECT_EQ(RowOf(*l.image, 0), (Bytes{9, 200}));
}

TEST(PngReader, MissingIendLoadsWhenTheLastChunkEndsAtTheEndOfTheFile) {
    Bytes file = kSignature;
    AddChunk(file, "IHDR", Header(2, 1, 8, 0));
    AddChunk(file, "IDAT", Compress(Unfiltered({{1, 2}})));
    const Loaded l = OpenAndLoad(file);
    ASSERT_TRUE(l.loaded) << g_errorText;
    EXPECT_EQ(RowOf(*l.image, 0), (Bytes{1, 2}));
}

TEST(PngReader, ChunkReachingPastTheEndOfTheFileIsRefused) {
    Bytes file = kSignature;
    AddChunk(file, "IHDR", Header(2, 1, 8, 0));
    AddChunk(file, "IDAT", Compress(Unfiltered({{1, 2}})));
    file.pop_back();  // one byte of the check value missing
    const auto imp = Open(file);
    EXPECT_FALSE(imp->ready);
    EXPECT_STREQ(g_errorPlace, "vti_PNG");
    EXPECT_STREQ(g_errorText, "Corrupted file - Chunk length exceeds eof!");
}

TEST(PngReader, HugeChunkLengthIsRefused) {
    Bytes file = kSignature;
    AddChunk(file, "IHDR", Header(2, 1, 8, 0));
    Be32(file, 0xFFFFFFF0u);
    file.insert(file.end(), {'I', 'D', 'A', 'T', 0, 0, 0, 0});
    const auto imp = Open(file);
    EXPECT_STREQ(g_errorText, "Corrupted file - Chunk length exceeds eof!");
}

TEST(PngReader, ChunkTypeMustBeLetters) {
    Bytes file = kSignature;
    AddChunk(file, "IHDR", Header(2, 1, 8, 0));
    AddChunk(file, "aB1d", {1, 2, 3});
    const auto imp = Open(file);
    EXPECT_FALSE(imp->ready);
    EXPECT_STREQ(g_errorPlace, "vti_PNG");
    EXPECT_STREQ(g_errorText, "Corrupted file - Chunk type not ascii letters!");
}

TEST(PngReader, UnknownAncillaryChunkIsSkippedWithoutAMessage) {
    Bytes file = kSignature;
    AddChunk(file, "IHDR", Header(1, 1, 8, 0));
    AddChunk(file, "prIv", {'s', 'e', 'c', 'r', 'e', 't'});
    AddChunk(file, "IDAT", Compress(Unfiltered({{77}})));
    AddChunk(file, "IEND", {});
    test::MessageRecorder recorder;
    const Loaded l = OpenAndLoad(file);
    ASSERT_TRUE(l.loaded);
    EXPECT_TRUE(recorder.messages.empty());
    EXPECT_EQ(l.image->Row(0)[0], 77);
}

TEST(PngReader, UnknownCriticalChunkGivesTheWarningAndLoads) {
    Bytes file = kSignature;
    AddChunk(file, "IHDR", Header(1, 1, 8, 0));
    AddChunk(file, "XYZW", {1});
    AddChunk(file, "IDAT", Compress(Unfiltered({{78}})));
    AddChunk(file, "IEND", {});
    test::MessageRecorder recorder;
    const Loaded l = OpenAndLoad(file);
    ASSERT_TRUE(l.loaded);
    ASSERT_EQ(recorder.messages.size(), 1u);
    EXPECT_EQ(recorder.messages[0].first, "Attention!");
    EXPECT_EQ(recorder.messages[0].second,
              "Warning! Unrecognized critical chunk encountered - Will probably not display image "
              "correctly");
    EXPECT_EQ(l.image->Row(0)[0], 78);
}

TEST(PngReader, ChunksAfterIendAreNotLookedAt) {
    Bytes file = PngFile(Header(1, 1, 8, 0), Unfiltered({{3}}));
    file.insert(file.end(), {0xFF, 0xFF, 0xFF, 0xFF, '1', '2', '3', '4'});
    const Loaded l = OpenAndLoad(file);
    ASSERT_TRUE(l.loaded);
    EXPECT_EQ(l.image->Row(0)[0], 3);
}

// ---- Header checks ----

std::string HeaderVerdict(unsigned bitDepth, unsigned colourType, unsigned compression = 0,
                          unsigned filter = 0) {
    const auto imp = Open(
        PngFile(Header(1, 1, bitDepth, colourType, 0, compression, filter), Unfiltered({{0}})));
    if (imp->ready) return "ready";
    return std::string(g_errorPlace) + ": " + g_errorText;
}

TEST(PngReader, UnknownColourTypesAreRefused) {
    EXPECT_EQ(HeaderVerdict(8, 1), "vti_PNG: Unknown color type");
    EXPECT_EQ(HeaderVerdict(8, 5), "vti_PNG: Unknown color type");
    EXPECT_EQ(HeaderVerdict(8, 7), "vti_PNG: Unknown color type");
    EXPECT_EQ(HeaderVerdict(8, 9), "vti_PNG: Unknown color type");
}

TEST(PngReader, BitDepthsAreCheckedPerColourType) {
    const char* refused = "vti_PNG: Unsupported colortype/bitdepth combination";
    for (unsigned depth : {1u, 2u, 4u, 8u, 16u}) {
        EXPECT_EQ(HeaderVerdict(depth, 0), "ready") << depth;
        EXPECT_EQ(HeaderVerdict(depth, 4), "ready") << depth;
        EXPECT_EQ(HeaderVerdict(depth, 2), depth >= 8 ? "ready" : refused) << depth;
        EXPECT_EQ(HeaderVerdict(depth, 6), depth >= 8 ? "ready" : refused) << depth;
    }
    for (unsigned depth : {0u, 3u, 5u, 32u, 99u}) {
        EXPECT_EQ(HeaderVerdict(depth, 0), refused) << depth;
        EXPECT_EQ(HeaderVerdict(depth, 2), refused) << depth;
    }
    EXPECT_EQ(HeaderVerdict(16, 3), refused);
}

TEST(PngReader, PaletteTypeAcceptsOneToEightBits) {
    const Bytes palette = Palette(2);
    for (unsigned depth : {1u, 2u, 4u, 8u}) {
        const auto imp = Open(PngFile(Header(1, 1, depth, 3), Unfiltered({{0}}), &palette));
        EXPECT_TRUE(imp->ready) << depth << " " << g_errorText;
    }
}

TEST(PngReader, CompressionAndFilterMethodsMustBeZero) {
    EXPECT_EQ(HeaderVerdict(8, 0, 1, 0), "vti_PNG: Unknown compression type");
    EXPECT_EQ(HeaderVerdict(8, 0, 0, 1), "vti_PNG: Unknown filter method");
}

TEST(PngReader, UnknownInterlaceMethodFailsWhenLoading) {
    const Loaded l = OpenAndLoad(PngFile(Header(1, 1, 8, 0, 2), Unfiltered({{0}})));
    ASSERT_TRUE(l.imp->ready);
    EXPECT_FALSE(l.loaded);
    EXPECT_STREQ(g_errorPlace, "vti_PNG");
    EXPECT_STREQ(g_errorText, "Unknown interlace method");
}

TEST(PngReader, AnnouncesWhatItStores) {
    struct Case {
        unsigned bitDepth, colourType;
        int depth, stride, colourModel;
    };
    const Bytes palette = Palette(4);
    for (const Case& c :
         {Case{1, 0, 1, 5, 2}, Case{2, 0, 2, 5, 2}, Case{4, 0, 4, 5, 2}, Case{8, 0, 8, 5, 2},
          Case{16, 0, 8, 5, 2}, Case{8, 4, 8, 5, 2}, Case{16, 4, 8, 5, 2}, Case{1, 3, 1, 5, 1},
          Case{8, 3, 8, 5, 1}, Case{8, 2, 24, 15, 1}, Case{16, 2, 24, 15, 1}, Case{8, 6, 24, 15, 1},
          Case{16, 6, 24, 15, 1}}) {
        const auto imp = Open(PngFile(Header(5, 2, c.bitDepth, c.colourType), Bytes(64, 0),
                                      c.colourType == 3 ? &palette : nullptr));
        ASSERT_TRUE(imp->ready) << c.bitDepth << "/" << c.colourType << ": " << g_errorText;
        EXPECT_EQ(imp->depth, c.depth) << c.bitDepth << "/" << c.colourType;
        EXPECT_EQ(imp->stride, c.stride) << c.bitDepth << "/" << c.colourType;
        EXPECT_EQ(imp->colourModel, c.colourModel) << c.bitDepth << "/" << c.colourType;
        EXPECT_EQ(imp->width, 5);
        EXPECT_EQ(imp->height, 2);
        EXPECT_STREQ(imp->compression, "Inflate/Deflate");
        EXPECT_STREQ(imp->description, "Portable Network Graphics");
    }
}

// ---- Palettes ----

TEST(PngReader, StrideTooLargeForTheRecordBecomesTheLargestOne) {
    // 0x55555556 RGB pixels a row are 0x100000002 bytes: the stride must not
    // wrap round to 2. (Only announced here, not loaded.)
    Bytes file = kSignature;
    AddChunk(file, "IHDR", Header(0x55555556, 1, 8, 2));
    AddChunk(file, "IEND", {});
    const std::string path = test::WriteTempFile("wide.png", file);
    ImageImpFile imp(path.c_str(), nullptr, false);
    ASSERT_TRUE(imp.ready) << g_errorText;
    EXPECT_EQ(imp.width, 0x55555556);
    EXPECT_EQ(imp.stride, INT32_MAX);
}

TEST(PngReader, PaletteOfMoreThan256EntriesUsesTheFirst256) {
    Bytes palette = Palette(256);
    for (int i = 0; i < 44; ++i) palette.insert(palette.end(), {1, 2, 3});  // entries 256..299
    const Loaded l = OpenAndLoad(PngFile(Header(2, 1, 8, 3), Unfiltered({{255, 1}}), &palette));
    ASSERT_TRUE(l.loaded) << g_errorText;
    EXPECT_EQ(RowOf(*l.image, 0), (Bytes{255, 1}));
    EXPECT_EQ(l.image->palette[3 * 255], 255);
    EXPECT_EQ(l.image->palette[3 * 255 + 1], 0);
    EXPECT_EQ(l.image->palette[3 * 255 + 2], 7);
}

TEST(PngReader, ShortPaletteLeavesTheOtherEntriesBlack) {
    const Bytes palette = Palette(2);
    const Loaded l = OpenAndLoad(PngFile(Header(2, 1, 8, 3), Unfiltered({{1, 0}}), &palette));
    ASSERT_TRUE(l.loaded);
    EXPECT_EQ(l.image->palette[3], 1);
    EXPECT_EQ(l.image->palette[4], 254);
    EXPECT_EQ(l.image->palette[6], 0);
    EXPECT_EQ(l.image->palette[7], 0);
}

TEST(PngReader, SuggestedPaletteOfAColourPictureIsIgnored) {
    const Bytes palette = Palette(4);
    const auto imp = Open(PngFile(Header(1, 1, 8, 2), Unfiltered({{1, 2, 3}}), &palette));
    ASSERT_TRUE(imp->ready);
    EXPECT_EQ(imp->palette, nullptr);
}

TEST(PngReader, PaletteBeforeTheHeaderIsIgnored) {
    Bytes file = kSignature;
    AddChunk(file, "PLTE", Palette(2));
    AddChunk(file, "IHDR", Header(1, 1, 8, 3));
    AddChunk(file, "IDAT", Compress(Unfiltered({{0}})));
    AddChunk(file, "IEND", {});
    const auto imp = Open(file);
    EXPECT_FALSE(imp->ready);
    EXPECT_STREQ(g_errorPlace, "ImageImpFile()");
    EXPECT_STREQ(g_errorText, "No colormap in file");
}

// ---- Colour types and bit depths ----

TEST(PngReader, PackedPaletteSamplesComeMostSignificantFirst) {
    const Bytes palette = Palette(16);
    // 5 pixels of 2 bits: 3 2 1 0 | 2, then a row of 4 bits: 15 0 9 | 1 ...
    const Loaded two =
        OpenAndLoad(PngFile(Header(5, 1, 2, 3), Unfiltered({{0b11100100, 0b10000000}}), &palette));
    ASSERT_TRUE(two.loaded);
    EXPECT_EQ(RowOf(*two.image, 0), (Bytes{3, 2, 1, 0, 2}));
    const Loaded four = OpenAndLoad(
        PngFile(Header(3, 2, 4, 3), Unfiltered({{0xF0, 0x90}, {0x12, 0x30}}), &palette));
    ASSERT_TRUE(four.loaded);
    EXPECT_EQ(RowOf(*four.image, 0), (Bytes{15, 0, 9}));
    EXPECT_EQ(RowOf(*four.image, 1), (Bytes{1, 2, 3}));
    const Loaded one =
        OpenAndLoad(PngFile(Header(10, 1, 1, 3), Unfiltered({{0b10110001, 0b01000000}}), &palette));
    ASSERT_TRUE(one.loaded);
    EXPECT_EQ(RowOf(*one.image, 0), (Bytes{1, 0, 1, 1, 0, 0, 0, 1, 0, 1}));
}

TEST(PngReader, GreyPicturesGetAGreyRamp) {
    const Loaded one = OpenAndLoad(PngFile(Header(3, 1, 1, 0), Unfiltered({{0b10100000}})));
    ASSERT_TRUE(one.loaded);
    EXPECT_EQ(RowOf(*one.image, 0), (Bytes{1, 0, 1}));
    EXPECT_EQ(one.image->palette[0], 0);
    EXPECT_EQ(one.image->palette[3], 255);

    const Loaded two = OpenAndLoad(PngFile(Header(4, 1, 2, 0), Unfiltered({{0b00011011}})));
    ASSERT_TRUE(two.loaded);
    EXPECT_EQ(RowOf(*two.image, 0), (Bytes{0, 1, 2, 3}));
    EXPECT_EQ(two.image->palette[3 * 1], 85);
    EXPECT_EQ(two.image->palette[3 * 2 + 1], 170);

    const Loaded four = OpenAndLoad(PngFile(Header(2, 1, 4, 0), Unfiltered({{0x7E}})));
    ASSERT_TRUE(four.loaded);
    EXPECT_EQ(RowOf(*four.image, 0), (Bytes{7, 14}));
    EXPECT_EQ(four.image->palette[3 * 7], 119);

    const Loaded eight = OpenAndLoad(PngFile(Header(2, 1, 8, 0), Unfiltered({{0, 200}})));
    ASSERT_TRUE(eight.loaded);
    EXPECT_EQ(RowOf(*eight.image, 0), (Bytes{0, 200}));
    EXPECT_EQ(eight.image->palette[3 * 200 + 2], 200);
}

TEST(PngReader, SixteenBitGreyKeepsTheHighByte) {
    const Loaded l = OpenAndLoad(
        PngFile(Header(3, 1, 16, 0), Unfiltered({{0x12, 0x34, 0xFF, 0x01, 0x00, 0xFF}})));
    ASSERT_TRUE(l.loaded);
    EXPECT_EQ(l.imp->depth, 8);
    EXPECT_EQ(RowOf(*l.image, 0), (Bytes{0x12, 0xFF, 0x00}));
    EXPECT_EQ(l.image->palette[3 * 0x12], 0x12);
}

TEST(PngReader, GreyWithAlphaDropsTheAlpha) {
    const Loaded eight = OpenAndLoad(PngFile(Header(2, 1, 8, 4), Unfiltered({{10, 0, 20, 255}})));
    ASSERT_TRUE(eight.loaded);
    EXPECT_EQ(RowOf(*eight.image, 0), (Bytes{10, 20}));
    const Loaded sixteen = OpenAndLoad(PngFile(
        Header(2, 1, 16, 4), Unfiltered({{0xAB, 0xCD, 0x00, 0x00, 0x01, 0x02, 0xFF, 0xFF}})));
    ASSERT_TRUE(sixteen.loaded);
    EXPECT_EQ(RowOf(*sixteen.image, 0), (Bytes{0xAB, 0x01}));
}

TEST(PngReader, GreyWithAlphaOfFewerThanEightBitsKeepsTheGreySampleOfEachPixel) {
    // Taken at 1, 2 and 4 bits too: 2-bit pixels (grey, alpha) of (3, 0),
    // (1, 2), (2, 3) are the bits 11 00 01 10 10 11.
    const Loaded two = OpenAndLoad(PngFile(Header(3, 1, 2, 4), Unfiltered({{0xC6, 0xB0}})));
    ASSERT_TRUE(two.loaded);
    EXPECT_EQ(two.imp->depth, 2);
    EXPECT_EQ(RowOf(*two.image, 0), (Bytes{3, 1, 2}));
    EXPECT_EQ(two.image->palette[3 * 1], 85);
    // 4-bit pixels (grey, alpha) of (9, 15), (4, 0).
    const Loaded four = OpenAndLoad(PngFile(Header(2, 1, 4, 4), Unfiltered({{0x9F, 0x40}})));
    ASSERT_TRUE(four.loaded);
    EXPECT_EQ(RowOf(*four.image, 0), (Bytes{9, 4}));
    // 1-bit pixels (grey, alpha) of (1, 0), (0, 1), (1, 1), (0, 0), (1, 0).
    const Loaded one = OpenAndLoad(PngFile(Header(5, 1, 1, 4), Unfiltered({{0x9C, 0x80}})));
    ASSERT_TRUE(one.loaded);
    EXPECT_EQ(RowOf(*one.image, 0), (Bytes{1, 0, 1, 0, 1}));
}

TEST(PngReader, RgbIsStoredBlueGreenRed) {
    const Loaded l = OpenAndLoad(PngFile(Header(2, 1, 8, 2), Unfiltered({{1, 2, 3, 4, 5, 6}})));
    ASSERT_TRUE(l.loaded);
    EXPECT_EQ(l.image->palette, nullptr);
    EXPECT_EQ(RowOf(*l.image, 0, 3), (Bytes{3, 2, 1, 6, 5, 4}));
}

TEST(PngReader, SixteenBitRgbShowsTheHighBytesOfItsSamples) {
    const Loaded l = OpenAndLoad(PngFile(
        Header(2, 1, 16, 2),
        Unfiltered({{0x10, 0x01, 0x20, 0x02, 0x30, 0x03, 0xA0, 0xFF, 0xB0, 0xFF, 0xC0, 0xFF}})));
    ASSERT_TRUE(l.loaded);
    EXPECT_EQ(l.imp->depth, 24);
    EXPECT_EQ(RowOf(*l.image, 0, 3), (Bytes{0x30, 0x20, 0x10, 0xC0, 0xB0, 0xA0}));
}

TEST(PngReader, RgbaShowsItsColoursWithoutRegardToAlpha) {
    const Loaded eight =
        OpenAndLoad(PngFile(Header(2, 1, 8, 6), Unfiltered({{1, 2, 3, 0, 4, 5, 6, 128}})));
    ASSERT_TRUE(eight.loaded);
    EXPECT_EQ(RowOf(*eight.image, 0, 3), (Bytes{3, 2, 1, 6, 5, 4}));
    const Loaded sixteen = OpenAndLoad(PngFile(
        Header(1, 2, 16, 6),
        Unfiltered({{0x11, 0, 0x22, 0, 0x33, 0, 0, 0}, {0x44, 9, 0x55, 9, 0x66, 9, 0xFF, 0xFF}})));
    ASSERT_TRUE(sixteen.loaded);
    EXPECT_EQ(RowOf(*sixteen.image, 0, 3), (Bytes{0x33, 0x22, 0x11}));
    EXPECT_EQ(RowOf(*sixteen.image, 1, 3), (Bytes{0x66, 0x55, 0x44}));
}

// ---- Filters ----

TEST(PngFilters, PaethPredictorBreaksTiesLeftThenAboveThenUpperLeft) {
    EXPECT_EQ(PaethPredictor(7, 7, 7), 7);
    // above and upper-left equally close, left farther: above.
    EXPECT_EQ(PaethPredictor(11, 8, 10), 8);
    // left and upper-left equally close, above farther: left.
    EXPECT_EQ(PaethPredictor(8, 11, 10), 8);
    // upper-left strictly closest.
    EXPECT_EQ(PaethPredictor(10, 20, 15), 15);
    // left strictly closest (p = 90: left 100, above 50, upper-left 60).
    EXPECT_EQ(PaethPredictor(100, 50, 60), 100);
    EXPECT_EQ(PaethPredictor(0, 255, 0), 255);
}

TEST(PngFilters, EachFilterReconstructsItsRow) {
    const Bytes above = {10, 20, 30, 40, 50, 60};
    auto run = [&](unsigned type, Bytes row, bool withAbove) {
        UnfilterPngRow(type, row.data(), withAbove ? above.data() : nullptr, row.size(), 2);
        return row;
    };
    const Bytes filtered = {1, 2, 3, 4, 5, 6};
    EXPECT_EQ(run(0, filtered, true), filtered);
    EXPECT_EQ(run(1, filtered, true), (Bytes{1, 2, 4, 6, 9, 12}));
    EXPECT_EQ(run(2, filtered, true), (Bytes{11, 22, 33, 44, 55, 66}));
    EXPECT_EQ(run(2, filtered, false), filtered);
    // Average: (left + above) / 2 with the reconstructed left; the first
    // pixel has left 0.
    EXPECT_EQ(run(3, filtered, true), (Bytes{1 + 5, 2 + 10, 3 + (6 + 30) / 2, 4 + (12 + 40) / 2,
                                             5 + (21 + 50) / 2, 6 + (30 + 60) / 2}));
    EXPECT_EQ(run(3, filtered, false), (Bytes{1, 2, 3, 5, 6, 8}));
    // Paeth: the first pixel takes above; then left 11 vs above 30 vs
    // upper-left 10: p = 31, closest is above.
    const Bytes paeth = run(4, filtered, true);
    EXPECT_EQ(paeth[0], 11);
    EXPECT_EQ(paeth[1], 22);
    EXPECT_EQ(paeth[2], 3 + 30);
    EXPECT_EQ(run(4, filtered, false), (Bytes{1, 2, 4, 6, 9, 12}));
    // Unknown filter types leave the row as it stands.
    EXPECT_EQ(run(5, filtered, true), filtered);
    EXPECT_EQ(run(200, filtered, true), filtered);
}

TEST(PngFilters, SumsWrapAroundModulo256) {
    Bytes row = {200, 100};
    const Bytes above = {100, 200};
    UnfilterPngRow(kPngFilterUp, row.data(), above.data(), 2, 1);
    EXPECT_EQ(row, (Bytes{44, 44}));
}

TEST(PngReader, FiltersAreUndoneRowByRowWithTheWholePixelDistance) {
    // RGB 8-bit, 2 x 4, one filter type per row after a plain first row.
    Bytes raw;
    raw.insert(raw.end(), {0, 10, 20, 30, 40, 50, 60});  // none
    raw.insert(raw.end(), {1, 1, 1, 1, 2, 2, 2});        // Sub: 1 1 1 | 3 3 3
    raw.insert(raw.end(), {2, 5, 5, 5, 5, 5, 5});        // Up: 6 6 6 | 8 8 8
    raw.insert(raw.end(), {4, 0, 0, 0, 1, 1, 1});        // Paeth: above | left
    const Loaded l = OpenAndLoad(PngFile(Header(2, 4, 8, 2), raw));
    ASSERT_TRUE(l.loaded);
    EXPECT_EQ(RowOf(*l.image, 0, 3), (Bytes{30, 20, 10, 60, 50, 40}));
    EXPECT_EQ(RowOf(*l.image, 1, 3), (Bytes{1, 1, 1, 3, 3, 3}));
    EXPECT_EQ(RowOf(*l.image, 2, 3), (Bytes{6, 6, 6, 8, 8, 8}));
    // Row 3, pixel 1: left 6, above 8, upper-left 6: p = 8, above wins.
    EXPECT_EQ(RowOf(*l.image, 3, 3), (Bytes{6, 6, 6, 9, 9, 9}));
}

TEST(PngReader, SubBitPixelsFilterWithADistanceOfOneByte) {
    // 1-bit grey, 16 pixels: Sub adds the previous byte.
    Bytes raw = {1, 0x0F, 0x01};
    const Loaded l = OpenAndLoad(PngFile(Header(16, 1, 1, 0), raw));
    ASSERT_TRUE(l.loaded);
    EXPECT_EQ(RowOf(*l.image, 0), (Bytes{0, 0, 0, 0, 1, 1, 1, 1, 0, 0, 0, 1, 0, 0, 0, 0}));
}

// ---- Interlacing ----

TEST(PngReader, Adam7PassesLandAtTheirPlaces) {
    const int width = 11, height = 10;
    auto value = [](int x, int y) { return static_cast<uint8_t>(x + 16 * y); };
    const Bytes raw = Adam7Raw(width, height, [&](int x, int y) { return Bytes{value(x, y)}; });
    test::RecordingProgress progress;
    const Loaded l = OpenAndLoad(PngFile(Header(width, height, 8, 0, 1), raw), &progress);
    ASSERT_TRUE(l.loaded) << g_errorText;
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) ASSERT_EQ(l.image->Row(y)[x], value(x, y)) << x << "," << y;
    EXPECT_EQ(progress.events,
              (std::vector<std::string>{"Decompressing@0", "De-filtering@50", "Converting@75",
                                        "De-interlacing@90", "@100"}));
}

TEST(PngReader, Adam7SkipsEmptyPassesOfTinyPictures) {
    // 1 x 1: only the first pass; 3 x 2: passes 1, 4 (x = 2), 6 (x = 1), 7 (y = 1).
    const Loaded tiny = OpenAndLoad(PngFile(Header(1, 1, 8, 2, 1), Unfiltered({{9, 8, 7}})));
    ASSERT_TRUE(tiny.loaded);
    EXPECT_EQ(RowOf(*tiny.image, 0, 3), (Bytes{7, 8, 9}));
    const Bytes raw = Adam7Raw(3, 2, [](int x, int y) {
        return Bytes{static_cast<uint8_t>(x), static_cast<uint8_t>(y), 100};
    });
    const Loaded small = OpenAndLoad(PngFile(Header(3, 2, 8, 2, 1), raw));
    ASSERT_TRUE(small.loaded);
    EXPECT_EQ(RowOf(*small.image, 0, 3), (Bytes{100, 0, 0, 100, 0, 1, 100, 0, 2}));
    EXPECT_EQ(RowOf(*small.image, 1, 3), (Bytes{100, 1, 0, 100, 1, 1, 100, 1, 2}));
}

TEST(PngReader, InterlacedPackedPixelsUnpackPerPass) {
    // 1-bit palette, 3 x 3: pass 1 (0,0); pass 4 (2,0); pass 5 (0,2),(2,2);
    // pass 6 (1,0),(1,2); pass 7 row 1: (0,1),(1,1),(2,1).
    Bytes raw;
    raw.insert(raw.end(), {0, 0x80});  // (0,0) = 1
    raw.insert(raw.end(), {0, 0x00});  // (2,0) = 0
    raw.insert(raw.end(), {0, 0x40});  // (0,2) = 0, (2,2) = 1
    raw.insert(raw.end(), {0, 0x80});  // (1,0) = 1
    raw.insert(raw.end(), {0, 0x00});  // (1,2) = 0
    raw.insert(raw.end(), {0, 0xA0});  // row 1: 1 0 1
    const Bytes palette = Palette(2);
    const Loaded l = OpenAndLoad(PngFile(Header(3, 3, 1, 3, 1), raw, &palette));
    ASSERT_TRUE(l.loaded);
    EXPECT_EQ(RowOf(*l.image, 0), (Bytes{1, 1, 0}));
    EXPECT_EQ(RowOf(*l.image, 1), (Bytes{1, 0, 1}));
    EXPECT_EQ(RowOf(*l.image, 2), (Bytes{0, 0, 1}));
}

TEST(PngReader, PlainPictureReportsThreePhases) {
    test::RecordingProgress progress;
    const Loaded l = OpenAndLoad(PngFile(Header(1, 1, 8, 0), Unfiltered({{1}})), &progress);
    ASSERT_TRUE(l.loaded);
    EXPECT_EQ(progress.events, (std::vector<std::string>{"Decompressing@0", "De-filtering@50",
                                                         "Converting@75", "@100"}));
}

// ---- Inflation ----

TEST(PngReader, ImageDataMaySpreadOverManyChunks) {
    const Bytes compressed = Compress(Unfiltered({{1, 2, 3}, {4, 5, 6}}));
    Bytes file = kSignature;
    AddChunk(file, "IHDR", Header(3, 2, 8, 0));
    for (uint8_t byte : compressed) AddChunk(file, "IDAT", {byte});
    AddChunk(file, "IEND", {});
    const Loaded l = OpenAndLoad(file);
    ASSERT_TRUE(l.loaded) << g_errorText;
    EXPECT_EQ(RowOf(*l.image, 1), (Bytes{4, 5, 6}));
}

TEST(PngReader, CorruptedDataStopsLoading) {
    Bytes file = kSignature;
    AddChunk(file, "IHDR", Header(1, 1, 8, 0));
    AddChunk(file, "IDAT", {0x78, 0x00, 1, 2, 3});  // header check bits wrong
    AddChunk(file, "IEND", {});
    const Loaded l = OpenAndLoad(file);
    ASSERT_TRUE(l.imp->ready);
    EXPECT_FALSE(l.loaded);
    EXPECT_STREQ(g_errorPlace, "vti_PNG");
    EXPECT_STREQ(g_errorText, "Inflate: Corrupted data");
}

TEST(PngReader, EmptyImageDataChunkIsABufferError) {
    Bytes file = kSignature;
    AddChunk(file, "IHDR", Header(1, 1, 8, 0));
    AddChunk(file, "IDAT", {});
    AddChunk(file, "IEND", {});
    const Loaded l = OpenAndLoad(file);
    EXPECT_FALSE(l.loaded);
    EXPECT_STREQ(g_errorText, "Inflate: Buffer error");
}

TEST(PngReader, PresetDictionaryIsAMissingDictionary) {
    const Bytes raw = Unfiltered({{42}});
    z_stream stream{};
    ASSERT_EQ(deflateInit(&stream, 9), Z_OK);
    const Bytef dictionary[] = "dictionary";
    ASSERT_EQ(deflateSetDictionary(&stream, dictionary, sizeof dictionary), Z_OK);
    Bytes compressed(256);
    stream.next_in = const_cast<Bytef*>(raw.data());
    stream.avail_in = static_cast<uInt>(raw.size());
    stream.next_out = compressed.data();
    stream.avail_out = static_cast<uInt>(compressed.size());
    ASSERT_EQ(deflate(&stream, Z_FINISH), Z_STREAM_END);
    compressed.resize(stream.total_out);
    deflateEnd(&stream);

    Bytes file = kSignature;
    AddChunk(file, "IHDR", Header(1, 1, 8, 0));
    AddChunk(file, "IDAT", compressed);
    AddChunk(file, "IEND", {});
    const Loaded l = OpenAndLoad(file);
    EXPECT_FALSE(l.loaded);
    EXPECT_STREQ(g_errorText, "Inflate: Missing dictionary");
}

TEST(PngReader, InflateResultsHaveTheirMessages) {
    EXPECT_EQ(PngInflateMessage(Z_OK), nullptr);
    EXPECT_EQ(PngInflateMessage(Z_STREAM_END), nullptr);
    EXPECT_STREQ(PngInflateMessage(Z_BUF_ERROR), "Inflate: Buffer error");
    EXPECT_STREQ(PngInflateMessage(Z_MEM_ERROR), "Inflate: Out of memory");
    EXPECT_STREQ(PngInflateMessage(Z_DATA_ERROR), "Inflate: Corrupted data");
    EXPECT_STREQ(PngInflateMessage(Z_STREAM_ERROR), "Inflate: Inconsistent stream");
    EXPECT_STREQ(PngInflateMessage(Z_NEED_DICT), "Inflate: Missing dictionary");
    EXPECT_STREQ(PngInflateMessage(Z_VERSION_ERROR), "Inflate: Unkwown error");
    EXPECT_STREQ(PngInflateMessage(Z_ERRNO), "Inflate: Unkwown error");
}

TEST(PngReader, MissingImageDataLeavesThePictureBlank) {
    Bytes file = kSignature;
    AddChunk(file, "IHDR", Header(2, 2, 8, 0));
    AddChunk(file, "IEND", {});
    const Loaded l = OpenAndLoad(file);
    ASSERT_TRUE(l.loaded);
    EXPECT_EQ(RowOf(*l.image, 0), (Bytes{0, 0}));
    EXPECT_EQ(RowOf(*l.image, 1), (Bytes{0, 0}));
}

TEST(PngReader, TooMuchImageDataIsCutAtThePicture) {
    Bytes rows;
    for (int i = 0; i < 50; ++i) rows.insert(rows.end(), {0, static_cast<uint8_t>(i)});
    const Loaded l = OpenAndLoad(PngFile(Header(1, 2, 8, 0), rows));
    ASSERT_TRUE(l.loaded) << g_errorText;
    EXPECT_EQ(l.image->Row(0)[0], 0);
    EXPECT_EQ(l.image->Row(1)[0], 1);
    EXPECT_EQ(l.image->Row(2)[0], 0);  // spare row untouched
}

TEST(PngReader, ShortImageDataKeepsWhatWasDecoded) {
    const Loaded l = OpenAndLoad(PngFile(Header(2, 3, 8, 0), Unfiltered({{5, 6}})));
    ASSERT_TRUE(l.loaded) << g_errorText;
    EXPECT_EQ(RowOf(*l.image, 0), (Bytes{5, 6}));
    EXPECT_EQ(RowOf(*l.image, 2), (Bytes{0, 0}));
}

TEST(PngReader, LaterPaletteReplacesAnEarlierOne) {
    Bytes file = kSignature;
    AddChunk(file, "IHDR", Header(2, 1, 8, 3));
    AddChunk(file, "PLTE", Palette(4));
    AddChunk(file, "PLTE", {9, 8, 7});
    AddChunk(file, "IDAT", Compress(Unfiltered({{0, 3}})));
    AddChunk(file, "IEND", {});
    const Loaded l = OpenAndLoad(file);
    ASSERT_TRUE(l.loaded);
    EXPECT_EQ(l.image->palette[0], 9);
    EXPECT_EQ(l.image->palette[2], 7);
    EXPECT_EQ(l.image->palette[9], 0);  // entry 3 of the first palette is gone
}

TEST(PngReader, TheFuzzFoundOneColumnOfFourteenMillionRowsLoads) {
    // 1 x 14090353 palette picture, one IDAT holding a single row, a junk
    // IHDR check value: slow under the sanitizers, quick here, and the rows
    // the data does not reach stay at index 0.
    const Bytes file = test::ReadFile(std::string(VANTIREL_SOURCE_DIR) +
                                      "/tests/data/fuzz/png-one-column-fourteen-million-rows.png");
    ASSERT_EQ(file.size(), 113u);
    const Loaded l = OpenAndLoad(file);
    ASSERT_TRUE(l.loaded) << g_errorText;
    EXPECT_EQ(l.image->width, 1);
    EXPECT_EQ(l.image->height, 14090353);
    EXPECT_EQ(l.imp->depth, 1);
    EXPECT_EQ(l.image->palette[2], 0xFF);  // the one entry: (0, 0, 255)
    EXPECT_EQ(l.image->Row(0)[0], 0);
    EXPECT_EQ(l.image->Row(14090352)[0], 0);
}
