// vantirel-cli run as users run it (native builds).
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "tests/support/TestSupport.h"

#ifndef _WIN32
namespace {
std::string Cli() { return std::string(VANTIREL_BINARY_DIR) + "/cli/vantirel-cli"; }

struct Result {
    int status;
    std::string out;
    std::string err;
};

Result RunCli(const std::string& arguments) {
    const std::string errFile = test::TempPath("cli-stderr.txt");
    Result r;
    r.out = test::RunCommand(Cli() + " " + arguments + " 2>" + errFile, &r.status);
    const std::vector<uint8_t> err = test::ReadFile(errFile);
    r.err.assign(err.begin(), err.end());
    return r;
}
}  // namespace

TEST(Cli, InfoPrintsTheInformationLine) {
    const std::string file = test::CorpusPath("bmp/bmpsuite-g-pal4rle.bmp");
    if (!test::CorpusAvailable()) GTEST_SKIP() << "no corpus";
    const Result r = RunCli(file);
    EXPECT_EQ(r.status, 2);  // no command
    const Result info = RunCli("info " + file);
    EXPECT_EQ(info.status, 0);
    EXPECT_EQ(info.out, file + ": 127x64x4, Microsoft Windows Bitmap, RLE\n");
    EXPECT_EQ(info.err, "");
}

TEST(Cli, InfoShowsWhatEachReaderAnnounces) {
    if (!test::CorpusAvailable()) GTEST_SKIP() << "no corpus";
    // Depths as stored: 16-bit PNG samples become 8 (grey) and 24 (colour),
    // 16-bit TARGA pixels 24; compression texts as the readers name them.
    const std::vector<std::pair<std::string, std::string>> files = {
        {"png/basn0g16.png", "32x32x8, Portable Network Graphics, Inflate/Deflate"},
        {"png/basn2c16.png", "32x32x24, Portable Network Graphics, Inflate/Deflate"},
        {"png/basn3p02.png", "32x32x2, Portable Network Graphics, Inflate/Deflate"},
        {"png/basn4a16.png", "32x32x8, Portable Network Graphics, Inflate/Deflate"},
        {"gif/imagegif-sample_1.gif", "10x10x2, Graphics Interchange Format, LZW"},
        {"tiff/imagetiff-seq-1c-8b-lzw-20f3db0c.tiff", "16x16x8, Tag Image File Format, LZW"},
        {"tiff/imagetiff-seq-1c-8b-packbits-20f3db0c.tiff", "16x16x8, Tag Image File Format, RLE"},
        {"tiff/libtiffpic-flower-rgb-planar-08.tif", "73x43x24, Tag Image File Format, Raw"},
        {"tga/allegro-texture.tga", "64x64x24, Truevision TARGA, RLE"},
        {"tga/pillow-rgba16.tga", "2x1x24, Truevision TARGA, Raw"},
        {"pnm/pillow-hopper_8bit_plain.pgm", "128x128x8, PBMPLUS Portable Graymap, Ascii"},
        {"pcx/allegro-mask.pcx", "420x300x24, ZSoft/PC Paintbrush, RLE"},
        {"iff/zigimg-sample-ilbm-8bit-compressed.iff", "380x200x8, Interchange File Format, RLE"},
        {"ras/zigimg-sample-blackwhite.ras", "1250x438x1, Sun Raster, Raw"},
        {"mac/gomacpaint-header.mac", "576x720x1, MacPaint, RLE"},
    };
    std::string arguments, expected;
    for (const auto& [file, line] : files) {
        arguments += " " + test::CorpusPath(file);
        expected += test::CorpusPath(file) + ": " + line + "\n";
    }
    const Result info = RunCli("info" + arguments);
    EXPECT_EQ(info.status, 0) << info.err;
    EXPECT_EQ(info.out, expected);
    EXPECT_EQ(info.err, "");
}

TEST(Cli, InfoReportsFailuresWithPlaceAndMessageAndExitsOne) {
    const std::string good =
        test::WriteTempFile("ok.bmp", {'B', 'M', 0, 0, 0, 0, 0, 0, 0, 0, 54, 0, 0, 0,  40,
                                       0,   0,   0, 1, 0, 0, 0, 1, 0, 0, 0,  1, 0, 16, 0});
    const std::string bad = test::WriteTempFile("nothing.bmp", {'x', 'y'});
    const Result r = RunCli("info " + bad + " " + good);
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(r.err, bad + ": ImageImpFile(): Not a supported image format\n" + good +
                         ": vti_BMP/DIB: 16bit .bmp-bitmaps not supported\n");
}

