#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "app/SettingsValues.h"

namespace {

std::vector<std::string> kExpectedOrder = {
    "szLastImpDir",          "szLastExpDir",       "iLastExpType",
    "disp.bUseMaxColors",    "disp.bDither",       "disp.bDither15",
    "disp.bFixedPalette",    "disp.bRunMaximized", "disp.bTitleRes",
    "disp.bOpenInfo",        "disp.bAutoSize",     "jpeg.bFastDCT",
    "jpeg.bFastUnsubsample", "stat.iOpen",         "stat.iSave",
    "idx.bShowDirs",         "idx.bShowOther",     "idx.bShowRes",
    "idx.bShowSize",         "idx.iIconX",         "idx.iIconY",
    "idx.iIconSpacing"};

}  // namespace

TEST(SettingsValues, DefaultOfFourBytesTakesTheLowBytesLittleEndian) {
    unsigned char field[4] = {9, 9, 9, 9};
    PutDefault(field, 4, 0x01020358);
    EXPECT_EQ(field[0], 0x58);
    EXPECT_EQ(field[1], 0x03);
    EXPECT_EQ(field[2], 0x02);
    EXPECT_EQ(field[3], 0x01);
}

TEST(SettingsValues, DefaultOfOneByteTakesOnlyTheLowestByte) {
    unsigned char field[2] = {9, 9};
    PutDefault(field, 1, 1);
    EXPECT_EQ(field[0], 1);
    EXPECT_EQ(field[1], 9);
}

TEST(SettingsValues, ZeroDefaultFillsTheWholeDestinationWithZeros) {
    char field[16];
    std::memset(field, 'x', sizeof field);
    PutDefault(field, sizeof field, 0);
    for (char c : field) EXPECT_EQ(c, 0);
}

TEST(SettingsValues, TextDefaultIsCopiedAndZeroPadded) {
    char field[8];
    std::memset(field, 'x', sizeof field);
    PutDefaultText(field, sizeof field, "C:\\");
    EXPECT_STREQ(field, "C:\\");
    EXPECT_EQ(field[7], 0);
}

TEST(SettingsValues, ValuesAreReadInTheRegistryOrderWithTheirFieldSizes) {
    SettingsBlock block;
    std::memset(&block, 0, sizeof block);
    std::vector<std::string> names;
    std::vector<uint32_t> sizes;
    ReadSettingValues(&block, [&](const char* name, void*, uint32_t size) {
        names.push_back(name);
        sizes.push_back(size);
        return 0u;
    });
    EXPECT_EQ(names, kExpectedOrder);
    const std::vector<uint32_t> expectedSizes = {516, 516, 4, 1, 1, 1, 1, 1, 1, 1, 1,
                                                 1,   1,   4, 4, 1, 1, 1, 1, 4, 4, 4};
    EXPECT_EQ(sizes, expectedSizes);
}

TEST(SettingsValues, UnreadableValuesKeepTheTableDefaults) {
    SettingsBlock block;
    std::memset(&block, 0x5a, sizeof block);
    // The reader scribbles before failing, as a failed query may.
    ReadSettingValues(&block, [](const char*, void* destination, uint32_t size) {
        std::memset(destination, 0x77, size);
        return 0u;
    });
    EXPECT_EQ(block.idx.iIconX, 88);
    EXPECT_EQ(block.idx.iIconY, 66);
    EXPECT_EQ(block.idx.iIconSpacing, 10);
    EXPECT_EQ(block.disp.bDither, 1);
    EXPECT_EQ(block.disp.bOpenInfo, 1);
    EXPECT_EQ(block.idx.bShowRes, 1);
    EXPECT_EQ(block.disp.bDither15, 0);
    EXPECT_EQ(block.iLastExpType, 0);
    EXPECT_EQ(block.szLastImpDir[0], 0);
    EXPECT_EQ(block.szLastImpDir[515], 0);
}

TEST(SettingsValues, ReadValuesReplaceTheDefaults) {
    SettingsBlock block;
    std::memset(&block, 0, sizeof block);
    ReadSettingValues(&block, [](const char* name, void* destination, uint32_t size) {
        if (std::strcmp(name, "idx.iIconX") == 0) {
            const unsigned char value[4] = {120, 0, 0, 0};
            std::memcpy(destination, value, 4);
            return 4u;
        }
        if (std::strcmp(name, "szLastImpDir") == 0) {
            std::memcpy(destination, "D:\\pics\\", 9);
            return 9u;
        }
        (void)size;
        return 0u;
    });
    EXPECT_EQ(block.idx.iIconX, 120);
    EXPECT_EQ(block.idx.iIconY, 66);
    EXPECT_STREQ(block.szLastImpDir, "D:\\pics\\");
}

