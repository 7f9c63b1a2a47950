#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "app/SettingsStore.h"
#include "display/DisplayCaps.h"
#include "tests/support/TestSupport.h"

namespace {

// The installation check as opening the settings calls it.
struct CheckCall {
    bool keyOpen;
    bool shellAware;
};
std::vector<CheckCall> g_checks;
bool g_checkWritesSpacing = false;
void RecordCheck(HKEY key, bool shellAware) {
    g_checks.push_back({key != nullptr, shellAware});
    if (key && g_checkWritesSpacing)
        RegSetValueExA(key, "idx.iIconSpacing", 0, REG_DWORD,
                       reinterpret_cast<const BYTE*>("\x05\0\0\0"), 4);
}

// Each test uses a section and a key of its own, so nothing is shared with a
// running program or with other tests.
class SettingsStoreTest : public ::testing::Test {
protected:
    void SetUp() override {
        const std::string unique = std::to_string(GetCurrentProcessId()) + "-" +
                                   ::testing::UnitTest::GetInstance()->current_test_info()->name();
        section_ = "Vantirel test " + unique;
        key_ = "Software\\Dravik\\VantirelTest\\" + unique;
        location_.sectionName = section_.c_str();
        location_.keyPath = key_.c_str();
        location_.installationCheck = RecordCheck;
        g_checks.clear();
        g_checkWritesSpacing = false;
        RegDeleteKeyA(HKEY_CURRENT_USER, key_.c_str());
        saved_ = g_settings;
    }
    void TearDown() override {
        RegDeleteKeyA(HKEY_CURRENT_USER, key_.c_str());
        g_settings = saved_;
    }

    HKEY OpenKey() {
        HKEY key = nullptr;
        RegOpenKeyExA(HKEY_CURRENT_USER, key_.c_str(), 0, KEY_ALL_ACCESS, &key);
        return key;
    }
    bool QueryValue(const char* name, DWORD* type, std::string* data) {
        HKEY key = OpenKey();
        if (!key) return false;
        char buffer[600];
        DWORD size = sizeof buffer;
        const LONG result =
            RegQueryValueExA(key, name, nullptr, type, reinterpret_cast<BYTE*>(buffer), &size);
        RegCloseKey(key);
        if (result != ERROR_SUCCESS) return false;
        data->assign(buffer, size);
        return true;
    }
    void SetValue(const char* name, DWORD type, const void* data, DWORD size) {
        HKEY key = nullptr;
        RegCreateKeyExA(HKEY_CURRENT_USER, key_.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr,
                        &key, nullptr);
        RegSetValueExA(key, name, 0, type, static_cast<const BYTE*>(data), size);
        RegCloseKey(key);
    }

    std::string section_;
    std::string key_;
    SettingsLocation location_;
    SettingsBlock* saved_ = nullptr;
};

}  // namespace

TEST_F(SettingsStoreTest, FirstInstanceWithAFreshKeyHoldsTheDefaults) {
    InstanceRecord record = {};
    OpenSettings(&record, location_);
    ASSERT_NE(g_settings, saved_);
    EXPECT_EQ(g_settings->instanceCount, 1);
    EXPECT_EQ(g_settings->idx.iIconX, 88);
    EXPECT_EQ(g_settings->idx.iIconY, 66);
    EXPECT_EQ(g_settings->idx.iIconSpacing, 10);
    EXPECT_EQ(g_settings->disp.bDither, 1);
    EXPECT_EQ(g_settings->disp.bOpenInfo, 1);
    EXPECT_EQ(g_settings->idx.bShowRes, 1);
    EXPECT_EQ(g_settings->disp.bDither15, 0);
    EXPECT_EQ(g_settings->allColoursRefCount, 0);
    EXPECT_EQ(g_settings->savedSysColors[COLOR_WINDOW], GetSysColor(COLOR_WINDOW));
    char module[MAX_PATH];
    GetModuleFileNameA(nullptr, module, sizeof module);
    EXPECT_STREQ(g_settings->programPath, module);
    const std::string help = std::string(module, std::strrchr(module, '\\') + 1) + "Vantirel.hlp";
    EXPECT_STREQ(g_settings->helpPath, help.c_str());
    CloseSettings(&record, location_);
    EXPECT_EQ(g_settings, saved_);
}

