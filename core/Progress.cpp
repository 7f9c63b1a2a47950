#include "core/Progress.h"

namespace {
ProgressOpener g_opener = nullptr;
}

ProgressOpener SetProgressOpener(ProgressOpener opener) {
    ProgressOpener previous = g_opener;
    g_opener = opener;
    return previous;
}

Progress* OpenProgress(const char* caption, const char* status) {
    return g_opener ? g_opener(caption, status) : nullptr;
}
