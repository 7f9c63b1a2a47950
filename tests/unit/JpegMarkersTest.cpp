// The header probe, the marker scanner and every marker-segment parser:
// what each accepts, and the exact place and message of each refusal.
#include <gtest/gtest.h>

#include <memory>

#include "formats/Readers.h"
#include "jpeg/Markers.h"
#include "jpeg/vti_JPEG.h"
#include "tests/unit/JpegBuilder.h"
#include "tests/unit/JpegTestSupport.h"

using namespace jpegtest;

namespace {

const std::vector<FrameComponent> kGrey = {{1, 1, 1, 0}};
const std::vector<FrameComponent> kColour = {{1, 1, 1, 0}, {2, 1, 1, 0}, {3, 1, 1, 0}};

// An 8x8 greyscale picture whose one block has DC difference `dc`.
Bytes GreyPicture(const Bytes& extra = {}, int dc = 0) {
    const Codes dcCodes(StandardDc()), acCodes(StandardAc());
    BitWriter scan;
    EncodeBlock(&scan, dcCodes, acCodes, dc);
    scan.Flush();
    return Picture(Header(8, 8, kGrey, 1, extra), scan);
}

// Runs the header readers over bytes as the loader does.
struct Parsed {
    std::unique_ptr<JpegState> state{new JpegState()};
    bool fileHeader = false, scanHeader = false;
    std::string place, text;
    explicit Parsed(const Bytes& bytes) : data(bytes) {
        ClearError();
        state->data = data.data();
        state->size = data.size();
        fileHeader = jdReadFileHeader(state.get());
        if (fileHeader) scanHeader = jdReadScanHeader(state.get());
        place = g_errorPlace;
        text = g_errorText;
    }
    ~Parsed() { jpegFreeComponents(state.get()); }
    Bytes data;
};

// Calls the common loader directly, whatever the probe thought of the file.
Decoded LoadDirectly(const Bytes& bytes, const std::string& name, int width, int height,
                     int components) {
    Decoded result;
    const std::string path = test::WriteTempFile(name, bytes);
    ImageImpFile imp(path.c_str(), nullptr, false);
    const int paddedWidth = (width + 31) / 32 * 32, paddedHeight = (height + 31) / 32 * 32;
    result.image.reset(new Image(width, height, paddedWidth * components, paddedHeight, nullptr,
                                 components == 1 ? 8 : 24));
    ClearError();
    result.loaded = jpegLoad(&imp, result.image.get(), nullptr, false);
    result.place = g_errorPlace;
    result.text = g_errorText;
    return result;
}

void ExpectRefused(const Decoded& d, const char* place, const char* text) {
    EXPECT_FALSE(d.identified && d.loaded);
    EXPECT_EQ(d.place, place);
    EXPECT_EQ(d.text, text);
}

class JpegHeaders : public JpegSettings {};

}  // namespace

TEST_F(JpegHeaders, AValidGreyPictureIsAnnouncedWithItsPaddedGeometry) {
    Bytes bytes = Soi();
    Append(&bytes, Dqt(0, 1));
    Append(&bytes, Sof(0xC0, 13, 9, {{1, 2, 2, 0}}));
    Append(&bytes, Eoi());
    const std::string path = test::WriteTempFile("probe-grey.jpg", bytes);
    ImageImpFile imp(path.c_str(), nullptr, false);
    ASSERT_TRUE(imp.ready) << g_errorText;
    EXPECT_EQ(imp.width, 13);
    EXPECT_EQ(imp.height, 9);
    EXPECT_EQ(imp.depth, 8);
    EXPECT_EQ(imp.stride, 16);  // rounded up to 8 * Hmax
    EXPECT_EQ(imp.rows, 16);
    EXPECT_EQ(imp.colourModel, kColourGrey);
    EXPECT_STREQ(imp.compression, "HuffDCT");
    EXPECT_STREQ(imp.description, "Joint Photographic Experts Group");
}

TEST_F(JpegHeaders, AColourPictureIsAnnouncedAsYCbCrWithThreeBytesPerPaddedPixel) {
    Bytes bytes = Soi();
    Append(&bytes, Sof(0xC1, 17, 10, {{1, 2, 1, 0}, {2, 1, 1, 0}, {3, 1, 1, 0}}));
    const std::string path = test::WriteTempFile("probe-colour.jpg", bytes);
    ImageImpFile imp(path.c_str(), nullptr, false);
    ASSERT_TRUE(imp.ready) << g_errorText;
    EXPECT_EQ(imp.depth, 24);
    EXPECT_EQ(imp.stride, 32 * 3);
    EXPECT_EQ(imp.rows, 16);
    EXPECT_EQ(imp.colourModel, kColourYCbCr);
}

