#include "display/ProgressDialog.h"

#include <commctrl.h>

#include "display/DisplayCaps.h"
#include "display/ProgressPlacement.h"

namespace {

HINSTANCE g_module = nullptr;

// The dialog has no buttons: it only places itself when it opens.
INT_PTR CALLBACK ProgressDialogProc(HWND dialog, UINT message, WPARAM, LPARAM lParam) {
    if (message != WM_INITDIALOG) return FALSE;
    RECT frame;
    GetWindowRect(dialog, &frame);
    int x = 0;
    int y = 0;
    if (ProgressDialogPosition(static_cast<int>(lParam), frame.right - frame.left,
                               frame.bottom - frame.top, g_display.width, g_display.height, &x, &y))
        SetWindowPos(dialog, nullptr, x, y, 0, 0, SWP_NOSIZE | SWP_NOZORDER | SWP_NOACTIVATE);
    return TRUE;
}

Progress* OpenProgressDialog(const char* caption, const char* status) {
    return new ProgressDialog(caption, status);
}

}  // namespace

void SetProgressDialogModule(HINSTANCE module) { g_module = module; }

void InstallProgressDialogOpener() { SetProgressOpener(OpenProgressDialog); }

ProgressDialog::ProgressDialog(const char* caption, const char* status)
    : dialog_(nullptr), previousCursor_(nullptr), slot_(g_progressSlots.Take()) {
    HINSTANCE module = g_module ? g_module : GetModuleHandleA(nullptr);
    dialog_ = CreateDialogParamA(module, MAKEINTRESOURCEA(kProgressDialogResource), nullptr,
                                 ProgressDialogProc, static_cast<LPARAM>(slot_));
    if (dialog_) {
        SetWindowTextA(dialog_, caption);
        SetDlgItemTextA(dialog_, kProgressStatusControl, status);
        SendDlgItemMessageA(dialog_, kProgressBarControl, PBM_SETRANGE, 0, MAKELPARAM(0, 100));
    }
    previousCursor_ = SetCursor(LoadCursor(nullptr, IDC_WAIT));
}

ProgressDialog::~ProgressDialog() {
    SetCursor(previousCursor_);
    if (dialog_) DestroyWindow(dialog_);
    g_progressSlots.Release(slot_);
}

void ProgressDialog::SetStatus(const char* text, int done, int total) {
    if (dialog_) SetDlgItemTextA(dialog_, kProgressStatusControl, text);
    SetProgress(done, total);
}

void ProgressDialog::SetProgress(int done, int total) {
    // Callers always pass a positive total; the product is formed in 64
    // bits so large counts cannot overflow.
    if (!dialog_ || total <= 0) return;
    const long long position = static_cast<long long>(done) * 100 / total;
    SendDlgItemMessageA(dialog_, kProgressBarControl, PBM_SETPOS, static_cast<WPARAM>(position), 0);
}
