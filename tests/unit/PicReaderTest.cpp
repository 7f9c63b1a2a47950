#include <gtest/gtest.h>

#include "formats/Readers.h"
#include "tests/support/ReaderFixtures.h"

using test::Bytes;
using test::OpenAndLoad;

namespace {
// A small Pictor encoder, written from the file layout.
//
// Header: 0x1234, width, height, x and y offset (16 bits each), plane
// byte (bits per pixel in the low nibble), packed flag (255 = packed
// pixels), video mode, palette type (16 bits), palette length (16 bits),
// the palette, then the image data: a 16-bit block count and the blocks.
struct PicHeader {
    unsigned width = 0, height = 0, bits = 8;
    bool packed = true;
    std::vector<uint8_t> palette;  // its length is written as the palette length
};

Bytes Header(const PicHeader& h) {
    Bytes b;
    b.le16(0x1234).le16(h.width).le16(h.height).le16(0).le16(0);
    b.u8(h.bits).u8(h.packed ? 255 : 0).u8('A').le16(0).le16(static_cast<unsigned>(h.palette.size()));
    b.bytes(h.palette);
    return b;
}

// One block: length (head of 5 bytes included), unpacked length, marker,
// packed bytes. Runs of four or more, and every byte equal to the marker,
// become marker + count (8 bits, or 0 and 16 bits above 255) + value.
Bytes Block(const std::vector<uint8_t>& bytes, uint8_t marker) {
    Bytes packed;
    for (size_t i = 0; i < bytes.size();) {
        size_t run = 1;
        while (i + run < bytes.size() && bytes[i + run] == bytes[i] && run < 65535) ++run;
        if (run >= 4 || bytes[i] == marker) {
            packed.u8(marker);
            if (run <= 255)
                packed.u8(static_cast<unsigned>(run));
            else
                packed.u8(0).le16(static_cast<unsigned>(run));
            packed.u8(bytes[i]);
            i += run;
        } else {
            packed.u8(bytes[i]);
            ++i;
        }
    }
    Bytes block;
    block.le16(static_cast<unsigned>(packed.size() + 5)).le16(static_cast<unsigned>(bytes.size())).u8(marker);
    block.bytes(packed.data);
    return block;
}

// The data for an unpacked buffer cut into blocks of at most `blockBytes`.
// The reader places blocks from the end of its buffer backwards, so the
// first block written holds the buffer's last bytes.
Bytes Data(const std::vector<uint8_t>& buffer, size_t blockBytes, uint8_t marker = 0xA5) {
    std::vector<Bytes> blocks;
    size_t end = buffer.size();
    while (end > 0) {
        const size_t start = end > blockBytes ? end - blockBytes : 0;
        blocks.push_back(Block(std::vector<uint8_t>(buffer.begin() + start, buffer.begin() + end), marker));
        end = start;
    }
    Bytes data;
    data.le16(static_cast<unsigned>(blocks.size()));
    for (const auto& b : blocks) data.bytes(b.data);
    return data;
}

std::vector<uint8_t> Triples(unsigned entries) {
    std::vector<uint8_t> palette;
    for (unsigned i = 0; i < entries; ++i) {
        palette.push_back(static_cast<uint8_t>(i));
        palette.push_back(static_cast<uint8_t>(i + 1));
        palette.push_back(static_cast<uint8_t>(63));
    }
    return palette;
}
}  // namespace

TEST(PicReader, SixteenEntryOneBytePaletteIsNoBrighterThanNinetySix) {
    PicHeader h;
    h.width = 2;
    h.height = 1;
    h.bits = 4;
    h.palette = {0x00, 0x3F, 0x21, 0x06, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF};
    Bytes b = Header(h);
    b.bytes(Data({0x1F}, 16).data);
    const auto r = OpenAndLoad("dim.pic", b);
    ASSERT_TRUE(r.loaded) << r.text;
    EXPECT_EQ(r.depth, 4);
    EXPECT_EQ(r.Rgb(0, 0), (std::vector<uint8_t>{96, 96, 96}));  // entry 1: 0x3F
    EXPECT_EQ(r.Rgb(1, 0), (std::vector<uint8_t>{96, 96, 96}));  // entry 15: 0xFF
    EXPECT_EQ(std::vector<uint8_t>(r.palette.begin() + 6, r.palette.begin() + 12),
              (std::vector<uint8_t>{32, 0, 64, 64, 32, 0}));  // 0x21, 0x06
    for (int i = 0; i < 48; ++i) EXPECT_LE(r.palette[i], 96);
}

