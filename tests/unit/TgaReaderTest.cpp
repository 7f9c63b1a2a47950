#include <gtest/gtest.h>

#include "formats/Readers.h"
#include "tests/support/ReaderFixtures.h"

using test::Bytes;
using test::OpenAndLoad;

namespace {
// The 18-byte header. Descriptor 0x20 is top-down; 0 is bottom-up.
Bytes Header(unsigned type, unsigned width, unsigned height, unsigned bits, unsigned descriptor,
             unsigned mapType = 0, unsigned mapLength = 0, unsigned mapBits = 0, unsigned idLength = 0) {
    Bytes b;
    b.u8(idLength).u8(mapType).u8(type);
    b.le16(0).le16(mapLength).u8(mapBits);  // first index (ignored), length, entry size
    b.le16(0).le16(0);                       // origin (ignored)
    b.le16(width).le16(height).u8(bits).u8(descriptor);
    b.fill(idLength, 'i');
    return b;
}
constexpr unsigned kTopDown = 0x20;
constexpr unsigned kBottomUp = 0;

// A 2 x 3 grey picture, top row first in the file when top-down.
Bytes GreyRows(unsigned descriptor) {
    Bytes b = Header(3, 2, 3, 8, descriptor);
    b.u8(10).u8(11).u8(20).u8(21).u8(30).u8(31);
    return b;
}
}  // namespace

TEST(TgaReader, TopDownFileIsNotFlipped) {
    const auto r = OpenAndLoad("topdown.tga", GreyRows(kTopDown));
    ASSERT_TRUE(r.loaded) << r.text;
    EXPECT_EQ(r.At(0, 0), 10);
    EXPECT_EQ(r.At(1, 0), 11);
    EXPECT_EQ(r.At(0, 2), 30);
    EXPECT_EQ(r.progress, (std::vector<std::string>{"Unpacking@0", "@100"}));
}

TEST(TgaReader, BottomUpFileIsFlipped) {
    const auto r = OpenAndLoad("bottomup.tga", GreyRows(kBottomUp));
    ASSERT_TRUE(r.loaded) << r.text;
    EXPECT_EQ(r.At(0, 0), 30);
    EXPECT_EQ(r.At(1, 0), 31);
    EXPECT_EQ(r.At(0, 1), 20);
    EXPECT_EQ(r.At(0, 2), 10);
    EXPECT_EQ(r.At(1, 2), 11);
    EXPECT_EQ(r.progress, (std::vector<std::string>{"Unpacking@0", "Flipping vertically@80", "@100"}));
}

TEST(TgaReader, OddHeightFlipsAllRowsButTheMiddleOne) {
    // 1 x 5, bottom-up: file rows 1..5 become picture rows 5..1.
    Bytes b = Header(3, 1, 5, 8, kBottomUp);
    b.u8(1).u8(2).u8(3).u8(4).u8(5);
    const auto r = OpenAndLoad("odd.tga", b);
    ASSERT_TRUE(r.loaded);
    EXPECT_EQ(r.At(0, 0), 5);
    EXPECT_EQ(r.At(0, 1), 4);
    EXPECT_EQ(r.At(0, 2), 3);
    EXPECT_EQ(r.At(0, 3), 2);
    EXPECT_EQ(r.At(0, 4), 1);
}

TEST(TgaReader, GreyPictureHasGreyRampAndOneBytePerPixelStride) {
    const auto r = OpenAndLoad("grey.tga", GreyRows(kTopDown));
    ASSERT_TRUE(r.ready);
    EXPECT_EQ(r.depth, 8);
    EXPECT_EQ(r.stride, 2);
    EXPECT_EQ(r.colourModel, 2);
    EXPECT_EQ(r.palette[3 * 200], 200);
    EXPECT_EQ(r.description, "Truevision TARGA");
    EXPECT_EQ(r.compression, "Raw");
}

