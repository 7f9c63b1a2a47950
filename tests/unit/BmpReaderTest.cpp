// The bitmap family reader on files built byte by byte.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "core/Error.h"
#include "core/Image.h"
#include "core/ImageImpFile.h"
#include "formats/Readers.h"
#include "tests/support/TestSupport.h"

namespace {
using Bytes = std::vector<uint8_t>;

void Le16(Bytes& b, unsigned v) {
    b.push_back(static_cast<uint8_t>(v));
    b.push_back(static_cast<uint8_t>(v >> 8));
}
void Le32(Bytes& b, uint32_t v) {
    Le16(b, v & 0xFFFF);
    Le16(b, v >> 16);
}

// A bitmap file: 14-byte file header, 40-byte info header, 4-byte palette
// entries (blue, green, red, 0) where palette[i] = (i, 2i, 3i) as RGB, then
// the given pixel bytes.
Bytes BitmapFile(int32_t width, int32_t height, unsigned depth, uint32_t compression,
                 const Bytes& pixels, unsigned paletteEntries = 0, unsigned planes = 1) {
    Bytes b;
    const uint32_t offset = 14 + 40 + 4 * paletteEntries;
    b.push_back('B');
    b.push_back('M');
    Le32(b, offset + static_cast<uint32_t>(pixels.size()));  // file size
    Le32(b, 0);                                              // reserved
    Le32(b, offset);                                         // pixel data offset
    Le32(b, 40);
    Le32(b, static_cast<uint32_t>(width));
    Le32(b, static_cast<uint32_t>(height));
    Le16(b, planes);
    Le16(b, depth);
    Le32(b, compression);
    for (int i = 0; i < 5; ++i) Le32(b, 0);  // image size, resolutions, colour counts
    for (unsigned i = 0; i < paletteEntries; ++i) {
        b.push_back(static_cast<uint8_t>(3 * i));  // blue
        b.push_back(static_cast<uint8_t>(2 * i));  // green
        b.push_back(static_cast<uint8_t>(i));      // red
        b.push_back(0);
    }
    b.insert(b.end(), pixels.begin(), pixels.end());
    return b;
}

// An icon or cursor: the directory, then for each entry a 40-byte info
// header, a 16-colour palette (depth <= 8 gets 1 << depth entries) and
// `width` bytes of pixels per row.
struct IconEntry {
    unsigned width, height, depth;
};
Bytes IconFile(const std::vector<IconEntry>& entries, unsigned type = 1) {
    Bytes b;
    Le16(b, 0);
    Le16(b, type);
    Le16(b, static_cast<unsigned>(entries.size()));
    std::vector<Bytes> images;
    uint32_t offset = 6 + 16 * static_cast<uint32_t>(entries.size());
    for (size_t i = 0; i < entries.size(); ++i) {
        const IconEntry& e = entries[i];
        Bytes image;
        Le32(image, 40);
        Le32(image, e.width);
        Le32(image, 2 * e.height);  // colour and mask bitmaps together
        Le16(image, 1);
        Le16(image, e.depth);
        for (int k = 0; k < 6; ++k) Le32(image, 0);
        const unsigned colours = e.depth <= 8 ? 1u << e.depth : 0;
        for (unsigned c = 0; c < colours; ++c) Le32(image, 0x00010203u * (c & 0x3F));
        // Pixel bytes mark which entry they belong to.
        image.insert(image.end(), 4 * e.width * e.height, static_cast<uint8_t>(0x10 + i));
        b.push_back(static_cast<uint8_t>(e.width));
        b.push_back(static_cast<uint8_t>(e.height));
        b.push_back(0);
        b.push_back(0);
        Le16(b, 1);
        Le16(b, e.depth);
        Le32(b, static_cast<uint32_t>(image.size()));
        Le32(b, offset);
        offset += static_cast<uint32_t>(image.size());
        images.push_back(image);
    }
    for (const Bytes& image : images) b.insert(b.end(), image.begin(), image.end());
    return b;
}

struct Opened {
    std::unique_ptr<ImageImpFile> imp;
    std::unique_ptr<Image> image;
};

Opened OpenAndLoad(const std::string& name, const Bytes& file, bool probe = false) {
    Opened o;
    const std::string path = test::WriteTempFile(name, file);
    o.imp = std::make_unique<ImageImpFile>(path.c_str(), nullptr, probe);
    if (o.imp->ready) {
        o.image = std::make_unique<Image>(o.imp->width, o.imp->height, o.imp->stride, o.imp->rows,
                                          o.imp->palette, o.imp->depth);
        EXPECT_TRUE(Load(o.imp.get(), o.image.get(), nullptr, false));
    }
    return o;
}

Bytes RowOf(const Image& image, int row, int count) {
    return Bytes(image.Row(row), image.Row(row) + count);
}
}  // namespace

