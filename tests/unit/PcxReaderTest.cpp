#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "formats/Readers.h"
#include "tests/support/ReaderFixtures.h"

using test::Bytes;
using test::OpenAndLoad;

namespace {
struct PcxHeader {
    unsigned version = 5, encoding = 0, bits = 8, planes = 1, bytesPerLine = 0;
    unsigned xmin = 0, ymin = 0, xmax = 1, ymax = 1;
    std::vector<uint8_t> headerPalette;  // up to 48 bytes at 16
};

// The 128-byte header.
Bytes Header(const PcxHeader& h) {
    Bytes b;
    b.u8(10).u8(h.version).u8(h.encoding).u8(h.bits);
    b.le16(h.xmin).le16(h.ymin).le16(h.xmax).le16(h.ymax);
    b.le16(72).le16(72);  // resolution
    b.bytes(h.headerPalette).pad(64);
    b.u8(0).u8(h.planes).le16(h.bytesPerLine);
    b.pad(128);
    return b;
}

std::vector<uint8_t> HeaderPaletteWith(uint8_t r, uint8_t g, uint8_t b) {
    std::vector<uint8_t> palette(48, 0);
    palette[3] = r;  // entry 1
    palette[4] = g;
    palette[5] = b;
    return palette;
}

Bytes TrailingPalette(uint8_t r, uint8_t g, uint8_t b) {
    Bytes t;
    t.u8(12).fill(3).u8(r).u8(g).u8(b).fill(768 - 6);  // entry 1 set
    return t;
}
}  // namespace

TEST(PcxReader, VersionFiveWithoutTrailingMarkerUsesTheHeaderPalette) {
    PcxHeader h;
    h.bytesPerLine = 2;
    h.headerPalette = HeaderPaletteWith(10, 20, 30);
    Bytes b = Header(h);
    b.u8(1).u8(0).u8(0).u8(1);  // 2 x 2 raw
    const auto r = OpenAndLoad("nomarker.pcx", b);
    ASSERT_TRUE(r.loaded) << r.text;
    EXPECT_EQ(r.depth, 8);
    EXPECT_EQ(r.Rgb(0, 0), (std::vector<uint8_t>{10, 20, 30}));
    EXPECT_EQ(r.Rgb(1, 1), (std::vector<uint8_t>{10, 20, 30}));
    EXPECT_EQ(r.At(1, 0), 0);
}

TEST(PcxReader, VersionFiveWithTrailingMarkerUsesTheLastBytesAndCutsTheData) {
    PcxHeader h;
    h.bytesPerLine = 2;
    h.headerPalette = HeaderPaletteWith(10, 20, 30);
    Bytes b = Header(h);
    b.u8(1).u8(0).u8(0).u8(1);
    b.bytes(TrailingPalette(200, 100, 50).data);
    const auto r = OpenAndLoad("marker.pcx", b);
    ASSERT_TRUE(r.loaded);
    EXPECT_EQ(r.Rgb(0, 0), (std::vector<uint8_t>{200, 100, 50}));
}

TEST(PcxReader, VersionsTwoToFourUseTheHeaderPaletteEvenWithAMarker) {
    PcxHeader h;
    h.version = 3;
    h.bytesPerLine = 2;
    h.headerPalette = HeaderPaletteWith(10, 20, 30);
    Bytes b = Header(h);
    b.u8(1).u8(1).u8(1).u8(1);
    b.bytes(TrailingPalette(200, 100, 50).data);
    const auto r = OpenAndLoad("v3.pcx", b);
    ASSERT_TRUE(r.loaded);
    EXPECT_EQ(r.Rgb(0, 0), (std::vector<uint8_t>{10, 20, 30}));
}

