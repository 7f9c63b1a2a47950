// Bitmaps, icons and cursors of the sample corpus and files made at test
// time by netpbm and ImageMagick, against PIL as the independent decoder.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/TestSupport.h"

#ifndef _WIN32
namespace {

bool ToolsMissing() { return !test::CorpusAvailable() || !test::HaveTool("/usr/bin/python3"); }

// Our decode and PIL's are pixel for pixel the same.
void ExpectSameAsReference(const std::string& relative, const std::string& referenceFile = "",
                           int iconEntry = -1) {
    SCOPED_TRACE(relative);
    const test::Decoded ours = test::DecodeFile(test::CorpusPath(relative));
    ASSERT_TRUE(ours.loaded) << ours.place << ": " << ours.text;
    test::RgbPicture reference;
    ASSERT_TRUE(test::ReferenceDecode(
        test::CorpusPath(referenceFile.empty() ? relative : referenceFile), &reference, iconEntry));
    EXPECT_EQ(test::DifferentPixels(ours.picture, reference), 0);
}

void ExpectRefused(const std::string& relative, const std::string& place, const std::string& text) {
    SCOPED_TRACE(relative);
    const test::Decoded ours = test::DecodeFile(test::CorpusPath(relative));
    EXPECT_FALSE(ours.opened);
    EXPECT_EQ(ours.place, place);
    EXPECT_EQ(ours.text, text);
}

}  // namespace

class BmpCorpus : public ::testing::Test {
protected:
    void SetUp() override {
        if (ToolsMissing()) GTEST_SKIP() << "corpus or PIL missing";
    }
};

TEST_F(BmpCorpus, WellFormedBitmapsDecodeLikeTheReference) {
    for (const char* file : {"bmp/allegro-alexlogo.bmp",         "bmp/allegro-fakeamp.bmp",
                             "bmp/bmpsuite-g-pal1.bmp",          "bmp/bmpsuite-g-pal1bg.bmp",
                             "bmp/bmpsuite-g-pal1wb.bmp",        "bmp/bmpsuite-g-pal4.bmp",
                             "bmp/bmpsuite-g-pal8-0.bmp",        "bmp/bmpsuite-g-pal8.bmp",
                             "bmp/bmpsuite-g-pal8nonsquare.bmp", "bmp/bmpsuite-g-pal8os2.bmp",
                             "bmp/bmpsuite-g-pal8rle.bmp",       "bmp/bmpsuite-g-pal8w124.bmp",
                             "bmp/bmpsuite-g-pal8w125.bmp",      "bmp/bmpsuite-g-pal8w126.bmp",
                             "bmp/bmpsuite-g-rgb24.bmp",         "bmp/bmpsuite-g-rgb24pal.bmp",
                             "bmp/bmpsuite-q-pal1p1.bmp",        "bmp/bmpsuite-q-pal8offs.bmp",
                             "bmp/bmpsuite-q-pal8os2-hs.bmp",    "bmp/bmpsuite-q-pal8os2-sz.bmp",
                             "bmp/bmpsuite-q-pal8os2sp.bmp",     "bmp/bmpsuite-q-rgb24largepal.bmp",
                             "bmp/imagers-Core_1_Bit.bmp",       "bmp/imagers-Core_4_Bit.bmp",
                             "bmp/imagers-Core_8_Bit.bmp",       "bmp/imagers-Info_4_Bit.bmp",
                             "bmp/imagers-Info_8_Bit.bmp",       "bmp/imagers-Info_R8_G8_B8.bmp",
                             "bmp/ljt-shira_bird8.bmp",          "bmp/ljt-vgl_6434_0018a.bmp",
                             "bmp/pillow-hopper_rle8.bmp"})
        ExpectSameAsReference(file);
}

TEST_F(BmpCorpus, FourBitRunLengthMatchesTheUncompressedTwin) {
    // PIL's 4-bit run-length decoding mishandles absolute runs of odd length;
    // the uncompressed twin of the same picture is the reference.
    ExpectSameAsReference("bmp/bmpsuite-g-pal4rle.bmp", "bmp/bmpsuite-g-pal4.bmp");
}