TEST(PicReader, TriplePaletteComponentsAreMultipliedByFour) {
    PicHeader h;
    h.width = 2;
    h.height = 2;
    h.palette = Triples(256);
    Bytes b = Header(h);
    b.bytes(Data({0, 1, 2, 255}, 8).data);
    const auto r = OpenAndLoad("rgb.pic", b);
    ASSERT_TRUE(r.loaded) << r.text;
    EXPECT_EQ(r.depth, 8);
    EXPECT_EQ(r.Rgb(1, 0), (std::vector<uint8_t>{4, 8, 252}));
    EXPECT_EQ(r.Rgb(0, 1), (std::vector<uint8_t>{8, 12, 252}));
}

TEST(PicReader, NoPaletteIsGrey) {
    PicHeader h;
    h.width = 3;
    h.height = 1;
    Bytes b = Header(h);
    b.bytes(Data({0, 128, 255}, 8).data);
    const auto r = OpenAndLoad("grey.pic", b);
    ASSERT_TRUE(r.loaded) << r.text;
    EXPECT_EQ(r.colourModel, 2);
    EXPECT_EQ(r.stride, 3);
    EXPECT_EQ(r.Rgb(1, 0), (std::vector<uint8_t>{128, 128, 128}));
    EXPECT_EQ(r.progress, (std::vector<std::string>{"Decoding RLE@0", "@100"}));
}

TEST(PicReader, EightBitBlocksArePlacedFromTheEndBackwards) {
    // 4 x 3 grey. Blocks of 5 bytes: the first block written fills the last
    // five bytes, the next the five before, the third the first two.
    const std::vector<uint8_t> pixels = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
    PicHeader h;
    h.width = 4;
    h.height = 3;
    Bytes b = Header(h);
    const Bytes data = Data(pixels, 5);
    ASSERT_EQ(data.data[0], 3);  // three blocks
    ASSERT_EQ(data.data[4], 5);  // the first one unpacks to five bytes ...
    ASSERT_EQ(data.data[7], 8);  // ... starting with pixel value 8
    b.bytes(data.data);
    const auto r = OpenAndLoad("blocks.pic", b);
    ASSERT_TRUE(r.loaded) << r.text;
    EXPECT_EQ(r.pixels, pixels);
}

TEST(PicReader, MarkerRunsTakeEightAndSixteenBitCounts) {
    // 300 x 2: a run of 300 (16-bit count), then a run of 5 (8-bit), a
    // literal marker byte (a run of 1), and literals.
    std::vector<uint8_t> pixels(300, 7);
    for (int i = 0; i < 5; ++i) pixels.push_back(9);
    pixels.push_back(0xA5);
    while (pixels.size() < 600) pixels.push_back(static_cast<uint8_t>(pixels.size()));
    PicHeader h;
    h.width = 300;
    h.height = 2;
    Bytes b = Header(h);
    const Bytes data = Data(pixels, 1000);
    ASSERT_EQ(data.data[7], 0xA5);
    ASSERT_EQ(data.data[8], 0);     // 16-bit count follows
    ASSERT_EQ(data.data[9], 300 & 255);
    b.bytes(data.data);
    const auto r = OpenAndLoad("runs.pic", b);
    ASSERT_TRUE(r.loaded) << r.text;
    EXPECT_EQ(r.pixels, pixels);
}