TEST(BmpReader, ReadsAnEightBitBitmapBottomUpWithItsPalette) {
    // 3x2, rows padded to 4 bytes; the file's first row is the picture's bottom.
    const Bytes pixels = {1, 2, 3, 0, 4, 5, 6, 0};
    const Opened o = OpenAndLoad("eight.bmp", BitmapFile(3, 2, 8, 0, pixels, 256));
    ASSERT_TRUE(o.imp->ready) << g_errorText;
    EXPECT_EQ(o.imp->depth, 8);
    EXPECT_EQ(o.imp->stride, 3);
    EXPECT_STREQ(o.imp->description, "Microsoft Windows Bitmap");
    EXPECT_STREQ(o.imp->compression, "Raw");
    EXPECT_EQ(RowOf(*o.image, 0, 3), (Bytes{4, 5, 6}));
    EXPECT_EQ(RowOf(*o.image, 1, 3), (Bytes{1, 2, 3}));
    // Entry 5 is red 5, green 10, blue 15.
    EXPECT_EQ(o.image->palette[15], 5);
    EXPECT_EQ(o.image->palette[16], 10);
    EXPECT_EQ(o.image->palette[17], 15);
}

TEST(BmpReader, KeepsTwentyFourBitPixelsBlueGreenRed) {
    const Bytes pixels = {10, 20, 30, 0, 40, 50, 60, 0};  // 1x2
    const Opened o = OpenAndLoad("rgb.bmp", BitmapFile(1, 2, 24, 0, pixels));
    ASSERT_TRUE(o.imp->ready);
    EXPECT_EQ(o.imp->stride, 3);
    EXPECT_EQ(o.imp->palette, nullptr);
    EXPECT_EQ(RowOf(*o.image, 0, 3), (Bytes{40, 50, 60}));
    EXPECT_EQ(RowOf(*o.image, 1, 3), (Bytes{10, 20, 30}));
}

TEST(BmpReader, UnpacksOneBitRowsIntoAStrideRoundedUpToEight) {
    // 9 pixels: (9 * 1) / 8 = 1, + 3 rounded down to 4 -> 4-byte rows.
    const Bytes pixels = {0xA0, 0x80, 0, 0, 0x01, 0x00, 0, 0};
    const Opened o = OpenAndLoad("one.bmp", BitmapFile(9, 2, 1, 0, pixels, 2));
    ASSERT_TRUE(o.imp->ready);
    EXPECT_EQ(o.imp->stride, 16);
    EXPECT_EQ(RowOf(*o.image, 0, 9), (Bytes{0, 0, 0, 0, 0, 0, 0, 1, 0}));
    EXPECT_EQ(RowOf(*o.image, 1, 9), (Bytes{1, 0, 1, 0, 0, 0, 0, 0, 1}));
}

