#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "core/Image.h"
#include "tests/support/TestSupport.h"

namespace {
std::vector<uint8_t> Ramp768() {
    std::vector<uint8_t> palette(768);
    for (int i = 0; i < 768; ++i) palette[i] = static_cast<uint8_t>(i * 7);
    return palette;
}
}  // namespace

TEST(Image, WithoutPaletteAndDepthZeroIsTwentyFourBit) {
    Image image(4, 3, 12, 3, nullptr, 0);
    EXPECT_EQ(image.depth, 24);
    EXPECT_EQ(image.palette, nullptr);
}

TEST(Image, WithPaletteAndDepthZeroIsEightBitAndCopiesThePalette) {
    const std::vector<uint8_t> palette = Ramp768();
    Image image(4, 3, 4, 3, palette.data(), 0);
    EXPECT_EQ(image.depth, 8);
    ASSERT_NE(image.palette, nullptr);
    EXPECT_NE(image.palette, palette.data());
    EXPECT_EQ(std::memcmp(image.palette, palette.data(), 768), 0);
}

TEST(Image, KeepsAnExplicitDepthEvenWithOneBytePerPixel) {
    const std::vector<uint8_t> palette = Ramp768();
    Image image(5, 2, 8, 2, palette.data(), 4);
    EXPECT_EQ(image.depth, 4);
    EXPECT_EQ(image.stride, 8);
}

TEST(Image, StartsWithEmptyLabelNonePathAndItsOwnClassName) {
    Image image(2, 2, 6, 2, nullptr, 0);
    EXPECT_STREQ(image.label, "");
    EXPECT_STREQ(image.path, "<none>");
    EXPECT_EQ(image.fileName, image.path);
    EXPECT_STREQ(image.className, "Image");
    EXPECT_EQ(image.width, 2);
    EXPECT_EQ(image.height, 2);
}

TEST(Image, AllocatesOneSpareRowBeyondTheLast) {
    Image image(10, 7, 30, 7, nullptr, 24);
    EXPECT_EQ(image.PixelBytes(), 8u * 30u);
    // The spare row is really there: writing all of it is fine.
    std::memset(image.Row(7), 0xAB, 30);
    EXPECT_EQ(image.Row(7)[29], 0xAB);
    EXPECT_EQ(image.BytesFromRow(7), 30u);
    EXPECT_EQ(image.BytesFromRow(8), 0u);
}

TEST(Image, HeightZeroStillAllocatesTheSpareRow) {
    Image image(16, 0, 48, 0, nullptr, 24);
    EXPECT_EQ(image.PixelBytes(), 48u);
    ASSERT_NE(image.pixels, nullptr);
}

TEST(Image, RowsAreTopDownAtMultiplesOfTheStride) {
    Image image(3, 4, 11, 4, nullptr, 24);
    EXPECT_EQ(image.Row(0), image.pixels);
    EXPECT_EQ(image.Row(3), image.pixels + 33);
}

namespace {
size_t g_paletteRequest = 0;
void* RefusePalette(size_t bytes) {
    g_paletteRequest = bytes;
    return nullptr;
}
}  // namespace

TEST(Image, APaletteBlockThatCannotBeHadLeavesARecordWithoutPaletteThatDestroysCleanly) {
    // The palette allocation fails silently: the record goes on without a
    // palette (the depth still follows the palette that was given), and its
    // destruction frees only the pixel block.
    const std::vector<uint8_t> palette = Ramp768();
    g_paletteRequest = 0;
    const PaletteAllocator previous = SetPaletteAllocator(RefusePalette);
    auto* image = new Image(8, 4, 8, 4, palette.data(), 0);
    SetPaletteAllocator(previous);
    EXPECT_EQ(g_paletteRequest, 772u);
    EXPECT_EQ(image->palette, nullptr);
    EXPECT_EQ(image->depth, 8);
    ASSERT_NE(image->pixels, nullptr);
    EXPECT_EQ(image->PixelBytes(), 5u * 8u);
    delete image;

    // With the heap back, palettes are had again.
    Image again(8, 4, 8, 4, palette.data(), 0);
    ASSERT_NE(again.palette, nullptr);
    EXPECT_EQ(again.palette[767], palette[767]);
}

TEST(Image, DrawOfThePlainRecordSucceeds) {
    Image image(2, 2, 6, 2, nullptr, 0);
    EXPECT_TRUE(image.Draw(nullptr, 0, 0, 0, 0, 2, 2));
}

TEST(Image, FileNamePartFollowsTheLastBackslashOrColon) {
    EXPECT_STREQ(FileNamePart("C:\\pictures\\cat.bmp"), "cat.bmp");
    EXPECT_STREQ(FileNamePart("A:cat.bmp"), "cat.bmp");
    EXPECT_STREQ(FileNamePart("cat.bmp"), "cat.bmp");
    EXPECT_STREQ(FileNamePart("/tmp/dog.bmp"), "dog.bmp");
}

using ImageDeathTest = ::testing::Test;

TEST(ImageDeathTest, PixelMemoryThatCannotBeHadEndsTheProgram) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT((test::PrintMessagesToStderr(),
                 Image(1 << 30, 1 << 30, 1 << 30, (1 << 30) - 1, nullptr, 24)),
                ::testing::ExitedWithCode(1), "QUIT!: EXIT: Out of memory");
}

TEST(ImageDeathTest, ANegativeRowCountEndsTheProgramLikeAnAllocationFailure) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT((test::PrintMessagesToStderr(), Image(127, -64, 127, -64, nullptr, 8)),
                ::testing::ExitedWithCode(1), "QUIT!: EXIT: Out of memory");
}
