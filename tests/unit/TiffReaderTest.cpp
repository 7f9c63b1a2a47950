// The TIFF reader on files built byte by byte in memory.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "core/Error.h"
#include "core/Image.h"
#include "core/ImageImpFile.h"
#include "formats/Readers.h"
#include "jpeg/YCbCr.h"
#include "tests/support/TestSupport.h"
#include "tests/support/TiffBuilder.h"

namespace {

using namespace test::tiff;

// A TIFF LZW stream of 9-bit codes (short enough that the width never
// grows): clear, the bytes as literals, end.
std::vector<uint8_t> LzwLiterals(const std::vector<uint8_t>& bytes) {
    std::vector<unsigned> codes{256};
    codes.insert(codes.end(), bytes.begin(), bytes.end());
    codes.push_back(257);
    std::vector<uint8_t> out;
    uint32_t buffer = 0;
    int count = 0;
    for (unsigned code : codes) {
        buffer = (buffer << 9) | code;
        count += 9;
        while (count >= 8) {
            count -= 8;
            out.push_back(static_cast<uint8_t>(buffer >> count));
        }
    }
    if (count) out.push_back(static_cast<uint8_t>(buffer << (8 - count)));
    return out;
}

struct Loaded {
    bool ready = false;
    std::string place, text;
    int32_t width = 0, height = 0, depth = 0, stride = 0, colourModel = 0;
    std::string compression;
    std::vector<uint8_t> palette;  // 768 bytes when there is one
    int imageStride = 0;
    std::vector<uint8_t> pixels;  // the whole pixel block, spare row included
    std::vector<std::pair<std::string, std::string>> messages;
    std::vector<std::string> progress;