TEST(BmpReader, ReadsOneBitRowsOfThirtyThreePixelsWithTheTruncatedFourByteStep) {
    // The true padded row is 8 bytes, but the file is read 4 bytes per row:
    // (33 / 8 = 4) + 3 = 7, rounded down to 4.
    Bytes pixels(8, 0);
    pixels[0] = 0xFF;  // 4-byte step: this is the first row in the file (bottom)...
    pixels[4] = 0x80;  // ...and this the second (top).
    const Opened o = OpenAndLoad("w33.bmp", BitmapFile(33, 2, 1, 0, pixels, 2));
    ASSERT_TRUE(o.imp->ready);
    EXPECT_EQ(o.imp->stride, 40);
    EXPECT_EQ(RowOf(*o.image, 0, 2), (Bytes{1, 0}));
    EXPECT_EQ(RowOf(*o.image, 1, 9), (Bytes{1, 1, 1, 1, 1, 1, 1, 1, 0}));
}

TEST(BmpReader, UnpacksFourBitRowsHighNibbleFirst) {
    const Bytes pixels = {0x12, 0x30, 0, 0, 0x45, 0x60, 0, 0};  // 3x2
    const Opened o = OpenAndLoad("four.bmp", BitmapFile(3, 2, 4, 0, pixels, 16));
    ASSERT_TRUE(o.imp->ready);
    EXPECT_EQ(o.imp->stride, 8);
    EXPECT_EQ(RowOf(*o.image, 0, 3), (Bytes{4, 5, 6}));
    EXPECT_EQ(RowOf(*o.image, 1, 3), (Bytes{1, 2, 3}));
}

TEST(BmpReader, CopiesAsManyPaletteEntriesAsTheDepthAddresses) {
    // A 4-bit file with only 2 entries stored: the reader still takes 16,
    // the rest from whatever follows (here the pixel bytes).
    const Bytes pixels = {0x01, 0, 0, 0, 0xAA, 0xBB, 0xCC, 0xDD};
    const Opened o = OpenAndLoad("short-palette.bmp", BitmapFile(1, 1, 4, 0, pixels, 2));
    ASSERT_TRUE(o.imp->ready);
    // Entry 2 is made of the pixel bytes 01 00 00 (blue, green, red).
    EXPECT_EQ(o.imp->palette[6], 0x00);
    EXPECT_EQ(o.imp->palette[8], 0x01);
    // Entry 3: AA BB CC -> red CC, green BB, blue AA.
    EXPECT_EQ(o.imp->palette[9], 0xCC);
    EXPECT_EQ(o.imp->palette[10], 0xBB);
    EXPECT_EQ(o.imp->palette[11], 0xAA);
}

TEST(BmpReader, ReadsTheCoreHeaderWithThreeBytePaletteEntries) {
    Bytes b = {'B', 'M'};
    Le32(b, 0);
    Le32(b, 0);
    Le32(b, 14 + 12 + 6);
    Le32(b, 12);
    Le16(b, 8);  // width: 8 1-bit pixels make a 4-byte row (narrower rows would be 0 bytes)
    Le16(b, 1);  // height
    Le16(b, 1);  // planes
    Le16(b, 1);  // depth
    b.insert(b.end(), {0, 0, 0, 0x30, 0x20, 0x10});  // black, then red 0x10 green 0x20 blue 0x30
    b.insert(b.end(), {0x40, 0, 0, 0});
    const Opened o = OpenAndLoad("core.bmp", b);
    ASSERT_TRUE(o.imp->ready) << g_errorText;
    EXPECT_EQ(o.imp->width, 8);
    EXPECT_EQ(o.imp->palette[3], 0x10);
    EXPECT_EQ(o.imp->palette[4], 0x20);
    EXPECT_EQ(o.imp->palette[5], 0x30);
    EXPECT_EQ(RowOf(*o.image, 0, 8), (Bytes{0, 1, 0, 0, 0, 0, 0, 0}));
}

TEST(BmpReader, ABitmapArrayIsReadAsItsFirstBitmap) {
    // "BA" header of 14 bytes, then a whole bitmap whose pixel offset counts
    // from the start of the array file.
    Bytes inner = BitmapFile(2, 1, 24, 0, {1, 2, 3, 4, 5, 6, 0, 0});
    const uint32_t innerOffset = 14 + 40;
    inner[10] = static_cast<uint8_t>(innerOffset + 14);
    Bytes file = {'B', 'A'};
    Le32(file, 40);
    Le32(file, 0);
    Le32(file, 0);
    file.insert(file.end(), inner.begin(), inner.end());
    const Opened o = OpenAndLoad("array.bmp", file);
    ASSERT_TRUE(o.imp->ready) << g_errorText;
    EXPECT_EQ(o.imp->width, 2);
    EXPECT_EQ(RowOf(*o.image, 0, 6), (Bytes{1, 2, 3, 4, 5, 6}));
}

