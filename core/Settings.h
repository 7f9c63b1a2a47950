// The settings block shared by every running instance of the program. Its
// byte layout is fixed: the window program maps it from a named shared
// section (all instances must agree), and it is persisted value by value in
// the registry. The command-line tool and the tests point g_settings at a
// local block holding the defaults.
#pragma once
#include <cstddef>
#include <cstdint>

struct SettingsBlock {
    char szLastImpDir[516];
    char szLastExpDir[516];
    int32_t iLastExpType;
    struct {
        uint8_t bUseMaxColors;
        uint8_t bFixedPalette;
        uint8_t bDither;
        uint8_t bDither15;
        uint8_t bRunMaximized;
        uint8_t bTitleRes;
        uint8_t bOpenInfo;
        uint8_t bAutoSize;
    } disp;
    struct {
        uint8_t bFastDCT;
        uint8_t bFastUnsubsample;
    } jpeg;
    uint8_t reserved1[2];
    struct {
        int32_t iOpen;
        int32_t iSave;
    } stat;
    struct {
        uint8_t bShowDirs;
        uint8_t bShowOther;
        uint8_t bShowRes;
        uint8_t bShowSize;
        int32_t iIconX;
        int32_t iIconY;
        int32_t iIconSpacing;
    } idx;
    int32_t instanceCount;
    uint8_t reserved2[164];
    uint32_t savedSysColors[20];
    int32_t allColoursRefCount;
    char programPath[516];
    // Offsets into programPath (the block is only shared between instances
    // of the same build, but offsets keep it independent of where it maps).
    int32_t programFileNamePos;
    int32_t programExtensionPos;
    char helpPath[516];
};

static_assert(offsetof(SettingsBlock, szLastExpDir) == 516);
static_assert(offsetof(SettingsBlock, iLastExpType) == 1032);
static_assert(offsetof(SettingsBlock, disp.bUseMaxColors) == 1036);
static_assert(offsetof(SettingsBlock, disp.bFixedPalette) == 1037);
static_assert(offsetof(SettingsBlock, disp.bDither) == 1038);
static_assert(offsetof(SettingsBlock, disp.bDither15) == 1039);
static_assert(offsetof(SettingsBlock, disp.bRunMaximized) == 1040);
static_assert(offsetof(SettingsBlock, disp.bTitleRes) == 1041);
static_assert(offsetof(SettingsBlock, disp.bOpenInfo) == 1042);
static_assert(offsetof(SettingsBlock, disp.bAutoSize) == 1043);
static_assert(offsetof(SettingsBlock, jpeg.bFastDCT) == 1044);
static_assert(offsetof(SettingsBlock, jpeg.bFastUnsubsample) == 1045);
static_assert(offsetof(SettingsBlock, stat.iOpen) == 1048);
static_assert(offsetof(SettingsBlock, stat.iSave) == 1052);
static_assert(offsetof(SettingsBlock, idx.bShowDirs) == 1056);
static_assert(offsetof(SettingsBlock, idx.bShowOther) == 1057);
static_assert(offsetof(SettingsBlock, idx.bShowRes) == 1058);
static_assert(offsetof(SettingsBlock, idx.bShowSize) == 1059);
static_assert(offsetof(SettingsBlock, idx.iIconX) == 1060);
static_assert(offsetof(SettingsBlock, idx.iIconY) == 1064);
static_assert(offsetof(SettingsBlock, idx.iIconSpacing) == 1068);
static_assert(offsetof(SettingsBlock, instanceCount) == 1072);
static_assert(offsetof(SettingsBlock, reserved2) == 1076);
static_assert(offsetof(SettingsBlock, savedSysColors) == 1240);
static_assert(offsetof(SettingsBlock, allColoursRefCount) == 1320);
static_assert(offsetof(SettingsBlock, programPath) == 1324);
static_assert(offsetof(SettingsBlock, programFileNamePos) == 1840);
static_assert(offsetof(SettingsBlock, programExtensionPos) == 1844);
static_assert(offsetof(SettingsBlock, helpPath) == 1848);
static_assert(sizeof(SettingsBlock) == 2364);

extern SettingsBlock* g_settings;

// Registry value types as the registry numbers them.
enum SettingType : uint32_t { kSettingString = 1, kSettingBinary = 3, kSettingDword = 4 };

// The persisted options, in the order they are read from and written to the
// registry. Each default is an integer, or for strings the empty text.
struct SettingValue {
    const char* name;
    size_t offset;
    uint32_t size;
    SettingType type;
    int32_t defaultValue;
};

#define VANTIREL_SETTING(field, type, def) \
    SettingValue { #field, offsetof(SettingsBlock, field), sizeof(SettingsBlock::field), type, def }

inline constexpr SettingValue kSettingValues[] = {
    VANTIREL_SETTING(szLastImpDir, kSettingString, 0),
    VANTIREL_SETTING(szLastExpDir, kSettingString, 0),
    VANTIREL_SETTING(iLastExpType, kSettingDword, 0),
    VANTIREL_SETTING(disp.bUseMaxColors, kSettingBinary, 0),
    VANTIREL_SETTING(disp.bDither, kSettingBinary, 1),
    VANTIREL_SETTING(disp.bDither15, kSettingBinary, 0),
    VANTIREL_SETTING(disp.bFixedPalette, kSettingBinary, 0),
    VANTIREL_SETTING(disp.bRunMaximized, kSettingBinary, 0),
    VANTIREL_SETTING(disp.bTitleRes, kSettingBinary, 0),
    VANTIREL_SETTING(disp.bOpenInfo, kSettingBinary, 1),
    VANTIREL_SETTING(disp.bAutoSize, kSettingBinary, 0),
    VANTIREL_SETTING(jpeg.bFastDCT, kSettingBinary, 0),
    VANTIREL_SETTING(jpeg.bFastUnsubsample, kSettingBinary, 0),
    VANTIREL_SETTING(stat.iOpen, kSettingDword, 0),
    VANTIREL_SETTING(stat.iSave, kSettingDword, 0),
    VANTIREL_SETTING(idx.bShowDirs, kSettingBinary, 0),
    VANTIREL_SETTING(idx.bShowOther, kSettingBinary, 0),
    VANTIREL_SETTING(idx.bShowRes, kSettingBinary, 1),
    VANTIREL_SETTING(idx.bShowSize, kSettingBinary, 0),
    VANTIREL_SETTING(idx.iIconX, kSettingDword, 88),
    VANTIREL_SETTING(idx.iIconY, kSettingDword, 66),
    VANTIREL_SETTING(idx.iIconSpacing, kSettingDword, 10),
};
#undef VANTIREL_SETTING
static_assert(sizeof(kSettingValues) / sizeof(kSettingValues[0]) == 22);

// Zeroes the block, then puts every persisted value's default in place and
// sets the instance count to 1 (what a fresh first instance holds before the
// registry is read).
void FillDefaultSettings(SettingsBlock* block);