TEST_F(SettingsStoreTest, FirstInstanceRunsTheInstallationCheckBeforeReadingTheValues) {
    // What the check writes is there when the values are read after it.
    g_checkWritesSpacing = true;
    InstanceRecord record = {};
    OpenSettings(&record, location_);
    ASSERT_EQ(g_checks.size(), 1u);
    EXPECT_TRUE(g_checks[0].keyOpen);
    EXPECT_TRUE(g_checks[0].shellAware);  // Wine reports a version above 4
    EXPECT_EQ(g_settings->idx.iIconSpacing, 5);
    // A later instance only counts itself.
    InstanceRecord second = {};
    OpenSettings(&second, location_);
    EXPECT_EQ(g_checks.size(), 1u);
    CloseSettings(&second, location_);
    CloseSettings(&record, location_);
}

TEST_F(SettingsStoreTest, FieldsLieAtTheirByteOffsetsInTheSharedSection) {
    InstanceRecord record = {};
    OpenSettings(&record, location_);
    g_settings->iLastExpType = 0x11223344;
    g_settings->disp.bTitleRes = 1;
    g_settings->stat.iSave = 0x01020304;
    g_settings->idx.iIconSpacing = 0x0a0b0c0d;
    g_settings->allColoursRefCount = 5;
    // A second view of the same section sees the bytes where the layout says.
    HANDLE other = OpenFileMappingA(FILE_MAP_READ, FALSE, section_.c_str());
    ASSERT_NE(other, nullptr);
    const auto* bytes =
        static_cast<const unsigned char*>(MapViewOfFile(other, FILE_MAP_READ, 0, 0, 0));
    ASSERT_NE(bytes, nullptr);
    EXPECT_EQ(bytes[1032], 0x44);
    EXPECT_EQ(bytes[1035], 0x11);
    EXPECT_EQ(bytes[1038], 1);     // disp.bDither default
    EXPECT_EQ(bytes[1041], 1);     // disp.bTitleRes
    EXPECT_EQ(bytes[1042], 1);     // disp.bOpenInfo default
    EXPECT_EQ(bytes[1052], 0x04);  // stat.iSave
    EXPECT_EQ(bytes[1058], 1);     // idx.bShowRes default
    EXPECT_EQ(bytes[1060], 88);    // idx.iIconX
    EXPECT_EQ(bytes[1064], 66);    // idx.iIconY
    EXPECT_EQ(bytes[1068], 0x0d);  // idx.iIconSpacing
    EXPECT_EQ(bytes[1072], 1);     // instance count
    EXPECT_EQ(bytes[1320], 5);     // all-colours count
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(bytes) + 1324),
              std::string(g_settings->programPath));
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(bytes) + 1848),
              std::string(g_settings->helpPath));
    UnmapViewOfFile(bytes);
    CloseHandle(other);
    CloseSettings(&record, location_);
}

TEST_F(SettingsStoreTest, LastInstanceWritesEveryValueWithItsType) {
    InstanceRecord record = {};
    OpenSettings(&record, location_);
    std::strcpy(g_settings->szLastImpDir, "C:\\pictures\\");
    g_settings->iLastExpType = 0;
    g_settings->disp.bDither15 = 1;
    g_settings->stat.iOpen = 12;
    g_settings->idx.iIconX = 120;
    CloseSettings(&record, location_);

    DWORD type = 0;
    std::string data;
    ASSERT_TRUE(QueryValue("szLastImpDir", &type, &data));
    EXPECT_EQ(type, static_cast<DWORD>(REG_SZ));
    EXPECT_EQ(data, std::string("C:\\pictures\\\0", 13));
    ASSERT_TRUE(QueryValue("disp.bDither15", &type, &data));
    EXPECT_EQ(type, static_cast<DWORD>(REG_BINARY));
    EXPECT_EQ(data, std::string("\x01", 1));
    ASSERT_TRUE(QueryValue("stat.iOpen", &type, &data));
    EXPECT_EQ(type, static_cast<DWORD>(REG_DWORD));
    EXPECT_EQ(data, std::string("\x0c\0\0\0", 4));
    ASSERT_TRUE(QueryValue("idx.iIconX", &type, &data));
    EXPECT_EQ(data, std::string("\x78\0\0\0", 4));
    ASSERT_TRUE(QueryValue("jpeg.bFastUnsubsample", &type, &data));
    EXPECT_EQ(data, std::string("\0", 1));
}

