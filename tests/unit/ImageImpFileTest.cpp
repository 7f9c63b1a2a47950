// The import dispatcher, driven by a table of test readers whose behaviour
// each test chooses, and by the real table on bitmap files.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "core/Error.h"
#include "core/Image.h"
#include "core/ImageImpFile.h"
#include "core/ImportFormats.h"
#include "tests/support/TestSupport.h"

namespace {

// What the test readers do when identify is called.
struct Script {
    int32_t width = 4, height = 3, depth = 8, stride = -1;
    int32_t colourModel = 0;
    bool recognise = true;
    bool accept = true;
    bool palette = true;
    bool setLoader = true;
    bool secondLoader = false;
    std::vector<std::string> calls;  // extensions of the entries identify was called for
} g_script;

bool FillRows(ImageImpFile* imp, Image* image, Progress*) {
    for (int y = 0; y < image->height; ++y)
        for (int x = 0; x < image->width * (imp->depth == 24 ? 3 : 1); ++x)
            image->Row(y)[x] = static_cast<uint8_t>(10 * y + x);
    return true;
}

// The second loader fills its picture with one grey and notes its geometry.
int g_secondWidth = 0, g_secondHeight = 0, g_secondStride = 0;
bool FillFlat(ImageImpFile*, Image* image, Progress*) {
    g_secondWidth = image->width;
    g_secondHeight = image->height;
    g_secondStride = image->stride;
    for (int y = 0; y < image->height; ++y) std::memset(image->Row(y), 77, 3 * image->width);
    return true;
}

// A YCbCr picture of one colour: Y, Cb, Cr = 128, 128, 128.
bool FillGreyYCbCr(ImageImpFile*, Image* image, Progress*) {
    for (int y = 0; y < image->height; ++y) std::memset(image->Row(y), 128, 3 * image->width);
    return true;
}

template <int Entry>
bool TestReader(ImageImpFile* imp) {
    g_script.calls.push_back(kImportFormats[Entry].extension);
    if (!g_script.recognise) return false;
    imp->ready = true;
    if (!g_script.accept) return SetError("vti_TEST", "Rejected by entry %d", Entry);
    imp->width = g_script.width;
    imp->height = g_script.height;
    imp->depth = g_script.depth;
    imp->stride = g_script.stride;
    imp->colourModel = g_script.colourModel;
    if (g_script.palette) imp->palette = AllocPaletteBlock();
    if (g_script.setLoader) imp->rowLoader = g_script.colourModel == 4 ? FillGreyYCbCr : FillRows;
    if (g_script.secondLoader) {
        imp->rowLoader2 = FillFlat;
        imp->width2 = 8;
        imp->height2 = 6;
    }
    return true;
}

template <int... Entries>
std::vector<ImportFormat> BuildTestTable(std::integer_sequence<int, Entries...>) {
    return {ImportFormat{kImportFormats[Entries].extension, TestReader<Entries>,
                         kImportFormats[Entries].description}...};
}

class Dispatcher : public ::testing::Test {
protected:
    void SetUp() override {
        g_script = Script();
        table_ = BuildTestTable(std::make_integer_sequence<int, kImportFormatCount>());
        g_importFormats = table_.data();
        ClearError();
    }
    void TearDown() override { g_importFormats = kImportFormats; }
    static std::string File(const std::string& name) {
        return test::WriteTempFile(name, {'d', 'a', 't', 'a'});
    }
    std::vector<ImportFormat> table_;
};

}  // namespace

TEST_F(Dispatcher, OpeningAMissingFileNamesThePath) {
    const std::string path = test::TempPath("no-such-file.bmp");
    ImageImpFile imp(path.c_str(), nullptr, true);
    EXPECT_FALSE(imp.ready);
    EXPECT_STREQ(g_errorPlace, "ImageImpFile()");
    EXPECT_EQ(std::string(g_errorText), "Couldn't open file: '" + path + "'");
    EXPECT_TRUE(g_script.calls.empty());
}

