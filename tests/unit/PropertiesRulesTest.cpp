#include <gtest/gtest.h>

#include "app/PropertiesRules.h"

TEST(PropertiesRules, ArchitecturesAndPlatformsHaveTheirNames) {
    EXPECT_STREQ(ArchitectureName(0), "Intel");
    EXPECT_STREQ(ArchitectureName(1), "Mips");
    EXPECT_STREQ(ArchitectureName(2), "Alpha");
    EXPECT_STREQ(ArchitectureName(3), "PPC");
    EXPECT_STREQ(ArchitectureName(9), "?");
    EXPECT_STREQ(ArchitectureName(-1), "?");
    EXPECT_STREQ(PlatformName(0), "3.1 with Win32s");
    EXPECT_STREQ(PlatformName(1), "95");
    EXPECT_STREQ(PlatformName(2), "NT");
    EXPECT_STREQ(PlatformName(3), "?");
}

TEST(PropertiesRules, InformationPageDescribesPictureScreenCountersAndSystem) {
    PictureFacts picture;
    picture.path = "C:\\Pictures\\CAT.GIF";
    picture.width = 320;
    picture.height = 200;
    picture.depth = 8;
    ScreenFacts screen{1024, 768, 16};
    SystemFacts system;
    system.processors = 2;
    system.architecture = 0;
    system.processorType = 586;
    system.platform = 1;
    system.majorVersion = 4;
    system.minorVersion = 0;
    system.build = 950;
    const InformationTexts texts = DescribeInformation(picture, screen, 12, 3, system);
    EXPECT_EQ(texts.source, "Source: C:\\Pictures\\CAT.GIF");
    EXPECT_EQ(texts.image, "Image: 320x200x8");
    EXPECT_EQ(texts.display, "Display: 1024x768x16");
    EXPECT_EQ(texts.opened, "12");
    EXPECT_EQ(texts.saved, "3");
    EXPECT_EQ(texts.processor, "2 Intel 586 CPU");
    EXPECT_EQ(texts.system, "Windows 95 v.4.0 build 950");
    EXPECT_EQ(texts.version, "Vantirel v.3.0");
}

TEST(PropertiesRules, UnknownArchitectureAndPlatformShowAQuestionMark) {
    SystemFacts system;
    system.processors = 1;
    system.architecture = 9;
    system.processorType = 8664;
    system.platform = 7;
    system.majorVersion = 6;
    system.minorVersion = 2;
    system.build = 9200;
    const InformationTexts texts = DescribeInformation(PictureFacts{}, ScreenFacts{}, 0, 0, system);
    EXPECT_EQ(texts.processor, "1 ? 8664 CPU");
    EXPECT_EQ(texts.system, "Windows ? v.6.2 build 9200");
    EXPECT_EQ(texts.source, "Source: ");
}

TEST(PropertiesRules, ThumbnailWidthOfTenIsStoredAsThirtyTwo) {
    int32_t width = 88;
    ApplyNumberField("10", &width, kMinimumThumbnailSize);
    EXPECT_EQ(width, 32);
    ApplyNumberField("120", &width, kMinimumThumbnailSize);
    EXPECT_EQ(width, 120);
    ApplyNumberField("32", &width, kMinimumThumbnailSize);
    EXPECT_EQ(width, 32);
}

TEST(PropertiesRules, NegativeSpacingIsStoredAsZero) {
    int32_t spacing = 10;
    ApplyNumberField("-5", &spacing, kMinimumThumbnailSpacing);
    EXPECT_EQ(spacing, 0);
    ApplyNumberField("0", &spacing, kMinimumThumbnailSpacing);
    EXPECT_EQ(spacing, 0);
    ApplyNumberField("+7", &spacing, kMinimumThumbnailSpacing);
    EXPECT_EQ(spacing, 7);
}

TEST(PropertiesRules, TextThatIsNotANumberLeavesTheSettingAlone) {
    int32_t value = 66;
    ApplyNumberField("", &value, kMinimumThumbnailSize);
    EXPECT_EQ(value, 66);
    ApplyNumberField("big", &value, kMinimumThumbnailSize);
    EXPECT_EQ(value, 66);
    ApplyNumberField("-", &value, kMinimumThumbnailSize);
    EXPECT_EQ(value, 66);
}

TEST(PropertiesRules, NumbersAreReadAsScanfReadsThem) {
    int32_t value = 0;
    ApplyNumberField("  64", &value, 0);
    EXPECT_EQ(value, 64);
    ApplyNumberField("48px", &value, 0);
    EXPECT_EQ(value, 48);
    ApplyNumberField("99999999999", &value, 0);
    EXPECT_EQ(value, 2147483647);
    ApplyNumberField("-99999999999", &value, -2147483647 - 1);
    EXPECT_EQ(value, -2147483647 - 1);
}

TEST(PropertiesRules, BrowserCommandTakesThePageInPlaceOfItsLastPercentOne) {
    EXPECT_EQ(BrowserCommandLine("\"C:\\windows\\system32\\winebrowser.exe\" \"%1\"",
                                 "http://example.org/"),
              "\"C:\\windows\\system32\\winebrowser.exe\" \"http://example.org/\"");
    EXPECT_EQ(BrowserCommandLine("browse.exe %1 -x %1 -new", "P"), "browse.exe %1 -x P -new");
    EXPECT_EQ(BrowserCommandLine("%1", "P"), "P");
}

TEST(PropertiesRules, BrowserCommandWithoutPercentOneGetsThePageAppendedWithoutABlank) {
    EXPECT_EQ(BrowserCommandLine("C:\\NET\\BROWSE.EXE", "http://example.org/"),
              "C:\\NET\\BROWSE.EXE"
              "http://example.org/");
    EXPECT_EQ(BrowserCommandLine("C:\\NET\\BROWSE.EXE -url ", "P"), "C:\\NET\\BROWSE.EXE -url P");
    EXPECT_EQ(BrowserCommandLine("", "P"), "P");
    EXPECT_EQ(BrowserCommandLine("%", "P"), "%P");
}
