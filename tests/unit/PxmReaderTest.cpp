#include <gtest/gtest.h>

#include "formats/Readers.h"
#include "tests/support/ReaderFixtures.h"

using test::Bytes;
using test::OpenAndLoad;

TEST(PxmReader, GreymapWithMaximumFifteenShowsVeryDarkGreys) {
    Bytes b;
    b.text("P2\n2 1\n15\n0 15\n");
    const auto r = OpenAndLoad("dark.pgm", b);
    ASSERT_TRUE(r.loaded) << r.text;
    EXPECT_EQ(r.depth, 8);
    EXPECT_EQ(r.stride, 2);
    EXPECT_EQ(r.colourModel, 2);
    EXPECT_EQ(r.compression, "Ascii");
    EXPECT_EQ(r.Rgb(0, 0), (std::vector<uint8_t>{0, 0, 0}));
    EXPECT_EQ(r.Rgb(1, 0), (std::vector<uint8_t>{15, 15, 15}));
}

TEST(PxmReader, CommentBetweenWidthAndHeightIsSkipped) {
    Bytes b;
    b.text("P5 3 # width 3, 9 and 7 are not numbers here\r4\n255\n").fill(12, 9);
    const auto r = OpenAndLoad("comment.pgm", b);
    ASSERT_TRUE(r.loaded) << r.text;
    EXPECT_EQ(r.width, 3);
    EXPECT_EQ(r.height, 4);
    EXPECT_EQ(r.At(2, 3), 9);
}

TEST(PxmReader, BitmapDigitsWithoutSeparatorsAreOneNumber) {
    Bytes b;
    b.text("P1\n3 1\n0101 1\n");
    const auto r = OpenAndLoad("joined.pbm", b);
    ASSERT_TRUE(r.loaded) << r.text;
    EXPECT_EQ(r.At(0, 0), 101);  // "0101" is one pixel
    EXPECT_EQ(r.At(1, 0), 1);
    EXPECT_EQ(r.At(2, 0), 1);    // past the data: the number reader gives 1
}

TEST(PxmReader, BitmapsShowZeroAsWhiteAndOneAsBlack) {
    Bytes b;
    b.text("P1\n2 1\n0 1");  // no line end after the last digit
    const auto r = OpenAndLoad("bw.pbm", b);
    ASSERT_TRUE(r.loaded) << r.text;
    EXPECT_EQ(r.stride, 8);
    EXPECT_EQ(r.colourModel, 3);
    EXPECT_EQ(r.Rgb(0, 0), (std::vector<uint8_t>{255, 255, 255}));
    EXPECT_EQ(r.Rgb(1, 0), (std::vector<uint8_t>{0, 0, 0}));
}

TEST(PxmReader, NumberReaderGivesOneAfterFiveHundredTwelveBytes) {
    Bytes b;
    // The height's digit comes only after 512 blanks: it reads as 1.
    b.text("P5 2").fill(600, ' ').text("3 255\n").u8(7).u8(8);
    const auto r = OpenAndLoad("far.pgm", b);
    ASSERT_TRUE(r.ready) << r.text;
    EXPECT_EQ(r.width, 2);
    EXPECT_EQ(r.height, 1);

    // Digits running past the limit: the width reads as 1; the height is
    // the 9 digits after the limit.
    Bytes digits;
    digits.text("P5 ").fill(520, '1').text(" 255\n");
    const auto d = OpenAndLoad(test::WriteTempFile("long.pgm", digits.data), false, false);
    EXPECT_EQ(d.width, 1);
    EXPECT_EQ(d.height, 111111111);
}

TEST(PxmReader, BinaryDataWhoseFirstByteIsALineEndLosesIt) {
    Bytes b;
    b.text("P5\n3 1\n255\n").u8(10).u8(13).u8(5).u8(6).u8(7);
    const auto r = OpenAndLoad("lost.pgm", b);
    ASSERT_TRUE(r.loaded);
    EXPECT_EQ(r.pixels, (std::vector<uint8_t>{5, 6, 7}));
}

TEST(PxmReader, BinaryBitmapRowsUnpackMostSignificantBitFirst) {
    Bytes b;
    b.text("P4\n10 2\n").u8(0x80).u8(0x40).u8(0x01).u8(0xFF);
    const auto r = OpenAndLoad("bits.pbm", b);
    ASSERT_TRUE(r.loaded);
    EXPECT_EQ(r.stride, 16);
    EXPECT_EQ(r.At(0, 0), 1);
    EXPECT_EQ(r.At(1, 0), 0);
    EXPECT_EQ(r.At(9, 0), 1);
    EXPECT_EQ(r.At(7, 1), 1);
    EXPECT_EQ(r.At(6, 1), 0);
    EXPECT_EQ(r.At(8, 1), 1);
    EXPECT_EQ(r.progress.front(), "Converting@0");
}

TEST(PxmReader, PixmapsAreStoredBlueGreenRedWithoutScaling) {
    Bytes raw;
    raw.text("P6 2 1 100\n").u8(1).u8(2).u8(3).u8(4).u8(5).u8(6);
    const auto r = OpenAndLoad("raw.ppm", raw);
    ASSERT_TRUE(r.loaded);
    EXPECT_EQ(r.depth, 24);
    EXPECT_EQ(r.stride, 6);
    EXPECT_EQ(r.pixels, (std::vector<uint8_t>{3, 2, 1, 6, 5, 4}));
    EXPECT_EQ(r.progress.front(), "Reading@0");

    Bytes text;
    text.text("P3 2 1 100\n1 2 3\n4 5 300\n");
    const auto t = OpenAndLoad("text.ppm", text);
    ASSERT_TRUE(t.loaded);
    EXPECT_EQ(t.compression, "Ascii");
    EXPECT_EQ(t.pixels, (std::vector<uint8_t>{3, 2, 1, 300 & 255, 5, 4}));
}

TEST(PxmReader, TextProgressIsReportedEveryThirtySecondRow) {
    Bytes b;
    b.text("P2 1 64 255\n");
    for (int i = 0; i < 64; ++i) b.text(std::to_string(i) + "\n");
    const auto r = OpenAndLoad("tall.pgm", b);
    ASSERT_TRUE(r.loaded);
    EXPECT_EQ(r.At(0, 63), 63);
    EXPECT_EQ(r.progress, (std::vector<std::string>{"Converting@0", "@48", "@98", "@100"}));
}

TEST(PxmReader, OnlyPOneToSixIsAPbmPlusFile) {
    for (const char* start : {"P7 1 1 255\n", "Q5 1 1 255\n", "P0", "P"}) {
        Bytes b;
        b.text(start).fill(4);
        const auto v = test::Identify(vti_PxM, "no.pgm", b);
        EXPECT_FALSE(v.recognised);
        EXPECT_EQ(v.place, "vti_PxM");
        EXPECT_EQ(v.text, "Not a PBMPlus file");
    }
}

TEST(PxmReader, ShortBinaryDataKeepsWhatIsThere) {
    Bytes b;
    b.text("P6 4 4 255\n").u8(9).u8(8).u8(7).u8(6);
    const auto r = OpenAndLoad("short.ppm", b);
    ASSERT_TRUE(r.loaded);
    EXPECT_EQ(r.Rgb(0, 0), (std::vector<uint8_t>{9, 8, 7}));
    EXPECT_EQ(r.At(0, 1), 0xEE);  // rows beyond the data are not written
}