TEST_F(Dispatcher, AnEmptyFileCannotBeMapped) {
    const std::string path = test::WriteTempFile("empty.bmp", {});
    ImageImpFile imp(path.c_str(), nullptr, true);
    EXPECT_FALSE(imp.ready);
    EXPECT_STREQ(g_errorPlace, "ImageImpFile()");
    EXPECT_STREQ(g_errorText, "CreateFileMapping() failed");
}

TEST_F(Dispatcher, FirstPassTriesOnlyEntriesOfTheFileExtensionInTableOrder) {
    g_script.recognise = false;
    const std::string path = File("picture.jpg");
    ImageImpFile imp(path.c_str(), nullptr, false);
    EXPECT_FALSE(imp.ready);
    EXPECT_EQ(g_script.calls, (std::vector<std::string>{"jpg"}));
    EXPECT_STREQ(g_errorPlace, "ImageImpFile()");
    EXPECT_STREQ(g_errorText, "Not a supported image format");
}

TEST_F(Dispatcher, ExtensionsCompareWithoutCase) {
    const std::string path = File("PICTURE.JPG");
    ImageImpFile imp(path.c_str(), nullptr, false);
    EXPECT_TRUE(imp.ready);
    EXPECT_EQ(g_script.calls, (std::vector<std::string>{"jpg"}));
    EXPECT_STREQ(imp.description, "Joint Photographic Experts Group");
}

TEST_F(Dispatcher, SecondPassProbesEveryOtherEntryInTableOrder) {
    g_script.recognise = false;
    const std::string path = File("picture.png");
    ImageImpFile imp(path.c_str(), nullptr, true);
    ASSERT_EQ(g_script.calls.size(), 26u);
    EXPECT_EQ(g_script.calls[0], "png");
    EXPECT_EQ(g_script.calls[1], "bbm");
    EXPECT_EQ(g_script.calls[25], "tiff");
    EXPECT_STREQ(g_errorText, "Not a supported image format");
}

TEST_F(Dispatcher, APathWithoutADotMatchesNoEntryButProbingFindsAReader) {
    const std::string path = File("picture");
    {
        ImageImpFile imp(path.c_str(), nullptr, false);
        EXPECT_FALSE(imp.ready);
        EXPECT_TRUE(g_script.calls.empty());
        EXPECT_STREQ(g_errorText, "Not a supported image format");
    }
    ImageImpFile imp(path.c_str(), nullptr, true);
    EXPECT_TRUE(imp.ready);
    EXPECT_EQ(g_script.calls, (std::vector<std::string>{"bbm"}));
    EXPECT_STREQ(imp.description, "Electronic Arts DP Brush");
}

TEST_F(Dispatcher, AReaderThatRecognisesButRejectsStopsTheSearch) {
    g_script.accept = false;
    const std::string path = File("picture.xyz");
    ImageImpFile imp(path.c_str(), nullptr, true);
    EXPECT_FALSE(imp.ready);
    EXPECT_EQ(g_script.calls, (std::vector<std::string>{"bbm"}));
    EXPECT_STREQ(g_errorPlace, "vti_TEST");
    EXPECT_STREQ(g_errorText, "Rejected by entry 0");
}

TEST_F(Dispatcher, DefaultsStrideAndRowsAndCopiesTheGeometryForTheSecondLoader) {
    g_script.palette = false;
    g_script.depth = 24;
    const std::string path = File("picture.bmp");
    ImageImpFile imp(path.c_str(), nullptr, false);
    ASSERT_TRUE(imp.ready);
    EXPECT_EQ(imp.stride, 12);
    EXPECT_EQ(imp.rows, 3);
    EXPECT_EQ(imp.rowLoader2, imp.rowLoader);
    EXPECT_EQ(imp.width2, 4);
    EXPECT_EQ(imp.height2, 3);
    EXPECT_EQ(imp.stride2, 12);
    EXPECT_EQ(imp.rows2, 3);
    EXPECT_EQ(imp.colourModel, 1);  // unstated becomes "as stored"
    EXPECT_STREQ(imp.compression, "Raw");
}