TEST(PcxReader, OldVersionsUseTheFixedTableWithWhiteAtEntryOne) {
    PcxHeader h;
    h.version = 0;
    h.bits = 1;    // version 0: this byte is the plane count, bits are 1
    h.planes = 7;  // ignored
    h.bytesPerLine = 2;
    h.xmax = 15;
    h.ymax = 1;
    h.headerPalette = HeaderPaletteWith(10, 20, 30);
    Bytes b = Header(h);
    b.u8(0x80).u8(0x01).u8(0x00).u8(0x00);
    const auto r = OpenAndLoad("v0.pcx", b);
    ASSERT_TRUE(r.loaded) << r.text;
    EXPECT_EQ(r.depth, 1);
    EXPECT_EQ(r.stride, 16);
    EXPECT_EQ(r.At(0, 0), 1);
    EXPECT_EQ(r.At(1, 0), 0);
    EXPECT_EQ(r.At(15, 0), 1);
    EXPECT_EQ(r.Rgb(0, 0), (std::vector<uint8_t>{255, 255, 255}));
    EXPECT_EQ(r.Rgb(1, 0), (std::vector<uint8_t>{0, 0, 0}));
    const std::vector<uint8_t> fixed = {0,   0,  0,  255, 255, 255, 0,   170, 0,  0,   170, 170,
                                        170, 0,  0,  170, 0,   170, 170, 170, 0,  170, 170, 170,
                                        85,  85, 85, 85,  85,  255, 85,  255, 85, 85,  255, 255,
                                        255, 85, 85, 255, 85,  255, 255, 255, 85, 255, 255, 255};
    EXPECT_EQ(std::vector<uint8_t>(r.palette.begin(), r.palette.begin() + 48), fixed);
}

TEST(PcxReader, OneBitFourPlanesGiveSixteenColourIndexes) {
    PcxHeader h;
    h.bits = 1;
    h.planes = 4;
    h.bytesPerLine = 2;
    h.xmax = 9;  // 10 pixels
    h.ymax = 1;
    Bytes b = Header(h);
    // Row 0: plane 0 = 1000 0000, plane 1 = 1100 0000, plane 2 = 0, plane 3 = 1111 1111 11
    b.u8(0x80).u8(0).u8(0xC0).u8(0).u8(0).u8(0).u8(0xFF).u8(0xC0);
    b.fill(8);  // row 1 all zero
    const auto r = OpenAndLoad("planes4.pcx", b);
    ASSERT_TRUE(r.loaded) << r.text;
    EXPECT_EQ(r.depth, 4);
    EXPECT_EQ(r.stride, 16);
    EXPECT_EQ(r.At(0, 0), 1 + 2 + 8);
    EXPECT_EQ(r.At(1, 0), 2 + 8);
    EXPECT_EQ(r.At(2, 0), 8);
    EXPECT_EQ(r.At(9, 0), 8);
    EXPECT_EQ(r.At(10, 0), 0);
    EXPECT_EQ(r.At(0, 1), 0);
}

TEST(PcxReader, RunByteOneNinetyTwoWritesNothingAndTakesTwoBytes) {
    PcxHeader h;
    h.encoding = 1;
    h.bytesPerLine = 2;
    Bytes b = Header(h);
    // 192, 77 (nothing), 0xC2 9 (two 9s), 0xC1 0xC5 (one 0xC5 literal by run), 4
    b.u8(192).u8(77).u8(0xC2).u8(9).u8(0xC1).u8(0xC5).u8(4);
    const auto r = OpenAndLoad("count0.pcx", b);
    ASSERT_TRUE(r.loaded);
    EXPECT_EQ(r.compression, "RLE");
    EXPECT_EQ(r.At(0, 0), 9);
    EXPECT_EQ(r.At(1, 0), 9);
    EXPECT_EQ(r.At(0, 1), 0xC5);
    EXPECT_EQ(r.At(1, 1), 4);
    EXPECT_EQ(r.progress, (std::vector<std::string>{"Decoding@0", "@50", "@100"}));
}