TEST_F(BmpCorpus, RunLengthFilesWithSkipsMatchTheirTwinWhereverPixelsWereWritten) {
    struct Case {
        const char* file;
        const char* twin;
    };
    for (const Case& c : {Case{"bmp/bmpsuite-q-pal4rletrns.bmp", "bmp/bmpsuite-g-pal4.bmp"},
                          Case{"bmp/bmpsuite-q-pal8rletrns.bmp", "bmp/bmpsuite-g-pal8.bmp"},
                          Case{"bmp/bmpsuite-q-pal4rlecut.bmp", "bmp/bmpsuite-g-pal4.bmp"}}) {
        SCOPED_TRACE(c.file);
        const test::Decoded ours = test::DecodeFile(test::CorpusPath(c.file));
        ASSERT_TRUE(ours.loaded);
        test::RgbPicture twin;
        ASSERT_TRUE(test::ReferenceDecode(test::CorpusPath(c.twin), &twin));
        ASSERT_EQ(twin.width * twin.height, static_cast<int>(ours.indices.size()));
        // Skipped pixels stay as the zeroed block left them (index 0); every
        // pixel that was written is the twin's.
        long written = 0, mismatched = 0;
        for (size_t i = 0; i < ours.indices.size(); ++i) {
            if (ours.indices[i] == 0) continue;
            ++written;
            for (int k = 0; k < 3; ++k)
                if (ours.picture.rgb[3 * i + k] != twin.rgb[3 * i + k]) ++mismatched;
        }
        EXPECT_EQ(mismatched, 0);
        EXPECT_GT(written, static_cast<long>(ours.indices.size() / 4));
    }
}

TEST_F(BmpCorpus, TheBitmapArrayShowsItsFirstBitmap) {
    // The first bitmap of the array is the suite's picture with a core header.
    ExpectSameAsReference("bmp/bmpsuite-x-ba-bm.bmp", "bmp/bmpsuite-g-pal8os2.bmp");
}

TEST_F(BmpCorpus, AnOversizedPaletteIsReadAsFarAsTheDepthAddresses) {
    ExpectSameAsReference("bmp/bmpsuite-q-pal8oversizepal.bmp", "bmp/bmpsuite-g-pal8.bmp");
}

TEST_F(BmpCorpus, NarrowOneBitRowsReadWithTheTruncatedRowSizeHaveNoPixels) {
    // 6 and 1 pixels of 1 bit: (width / 8) + 3 rounded down to 4 is 0 bytes.
    for (const char* file : {"bmp/imagers-Info_1_Bit.bmp", "ico/pillow-mask_1.cur"}) {
        SCOPED_TRACE(file);
        const test::Decoded ours = test::DecodeFile(test::CorpusPath(file));
        ASSERT_TRUE(ours.loaded);
        EXPECT_EQ(ours.indices, std::vector<uint8_t>(ours.indices.size(), 0));
    }
}

TEST_F(BmpCorpus, TwoBitBitmapsLoadWithoutPixels) {
    for (const char* file : {"bmp/bmpsuite-q-pal2.bmp", "bmp/bmpsuite-q-pal2color.bmp"}) {
        SCOPED_TRACE(file);
        const test::Decoded ours = test::DecodeFile(test::CorpusPath(file));
        ASSERT_TRUE(ours.loaded);
        EXPECT_EQ(ours.depth, 2);
        EXPECT_EQ(ours.indices, std::vector<uint8_t>(127 * 64, 0));
    }
}

TEST_F(BmpCorpus, TopDownBitmapsAnnounceTheirNegativeHeight) {
    for (const char* file :
         {"bmp/bmpsuite-g-pal8topdown.bmp", "bmp/imagers-Info_8_Bit_Top_Down.bmp"}) {
        const test::Decoded ours = test::DecodeFile(test::CorpusPath(file));
        EXPECT_TRUE(ours.opened) << file;
        EXPECT_LT(ours.height, 0) << file;
    }
}