TEST_F(Dispatcher, ASecondLoaderGetsItsOwnDefaultGeometry) {
    g_script.secondLoader = true;
    const std::string path = File("picture.bmp");
    ImageImpFile imp(path.c_str(), nullptr, false);
    ASSERT_TRUE(imp.ready);
    EXPECT_EQ(imp.stride2, 8);  // palette present: width
    EXPECT_EQ(imp.rows2, 6);
    EXPECT_EQ(imp.stride, 4);
}

TEST_F(Dispatcher, AGreyPictureLeavingTheStrideAtDefaultGetsThreeTimesTheWidth) {
    // The default is taken before the grey palette exists.
    g_script.palette = false;
    g_script.colourModel = 2;
    const std::string path = File("picture.pgm");
    ImageImpFile imp(path.c_str(), nullptr, false);
    ASSERT_TRUE(imp.ready);
    EXPECT_EQ(imp.stride, 12);
    ASSERT_NE(imp.palette, nullptr);
}

TEST_F(Dispatcher, ADefaultStrideTooLargeForTheRecordBecomesTheLargestOne) {
    // 3 * 0x30000000 does not fit in 32 bits; it must not wrap round.
    g_script.palette = false;
    g_script.depth = 24;
    g_script.width = 0x30000000;
    const std::string path = File("picture.bmp");
    ImageImpFile imp(path.c_str(), nullptr, false);
    ASSERT_TRUE(imp.ready);
    EXPECT_EQ(imp.stride, INT32_MAX);
    EXPECT_EQ(imp.stride2, INT32_MAX);
}

TEST_F(Dispatcher, GreyModelBuildsARampOfOneEntryPerValue) {
    g_script.palette = false;
    g_script.colourModel = 2;
    g_script.depth = 2;
    const std::string path = File("picture.pgm");
    ImageImpFile imp(path.c_str(), nullptr, false);
    ASSERT_TRUE(imp.ready);
    const std::vector<uint8_t> ramp(imp.palette, imp.palette + 15);
    EXPECT_EQ(ramp,
              (std::vector<uint8_t>{0, 0, 0, 85, 85, 85, 170, 170, 170, 255, 255, 255, 0, 0, 0}));
}

TEST_F(Dispatcher, InvertedGreyModelRunsFromWhite) {
    g_script.palette = false;
    g_script.colourModel = 3;
    g_script.depth = 1;
    const std::string path = File("picture.pbm");
    ImageImpFile imp(path.c_str(), nullptr, false);
    ASSERT_TRUE(imp.ready);
    EXPECT_EQ(imp.palette[0], 255);
    EXPECT_EQ(imp.palette[3], 0);
}

TEST_F(Dispatcher, EightBitGreyRampIsTheIdentity) {
    g_script.palette = false;
    g_script.colourModel = 2;
    const std::string path = File("picture.pgm");
    ImageImpFile imp(path.c_str(), nullptr, false);
    ASSERT_TRUE(imp.ready);
    for (int i = 0; i < 256; ++i) ASSERT_EQ(imp.palette[3 * i + 1], i);
}

TEST_F(Dispatcher, YiqAndHsiWarnAndLoadUnconverted) {
    test::MessageRecorder messages;
    const std::string path = File("picture.tif");
    g_script.colourModel = 5;
    {
        ImageImpFile imp(path.c_str(), nullptr, false);
        EXPECT_TRUE(imp.ready);
    }
    g_script.colourModel = 6;
    {
        ImageImpFile imp(path.c_str(), nullptr, false);
        EXPECT_TRUE(imp.ready);
    }
    ASSERT_EQ(messages.messages.size(), 2u);
    EXPECT_EQ(messages.messages[0].first, "Attention!");
    EXPECT_EQ(messages.messages[0].second, "Note! Can't convert YIQ colorspace!");
    EXPECT_EQ(messages.messages[1].second, "Note! Can't convert HSI colorspace!");
}

TEST_F(Dispatcher, OtherColourModelsAreRefused) {
    for (int model : {7, 8}) {
        g_script.colourModel = model;
        const std::string path = File("picture.tif");
        ImageImpFile imp(path.c_str(), nullptr, false);
        EXPECT_FALSE(imp.ready);
        EXPECT_STREQ(g_errorPlace, "ImageImpFile()");
        EXPECT_STREQ(g_errorText, "Unsupported colorspace - can't handle it!");
    }
}

