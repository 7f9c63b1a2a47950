#include <gtest/gtest.h>

#include "formats/Readers.h"
#include "tests/support/ReaderFixtures.h"

using test::Bytes;
using test::OpenAndLoad;

namespace {
// One chunk: identifier, big-endian length, data, a pad byte for odd lengths.
Bytes Chunk(const std::string& id, const Bytes& data) {
    Bytes c;
    c.text(id).be32(static_cast<uint32_t>(data.size())).bytes(data.data);
    if (data.size() & 1) c.u8(0);
    return c;
}

Bytes Bmhd(unsigned width, unsigned height, unsigned planes, unsigned masking = 0,
           unsigned compression = 0) {
    Bytes d;
    d.be16(width).be16(height).be16(0).be16(0);  // size, position
    d.u8(planes).u8(masking).u8(compression).u8(0);
    d.be16(0).u8(10).u8(11).be16(width).be16(height);  // transparent colour, aspect, page
    return Chunk("BMHD", d);
}

// A map whose entry i is (i, 2i, 3i).
Bytes Cmap(unsigned entries) {
    Bytes d;
    for (unsigned i = 0; i < entries; ++i) d.u8(i).u8(2 * i).u8(3 * i);
    return Chunk("CMAP", d);
}

Bytes Form(const std::string& type, const std::vector<Bytes>& chunks) {
    Bytes body;
    body.text(type);
    for (const auto& c : chunks) body.bytes(c.data);
    Bytes f;
    f.text("FORM").be32(static_cast<uint32_t>(body.size())).bytes(body.data);
    return f;
}

// A 16 x 1 ILBM row of `planes` planes, two bytes each: plane p has the bit
// of every pixel x whose index has bit p set, for indexes x.
Bytes IndexRow(unsigned planes, bool mask = false) {
    Bytes row;
    for (unsigned p = 0; p < planes; ++p) {
        unsigned bits = 0;
        for (unsigned x = 0; x < 16; ++x)
            if ((x >> p) & 1) bits |= 0x8000u >> x;
        row.be16(bits);
    }
    if (mask) row.be16(0xFFFF);
    return row;
}
}  // namespace

TEST(IffReader, FivePlaneIlbmWithCmapIsAThirtyTwoColourPaletteImage) {
    const auto r = OpenAndLoad("five.iff", Form("ILBM", {Bmhd(16, 1, 5), Cmap(32), Chunk("BODY", IndexRow(5))}));
    ASSERT_TRUE(r.loaded) << r.text;
    EXPECT_EQ(r.depth, 5);
    EXPECT_EQ(r.stride, 16);
    for (int x = 0; x < 16; ++x) EXPECT_EQ(r.At(x, 0), x);
    EXPECT_EQ(r.Rgb(15, 0), (std::vector<uint8_t>{15, 30, 45}));
    EXPECT_EQ(r.palette[3 * 31 + 2], 93);
    EXPECT_EQ(r.progress, (std::vector<std::string>{"Converting@60", "@100"}));
}

TEST(IffReader, MaskPlaneDecodesTheSamePixels) {
    const auto plain = OpenAndLoad("nomask.iff", Form("ILBM", {Bmhd(16, 2, 4), Cmap(16),
                                                              Chunk("BODY", IndexRow(4).bytes(IndexRow(4).data))}));
    const auto masked = OpenAndLoad("mask.iff", Form("ILBM", {Bmhd(16, 2, 4, 1), Cmap(16),
                                                              Chunk("BODY", IndexRow(4, true).bytes(IndexRow(4, true).data))}));
    ASSERT_TRUE(plain.loaded);
    ASSERT_TRUE(masked.loaded) << masked.text;
    EXPECT_EQ(masked.pixels, plain.pixels);
    EXPECT_EQ(masked.At(13, 1), 13);
}

TEST(IffReader, CmapBeforeBmhdIsIgnoredAndThePictureHasNoColourMap) {
    const auto r = OpenAndLoad("early.iff", Form("ILBM", {Cmap(2), Bmhd(16, 1, 1), Chunk("BODY", IndexRow(1))}));
    EXPECT_FALSE(r.ready);
    EXPECT_FALSE(r.hasPalette);
    EXPECT_EQ(r.place, "ImageImpFile()");
    EXPECT_EQ(r.text, "No colormap in file");
}

