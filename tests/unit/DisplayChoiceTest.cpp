#include <gtest/gtest.h>

#include "core/Settings.h"
#include "display/DisplayChoice.h"

namespace {
constexpr bool kPalette = true;
constexpr bool kTrueColour = false;
DisplayClass Choose(bool palette, int bits, bool fixed = false, bool dither15 = false,
                    bool dib = true) {
    return ChooseDisplayClass(palette, bits, dib, fixed, dither15);
}
}  // namespace

TEST(DisplayChoice, PalettePicturesNeedFiveBitsForADibSection) {
    EXPECT_EQ(Choose(kPalette, 1), DisplayClass::Plain);
    EXPECT_EQ(Choose(kPalette, 4), DisplayClass::Plain);
    EXPECT_EQ(Choose(kPalette, 8), DisplayClass::DIBSection);
    EXPECT_EQ(Choose(kPalette, 16), DisplayClass::DIBSection);
    EXPECT_EQ(Choose(kPalette, 24), DisplayClass::DIBSection);
    EXPECT_EQ(Choose(kPalette, 32), DisplayClass::DIBSection);
}

TEST(DisplayChoice, FixedPaletteOnAnEightBitScreenMakesAPlainImage) {
    EXPECT_EQ(Choose(kPalette, 8, true), DisplayClass::Plain);
    EXPECT_EQ(Choose(kPalette, 9, true), DisplayClass::DIBSection);
    EXPECT_EQ(Choose(kPalette, 16, true), DisplayClass::DIBSection);
}

TEST(DisplayChoice, TrueColourPicturesNeedNineBits) {
    EXPECT_EQ(Choose(kTrueColour, 4), DisplayClass::Plain);
    EXPECT_EQ(Choose(kTrueColour, 8), DisplayClass::Plain);
    EXPECT_EQ(Choose(kTrueColour, 15), DisplayClass::DIBSection);
    EXPECT_EQ(Choose(kTrueColour, 16), DisplayClass::DIBSection);
    EXPECT_EQ(Choose(kTrueColour, 24), DisplayClass::DIBSection);
}

TEST(DisplayChoice, DitherTo15BitsOnAHighColourScreenMakesAPlainImage) {
    EXPECT_EQ(Choose(kTrueColour, 16, false, true), DisplayClass::Plain);
    EXPECT_EQ(Choose(kTrueColour, 15, false, true), DisplayClass::Plain);
    EXPECT_EQ(Choose(kTrueColour, 24, false, true), DisplayClass::DIBSection);
    EXPECT_EQ(Choose(kTrueColour, 32, false, true), DisplayClass::DIBSection);
    EXPECT_EQ(Choose(kPalette, 16, false, true), DisplayClass::DIBSection);
}

TEST(DisplayChoice, WithoutDibSectionsEverythingIsPlain) {
    for (int bits : {1, 4, 8, 16, 24, 32}) {
        EXPECT_EQ(Choose(kPalette, bits, false, false, false), DisplayClass::Plain);
        EXPECT_EQ(Choose(kTrueColour, bits, false, false, false), DisplayClass::Plain);
    }
}

TEST(DisplayChoice, OneBitScreensQuantiseToTwoFixedColours) {
    SettingsBlock settings;
    FillDefaultSettings(&settings);
    const DisplayConversion plan = PlanDisplayConversion(1, false, settings);
    EXPECT_EQ(plan.kind, DisplayConversion::Quantise);
    EXPECT_EQ(plan.wantColours, 2);
    EXPECT_TRUE(plan.fixedPalette);
    EXPECT_TRUE(plan.dither);
}

TEST(DisplayChoice, FourBitScreensQuantiseToSixteenFixedColoursWithTheDitherOption) {
    SettingsBlock settings;
    FillDefaultSettings(&settings);
    settings.disp.bDither = 0;
    const DisplayConversion plan = PlanDisplayConversion(4, true, settings);
    EXPECT_EQ(plan.kind, DisplayConversion::Quantise);
    EXPECT_EQ(plan.wantColours, 16);
    EXPECT_TRUE(plan.fixedPalette);
    EXPECT_FALSE(plan.dither);
}

TEST(DisplayChoice, EightBitScreensUse238ColoursUnlessAllAreWanted) {
    SettingsBlock settings;
    FillDefaultSettings(&settings);
    DisplayConversion plan = PlanDisplayConversion(8, false, settings);
    EXPECT_EQ(plan.kind, DisplayConversion::Quantise);
    EXPECT_EQ(plan.wantColours, 238);
    EXPECT_FALSE(plan.fixedPalette);
    settings.disp.bUseMaxColors = 1;
    settings.disp.bFixedPalette = 1;
    plan = PlanDisplayConversion(8, true, settings);
    EXPECT_EQ(plan.wantColours, 256);
    EXPECT_TRUE(plan.fixedPalette);
}

TEST(DisplayChoice, HighColourScreensDitherTrueColourOnlyWhenAsked) {
    SettingsBlock settings;
    FillDefaultSettings(&settings);
    EXPECT_EQ(PlanDisplayConversion(16, false, settings).kind, DisplayConversion::AsIs);
    settings.disp.bDither15 = 1;
    EXPECT_EQ(PlanDisplayConversion(16, false, settings).kind, DisplayConversion::Dither15);
    EXPECT_EQ(PlanDisplayConversion(15, false, settings).kind, DisplayConversion::Dither15);
    EXPECT_EQ(PlanDisplayConversion(16, true, settings).kind, DisplayConversion::AsIs);
    EXPECT_EQ(PlanDisplayConversion(24, false, settings).kind, DisplayConversion::AsIs);
    EXPECT_EQ(PlanDisplayConversion(32, false, settings).kind, DisplayConversion::AsIs);
}
