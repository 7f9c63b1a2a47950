// Progress reporting. Every reader, converter and writer takes a Progress*
// that may be null; the caller that starts an operation opens one (caption
// and first status text) and destroys it afterwards.
#pragma once

class Progress {
public:
    virtual ~Progress() = default;
    // Sets the status line, then the bar as SetProgress does.
    virtual void SetStatus(const char* text, int done, int total) = 0;
    // Bar position done * 100 / total (integer division); total is positive.
    virtual void SetProgress(int done, int total) = 0;
};

// Null-tolerant helpers so call sites stay one line.
inline void ReportStatus(Progress* progress, const char* text, int done, int total) {
    if (progress) progress->SetStatus(text, done, total);
}
inline void ReportProgress(Progress* progress, int done, int total) {
    if (progress) progress->SetProgress(done, total);
}

// How operations that open their own dialog (saving) get one: the window
// program installs its dialog, the command-line tool its terminal bar. With
// no opener installed such operations report nothing.
using ProgressOpener = Progress* (*)(const char* caption, const char* status);
ProgressOpener SetProgressOpener(ProgressOpener opener);
Progress* OpenProgress(const char* caption, const char* status);
