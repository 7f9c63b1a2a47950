#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "core/Settings.h"
#include "display/DisplayCaps.h"
#include "display/DisplayConversion.h"
#include "display/DisplayImages.h"
#include "tests/win/MemoryCanvas.h"

namespace {

// Settings and screen as each test wants them; restored afterwards.
class DisplayImagesTest : public ::testing::Test {
protected:
    void SetUp() override {
        savedCaps_ = g_display;
        savedSettings_ = g_settings;
        FillDefaultSettings(&settings_);
        g_settings = &settings_;
        g_display.dibSections = true;
        g_display.bitsPerPixel = 24;
    }
    void TearDown() override {
        g_display = savedCaps_;
        g_settings = savedSettings_;
    }

    DisplayCaps savedCaps_;
    SettingsBlock* savedSettings_;
    SettingsBlock settings_;
};

std::vector<uint8_t> GreyRamp() {
    std::vector<uint8_t> palette(768);
    for (int i = 0; i < 256; ++i) palette[3 * i] = palette[3 * i + 1] = palette[3 * i + 2] = i;
    return palette;
}

// The colour at x, y after drawing the image into a 32-bit DIB section.
struct Canvas : MemoryCanvas {
    Canvas(int width, int height) : MemoryCanvas(width, height) {}
    // Red, green, blue of one pixel.
    std::vector<int> At(int x, int y) const {
        const uint32_t colour = MemoryCanvas::At(x, y);
        return {static_cast<int>(colour >> 16), static_cast<int>(colour >> 8 & 0xFF),
                static_cast<int>(colour & 0xFF)};
    }
};

int PaletteEntries(HPALETTE palette) {
    WORD count = 0;
    GetObjectA(palette, sizeof count, &count);
    return count;
}

}  // namespace

TEST_F(DisplayImagesTest, DibSectionIsOneRowTallerTopDownWithItsStrideRounded) {
    DIBSImage image(5, 3, 15, 3, nullptr, 0);
    EXPECT_STREQ(image.className, "DIBSImage");
    EXPECT_EQ(image.stride, 16);
    EXPECT_EQ(image.depth, 24);
    DIBSECTION section = {};
    ASSERT_EQ(GetObjectA(image.Section(), sizeof section, &section),
              static_cast<int>(sizeof section));
    EXPECT_EQ(std::abs(section.dsBmih.biHeight), 4);
    EXPECT_EQ(section.dsBmih.biWidth, 5);
    EXPECT_EQ(section.dsBmih.biBitCount, 24);
    EXPECT_EQ(section.dsBm.bmBits, image.pixels);
    EXPECT_EQ(image.PixelBytes(), 64u);
}

TEST_F(DisplayImagesTest, PaletteDibSectionDrawsItsPixelsThroughItsColourTable) {
    std::vector<uint8_t> palette(768, 0);
    palette[3] = 255;      // entry 1: red
    palette[6 + 2] = 255;  // entry 2: blue
    DIBSImage image(3, 2, 3, 2, palette.data(), 0);
    EXPECT_EQ(image.stride, 4);
    EXPECT_EQ(image.depth, 8);
    image.Row(0)[0] = 1;
    image.Row(0)[1] = 2;
    image.Row(1)[2] = 1;
    Canvas canvas(8, 8);
    ASSERT_TRUE(image.Draw(canvas.dc, 0, 0, 2, 3, 3, 2));
    EXPECT_EQ(canvas.At(2, 3), (std::vector<int>{255, 0, 0}));
    EXPECT_EQ(canvas.At(3, 3), (std::vector<int>{0, 0, 255}));
    EXPECT_EQ(canvas.At(4, 3), (std::vector<int>{0, 0, 0}));
    EXPECT_EQ(canvas.At(4, 4), (std::vector<int>{255, 0, 0}));
}

