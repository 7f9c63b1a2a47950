#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "core/Error.h"
#include "core/Image.h"
#include "display/vte_Clipboard.h"

namespace {

// A plain hidden window to own the clipboard.
class ClipboardTest : public ::testing::Test {
protected:
    void SetUp() override {
        window_ = CreateWindowA("STATIC", "clipboard owner", WS_POPUP, 0, 0, 10, 10, nullptr,
                                nullptr, GetModuleHandleA(nullptr), nullptr);
        ASSERT_NE(window_, nullptr);
        ClearError();
    }
    void TearDown() override { DestroyWindow(window_); }

    HWND window_ = nullptr;
};

// What the clipboard holds as CF_DIB, read back as another program would.
std::vector<uint8_t> ClipboardDib(size_t bytes) {
    std::vector<uint8_t> copy;
    if (!OpenClipboard(nullptr)) return copy;
    HANDLE block = GetClipboardData(CF_DIB);
    if (block && GlobalSize(block) >= bytes) {
        const auto* data = static_cast<const uint8_t*>(GlobalLock(block));
        if (data) copy.assign(data, data + bytes);
        GlobalUnlock(block);
    }
    CloseClipboard();
    return copy;
}

std::vector<uint8_t> Slice(const std::vector<uint8_t>& bytes, size_t from, size_t count) {
    return std::vector<uint8_t>(bytes.begin() + from, bytes.begin() + from + count);
}

// The calls a fake clipboard saw, in order.
std::vector<std::string> g_calls;
HWND g_openedFor = nullptr;
bool g_openSucceeds = true;
bool g_setSucceeds = true;
std::vector<uint8_t> g_handedOver;
UINT g_handedOverFlags = 0;

BOOL WINAPI FakeOpen(HWND window) {
    g_calls.push_back("open");
    g_openedFor = window;
    return g_openSucceeds;
}
BOOL WINAPI FakeEmpty() {
    g_calls.push_back("empty");
    return TRUE;
}
HANDLE WINAPI FakeSetData(UINT format, HANDLE block) {
    g_calls.push_back("set " + std::to_string(format));
    g_handedOverFlags = GlobalFlags(block);
    const auto* data = static_cast<const uint8_t*>(GlobalLock(block));
    g_handedOver.assign(data, data + GlobalSize(block));
    GlobalUnlock(block);
    if (!g_setSucceeds) return nullptr;
    GlobalFree(block);  // a real clipboard would own it now
    return block;
}
BOOL WINAPI FakeClose() {
    g_calls.push_back("close");
    return TRUE;
}

class FakeClipboardTest : public ClipboardTest {
protected:
    void SetUp() override {
        ClipboardTest::SetUp();
        g_calls.clear();
        g_openedFor = nullptr;
        g_openSucceeds = true;
        g_setSucceeds = true;
        g_handedOver.clear();
        saved_ = SetClipboardCalls({FakeOpen, FakeEmpty, FakeSetData, FakeClose});
    }
    void TearDown() override {
        SetClipboardCalls(saved_);
        ClipboardTest::TearDown();
    }

    ClipboardCalls saved_;
};

void SetPixel24(Image* image, int x, int y, uint8_t blue, uint8_t green, uint8_t red) {
    uint8_t* at = image->Row(y) + 3 * x;
    at[0] = blue;
    at[1] = green;
    at[2] = red;
}

}  // namespace

TEST_F(ClipboardTest, TrueColourPictureArrivesAsAPackedBitmapWithBottomUpRows) {
    Image image(2, 2, 8, 2, nullptr, 24);  // rows already a multiple of 4 long
    SetPixel24(&image, 0, 0, 0x01, 0x02, 0x03);
    SetPixel24(&image, 1, 0, 0x04, 0x05, 0x06);
    SetPixel24(&image, 0, 1, 0x11, 0x12, 0x13);
    SetPixel24(&image, 1, 1, 0x14, 0x15, 0x16);

    ASSERT_TRUE(vte_Clipboard(window_, &image)) << g_errorText;
    const std::vector<uint8_t> dib = ClipboardDib(56);
    ASSERT_EQ(dib.size(), 56u);
    EXPECT_EQ(Slice(dib, 0, 16), (std::vector<uint8_t>{40, 0, 0, 0, 2, 0, 0, 0,  //
                                                       2, 0, 0, 0, 1, 0, 24, 0}));
    EXPECT_EQ(Slice(dib, 16, 24), std::vector<uint8_t>(24, 0));
    EXPECT_EQ(Slice(dib, 40, 16),
              (std::vector<uint8_t>{0x11, 0x12, 0x13, 0x14, 0x15, 0x16, 0, 0,  //
                                    0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0, 0}));
    // The clipboard is closed again.
    EXPECT_EQ(GetOpenClipboardWindow(), nullptr);
}