TEST_F(JpegHeaders, AFileWithoutStartOfImageIsNotRecognised) {
    const Decoded d = DecodeBytes({0xFF, 0xD9, 0xFF, 0xC0}, "no-soi.jpg");
    ExpectRefused(d, "ImageImpFile()", "Not a supported image format");
}

TEST_F(JpegHeaders, TheProbeNamesAFileWithoutStartOfImageAndLeavesItToOtherReaders) {
    const Bytes bytes = {0xFF, 0xD9, 0xFF, 0xC0};
    const std::string path = test::WriteTempFile("probe-no-soi.jpg", bytes);
    ImageImpFile imp(path.c_str(), nullptr, false);
    imp.ready = false;
    ClearError();
    EXPECT_FALSE(vti_JPEG(&imp));
    EXPECT_FALSE(imp.ready);
    EXPECT_STREQ(g_errorPlace, "vti_JPEG");
    EXPECT_STREQ(g_errorText, "Not a JPEG file");
}

TEST_F(JpegHeaders, StartOfImageFollowedByEndOfImageHasNoFrame) {
    const Decoded d = DecodeBytes({0xFF, 0xD8, 0xFF, 0xD9}, "soi-eoi.jpg");
    ExpectRefused(d, "vti_JPEG", "No SOF marker found");
}

TEST_F(JpegHeaders, ASegmentLengthRunningOffTheEndLeavesNoFrame) {
    const Decoded d = DecodeBytes({0xFF, 0xD8, 0xFF, 0xEE, 0x30, 0x30, 0xFF, 0xD9}, "app14.jpg");
    ExpectRefused(d, "vti_JPEG", "No SOF marker found");
}

TEST_F(JpegHeaders, AProgressiveFileIsRefusedByTheProbe) {
    Bytes bytes = Soi();
    Append(&bytes, Sof(0xC2, 8, 8, kGrey));
    ExpectRefused(DecodeBytes(bytes, "progressive.jpg"), "vti_JPEG",
                  "Unsupported non-baseline JPEG format");
}

TEST_F(JpegHeaders, ArithmeticLosslessAndTwelveBitFramesAreRefusedByTheProbe) {
    for (uint8_t marker : {0xC3, 0xC9, 0xCB, 0xCD}) {
        Bytes bytes = Soi();
        Append(&bytes, Sof(marker, 8, 8, kGrey));
        ExpectRefused(DecodeBytes(bytes, "refused.jpg"), "vti_JPEG",
                      "Unsupported non-baseline JPEG format");
    }
    Bytes twelve = Soi();
    Append(&twelve, Sof(0xC1, 8, 8, kGrey, 12));
    ExpectRefused(DecodeBytes(twelve, "twelve.jpg"), "vti_JPEG",
                  "Unsupported non-baseline JPEG format");
}

TEST_F(JpegHeaders, FourComponentsAreRefusedByTheProbe) {
    Bytes bytes = Soi();
    Append(&bytes, Sof(0xC0, 8, 8, {{1, 1, 1, 0}, {2, 1, 1, 0}, {3, 1, 1, 0}, {4, 1, 1, 0}}));
    ExpectRefused(DecodeBytes(bytes, "cmyk.jpg"), "vti_JPEG",
                  "Unsupported non-baseline JPEG format");
}

TEST_F(JpegHeaders, NoReducedDecodeIsOfferedWhenBothFifthsAreBelowTheThumbnailSize) {
    g_settings->idx.iIconX = 80;
    g_settings->idx.iIconY = 60;
    Bytes bytes = Soi();
    Append(&bytes, Sof(0xC0, 399, 299, kGrey));
    const std::string path = test::WriteTempFile("small.jpg", bytes);
    ImageImpFile imp(path.c_str(), nullptr, false);
    ASSERT_TRUE(imp.ready);
    EXPECT_EQ(imp.rowLoader2, imp.rowLoader);
    EXPECT_EQ(imp.width2, 399);
    EXPECT_EQ(imp.height2, 299);
}

