#include <gtest/gtest.h>

#include "formats/Readers.h"
#include "tests/support/ReaderFixtures.h"

using test::Bytes;
using test::OpenAndLoad;

namespace {
// The 32-byte header: magic, width, height, depth, length, type, map type,
// map length.
Bytes Header(uint32_t width, uint32_t height, uint32_t depth, uint32_t type = 1, uint32_t mapLength = 0) {
    Bytes b;
    b.be32(0x59A66A95).be32(width).be32(height).be32(depth).be32(0).be32(type);
    b.be32(mapLength ? 1 : 0).be32(mapLength);
    return b;
}
}  // namespace

TEST(RasReader, EightBitOddWidthRowsAreReadWithoutTheirPadByteSoTheyShear) {
    // 3 x 2 grey; the file pads each row to 4 bytes (pad byte 99).
    Bytes b = Header(3, 2, 8);
    b.u8(1).u8(2).u8(3).u8(99).u8(4).u8(5).u8(6).u8(99);
    const auto r = OpenAndLoad("odd.ras", b);
    ASSERT_TRUE(r.loaded) << r.text;
    EXPECT_EQ(r.stride, 3);
    EXPECT_EQ(r.colourModel, 2);
    EXPECT_EQ(r.pixels, (std::vector<uint8_t>{1, 2, 3, 99, 4, 5}));
}

TEST(RasReader, OneBitWithoutColourMapShowsZeroAsWhiteAndOneAsBlack) {
    // 20 x 2: rows padded to 16 bits (4 bytes for 20 pixels).
    Bytes b = Header(20, 2, 1);
    b.u8(0x80).u8(0x00).u8(0x10).u8(0xFF).u8(0x00).u8(0x00).u8(0x00).u8(0x01);
    const auto r = OpenAndLoad("bw.ras", b);
    ASSERT_TRUE(r.loaded) << r.text;
    EXPECT_EQ(r.stride, 32);
    EXPECT_EQ(r.colourModel, 3);
    EXPECT_EQ(r.At(0, 0), 1);
    EXPECT_EQ(r.At(19, 0), 1);
    EXPECT_EQ(r.At(18, 0), 0);
    EXPECT_EQ(r.At(31, 1), 1);
    EXPECT_EQ(r.Rgb(0, 0), (std::vector<uint8_t>{0, 0, 0}));
    EXPECT_EQ(r.Rgb(1, 0), (std::vector<uint8_t>{255, 255, 255}));
}

TEST(RasReader, ColourMapIsRedRunThenGreenThenBlue) {
    Bytes b = Header(2, 1, 8, 1, 6);
    b.u8(10).u8(11).u8(20).u8(21).u8(30).u8(31);  // reds, greens, blues
    b.u8(1).u8(0);
    const auto r = OpenAndLoad("map.ras", b);
    ASSERT_TRUE(r.loaded) << r.text;
    EXPECT_EQ(r.colourModel, 1);
    EXPECT_EQ(r.Rgb(0, 0), (std::vector<uint8_t>{11, 21, 31}));
    EXPECT_EQ(r.Rgb(1, 0), (std::vector<uint8_t>{10, 20, 30}));
}

TEST(RasReader, ColourMapBytesBeyondAMultipleOfThreeAreReadAsPixels) {
    Bytes b = Header(2, 1, 8, 1, 4);  // one entry and one stray byte
    b.u8(10).u8(20).u8(30).u8(0).u8(5);
    const auto r = OpenAndLoad("stray.ras", b);
    ASSERT_TRUE(r.loaded);
    EXPECT_EQ(r.pixels, (std::vector<uint8_t>{0, 5}));  // the stray byte, then the first pixel
    EXPECT_EQ(r.Rgb(0, 0), (std::vector<uint8_t>{10, 20, 30}));
}

TEST(RasReader, TwentyFourBitPixelsAreTakenAsBlueGreenRed) {
    Bytes b = Header(1, 2, 24);
    b.u8(1).u8(2).u8(3).u8(4).u8(5).u8(6);
    const auto r = OpenAndLoad("bgr.ras", b);
    ASSERT_TRUE(r.loaded);
    EXPECT_EQ(r.stride, 3);
    EXPECT_EQ(r.Rgb(0, 0), (std::vector<uint8_t>{3, 2, 1}));
    EXPECT_EQ(r.Rgb(0, 1), (std::vector<uint8_t>{6, 5, 4}));
}

TEST(RasReader, RefusalsAndTheirMessages) {
    const auto v = test::Identify(vti_RAS, "magic.ras", Header(1, 1, 8).bytes({0, 0, 0, 0, 0}));
    Bytes notRaster = Header(1, 1, 8);
    notRaster[0] = 0x58;
    const auto n = test::Identify(vti_RAS, "magic.ras", notRaster);
    EXPECT_TRUE(v.recognised);
    EXPECT_FALSE(n.recognised);
    EXPECT_EQ(n.place, "vti_RAS");
    EXPECT_EQ(n.text, "Not a sun raster file");

    struct Case {
        Bytes file;
        const char* message;
    };
    const Case cases[] = {
        {Header(1, 1, 8, 0), "Can't handle non-standard encoding"},  // old type
        {Header(1, 1, 8, 2), "Can't handle non-standard encoding"},  // run-length
        {Header(1, 1, 4), "Unsupported bitdepth"},
        {Header(1, 1, 8, 1, 3 * 257), "Too large colormap"},
    };
    for (const auto& c : cases) {
        const auto r = OpenAndLoad("refused.ras", Bytes(c.file).fill(800));
        EXPECT_FALSE(r.ready);
        EXPECT_EQ(r.place, "vti_RAS");
        EXPECT_EQ(r.text, c.message);
    }
}

TEST(RasReader, ShortPixelDataKeepsWhatIsThere) {
    Bytes b = Header(4, 4, 8);
    b.u8(1).u8(2).u8(3).u8(4).u8(5);
    const auto r = OpenAndLoad("short.ras", b);
    ASSERT_TRUE(r.loaded);
    EXPECT_EQ(r.At(0, 1), 5);
    EXPECT_EQ(r.At(1, 1), 0);
    EXPECT_EQ(r.At(0, 2), 0xEE);
}

TEST(RasReader, TwentyFourBitFileWithAColourMapKeepsNoPaletteButStepsOverIt) {
    Bytes b = Header(1, 1, 24, 1, 3);
    b.u8(10).u8(20).u8(30).u8(1).u8(2).u8(3);
    const auto r = OpenAndLoad("map24.ras", b);
    ASSERT_TRUE(r.loaded);
    EXPECT_FALSE(r.hasPalette);
    EXPECT_EQ(r.stride, 3);
    EXPECT_EQ(r.Rgb(0, 0), (std::vector<uint8_t>{3, 2, 1}));
}
