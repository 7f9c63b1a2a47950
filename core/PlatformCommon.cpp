// The parts of the platform layer that are the same everywhere: the message
// box redirection, warnings and the fatal exit.
#include <cstdlib>

#include "core/Platform.h"

namespace platform {

void DefaultMessageBox(const char* caption, const char* text);  // per platform
[[noreturn]] void EndProcess(int code);                         // per platform

namespace {
MessageBoxHook g_messageBox = DefaultMessageBox;
}

MessageBoxHook SetMessageBoxHook(MessageBoxHook hook) {
    MessageBoxHook previous = g_messageBox;
    g_messageBox = hook ? hook : DefaultMessageBox;
    return previous;
}

void ShowMessage(const char* caption, const char* text) { g_messageBox(caption, text); }

void Warning(const char* text) { ShowMessage("Attention!", text); }

void FatalExit(const char* text) {
    ShowMessage("QUIT!", text);
    EndProcess(1);
}

}  // namespace platform