TEST_F(JpegHeaders, OneFifthReachingTheThumbnailWidthOffersTheOneEighthDecode) {
    g_settings->idx.iIconX = 80;
    g_settings->idx.iIconY = 60;
    Bytes bytes = Soi();
    Append(&bytes, Sof(0xC0, 400, 17, {{1, 2, 2, 0}, {2, 1, 1, 0}, {3, 1, 1, 0}}));
    const std::string path = test::WriteTempFile("wide.jpg", bytes);
    ImageImpFile imp(path.c_str(), nullptr, false);
    ASSERT_TRUE(imp.ready);
    EXPECT_NE(imp.rowLoader2, imp.rowLoader);
    EXPECT_EQ(imp.width2, 50);
    EXPECT_EQ(imp.height2, 3);
    EXPECT_EQ(imp.stride, 400 * 3);
    EXPECT_EQ(imp.rows, 32);
    EXPECT_EQ(imp.stride2, 50 * 3);
    EXPECT_EQ(imp.rows2, 4);
}

TEST_F(JpegHeaders, OneFifthReachingTheThumbnailHeightOffersTheOneEighthDecode) {
    g_settings->idx.iIconX = 80;
    g_settings->idx.iIconY = 60;
    Bytes bytes = Soi();
    Append(&bytes, Sof(0xC0, 9, 300, kGrey));
    const std::string path = test::WriteTempFile("tall.jpg", bytes);
    ImageImpFile imp(path.c_str(), nullptr, false);
    ASSERT_TRUE(imp.ready);
    EXPECT_NE(imp.rowLoader2, imp.rowLoader);
    EXPECT_EQ(imp.width2, 2);
    EXPECT_EQ(imp.height2, 38);
    EXPECT_EQ(imp.stride2, 2);
    EXPECT_EQ(imp.rows2, 38);
}

TEST_F(JpegHeaders, JfifBeforeTheFrameLeavesTheColourSpaceToTheFrameRule) {
    Bytes bytes = Soi();
    Append(&bytes, Jfif(1));
    Append(&bytes, Sof(0xC0, 8, 8, {{'R', 1, 1, 0}, {'G', 1, 1, 0}, {'B', 1, 1, 0}}));
    Append(&bytes, Sos({'R', 'G', 'B'}));
    Parsed parsed(bytes);
    ASSERT_TRUE(parsed.scanHeader) << parsed.text;
    EXPECT_EQ(parsed.state->colourSpace, kJpegColourRGB);
    EXPECT_EQ(parsed.state->densityUnit, 0);
    EXPECT_EQ(parsed.state->xDensity, 1);
    EXPECT_EQ(parsed.state->yDensity, 1);

    Bytes plain = Soi();
    Append(&plain, Sof(0xC0, 8, 8, kColour));
    Append(&plain, Sos({1, 2, 3}));
    EXPECT_EQ(Parsed(plain).state->colourSpace, kJpegColourYCbCr);
    Bytes grey = Soi();
    Append(&grey, Sof(0xC0, 8, 8, kGrey));
    Append(&grey, Sos({1}));
    EXPECT_EQ(Parsed(grey).state->colourSpace, kJpegColourGrey);
}

TEST_F(JpegHeaders, JfifAndAdobeSegmentsAfterTheFrameSetTheColourSpace) {
    Bytes bytes = Soi();
    Append(&bytes, Sof(0xC0, 8, 8, {{'R', 1, 1, 0}, {'G', 1, 1, 0}, {'B', 1, 1, 0}}));
    Append(&bytes, Jfif(1));
    Append(&bytes, Sos({'R', 'G', 'B'}));
    EXPECT_EQ(Parsed(bytes).state->colourSpace, kJpegColourYCbCr);

    Bytes adobe = Soi();
    Append(&adobe, Sof(0xC0, 8, 8, kColour));
    Append(&adobe, Segment(0xEE, {'A', 'd', 'o', 'b', 'e', 0, 100, 0, 0, 0, 0, 0}));
    Append(&adobe, Sos({1, 2, 3}));
    EXPECT_EQ(Parsed(adobe).state->colourSpace, kJpegColourRGB);
}

TEST_F(JpegHeaders, RedGreenBlueIdentifiersAreStillConvertedAsYCbCr) {
    const Codes dc(StandardDc()), ac(StandardAc());
    BitWriter scan;
    for (int c = 0; c < 3; ++c) EncodeBlock(&scan, dc, ac, 0);
    scan.Flush();
    const Decoded d = DecodeBytes(
        Picture(Header(8, 8, {{'R', 1, 1, 0}, {'G', 1, 1, 0}, {'B', 1, 1, 0}}), scan), "rgb.jpg");
    ASSERT_TRUE(d.loaded) << d.text;
    // Y = Cb = Cr = 128 everywhere: blue 129, green 127, red 129.
    for (int y = 0; y < 8; ++y) {
        for (int x = 0; x < 8; ++x) {
            EXPECT_EQ(d.image->Row(y)[3 * x], 129);
            EXPECT_EQ(d.image->Row(y)[3 * x + 1], 127);
            EXPECT_EQ(d.image->Row(y)[3 * x + 2], 129);
        }
    }
}