TEST(BmpReader, RefusesOtherInfoHeaderSizes) {
    Bytes file = BitmapFile(2, 2, 8, 0, Bytes(8), 256);
    file[14] = 108;  // a version 4 header
    const std::string path = test::WriteTempFile("v4.bmp", file);
    ImageImpFile imp(path.c_str(), nullptr, false);
    EXPECT_FALSE(imp.ready);
    // The reader's own message, before it counts the file as recognised...
    ImageImpFile direct(path.c_str(), nullptr, false);
    direct.ready = false;
    EXPECT_FALSE(vti_BMP(&direct));
    EXPECT_FALSE(direct.ready);
    EXPECT_STREQ(g_errorPlace, "vti_BMP/DIB");
    EXPECT_STREQ(g_errorText, "Unknown DIB header type!");
    // ...which the dispatcher replaces, as no reader recognised the file.
    ImageImpFile again(path.c_str(), nullptr, false);
    EXPECT_STREQ(g_errorPlace, "ImageImpFile()");
    EXPECT_STREQ(g_errorText, "Not a supported image format");
}

TEST(BmpReader, AFileNotStartingWithBitmapOrIconWordsIsNotABmpFile) {
    const std::string path = test::WriteTempFile("text.bmp", {'h', 'e', 'l', 'l', 'o'});
    ImageImpFile imp(path.c_str(), nullptr, false);
    imp.ready = false;
    EXPECT_FALSE(vti_BMP(&imp));
    EXPECT_FALSE(imp.ready);
    EXPECT_STREQ(g_errorText, "Not a BMP file");
}

TEST(BmpReader, RefusesSixteenAndThirtyTwoBitBitmapsWithTheirOwnMessages) {
    for (unsigned depth : {16u, 32u}) {
        const std::string path =
            test::WriteTempFile("deep.bmp", BitmapFile(2, 2, depth, 0, Bytes(16)));
        ImageImpFile imp(path.c_str(), nullptr, true);
        EXPECT_FALSE(imp.ready);
        EXPECT_STREQ(g_errorPlace, "vti_BMP/DIB");
        EXPECT_STREQ(g_errorText, depth == 16 ? "16bit .bmp-bitmaps not supported"
                                              : "32bit .bmp-bitmaps not supported");
    }
}

TEST(BmpReader, RefusesPlanesOtherThanOne) {
    const std::string path =
        test::WriteTempFile("planes.bmp", BitmapFile(2, 2, 24, 0, Bytes(16), 0, 3));
    ImageImpFile imp(path.c_str(), nullptr, false);
    EXPECT_FALSE(imp.ready);
    EXPECT_STREQ(g_errorPlace, "vti_BMP/DIB");
    EXPECT_STREQ(g_errorText, "Unsupported plane number");
}

TEST(BmpReader, RefusesUnknownCompression) {
    const std::string path =
        test::WriteTempFile("bitfields.bmp", BitmapFile(2, 2, 8, 3, Bytes(8), 256));
    ImageImpFile imp(path.c_str(), nullptr, false);
    EXPECT_FALSE(imp.ready);
    EXPECT_STREQ(g_errorText, "Unsupported compression scheme");
}

TEST(BmpReader, LoadsTwoBitBitmapsWithoutWritingPixels) {
    const Opened o =
        OpenAndLoad("two.bmp", BitmapFile(4, 2, 2, 0, {0xFF, 0, 0, 0, 0xFF, 0, 0, 0}, 4));
    ASSERT_TRUE(o.imp->ready);
    EXPECT_EQ(o.imp->depth, 2);
    EXPECT_EQ(o.imp->stride, 8);
    // Pixels are undefined; this build leaves the zeroed block as it is.
    EXPECT_EQ(RowOf(*o.image, 0, 4), (Bytes{0, 0, 0, 0}));
}