TEST_F(BmpCorpus, UnsupportedVariantsAreRefusedWithTheirMessages) {
    const std::string none = "Not a supported image format";
    for (const char* file :
         {"bmp/allegro-gradient1.bmp", "bmp/bmpsuite-g-pal8v4.bmp", "bmp/bmpsuite-g-pal8v5.bmp",
          "bmp/bmpsuite-q-pal8os2v2-16.bmp", "bmp/bmpsuite-q-pal8os2v2.bmp",
          "bmp/bmpsuite-q-rgb24jpeg.bmp", "bmp/bmpsuite-q-rgb24png.bmp",
          "bmp/bmpsuite-q-rgb24rle24.bmp", "bmp/bmpsuite-q-rgba32.bmp",
          "bmp/imagers-V3_R5_G6_B5.bmp", "bmp/pillow-hopper.bmp",
          "bmp/pillow-hopper_rle8_grayscale.bmp", "bmp/pillow-clipboard.dib"})
        // Headers of other sizes are not recognised at all, so no reader
        // claims the file.
        ExpectRefused(file, "ImageImpFile()", none);
    for (const char* file : {"bmp/bmpsuite-g-rgb16-565.bmp", "bmp/bmpsuite-g-rgb16-565pal.bmp",
                             "bmp/bmpsuite-g-rgb16.bmp", "bmp/bmpsuite-q-rgb16-231.bmp",
                             "bmp/imagers-Info_X1_R5_G5_B5.bmp"})
        ExpectRefused(file, "vti_BMP/DIB", "16bit .bmp-bitmaps not supported");
    for (const char* file :
         {"bmp/bmpsuite-g-rgb32.bmp", "bmp/bmpsuite-g-rgb32bf.bmp",
          "ico/imagers-bmp-32bpp-alpha.ico", "ico/pillow-deerstalker.cur", "ico/pillow-python.ico",
          "ico/oiio-oiio.ico", "ico/imagers-multiple_entries_with_different_bit_depth.ico"})
        ExpectRefused(file, "vti_BMP/DIB", "32bit .bmp-bitmaps not supported");
    ExpectRefused("ico/imagers-png-32bpp-alpha.ico", "vti_BMP/DIB", "Unsupported plane number");
    ExpectRefused("ico/pillow-hopper_256x256.ico", "ImageImpFile()", "Image size is zero!");
    ExpectRefused("bad/bmpsuite-b-badbitcount.bmp", "vti_BMP/DIB",
                  "32bit .bmp-bitmaps not supported");
    ExpectRefused("bad/bmpsuite-b-badheadersize.bmp", "ImageImpFile()", none);
    ExpectRefused("bad/bmpsuite-b-badplanes.bmp", "vti_BMP/DIB", "Unsupported plane number");
    ExpectRefused("bad/pillow-no_cursors.cur", "ImageImpFile()", none);
}

TEST_F(BmpCorpus, IconsAndCursorsShowTheChosenEntry) {
    ExpectSameAsReference("ico/imagers-bmp-24bpp-mask.ico");
    ExpectSameAsReference("ico/imagers-smile.ico", "", 0);                 // 32x32 beats 16x16
    ExpectSameAsReference("ico/imagers-two-entry-order-test.ico", "", 1);  // ties go later
    ExpectSameAsReference("ico/pillow-black_and_white.ico");
    ExpectSameAsReference("ico/pillow-hopper.ico");
    ExpectSameAsReference("ico/pillow-hopper_mask.ico");
    ExpectSameAsReference("ico/pillow-mask_L.cur");
    ExpectSameAsReference("ico/sdlimage-sample.cur");
    ExpectSameAsReference("ico/sdlimage-sample.ico");
}

TEST_F(BmpCorpus, AnIconTakesItsSizeFromTheDirectory) {
    // The directory says 16x32, the bitmap is 16x16: the bottom 16 rows hold
    // the picture, the rows above come from the mask and beyond.
    const test::Decoded ours =
        test::DecodeFile(test::CorpusPath("ico/pillow-hopper_unexpected.ico"));
    ASSERT_TRUE(ours.loaded);
    ASSERT_EQ(ours.picture.width, 16);
    ASSERT_EQ(ours.picture.height, 32);
    test::RgbPicture reference;
    ASSERT_TRUE(test::ReferenceDecode(test::CorpusPath("ico/pillow-hopper.ico"), &reference));
    const std::vector<uint8_t> bottom(ours.picture.rgb.begin() + 16 * 16 * 3,
                                      ours.picture.rgb.end());
    EXPECT_EQ(bottom, reference.rgb);
}

TEST_F(BmpCorpus, AnIconWithALargerInfoHeaderIsReadAsIfItWereFortyBytes) {
    const test::Decoded ours =
        test::DecodeFile(test::CorpusPath("ico/imagers-bmp_v5_with_icc.ico"));
    EXPECT_TRUE(ours.loaded);
    EXPECT_EQ(ours.picture.width, 127);
    EXPECT_EQ(ours.picture.height, 64);
    EXPECT_EQ(ours.depth, 24);
}