TEST(PicReader, OneBitRowsExpandMostSignificantBitFirst) {
    PicHeader h;
    h.width = 10;  // stride 16, two bytes a row
    h.height = 2;
    h.bits = 1;
    h.palette = Triples(2);
    Bytes b = Header(h);
    b.bytes(Data({0x80, 0x40, 0x01, 0x00}, 3).data);
    const auto r = OpenAndLoad("bits.pic", b);
    ASSERT_TRUE(r.loaded) << r.text;
    EXPECT_EQ(r.stride, 16);
    EXPECT_EQ(r.At(0, 0), 1);
    EXPECT_EQ(r.At(9, 0), 1);
    EXPECT_EQ(r.At(8, 0), 0);
    EXPECT_EQ(r.At(7, 1), 1);
    EXPECT_EQ(r.progress, (std::vector<std::string>{"Decoding RLE@0", "Converting@60", "@100"}));
}

TEST(PicReader, PackedFourBitPixelsAreHighNibbleFirst) {
    PicHeader h;
    h.width = 3;  // stride 4, two bytes a row
    h.height = 1;
    h.bits = 4;
    h.palette = Triples(16);
    Bytes b = Header(h);
    b.bytes(Data({0x12, 0x3F}, 16).data);
    const auto r = OpenAndLoad("packed.pic", b);
    ASSERT_TRUE(r.loaded) << r.text;
    EXPECT_EQ(r.stride, 4);
    EXPECT_EQ(r.pixels, (std::vector<uint8_t>{1, 2, 3, 15}));
}

TEST(PicReader, PlanarFourBitPixelsCombineFourInterleavedPlanes) {
    PicHeader h;
    h.width = 16;  // stride 16, 8 bytes a row: one word per plane
    h.height = 1;
    h.bits = 4;
    h.packed = false;
    h.palette = Triples(16);
    std::vector<uint8_t> row;
    for (unsigned p = 0; p < 4; ++p) {
        unsigned bits = 0;
        for (unsigned x = 0; x < 16; ++x)
            if ((x >> p) & 1) bits |= 0x8000u >> x;
        row.push_back(static_cast<uint8_t>(bits >> 8));
        row.push_back(static_cast<uint8_t>(bits));
    }
    Bytes b = Header(h);
    b.bytes(Data(row, 3).data);
    const auto r = OpenAndLoad("planar.pic", b);
    ASSERT_TRUE(r.loaded) << r.text;
    for (int x = 0; x < 16; ++x) EXPECT_EQ(r.At(x, 0), x);
}

TEST(PicReader, RefusalsAndTheirMessages) {
    PicHeader h;
    h.width = 2;
    h.height = 2;
    Bytes wrong = Header(h);
    wrong[0] = 0x35;
    const auto v = test::Identify(vti_PIC, "wrong.pic", wrong);
    EXPECT_FALSE(v.recognised);
    EXPECT_EQ(v.place, "vti_PIC");
    EXPECT_EQ(v.text, "Not a Pictor/PC Paint file!");

    for (unsigned bits : {2u, 0x31u, 0u}) {  // planar-info byte 0x31: bits 1 — accepted
        h.bits = bits;
        const auto r = OpenAndLoad("bits.pic", Header(h).bytes(Data({0, 0, 0, 0}, 8).data));
        if (bits == 0x31) {
            EXPECT_TRUE(r.ready) << r.text;
            EXPECT_EQ(r.depth, 1);
            continue;
        }
        EXPECT_FALSE(r.ready);
        EXPECT_EQ(r.place, "vti_PIC");
        EXPECT_EQ(r.text, "Unsupported bitdepth");
    }
}

TEST(PicReader, BlockLengthsThatDoNotFitStayInsideTheBuffer) {
    PicHeader h;
    h.width = 4;
    h.height = 2;
    Bytes b = Header(h);
    // Two blocks claiming 60000 unpacked bytes each, runs of 65535, and a
    // block count larger than the blocks present.
    b.le16(9);
    for (int i = 0; i < 2; ++i) b.le16(9).le16(60000).u8(0xA5).u8(0xA5).u8(0).le16(65535).u8(3);
    b.le16(2).le16(0).u8(0);  // a block shorter than its own head
    const auto r = OpenAndLoad("wild.pic", b);
    EXPECT_TRUE(r.loaded);
}
