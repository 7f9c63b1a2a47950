#include "app/AskUser.h"

namespace {
AskUserHook g_hook = nullptr;
}

int AskUser(const char* caption, const char* text, UINT type) {
    if (g_hook) return g_hook(caption, text, type);
    return MessageBoxA(nullptr, text, caption, type);
}

AskUserHook SetAskUserHook(AskUserHook hook) {
    const AskUserHook previous = g_hook;
    g_hook = hook;
    return previous;
}