TEST(IffReader, CmapIsReadForAllEntriesThePlanesAddressWhateverItsLength) {
    // Two planes, a map chunk of one entry: entries 1 to 3 come from the
    // bytes after it (the BODY chunk's header here).
    const auto r = OpenAndLoad("shortmap.iff", Form("ILBM", {Bmhd(16, 1, 2), Cmap(1), Chunk("BODY", IndexRow(2))}));
    ASSERT_TRUE(r.loaded);
    // Entry 0 = (0,0,0), then the pad byte 0, then "BODY" and its length.
    EXPECT_EQ(std::vector<uint8_t>(r.palette.begin(), r.palette.begin() + 12),
              (std::vector<uint8_t>{0, 0, 0, 0, 'B', 'O', 'D', 'Y', 0, 0, 0, 4}));
}

TEST(IffReader, ByteRunOneBodyIsUnpackedWithThePackBitsDecoder) {
    // 16 x 2, 1 plane: row 0 = FF 00 as a literal run, row 1 = 2 x 0x0F as a
    // repeat.
    Bytes body;
    body.u8(1).u8(0xFF).u8(0x00).u8(0xFF).u8(0x0F);
    const auto r = OpenAndLoad("rle.iff", Form("ILBM", {Bmhd(16, 2, 1, 0, 1), Cmap(2), Chunk("BODY", body)}));
    ASSERT_TRUE(r.loaded) << r.text;
    EXPECT_EQ(r.compression, "RLE");
    EXPECT_EQ(r.At(0, 0), 1);
    EXPECT_EQ(r.At(7, 0), 1);
    EXPECT_EQ(r.At(8, 0), 0);
    EXPECT_EQ(r.At(3, 1), 0);
    EXPECT_EQ(r.At(4, 1), 1);
    EXPECT_EQ(r.At(12, 1), 1);
    EXPECT_EQ(r.progress, (std::vector<std::string>{"Decompressing@0", "Converting@60", "@100"}));
}

TEST(IffReader, ChunkyPbmRowsAreCopiedAtTheEvenWidth) {
    Bytes body;
    body.u8(1).u8(2).u8(3).u8(0).u8(4).u8(5).u8(6).u8(0);  // 3 pixels padded to 4
    const auto r = OpenAndLoad("chunky.lbm", Form("PBM ", {Bmhd(3, 2, 8), Cmap(256), Chunk("BODY", body)}));
    ASSERT_TRUE(r.loaded) << r.text;
    EXPECT_EQ(r.description, "Electronic Arts DP BitMap");
    EXPECT_EQ(r.stride, 4);
    EXPECT_EQ(r.At(2, 0), 3);
    EXPECT_EQ(r.At(0, 1), 4);
    EXPECT_EQ(r.Rgb(2, 1), (std::vector<uint8_t>{6, 12, 18}));
}

TEST(IffReader, ChunkyTwentyFourBitPbmIsSwappedToBlueGreenRed) {
    Bytes body;
    body.u8(1).u8(2).u8(3).u8(4).u8(5).u8(6);
    const auto r = OpenAndLoad("chunky24.lbm", Form("PBM ", {Bmhd(2, 1, 24), Chunk("BODY", body)}));
    ASSERT_TRUE(r.loaded) << r.text;
    EXPECT_EQ(r.depth, 24);
    EXPECT_EQ(r.stride, 6);
    EXPECT_EQ(r.Rgb(0, 0), (std::vector<uint8_t>{1, 2, 3}));
    EXPECT_EQ(r.Rgb(1, 0), (std::vector<uint8_t>{4, 5, 6}));
}

