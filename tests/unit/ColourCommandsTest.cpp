// The colour subcommands of vantirel-cli run as users run them (native builds).
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "color/ColourConvert.h"
#include "color/ResampleBicubic.h"
#include "core/Image.h"
#include "core/ImageImpFile.h"
#include "core/SaveAs.h"
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
    const std::string errFile = test::TempPath("colour-cli-stderr.txt");
    Result r;
    r.out = test::RunCommand(Cli() + " " + arguments + " 2>" + errFile, &r.status);
    const std::vector<uint8_t> err = test::ReadFile(errFile);
    r.err.assign(err.begin(), err.end());
    return r;
}

// A 24-bit picture with smooth gradients and some noise, saved as a bitmap.
std::unique_ptr<Image> MakePicture(int width, int height, unsigned seed) {
    auto image = std::make_unique<Image>(width, height, 3 * width, height, nullptr, 24);
    std::mt19937 random(seed);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            uint8_t* p = image->Row(y) + 3 * x;
            p[0] = static_cast<uint8_t>(255 * x / width);
            p[1] = static_cast<uint8_t>((255 * y / height + (random() & 7)) & 255);
            p[2] = static_cast<uint8_t>((x + y) * 3 + (random() & 15));
        }
    return image;
}

std::string SavePicture(const std::string& name, Image* image) {
    const std::string path = test::TempPath(name);
    EXPECT_TRUE(SaveAs(0, path.c_str(), image));
    return path;
}

std::unique_ptr<Image> LoadBack(const std::string& path) {
    ImageImpFile imp(path.c_str(), nullptr, false);
    if (!imp.ready) return nullptr;
    auto image = std::make_unique<Image>(imp.width, imp.height, imp.stride, imp.rows, imp.palette,
                                         imp.depth);
    if (!Load(&imp, image.get(), nullptr, false)) return nullptr;
    return image;
}

bool SamePixels(const Image& a, const Image& b, int bytesPerPixel) {
    if (a.width != b.width || a.height != b.height) return false;
    for (int y = 0; y < a.height; ++y)
        if (std::memcmp(a.Row(y), b.Row(y), static_cast<size_t>(bytesPerPixel) * a.width) != 0)
            return false;
    return true;
}
}  // namespace

TEST(ColourCommands, ThumbnailFits400x300Into88x66And300x400Into49x66) {
    auto wide = MakePicture(400, 300, 1);
    auto tall = MakePicture(300, 400, 2);
    const std::string wideIn = SavePicture("thumb-wide.bmp", wide.get());
    const std::string tallIn = SavePicture("thumb-tall.bmp", tall.get());
    const std::string out = test::TempPath("thumb-out.bmp");

    ASSERT_EQ(RunCli("thumbnail " + wideIn + " " + out).status, 0);
    EXPECT_EQ(RunCli("info " + out).out, out + ": 88x66x24, Microsoft Windows Bitmap, Raw\n");
    ASSERT_EQ(RunCli("thumbnail " + tallIn + " " + out).status, 0);
    EXPECT_EQ(RunCli("info " + out).out, out + ": 49x66x24, Microsoft Windows Bitmap, Raw\n");
    // A box of 40 x 40: the wide picture is as wide as the box, 40 x 300 / 400 high.
    ASSERT_EQ(RunCli("thumbnail --size 40x40 " + wideIn + " " + out).status, 0);
    EXPECT_EQ(RunCli("info " + out).out, out + ": 40x30x24, Microsoft Windows Bitmap, Raw\n");
}

TEST(ColourCommands, ThumbnailIsTheBicubicResamplingOfThePicture) {
    auto picture = MakePicture(120, 90, 3);
    const std::string in = SavePicture("thumb-pixels.bmp", picture.get());
    const std::string out = test::TempPath("thumb-pixels-out.bmp");
    ASSERT_EQ(RunCli("thumbnail " + in + " " + out).status, 0);
    auto thumbnail = LoadBack(out);
    ASSERT_TRUE(thumbnail);
    Image expected(88, 66, 3 * 88, 66, nullptr, 24);
    ASSERT_TRUE(ResampleBicubic(&expected, picture.get(), nullptr));
    EXPECT_TRUE(SamePixels(*thumbnail, expected, 3));
}

TEST(ColourCommands, QuantizeWritesAPaletteBitmapOfAtMostNColours) {
    auto picture = MakePicture(64, 48, 4);
    const std::string in = SavePicture("quantize-in.bmp", picture.get());
    const std::string out = test::TempPath("quantize-out.bmp");
    ASSERT_EQ(RunCli("quantize --colors 16 --dither " + in + " " + out).status, 0);
    auto result = LoadBack(out);
    ASSERT_TRUE(result);
    ASSERT_TRUE(result->palette);
    std::set<int> used;
    for (int y = 0; y < 48; ++y)
        for (int x = 0; x < 64; ++x) used.insert(result->Row(y)[x]);
    EXPECT_LE(used.size(), 16u);

    uint8_t palette[kPaletteBytes] = {};
    Image expected(64, 48, 64, 48, palette, 8);
    ASSERT_TRUE(clr_Xto8bit(&expected, picture.get(), 16, true, false, nullptr));
    EXPECT_TRUE(SamePixels(*result, expected, 1));
    EXPECT_EQ(std::memcmp(result->palette, expected.palette, 3 * 16), 0);
}

