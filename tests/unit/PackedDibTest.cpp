#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "display/PackedDib.h"

namespace {

std::vector<uint8_t> PackedDib(const Image& image) {
    std::vector<uint8_t> block(static_cast<size_t>(PackedDibBytes(image)), 0xEE);
    WritePackedDib(image, block.data());
    return block;
}

std::vector<uint8_t> Slice(const std::vector<uint8_t>& bytes, size_t from, size_t count) {
    return std::vector<uint8_t>(bytes.begin() + from, bytes.begin() + from + count);
}

// The 40-byte header as the clipboard expects it, field by field.
std::vector<uint8_t> Header(uint32_t width, uint32_t height, uint16_t bits) {
    std::vector<uint8_t> header;
    auto le = [&header](uint32_t value, int bytes) {
        for (int i = 0; i < bytes; ++i) header.push_back(static_cast<uint8_t>(value >> (8 * i)));
    };
    le(40, 4);      // header size
    le(width, 4);   // width
    le(height, 4);  // height
    le(1, 2);       // planes
    le(bits, 2);    // bits per pixel
    le(0, 4);       // compression: none
    le(0, 4);       // image size
    le(0, 8);       // horizontal and vertical resolution
    le(0, 8);       // colours used and important
    return header;
}

void SetPixel24(Image* image, int x, int y, uint8_t blue, uint8_t green, uint8_t red) {
    uint8_t* at = image->Row(y) + 3 * x;
    at[0] = blue;
    at[1] = green;
    at[2] = red;
}

}  // namespace

TEST(PackedDib, TrueColourPictureHasHeaderAndBottomUpRowsPaddedToFourBytes) {
    // 2 x 2, rows of 6 bytes without padding of their own, as readers make them.
    Image image(2, 2, 6, 2, nullptr, 24);
    SetPixel24(&image, 0, 0, 0x01, 0x02, 0x03);
    SetPixel24(&image, 1, 0, 0x04, 0x05, 0x06);
    SetPixel24(&image, 0, 1, 0x11, 0x12, 0x13);
    SetPixel24(&image, 1, 1, 0x14, 0x15, 0x16);

    EXPECT_EQ(DibRowBytes(image), 8u);
    EXPECT_EQ(PackedDibBytes(image), 40u + 2 * 8);
    const std::vector<uint8_t> block = PackedDib(image);
    ASSERT_EQ(block.size(), 56u);
    EXPECT_EQ(Slice(block, 0, 40), Header(2, 2, 24));
    // The last picture row comes first; its padding is the (empty) spare row.
    EXPECT_EQ(Slice(block, 40, 8),
              (std::vector<uint8_t>{0x11, 0x12, 0x13, 0x14, 0x15, 0x16, 0x00, 0x00}));
    // The first row's padding repeats what follows it in memory: the start of
    // the next row.
    EXPECT_EQ(Slice(block, 48, 8),
              (std::vector<uint8_t>{0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x11, 0x12}));
}

TEST(PackedDib, OnePixelWideTrueColourPictureHasFourByteRowsAndNoColourTable) {
    Image image(1, 3, 3, 3, nullptr, 24);
    SetPixel24(&image, 0, 0, 0xA1, 0xA2, 0xA3);
    SetPixel24(&image, 0, 1, 0xB1, 0xB2, 0xB3);
    SetPixel24(&image, 0, 2, 0xC1, 0xC2, 0xC3);

    EXPECT_EQ(DibRowBytes(image), 4u);
    EXPECT_EQ(PackedDibBytes(image), 52u);
    const std::vector<uint8_t> block = PackedDib(image);
    ASSERT_EQ(block.size(), 52u);
    EXPECT_EQ(Slice(block, 0, 40), Header(1, 3, 24));
    // Rows follow the header at once: no colour table. Three bytes used in
    // each row of four.
    EXPECT_EQ(Slice(block, 40, 12), (std::vector<uint8_t>{0xC1, 0xC2, 0xC3, 0x00,  //
                                                          0xB1, 0xB2, 0xB3, 0xC1,  //
                                                          0xA1, 0xA2, 0xA3, 0xB1}));
}