    // Bytes of row y, `count` of them.
    std::vector<uint8_t> Row(int y, int count) const {
        return std::vector<uint8_t>(pixels.begin() + y * imageStride, pixels.begin() + y * imageStride + count);
    }
};

// Opens the bytes as a .tif file and, when announced, loads them into an
// Image whose stride is the announced one or `stride` when given.
Loaded Open(const std::vector<uint8_t>& file, int stride = 0) {
    Loaded result;
    test::MessageRecorder recorder;
    ClearError();
    const std::string path = test::WriteTempFile("reader-test.tif", file);
    ImageImpFile imp(path.c_str(), nullptr, false);
    result.ready = imp.ready;
    result.place = g_errorPlace;
    result.text = g_errorText;
    result.width = imp.width;
    result.height = imp.height;
    result.depth = imp.depth;
    result.stride = imp.stride;
    result.colourModel = imp.colourModel;
    result.compression = imp.compression;
    if (imp.palette) result.palette.assign(imp.palette, imp.palette + kPaletteBytes);
    if (imp.ready) {
        Image image(imp.width, imp.height, stride ? stride : imp.stride, imp.rows, imp.palette, imp.depth);
        test::RecordingProgress progress;
        EXPECT_TRUE(Load(&imp, &image, &progress, false));
        result.imageStride = image.stride;
        result.pixels.assign(image.pixels, image.pixels + image.PixelBytes());
        result.progress = progress.events;
    }
    result.messages = recorder.messages;
    return result;
}

// The common frame of a one-strip 8-bit grey picture whose pixels are `data`.
TiffBuilder Grey8(uint32_t width, uint32_t height, const std::vector<uint8_t>& data, bool bigEndian = false) {
    TiffBuilder tiff(bigEndian);
    const uint32_t at = tiff.Data(data);
    tiff.Entry(kWidth, kShort, 1, width)
        .Entry(kLength, kShort, 1, height)
        .Entry(kBitsPerSample, kShort, 1, 8)
        .Entry(kPhotometric, kShort, 1, 1)
        .Entry(kStripOffsets, kLong, 1, at);
    return tiff;
}

using Bytes = std::vector<uint8_t>;

// ---------------------------------------------------------------------------
// Header and directory.

TEST(TiffReader, ReadsLittleAndBigEndianFiles) {
    for (bool bigEndian : {false, true}) {
        const Loaded l = Open(Grey8(3, 2, {1, 2, 3, 4, 5, 6}, bigEndian).Build());
        ASSERT_TRUE(l.ready) << l.text;
        EXPECT_EQ(l.width, 3);
        EXPECT_EQ(l.height, 2);
        EXPECT_EQ(l.depth, 8);
        EXPECT_EQ(l.stride, 3);
        EXPECT_EQ(l.colourModel, kColourGrey);
        EXPECT_EQ(l.compression, "Raw");
        EXPECT_EQ(l.Row(0, 3), (Bytes{1, 2, 3}));
        EXPECT_EQ(l.Row(1, 3), (Bytes{4, 5, 6}));
    }
}

TEST(TiffReader, WidthAndHeightAsLongValues) {
    TiffBuilder tiff(true);
    const uint32_t at = tiff.Data({9, 8, 7, 6});
    tiff.Entry(kWidth, kLong, 1, 2).Entry(kLength, kLong, 1, 2).Entry(kBitsPerSample, kShort, 1, 8)
        .Entry(kStripOffsets, kShort, 1, at);
    const Loaded l = Open(tiff.Build());
    ASSERT_TRUE(l.ready) << l.text;
    EXPECT_EQ(l.width, 2);
    EXPECT_EQ(l.height, 2);
    EXPECT_EQ(l.Row(1, 2), (Bytes{7, 6}));
}

TEST(TiffReader, StrideTooLargeForTheRecordBecomesTheLargestOne) {
    // 0x55555556 RGB pixels a row are 0x100000002 bytes: the stride must not
    // wrap round to 2.
    TiffBuilder tiff;
    const uint32_t bits = tiff.Shorts({8, 8, 8});
    tiff.Entry(kWidth, kLong, 1, 0x55555556)
        .Entry(kLength, kShort, 1, 1)
        .Entry(kBitsPerSample, kShort, 3, bits)
        .Entry(kSamplesPerPixel, kShort, 1, 3)
        .Entry(kPhotometric, kShort, 1, 2)
        .Entry(kStripOffsets, kLong, 1, 8);
    const std::string path = test::WriteTempFile("wide.tif", tiff.Build());
    ImageImpFile imp(path.c_str(), nullptr, false);
    ASSERT_TRUE(imp.ready) << g_errorText;
    EXPECT_EQ(imp.width, 0x55555556);
    EXPECT_EQ(imp.stride, INT32_MAX);
}

TEST(TiffReader, SomethingThatIsNotTiffIsNotRecognised) {
    const std::string path = test::WriteTempFile("not-tiff.tif", {'X', 'X', 42, 0, 8, 0, 0, 0});
    ImageImpFile imp(path.c_str(), nullptr, false);
    EXPECT_FALSE(imp.ready);
    EXPECT_STREQ(g_errorText, "Not a supported image format");
    // The reader itself says why and leaves the ready flag clear.
    ClearError();
    EXPECT_FALSE(vti_TIF(&imp));
    EXPECT_FALSE(imp.ready);
    EXPECT_STREQ(g_errorPlace, "vti_TIF");
    EXPECT_STREQ(g_errorText, "Not a TIFF file!");
}

TEST(TiffReader, OtherVersionsAreRefused) {
    Bytes file = Grey8(1, 1, {0}).Build();
    file[2] = 43;  // the big-TIFF version
    const Loaded l = Open(file);
    EXPECT_FALSE(l.ready);
    EXPECT_EQ(l.place, "vti_TIF");
    EXPECT_EQ(l.text, "Unknown TIFF version!");
}

TEST(TiffReader, DirectoryOffsetAtOrPastTheEndIsCorrupt) {
    Bytes file = Grey8(1, 1, {0}).Build();
    const uint32_t size = static_cast<uint32_t>(file.size());
    std::memcpy(&file[4], &size, 4);  // little-endian host and file
    const Loaded l = Open(file);
    EXPECT_FALSE(l.ready);
    EXPECT_EQ(l.place, "vti_TIF");
    EXPECT_EQ(l.text, "Corrupted TIFF file");
}

TEST(TiffReader, AMultiPageFileShowsItsFirstPageOnly) {
    TiffBuilder tiff;
    const uint32_t first = tiff.Data({11, 12});
    const uint32_t second = tiff.Data({21, 22, 23, 24});
    tiff.Entry(kWidth, kShort, 1, 2).Entry(kLength, kShort, 1, 1).Entry(kBitsPerSample, kShort, 1, 8)
        .Entry(kStripOffsets, kLong, 1, first)
        .NextDirectory()
        .Entry(kWidth, kShort, 1, 4).Entry(kLength, kShort, 1, 1).Entry(kBitsPerSample, kShort, 1, 8)
        .Entry(kStripOffsets, kLong, 1, second);
    const Loaded l = Open(tiff.Build());
    ASSERT_TRUE(l.ready) << l.text;
    EXPECT_EQ(l.width, 2);
    EXPECT_EQ(l.Row(0, 2), (Bytes{11, 12}));
}

TEST(TiffReader, NoStripOffsetsMeansNoImage) {
    TiffBuilder tiff;
    tiff.Entry(kWidth, kShort, 1, 2).Entry(kLength, kShort, 1, 2).Entry(kBitsPerSample, kShort, 1, 8)
        .Entry(322, kShort, 1, 16)   // TileWidth
        .Entry(324, kLong, 1, 8);    // TileOffsets
    const Loaded l = Open(tiff.Build());
    EXPECT_FALSE(l.ready);
    EXPECT_EQ(l.place, "vti_TIF");
    EXPECT_EQ(l.text, "No image found in this file!");
}

TEST(TiffReader, UnknownTagsAreSkipped) {
    TiffBuilder tiff = Grey8(2, 1, {5, 6});
    tiff.Entry(305, 2, 20, 8).Entry(40000, kLong, 7, 0xFFFFFFFF);
    const Loaded l = Open(tiff.Build());
    ASSERT_TRUE(l.ready) << l.text;
    EXPECT_EQ(l.Row(0, 2), (Bytes{5, 6}));
}

// ---------------------------------------------------------------------------
// Directory entries that are refused.

Loaded OpenWithExtra(uint16_t tag, uint16_t type, uint32_t count, uint32_t value) {
    TiffBuilder tiff = Grey8(2, 1, {5, 6});
    tiff.Entry(tag, type, count, value);
    return Open(tiff.Build());
}

void ExpectEntryRefused(const Loaded& l, const char* text) {
    EXPECT_FALSE(l.ready);
    EXPECT_EQ(l.place, "tif_ReadIFD");
    EXPECT_EQ(l.text, text);
}

TEST(TiffReader, EntriesWithCountsOrTypesNotAcceptedAreBadTags) {
    ExpectEntryRefused(OpenWithExtra(kWidth, kShort, 2, 2), "Bad TIFF Tag");
    ExpectEntryRefused(OpenWithExtra(kLength, kLong, 0, 2), "Bad TIFF Tag");
    ExpectEntryRefused(OpenWithExtra(kBitsPerSample, kLong, 1, 8), "Bad TIFF Tag");
    ExpectEntryRefused(OpenWithExtra(kCompression, kShort, 2, 1), "Bad TIFF Tag");
    ExpectEntryRefused(OpenWithExtra(kPhotometric, kShort, 3, 1), "Bad TIFF Tag");
    ExpectEntryRefused(OpenWithExtra(kStripOffsets, kByte, 1, 8), "Bad TIFF Tag");
    ExpectEntryRefused(OpenWithExtra(kSamplesPerPixel, kShort, 0, 1), "Bad TIFF Tag");
    ExpectEntryRefused(OpenWithExtra(kRowsPerStrip, kLong, 2, 1), "Bad TIFF Tag");
    ExpectEntryRefused(OpenWithExtra(kStripByteCounts, 5, 1, 2), "Bad TIFF Tag");
    ExpectEntryRefused(OpenWithExtra(kPlanar, kShort, 2, 1), "Bad TIFF Tag");
    ExpectEntryRefused(OpenWithExtra(kColorMap, kLong, 768, 8), "Bad TIFF Tag");
}

TEST(TiffReader, TheFuzzFoundHugeWidthBeforeABadTagIsRefused) {
    // Width 1728053264, then an entry that is not accepted: the file is
    // refused, and the width it leaves behind gives no stride that wraps.
    const std::vector<uint8_t> file = test::ReadFile(
        std::string(VANTIREL_SOURCE_DIR) + "/tests/data/fuzz/tiff-bad-tag-after-huge-width.tif");
    ASSERT_FALSE(file.empty());
    const std::string path = test::WriteTempFile("regression.tif", file);
    ClearError();
    ImageImpFile imp(path.c_str(), nullptr, false);
    EXPECT_FALSE(imp.ready);
    EXPECT_EQ(imp.width, 1728053264);
    EXPECT_EQ(imp.stride, INT32_MAX);
    EXPECT_STREQ(g_errorPlace, "tif_ReadIFD");
    EXPECT_STREQ(g_errorText, "Bad TIFF Tag");
}

TEST(TiffReader, PredictorTypeAndCountAreNotChecked) {
    const Loaded l = OpenWithExtra(kPredictor, kLong, 5, 1);
    EXPECT_TRUE(l.ready) << l.text;
}

TEST(TiffReader, CompressionsOtherThanNoneLzwAndPackBitsAreRefused) {
    for (uint32_t ccitt : {2u, 3u, 4u})
        ExpectEntryRefused(OpenWithExtra(kCompression, kShort, 1, ccitt), "CCITT fax compression(s) not supported");
    ExpectEntryRefused(OpenWithExtra(kCompression, kShort, 1, 6), "JPEG-IN-A-TIFF not supported");
    for (uint32_t other : {0u, 7u, 8u, 32946u, 32809u})
        ExpectEntryRefused(OpenWithExtra(kCompression, kShort, 1, other), "Unknown compression scheme");
}

TEST(TiffReader, CompressionTextNamesLzwAndPackBits) {
    EXPECT_EQ(OpenWithExtra(kCompression, kShort, 1, 1).compression, "Raw");
    EXPECT_EQ(OpenWithExtra(kCompression, kShort, 1, 5).compression, "LZW");
    EXPECT_EQ(OpenWithExtra(kCompression, kShort, 1, 32773).compression, "RLE");
}

// ---------------------------------------------------------------------------
// BitsPerSample, SamplesPerPixel, PlanarConfiguration.

Loaded OpenRgbWithBits(const std::vector<uint16_t>& bits) {
    TiffBuilder tiff;
    const uint32_t pixels = tiff.Data({1, 2, 3, 4, 5, 6});
    const uint32_t bitsAt = tiff.Shorts(bits);
    tiff.Entry(kWidth, kShort, 1, 2).Entry(kLength, kShort, 1, 1)
        .Entry(kBitsPerSample, kShort, static_cast<uint32_t>(bits.size()), bitsAt)
        .Entry(kPhotometric, kShort, 1, 2).Entry(kSamplesPerPixel, kShort, 1, 3)
        .Entry(kStripOffsets, kLong, 1, pixels);
    return Open(tiff.Build());
}

TEST(TiffReader, BitsPerSampleOfEightEightEightLoads) {
    const Loaded l = OpenRgbWithBits({8, 8, 8});
    ASSERT_TRUE(l.ready) << l.text;
    EXPECT_EQ(l.depth, 24);
    EXPECT_EQ(l.stride, 6);
    // Red, green, blue in the file; blue, green, red in the image.
    EXPECT_EQ(l.Row(0, 6), (Bytes{3, 2, 1, 6, 5, 4}));
}

TEST(TiffReader, BitsPerSampleWhoseLastTwoAddUpToZeroOrTwiceTheFirstLoads) {
    EXPECT_TRUE(OpenRgbWithBits({8, 0, 0}).ready);
    EXPECT_TRUE(OpenRgbWithBits({8, 4, 12}).ready);  // loose on purpose
}

TEST(TiffReader, BitsPerSampleOfEightEightFourIsRefused) {
    ExpectEntryRefused(OpenRgbWithBits({8, 8, 4}), "Can't handle different bits per pixel per color component");
}

TEST(TiffReader, BitsPerSampleWithTwoOrFourValuesIsRefused) {
    ExpectEntryRefused(OpenRgbWithBits({8, 8}), "Unsupported bits per sample");
    ExpectEntryRefused(OpenRgbWithBits({8, 8, 8, 8}), "Unsupported bits per sample");
}

TEST(TiffReader, LayoutsOutsideTheSubsetAreRefused) {
    auto open = [](uint32_t bits, uint32_t samples, uint32_t planar) {
        TiffBuilder tiff = Grey8(2, 1, {5, 6});
        tiff.Entry(kBitsPerSample, kShort, 1, bits).Entry(kSamplesPerPixel, kShort, 1, samples)
            .Entry(kPlanar, kShort, 1, planar);
        return Open(tiff.Build());
    };
    auto expect = [](const Loaded& l, const char* text) {
        EXPECT_FALSE(l.ready);
        EXPECT_EQ(l.place, "vti_TIF");
        EXPECT_EQ(l.text, text);
    };
    expect(open(8, 1, 2), "Unsupported planar configuration");
    expect(open(3, 1, 1), "Unsupported bitdepth for monoplanar image");
    expect(open(16, 1, 1), "Unsupported bitdepth for monoplanar image");
    expect(open(8, 2, 1), "Unsupported number of image planes");
    expect(open(8, 4, 1), "Unsupported number of image planes");
    expect(open(16, 3, 1), "Unsupported bitdepth for triplanar image");
    expect(open(4, 3, 1), "Unsupported bitdepth for triplanar image");
    expect(open(8, 3, 3), "Unsupported planar configuration");
    // Only the low 8 bits of SamplesPerPixel count: 259 is 3.
    EXPECT_TRUE(open(8, 259, 1).ready);
}

// ---------------------------------------------------------------------------
// Photometric interpretation and the colour map.

TEST(TiffReader, PhotometricInterpretationChoosesTheColourModel) {
    const std::pair<uint32_t, int32_t> cases[] = {{0, kColourGreyInverted}, {1, kColourGrey}, {4, kColourGrey}};
    for (const auto& [photometric, model] : cases) {
        TiffBuilder tiff = Grey8(2, 1, {0, 255});
        tiff.Entry(kPhotometric, kShort, 1, photometric);
        const Loaded l = Open(tiff.Build());
        ASSERT_TRUE(l.ready) << l.text;
        EXPECT_EQ(l.colourModel, model) << photometric;
    }
    // White is zero: the ramp runs from white down.
    TiffBuilder tiff = Grey8(2, 1, {0, 255});
    tiff.Entry(kPhotometric, kShort, 1, 0);
    const Loaded l = Open(tiff.Build());
    EXPECT_EQ(l.palette[0], 255);
    EXPECT_EQ(l.palette[3 * 255], 0);
}

TEST(TiffReader, UnknownPhotometricInterpretationWarnsAndKeepsTheModel) {
    TiffBuilder tiff = Grey8(2, 1, {5, 6});
    tiff.Entry(kPhotometric, kShort, 1, 9);
    const Loaded l = Open(tiff.Build());
    ASSERT_TRUE(l.ready) << l.text;
    EXPECT_EQ(l.colourModel, kColourGrey);
    ASSERT_EQ(l.messages.size(), 1u);
    EXPECT_EQ(l.messages[0].first, "Attention!");
    EXPECT_EQ(l.messages[0].second, "Warning! Unknown photometeric interpretation");
}

TEST(TiffReader, PaletteWithoutColorMapIsRefusedByTheDispatcher) {
    TiffBuilder tiff = Grey8(2, 1, {5, 6});
    tiff.Entry(kPhotometric, kShort, 1, 3);
    const Loaded l = Open(tiff.Build());
    EXPECT_FALSE(l.ready);
    EXPECT_EQ(l.place, "ImageImpFile()");
    EXPECT_EQ(l.text, "No colormap in file");
}

TEST(TiffReader, ColorMapOf48ShortsForA4BitImageFillsEntries0To15) {
    TiffBuilder tiff;
    const uint32_t pixels = tiff.Data({0x0F, 0xA5});  // 4 pixels: 0, 15, 10, 5
    std::vector<uint16_t> map;
    for (int component = 0; component < 3; ++component)
        for (int i = 0; i < 16; ++i) map.push_back(static_cast<uint16_t>(((component * 16 + i) << 8) | 0xFF));
    const uint32_t mapAt = tiff.Shorts(map);
    tiff.Entry(kWidth, kShort, 1, 4).Entry(kLength, kShort, 1, 1).Entry(kBitsPerSample, kShort, 1, 4)
        .Entry(kPhotometric, kShort, 1, 3).Entry(kStripOffsets, kLong, 1, pixels)
        .Entry(kColorMap, kShort, 48, mapAt);
    const Loaded l = Open(tiff.Build());
    ASSERT_TRUE(l.ready) << l.text;
    EXPECT_EQ(l.colourModel, kColourAsStored);
    ASSERT_EQ(l.palette.size(), 768u);
    for (int i = 0; i < 16; ++i) {
        EXPECT_EQ(l.palette[3 * i], i);            // high byte of the red value
        EXPECT_EQ(l.palette[3 * i + 1], 16 + i);   // green
        EXPECT_EQ(l.palette[3 * i + 2], 32 + i);   // blue
    }
    for (int i = 16 * 3; i < 768; ++i) ASSERT_EQ(l.palette[i], 0) << i;
    EXPECT_EQ(l.Row(0, 4), (Bytes{0, 15, 10, 5}));
}

TEST(TiffReader, ColorMapLongerThan768ValuesReadsGreenAndBlueRightBehind256Reds) {
    TiffBuilder tiff;
    const uint32_t pixels = tiff.Data({0, 1});
    // 1536 values: red 0..511, green 512..1023, blue 1024..1535 (value i
    // has high byte i mod 256).
    std::vector<uint16_t> map;
    for (int i = 0; i < 1536; ++i) map.push_back(static_cast<uint16_t>((i % 256) << 8 | (i / 256)));
    const uint32_t mapAt = tiff.Shorts(map);
    tiff.Entry(kWidth, kShort, 1, 2).Entry(kLength, kShort, 1, 1).Entry(kBitsPerSample, kShort, 1, 8)
        .Entry(kPhotometric, kShort, 1, 3).Entry(kStripOffsets, kLong, 1, pixels)
        .Entry(kColorMap, kShort, 1536, mapAt);
    const Loaded l = Open(tiff.Build());
    ASSERT_TRUE(l.ready) << l.text;
    // Entry 5: red is value 5, green value 256 + 5, blue value 512 + 5,
    // all of which have high byte 5: the thirds (512 + 5, 1024 + 5) are not
    // where green and blue come from. Tell them apart by the low byte.
    for (int i = 0; i < 256; ++i) {
        EXPECT_EQ(l.palette[3 * i], i);
        EXPECT_EQ(l.palette[3 * i + 1], i);
        EXPECT_EQ(l.palette[3 * i + 2], i);
    }
    // Were green read from value 512 on, entry 1 would still be 1; so check
    // with a map whose runs differ.
    TiffBuilder second;
    const uint32_t pixels2 = second.Data({0, 1});
    std::vector<uint16_t> runs(1536);
    for (int i = 0; i < 1536; ++i) runs[i] = static_cast<uint16_t>((i / 256 + 1) * 0x1000);
    const uint32_t runsAt = second.Shorts(runs);
    second.Entry(kWidth, kShort, 1, 2).Entry(kLength, kShort, 1, 1).Entry(kBitsPerSample, kShort, 1, 8)
        .Entry(kPhotometric, kShort, 1, 3).Entry(kStripOffsets, kLong, 1, pixels2)
        .Entry(kColorMap, kShort, 1536, runsAt);
    const Loaded m = Open(second.Build());
    ASSERT_TRUE(m.ready) << m.text;
    // Values 0..255 are 0x1000, 256..511 0x2000, 512..767 0x3000.
    EXPECT_EQ(m.palette[0], 0x10);
    EXPECT_EQ(m.palette[1], 0x20);
    EXPECT_EQ(m.palette[2], 0x30);
}

TEST(TiffReader, CmykPassesTheReaderAndIsRefusedByTheDispatcher) {
    TiffBuilder tiff;
    const uint32_t pixels = tiff.Data({1, 2, 3});
    tiff.Entry(kWidth, kShort, 1, 1).Entry(kLength, kShort, 1, 1)
        .Entry(kBitsPerSample, kShort, 1, 8).Entry(kSamplesPerPixel, kShort, 1, 3)
        .Entry(kPhotometric, kShort, 1, 5).Entry(kStripOffsets, kLong, 1, pixels);
    const Loaded l = Open(tiff.Build());
    EXPECT_FALSE(l.ready);
    EXPECT_EQ(l.colourModel, 7);
    EXPECT_EQ(l.place, "ImageImpFile()");
    EXPECT_EQ(l.text, "Unsupported colorspace - can't handle it!");
}

TEST(TiffReader, YCbCrIsConvertedAfterLoading) {
    TiffBuilder tiff;
    const uint32_t pixels = tiff.Data({200, 90, 160, 30, 140, 100});
    tiff.Entry(kWidth, kShort, 1, 2).Entry(kLength, kShort, 1, 1)
        .Entry(kBitsPerSample, kShort, 1, 8).Entry(kSamplesPerPixel, kShort, 1, 3)
        .Entry(kPhotometric, kShort, 1, 6).Entry(kStripOffsets, kLong, 1, pixels);
    const Loaded l = Open(tiff.Build());
    ASSERT_TRUE(l.ready) << l.text;
    EXPECT_EQ(l.colourModel, kColourYCbCr);
    // The reader swaps the first and third sample like any three-sample
    // file; the dispatcher then converts the bytes as they lie.
    Bytes expected{160, 90, 200, 100, 140, 30};
    jpegConvertYCbCr(expected.data(), 6, 2, 1);
    EXPECT_EQ(l.Row(0, 6), expected);
    EXPECT_NE(l.Row(0, 6), (Bytes{160, 90, 200, 100, 140, 30}));
}

// ---------------------------------------------------------------------------
// Strips.

TEST(TiffReader, WithoutRowsPerStripTheWholeImageIsOneStrip) {
    // PackBits: one run of 6 bytes is the whole 3 x 2 picture; were a strip
    // one row, the second row would be decoded from the byte behind it.
    TiffBuilder tiff;
    const uint32_t at = tiff.Data({0xFB, 7, 0x02, 1, 2, 3});
    tiff.Entry(kWidth, kShort, 1, 3).Entry(kLength, kShort, 1, 2).Entry(kBitsPerSample, kShort, 1, 8)
        .Entry(kCompression, kShort, 1, 32773).Entry(kStripOffsets, kShort, 1, at);
    const Loaded l = Open(tiff.Build());
    ASSERT_TRUE(l.ready) << l.text;
    EXPECT_EQ(l.Row(0, 3), (Bytes{7, 7, 7}));
    EXPECT_EQ(l.Row(1, 3), (Bytes{7, 7, 7}));
}

TEST(TiffReader, ShortStripOffsetsInTheValueFieldOrBehindIt) {
    // Two strips: both SHORTs in the value field.
    {
        TiffBuilder tiff;
        const uint32_t a = tiff.Data({1, 2});
        const uint32_t b = tiff.Data({3, 4});
        tiff.Entry(kWidth, kShort, 1, 2).Entry(kLength, kShort, 1, 2).Entry(kBitsPerSample, kShort, 1, 8)
            .Entry(kRowsPerStrip, kShort, 1, 1)
            .TwoShorts(kStripOffsets, 2, static_cast<uint16_t>(b), static_cast<uint16_t>(a));
        const Loaded l = Open(tiff.Build());
        ASSERT_TRUE(l.ready) << l.text;
        EXPECT_EQ(l.Row(0, 2), (Bytes{3, 4}));
        EXPECT_EQ(l.Row(1, 2), (Bytes{1, 2}));
    }
    // Three strips: the value field holds the offset of three SHORTs.
    {
        TiffBuilder tiff;
        const uint32_t a = tiff.Data({1, 2});
        const uint32_t b = tiff.Data({3, 4});
        const uint32_t c = tiff.Data({5, 6});
        const uint32_t list = tiff.Shorts({static_cast<uint16_t>(c), static_cast<uint16_t>(a), static_cast<uint16_t>(b)});
        tiff.Entry(kWidth, kShort, 1, 2).Entry(kLength, kShort, 1, 3).Entry(kBitsPerSample, kShort, 1, 8)
            .Entry(kRowsPerStrip, kLong, 1, 1).Entry(kStripOffsets, kShort, 3, list);
        const Loaded l = Open(tiff.Build());
        ASSERT_TRUE(l.ready) << l.text;
        EXPECT_EQ(l.Row(0, 2), (Bytes{5, 6}));
        EXPECT_EQ(l.Row(1, 2), (Bytes{1, 2}));
        EXPECT_EQ(l.Row(2, 2), (Bytes{3, 4}));
    }
}

TEST(TiffReader, LongStripOffsetsBehindTheValueField) {
    TiffBuilder tiff(true);
    const uint32_t a = tiff.Data({1, 2, 3, 4});
    const uint32_t b = tiff.Data({5, 6, 7, 8});
    const uint32_t list = tiff.Longs({b, a});
    tiff.Entry(kWidth, kShort, 1, 2).Entry(kLength, kShort, 1, 4).Entry(kBitsPerSample, kShort, 1, 8)
        .Entry(kRowsPerStrip, kShort, 1, 2).Entry(kStripOffsets, kLong, 2, list);
    const Loaded l = Open(tiff.Build());
    ASSERT_TRUE(l.ready) << l.text;
    EXPECT_EQ(l.Row(0, 2), (Bytes{5, 6}));
    EXPECT_EQ(l.Row(1, 2), (Bytes{7, 8}));
    EXPECT_EQ(l.Row(2, 2), (Bytes{1, 2}));
    EXPECT_EQ(l.Row(3, 2), (Bytes{3, 4}));
    EXPECT_TRUE(l.messages.empty());
}

TEST(TiffReader, LongStripOffsetPastTheEndDecodesAllStripsBackToBackFromOffset8) {
    // Three LZW strips of one row each lie back to back from offset 8. The
    // offsets list says strip 0 is at the third strip's data, strip 1 at
    // the first's, and strip 2 is past the end of the file.
    TiffBuilder tiff;
    const uint32_t s0 = tiff.Data(LzwLiterals({1, 2, 3}));
    tiff.Data(LzwLiterals({4, 5, 6}));
    const uint32_t s2 = tiff.Data(LzwLiterals({7, 8, 9}));
    const uint32_t list = tiff.Longs({s2, s0, 0x7FFFFFF0});
    tiff.Entry(kWidth, kShort, 1, 3).Entry(kLength, kShort, 1, 3).Entry(kBitsPerSample, kShort, 1, 8)
        .Entry(kCompression, kShort, 1, 5).Entry(kRowsPerStrip, kShort, 1, 1)
        .Entry(kStripOffsets, kLong, 3, list);
    const Loaded l = Open(tiff.Build());
    ASSERT_TRUE(l.ready) << l.text;
    ASSERT_EQ(l.messages.size(), 1u);
    EXPECT_EQ(l.messages[0].first, "Attention!");
    EXPECT_EQ(l.messages[0].second, "Warning! Invalid strip offset in file - will try to fix it but may crash...");
    EXPECT_EQ(l.Row(0, 3), (Bytes{1, 2, 3}));
    EXPECT_EQ(l.Row(1, 3), (Bytes{4, 5, 6}));
    EXPECT_EQ(l.Row(2, 3), (Bytes{7, 8, 9}));
}

TEST(TiffReader, LzwStripDescribingMoreThanItsRowsKeepsToItsOwnPlace) {
    // Two strips of one 4-pixel row. The first strip's codes describe two
    // rows' worth; the second is short. The first strip's surplus is not
    // written into the second strip's row.
    TiffBuilder tiff;
    const uint32_t s0 = tiff.Data(LzwLiterals({1, 2, 3, 4, 5, 6, 7, 8}));
    const uint32_t s1 = tiff.Data(LzwLiterals({9, 10}));
    const uint32_t list = tiff.Longs({s0, s1});
    tiff.Entry(kWidth, kShort, 1, 4)
        .Entry(kLength, kShort, 1, 2)
        .Entry(kBitsPerSample, kShort, 1, 8)
        .Entry(kCompression, kShort, 1, 5)
        .Entry(kRowsPerStrip, kShort, 1, 1)
        .Entry(kStripOffsets, kLong, 2, list);
    const Loaded l = Open(tiff.Build());
    ASSERT_TRUE(l.ready) << l.text;
    EXPECT_EQ(l.Row(0, 4), (Bytes{1, 2, 3, 4}));
    EXPECT_EQ(l.Row(1, 4), (Bytes{9, 10, 0, 0}));
}

TEST(TiffReader, RepairModeChainsLzwStripsThatFillTheirRowsExactly) {
    // In repair mode every strip starts right behind the previous one's end
    // code; a strip filling exactly its own place still reads that code.
    TiffBuilder tiff;
    tiff.Data(LzwLiterals({1, 2, 3, 4}));
    tiff.Data(LzwLiterals({5, 6, 7, 8}));
    const uint32_t list = tiff.Longs({0x7FFFFFF0, 0});
    tiff.Entry(kWidth, kShort, 1, 4)
        .Entry(kLength, kShort, 1, 2)
        .Entry(kBitsPerSample, kShort, 1, 8)
        .Entry(kCompression, kShort, 1, 5)
        .Entry(kRowsPerStrip, kShort, 1, 1)
        .Entry(kStripOffsets, kLong, 2, list);
    const Loaded l = Open(tiff.Build());
    ASSERT_TRUE(l.ready) << l.text;
    ASSERT_EQ(l.messages.size(), 1u);
    EXPECT_EQ(l.Row(0, 4), (Bytes{1, 2, 3, 4}));
    EXPECT_EQ(l.Row(1, 4), (Bytes{5, 6, 7, 8}));
}

TEST(TiffReader, RepairModeTakesUncompressedStripsAsOneAfterTheOther) {
    TiffBuilder tiff;
    tiff.Data({1, 2, 3, 4, 5, 6});
    const uint32_t list = tiff.Longs({20, 0xFFFFFFFF});
    tiff.Entry(kWidth, kShort, 1, 3).Entry(kLength, kShort, 1, 2).Entry(kBitsPerSample, kShort, 1, 8)
        .Entry(kRowsPerStrip, kShort, 1, 1).Entry(kStripOffsets, kLong, 2, list);
    const Loaded l = Open(tiff.Build());
    ASSERT_TRUE(l.ready) << l.text;
    EXPECT_EQ(l.messages.size(), 1u);
    EXPECT_EQ(l.Row(0, 3), (Bytes{1, 2, 3}));
    EXPECT_EQ(l.Row(1, 3), (Bytes{4, 5, 6}));
}

TEST(TiffReader, EightBitRowsGoStraightIntoThePixelBlockAndAreRespacedFromTheLastRowUp) {
    // Width 5, rows padded to 8 bytes in the image. The strip is copied
    // into the block at 5 bytes a row, then rows move down from the last,
    // each copying its 5 bytes: the padding keeps what lay there before.
    const Bytes data{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15};
    TiffBuilder tiff = Grey8(5, 3, data);
    const Loaded l = Open(tiff.Build(), 8);
    ASSERT_TRUE(l.ready) << l.text;
    EXPECT_EQ(l.stride, 5);
    EXPECT_EQ(l.Row(0, 8), (Bytes{1, 2, 3, 4, 5, 6, 7, 8}));
    EXPECT_EQ(l.Row(1, 8), (Bytes{6, 7, 8, 9, 10, 14, 15, 0}));
    EXPECT_EQ(l.Row(2, 8), (Bytes{11, 12, 13, 14, 15, 0, 0, 0}));
    // No decompression phase for data copied as it is.
    for (const std::string& event : l.progress) EXPECT_EQ(event.find("Decompressing"), std::string::npos);
}

TEST(TiffReader, OneTwoAndFourBitPixelsAreExpandedMostSignificantFirst) {
    auto open = [](uint32_t bits, uint32_t width, const Bytes& data) {
        TiffBuilder tiff;
        const uint32_t at = tiff.Data(data);
        tiff.Entry(kWidth, kShort, 1, width).Entry(kLength, kShort, 1, 2).Entry(kBitsPerSample, kShort, 1, bits)
            .Entry(kPhotometric, kShort, 1, 1).Entry(kStripOffsets, kLong, 1, at);
        return Open(tiff.Build());
    };
    const Loaded one = open(1, 10, {0xA5, 0xC0, 0x3F, 0xFF});
    ASSERT_TRUE(one.ready) << one.text;
    EXPECT_EQ(one.stride, 16);
    EXPECT_EQ(one.Row(0, 10), (Bytes{1, 0, 1, 0, 0, 1, 0, 1, 1, 1}));
    EXPECT_EQ(one.Row(1, 10), (Bytes{0, 0, 1, 1, 1, 1, 1, 1, 1, 1}));
    EXPECT_EQ(one.palette[3], 255);

    const Loaded two = open(2, 5, {0x1B, 0x80, 0xE4, 0x40});
    ASSERT_TRUE(two.ready) << two.text;
    EXPECT_EQ(two.stride, 8);
    EXPECT_EQ(two.Row(0, 5), (Bytes{0, 1, 2, 3, 2}));
    EXPECT_EQ(two.Row(1, 5), (Bytes{3, 2, 1, 0, 1}));
    EXPECT_EQ(two.palette[3 * 1], 85);

    const Loaded four = open(4, 3, {0x12, 0x30, 0xFE, 0xD0});
    ASSERT_TRUE(four.ready) << four.text;
    EXPECT_EQ(four.stride, 4);
    EXPECT_EQ(four.Row(0, 3), (Bytes{1, 2, 3}));
    EXPECT_EQ(four.Row(1, 3), (Bytes{15, 14, 13}));
    EXPECT_EQ(four.palette[3 * 1], 17);
}

TEST(TiffReader, PlanarRowsAreReadAsRedGreenAndBlueRunsOfTheWidth) {
    // Planar configuration 2, one strip of two rows of width 2: the strip is
    // read as 12 bytes, each 6-byte row being R R G G B B.
    TiffBuilder tiff;
    const uint32_t at = tiff.Data({10, 11, 20, 21, 30, 31, 40, 41, 50, 51, 60, 61});
    tiff.Entry(kWidth, kShort, 1, 2).Entry(kLength, kShort, 1, 2).Entry(kBitsPerSample, kShort, 1, 8)
        .Entry(kSamplesPerPixel, kShort, 1, 3).Entry(kPhotometric, kShort, 1, 2)
        .Entry(kPlanar, kShort, 1, 2).Entry(kStripOffsets, kLong, 1, at);
    const Loaded l = Open(tiff.Build());
    ASSERT_TRUE(l.ready) << l.text;
    EXPECT_EQ(l.Row(0, 6), (Bytes{30, 20, 10, 31, 21, 11}));
    EXPECT_EQ(l.Row(1, 6), (Bytes{60, 50, 40, 61, 51, 41}));
}

// ---------------------------------------------------------------------------
// Compression and the predictor.

TiffBuilder GreyWithPredictor(uint32_t compression, const Bytes& stripData) {
    TiffBuilder tiff;
    const uint32_t at = tiff.Data(stripData);
    tiff.Entry(kWidth, kShort, 1, 4).Entry(kLength, kShort, 1, 1).Entry(kBitsPerSample, kShort, 1, 8)
        .Entry(kCompression, kShort, 1, compression).Entry(kPredictor, kShort, 1, 2)
        .Entry(kStripOffsets, kLong, 1, at);
    return tiff;
}

TEST(TiffReader, PredictorTwoIsUndoneForLzw) {
    const Loaded l = Open(GreyWithPredictor(5, LzwLiterals({10, 1, 1, 1})).Build());
    ASSERT_TRUE(l.ready) << l.text;
    EXPECT_EQ(l.Row(0, 4), (Bytes{10, 11, 12, 13}));
    EXPECT_EQ(l.progress, (std::vector<std::string>{"Decompressing@0", "De-predicting@0", "@100"}));
}

TEST(TiffReader, PredictorTwoWithPackBitsLeavesTheDifferences) {
    const Loaded l = Open(GreyWithPredictor(32773, {3, 10, 1, 1, 1}).Build());
    ASSERT_TRUE(l.ready) << l.text;
    EXPECT_EQ(l.Row(0, 4), (Bytes{10, 1, 1, 1}));
    EXPECT_EQ(l.progress, (std::vector<std::string>{"Decompressing@0", "@100"}));
}

TEST(TiffReader, PredictorTwoWithUncompressedDataLeavesTheDifferences) {
    const Loaded l = Open(GreyWithPredictor(1, {10, 1, 1, 1}).Build());
    ASSERT_TRUE(l.ready) << l.text;
    EXPECT_EQ(l.Row(0, 4), (Bytes{10, 1, 1, 1}));
}

TEST(TiffReader, PredictorThreeWarnsAndLoadingGoesOn) {
    TiffBuilder tiff = Grey8(2, 1, {5, 6});
    tiff.Entry(kPredictor, kShort, 1, 3);
    const Loaded l = Open(tiff.Build());
    ASSERT_TRUE(l.ready) << l.text;
    ASSERT_EQ(l.messages.size(), 1u);
    EXPECT_EQ(l.messages[0].second, "Warning! Unknown predictor!");
    EXPECT_EQ(l.Row(0, 2), (Bytes{5, 6}));
}

TEST(TiffReader, RgbLzwWithPredictorKeepsThreeSums) {
    TiffBuilder tiff;
    const uint32_t at = tiff.Data(LzwLiterals({100, 50, 25, 1, 2, 3, 1, 2, 3}));
    tiff.Entry(kWidth, kShort, 1, 3).Entry(kLength, kShort, 1, 1).Entry(kBitsPerSample, kShort, 1, 8)
        .Entry(kSamplesPerPixel, kShort, 1, 3).Entry(kPhotometric, kShort, 1, 2)
        .Entry(kCompression, kShort, 1, 5).Entry(kPredictor, kShort, 1, 2).Entry(kStripOffsets, kLong, 1, at);
    const Loaded l = Open(tiff.Build());
    ASSERT_TRUE(l.ready) << l.text;
    EXPECT_EQ(l.Row(0, 9), (Bytes{25, 50, 100, 28, 52, 101, 31, 54, 102}));
    EXPECT_EQ(l.progress,
              (std::vector<std::string>{"Decompressing@0", "Converting@0", "De-predicting@0", "@100"}));
}

TEST(TiffReader, ProgressMovesAfterEveryEighthStrip) {
    // 17 one-row strips: positions 7 and 15 of 16 are reported.
    TiffBuilder tiff;
    std::vector<uint32_t> offsets;
    for (int i = 0; i < 17; ++i) offsets.push_back(tiff.Data({static_cast<uint8_t>(i)}));
    const uint32_t list = tiff.Longs(offsets);
    tiff.Entry(kWidth, kShort, 1, 1).Entry(kLength, kShort, 1, 17).Entry(kBitsPerSample, kShort, 1, 8)
        .Entry(kRowsPerStrip, kShort, 1, 1).Entry(kStripOffsets, kLong, 17, list);
    const Loaded l = Open(tiff.Build());
    ASSERT_TRUE(l.ready) << l.text;
    EXPECT_EQ(l.progress, (std::vector<std::string>{"@43", "@93", "@100"}));
    for (int i = 0; i < 17; ++i) EXPECT_EQ(l.Row(i, 1), (Bytes{static_cast<uint8_t>(i)}));
}

TEST(TiffReader, AnUncompressedColourStripCutShortSwapsItsLastPixelWhole) {
    // One strip of two rows of four RGB pixels whose (SHORT, unchecked)
    // offset leaves only the file's last 10 or 11 bytes for it: three whole
    // pixels, then a pixel of one or two bytes and zeros. Red and blue are
    // swapped in every pixel as after a plain copy, the partial one too.
    for (uint16_t cut : {10, 11}) {
        for (int extraStride : {0, 4}) {
            const auto build = [](uint16_t offset) {
                TiffBuilder tiff;
                tiff.Entry(kWidth, kShort, 1, 4).Entry(kLength, kShort, 1, 2)
                    .Entry(kBitsPerSample, kShort, 1, 8).Entry(kSamplesPerPixel, kShort, 1, 3)
                    .Entry(kPhotometric, kShort, 1, 2).Entry(kStripOffsets, kShort, 1, offset);
                return tiff.Build();
            };
            const Bytes file = build(static_cast<uint16_t>(build(0).size() - cut));
            const Loaded l = Open(file, extraStride ? 12 + extraStride : 0);
            ASSERT_TRUE(l.ready) << l.text;
            Bytes strip(file.end() - cut, file.end());
            strip.resize(24, 0);
            Bytes expected(24);
            for (int p = 0; p < 8; ++p) {
                expected[3 * p] = strip[3 * p + 2];
                expected[3 * p + 1] = strip[3 * p + 1];
                expected[3 * p + 2] = strip[3 * p];
            }
            EXPECT_EQ(l.Row(0, 12), Bytes(expected.begin(), expected.begin() + 12)) << cut;
            EXPECT_EQ(l.Row(1, 12), Bytes(expected.begin() + 12, expected.end())) << cut;
            // The partial pixel: its one or two bytes at the far end.
            EXPECT_EQ(l.Row(0, 12)[9], 0);
            EXPECT_EQ(l.Row(0, 12)[11], file[file.size() - cut + 9]);
        }
    }
}

TEST(TiffReader, StripsPastTheEndOfTheFileLeaveTheirRowsEmpty) {
    // SHORT offsets are not checked; strip data that is not there is not
    // read.
    TiffBuilder tiff;
    const uint32_t a = tiff.Data(LzwLiterals({1, 2}));
    tiff.Entry(kWidth, kShort, 1, 2).Entry(kLength, kShort, 1, 2).Entry(kBitsPerSample, kShort, 1, 8)
        .Entry(kCompression, kShort, 1, 5).Entry(kRowsPerStrip, kShort, 1, 1)
        .TwoShorts(kStripOffsets, 2, static_cast<uint16_t>(a), 60000);
    const Loaded l = Open(tiff.Build());
    ASSERT_TRUE(l.ready) << l.text;
    EXPECT_TRUE(l.messages.empty());
    EXPECT_EQ(l.Row(0, 2), (Bytes{1, 2}));
    EXPECT_EQ(l.Row(1, 2), (Bytes{0, 0}));
}

}  // namespace
