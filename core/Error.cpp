#include "core/Error.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

char g_errorPlace[kErrorTextSize];
char g_errorText[kErrorTextSize];

bool SetError(const char* place, const char* format, ...) {
    std::snprintf(g_errorPlace, sizeof g_errorPlace, "%s", place);
    va_list args;
    va_start(args, format);
    std::vsnprintf(g_errorText, sizeof g_errorText, format, args);
    va_end(args);
    return false;
}

void ClearError() {
    g_errorPlace[0] = '\0';
    g_errorText[0] = '\0';
}
