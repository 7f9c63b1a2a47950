#include <gtest/gtest.h>

#include "formats/Readers.h"
#include "tests/support/ReaderFixtures.h"

using test::Bytes;
using test::OpenAndLoad;

namespace {
// A MacPaint body: the version word 0 0 0 2, patterns and padding to 512
// bytes, then 720 packed rows. Row y is 72 copies of (y & 1 ? 0xF0 : 0x01)
// (control byte 0xB9 repeats the next byte 1 - 0xB9 + 256 = 72 times),
// except row 0, which is a literal run of 72 bytes 0x80, 0, 0, ...
Bytes Paint(unsigned version = 2) {
    Bytes b;
    b.be32(version).pad(512, 0);
    b.u8(71).u8(0x80).fill(71, 0);
    for (int y = 1; y < 720; ++y) b.u8(0xB9).u8(y & 1 ? 0xF0 : 0x01);
    return b;
}

Bytes MacBinary() {
    Bytes b;
    b.u8(0).u8(5).text("paint").pad(65).text("PNTGMPNT").pad(128);
    return b;
}
}  // namespace

TEST(MacReader, AnnouncesAFixedOneBitPicture) {
    const auto r = OpenAndLoad("plain.mac", Paint());
    ASSERT_TRUE(r.loaded) << r.text;
    EXPECT_EQ(r.width, 576);
    EXPECT_EQ(r.height, 720);
    EXPECT_EQ(r.depth, 1);
    EXPECT_EQ(r.stride, 576);
    EXPECT_EQ(r.colourModel, 3);
    EXPECT_EQ(r.compression, "RLE");
    EXPECT_EQ(r.description, "MacPaint");
    EXPECT_EQ(r.At(0, 0), 1);
    EXPECT_EQ(r.At(1, 0), 0);
    EXPECT_EQ(r.At(575, 0), 0);
    EXPECT_EQ(r.At(7, 2), 1);
    EXPECT_EQ(r.At(6, 2), 0);
    EXPECT_EQ(r.At(0, 719), 1);
    EXPECT_EQ(r.At(4, 719), 0);
    EXPECT_EQ(r.Rgb(0, 0), (std::vector<uint8_t>{0, 0, 0}));
    EXPECT_EQ(r.Rgb(1, 0), (std::vector<uint8_t>{255, 255, 255}));
    EXPECT_EQ(r.progress, (std::vector<std::string>{"Decoding@0", "@50", "@100"}));
}

TEST(MacReader, MacBinaryHeaderLoadsTheSameAsWithout) {
    const auto plain = OpenAndLoad("plain.mac", Paint());
    Bytes wrapped = MacBinary();
    wrapped.bytes(Paint().data);
    const auto r = OpenAndLoad("wrapped.mac", wrapped);
    ASSERT_TRUE(r.loaded) << r.text;
    EXPECT_EQ(r.pixels, plain.pixels);
}

TEST(MacReader, VersionWordIsLookedForEveryHundredTwentyEightBytesBelowTenTwentyFour) {
    Bytes at896;
    at896.fill(896, 0xAA).bytes(Paint().data);
    EXPECT_TRUE(OpenAndLoad("at896.mac", at896).loaded);

    Bytes at1024;
    at1024.fill(1024, 0xAA).bytes(Paint().data);
    const auto v = test::Identify(vti_MAC, "at1024.mac", at1024);
    EXPECT_FALSE(v.recognised);
    EXPECT_EQ(v.place, "vti_MAC");
    EXPECT_EQ(v.text, "Not a Macpaint file");
}

TEST(MacReader, OtherVersionWordsAreNotMacPaint) {
    for (unsigned version : {0u, 3u, 0x02000000u}) {
        const auto v = test::Identify(vti_MAC, "version.mac", Paint(version));
        EXPECT_FALSE(v.recognised);
        EXPECT_EQ(v.text, "Not a Macpaint file");
    }
}

TEST(MacReader, FewerThanSixHundredFortyBytesFromTheWordAreNotMacPaint) {
    Bytes small;
    small.be32(2).pad(639);
    EXPECT_EQ(test::Identify(vti_MAC, "small.mac", small).text, "Not a Macpaint file");
    Bytes enough;
    enough.be32(2).pad(640);
    EXPECT_TRUE(test::Identify(vti_MAC, "enough.mac", enough).recognised);
    // The word at 384 of a 1000-byte file has only 616 bytes from there.
    Bytes late;
    late.fill(384, 0xAA).be32(2).pad(1000);
    EXPECT_FALSE(test::Identify(vti_MAC, "late.mac", late).recognised);
}

TEST(MacReader, ShortPackedDataLeavesTheRestWhite) {
    Bytes b;
    b.be32(2).pad(512, 0).u8(0xB9).u8(0xFF);  // only row 0 is there
    b.pad(640);
    const auto r = OpenAndLoad("short.mac", b);
    ASSERT_TRUE(r.loaded);
    EXPECT_EQ(r.At(575, 0), 1);
    EXPECT_EQ(r.At(0, 1), 0);
    EXPECT_EQ(r.At(575, 719), 0);
}