TEST(IffReader, TwentyFourPlaneIlbmBuildsRedGreenBlueFromEightPlanesEach) {
    // 16 x 1: pixel 0 red 0x81, green 0x02, blue 0xFF; the rest 0.
    Bytes body;
    for (unsigned p = 0; p < 24; ++p) {
        const unsigned channel = p / 8, bit = p % 8;
        const unsigned value = channel == 0 ? 0x81 : channel == 1 ? 0x02 : 0xFF;
        body.be16(((value >> bit) & 1) ? 0x8000 : 0);
    }
    // A CMAP in a colour picture is passed over: no palette.
    const auto r = OpenAndLoad("deep.iff", Form("ILBM", {Bmhd(16, 1, 24), Cmap(4), Chunk("BODY", body)}));
    ASSERT_TRUE(r.loaded) << r.text;
    EXPECT_FALSE(r.hasPalette);
    EXPECT_EQ(r.stride, 48);
    EXPECT_EQ(r.Rgb(0, 0), (std::vector<uint8_t>{0x81, 0x02, 0xFF}));
    EXPECT_EQ(r.Rgb(1, 0), (std::vector<uint8_t>{0, 0, 0}));
}

TEST(IffReader, NotAnIffFileAndNotAPictureFormAreNotRecognised) {
    Bytes farm = Form("ILBM", {Bmhd(16, 1, 1)});
    farm[1] = 'A';
    const auto v = test::Identify(vti_IFF, "farm.iff", farm);
    EXPECT_FALSE(v.recognised);
    EXPECT_EQ(v.place, "vti_IFF");
    EXPECT_EQ(v.text, "Not an IFF style file");

    const auto w = test::Identify(vti_IFF, "acbm.iff", Form("ACBM", {Bmhd(16, 1, 1)}));
    EXPECT_FALSE(w.recognised);
    EXPECT_EQ(w.text, "Not an ILBM ot PBM type IFF");
}

TEST(IffReader, RefusalsOfARecognisedFile) {
    struct Case {
        Bytes file;
        const char* message;
    };
    const Case cases[] = {
        {Form("ILBM", {Bmhd(16, 1, 9), Chunk("BODY", IndexRow(1))}), "Unsupported color depth"},
        {Form("ILBM", {Bmhd(16, 1, 4, 0, 2), Chunk("BODY", IndexRow(4))}), "Unknown compression scheme"},
        {Form("ILBM", {Cmap(2), Chunk("BODY", IndexRow(1))}), "No BMHD found"},
        {Form("PBM ", {Bmhd(16, 1, 8), Cmap(256)}), "No BODY found"},
    };
    for (const auto& c : cases) {
        const auto r = OpenAndLoad("refused.iff", c.file);
        EXPECT_FALSE(r.ready);
        EXPECT_EQ(r.place, "vti_IFF");
        EXPECT_EQ(r.text, c.message);
    }
}

TEST(IffReader, UnknownChunksAreSkippedOverTheirPadByte) {
    Bytes odd;
    odd.u8(1).u8(2).u8(3);
    const auto r = OpenAndLoad("skip.bbm", Form("ILBM", {Bmhd(16, 1, 1), Chunk("ANNO", odd), Cmap(2),
                                                         Chunk("BODY", IndexRow(1))}));
    ASSERT_TRUE(r.loaded) << r.text;
    EXPECT_EQ(r.description, "Electronic Arts DP Brush");
    EXPECT_EQ(r.At(1, 0), 1);
}

TEST(IffReader, TruncatedBodyAndChunkLengthsPastTheEndStopCleanly) {
    Bytes shortBody;
    shortBody.u8(0xFF);  // one byte of a 4 x 16-row picture
    const auto r = OpenAndLoad("short.iff", Form("ILBM", {Bmhd(32, 16, 1, 0, 1), Cmap(2), Chunk("BODY", shortBody)}));
    EXPECT_TRUE(r.loaded);

    Bytes huge = Form("ILBM", {Bmhd(16, 1, 1), Cmap(2)});
    huge.text("BODY").be32(0xFFFFFFF0u).u8(0x80);
    const auto h = OpenAndLoad("huge.iff", huge);
    ASSERT_TRUE(h.loaded);
    EXPECT_EQ(h.At(0, 0), 1);
    EXPECT_EQ(h.At(1, 0), 0);
}
