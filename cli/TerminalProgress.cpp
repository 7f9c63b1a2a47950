#include "cli/TerminalProgress.h"

#include <cstdio>
#ifdef _WIN32
#include <io.h>
#define isatty _isatty
#else
#include <unistd.h>
#endif

TerminalProgress::TerminalProgress(const char* caption, const char* status)
    : caption_(caption), status_(status) {
    Draw();
}

TerminalProgress::~TerminalProgress() {
    std::fprintf(stderr, "\r%*s\r", 72, "");
    std::fflush(stderr);
}

void TerminalProgress::SetStatus(const char* text, int done, int total) {
    status_ = text;
    SetProgress(done, total);
}

void TerminalProgress::SetProgress(int done, int total) {
    percent_ = total > 0 ? static_cast<int>(static_cast<long long>(done) * 100 / total) : 0;
    Draw();
}

void TerminalProgress::Draw() {
    constexpr int kBarWidth = 20;
    const int filled = percent_ < 0 ? 0 : percent_ > 100 ? kBarWidth : percent_ * kBarWidth / 100;
    std::fprintf(stderr, "\r%-24.24s %-16.16s [%.*s%*s] %3d%%", caption_.c_str(), status_.c_str(),
                 filled, "####################", kBarWidth - filled, "", percent_);
    std::fflush(stderr);
}

Progress* TerminalProgress::OpenIfTerminal(const char* caption, const char* status) {
    return isatty(2) ? new TerminalProgress(caption, status) : nullptr;
}