TEST(TgaReader, RightToLeftFileIsNotATarga) {
    const auto v = test::Identify(vti_TGA, "rtl.tga", GreyRows(kTopDown | 0x10));
    EXPECT_FALSE(v.recognised);
    EXPECT_FALSE(v.result);
    EXPECT_EQ(v.place, "vti_TGA");
    EXPECT_EQ(v.text, "Not a targa file");
    // Nothing else claims it, so the dispatcher gives its own verdict.
    const auto r = OpenAndLoad("rtl.tga", GreyRows(kTopDown | 0x10));
    EXPECT_FALSE(r.ready);
    EXPECT_EQ(r.place, "ImageImpFile()");
    EXPECT_EQ(r.text, "Not a supported image format");
}

TEST(TgaReader, ImplausibleHeadersAreNotTargas) {
    const Bytes cases[] = {
        Header(1, 2, 2, 8, 0, 1, 3073, 24),  // map longer than 3072
        Header(1, 2, 2, 8, 0, 1, 2, 40),     // map entries over 32 bits
        Header(2, 2, 2, 40, 0),              // pixels over 32 bits
        Header(2, 2, 2, 12, 0),              // not 8, 15, 16, 24 or 32
        Header(4, 2, 2, 8, 0),               // kind above 3
    };
    for (const auto& header : cases) {
        const auto v = test::Identify(vti_TGA, "implausible.tga", header);
        EXPECT_FALSE(v.recognised);
        EXPECT_EQ(v.text, "Not a targa file");
    }
}

TEST(TgaReader, ValidationMessagesComeInTheirOrder) {
    struct Case {
        Bytes file;
        const char* message;
    };
    const Case cases[] = {
        // Interleaving is looked at before the colour-map type.
        {Header(1, 2, 2, 8, 0x40, 2, 0, 0), "Can't handle interleaved images"},
        {Header(1, 2, 2, 8, 0, 2, 0, 0), "Can't handle cmap type"},
        {Header(1, 2, 2, 8, 0, 1, 0, 24), "Nonexisting colormap"},
        {Header(1, 2, 2, 8, 0, 1, 257, 24), "Colormap too large"},
        {Header(1, 2, 2, 8, 0, 1, 2, 8), "Unsupported colormap depth"},
        {Header(0, 2, 2, 8, 0), "No image in file"},
        {Header(1, 2, 2, 8, 0, 0, 0, 0), "Invalid format"},   // colour-mapped without map type 1
        {Header(3, 2, 2, 16, 0), "Invalid format"},           // grey of 16 bits
        {Header(1, 2, 2, 16, 0, 1, 2, 24).fill(6), "Invalid format"},
    };
    for (const auto& c : cases) {
        const auto r = OpenAndLoad("order.tga", c.file);
        EXPECT_FALSE(r.ready);
        EXPECT_EQ(r.place, "vti_TGA");
        EXPECT_EQ(r.text, c.message);
    }
}

TEST(TgaReader, FifteenBitColourMapIsRefusedWhileSixteenBitLoads) {
    Bytes fifteen = Header(1, 1, 1, 8, kTopDown, 1, 1, 15);
    fifteen.le16(0x7FFF).u8(0);
    const auto refused = OpenAndLoad("map15.tga", fifteen);
    EXPECT_FALSE(refused.ready);
    EXPECT_EQ(refused.place, "vti_TGA");
    EXPECT_EQ(refused.text, "Unsupported colormap depth");

    // x = 0 11111 00001 00010: red 31, green 1, blue 2, scaled by 8 only.
    Bytes sixteen = Header(1, 1, 1, 8, kTopDown, 1, 2, 16);
    sixteen.le16(0).le16(0x7C22).u8(1);
    const auto r = OpenAndLoad("map16.tga", sixteen);
    ASSERT_TRUE(r.loaded) << r.text;
    EXPECT_EQ(r.At(0, 0), 1);
    EXPECT_EQ(r.Rgb(0, 0), (std::vector<uint8_t>{248, 8, 16}));
}