TEST_F(JpegHeaders, StrayRestartAndTemMarkersBetweenSegmentsAreIgnored) {
    const Decoded d = DecodeBytes(GreyPicture({0xFF, 0xD3, 0xFF, 0x01, 0x12, 0x34}), "stray.jpg");
    ASSERT_TRUE(d.loaded) << d.text;
    EXPECT_EQ(d.image->Row(7)[7], 128);
}

TEST_F(JpegHeaders, StrayRestartAndTemMarkersBeforeTheFrameAreIgnoredByTheProbeToo) {
    // They have no length field: read as one, the FF 01 that follows
    // would skip 65 kB.
    Bytes bytes = GreyPicture({}, 40);
    const Bytes stray = {0xFF, 0xD5, 0xFF, 0x01, 0xFF, 0xD0};
    bytes.insert(bytes.begin() + 2, stray.begin(), stray.end());
    const Decoded d = DecodeBytes(bytes, "stray-first.jpg");
    ASSERT_TRUE(d.loaded) << d.place << ": " << d.text;
    EXPECT_EQ(d.width, 8);
    EXPECT_EQ(d.image->Row(0)[0], 133);  // 40 / 8
}

TEST_F(JpegHeaders, ExtensionAndReservedMarkersAreFatal) {
    for (uint8_t marker : {0x02, 0x4F, 0xBF, 0xDE, 0xDF, 0xF0, 0xFD}) {
        const Decoded d = DecodeBytes(GreyPicture({0xFF, marker, 0x00, 0x02}), "part3.jpg");
        ExpectRefused(d, "jpegGetTables",
                      "DHP, EXP, JPGn, or RESn found! (JPEG Part 3 extensions not yet supported)");
    }
}

TEST_F(JpegHeaders, HuffmanCountsSummingTo257FailButExactly256Pass) {
    HuffDefinition full;
    full.counts[8] = 255;
    full.counts[9] = 1;
    full.symbols.assign(256, 0);
    const Decoded ok = DecodeBytes(GreyPicture(Dht(1, 3, full)), "dht256.jpg");
    EXPECT_TRUE(ok.loaded) << ok.text;

    HuffDefinition over = full;
    over.counts[9] = 2;
    over.symbols.assign(257, 0);
    ExpectRefused(DecodeBytes(GreyPicture(Dht(1, 3, over)), "dht257.jpg"), "jpegGetDHT",
                  "Bogus DHT count!");
}

TEST_F(JpegHeaders, HuffmanTableIndexOutsideZeroToThreeFails) {
    for (int classIndex : {0x04, 0x14, 0x20}) {
        Bytes body = {static_cast<uint8_t>(classIndex), 1};
        for (int l = 2; l <= 16; ++l) body.push_back(0);
        body.push_back(0);
        ExpectRefused(DecodeBytes(GreyPicture(Segment(0xC4, body)), "dhtindex.jpg"), "jpegGetDHT",
                      "Bogus DHT index");
    }
}

TEST_F(JpegHeaders, QuantisationTableNumberFourFails) {
    ExpectRefused(DecodeBytes(GreyPicture(Dqt(4, 1)), "dqt4.jpg"), "jpegGetDQT",
                  "Bogus table number");
}

TEST_F(JpegHeaders, SixteenBitQuantisationTablesAreReadBigEndian) {
    Bytes body = {0x11};
    for (int k = 0; k < 64; ++k) {
        body.push_back(0x01);
        body.push_back(static_cast<uint8_t>(k));
    }
    Bytes bytes = Soi();
    Append(&bytes, Segment(0xDB, body));
    Append(&bytes, Sof(0xC1, 8, 8, kGrey));
    Append(&bytes, Sos({1}));
    Parsed parsed(bytes);
    ASSERT_TRUE(parsed.scanHeader) << parsed.text;
    EXPECT_EQ(parsed.state->quantTables[1][0], 256u);
    EXPECT_EQ(parsed.state->quantTables[1][63], 256u + 63);
}