TEST_F(BmpCorpus, DamagedFilesLoadWithoutHarm) {
    // Whatever these decode to, they must be read inside their bytes and
    // written inside the picture (the sanitizer builds check that).
    for (const char* file :
         {"bad/bmpsuite-b-badbitssize.bmp", "bad/bmpsuite-b-baddens1.bmp",
          "bad/bmpsuite-b-baddens2.bmp", "bad/bmpsuite-b-badfilesize.bmp",
          "bad/bmpsuite-b-badpalettesize.bmp", "bad/bmpsuite-b-badrle.bmp",
          "bad/bmpsuite-b-pal8badindex.bmp", "bad/bmpsuite-b-shortfile.bmp",
          "bad/imagers-Bad_smile-incorrect-image-length.ico",
          "bad/imagers-crash-981fee302fe0fc543ee48292cc3d6ace7e97e633.ico",
          "bad/imagers-imagemagick_invalid_run_length_issue_2321.bmp",
          "bad/imagers-rle_overflow.bmp", "bad/pillow-hopper_rle8_row_overflow.bmp",
          "bad/pillow-l2rgb_read.bmp"}) {
        const test::Decoded ours = test::DecodeFile(test::CorpusPath(file));
        EXPECT_TRUE(ours.loaded || !ours.text.empty()) << file;
    }
    // The truncated file (1-bit, 13 whole rows of 16 bytes are there) keeps
    // its bottom rows.
    const test::Decoded shortFile =
        test::DecodeFile(test::CorpusPath("bad/bmpsuite-b-shortfile.bmp"));
    ASSERT_TRUE(shortFile.loaded);
    test::RgbPicture twin;
    ASSERT_TRUE(test::ReferenceDecode(test::CorpusPath("bmp/bmpsuite-g-pal1.bmp"), &twin));
    const size_t bottomRow = static_cast<size_t>(64 - 13) * 127 * 3;
    EXPECT_TRUE(std::equal(twin.rgb.begin() + bottomRow, twin.rgb.end(),
                           shortFile.picture.rgb.begin() + bottomRow));
}

// Files made now by netpbm and ImageMagick from one picture, compared with
// the picture they were made from.
class GeneratedBitmaps : public ::testing::Test {
protected:
    void SetUp() override {
        if (ToolsMissing() || !test::HaveTool("ppmtobmp") || !test::HaveTool("convert"))
            GTEST_SKIP() << "netpbm or ImageMagick missing";
    }
    // The source picture reduced to `colours` colours, 37x23 (odd sizes
    // exercise row padding; 1-bit pictures are 41 wide, as 37 1-bit pixels
    // would be read with the deliberately truncated 4-byte row), as PPM.
    std::string Source(int colours) {
        const std::string path = test::TempPath("source" + std::to_string(colours) + ".ppm");
        const std::string reduce =
            colours == 2 ? "-monochrome" : "+dither -colors " + std::to_string(colours);
        int status = 0;
        test::RunCommand("convert '" + test::CorpusPath("bmp/ljt-vgl_6434_0018a.bmp") +
                             "' -resize " + (colours == 2 ? "41" : "37") + "x23! " + reduce +
                             " -type TrueColor ppm:'" + path + "'",
                         &status);
        EXPECT_EQ(status, 0);
        return path;
    }
    test::RgbPicture Picture(const std::string& ppm) {
        test::RgbPicture picture;
        const std::vector<uint8_t> bytes = test::ReadFile(ppm);
        EXPECT_TRUE(test::ParsePnm(std::string(bytes.begin(), bytes.end()), &picture));
        return picture;
    }
    // Runs the command making `file`; with no expected picture given, PIL's
    // decode of the made file is the reference.
    void ExpectDecodesTo(const std::string& command, const std::string& file,
                         test::RgbPicture expected, const std::string& compression) {
        SCOPED_TRACE(command);
        int status = 0;
        test::RunCommand(command + " 2>/dev/null", &status);
        ASSERT_EQ(status, 0);
        if (expected.rgb.empty()) {
            ASSERT_TRUE(test::ReferenceDecode(file, &expected));
        }
        const test::Decoded ours = test::DecodeFile(file);
        ASSERT_TRUE(ours.loaded) << ours.place << ": " << ours.text;
        EXPECT_EQ(ours.compression, compression);
        EXPECT_EQ(test::DifferentPixels(ours.picture, expected), 0);
    }
};

TEST_F(GeneratedBitmaps, NetpbmBitmapsOfEveryDepth) {
    for (int colours : {2, 16, 256}) {
        const std::string source = Source(colours);
        const test::RgbPicture expected = Picture(source);
        const int bpp = colours == 2 ? 1 : colours == 16 ? 4 : 8;
        for (int depth : {bpp, 24}) {
            for (const char* kind : {"-windows", "-os2"}) {
                const std::string out = test::TempPath("netpbm.bmp");
                ExpectDecodesTo("ppmtobmp " + std::string(kind) + " -bpp " + std::to_string(depth) +
                                    " '" + source + "' > '" + out + "'",
                                out, expected, "Raw");
            }
        }
    }
}