TEST(SettingsValues, ValuesAreWrittenInTheSameOrderWithTypesAndSizes) {
    SettingsBlock block;
    FillDefaultSettings(&block);
    std::strcpy(block.szLastImpDir, "C:\\images\\");
    block.stat.iOpen = 7;
    std::vector<std::string> names;
    std::map<std::string, std::pair<uint32_t, std::string>> written;
    WriteSettingValues(
        &block, [&](const char* name, uint32_t type, const void* data, uint32_t size) {
            names.push_back(name);
            written[name] = {type, std::string(static_cast<const char*>(data), size)};
        });
    EXPECT_EQ(names, kExpectedOrder);
    EXPECT_EQ(written["szLastImpDir"].first, 1u);
    EXPECT_EQ(written["szLastImpDir"].second, std::string("C:\\images\\\0", 11));
    EXPECT_EQ(written["szLastExpDir"].second, std::string("\0", 1));
    EXPECT_EQ(written["stat.iOpen"].first, 4u);
    EXPECT_EQ(written["stat.iOpen"].second, std::string("\x07\0\0\0", 4));
    EXPECT_EQ(written["disp.bDither"].first, 3u);
    EXPECT_EQ(written["disp.bDither"].second, std::string("\x01", 1));
    EXPECT_EQ(written["idx.iIconX"].second, std::string("\x58\0\0\0", 4));
}

TEST(SettingsValues, ATextFillingItsWholeFieldIsStoredWithANul) {
    SettingsBlock block;
    FillDefaultSettings(&block);
    std::memset(block.szLastExpDir, 'a', sizeof block.szLastExpDir);
    std::string stored;
    WriteSettingValues(&block, [&](const char* name, uint32_t, const void* data, uint32_t size) {
        if (std::strcmp(name, "szLastExpDir") == 0)
            stored.assign(static_cast<const char*>(data), size);
    });
    ASSERT_EQ(stored.size(), 516u);
    EXPECT_EQ(stored[515], '\0');
    EXPECT_EQ(stored[514], 'a');
}

TEST(SettingsValues, ProgramPathGivesFileNameExtensionAndHelpPath) {
    SettingsBlock block;
    std::memset(&block, 0, sizeof block);
    SetProgramPaths(&block, "C:\\Program Files\\Vantirel\\VANTIREL.EXE");
    EXPECT_STREQ(block.programPath, "C:\\Program Files\\Vantirel\\VANTIREL.EXE");
    EXPECT_EQ(block.programFileNamePos, 26);
    EXPECT_EQ(block.programExtensionPos, 34);
    EXPECT_STREQ(block.helpPath, "C:\\Program Files\\Vantirel\\Vantirel.hlp");
}

TEST(SettingsValues, ProgramPathWithoutADotStillGetsTheHelpFileAfterTheLastBackslash) {
    SettingsBlock block;
    std::memset(&block, 0, sizeof block);
    SetProgramPaths(&block, "C:\\TOOLS\\VIEWER");
    EXPECT_EQ(block.programFileNamePos, 9);
    EXPECT_EQ(block.programExtensionPos, 15);  // the end of the text
    EXPECT_STREQ(block.helpPath, "C:\\TOOLS\\Vantirel.hlp");
}

TEST(SettingsValues, ADriveColonAlsoStartsTheFileName) {
    SettingsBlock block;
    std::memset(&block, 0, sizeof block);
    SetProgramPaths(&block, "A:VT.EXE");
    EXPECT_EQ(block.programFileNamePos, 2);
    EXPECT_EQ(block.programExtensionPos, 4);
    EXPECT_STREQ(block.helpPath, "A:Vantirel.hlp");
}

TEST(SettingsValues, StoreNamesAreTheProgramsOwn) {
    EXPECT_STREQ(kSettingsSectionName, "Vantirel v3.0.DAT");
    EXPECT_STREQ(kSettingsKeyPath, "Software\\Dravik\\Vantirel");
    EXPECT_EQ(sizeof(SettingsBlock), 2364u);
}