TEST(ColourCommands, QuantizeFixedTwoGivesBlackAndWhite) {
    auto picture = MakePicture(30, 20, 5);
    const std::string in = SavePicture("quantize-fixed-in.bmp", picture.get());
    const std::string out = test::TempPath("quantize-fixed-out.bmp");
    ASSERT_EQ(RunCli("quantize --colors 2 --fixed " + in + " " + out).status, 0);
    auto result = LoadBack(out);
    ASSERT_TRUE(result && result->palette);
    const uint8_t blackWhite[6] = {0, 0, 0, 255, 255, 255};
    EXPECT_EQ(std::memcmp(result->palette, blackWhite, 6), 0);
    for (int y = 0; y < 20; ++y)
        for (int x = 0; x < 30; ++x) EXPECT_LE(result->Row(y)[x], 1);
}

TEST(ColourCommands, QuantizeReportsAColourCountOutOfRange) {
    auto picture = MakePicture(4, 4, 6);
    const std::string in = SavePicture("quantize-range.bmp", picture.get());
    const Result r = RunCli("quantize --colors 300 " + in + " " + test::TempPath("never.bmp"));
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err, in + ": clr_Xto8bit: iWantColors not in [2..256]\n");
}

TEST(ColourCommands, Dither15GivesChannelsThatAreMultiplesOfEight) {
    auto picture = MakePicture(50, 40, 7);
    const std::string in = SavePicture("dither15-in.bmp", picture.get());
    const std::string out = test::TempPath("dither15-out.bmp");
    ASSERT_EQ(RunCli("dither15 " + in + " " + out).status, 0);
    auto result = LoadBack(out);
    ASSERT_TRUE(result);
    for (int y = 0; y < 40; ++y)
        for (int x = 0; x < 150; ++x) ASSERT_EQ(result->Row(y)[x] & 7, 0);
    ASSERT_TRUE(clr_Dither24to15bit(picture.get(), picture.get(), nullptr));
    EXPECT_TRUE(SamePixels(*result, *picture, 3));
}

TEST(ColourCommands, ResampleBicubicAndNearest) {
    auto picture = MakePicture(33, 21, 8);
    const std::string in = SavePicture("resample-in.bmp", picture.get());
    const std::string out = test::TempPath("resample-out.bmp");
    ASSERT_EQ(RunCli("resample --size 70x9 " + in + " " + out).status, 0);
    auto result = LoadBack(out);
    ASSERT_TRUE(result);
    Image expected(70, 9, 210, 9, nullptr, 24);
    ASSERT_TRUE(ResampleBicubic(&expected, picture.get(), nullptr));
    EXPECT_TRUE(SamePixels(*result, expected, 3));

    // Nearest neighbour keeps a palette picture's depth.
    const std::string quantised = test::TempPath("resample-8bit.bmp");
    ASSERT_EQ(RunCli("quantize --colors 200 " + in + " " + quantised).status, 0);
    ASSERT_EQ(RunCli("resample --nearest --size 11x7 " + quantised + " " + out).status, 0);
    EXPECT_EQ(RunCli("info " + out).out, out + ": 11x7x8, Microsoft Windows Bitmap, Raw\n");
    auto source = LoadBack(quantised);
    auto nearest = LoadBack(out);
    ASSERT_TRUE(source && nearest);
    Image expectedNearest(11, 7, 11, 7, source->palette, 8);
    ASSERT_TRUE(ResampleNearest(&expectedNearest, source.get(), nullptr));
    EXPECT_TRUE(SamePixels(*nearest, expectedNearest, 1));
}

TEST(ColourCommands, UsageErrorsExitTwo) {
    auto picture = MakePicture(4, 4, 9);
    const std::string in = SavePicture("usage-in.bmp", picture.get());
    const std::string out = test::TempPath("usage-out.bmp");
    EXPECT_EQ(RunCli("quantize " + in + " " + out).status, 2);
    EXPECT_EQ(RunCli("quantize --colors many " + in + " " + out).status, 2);
    EXPECT_EQ(RunCli("quantize --colors 8 --nearest " + in + " " + out).status, 2);
    EXPECT_EQ(RunCli("resample " + in + " " + out).status, 2);
    EXPECT_EQ(RunCli("resample --size 0x5 " + in + " " + out).status, 2);
    EXPECT_EQ(RunCli("resample --size 5 " + in + " " + out).status, 2);
    EXPECT_EQ(RunCli("thumbnail " + in).status, 2);
    EXPECT_EQ(RunCli("dither15 --dither " + in + " " + out).status, 2);
    const Result r = RunCli("thumbnail --size");
    EXPECT_EQ(r.status, 2);
    EXPECT_EQ(r.err, "vantirel-cli: thumbnail: --size needs a value\nTry 'vantirel-cli --help'.\n");
}

TEST(ColourCommands, AFileThatCannotBeReadReportsPlaceAndMessage) {
    const std::string missing = test::TempPath("no-such-picture.bmp");
    const Result r = RunCli("thumbnail " + missing + " " + test::TempPath("x.bmp"));
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err, missing + ": ImageImpFile(): Couldn't open file: '" + missing + "'\n");
}
#endif
