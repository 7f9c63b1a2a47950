#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "core/RowUtils.h"

using Bytes = std::vector<uint8_t>;

TEST(RowUtils, CopyRowsCopiesTheSmallerStride) {
    const Bytes source = {1, 2, 3, 4, 5, 6, 7, 8};  // 2 rows of 4
    Bytes destination(6, 0xEE);                     // 2 rows of 3
    CopyRows(destination.data(), 3, source.data(), 4, 2);
    EXPECT_EQ(destination, (Bytes{1, 2, 3, 5, 6, 7}));
}

TEST(RowUtils, CopyRowsWidensABlockInPlaceFromTheLastRowBackwards) {
    Bytes block = {1, 2, 3, 4, 5, 6, 0, 0, 0, 0, 0, 0};  // 3 rows of 2, room for 3 rows of 4
    CopyRows(block.data(), 4, block.data(), 2, 3);
    EXPECT_EQ(Bytes(block.begin(), block.begin() + 2), (Bytes{1, 2}));
    EXPECT_EQ(Bytes(block.begin() + 4, block.begin() + 6), (Bytes{3, 4}));
    EXPECT_EQ(Bytes(block.begin() + 8, block.begin() + 10), (Bytes{5, 6}));
}

TEST(RowUtils, SwapRedBlueSwapsFirstAndThirdByteOfEveryPixel) {
    Bytes rows = {1, 2, 3, 4, 5, 6, 99, 7, 8, 9, 10, 11, 12, 99};  // stride 7, width 2
    SwapRedBlue(rows.data(), 2, 7, 2);
    EXPECT_EQ(rows, (Bytes{3, 2, 1, 6, 5, 4, 99, 9, 8, 7, 12, 11, 10, 99}));
}

TEST(RowUtils, SwapRedBlueOfRowsOfEveryLengthTouchesOnlyTheirPixels) {
    // Rows of 0 to 40 pixels (eight at a time and the rest one by one),
    // with padding bytes that must stay.
    for (int width = 0; width <= 40; ++width) {
        const int stride = 3 * width + 5;
        Bytes rows(static_cast<size_t>(stride) * 3);
        for (size_t i = 0; i < rows.size(); ++i) rows[i] = static_cast<uint8_t>(i * 7 + 1);
        Bytes expected = rows;
        for (int y = 0; y < 3; ++y)
            for (int x = 0; x < width; ++x)
                std::swap(expected[y * stride + 3 * x], expected[y * stride + 3 * x + 2]);
        SwapRedBlue(rows.data(), width, stride, 3);
        EXPECT_EQ(rows, expected) << width;
    }
}

TEST(RowUtils, CopySwappingRedBlueWritesOnlyItsPixels) {
    // Both ways: with the processor's byte shuffle where it has one (16
    // pixels at a time), and in plain arithmetic (8 at a time, a copy in
    // pieces of 1024 pixels); the rest pixel by pixel. Copied and in place.
    using Copy = void (*)(uint8_t*, const uint8_t*, size_t);
    std::vector<size_t> counts;
    for (size_t pixels = 0; pixels <= 70; ++pixels) counts.push_back(pixels);
    for (size_t pixels : {1023, 1024, 1025, 2500}) counts.push_back(pixels);
    for (Copy copySwapping : {Copy{CopySwappingRedBlue}, Copy{CopySwappingRedBluePortably}}) {
        for (size_t pixels : counts) {
            Bytes source(3 * pixels + 4);
            for (size_t i = 0; i < source.size(); ++i) source[i] = static_cast<uint8_t>(200 - i);
            Bytes copy(3 * pixels + 4, 0xEE);
            copySwapping(copy.data(), source.data(), pixels);
            Bytes expected(3 * pixels + 4, 0xEE);
            for (size_t x = 0; x < pixels; ++x) {
                expected[3 * x] = source[3 * x + 2];
                expected[3 * x + 1] = source[3 * x + 1];
                expected[3 * x + 2] = source[3 * x];
            }
            EXPECT_EQ(copy, expected) << pixels;
            // In place the bytes behind the pixels stay as they were.
            const Bytes original = source;
            copySwapping(source.data(), source.data(), pixels);
            std::copy(original.begin() + 3 * pixels, original.end(), expected.begin() + 3 * pixels);
            EXPECT_EQ(source, expected) << pixels;
        }
    }
}

TEST(RowUtils, PlanesToPixelsPutsTheThirdPlaneFirst) {
    const Bytes planes = {10, 11, 0, 20, 21, 0, 30, 31, 0};  // plane distance 3
    Bytes pixels(6);
    PlanesToPixels(pixels.data(), planes.data(), 2, 3);
    EXPECT_EQ(pixels, (Bytes{30, 20, 10, 31, 21, 11}));
}

TEST(RowUtils, BitPlanesToIndicesGivesPlaneKBitK) {
    // Two planes of one byte each: plane 0 = 1000 0001, plane 1 = 1100 0000.
    const Bytes planes = {0x81, 0xC0};
    Bytes indices(8, 0xFF);
    BitPlanesToIndices(indices.data(), planes.data(), 8, 2, 1);
    EXPECT_EQ(indices, (Bytes{3, 2, 0, 0, 0, 0, 0, 1}));
}

TEST(RowUtils, BitPlanesToIndicesClearsTheOutputOverWidthRoundedUpToEight) {
    const Bytes planes = {0x00};
    Bytes indices(10, 0xFF);
    BitPlanesToIndices(indices.data(), planes.data(), 3, 1, 1);
    EXPECT_EQ(indices, (Bytes{0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF}));
}

TEST(RowUtils, UnpackOneBitIsMostSignificantBitFirst) {
    const Bytes source = {0xA5, 0x01};
    Bytes out(16);
    Unpack1Bit(out.data(), source.data(), 2);
    EXPECT_EQ(out, (Bytes{1, 0, 1, 0, 0, 1, 0, 1, 0, 0, 0, 0, 0, 0, 0, 1}));
}

TEST(RowUtils, UnpackTwoBitGivesFourValuesPerByte) {
    const Bytes source = {0x1B};  // 00 01 10 11
    Bytes out(4);
    Unpack2Bit(out.data(), source.data(), 1);
    EXPECT_EQ(out, (Bytes{0, 1, 2, 3}));
}

TEST(RowUtils, UnpackFourBitIsHighNibbleFirst) {
    const Bytes source = {0x3C, 0xF0};
    Bytes out(4);
    Unpack4Bit(out.data(), source.data(), 2);
    EXPECT_EQ(out, (Bytes{3, 12, 15, 0}));
}