TEST(TgaReader, ColourMapsOfTwentyFourAndThirtyTwoBitsAreBlueGreenRed) {
    Bytes map24 = Header(1, 2, 1, 8, kTopDown, 1, 2, 24, 3);
    map24.u8(1).u8(2).u8(3).u8(4).u8(5).u8(6).u8(1).u8(0);
    const auto a = OpenAndLoad("map24.tga", map24);
    ASSERT_TRUE(a.loaded);
    EXPECT_EQ(a.Rgb(0, 0), (std::vector<uint8_t>{6, 5, 4}));
    EXPECT_EQ(a.Rgb(1, 0), (std::vector<uint8_t>{3, 2, 1}));

    Bytes map32 = Header(1, 1, 1, 8, kTopDown, 1, 2, 32);
    map32.u8(1).u8(2).u8(3).u8(99).u8(4).u8(5).u8(6).u8(99).u8(1);
    const auto b = OpenAndLoad("map32.tga", map32);
    ASSERT_TRUE(b.loaded);
    EXPECT_EQ(b.Rgb(0, 0), (std::vector<uint8_t>{6, 5, 4}));
}

TEST(TgaReader, SixteenBitPixelGetsEightTimesLevelPlusTwo) {
    Bytes b = Header(2, 2, 1, 16, kTopDown);
    b.le16(0x7FFF).le16(0x8000 | (1 << 10) | (2 << 5) | 3);  // bit 15 is ignored
    const auto r = OpenAndLoad("rgb16.tga", b);
    ASSERT_TRUE(r.loaded) << r.text;
    EXPECT_EQ(r.depth, 24);
    EXPECT_EQ(r.Rgb(0, 0), (std::vector<uint8_t>{250, 250, 250}));
    EXPECT_EQ(r.Rgb(1, 0), (std::vector<uint8_t>{10, 18, 26}));
}

TEST(TgaReader, TrueColourOfFifteenBitsIsAnInvalidFormat) {
    Bytes b = Header(2, 1, 1, 15, kTopDown);
    b.le16(0x7FFF);
    EXPECT_TRUE(test::Identify(vti_TGA, "rgb15.tga", b).recognised);
    const auto r = OpenAndLoad("rgb15.tga", b);
    EXPECT_FALSE(r.ready);
    EXPECT_EQ(r.text, "Invalid format");
}

TEST(TgaReader, ThirtyTwoBitPixelsDropTheFourthByte) {
    Bytes b = Header(2, 2, 1, 32, kTopDown);
    b.u8(1).u8(2).u8(3).u8(200).u8(4).u8(5).u8(6).u8(100);
    const auto r = OpenAndLoad("rgb32.tga", b);
    ASSERT_TRUE(r.loaded);
    EXPECT_EQ(r.stride, 6);
    EXPECT_EQ(r.Rgb(0, 0), (std::vector<uint8_t>{3, 2, 1}));
    EXPECT_EQ(r.Rgb(1, 0), (std::vector<uint8_t>{6, 5, 4}));
}

TEST(TgaReader, RunLengthPacketsCrossRows) {
    // 3 x 2 grey, top-down: a run of 4 (value 7) then 2 literals.
    Bytes b = Header(11, 3, 2, 8, kTopDown);
    b.u8(0x83).u8(7).u8(0x01).u8(8).u8(9);
    const auto r = OpenAndLoad("rle.tga", b);
    ASSERT_TRUE(r.loaded);
    EXPECT_EQ(r.compression, "RLE");
    EXPECT_EQ(r.progress.front(), "Decoding RLE@0");
    const std::vector<uint8_t> expected = {7, 7, 7, 7, 8, 9};
    EXPECT_EQ(r.pixels, expected);
}