TEST(PcxReader, TwentyFourBitPlanesAreWidthApartWhateverBytesPerLineSays) {
    PcxHeader h;
    h.planes = 3;
    h.bytesPerLine = 3;  // lines are 9 bytes, but planes are 2 bytes apart
    h.ymax = 0;
    h.ymin = 0;
    h.xmax = 1;
    Bytes b = Header(h);
    b.u8(1).u8(2).u8(3).u8(4).u8(5).u8(6).u8(7).u8(8).u8(9);
    // ymin must be below ymax: add a second row.
    b[6] = 0;
    b[10] = 1;
    b.u8(0).fill(8);
    const auto r = OpenAndLoad("rgb.pcx", b);
    ASSERT_TRUE(r.loaded) << r.text;
    EXPECT_EQ(r.depth, 24);
    EXPECT_EQ(r.stride, 6);
    EXPECT_FALSE(r.hasPalette);
    EXPECT_EQ(r.Rgb(0, 0), (std::vector<uint8_t>{1, 3, 5}));
    EXPECT_EQ(r.Rgb(1, 0), (std::vector<uint8_t>{2, 4, 6}));
}

TEST(PcxReader, EightBitStrideIsWidthRoundedUpToEven) {
    PcxHeader h;
    h.bytesPerLine = 4;
    h.xmax = 2;  // 3 pixels
    Bytes b = Header(h);
    b.u8(1).u8(2).u8(3).u8(99).u8(4).u8(5).u8(6).u8(99);
    const auto r = OpenAndLoad("odd.pcx", b);
    ASSERT_TRUE(r.loaded);
    EXPECT_EQ(r.stride, 4);
    // min(stride, line) = 4 bytes a row, the pad byte included.
    EXPECT_EQ(r.pixels, (std::vector<uint8_t>{1, 2, 3, 99, 4, 5, 6, 99}));
}

TEST(PcxReader, ZeroBytesPerLineFallsBackToTheWidthForTheRowStep) {
    PcxHeader h;
    h.bytesPerLine = 0;
    h.xmax = 2;  // 3 pixels: rows of ((3 + 7) / 8) * 8 = 8 bytes
    Bytes b = Header(h);
    b.u8(1).fill(7, 2).u8(3).fill(7, 4);
    const auto r = OpenAndLoad("bpl0.pcx", b);
    ASSERT_TRUE(r.loaded);
    EXPECT_EQ(r.At(0, 0), 1);
    EXPECT_EQ(r.At(0, 1), 3);
}

TEST(PcxReader, NotAPaintbrushFile) {
    PcxHeader one;  // xmin == xmax: a one-pixel-wide picture is refused
    one.xmax = 0;
    PcxHeader deep;
    deep.bits = 8;
    deep.planes = 4;  // 32 bits
    PcxHeader encoding;
    encoding.encoding = 2;
    PcxHeader flat;
    flat.ymax = 0;
    for (const auto& h : {one, deep, encoding, flat}) {
        const auto v = test::Identify(vti_PCX, "bad.pcx", Header(h).fill(8));
        EXPECT_FALSE(v.recognised);
        EXPECT_EQ(v.place, "vti_PCX");
        EXPECT_EQ(v.text, "Not a PC-Paintbrush file");
    }
}

TEST(PcxReader, OtherPlaneLayoutsAreAnUnsupportedPlanarMode) {
    PcxHeader twoBit;
    twoBit.bits = 2;
    PcxHeader twoPlanes;
    twoPlanes.planes = 2;
    for (const auto& h : {twoBit, twoPlanes}) {
        const auto r = OpenAndLoad("planar.pcx", Header(h).fill(8));
        EXPECT_FALSE(r.ready);
        EXPECT_EQ(r.place, "vti_PCX");
        EXPECT_EQ(r.text, "Unsupported planar mode");
    }
}

TEST(PcxReader, TruncatedRunLengthDataStopsCleanly) {
    PcxHeader h;
    h.encoding = 1;
    h.bytesPerLine = 2;
    Bytes b = Header(h);
    b.u8(0xC3);  // a run whose value byte is missing
    const auto r = OpenAndLoad("truncated.pcx", b);
    ASSERT_TRUE(r.loaded);
    EXPECT_EQ(r.At(0, 1), 0);
}