TEST_F(SettingsStoreTest, ValuesWrittenByOneRunAreReadByTheNext) {
    InstanceRecord record = {};
    OpenSettings(&record, location_);
    std::strcpy(g_settings->szLastExpDir, "D:\\out\\");
    g_settings->disp.bAutoSize = 1;
    g_settings->disp.bDither = 0;
    g_settings->idx.iIconY = 99;
    CloseSettings(&record, location_);

    InstanceRecord next = {};
    OpenSettings(&next, location_);
    EXPECT_STREQ(g_settings->szLastExpDir, "D:\\out\\");
    EXPECT_EQ(g_settings->disp.bAutoSize, 1);
    EXPECT_EQ(g_settings->disp.bDither, 0);
    EXPECT_EQ(g_settings->idx.iIconY, 99);
    EXPECT_EQ(g_settings->idx.iIconX, 88);
    CloseSettings(&next, location_);
}

TEST_F(SettingsStoreTest, SecondInstanceSeesTheFirstsOptionsAndOnlyTheLastWrites) {
    InstanceRecord first = {};
    OpenSettings(&first, location_);
    g_settings->disp.bTitleRes = 1;
    g_settings->stat.iOpen = 3;

    InstanceRecord second = {};
    OpenSettings(&second, location_);
    EXPECT_EQ(g_settings->instanceCount, 2);
    EXPECT_EQ(g_settings->disp.bTitleRes, 1);
    EXPECT_EQ(g_settings->stat.iOpen, 3);
    g_settings->stat.iOpen = 4;

    // Closing the first writes nothing.
    CloseSettings(&first, location_);
    DWORD type = 0;
    std::string data;
    EXPECT_FALSE(QueryValue("stat.iOpen", &type, &data));
    EXPECT_EQ(static_cast<SettingsBlock*>(second.view)->instanceCount, 1);

    // Closing the second writes everything.
    CloseSettings(&second, location_);
    ASSERT_TRUE(QueryValue("stat.iOpen", &type, &data));
    EXPECT_EQ(data, std::string("\x04\0\0\0", 4));
    ASSERT_TRUE(QueryValue("disp.bTitleRes", &type, &data));
    EXPECT_EQ(data, std::string("\x01", 1));
    // The first instance kept its view to the end of its run.
    UnmapViewOfFile(first.view);
    CloseHandle(first.section);
}

TEST_F(SettingsStoreTest, ADwordStoredAsTextIsReadByteForByte) {
    SetValue("idx.iIconX", REG_SZ, "12", 3);
    InstanceRecord record = {};
    OpenSettings(&record, location_);
    EXPECT_EQ(g_settings->idx.iIconX, 0x3231);  // '1', '2', NUL, and the default's 0
    CloseSettings(&record, location_);
}

TEST_F(SettingsStoreTest, AValueTooLargeForItsFieldKeepsTheDefault) {
    SetValue("disp.bDither", REG_BINARY, "\x00\x00\x00", 3);
    InstanceRecord record = {};
    OpenSettings(&record, location_);
    EXPECT_EQ(g_settings->disp.bDither, 1);
    CloseSettings(&record, location_);
}

TEST_F(SettingsStoreTest, ReadHelperReturnsTheBytesReadOrZeroWithTheDefault) {
    SetValue("present", REG_DWORD, "\x05\0\0\0", 4);
    HKEY key = OpenKey();
    ASSERT_NE(key, nullptr);
    int32_t value = 0;
    EXPECT_EQ(ReadRegistryValue(key, "present", &value, 4, 77), 4u);
    EXPECT_EQ(value, 5);
    EXPECT_EQ(ReadRegistryValue(key, "absent", &value, 4, 77), 0u);
    EXPECT_EQ(value, 77);
    char text[16];
    EXPECT_EQ(ReadRegistryText(key, "absent", text, sizeof text, "C:\\"), 0u);
    EXPECT_STREQ(text, "C:\\");
    RegCloseKey(key);
}

TEST_F(SettingsStoreTest, KeyHelpersWriteAndReadDefaultValues) {
    const std::string sub = key_ + "\\shell";
    ASSERT_TRUE(WriteKeyDefault(HKEY_CURRENT_USER, sub.c_str(), "Vantirel picture"));
    char text[64];
    EXPECT_EQ(ReadKeyDefault(HKEY_CURRENT_USER, sub.c_str(), text, sizeof text), 17);
    EXPECT_STREQ(text, "Vantirel picture");
    EXPECT_EQ(ReadKeyDefault(HKEY_CURRENT_USER, (key_ + "\\missing").c_str(), text, sizeof text),
              0);
    EXPECT_EQ(text[0], '\0');
    ASSERT_TRUE(
        WriteRegistryValueAt(HKEY_CURRENT_USER, sub.c_str(), "Size", REG_DWORD, "\x07\0\0\0", 4));
    HKEY key = nullptr;
    ASSERT_EQ(RegOpenKeyExA(HKEY_CURRENT_USER, sub.c_str(), 0, KEY_READ, &key), ERROR_SUCCESS);
    int32_t size = 0;
    EXPECT_EQ(ReadRegistryValue(key, "Size", &size, 4, 0), 4u);
    EXPECT_EQ(size, 7);
    RegCloseKey(key);
    RegDeleteKeyA(HKEY_CURRENT_USER, sub.c_str());
}