TEST(TgaReader, RunLengthTwentyFourBitBottomUpIsFlipped) {
    Bytes b = Header(10, 1, 2, 24, kBottomUp);
    b.u8(0x80).u8(1).u8(2).u8(3).u8(0x00).u8(4).u8(5).u8(6);
    const auto r = OpenAndLoad("rle24.tga", b);
    ASSERT_TRUE(r.loaded);
    EXPECT_EQ(r.Rgb(0, 0), (std::vector<uint8_t>{6, 5, 4}));
    EXPECT_EQ(r.Rgb(0, 1), (std::vector<uint8_t>{3, 2, 1}));
}

TEST(TgaReader, RunLengthSixteenAndThirtyTwoBitGoThroughTheConversion) {
    Bytes b16 = Header(10, 2, 1, 16, kTopDown);
    b16.u8(0x81).le16(0x7FFF);
    const auto r16 = OpenAndLoad("rle16.tga", b16);
    ASSERT_TRUE(r16.loaded);
    EXPECT_EQ(r16.Rgb(1, 0), (std::vector<uint8_t>{250, 250, 250}));

    Bytes b32 = Header(10, 2, 1, 32, kTopDown);
    b32.u8(0x81).u8(1).u8(2).u8(3).u8(4);
    const auto r32 = OpenAndLoad("rle32.tga", b32);
    ASSERT_TRUE(r32.loaded);
    EXPECT_EQ(r32.Rgb(1, 0), (std::vector<uint8_t>{3, 2, 1}));
}

TEST(TgaReader, LastPacketOverrunningThePictureStaysInsideTheBlock) {
    // 2 x 1 grey with a run of 128: the packet is written as far as there
    // is room and decoding stops there.
    Bytes b = Header(11, 2, 1, 8, kTopDown);
    b.u8(0xFF).u8(5).u8(0xFF).u8(6);
    const auto r = OpenAndLoad("overrun.tga", b);
    ASSERT_TRUE(r.loaded);
    EXPECT_EQ(r.At(0, 0), 5);
    EXPECT_EQ(r.At(1, 0), 5);
}

TEST(TgaReader, ShortDataKeepsWhatIsThere) {
    Bytes raw = Header(3, 2, 2, 8, kTopDown);
    raw.u8(1).u8(2).u8(3);
    const auto r = OpenAndLoad("short.tga", raw);
    ASSERT_TRUE(r.loaded);
    EXPECT_EQ(r.At(0, 1), 3);
    EXPECT_EQ(r.At(1, 1), 0);  // zeros past the end of the file

    Bytes rle = Header(10, 4, 4, 32, kTopDown);
    rle.u8(0x7F).u8(1);
    EXPECT_TRUE(OpenAndLoad("shortrle.tga", rle).loaded);
}

TEST(TgaReader, IdentificationFieldIsSkipped) {
    Bytes b = Header(3, 1, 1, 8, kTopDown, 0, 0, 0, 7);
    b.u8(42);
    const auto r = OpenAndLoad("id.tga", b);
    ASSERT_TRUE(r.loaded);
    EXPECT_EQ(r.At(0, 0), 42);
}

TEST(TgaReader, TrueColourFileWithAColourMapKeepsNoPalette) {
    Bytes b = Header(2, 1, 1, 24, kTopDown, 1, 2, 24);
    b.u8(1).u8(2).u8(3).u8(4).u8(5).u8(6);  // the map, stepped over
    b.u8(7).u8(8).u8(9);
    const auto r = OpenAndLoad("mapped24.tga", b);
    ASSERT_TRUE(r.loaded) << r.text;
    EXPECT_FALSE(r.hasPalette);
    EXPECT_EQ(r.Rgb(0, 0), (std::vector<uint8_t>{9, 8, 7}));
    // Its map is still checked.
    Bytes bad = Header(2, 1, 1, 24, kTopDown, 1, 2, 8);
    bad.fill(5);
    EXPECT_EQ(OpenAndLoad("mapped24bad.tga", bad).text, "Unsupported colormap depth");
}