TEST_F(GeneratedBitmaps, ImageMagickBitmapsRunLengthAndOs2) {
    // ImageMagick merges a few colours as it makes the palette, so PIL's
    // reading of each made file is the reference.
    const std::string source = Source(256);
    const test::RgbPicture expected;
    const std::string bmp3 = test::TempPath("im3.bmp");
    ExpectDecodesTo("convert '" + source + "' -type Palette -compress None bmp3:'" + bmp3 + "'",
                    bmp3, expected, "Raw");
    const std::string rle = test::TempPath("im-rle.bmp");
    ExpectDecodesTo("convert '" + source + "' -type Palette -compress RLE bmp3:'" + rle + "'", rle,
                    expected, "RLE");
    const std::string os2 = test::TempPath("im2.bmp");
    ExpectDecodesTo("convert '" + source + "' -type Palette bmp2:'" + os2 + "'", os2, expected,
                    "Raw");
    const std::string rgb = test::TempPath("im24.bmp");
    ExpectDecodesTo("convert '" + source + "' -type TrueColor bmp3:'" + rgb + "'", rgb, expected,
                    "Raw");
}

TEST_F(GeneratedBitmaps, IconsWithSeveralSizesShowTheLargest) {
    if (!test::HaveTool("ppmtowinicon")) GTEST_SKIP() << "ppmtowinicon missing";
    const std::string big = test::TempPath("icon32.ppm");
    const std::string small = test::TempPath("icon16.ppm");
    int status = 0;
    const std::string image = test::CorpusPath("bmp/ljt-vgl_6434_0018a.bmp");
    test::RunCommand("convert '" + image + "' -resize 32x32! +dither -colors 16 ppm:'" + big + "'",
                     &status);
    test::RunCommand(
        "convert '" + image + "' -resize 16x16! +dither -colors 16 ppm:'" + small + "'", &status);
    const std::string icon = test::TempPath("netpbm.ico");
    ExpectDecodesTo("ppmtowinicon -output '" + icon + "' '" + small + "' '" + big + "'", icon,
                    Picture(big), "Raw");

    const std::string magick = test::TempPath("magick.ico");
    test::RgbPicture entry;
    int made = 0;
    test::RunCommand(
        "convert '" + big + "' -define icon:auto-resize=32,16 -type Palette '" + magick + "'",
        &made);
    ASSERT_EQ(made, 0);
    ASSERT_TRUE(test::ReferenceDecode(magick, &entry, 0));
    const test::Decoded ours = test::DecodeFile(magick);
    ASSERT_TRUE(ours.loaded);
    EXPECT_EQ(ours.picture.width, 32);
    EXPECT_EQ(test::DifferentPixels(ours.picture, entry), 0);

    // A cursor file from ImageMagick with both sizes, the smaller first (its
    // icon coder writes resource type 1 for .cur names too): the content
    // decides how it is read, the name gives the description.
    const std::string cursor = test::TempPath("magick.cur");
    test::RunCommand("convert '" + small + "' '" + big + "' -type Palette ICO:'" + cursor + "'",
                     &made);
    ASSERT_EQ(made, 0);
    test::RgbPicture cursorEntry;
    ASSERT_TRUE(test::ReferenceDecode(cursor, &cursorEntry, 1));
    const test::Decoded ourCursor = test::DecodeFile(cursor);
    ASSERT_TRUE(ourCursor.loaded) << ourCursor.place << ": " << ourCursor.text;
    EXPECT_EQ(ourCursor.description, "Microsoft Windows Cursor");
    EXPECT_EQ(ourCursor.picture.width, 32);
    EXPECT_EQ(ourCursor.picture.height, 32);
    EXPECT_EQ(test::DifferentPixels(ourCursor.picture, cursorEntry), 0);
}

TEST_F(GeneratedBitmaps, BitmapsWrittenBackReadTheSame) {
    for (const char* file : {"bmp/bmpsuite-g-pal4.bmp", "bmp/bmpsuite-g-pal8rle.bmp",
                             "bmp/bmpsuite-g-rgb24.bmp", "ico/sdlimage-sample.ico"}) {
        SCOPED_TRACE(file);
        const std::string out = test::TempPath("roundtrip.bmp");
        int status = 0;
        test::RunCommand("'" + std::string(VANTIREL_BINARY_DIR) + "/cli/vantirel-cli' convert '" +
                             test::CorpusPath(file) + "' '" + out + "'",
                         &status);
        ASSERT_EQ(status, 0);
        const test::Decoded original = test::DecodeFile(test::CorpusPath(file));
        test::RgbPicture reference;
        ASSERT_TRUE(test::ReferenceDecode(out, &reference));
        EXPECT_EQ(test::DifferentPixels(original.picture, reference), 0);
    }
}
#endif