TEST(BmpReader, AnnouncesNegativeHeightsAsTheyStand) {
    const std::string path =
        test::WriteTempFile("topdown.bmp", BitmapFile(2, -2, 8, 0, Bytes(8), 256));
    ImageImpFile imp(path.c_str(), nullptr, false);
    EXPECT_TRUE(imp.ready);
    EXPECT_EQ(imp.height, -2);
    EXPECT_EQ(imp.rows, -2);
}

TEST(BmpReader, ANegativeWidthIsAnnouncedAsItStandsAndLoadsWithoutPixels) {
    // Width -5 at 1 bit: the stride, -5 rounded up to a multiple of 8, is 0,
    // and so are the source rows ((-5 / 8) + 3 rounded down to 4). Nothing is
    // read and nothing written (the pixel block is empty); the width must
    // not be taken as the unsigned 4294967291 (rows of half a gigabyte).
    const Opened o = OpenAndLoad("negative-width.bmp", BitmapFile(-5, 2, 1, 0, Bytes(8, 0xFF), 2));
    ASSERT_TRUE(o.imp->ready) << g_errorText;
    EXPECT_EQ(o.imp->width, -5);
    EXPECT_EQ(o.imp->stride, 0);
    ASSERT_NE(o.image, nullptr);
    EXPECT_EQ(o.image->PixelBytes(), 0u);
}

TEST(BmpReader, DecodesEightBitRunLengthCodes) {
    // 6x3 picture, decoded from the bottom row upwards.
    const Bytes rle = {2, 7,           // two 7s
                       0, 2, 1, 1,     // delta: right 1 (to column 3), up 1 row, keeping the column
                       2, 5,           // two 5s at columns 3 and 4 of the middle row
                       0, 0,           // end of line: start of the top row
                       0, 3, 1, 2, 3,  // absolute run of 3, padded to 16 bits:
                       0,              //   the pad byte
                       1, 9,           // one 9
                       0, 1,           // end of bitmap
                       4, 4};          // never reached
    const Opened o = OpenAndLoad("rle8.bmp", BitmapFile(6, 3, 8, 1, rle, 256));
    ASSERT_TRUE(o.imp->ready);
    EXPECT_STREQ(o.imp->compression, "RLE");
    EXPECT_EQ(RowOf(*o.image, 2, 6), (Bytes{7, 7, 0, 0, 0, 0}));
    EXPECT_EQ(RowOf(*o.image, 1, 6), (Bytes{0, 0, 0, 5, 5, 0}));
    EXPECT_EQ(RowOf(*o.image, 0, 6), (Bytes{1, 2, 3, 9, 0, 0}));
}

TEST(BmpReader, DecodesFourBitRunLengthCodesAlternatingNibbles) {
    const Bytes rle = {5, 0x12,              // 1 2 1 2 1
                       0, 0,                 // end of line
                       0, 3,    0x34, 0x50,  // absolute: 3 4 5, two bytes (already 16-bit aligned)
                       0, 1};
    const Opened o = OpenAndLoad("rle4.rle", BitmapFile(5, 2, 4, 2, rle, 16));
    ASSERT_TRUE(o.imp->ready);
    EXPECT_STREQ(o.imp->description, "Microsoft Windows RLE bitmap");
    EXPECT_STREQ(o.imp->compression, "RLE");
    EXPECT_EQ(RowOf(*o.image, 1, 5), (Bytes{1, 2, 1, 2, 1}));
    EXPECT_EQ(RowOf(*o.image, 0, 3), (Bytes{3, 4, 5}));
}