TEST(PackedDib, PalettePictureAlwaysCarriesAllTwoHundredFiftySixColours) {
    // Three colours used; the other 253 palette entries are black.
    std::vector<uint8_t> palette(768, 0);
    const uint8_t used[3][3] = {{0xFF, 0x00, 0x00}, {0x10, 0x20, 0x30}, {0x01, 0x02, 0x03}};
    for (int i = 0; i < 3; ++i) std::memcpy(&palette[3 * i], used[i], 3);
    palette[3 * 255] = 0x7F;  // a last entry that is not black, to see it placed
    Image image(4, 2, 4, 2, palette.data(), 8);
    const uint8_t rows[2][4] = {{0, 1, 2, 1}, {2, 2, 0, 255}};
    std::memcpy(image.Row(0), rows[0], 4);
    std::memcpy(image.Row(1), rows[1], 4);

    EXPECT_EQ(DibRowBytes(image), 4u);
    EXPECT_EQ(PackedDibBytes(image), 1064u + 2 * 4);
    const std::vector<uint8_t> block = PackedDib(image);
    ASSERT_EQ(block.size(), 1072u);
    EXPECT_EQ(Slice(block, 0, 40), Header(4, 2, 8));
    // Blue, green, red, 0 for every entry.
    EXPECT_EQ(Slice(block, 40, 12), (std::vector<uint8_t>{0x00, 0x00, 0xFF, 0x00,  //
                                                          0x30, 0x20, 0x10, 0x00,  //
                                                          0x03, 0x02, 0x01, 0x00}));
    for (int entry = 3; entry < 255; ++entry)
        EXPECT_EQ(Slice(block, 40 + 4 * entry, 4), (std::vector<uint8_t>{0, 0, 0, 0}))
            << "entry " << entry;
    EXPECT_EQ(Slice(block, 40 + 4 * 255, 4), (std::vector<uint8_t>{0x00, 0x00, 0x7F, 0x00}));
    EXPECT_EQ(Slice(block, 1064, 8), (std::vector<uint8_t>{2, 2, 0, 255, 0, 1, 2, 1}));
}

TEST(PackedDib, OnePixelWidePalettePictureReadsNothingPastThePixelBlock) {
    // Stride 1: the block holds three bytes (two rows and the spare one), a
    // DIB row wants four. What lies beyond the block becomes zeros.
    std::vector<uint8_t> palette(768, 0x40);
    Image image(1, 2, 1, 2, palette.data(), 8);
    ASSERT_EQ(image.PixelBytes(), 3u);
    image.Row(0)[0] = 0x05;
    image.Row(1)[0] = 0x06;

    EXPECT_EQ(DibRowBytes(image), 4u);
    const std::vector<uint8_t> block = PackedDib(image);
    ASSERT_EQ(block.size(), 1064u + 8);
    EXPECT_EQ(Slice(block, 0, 40), Header(1, 2, 8));
    EXPECT_EQ(Slice(block, 1064, 8), (std::vector<uint8_t>{0x06, 0x00, 0x00, 0x00,  //
                                                           0x05, 0x06, 0x00, 0x00}));
}

TEST(PackedDib, TopDownRowsAndNegativeHeightForThePrinter) {
    Image image(1, 2, 3, 2, nullptr, 24);
    SetPixel24(&image, 0, 0, 1, 2, 3);
    SetPixel24(&image, 0, 1, 4, 5, 6);
    uint8_t header[40];
    WriteDibHeader(image, -2, header);
    EXPECT_EQ(std::vector<uint8_t>(header, header + 40), Header(1, 0xFFFFFFFEu, 24));
    uint8_t rows[8];
    WriteDibRows(image, false, rows);
    EXPECT_EQ(std::vector<uint8_t>(rows, rows + 8), (std::vector<uint8_t>{1, 2, 3, 4, 4, 5, 6, 0}));
}

TEST(PackedDib, WideRowsRoundUpToTheNextMultipleOfFour) {
    Image fiveWide(5, 1, 15, 1, nullptr, 24);
    EXPECT_EQ(DibRowBytes(fiveWide), 16u);
    std::vector<uint8_t> palette(768, 0);
    Image sevenWide(7, 1, 7, 1, palette.data(), 8);
    EXPECT_EQ(DibRowBytes(sevenWide), 8u);
    Image eightWide(8, 1, 8, 1, palette.data(), 8);
    EXPECT_EQ(DibRowBytes(eightWide), 8u);
}