TEST_F(Dispatcher, APalettePictureWithoutPaletteHasNoColormap) {
    g_script.palette = false;
    g_script.depth = 8;
    const std::string path = File("picture.gif");
    ImageImpFile imp(path.c_str(), nullptr, false);
    EXPECT_FALSE(imp.ready);
    EXPECT_STREQ(g_errorText, "No colormap in file");
}

TEST_F(Dispatcher, ZeroWidthOrHeightIsRefused) {
    g_script.height = 0;
    const std::string path = File("picture.gif");
    ImageImpFile imp(path.c_str(), nullptr, false);
    EXPECT_FALSE(imp.ready);
    EXPECT_STREQ(g_errorPlace, "ImageImpFile()");
    EXPECT_STREQ(g_errorText, "Image size is zero!");
}

TEST_F(Dispatcher, ReportsOpeningAndCompletion) {
    test::RecordingProgress progress;
    const std::string path = File("picture.gif");
    ImageImpFile imp(path.c_str(), &progress, false);
    EXPECT_EQ(progress.events, (std::vector<std::string>{"Opening@0", "@100"}));
}

TEST_F(Dispatcher, RecordsThePathAndItsFileNamePart) {
    const std::string path = File("named.gif");
    ImageImpFile imp(path.c_str(), nullptr, false);
    EXPECT_EQ(std::string(imp.path), path);
    EXPECT_STREQ(imp.fileName, "named.gif");
}

TEST_F(Dispatcher, LoadRefusesADestinationOfTheWrongSize) {
    const std::string path = File("picture.gif");
    ImageImpFile imp(path.c_str(), nullptr, false);
    ASSERT_TRUE(imp.ready);
    Image image(5, 3, 5, 3, imp.palette, imp.depth);
    EXPECT_FALSE(Load(&imp, &image, nullptr, false));
    EXPECT_STREQ(g_errorPlace, "Load");
    EXPECT_STREQ(g_errorText, "Destination bitmap of wrong size");
}

TEST_F(Dispatcher, LoadWithoutARowLoaderSaysTheReaderWasNotCalled) {
    g_script.setLoader = false;
    const std::string path = File("picture.gif");
    ImageImpFile imp(path.c_str(), nullptr, false);
    ASSERT_TRUE(imp.ready);
    Image image(4, 3, 4, 3, imp.palette, imp.depth);
    EXPECT_FALSE(Load(&imp, &image, nullptr, false));
    EXPECT_STREQ(g_errorPlace, "Load");
    EXPECT_STREQ(g_errorText, "Error: vti_IHI not called");
}

TEST_F(Dispatcher, LoadDecodesRowsAndGivesTheImageThePath) {
    test::RecordingProgress progress;
    const std::string path = File("rows.gif");
    ImageImpFile imp(path.c_str(), nullptr, false);
    ASSERT_TRUE(imp.ready);
    Image image(4, 3, 4, 3, imp.palette, imp.depth);
    ASSERT_TRUE(Load(&imp, &image, &progress, false));
    EXPECT_EQ(image.Row(2)[3], 23);
    EXPECT_EQ(std::string(image.path), path);
    EXPECT_STREQ(image.fileName, "rows.gif");
    EXPECT_EQ(progress.events, (std::vector<std::string>{"@100"}));
}

TEST_F(Dispatcher, LoadConvertsYCbCrPicturesToBlueGreenRed) {
    g_script.palette = false;
    g_script.depth = 24;
    g_script.colourModel = 4;
    const std::string path = File("picture.jpg");
    ImageImpFile imp(path.c_str(), nullptr, false);
    ASSERT_TRUE(imp.ready);
    Image image(4, 3, 12, 3, nullptr, 24);
    ASSERT_TRUE(Load(&imp, &image, nullptr, false));
    // (128, 128, 128) is red 129, green 127, blue 129: the tables are centred
    // at 127.5.
    EXPECT_EQ(image.Row(1)[3], 129);
    EXPECT_EQ(image.Row(1)[4], 127);
    EXPECT_EQ(image.Row(1)[5], 129);
}