TEST_F(SettingsStoreTest, AValueThatCannotBeWrittenIsReportedByName) {
    HKEY key = nullptr;
    RegCreateKeyExA(HKEY_CURRENT_USER, key_.c_str(), 0, nullptr, 0, KEY_READ, nullptr, &key,
                    nullptr);
    ASSERT_NE(key, nullptr);
    test::MessageRecorder recorder;
    EXPECT_FALSE(WriteRegistryValue(key, "stat.iSave", REG_DWORD, "\0\0\0\0", 4));
    RegCloseKey(key);
    ASSERT_EQ(recorder.messages.size(), 1u);
    EXPECT_EQ(recorder.messages[0].first, "Can't write value to the Registry");
    EXPECT_EQ(recorder.messages[0].second, "stat.iSave");
}

TEST_F(SettingsStoreTest, WithoutTheKeyEveryFieldStaysZero) {
    // A key path the registry refuses (a component longer than it allows).
    const std::string refused = "Software\\" + std::string(300, 'x');
    location_.keyPath = refused.c_str();
    HKEY probe = nullptr;
    ASSERT_NE(RegCreateKeyExA(HKEY_CURRENT_USER, refused.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS,
                              nullptr, &probe, nullptr),
              ERROR_SUCCESS);
    InstanceRecord record = {};
    OpenSettings(&record, location_);
    // The check runs all the same, without a key.
    ASSERT_EQ(g_checks.size(), 1u);
    EXPECT_FALSE(g_checks[0].keyOpen);
    EXPECT_EQ(g_settings->idx.iIconX, 0);
    EXPECT_EQ(g_settings->idx.iIconY, 0);
    EXPECT_EQ(g_settings->disp.bDither, 0);
    EXPECT_EQ(g_settings->disp.bOpenInfo, 0);
    EXPECT_EQ(g_settings->instanceCount, 1);
    EXPECT_NE(g_settings->programPath[0], '\0');
    g_settings->instanceCount = 5;  // not the last: nothing is written
    CloseSettings(&record, location_);
    UnmapViewOfFile(record.view);
    CloseHandle(record.section);
}

TEST_F(SettingsStoreTest, AllColoursModeActsOnlyOnFirstEntryAndLastLeave) {
    InstanceRecord record = {};
    OpenSettings(&record, location_);
    const DisplayCaps savedCaps = g_display;
    const COLORREF windowColour = GetSysColor(COLOR_WINDOW);

    // Off, or on a screen without a palette: nothing happens.
    g_display.paletteDevice = true;
    EnterAllColoursMode();
    EXPECT_EQ(g_settings->allColoursRefCount, 0);
    g_settings->disp.bUseMaxColors = 1;
    g_display.paletteDevice = false;
    EnterAllColoursMode();
    EXPECT_EQ(g_settings->allColoursRefCount, 0);

    g_display.paletteDevice = true;
    EnterAllColoursMode();
    EXPECT_EQ(g_settings->allColoursRefCount, 1);
    EXPECT_EQ(GetSysColor(COLOR_WINDOW), RGB(255, 255, 255));         // index 5
    EXPECT_EQ(GetSysColor(COLOR_WINDOWFRAME), RGB(0, 0, 0));          // index 6
    EXPECT_EQ(GetSysColor(COLOR_HIGHLIGHTTEXT), RGB(255, 255, 255));  // index 14
    EnterAllColoursMode();
    EXPECT_EQ(g_settings->allColoursRefCount, 2);
    LeaveAllColoursMode();
    EXPECT_EQ(g_settings->allColoursRefCount, 1);
    EXPECT_EQ(GetSysColor(COLOR_WINDOWFRAME), RGB(0, 0, 0));
    LeaveAllColoursMode();
    EXPECT_EQ(g_settings->allColoursRefCount, 0);
    EXPECT_EQ(GetSysColor(COLOR_WINDOW), windowColour);
    LeaveAllColoursMode();  // at zero: nothing
    EXPECT_EQ(g_settings->allColoursRefCount, 0);

    g_display = savedCaps;
    CloseSettings(&record, location_);
}