TEST_F(ClipboardTest, OnePixelWidePictureHasRowsOfFourBytesAndNoColourTable) {
    Image image(1, 2, 3, 2, nullptr, 24);
    SetPixel24(&image, 0, 0, 0xA1, 0xA2, 0xA3);
    SetPixel24(&image, 0, 1, 0xB1, 0xB2, 0xB3);
    ASSERT_TRUE(vte_Clipboard(window_, &image)) << g_errorText;
    const std::vector<uint8_t> dib = ClipboardDib(48);
    ASSERT_EQ(dib.size(), 48u);
    EXPECT_EQ(Slice(dib, 4, 12), (std::vector<uint8_t>{1, 0, 0, 0, 2, 0, 0, 0, 1, 0, 24, 0}));
    EXPECT_EQ(Slice(dib, 40, 8),
              (std::vector<uint8_t>{0xB1, 0xB2, 0xB3, 0x00, 0xA1, 0xA2, 0xA3, 0xB1}));
}

TEST_F(ClipboardTest, PalettePictureCarriesTheWholeColourTable) {
    std::vector<uint8_t> palette(768, 0);
    palette[0] = 0xFF;                                        // 0: red
    palette[3] = 0x10, palette[4] = 0x20, palette[5] = 0x30;  // 1
    palette[765] = 0x7F;                                      // 255: dark red
    Image image(4, 1, 4, 1, palette.data(), 8);
    const uint8_t row[4] = {1, 0, 255, 1};
    std::memcpy(image.Row(0), row, 4);

    ASSERT_TRUE(vte_Clipboard(window_, &image)) << g_errorText;
    const std::vector<uint8_t> dib = ClipboardDib(1068);
    ASSERT_EQ(dib.size(), 1068u);
    EXPECT_EQ(Slice(dib, 12, 4), (std::vector<uint8_t>{1, 0, 8, 0}));
    EXPECT_EQ(Slice(dib, 40, 8), (std::vector<uint8_t>{0x00, 0x00, 0xFF, 0, 0x30, 0x20, 0x10, 0}));
    EXPECT_EQ(Slice(dib, 48, 4), (std::vector<uint8_t>{0, 0, 0, 0}));
    EXPECT_EQ(Slice(dib, 40 + 4 * 255, 4), (std::vector<uint8_t>{0x00, 0x00, 0x7F, 0}));
    EXPECT_EQ(Slice(dib, 1064, 4), (std::vector<uint8_t>{1, 0, 255, 1}));
}

TEST_F(ClipboardTest, ClipboardHeldOpenByAnotherWindowIsReportedAndLeftAlone) {
    HWND other = CreateWindowA("STATIC", "other", WS_POPUP, 0, 0, 10, 10, nullptr, nullptr,
                               GetModuleHandleA(nullptr), nullptr);
    ASSERT_TRUE(OpenClipboard(other));
    Image image(1, 1, 3, 1, nullptr, 24);
    EXPECT_FALSE(vte_Clipboard(window_, &image));
    EXPECT_STREQ(g_errorPlace, "vte_Clipboard()");
    EXPECT_STREQ(g_errorText, "Couldn't open the clipboard");
    EXPECT_EQ(GetOpenClipboardWindow(), other);
    CloseClipboard();
    DestroyWindow(other);
}

TEST_F(FakeClipboardTest, OpensEmptiesHandsOverAMovableShareableBlockAndCloses) {
    Image image(1, 1, 3, 1, nullptr, 24);
    SetPixel24(&image, 0, 0, 7, 8, 9);
    ASSERT_TRUE(vte_Clipboard(window_, &image));
    EXPECT_EQ(g_calls, (std::vector<std::string>{"open", "empty", "set 8", "close"}));
    EXPECT_EQ(g_openedFor, window_);
    ASSERT_GE(g_handedOver.size(), 44u);
    EXPECT_EQ(Slice(g_handedOver, 40, 4), (std::vector<uint8_t>{7, 8, 9, 0}));
    EXPECT_EQ(g_handedOverFlags & GMEM_DDESHARE, static_cast<UINT>(GMEM_DDESHARE));
    EXPECT_EQ(g_errorText[0], '\0');
}

TEST_F(FakeClipboardTest, RefusedHandOverClosesTheClipboardAndReports) {
    g_setSucceeds = false;
    Image image(1, 1, 3, 1, nullptr, 24);
    EXPECT_FALSE(vte_Clipboard(window_, &image));
    EXPECT_EQ(g_calls, (std::vector<std::string>{"open", "empty", "set 8", "close"}));
    EXPECT_STREQ(g_errorPlace, "vte_Clipboard()");
    EXPECT_STREQ(g_errorText, "Couldn't copy bitmap to clipboard");
}

TEST_F(FakeClipboardTest, FailedOpenStopsAtOnce) {
    g_openSucceeds = false;
    Image image(1, 1, 3, 1, nullptr, 24);
    EXPECT_FALSE(vte_Clipboard(window_, &image));
    EXPECT_EQ(g_calls, (std::vector<std::string>{"open"}));
    EXPECT_STREQ(g_errorText, "Couldn't open the clipboard");
}

TEST_F(FakeClipboardTest, NoPictureCopiesNothing) {
    EXPECT_TRUE(vte_Clipboard(window_, nullptr));
    EXPECT_TRUE(g_calls.empty());
}
