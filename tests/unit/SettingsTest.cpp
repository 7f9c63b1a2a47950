#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "core/Settings.h"

TEST(Settings, DefaultsAreThoseOfAFreshFirstInstance) {
    SettingsBlock block;
    std::memset(&block, 0xCC, sizeof block);
    FillDefaultSettings(&block);
    EXPECT_EQ(block.idx.iIconX, 88);
    EXPECT_EQ(block.idx.iIconY, 66);
    EXPECT_EQ(block.idx.iIconSpacing, 10);
    EXPECT_EQ(block.disp.bDither, 1);
    EXPECT_EQ(block.disp.bOpenInfo, 1);
    EXPECT_EQ(block.idx.bShowRes, 1);
    EXPECT_EQ(block.disp.bDither15, 0);
    EXPECT_EQ(block.jpeg.bFastDCT, 0);
    EXPECT_EQ(block.jpeg.bFastUnsubsample, 0);
    EXPECT_EQ(block.instanceCount, 1);
    EXPECT_STREQ(block.szLastImpDir, "");
    EXPECT_EQ(block.reserved2[163], 0);
}

TEST(Settings, PersistedValuesAreNamedAndOrderedAsInTheRegistry) {
    std::vector<std::string> names;
    for (const SettingValue& value : kSettingValues) names.push_back(value.name);
    EXPECT_EQ(names, (std::vector<std::string>{
                         "szLastImpDir",          "szLastExpDir",       "iLastExpType",
                         "disp.bUseMaxColors",    "disp.bDither",       "disp.bDither15",
                         "disp.bFixedPalette",    "disp.bRunMaximized", "disp.bTitleRes",
                         "disp.bOpenInfo",        "disp.bAutoSize",     "jpeg.bFastDCT",
                         "jpeg.bFastUnsubsample", "stat.iOpen",         "stat.iSave",
                         "idx.bShowDirs",         "idx.bShowOther",     "idx.bShowRes",
                         "idx.bShowSize",         "idx.iIconX",         "idx.iIconY",
                         "idx.iIconSpacing"}));
}

TEST(Settings, ValueTypesAndSizesMatchTheirFields) {
    for (const SettingValue& value : kSettingValues) {
        const std::string name = value.name;
        if (name.rfind("sz", 0) == 0) {
            EXPECT_EQ(value.type, kSettingString) << name;
            EXPECT_EQ(value.size, 516u) << name;
        } else if (name.find(".b") != std::string::npos) {
            EXPECT_EQ(value.type, kSettingBinary) << name;
            EXPECT_EQ(value.size, 1u) << name;
        } else {
            EXPECT_EQ(value.type, kSettingDword) << name;
            EXPECT_EQ(value.size, 4u) << name;
        }
    }
    EXPECT_EQ(kSettingValues[3].offset, 1036u);
    EXPECT_EQ(kSettingValues[21].offset, 1068u);
}

TEST(Settings, TheProcessWidePointerStartsAtADefaultBlock) {
    ASSERT_NE(g_settings, nullptr);
    EXPECT_EQ(g_settings->idx.iIconX, 88);
    EXPECT_EQ(sizeof(SettingsBlock), 2364u);
}