TEST_F(JpegHeaders, RestartSegmentOfLengthFiveFailsEvenWithASensibleValue) {
    ExpectRefused(DecodeBytes(GreyPicture(Segment(0xDD, {0x00, 0x01, 0x00})), "dri5.jpg"),
                  "jpegGetDRI", "Bogus length in DRI");
}

TEST_F(JpegHeaders, JfifVersionTwoFailsTheWholeDecode) {
    ExpectRefused(DecodeBytes(GreyPicture(Jfif(2)), "jfif2.jpg"), "jpegGetAPP0",
                  "Unsupported JFIF revision number");
    EXPECT_TRUE(DecodeBytes(GreyPicture(Jfif(1)), "jfif1.jpg").loaded);
}

TEST_F(JpegHeaders, ArithmeticConditioningIsCheckedThoughNeverUsed) {
    ExpectRefused(DecodeBytes(GreyPicture(Segment(0xCC, {32, 0x10})), "dac32.jpg"), "jpegGetDAC",
                  "Bogus DAC index");
    ExpectRefused(DecodeBytes(GreyPicture(Segment(0xCC, {0, 0x0F})), "dacvalue.jpg"), "jpegGetDAC",
                  "Bogus DAC value");
    EXPECT_TRUE(DecodeBytes(GreyPicture(Segment(0xCC, {0, 0xF0, 16, 9})), "dacok.jpg").loaded);
}

TEST_F(JpegHeaders, FrameHeaderChecksHaveTheirOwnMessages) {
    Bytes empty = Soi();
    Append(&empty, Sof(0xC0, 8, 0, kGrey));
    Parsed noHeight(empty);
    EXPECT_EQ(noHeight.place, "jpegGetSOF");
    EXPECT_EQ(noHeight.text, "Empty JPEG image (DNL not supported)");

    Bytes noWidth = Soi();
    Append(&noWidth, Sof(0xC0, 0, 8, kGrey));
    Parsed zeroWidth(noWidth);
    EXPECT_EQ(zeroWidth.place, "jpegGetSOF");
    EXPECT_EQ(zeroWidth.text, "Empty JPEG image (DNL not supported)");

    Bytes noComponents = Soi();
    Append(&noComponents, Sof(0xC0, 8, 8, {}));
    Parsed zeroComponents(noComponents);
    EXPECT_EQ(zeroComponents.place, "jpegGetSOF");
    EXPECT_EQ(zeroComponents.text, "Empty JPEG image (DNL not supported)");

    Bytes twelve = Soi();
    Append(&twelve, Sof(0xC1, 8, 8, kGrey, 12));
    Parsed precision(twelve);
    EXPECT_EQ(precision.place, "jpegGetSOF");
    EXPECT_EQ(precision.text, "Unsupported JPEG data precision!");

    // The probe does not look at the length; the loader does.
    Bytes bytes = GreyPicture();
    const size_t sof = 2 + 69;  // after SOI and DQT
    ASSERT_EQ(bytes[sof + 1], 0xC0);
    bytes[sof + 3] = 12;
    bytes.insert(bytes.begin() + static_cast<ptrdiff_t>(sof) + 13, 0);
    ExpectRefused(DecodeBytes(bytes, "soflength.jpg"), "jpegGetSOF", "Bogus SOF length!");
}

TEST_F(JpegHeaders, ScanHeaderChecksHaveTheirOwnMessages) {
    Bytes fewer = Soi();
    Append(&fewer, Dqt(0, 1));
    Append(&fewer, Sof(0xC0, 8, 8, kColour));
    Append(&fewer, Sos({1}));
    Parsed multiscan(fewer);
    EXPECT_EQ(multiscan.place, "jpegGetSOS");
    EXPECT_EQ(multiscan.text, "Multiscan images not supported");

    Bytes unknown = Soi();
    Append(&unknown, Sof(0xC0, 8, 8, kGrey));
    Append(&unknown, Sos({9}));
    Parsed invalid(unknown);
    EXPECT_EQ(invalid.place, "jpegGetSOS");
    EXPECT_EQ(invalid.text, "Invalid component number in SOS");

    Bytes longer = Soi();
    Append(&longer, Sof(0xC0, 8, 8, kGrey));
    Append(&longer, Segment(0xDA, {1, 1, 0, 0, 63, 0, 0}));
    Parsed bogus(longer);
    EXPECT_EQ(bogus.place, "jpegGetSOS");
    EXPECT_EQ(bogus.text, "Bogus SOS length");
}