TEST(PcxReader, ScanLinesFarLongerThanThePictureAskForNoMoreThanTheDataUnpacksTo) {
    // 16 x 65535 pixels of 8 one-bit planes, each plane 65535 bytes a line:
    // three times the scan lines would be about 94 GB, while three bytes of
    // data unpack to at most 63.
    PcxHeader h;
    h.encoding = 1;
    h.bits = 1;
    h.planes = 8;
    h.bytesPerLine = 65535;
    h.xmax = 15;
    h.ymax = 65534;
    Bytes b = Header(h);
    b.u8(0xC2).u8(0xFF).u8(0x01);  // two bytes 0xFF, then a literal 1
    const auto r = OpenAndLoad("long-lines.pcx", b);
    ASSERT_TRUE(r.loaded) << r.text;
    EXPECT_EQ(r.width, 16);
    EXPECT_EQ(r.height, 65535);
    EXPECT_EQ(r.stride, 16);
    // Row 0 has plane 0 set everywhere; the other planes and rows lie past
    // the unpacked data.
    for (int x = 0; x < 16; ++x) EXPECT_EQ(r.At(x, 0), 1) << x;
    for (int x = 0; x < 16; ++x) EXPECT_EQ(r.At(x, 1), 0) << x;
    for (int x = 0; x < 16; ++x) EXPECT_EQ(r.At(x, 65534), 0) << x;
}

TEST(PcxReader, OneBitRowsLongerThanTheStrideAreOverwrittenByTheNextRow) {
    // 8 pixels wide (stride 16), one plane of 4 bytes a line: each row
    // unpacks 32 pixels, running into the next row, which then overwrites
    // them from its own start. The last row keeps what reaches the spare
    // row.
    PcxHeader h;
    h.bits = 1;
    h.planes = 1;
    h.bytesPerLine = 4;
    h.xmax = 7;
    h.ymax = 1;
    Bytes b = Header(h);
    b.u8(0xF0).u8(0x0F).u8(0xFF).u8(0x00);  // row 0
    b.u8(0x0F).u8(0xF0).u8(0x00).u8(0xFF);  // row 1
    const auto r = OpenAndLoad("long-rows.pcx", b);
    ASSERT_TRUE(r.loaded) << r.text;
    ASSERT_EQ(r.stride, 16);
    const std::vector<uint8_t> row0(r.pixels.begin(), r.pixels.begin() + 16);
    const std::vector<uint8_t> row1(r.pixels.begin() + 16, r.pixels.begin() + 32);
    EXPECT_EQ(row0, (std::vector<uint8_t>{1, 1, 1, 1, 0, 0, 0, 0, 0, 0, 0, 0, 1, 1, 1, 1}));
    EXPECT_EQ(row1, (std::vector<uint8_t>{0, 0, 0, 0, 1, 1, 1, 1, 1, 1, 1, 1, 0, 0, 0, 0}));
}

TEST(PcxReader, OneBitLinesOfZeroBytesUnpackToNothing) {
    // Found by fuzzing: 121 x 17801, one 1-bit plane, 0 bytes per line. The
    // lines hold no pixels, so nothing is written (the fixture's 0xEE fill
    // shows through everywhere).
    Bytes file;
    file.data = test::ReadFile(std::string(VANTIREL_SOURCE_DIR) +
                               "/tests/data/fuzz/pcx-1bit-zero-bytes-per-line.pcx");
    ASSERT_EQ(file.data.size(), 38u);
    const auto r = OpenAndLoad("zero-line.pcx", file);
    ASSERT_TRUE(r.loaded) << r.text;
    EXPECT_EQ(r.width, 121);
    EXPECT_EQ(r.height, 17801);
    EXPECT_EQ(std::count(r.pixels.begin(), r.pixels.end(), 0xEE),
              static_cast<std::ptrdiff_t>(r.pixels.size()));
}