TEST_F(DisplayImagesTest, UpdatingTheColourTableChangesWhatIsDrawnAndTheNextPalette) {
    std::vector<uint8_t> palette = GreyRamp();
    DIBSImage image(2, 1, 2, 1, palette.data(), 0);
    image.Row(0)[0] = 7;
    Canvas canvas(4, 4);
    image.Hook(canvas.dc);
    ASSERT_NE(image.Palette(), nullptr);
    image.palette[21] = 10;
    image.palette[22] = 20;
    image.palette[23] = 30;
    image.Prepare();
    EXPECT_EQ(image.Palette(), nullptr);
    image.Hook(canvas.dc);
    ASSERT_NE(image.Palette(), nullptr);
    PALETTEENTRY entry = {};
    ASSERT_EQ(GetPaletteEntries(image.Palette(), 7, 1, &entry), 1u);
    EXPECT_EQ(entry.peRed, 10);
    EXPECT_EQ(entry.peGreen, 20);
    EXPECT_EQ(entry.peBlue, 30);
    image.Draw(canvas.dc, 0, 0, 0, 0, 2, 1);
    EXPECT_EQ(canvas.At(0, 0), (std::vector<int>{10, 20, 30}));
}

TEST_F(DisplayImagesTest, OneBitPictureHasATwoEntryLogicalPalette) {
    std::vector<uint8_t> palette = GreyRamp();
    DIBSImage image(8, 1, 8, 1, palette.data(), 1);
    Canvas canvas(2, 2);
    image.Hook(canvas.dc);
    ASSERT_NE(image.Palette(), nullptr);
    EXPECT_EQ(PaletteEntries(image.Palette()), 2);
    DIBSImage eight(8, 1, 8, 1, palette.data(), 8);
    eight.Hook(canvas.dc);
    EXPECT_EQ(PaletteEntries(eight.Palette()), 256);
}

TEST_F(DisplayImagesTest, DeviceBitmapIsMadeFromAnUnalignedTrueColourPicture) {
    Image source(5, 2, 15, 2, nullptr, 0);
    std::strcpy(source.label, "label");
    std::strcpy(source.path, "C:\\PICS\\five.bmp");
    for (int row = 0; row < 2; ++row)
        for (int x = 0; x < 5; ++x) {
            uint8_t* p = source.Row(row) + 3 * x;
            p[0] = static_cast<uint8_t>(10 * x);     // blue
            p[1] = static_cast<uint8_t>(100 + row);  // green
            p[2] = static_cast<uint8_t>(200 + x);    // red
        }
    DDBImage bitmap(source);
    EXPECT_STREQ(bitmap.className, "DDBImage");
    EXPECT_EQ(bitmap.pixels, nullptr);
    EXPECT_EQ(bitmap.stride, 16);
    EXPECT_STREQ(bitmap.label, "label");
    EXPECT_STREQ(bitmap.fileName, "five.bmp");
    ASSERT_NE(bitmap.Bitmap(), nullptr);
    EXPECT_EQ(bitmap.Palette(), nullptr);
    Canvas canvas(8, 4);
    bitmap.Draw(canvas.dc, 1, 0, 0, 0, 4, 2);
    EXPECT_EQ(canvas.At(0, 0), (std::vector<int>{201, 100, 10}));
    EXPECT_EQ(canvas.At(3, 1), (std::vector<int>{204, 101, 40}));
}

TEST_F(DisplayImagesTest, PlainImageDrawsWhite) {
    Image plain(2, 2, 6, 2, nullptr, 0);
    Canvas canvas(4, 4);
    EXPECT_TRUE(plain.Draw(canvas.dc, 0, 0, 1, 1, 2, 2));
    EXPECT_EQ(canvas.At(1, 1), (std::vector<int>{255, 255, 255}));
    EXPECT_EQ(canvas.At(0, 0), (std::vector<int>{0, 0, 0}));
}

TEST_F(DisplayImagesTest, ClassFollowsTheScreenDepthAndTheOptions) {
    std::vector<uint8_t> palette = GreyRamp();
    auto make = [&](bool withPalette) {
        return std::unique_ptr<Image>(CreateDisplayImage(
            4, 4, withPalette ? 4 : 12, 4, withPalette ? palette.data() : nullptr, 0));
    };
    g_display.bitsPerPixel = 8;
    EXPECT_STREQ(make(true)->className, "DIBSImage");
    settings_.disp.bFixedPalette = 1;
    EXPECT_STREQ(make(true)->className, "Image");
    g_display.bitsPerPixel = 16;
    settings_.disp.bDither15 = 1;
    EXPECT_STREQ(make(false)->className, "Image");
    g_display.bitsPerPixel = 24;
    EXPECT_STREQ(make(false)->className, "DIBSImage");
    g_display.bitsPerPixel = 32;
    EXPECT_STREQ(make(false)->className, "DIBSImage");
    g_display.bitsPerPixel = 4;
    EXPECT_STREQ(make(true)->className, "Image");
    EXPECT_STREQ(make(false)->className, "Image");
    g_display.bitsPerPixel = 24;
    g_display.dibSections = false;
    EXPECT_STREQ(make(false)->className, "Image");
}