TEST(BmpReader, FourBitAbsoluteRunsOfOddLengthEndOnASixteenBitBoundary) {
    const Bytes rle = {0, 5,    0x12, 0x34, 0x50,  // absolute: 1 2 3 4 5 in three bytes...
                       0,                          // ...padded to 16 bits
                       2, 0x66,                    // 6 6
                       0, 1};
    const Opened o = OpenAndLoad("odd-absolute.bmp", BitmapFile(7, 1, 4, 2, rle, 16));
    ASSERT_TRUE(o.imp->ready);
    EXPECT_EQ(RowOf(*o.image, 0, 7), (Bytes{1, 2, 3, 4, 5, 6, 6}));
}

TEST(BmpReader, RecognisesRunLengthFilesWhateverTheExtension) {
    const Bytes rle = {2, 1, 0, 1};
    for (const char* name : {"runs.bmp", "runs.rle"}) {
        const Opened o = OpenAndLoad(name, BitmapFile(2, 1, 8, 1, rle, 256));
        ASSERT_TRUE(o.imp->ready);
        EXPECT_STREQ(o.imp->compression, "RLE");
        EXPECT_EQ(RowOf(*o.image, 0, 2), (Bytes{1, 1}));
    }
}

TEST(BmpReader, RunLengthPixelsPastTheRightEdgeDoNotSpillIntoTheNextRow) {
    // 3 wide, but each row's runs are padded to 4 pixels, as ImageMagick writes them.
    const Bytes rle = {3, 1, 1, 0, 0, 0, 3, 2, 1, 0, 0, 1};
    const Opened o = OpenAndLoad("padded-runs.bmp", BitmapFile(3, 2, 8, 1, rle, 256));
    ASSERT_TRUE(o.imp->ready);
    EXPECT_EQ(RowOf(*o.image, 1, 3), (Bytes{1, 1, 1}));
    EXPECT_EQ(RowOf(*o.image, 0, 3), (Bytes{2, 2, 2}));
}

TEST(BmpReader, RunLengthWritesOutsideThePictureAreDropped) {
    // Runs far past the right edge, deltas above the top, no end code.
    const Bytes rle = {255, 1, 255, 2, 0, 2, 0, 200, 255, 3, 0, 0, 255, 4};
    const Opened o = OpenAndLoad("wild.bmp", BitmapFile(2, 2, 8, 1, rle, 256));
    ASSERT_TRUE(o.imp->ready);
    // The first run fills the bottom row, the spare row and beyond (dropped).
    EXPECT_EQ(RowOf(*o.image, 1, 2), (Bytes{1, 1}));
    EXPECT_EQ(o.image->PixelBytes(), 6u);
}

TEST(BmpReader, ATruncatedFileKeepsTheRowsItHas) {
    // 2x3 8-bit, rows of 4 bytes; only the first file row (the bottom) is there.
    Bytes file = BitmapFile(2, 3, 8, 0, {5, 6, 0, 0}, 256);
    const Opened o = OpenAndLoad("short.bmp", file);
    ASSERT_TRUE(o.imp->ready);
    EXPECT_EQ(RowOf(*o.image, 2, 2), (Bytes{5, 6}));
    EXPECT_EQ(RowOf(*o.image, 0, 2), (Bytes{0, 0}));
}

TEST(BmpReader, ReportsItsPhase) {
    const std::string path = test::WriteTempFile("phase.bmp", BitmapFile(1, 1, 24, 0, Bytes(4)));
    ImageImpFile imp(path.c_str(), nullptr, false);
    Image image(1, 1, 3, 1, nullptr, 24);
    test::RecordingProgress progress;
    ASSERT_TRUE(Load(&imp, &image, &progress, false));
    EXPECT_EQ(progress.events, (std::vector<std::string>{"Reading@0", "@100"}));

    const std::string rlePath =
        test::WriteTempFile("phase.rle", BitmapFile(1, 1, 8, 1, {0, 1}, 256));
    ImageImpFile rle(rlePath.c_str(), nullptr, false);
    Image rleImage(1, 1, 1, 1, rle.palette, 8);
    test::RecordingProgress rleProgress;
    ASSERT_TRUE(Load(&rle, &rleImage, &rleProgress, false));
    EXPECT_EQ(rleProgress.events, (std::vector<std::string>{"RLE decoding@0", "@100"}));
}