// Loading into a new image decodes the reader's second geometry and then
// resamples into the destination.
TEST_F(Dispatcher, LoadIntoANewImageDecodesTheSecondGeometryThenResamples) {
    g_script.secondLoader = true;
    g_script.palette = false;
    g_script.depth = 24;
    const std::string path = File("picture.tif");
    ImageImpFile imp(path.c_str(), nullptr, false);
    ASSERT_TRUE(imp.ready);
    Image thumbnail(4, 3, 12, 3, nullptr, 24);
    std::memset(thumbnail.pixels, 0, thumbnail.PixelBytes());
    ASSERT_TRUE(Load(&imp, &thumbnail, nullptr, true)) << g_errorPlace << ": " << g_errorText;
    EXPECT_EQ(g_secondWidth, 8);
    EXPECT_EQ(g_secondHeight, 6);
    EXPECT_EQ(g_secondStride, 24);
    // A flat picture stays flat through the cubic filter (its weights sum to one).
    for (int y = 0; y < 3; ++y)
        for (int x = 0; x < 12; ++x) ASSERT_EQ(thumbnail.Row(y)[x], 77) << x << "," << y;
    EXPECT_STREQ(thumbnail.path, "<none>");  // the path goes to the intermediate picture
}

TEST(ImportFormats, OffersTwentySixEntriesInTableOrder) {
    const char* extension = nullptr;
    const char* description = nullptr;
    ASSERT_TRUE(GetImportFormat(0, &extension, &description));
    EXPECT_STREQ(extension, "bbm");
    EXPECT_STREQ(description, "Electronic Arts DP Brush");
    ASSERT_TRUE(GetImportFormat(6, &extension, &description));
    EXPECT_STREQ(extension, "vts");
    EXPECT_STREQ(description, "Vantirel SlideShow");
    ASSERT_TRUE(GetImportFormat(25, &extension, &description));
    EXPECT_STREQ(extension, "tiff");
    EXPECT_STREQ(description, "Tag Image File Format");
    EXPECT_FALSE(GetImportFormat(26, &extension, &description));
    EXPECT_FALSE(GetImportFormat(-1, &extension, &description));
}

TEST(ImportFormats, DescriptionsAreAsUsersSeeThem) {
    const char* expected[26] = {"Electronic Arts DP Brush",
                                "Microsoft Windows Bitmap",
                                "Microsoft Windows Cursor",
                                "Microsoft Windows DIBitMap",
                                "Graphics Interchange Format",
                                "Microsoft Windows Icon",
                                "Vantirel SlideShow",
                                "Interchange File Format",
                                "Joint Photographic Experts Group",
                                "Joint Photographic Experts Group",
                                "Joint Photographic Experts Group",
                                "Electronic Arts DP BitMap",
                                "MacPaint",
                                "Atari Neochrome",
                                "PBMPLUS Portable BitMap",
                                "ZSoft/PC Paintbrush",
                                "PBMPLUS Portable Graymap",
                                "Pictor/PC Paint",
                                "Portable Network Graphics",
                                "PBMPLUS Portable PixelMap",
                                "Sun Raster",
                                "Microsoft Windows RLE bitmap",
                                "Sun Raster",
                                "Truevision TARGA",
                                "Tag Image File Format",
                                "Tag Image File Format"};
    const char* extensions[26] = {"bbm", "bmp",  "cur", "dib", "gif", "ico", "vts", "iff", "jif",
                                  "jpg", "jpeg", "lbm", "mac", "neo", "pbm", "pcx", "pgm", "pic",
                                  "png", "ppm",  "ras", "rle", "sun", "tga", "tif", "tiff"};
    for (int i = 0; i < 26; ++i) {
        const char* extension = nullptr;
        const char* description = nullptr;
        ASSERT_TRUE(GetImportFormat(i, &extension, &description));
        EXPECT_STREQ(extension, extensions[i]) << i;
        EXPECT_STREQ(description, expected[i]) << i;
    }
}