TEST(Cli, WarningsGoToStderrUnderAttentionAndLeaveTheStatusAlone) {
    // A 1x1 GIF whose version reads "88a": read anyway, with a warning.
    const std::string gif = test::WriteTempFile(
        "version88.gif",
        {'G',  'I', 'F', '8', '8', 'a', 1, 0, 1, 0, 0x80, 0, 0, 0,    0,    0, 0xFF, 0xFF,
         0xFF, ',', 0,   0,   0,   0,   1, 0, 1, 0, 0,    2, 2, 0x44, 0x01, 0, ';'});
    const Result info = RunCli("info " + gif);
    EXPECT_EQ(info.status, 0);
    EXPECT_EQ(info.out, gif + ": 1x1x1, Graphics Interchange Format, LZW\n");
    EXPECT_EQ(info.err, gif + ": Attention!: Warning! unexpected GIF version number\n");
}

TEST(Cli, ConvertWritesABitmapThatReadsBackTheSame) {
    if (!test::CorpusAvailable()) GTEST_SKIP() << "no corpus";
    const std::string in = test::CorpusPath("bmp/bmpsuite-g-pal8.bmp");
    const std::string out = test::TempPath("converted.bmp");
    const Result r = RunCli("convert " + in + " " + out);
    ASSERT_EQ(r.status, 0) << r.err;
    const Result info = RunCli("info " + out);
    EXPECT_EQ(info.out, out + ": 127x64x8, Microsoft Windows Bitmap, Raw\n");
    // The 8-bit rows padded to 128 bytes with a full table: 1078 + 64 * 128.
    EXPECT_EQ(test::ReadFile(out).size(), 1078u + 64 * 128);
}

TEST(Cli, ConvertWithoutProbingRefusesAMisnamedFile) {
    if (!test::CorpusAvailable()) GTEST_SKIP() << "no corpus";
    const std::vector<uint8_t> bytes = test::ReadFile(test::CorpusPath("bmp/bmpsuite-g-rgb24.bmp"));
    const std::string in = test::WriteTempFile("misnamed.pcx", bytes);
    const std::string out = test::TempPath("misnamed-out.bmp");
    const Result refused = RunCli("convert --no-probe " + in + " " + out);
    EXPECT_EQ(refused.status, 1);
    EXPECT_EQ(refused.err, in + ": ImageImpFile(): Not a supported image format\n");
    const Result probed = RunCli("convert " + in + " " + out);
    EXPECT_EQ(probed.status, 0) << probed.err;
}

TEST(Cli, AFatalConditionPrintsQuitAndExitsOne) {
    // A top-down bitmap announces a negative height; its pixel block cannot
    // be had, which ends the program.
    if (!test::CorpusAvailable()) GTEST_SKIP() << "no corpus";
    const Result r = RunCli("convert " + test::CorpusPath("bmp/bmpsuite-g-pal8topdown.bmp") + " " +
                            test::TempPath("never.bmp"));
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err, "QUIT!: EXIT: Out of memory\n");
}

TEST(Cli, DrawsAProgressBarOnlyWhenStderrIsATerminal) {
    if (!test::CorpusAvailable() || !test::HaveTool("script"))
        GTEST_SKIP() << "no corpus or script";
    const std::string in = test::CorpusPath("bmp/bmpsuite-g-rgb24.bmp");
    const std::string out = test::TempPath("terminal-out.bmp");
    // Not a terminal: nothing on stderr.
    const Result quiet = RunCli("convert " + in + " " + out);
    ASSERT_EQ(quiet.status, 0);
    EXPECT_EQ(quiet.err, "");
    // On a terminal (script gives the program one): the bar of each phase,
    // ending full, and the written file's name as the writing caption.
    int status = -1;
    const std::string session = test::RunCommand(
        "script -qec \"'" + Cli() + "' convert '" + in + "' '" + out + "'\" /dev/null", &status);
    EXPECT_EQ(status, 0);
    EXPECT_NE(session.find("Reading"), std::string::npos) << session;
    EXPECT_NE(session.find("terminal-out.bmp"), std::string::npos) << session;
    EXPECT_NE(session.find("Writing"), std::string::npos) << session;
    EXPECT_NE(session.find("[####################] 100%"), std::string::npos) << session;
}

TEST(Cli, UsageErrorsExitTwo) {
    EXPECT_EQ(RunCli("frobnicate x").status, 2);
    EXPECT_EQ(RunCli("convert onlyone.bmp").status, 2);
    EXPECT_EQ(RunCli("convert --bogus a.bmp b.bmp").status, 2);
    EXPECT_EQ(RunCli("info").status, 2);
    const Result help = RunCli("--help");
    EXPECT_EQ(help.status, 0);
    EXPECT_NE(help.out.find("convert [--no-probe] [--fast-dct] [--fast-upsampling] IN OUT.bmp"),
              std::string::npos);
}
#endif
