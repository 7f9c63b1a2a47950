#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "display/DisplayCaps.h"
#include "display/ProgressDialog.h"
#include "display/ProgressPlacement.h"

// after windows.h (through ProgressDialog.h), which it needs
#include <commctrl.h>

namespace {

std::string ControlText(HWND dialog, int control) {
    char text[256] = {};
    GetDlgItemTextA(dialog, control, text, sizeof text);
    return text;
}

int BarPosition(HWND dialog) {
    return static_cast<int>(SendDlgItemMessageA(dialog, kProgressBarControl, PBM_GETPOS, 0, 0));
}

RECT Frame(HWND dialog) {
    RECT frame;
    GetWindowRect(dialog, &frame);
    return frame;
}

class ProgressDialogTest : public ::testing::Test {
protected:
    void SetUp() override {
        InitCommonControls();
        RefreshDisplayCaps();
    }
};

}  // namespace

TEST_F(ProgressDialogTest, OpensWithCaptionStatusAndAnEmptyBar) {
    ProgressDialog dialog("CAT.GIF", "Opening");
    ASSERT_NE(dialog.Window(), nullptr);
    char caption[64] = {};
    GetWindowTextA(dialog.Window(), caption, sizeof caption);
    EXPECT_STREQ(caption, "CAT.GIF");
    EXPECT_EQ(ControlText(dialog.Window(), 97), "Opening");
    EXPECT_EQ(BarPosition(dialog.Window()), 0);
    PBRANGE range = {};
    SendDlgItemMessageA(dialog.Window(), 98, PBM_GETRANGE, FALSE, reinterpret_cast<LPARAM>(&range));
    EXPECT_EQ(range.iLow, 0);
    EXPECT_EQ(range.iHigh, 100);
}

TEST_F(ProgressDialogTest, StatusSetsTheTextAndTheBar) {
    ProgressDialog dialog("CAT.PNG", "Opening");
    dialog.SetStatus("De-filtering", 50, 100);
    EXPECT_EQ(ControlText(dialog.Window(), 97), "De-filtering");
    EXPECT_EQ(BarPosition(dialog.Window()), 50);
    dialog.SetProgress(2, 3);  // 200 / 3 = 66
    EXPECT_EQ(BarPosition(dialog.Window()), 66);
    EXPECT_EQ(ControlText(dialog.Window(), 97), "De-filtering");
}

TEST_F(ProgressDialogTest, AZeroTotalIsNotDividedByAndLeavesTheBarAlone) {
    // Callers always pass a positive total; the dialog does not divide by a
    // zero one, it leaves the bar where it was.
    ProgressDialog dialog("CAT.TIF", "Opening");
    dialog.SetProgress(1, 4);
    EXPECT_EQ(BarPosition(dialog.Window()), 25);
    dialog.SetProgress(3, 0);
    EXPECT_EQ(BarPosition(dialog.Window()), 25);
    dialog.SetStatus("Decompressing", 7, 0);
    EXPECT_EQ(ControlText(dialog.Window(), 97), "Decompressing");
    EXPECT_EQ(BarPosition(dialog.Window()), 25);
}

TEST_F(ProgressDialogTest, TwoDialogsSitSideBySideAtTheBottomRight) {
    auto first = std::make_unique<ProgressDialog>("one", "Opening");
    auto second = std::make_unique<ProgressDialog>("two", "Opening");
    ASSERT_EQ(first->Slot(), 0);
    ASSERT_EQ(second->Slot(), 1);
    const RECT a = Frame(first->Window());
    const RECT b = Frame(second->Window());
    const int width = a.right - a.left;
    const int height = a.bottom - a.top;
    EXPECT_EQ(a.left, g_display.width - width);
    EXPECT_EQ(a.top, g_display.height - height);
    EXPECT_EQ(b.left, g_display.width - 2 * width);
    EXPECT_EQ(b.top, a.top);

    // Closing the first frees slot 0 for the next one.
    first.reset();
    ProgressDialog third("three", "Opening");
    EXPECT_EQ(third.Slot(), 0);
    EXPECT_EQ(Frame(third.Window()).left, g_display.width - width);
}

TEST_F(ProgressDialogTest, WithEverySlotTakenADialogOpensUnplacedAndFreesNothing) {
    std::vector<std::unique_ptr<ProgressDialog>> dialogs;
    for (int i = 0; i < 256; ++i) dialogs.push_back(std::make_unique<ProgressDialog>("x", "y"));
    ASSERT_EQ(dialogs.back()->Slot(), 255);
    {
        ProgressDialog extra("extra", "Opening");
        EXPECT_EQ(extra.Slot(), 256);
        ASSERT_NE(extra.Window(), nullptr);
        // The resource's own position: not moved to a tile.
        const RECT frame = Frame(extra.Window());
        const RECT tile = Frame(dialogs[0]->Window());
        EXPECT_NE(frame.left, tile.left);
    }
    for (int i = 0; i < 256; ++i) EXPECT_TRUE(g_progressSlots.InUse(i));
    dialogs.clear();
    for (int i = 0; i < 256; ++i) EXPECT_FALSE(g_progressSlots.InUse(i));
}

TEST_F(ProgressDialogTest, TheInstalledOpenerGivesADialog) {
    InstallProgressDialogOpener();
    std::unique_ptr<Progress> progress(OpenProgress("OUT.BMP", "Writing"));
    auto* dialog = dynamic_cast<ProgressDialog*>(progress.get());
    ASSERT_NE(dialog, nullptr);
    EXPECT_EQ(ControlText(dialog->Window(), 97), "Writing");
    SetProgressOpener(nullptr);
}

TEST_F(ProgressDialogTest, TheWaitCursorIsShownWhileOpenAndTheOldOneComesBack) {
    HCURSOR arrow = LoadCursor(nullptr, IDC_ARROW);
    SetCursor(arrow);
    {
        ProgressDialog dialog("x", "Opening");
        EXPECT_EQ(GetCursor(), LoadCursor(nullptr, IDC_WAIT));
    }
    EXPECT_EQ(GetCursor(), arrow);
}
