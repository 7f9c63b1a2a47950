// A one-line progress bar on stderr, for when stderr is a terminal.
#pragma once
#include <string>

#include "core/Progress.h"

class TerminalProgress : public Progress {
public:
    TerminalProgress(const char* caption, const char* status);
    ~TerminalProgress() override;
    void SetStatus(const char* text, int done, int total) override;
    void SetProgress(int done, int total) override;

    // Opens a bar when stderr is a terminal, otherwise nothing (null).
    static Progress* OpenIfTerminal(const char* caption, const char* status);

private:
    void Draw();
    std::string caption_;
    std::string status_;
    int percent_ = 0;
};