TEST_F(DisplayImagesTest, TrueColourScreenShowsThePictureAsItIs) {
    Image picture(3, 2, 9, 2, nullptr, 0);
    for (int i = 0; i < 18; ++i) picture.pixels[i] = static_cast<uint8_t>(i * 13 + 1);
    std::strcpy(picture.path, "C:\\x\\three.bmp");
    std::unique_ptr<Image> display(MakeDisplayImage(&picture, nullptr));
    ASSERT_NE(display, nullptr);
    EXPECT_STREQ(display->className, "DIBSImage");
    EXPECT_STREQ(display->fileName, "three.bmp");
    for (int row = 0; row < 2; ++row)
        EXPECT_EQ(std::memcmp(display->Row(row), picture.Row(row), 9), 0) << "row " << row;
}

TEST_F(DisplayImagesTest, HighColourScreenWithDither15GetsChannelsInStepsOf8) {
    g_display.bitsPerPixel = 16;
    settings_.disp.bDither15 = 1;
    Image picture(16, 16, 48, 16, nullptr, 0);
    std::memset(picture.pixels, 100, 48 * 16);
    std::unique_ptr<Image> display(MakeDisplayImage(&picture, nullptr));
    ASSERT_NE(display, nullptr);
    EXPECT_STREQ(display->className, "DDBImage");
    Canvas canvas(16, 16);
    display->Draw(canvas.dc, 0, 0, 0, 0, 16, 16);
    int total = 0;
    for (int y = 0; y < 16; ++y)
        for (int x = 0; x < 16; ++x) {
            const int red = canvas.At(x, y)[0];
            EXPECT_TRUE(red == 96 || red == 104) << red;
            total += red;
        }
    // The dither keeps the average near 100.
    EXPECT_NEAR(total / 256.0, 100.0, 1.0);
}

TEST_F(DisplayImagesTest, EightBitScreenQuantisesIntoAPaletteDibSection) {
    g_display.bitsPerPixel = 8;
    Image picture(4, 1, 12, 1, nullptr, 0);
    const uint8_t colours[12] = {0, 0, 255, 0, 255, 0, 255, 0, 0, 255, 255, 255};
    std::memcpy(picture.pixels, colours, 12);
    std::unique_ptr<Image> display(MakeDisplayImage(&picture, nullptr));
    ASSERT_NE(display, nullptr);
    EXPECT_STREQ(display->className, "DIBSImage");
    ASSERT_NE(display->palette, nullptr);
    Canvas canvas(4, 1);
    display->Draw(canvas.dc, 0, 0, 0, 0, 4, 1);
    // Optimised palette colours are 6-bit means times 4: 252 at most.
    EXPECT_EQ(canvas.At(0, 0), (std::vector<int>{252, 0, 0}));
    EXPECT_EQ(canvas.At(1, 0), (std::vector<int>{0, 252, 0}));
    EXPECT_EQ(canvas.At(2, 0), (std::vector<int>{0, 0, 252}));
    EXPECT_EQ(canvas.At(3, 0), (std::vector<int>{252, 252, 252}));
}

TEST_F(DisplayImagesTest, FourBitScreenUsesTheSixteenFixedColoursThroughABitmap) {
    g_display.bitsPerPixel = 4;
    settings_.disp.bDither = 0;
    Image picture(2, 1, 6, 1, nullptr, 0);
    const uint8_t colours[6] = {0, 0, 250, 250, 250, 250};  // red, white
    std::memcpy(picture.pixels, colours, 6);
    std::unique_ptr<Image> display(MakeDisplayImage(&picture, nullptr));
    ASSERT_NE(display, nullptr);
    EXPECT_STREQ(display->className, "DDBImage");
    ASSERT_NE(display->palette, nullptr);
    EXPECT_EQ(PaletteEntries(static_cast<DDBImage*>(display.get())->Palette()), 256);
    Canvas canvas(2, 1);
    display->Draw(canvas.dc, 0, 0, 0, 0, 2, 1);
    EXPECT_EQ(canvas.At(0, 0), (std::vector<int>{255, 0, 0}));
    EXPECT_EQ(canvas.At(1, 0), (std::vector<int>{255, 255, 255}));
}
