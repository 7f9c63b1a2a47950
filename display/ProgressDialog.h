// The progress dialog: dialog resource 10 with a status line (97) and a bar
// (98), modeless, tiled from the bottom-right corner of the screen.
#pragma once
#define WIN32_LEAN_AND_MEAN
#include <windows.h>

#include "core/Progress.h"

constexpr int kProgressDialogResource = 10;
constexpr int kProgressStatusControl = 97;
constexpr int kProgressBarControl = 98;

class ProgressDialog : public Progress {
public:
    ProgressDialog(const char* caption, const char* status);
    ~ProgressDialog() override;
    ProgressDialog(const ProgressDialog&) = delete;
    ProgressDialog& operator=(const ProgressDialog&) = delete;

    void SetStatus(const char* text, int done, int total) override;
    void SetProgress(int done, int total) override;

    HWND Window() const { return dialog_; }
    int Slot() const { return slot_; }

private:
    HWND dialog_;
    HCURSOR previousCursor_;
    int slot_;  // 0..255, or 256 when every slot was taken
};

// The module whose resources hold dialog 10 (the program's own by default).
void SetProgressDialogModule(HINSTANCE module);

// Installs the dialog as what operations that open their own progress get
// (saving, for one).
void InstallProgressDialogOpener();