TEST(IconReader, BehindABitmapArrayHeaderTheDirectoryFollowsThatHeader) {
    // "BA" shifts the whole file by 14 bytes, the directory included; the
    // image offsets count from the start of the file, as pixel offsets do.
    Bytes icon = IconFile({{16, 16, 4}, {32, 32, 8}});
    for (int entry = 0; entry < 2; ++entry) {
        uint8_t* offset = &icon[6 + 16 * entry + 12];
        const uint32_t shifted = (offset[0] | offset[1] << 8) + 14u;
        offset[0] = static_cast<uint8_t>(shifted);
        offset[1] = static_cast<uint8_t>(shifted >> 8);
    }
    Bytes file = {'B', 'A'};
    file.resize(14, 0);
    file.insert(file.end(), icon.begin(), icon.end());
    const Opened o = OpenAndLoad("array.ico", file);
    ASSERT_TRUE(o.imp->ready) << g_errorText;
    EXPECT_EQ(o.imp->width, 32);
    EXPECT_EQ(o.imp->depth, 8);
    EXPECT_EQ(o.image->Row(0)[0], 0x11);
}

TEST(IconReader, ChoosesTheEntryAtLeastAsLargeInEveryRespect) {
    const Opened o = OpenAndLoad("three.ico", IconFile({{16, 16, 4}, {32, 32, 4}, {32, 32, 8}}));
    ASSERT_TRUE(o.imp->ready) << g_errorText;
    EXPECT_EQ(o.imp->width, 32);
    EXPECT_EQ(o.imp->height, 32);
    EXPECT_EQ(o.imp->depth, 8);
    EXPECT_STREQ(o.imp->description, "Microsoft Windows Icon");
    EXPECT_EQ(o.image->Row(0)[0], 0x12);  // the third entry's pixels
}

TEST(IconReader, KeepsTheFirstEntryWhenALaterOneIsLargerButShallower) {
    const Opened o = OpenAndLoad("two.ico", IconFile({{32, 32, 8}, {48, 48, 4}}));
    ASSERT_TRUE(o.imp->ready);
    EXPECT_EQ(o.imp->width, 32);
    EXPECT_EQ(o.imp->depth, 8);
    EXPECT_EQ(o.image->Row(31)[31], 0x10);
}

TEST(IconReader, TiesGoToTheLaterEntry) {
    const Opened o = OpenAndLoad("tie.ico", IconFile({{16, 16, 8}, {16, 16, 8}}));
    ASSERT_TRUE(o.imp->ready);
    EXPECT_EQ(o.image->Row(0)[0], 0x11);
}

TEST(IconReader, ConsidersOnlyTheFirstEightEntries) {
    std::vector<IconEntry> entries(8, IconEntry{16, 16, 4});
    entries.push_back({32, 32, 8});
    const Opened o = OpenAndLoad("nine.ico", IconFile(entries));
    ASSERT_TRUE(o.imp->ready);
    EXPECT_EQ(o.imp->width, 16);
    // The eighth entry (ties go later): its pixel bytes 0x17 unpack to 1, 7.
    EXPECT_EQ(RowOf(*o.image, 0, 2), (Bytes{1, 7}));
}

TEST(IconReader, TakesTheSizeFromTheDirectoryAndIgnoresTheMask) {
    // The info header says 32 high (colour + mask); the directory says 16.
    const Opened o = OpenAndLoad("size.cur", IconFile({{16, 16, 24}}, 2));
    ASSERT_TRUE(o.imp->ready);
    EXPECT_EQ(o.imp->height, 16);
    EXPECT_EQ(o.imp->stride, 48);
    EXPECT_STREQ(o.imp->description, "Microsoft Windows Cursor");
    EXPECT_EQ(o.image->Row(0)[0], 0x10);
}

TEST(IconReader, AZeroDirectorySizeIsAZeroSizedImage) {
    Bytes file = IconFile({{16, 16, 8}});
    file[6] = 0;  // width byte 0, as for 256-pixel icons
    const std::string path = test::WriteTempFile("zero.ico", file);
    ImageImpFile imp(path.c_str(), nullptr, false);
    EXPECT_FALSE(imp.ready);
    EXPECT_STREQ(g_errorPlace, "ImageImpFile()");
    EXPECT_STREQ(g_errorText, "Image size is zero!");
}

