#include <gtest/gtest.h>

#include "display/PrintLayout.h"

namespace {

// Letter paper at 300 dots per inch, square dots, and a caption 200 x 50.
constexpr int kPortraitWidth = 2550, kPortraitHeight = 3300;
constexpr int kCaptionWidth = 200, kCaptionHeight = 50;

void ExpectRect(const PrintLayout& layout, int x, int y, int width, int height) {
    EXPECT_EQ(layout.x, x);
    EXPECT_EQ(layout.y, y);
    EXPECT_EQ(layout.width, width);
    EXPECT_EQ(layout.height, height);
}

}  // namespace

TEST(PrintLayout, CaptionIsCentredOnTheLastLine) {
    const PrintLayout layout = LayOutPrintedPage(kPortraitWidth, kPortraitHeight, 300, 300,
                                                 kCaptionWidth, kCaptionHeight, 192, 144);
    EXPECT_EQ(layout.captionX, 1175);  // (2550 - 200) / 2
    EXPECT_EQ(layout.captionY, 3250);  // 3300 - 50
    // An odd remainder is halved toward zero.
    EXPECT_EQ(LayOutPrintedPage(1001, 800, 1, 1, 300, 20, 10, 10).captionX, 350);
}

TEST(PrintLayout, WidePictureOnAPortraitPageIsLimitedByThePageWidthAndCentredAboveTheCaption) {
    // A = 2550 x 300 = 765000, B = 3250 x 300 = 975000; A / B < 400 / 100,
    // so W = A and H = 765000 x 100 / 400 = 191250.
    const PrintLayout layout = LayOutPrintedPage(kPortraitWidth, kPortraitHeight, 300, 300,
                                                 kCaptionWidth, kCaptionHeight, 400, 100);
    ExpectRect(layout, 0, 1306, 2550, 637);  // y = (975000 - 191250) / 600
    // Vertically centred in the 3250 pixels above the caption: 1306 above,
    // 1307 below.
    EXPECT_EQ(3250 - (layout.y + layout.height), 1307);
}

TEST(PrintLayout, TallPictureOnAPortraitPageIsLimitedByTheHeightAboveTheCaption) {
    // A / B = 0.78 >= 100 / 1000: H = B = 975000, W = 975000 x 100 / 1000.
    const PrintLayout layout = LayOutPrintedPage(kPortraitWidth, kPortraitHeight, 300, 300,
                                                 kCaptionWidth, kCaptionHeight, 100, 1000);
    // x = (765000 - 97500) / 600 = 1112.5, width = 97500 / 300 = 325.
    ExpectRect(layout, 1112, 0, 325, 3250);
}

TEST(PrintLayout, FourByThreePictureOnALandscapePageFillsTheHeight) {
    // A = 3300 x 300 = 990000, B = 2500 x 300 = 750000: 1.32 < 4 / 3, so
    // the width limits after all: H = 990000 x 144 / 192 = 742500.
    const PrintLayout layout =
        LayOutPrintedPage(3300, 2550, 300, 300, kCaptionWidth, kCaptionHeight, 192, 144);
    ExpectRect(layout, 0, 12, 3300, 2475);  // y = (750000 - 742500) / 600 = 12.5
    EXPECT_EQ(layout.captionX, 1550);
    EXPECT_EQ(layout.captionY, 2500);

    // A 3:2 page is wide enough for the height to limit.
    const PrintLayout wide =
        LayOutPrintedPage(3600, 2400, 300, 300, kCaptionWidth, kCaptionHeight, 192, 144);
    // A = 1080000, B = 2350 x 300 = 705000: H = 705000, W = 705000 x 192 / 144
    // = 940000; x = (1080000 - 940000) / 600 = 233.3.
    ExpectRect(wide, 233, 0, 3133, 2350);
}

TEST(PrintLayout, SquarePictureOnAPageOfWidePixelsKeepsItsProportionsOnPaper) {
    // Device pixels twice as wide as tall (ASPECTX 2, ASPECTY 1): the page of
    // 1000 x 1000 pixels is 2000 units wide and 1000 high on paper.
    const PrintLayout layout = LayOutPrintedPage(1000, 1000, 2, 1, 100, 20, 500, 500);
    // A = 2000, B = 980: H = 980, W = 980; x = (2000 - 980) / 4.
    ExpectRect(layout, 255, 0, 490, 980);
    // On paper: 490 x 2 by 980 x 1, a square.
    EXPECT_EQ(layout.width * 2, layout.height * 1);
}

TEST(PrintLayout, PictureOnAPageOfTallPixelsKeepsItsProportionsOnPaper) {
    // ASPECTX 3, ASPECTY 5: a 600 x 400 picture (3:2) on 1200 x 900 pixels
    // with a caption 30 high. A = 3600, B = 870 x 5 = 4350: 0.83 < 1.5, so
    // W = 3600 and H = 3600 x 400 / 600 = 2400.
    const PrintLayout layout = LayOutPrintedPage(1200, 900, 3, 5, 80, 30, 600, 400);
    // y = (4350 - 2400) / 10 = 195; width = 3600 / 3, height = 2400 / 5.
    ExpectRect(layout, 0, 195, 1200, 480);
    // On paper 1200 x 3 by 480 x 5 = 3600 x 2400: still 3:2.
    EXPECT_EQ(layout.width * 3 * 400, layout.height * 5 * 600);
}

TEST(PrintLayout, ExactRatioCountsAsHeightLimited) {
    // A / B equal to the picture's ratio takes the height branch: H = B.
    const PrintLayout layout = LayOutPrintedPage(400, 310, 1, 1, 50, 10, 4, 3);
    ExpectRect(layout, 0, 0, 400, 300);
}

TEST(PrintLayout, LargePrinterValuesDoNotOverflow) {
    // A4 at 600 dots per inch with aspect values of 600: A x height
    // (2976000 x 20000) would overflow 32 bits.
    const PrintLayout layout = LayOutPrintedPage(4960, 7016, 600, 600, 400, 100, 30000, 20000);
    // A = 2976000, B = 4149600; W = A, H = 2976000 x 20000 / 30000 = 1984000.
    ExpectRect(layout, 0, 1804, 4960, 3306);
}

TEST(PrintLayout, DegenerateDevicesAndPicturesGiveAnEmptyPictureInsteadOfDividingByZero) {
    // No pixel aspect reported: taken as square.
    ExpectRect(LayOutPrintedPage(1000, 1020, 0, 0, 10, 20, 100, 50), 0, 250, 1000, 500);
    // A caption as tall as the page leaves no room.
    ExpectRect(LayOutPrintedPage(1000, 20, 1, 1, 10, 20, 100, 50), 500, 0, 0, 0);
    ExpectRect(LayOutPrintedPage(1000, 10, 1, 1, 10, 20, 100, 50), 500, 0, 0, 0);
    // A picture without pixels.
    ExpectRect(LayOutPrintedPage(1000, 1020, 1, 1, 10, 20, 0, 50), 500, 500, 0, 0);
    ExpectRect(LayOutPrintedPage(1000, 1020, 1, 1, 10, 20, 100, 0), 500, 500, 0, 0);
}
