#include <gtest/gtest.h>

#include "formats/Readers.h"
#include "tests/support/ReaderFixtures.h"

using test::Bytes;
using test::OpenAndLoad;

namespace {
// The 128-byte header: flag and resolution words 0, 16 colour words, then
// the fields the reader trusts: planes at 52, width at 58, height at 60.
Bytes Header(unsigned width, unsigned height, unsigned planes, const std::vector<unsigned>& colours = {}) {
    Bytes b;
    b.be16(0).be16(0);
    for (unsigned i = 0; i < 16; ++i) b.be16(i < colours.size() ? colours[i] : 0);
    b.pad(52).be16(planes).be16(0).be16(0).be16(width).be16(height).pad(128);
    return b;
}
}  // namespace

TEST(NeoReader, GroupsOfSixteenPixelsCombineInterleavedPlaneWords) {
    // 32 x 1, 4 planes: group 0 gives pixel x the index x; group 1 all 15.
    Bytes b = Header(32, 1, 4);
    for (unsigned p = 0; p < 4; ++p) {
        unsigned bits = 0;
        for (unsigned x = 0; x < 16; ++x)
            if ((x >> p) & 1) bits |= 0x8000u >> x;
        b.be16(bits);
    }
    b.be16(0xFFFF).be16(0xFFFF).be16(0xFFFF).be16(0xFFFF);
    const auto r = OpenAndLoad("groups.neo", b);
    ASSERT_TRUE(r.loaded) << r.text;
    EXPECT_EQ(r.depth, 4);
    EXPECT_EQ(r.stride, 32);
    EXPECT_EQ(r.description, "Atari Neochrome");
    for (int x = 0; x < 16; ++x) EXPECT_EQ(r.At(x, 0), x);
    EXPECT_EQ(r.At(16, 0), 15);
    EXPECT_EQ(r.At(31, 0), 15);
    EXPECT_EQ(r.progress, (std::vector<std::string>{"Converting@0", "@100"}));
}

TEST(NeoReader, ColourWordNibblesTakeBitThreeAsTheLeastSignificant) {
    // Word bytes b0 = 0x07 (red 7), b1 = 0x8F (green 8, blue 15).
    const auto r = OpenAndLoad("colours.neo", Header(16, 1, 2, {0x078F, 0x0F00}).fill(4));
    ASSERT_TRUE(r.loaded) << r.text;
    // 7 -> ((14 & 15) | 0) * 16 = 224; 8 -> (0 | 1) * 16 = 16; 15 -> 15 * 16 = 240.
    EXPECT_EQ(std::vector<uint8_t>(r.palette.begin(), r.palette.begin() + 6),
              (std::vector<uint8_t>{224, 16, 240, 240, 0, 0}));
}

TEST(NeoReader, PaletteHasTwoToThePlanesEntries) {
    const auto r = OpenAndLoad("two.neo", Header(16, 1, 1, {0x0777, 0x0777, 0x0777}).fill(2));
    ASSERT_TRUE(r.loaded);
    EXPECT_EQ(r.palette[3], 224);
    EXPECT_EQ(r.palette[6], 0);  // entry 2 is beyond 1 << 1
}

TEST(NeoReader, ZeroWidthAndHeightAreRefusedByTheSizeCheck) {
    const auto r = OpenAndLoad("zero.neo", Header(0, 0, 4).fill(32000));
    EXPECT_FALSE(r.ready);
    EXPECT_EQ(r.place, "ImageImpFile()");
    EXPECT_EQ(r.text, "Image size is zero!");
}

TEST(NeoReader, ZeroPlanesGiveAOneColourPicture) {
    const auto r = OpenAndLoad("flat.neo", Header(16, 2, 0).fill(64, 0xFF));
    ASSERT_TRUE(r.loaded) << r.text;
    EXPECT_EQ(r.At(5, 1), 0);
}

TEST(NeoReader, NonZeroFlagOrResolutionIsNotNeochrome) {
    Bytes medium = Header(16, 1, 4);
    medium[3] = 1;
    const auto v = test::Identify(vti_NEO, "medium.neo", medium);
    EXPECT_FALSE(v.recognised);
    EXPECT_EQ(v.place, "vti_NEO");
    EXPECT_EQ(v.text, "Not an Neochrome file");
    Bytes flag = Header(16, 1, 4);
    flag[0] = 0x80;
    EXPECT_FALSE(test::Identify(vti_NEO, "flag.neo", flag).recognised);
}

TEST(NeoReader, TrustedSizesLargerThanTheFileStayInsideTheBuffers) {
    // 320 x 200 with 12 planes and almost no pixel data.
    const auto r = OpenAndLoad("big.neo", Header(320, 200, 12).fill(30, 0xFF));
    ASSERT_TRUE(r.loaded) << r.text;
    EXPECT_EQ(r.depth, 8);
    EXPECT_EQ(r.At(0, 0), 255);   // the first group's eight low planes are all set
    EXPECT_EQ(r.At(16, 0), 7);    // 6 bytes left for the second group: planes 0 to 2
    EXPECT_EQ(r.At(32, 0), 0);    // the data ran out
    EXPECT_EQ(r.At(319, 199), 0);
}