TEST(IconReader, RefusesOtherResourceTypes) {
    Bytes file = IconFile({{16, 16, 8}}, 3);
    const std::string path = test::WriteTempFile("type3.ico", file);
    ImageImpFile imp(path.c_str(), nullptr, false);
    imp.ready = false;
    EXPECT_FALSE(vti_BMP(&imp));
    EXPECT_FALSE(imp.ready);
    EXPECT_STREQ(g_errorText, "Not an icon/cursor file");
}

TEST(IconReader, AnImageOffsetTooCloseToTheEndIsNotAValidIcon) {
    Bytes file = IconFile({{16, 16, 8}});
    const uint32_t offset = static_cast<uint32_t>(file.size() - 40);
    file[6 + 12] = static_cast<uint8_t>(offset);
    file[6 + 13] = static_cast<uint8_t>(offset >> 8);
    const std::string path = test::WriteTempFile("late.ico", file);
    ImageImpFile imp(path.c_str(), nullptr, false);
    imp.ready = false;
    EXPECT_FALSE(vti_BMP(&imp));
    EXPECT_STREQ(g_errorText, "Not a valid Icon/Cursor file");
}

TEST(IconReader, ADirectoryWithoutEntriesIsNotAValidIcon) {
    const std::string path = test::WriteTempFile("none.cur", {0, 0, 2, 0, 0, 0});
    ImageImpFile imp(path.c_str(), nullptr, false);
    imp.ready = false;
    EXPECT_FALSE(vti_BMP(&imp));
    EXPECT_STREQ(g_errorText, "Not a valid Icon/Cursor file");
}

TEST(BmpReader, AKnownExtensionHoldingAnotherKnownFormatNeedsProbing) {
    const Bytes file = BitmapFile(2, 1, 24, 0, {1, 2, 3, 4, 5, 6, 0, 0});
    {
        const std::string path = test::WriteTempFile("really-a-bitmap.gif", file);
        ImageImpFile imp(path.c_str(), nullptr, false);
        EXPECT_FALSE(imp.ready);
        EXPECT_STREQ(g_errorText, "Not a supported image format");
    }
    const Opened o = OpenAndLoad("really-a-bitmap.gif", file, true);
    ASSERT_TRUE(o.imp->ready);
    EXPECT_STREQ(o.imp->description, "Microsoft Windows Bitmap");
    EXPECT_EQ(RowOf(*o.image, 0, 6), (Bytes{1, 2, 3, 4, 5, 6}));
}

TEST(BmpReader, AReaderThatRejectsStopsTheProbe) {
    const std::string path =
        test::WriteTempFile("deep-bitmap.gif", BitmapFile(2, 2, 16, 0, Bytes(16)));
    ImageImpFile imp(path.c_str(), nullptr, true);
    EXPECT_FALSE(imp.ready);
    EXPECT_STREQ(g_errorPlace, "vti_BMP/DIB");
    EXPECT_STREQ(g_errorText, "16bit .bmp-bitmaps not supported");
}

TEST(BmpReader, TheFuzzFoundZeroByteRowIsReadWithoutPixels) {
    // 6x6 1-bit: (6 / 8 = 0) + 3 rounded down gives rows of 0 bytes.
    const std::string path = test::TempPath("regression.bmp");
    const Bytes file = test::ReadFile(std::string(VANTIREL_SOURCE_DIR) +
                                      "/tests/data/fuzz/bmp-1bit-zero-row-size.bmp");
    ASSERT_FALSE(file.empty());
    const Opened o = OpenAndLoad("regression.bmp", file);
    ASSERT_TRUE(o.imp->ready);
    EXPECT_EQ(o.imp->width, 6);
    EXPECT_EQ(RowOf(*o.image, 0, 6), Bytes(6, 0));
}