TEST_F(JpegHeaders, TheLoaderNamesWhatEndsTheHeaders) {
    Bytes eoi = Soi();
    Append(&eoi, Sof(0xC0, 8, 8, kGrey));
    Append(&eoi, Eoi());
    Parsed premature(eoi);
    EXPECT_EQ(premature.place, "jdReadScanHeader");
    EXPECT_EQ(premature.text, "Premature End Of Image!");

    Bytes twice = Soi();
    Append(&twice, Sof(0xC0, 8, 8, kGrey));
    Append(&twice, Sof(0xC0, 8, 8, kGrey));
    Parsed unexpected(twice);
    EXPECT_EQ(unexpected.place, "jdReadScanHeader");
    EXPECT_EQ(unexpected.text, "Unexpected marker");

    Parsed notJpeg(Bytes{0xFF, 0xD9});
    EXPECT_EQ(notJpeg.place, "jdReadFileHeader");
    EXPECT_EQ(notJpeg.text, "Not a JPEG file!");

    Bytes progressive = Soi();
    Append(&progressive, Sof(0xC2, 8, 8, kGrey));
    Parsed unsupported(progressive);
    EXPECT_EQ(unsupported.place, "jdReadFileHeader");
    EXPECT_EQ(unsupported.text, "Unsupported SOF marker");

    Bytes truncated = Soi();
    Append(&truncated, Sof(0xC0, 8, 8, kGrey));
    Append(&truncated, Bytes{0xFF, 0xC4, 0x00, 0x20, 0x00, 0x01});
    Parsed shortDht(truncated);
    EXPECT_EQ(shortDht.place, "jpegGetDHT");
    EXPECT_EQ(shortDht.text, "Premature End Of Image!");

    Bytes nothing = Soi();
    Append(&nothing, Sof(0xC0, 8, 8, kGrey));
    Append(&nothing, Bytes{0x12, 0x34});
    Parsed ranOut(nothing);
    EXPECT_EQ(ranOut.place, "jpegGetTables");
    EXPECT_EQ(ranOut.text, "Premature End Of Image!");
}

TEST_F(JpegHeaders, ArithmeticAndDifferentialFramesReachTheLoaderChecks) {
    Bytes arithmetic = GreyPicture();
    arithmetic[2 + 69 + 1] = 0xC9;  // SOF0 becomes SOF9
    Decoded d = LoadDirectly(arithmetic, "arith.jpg", 8, 8, 1);
    EXPECT_FALSE(d.loaded);
    EXPECT_EQ(d.place, "vti_JPEG");
    EXPECT_EQ(d.text, "Sorry, there are legal restrictions on arithmetic coding!");

    Bytes differential = GreyPicture();
    differential[2 + 69 + 1] = 0xC5;
    d = LoadDirectly(differential, "dpcm.jpg", 8, 8, 1);
    EXPECT_FALSE(d.loaded);
    EXPECT_EQ(d.place, "jSelDMCU");
    EXPECT_EQ(d.text, "DPCM not supported");
}

TEST_F(JpegHeaders, SamplingFactorsOutsideOneToFourFail) {
    for (int h : {0, 5}) {
        const Codes dc(StandardDc()), ac(StandardAc());
        BitWriter scan;
        EncodeBlock(&scan, dc, ac, 0);
        scan.Flush();
        const Decoded d = DecodeBytes(Picture(Header(8, 8, {{1, h, 1, 0}}), scan), "factor.jpg");
        ExpectRefused(d, "jpeg::InitialSetup", "Bogus sampling factors!");
    }
}

TEST(JpegMarkerScan, SkipsJunkFillBytesAndStuffedZeros) {
    const Bytes bytes = {0x12, 0xFF, 0x00, 0x34, 0xFF, 0xFF, 0xFF, 0xC4, 0x56};
    size_t cursor = 0;
    EXPECT_EQ(jpeg::NextMarker(bytes.data(), bytes.size(), &cursor), 0xC4);
    EXPECT_EQ(cursor, 8u);
    EXPECT_EQ(jpeg::NextMarker(bytes.data(), bytes.size(), &cursor), jpeg::kNoMarker);
    const Bytes endsInFill = {0x00, 0xFF, 0xFF};
    cursor = 0;
    EXPECT_EQ(jpeg::NextMarker(endsInFill.data(), endsInFill.size(), &cursor), jpeg::kNoMarker);
    EXPECT_EQ(cursor, 3u);
}
